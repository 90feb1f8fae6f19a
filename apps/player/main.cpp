// The sample host: plays files through the library, one tile per file.
#include "Options.h"
#include "PlayerWindow.h"

#include <QApplication>

#include <cstdio>
#include <vector>

namespace
{

constexpr int ExitUnreadable = 2;

int Play(const Options& options)
{
    QStringList problems;
    std::vector<OpenedFile> files = OpenFiles(options.Files, options, problems);
    for (const QString& problem : problems) {
        std::fprintf(stderr, "player: %s\n", qPrintable(problem));
    }
    if (!problems.isEmpty()) {
        return ExitUnreadable;
    }
    QString reason;
    auto boxes = options.Boxes.isEmpty() ? nullptr : BoxFeed::Open(options.Boxes, reason);
    if (!reason.isEmpty()) {
        std::fprintf(stderr, "player: cannot read boxes from %s: %s\n", qPrintable(options.Boxes),
                     qPrintable(reason));
        return ExitUnreadable;
    }
    PlayerWindow window(options);
    window.SetBoxes(std::move(boxes));
    if (!options.Statistics.isEmpty() && !window.RecordStatistics(options.Statistics)) {
        return 1;
    }
    if (!window.Play(std::move(files))) {
        std::fprintf(stderr, "player: the library gave no renderer\n");
        return 1;
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
    ChoosePlatform();
    QCoreApplication::setApplicationName(QStringLiteral("player"));
    QCoreApplication::setApplicationVersion(QStringLiteral(OVEL_VERSION));
    if (WantsTextOnly(argc, argv)) {
        const QCoreApplication withoutDisplay(argc, argv);
        ReadOptions(); // ends the process
    }
    QGuiApplication::setDesktopFileName(QStringLiteral("ovel-player")); // by which Wayland finds the icon
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
