#include "SourceList.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUrl>

namespace
{

bool ReadList(const QString& name, QStringList& sources, QString& reason)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        reason = QStringLiteral("cannot read %1: %2").arg(name, file.errorString());
        return false;
    }
    const QDir directory = QFileInfo(name).dir();
    const auto before = sources.size();
    const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        const QString source = line.trimmed();
        if (!source.isEmpty() && !source.startsWith(QLatin1Char('#'))) {
            // Absolute names and URLs stay as they are.
            sources << (source.contains(QLatin1String("://")) ? source : directory.filePath(source));
        }
    }
    if (sources.size() == before) {
        reason = QStringLiteral("%1 names no source").arg(name);
        return false;
    }
    return true;
}

} // namespace

QString NameOfSource(const QString& source)
{
    const QUrl url(source);
    if (url.isLocalFile() || !source.contains(QLatin1String("://"))) {
        return QFileInfo(source).fileName();
    }
    const QString place =
        url.toString(QUrl::RemoveScheme | QUrl::RemoveUserInfo | QUrl::RemoveQuery | QUrl::RemoveFragment);
    return place.mid(place.startsWith(QLatin1String("//")) ? 2 : 0);
}

bool ExpandSources(const QStringList& arguments, QStringList& sources, QString& reason)
{
    for (const QString& argument : arguments) {
        const bool isList =
            argument.endsWith(QLatin1String(".txt")) && !argument.contains(QLatin1String("://"));
        if (!isList) {
            sources << argument;
        } else if (!ReadList(argument, sources, reason)) {
            return false;
        }
    }
    return true;
}
