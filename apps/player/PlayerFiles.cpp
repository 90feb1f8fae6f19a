#include "PlayerFiles.h"

#include <QFile>
#include <QFileDialog>
#include <QMimeData>
#include <QUrl>

std::vector<OpenedFile> OpenFiles(const QStringList& files, const Options& options, QStringList& problems)
{
    std::vector<OpenedFile> opened;
    for (const QString& file : files) {
        std::string reason;
        const std::string name = QFile::encodeName(file).toStdString();
        LiveOptions live = options.Live;
        live.Source = {options.Layout, options.Colors[opened.size() % options.Colors.size()], options.Way};
        if (IsLive(name)) {
            opened.push_back({file, nullptr, live});
            continue;
        }
        if (auto source = VideoSource::Open(name, live.Source, reason)) {
            opened.push_back({file, std::move(source), live});
        } else {
            problems << QStringLiteral("cannot play %1: %2").arg(file, QString::fromStdString(reason));
        }
    }
    return opened;
}

QStringList FilesOf(const QMimeData& dropped)
{
    QStringList files;
    for (const QUrl& url : dropped.urls()) {
        files << (url.isLocalFile() ? url.toLocalFile() : url.toString());
    }
    return files;
}

void AskForFiles(QWidget* window, const std::function<void(const QStringList&)>& chosen)
{
    auto* dialog = new QFileDialog(window, QStringLiteral("Open video files"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFiles);
    QObject::connect(dialog, &QFileDialog::filesSelected, window, chosen);
    dialog->open();
}
