// The sample host: plays files through the library, one tile per file.
#include "Options.h"
#include "PlayerWindow.h"

#include <QApplication>
#include <QFile>

#include <cstdio>
#include <string>
#include <vector>

namespace
{

constexpr int ExitUnreadable = 2;

int Play(const Options& options)
{
    std::vector<std::unique_ptr<VideoSource>> sources;
    for (const QString& file : options.Files) {
        std::string reason;
        const SourceOptions source{options.Layout, options.Colors[sources.size() % options.Colors.size()],
                                   options.Way};
        sources.push_back(VideoSource::Open(QFile::encodeName(file).toStdString(), source, reason));
        if (!sources.back()) {
            std::fprintf(stderr, "player: cannot play %s: %s\n", qPrintable(file), reason.c_str());
            return ExitUnreadable;
        }
    }
    PlayerWindow window(options);
    for (size_t index = 0; index < sources.size(); ++index) {
        if (!window.Add(options.Files[static_cast<int>(index)], std::move(sources[index]))) {
            std::fprintf(stderr, "player: the library gave no renderer\n");
            return 1;
        }
    }
    window.Begin();
    const int code = QApplication::exec();
    window.PrintReport();
    return code;
}

} // namespace

int main(int argc, char** argv)
{
    LoadStandIn(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("player"));
    QCoreApplication::setApplicationVersion(QStringLiteral(OVEL_VERSION));
    if (WantsTextOnly(argc, argv)) {
        const QCoreApplication withoutDisplay(argc, argv);
        ReadOptions(); // ends the process
    }
    const QApplication application(argc, argv);
    const Options options = ReadOptions();
    if (!HasOpenGl()) {
        return ExitNoOpenGl;
    }
    const int code = Play(options);
    // Released renderers are deleted by the event loop.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return code;
}
