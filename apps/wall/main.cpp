// Many small videos at once: 16 to 64 tiles fed by a pool of fewer decoder threads.
#include "WallWindow.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFile>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <thread>

namespace
{

constexpr int MostTiles = 64;
constexpr int ExitUnreadable = 2;

int NumberOf(const QCommandLineParser& parser, const QCommandLineOption& option, int least, int most)
{
    return std::clamp(parser.value(option).toInt(), least, most);
}

} // namespace

int main(int argc, char** argv)
{
    LoadStandIn(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("wall"));
    QCoreApplication::setApplicationVersion(QStringLiteral(OVEL_VERSION));
    std::unique_ptr<QCoreApplication> application;
    if (WantsTextOnly(argc, argv)) {
        application = std::make_unique<QCoreApplication>(argc, argv);
    } else {
        application = std::make_unique<QApplication>(argc, argv);
    }
    const int cores = std::max(2, static_cast<int>(std::thread::hardware_concurrency()));
    const QCommandLineOption tiles(QStringLiteral("tiles"), QStringLiteral("Number of tiles, 1 to 64."),
                                   QStringLiteral("number"), QStringLiteral("16"));
    const QCommandLineOption threads(QStringLiteral("threads"),
                                     QStringLiteral("Decoder threads. Default: one per core."),
                                     QStringLiteral("number"), QString::number(cores));
    const QCommandLineOption seconds(QStringLiteral("seconds"), QStringLiteral("Quit after so many seconds."),
                                     QStringLiteral("number"), QStringLiteral("0"));
    const QCommandLineOption picture(QStringLiteral("picture"),
                                     QStringLiteral("Write the window as a PNG before quitting."),
                                     QStringLiteral("file"));
    const QCommandLineOption colors(
        QStringLiteral("colors"),
        QStringLiteral("Colors as 'tagged' in the files (default), or 'plain': by "
                       "the renderer's own formulas."),
        QStringLiteral("colors"), QStringLiteral("tagged"));
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Plays the files side by side on a wall of tiles, again and again. "
                       "Click a tile to enlarge it, Q quits."));
    parser.addPositionalArgument(QStringLiteral("FILE..."),
                                 QStringLiteral("Video files; the tiles take them in turn."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOptions({tiles, threads, colors, seconds, picture});
    parser.process(*application);

    const QStringList files = parser.positionalArguments();
    if (files.isEmpty()) {
        std::fprintf(stderr, "wall: no file given (--help lists what there is)\n");
        return 1;
    }
    const bool isPlain = parser.value(colors) == QLatin1String("plain");
    if (!isPlain && parser.value(colors) != QLatin1String("tagged")) {
        std::fprintf(stderr, "wall: unknown colors '%s'\n", qPrintable(parser.value(colors)));
        return 1;
    }
    if (!HasOpenGl()) {
        return ExitNoOpenGl;
    }
    const int count = NumberOf(parser, tiles, 1, MostTiles);
    std::vector<std::unique_ptr<VideoSource>> sources;
    for (int index = 0; index < count; ++index) {
        const QString& file = files[index % files.size()];
        std::string reason;
        sources.push_back(VideoSource::Open(QFile::encodeName(file).toStdString(), FrameLayout::AsDecoded,
                                            isPlain ? ColorChoice::Plain : ColorChoice::Tagged, reason));
        if (!sources.back()) {
            std::fprintf(stderr, "wall: cannot play %s: %s\n", qPrintable(file), reason.c_str());
            return ExitUnreadable;
        }
    }
    int code = 1;
    {
        WallWindow window(count, QSize(1200, 720));
        const bool ready = std::all_of(sources.begin(), sources.end(),
                                       [&](auto& source) { return window.Add(std::move(source)); });
        if (ready) {
            window.Begin(NumberOf(parser, threads, 1, count), parser.value(seconds).toDouble(),
                         parser.value(picture));
            code = QApplication::exec();
            window.PrintReport();
        } else {
            std::fprintf(stderr, "wall: the library gave no renderer\n");
        }
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return code;
}
