// Many small videos at once: 16 to 64 tiles fed by a pool of fewer decoder threads.
#include "WallWindow.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFile>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>

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

// Asks a context of its own, so that it is known before there is a window.
bool RasterisesInSoftware()
{
    QOpenGLContext context;
    QOffscreenSurface surface;
    surface.create();
    if (!context.create() || !context.makeCurrent(&surface)) {
        return false;
    }
    const QByteArray name(reinterpret_cast<const char*>(context.functions()->glGetString(GL_RENDERER)));
    context.doneCurrent();
    return name.contains("llvmpipe") || name.contains("softpipe") || name.contains("swrast");
}

// What the tiles option says: how many, how, or both when it is given twice.
struct TileChoice {
    int Count = 16;
    QString Way = QStringLiteral("auto");
    bool IsValid = true;

    explicit TileChoice(const QStringList& values)
    {
        const QStringList ways{QStringLiteral("native"), QStringLiteral("shared"), QStringLiteral("auto")};
        for (const QString& value : values) {
            bool isNumber = false;
            const int number = value.toInt(&isNumber);
            if (isNumber) {
                Count = std::clamp(number, 1, MostTiles);
            } else if (ways.contains(value)) {
                Way = value;
            } else {
                IsValid = false;
            }
        }
    }
    bool AreNative() const
    {
        return Way == QLatin1String("native") ||
               (Way == QLatin1String("auto") && QGuiApplication::platformName() == QLatin1String("xcb") &&
                RasterisesInSoftware());
    }
};

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
    const QCommandLineOption tiles(
        QStringLiteral("tiles"),
        QStringLiteral(
            "Number of tiles, 1 to 64, or how they are shown: native (each a window of its own), shared "
            "(all in one) or auto (native without a GPU). Twice for both. Default: 16, auto."),
        QStringLiteral("number|way"));
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
    const TileChoice choice(parser.values(tiles));
    if (!choice.IsValid) {
        std::fprintf(stderr, "wall: --tiles takes a number, native, shared or auto\n");
        return 1;
    }
    const int count = choice.Count;
    SourceOptions options;
    options.Colors = isPlain ? ColorChoice::Plain : ColorChoice::Tagged;
    std::vector<std::unique_ptr<VideoSource>> sources;
    for (int index = 0; index < count; ++index) {
        const QString& file = files[index % files.size()];
        std::string reason;
        sources.push_back(VideoSource::Open(QFile::encodeName(file).toStdString(), options, reason));
        if (!sources.back()) {
            std::fprintf(stderr, "wall: cannot play %s: %s\n", qPrintable(file), reason.c_str());
            return ExitUnreadable;
        }
    }
    int code = 1;
    {
        WallWindow window(count, QSize(1200, 720), choice.AreNative());
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
