#include "WallOptions.h"

#include "LiveCommandLine.h"
#include "SourceList.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace
{

constexpr int MostTiles = 64;
constexpr int TilesForFiles = 16;

[[noreturn]] void Refuse(const QString& reason)
{
    std::fprintf(stderr, "wall: %s\n", qPrintable(reason));
    std::exit(1);
}

// How many and how, in either order. One tile per source of a list, and per live source: opened twice it would
// be two connections.
void ReadTiles(const QStringList& values, bool isList, WallOptions& options)
{
    const bool oneEach =
        isList || std::any_of(options.Sources.begin(), options.Sources.end(),
                              [](const QString& source) { return IsLive(source.toStdString()); });
    const int sources = static_cast<int>(options.Sources.size());
    options.Tiles = oneEach ? std::min(sources, MostTiles) : TilesForFiles;
    for (const QString& value : values) {
        bool isNumber = false;
        const int number = value.toInt(&isNumber);
        if (isNumber) {
            options.Tiles = std::clamp(number, 1, MostTiles);
        } else if (value == QLatin1String("native")) {
            options.Way = TileWay::Native;
        } else if (value == QLatin1String("shared")) {
            options.Way = TileWay::Shared;
        } else if (value == QLatin1String("auto")) {
            options.Way = TileWay::Auto;
        } else {
            Refuse(QStringLiteral("--tiles takes a number, native, shared or auto"));
        }
    }
    if (oneEach && sources > options.Tiles) {
        std::fprintf(stderr, "wall: shows the first %d of %d sources\n", options.Tiles, sources);
    }
}

ColorChoice ColorsNamed(const QString& name)
{
    if (name == QLatin1String("plain")) {
        return ColorChoice::Plain;
    }
    if (name != QLatin1String("tagged")) {
        Refuse(QStringLiteral("unknown colors '%1'").arg(name));
    }
    return ColorChoice::Tagged;
}

void Describe(QCommandLineParser& parser)
{
    parser.setApplicationDescription(
        QStringLiteral("Plays the files side by side on a wall of tiles, again and again, and shows live "
                       "sources as they come. Click a tile to enlarge it; F: full screen, Q: quit."));
    parser.addPositionalArgument(QStringLiteral("FILE|URL|LIST..."),
                                 LiveCommandLine::SourceHelp() +
                                     QStringLiteral(" The tiles take files in turn."));
    parser.addHelpOption();
    parser.addVersionOption();
}

} // namespace

WallOptions ReadOptions()
{
    const int cores = std::max(2, static_cast<int>(std::thread::hardware_concurrency()));
    const QCommandLineOption tiles(
        QStringLiteral("tiles"),
        QStringLiteral(
            "Number of tiles, 1 to 64, or how they are shown: native (each a window of its own), shared "
            "(all in one) or auto (native without a GPU). Twice for both. Default: 16, or one for each "
            "source of a list and each live source; auto."),
        QStringLiteral("number|way"));
    const QCommandLineOption threads(QStringLiteral("threads"),
                                     QStringLiteral("Threads that decode files. Default: one per core."),
                                     QStringLiteral("number"), QString::number(cores));
    const QCommandLineOption seconds(QStringLiteral("seconds"), QStringLiteral("Quit after so many seconds."),
                                     QStringLiteral("number"));
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
    Describe(parser);
    parser.addOptions({tiles, threads, colors, boxes, seconds, picture});
    parser.addOptions(live.Options());
    parser.process(*QCoreApplication::instance());

    const QStringList named = parser.positionalArguments();
    if (named.isEmpty()) {
        Refuse(QStringLiteral("no file given (--help lists what there is)"));
    }
    WallOptions options;
    QString reason;
    if (!ExpandSources(named, options.Sources, reason) || !live.Read(parser, options.Live, reason) ||
        (parser.isSet(seconds) && !ReadSeconds(parser.value(seconds), options.Seconds, reason))) {
        Refuse(reason);
    }
    options.Live.Source.Colors = ColorsNamed(parser.value(colors));
    ReadTiles(parser.values(tiles), options.Sources != named, options);
    bool isNumber = false;
    options.Threads = std::clamp(parser.value(threads).toInt(&isNumber), 1, options.Tiles);
    if (!isNumber) {
        Refuse(QStringLiteral("--threads takes a number"));
    }
    options.Statistics = live.StatisticsFileName(parser);
    options.Boxes = parser.value(boxes);
    options.Picture = parser.value(picture);
    return options;
}
