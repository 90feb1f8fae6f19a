#include "StatisticsFile.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrl>

#include <cmath>
#include <cstdio>

namespace
{

// Figures are passed on, passwords are not.
QString WithoutUser(const QString& source)
{
    const QUrl url(source);
    return url.userInfo().isEmpty() ? source : url.toString(QUrl::RemoveUserInfo);
}

QJsonObject ObjectOf(const TileFigures& tile)
{
    const qint64 shown = tile.Counter->Shown();
    const qint64 dropped = tile.Counter->DroppedSoFar();
    QJsonObject line{{QStringLiteral("source"), WithoutUser(tile.Source)},
                     {QStringLiteral("state"), QStringLiteral("file")},
                     {QStringLiteral("received"), shown + dropped},
                     {QStringLiteral("shown"), shown},
                     {QStringLiteral("dropped"), dropped}};
    if (tile.Live != nullptr) {
        const LiveFigures figures = tile.Live->Figures();
        line[QStringLiteral("state")] = NameOf(figures.State);
        line[QStringLiteral("received")] = figures.Received;
        line[QStringLiteral("losses")] = figures.Losses;
        line[QStringLiteral("delay")] =
            std::isnan(figures.DelaySeconds) ? QJsonValue() : QJsonValue(figures.DelaySeconds);
    }
    return line;
}

} // namespace

QString NameOf(LiveState state)
{
    return state == LiveState::Playing ? QStringLiteral("playing")
           : state == LiveState::Lost  ? QStringLiteral("lost")
                                       : QStringLiteral("connecting");
}

bool StatisticsFile::Open(const QString& name)
{
    m_file.setFileName(name);
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        std::fprintf(stderr, "%s: cannot write %s: %s\n", qPrintable(QCoreApplication::applicationName()),
                     qPrintable(name), qPrintable(m_file.errorString()));
        return false;
    }
    return true;
}

void StatisticsFile::Write(const std::vector<TileFigures>& tiles)
{
    if (!m_file.isOpen()) {
        return;
    }
    const QString time = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    int number = 0;
    for (const TileFigures& tile : tiles) {
        QJsonObject line = ObjectOf(tile);
        line[QStringLiteral("tile")] = ++number;
        line[QStringLiteral("time")] = time;
        m_file.write(QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n');
    }
    m_file.flush(); // whoever reads along sees whole seconds
}
