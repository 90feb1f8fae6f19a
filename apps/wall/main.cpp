// Many small videos at once: 16 to 64 tiles fed by a pool of fewer decoder threads.
#include "LiveCommandLine.h"
#include "SourceList.h"
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
    int Count = 0; // 0: as the sources are
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
    // One tile per source of a list, and per live source: opened twice it would be two connections.
    int CountFor(const QStringList& sources, bool isList) const
    {
        const bool oneEach = isList || std::any_of(sources.begin(), sources.end(), [](const QString& source) {
                                 return IsLive(source.toStdString());
                             });
        return Count > 0 ? Count : oneEach ? std::min(static_cast<int>(sources.size()), MostTiles) : 16;
    }
};

// Puts the sources into the tiles in turn; the exit code, 0 when all is well.
int Fill(WallWindow& window, const QStringList& sources, int count, const LiveOptions& options)
{
    for (int index = 0; index < count; ++index) {
        const QString& source = sources[index % sources.size()];
        const std::string name = QFile::encodeName(source).toStdString();
        std::unique_ptr<VideoSource> file;
        if (!IsLive(name)) {
            std::string reason;
            file = VideoSource::Open(name, options.Source, reason);
            if (!file) {
                std::fprintf(stderr, "wall: cannot play %s: %s\n", qPrintable(source), reason.c_str());
                return ExitUnreadable;
            }
        }
        if (file ? !window.Add(source, std::move(file)) : !window.AddLive(source, options)) {
            std::fprintf(stderr, "wall: the library gave no renderer\n");
            return 1;
        }
    }
    return 0;
}

int Refuse(const QString& reason)
{
    std::fprintf(stderr, "wall: %s\n", qPrintable(reason));
    return 1;
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
    const QCommandLineOption tiles(
        QStringLiteral("tiles"),
        QStringLiteral(
            "Number of tiles, 1 to 64, or how they are shown: native (each a window of its own), shared "
            "(all in one) or auto (native without a GPU). Twice for both. Default: 16, or one for each "
            "source "
            "of a list and each live source; auto."),
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
    const QCommandLineOption boxes(
        QStringLiteral("boxes"),
        QStringLiteral("Draw the boxes that a detector writes as JSON lines to a file or named pipe, or, for "
                       "-, to standard input; tiles are counted from 1."),
        QStringLiteral("file"));
    const LiveCommandLine live;
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Plays the files side by side on a wall of tiles, again and again, and shows live "
                       "sources as they come. Click a tile to enlarge it, Q quits."));
    parser.addPositionalArgument(
        QStringLiteral("FILE|URL|LIST..."),
        QStringLiteral(
            "Video files, the tiles take them in turn; live sources (rtsp://, http://, udp:// and so "
            "on, /dev/video0, a session's .sdp); .txt files that name such, one a line, # for "
            "comments."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOptions({tiles, threads, colors, boxes, seconds, picture});
    parser.addOptions(live.Options());
    parser.process(*application);

    const QStringList files = parser.positionalArguments();
    if (files.isEmpty()) {
        std::fprintf(stderr, "wall: no file given (--help lists what there is)\n");
        return 1;
    }
    QStringList sources;
    LiveOptions options;
    QString reason;
    if (!ExpandSources(files, sources, reason) || !live.Read(parser, options, reason)) {
        return Refuse(reason);
    }
    if (parser.value(colors) == QLatin1String("plain")) {
        options.Source.Colors = ColorChoice::Plain;
    } else if (parser.value(colors) != QLatin1String("tagged")) {
        return Refuse(QStringLiteral("unknown colors '%1'").arg(parser.value(colors)));
    }
    if (!HasOpenGl()) {
        return ExitNoOpenGl;
    }
    const TileChoice choice(parser.values(tiles));
    if (!choice.IsValid) {
        return Refuse(QStringLiteral("--tiles takes a number, native, shared or auto"));
    }
    auto feed = parser.isSet(boxes) ? BoxFeed::Open(parser.value(boxes), reason) : nullptr;
    if (!reason.isEmpty()) {
        return Refuse(QStringLiteral("cannot read boxes from %1: %2").arg(parser.value(boxes), reason));
    }
    const int count = choice.CountFor(sources, sources != files);
    int code = 0;
    {
        WallWindow window(count, QSize(1200, 720), choice.AreNative());
        if (feed) {
            window.SetBoxes(std::move(feed), count);
        }
        const QString record = live.StatisticsFileName(parser);
        code = record.isEmpty() || window.RecordStatistics(record) ? 0 : 1;
        code = code == 0 ? Fill(window, sources, count, options) : code;
        if (code == 0) {
            window.Begin(NumberOf(parser, threads, 1, count), parser.value(seconds).toDouble(),
                         parser.value(picture));
            code = QApplication::exec();
            window.PrintReport();
        }
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return code;
}
