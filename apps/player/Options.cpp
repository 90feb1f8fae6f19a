#include "Options.h"

#include "LiveCommandLine.h"
#include "PlayerKeys.h"
#include "SourceList.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>

namespace
{

[[noreturn]] void Refuse(const QString& reason)
{
    std::fprintf(stderr, "player: %s (--help lists what there is)\n", qPrintable(reason));
    std::exit(1);
}

FrameLayout LayoutNamed(const QString& name)
{
    if (name == QLatin1String("yv12")) {
        return FrameLayout::Yv12;
    }
    if (name == QLatin1String("nv12")) {
        return FrameLayout::Nv12;
    }
    if (name != QLatin1String("decoded")) {
        Refuse(QStringLiteral("unknown layout '%1'").arg(name));
    }
    return FrameLayout::AsDecoded;
}

std::vector<ColorChoice> ColorsNamed(const QString& name)
{
    if (name == QLatin1String("plain")) {
        return {ColorChoice::Plain};
    }
    if (name == QLatin1String("mixed")) {
        return {ColorChoice::Plain, ColorChoice::Tagged};
    }
    if (name != QLatin1String("tagged")) {
        Refuse(QStringLiteral("unknown colors '%1'").arg(name));
    }
    return {ColorChoice::Tagged};
}

Handover WayNamed(const QString& name)
{
    if (name == QLatin1String("copy")) {
        return Handover::Copy;
    }
    if (name != QLatin1String("reference")) {
        Refuse(QStringLiteral("unknown handover '%1'").arg(name));
    }
    return Handover::Reference;
}

RendererChoice RendererNamed(const QString& name)
{
    if (name == QLatin1String("sub")) {
        return RendererChoice::Sub;
    }
    if (name == QLatin1String("mixed")) {
        return RendererChoice::Mixed;
    }
    if (name != QLatin1String("full")) {
        Refuse(QStringLiteral("unknown renderer '%1'").arg(name));
    }
    return RendererChoice::Full;
}

QSize SizeFrom(const QString& text)
{
    const QStringList parts = text.split(QLatin1Char('x'));
    const QSize size = parts.size() == 2 ? QSize(parts[0].toInt(), parts[1].toInt()) : QSize();
    if (size.width() < 64 || size.height() < 64) {
        Refuse(QStringLiteral("'%1' is no window size such as 960x600").arg(text));
    }
    return size;
}

} // namespace

Options ReadOptions()
{
    const QCommandLineOption layout(
        QStringLiteral("layout"),
        QStringLiteral("Hand pictures over as 'yv12' or 'nv12'; converts where the decoder "
                       "gives something else. Default: as 'decoded'."),
        QStringLiteral("layout"), QStringLiteral("decoded"));
    const QCommandLineOption colors(QStringLiteral("colors"),
                                    QStringLiteral("Colors as 'tagged' in the file (default), 'plain': by "
                                                   "the renderer's own formulas, or 'mixed' (both in turn)."),
                                    QStringLiteral("colors"), QStringLiteral("tagged"));
    const QCommandLineOption handover(
        QStringLiteral("handover"),
        QStringLiteral("Hand pictures over by 'reference' where they can be (default), or 'copy' all."),
        QStringLiteral("handover"), QStringLiteral("reference"));
    const QCommandLineOption renderer(
        QStringLiteral("renderer"),
        QStringLiteral("'full', 'sub' (sub-image renderer) or 'mixed' (both in turn)."),
        QStringLiteral("renderer"), QStringLiteral("full"));
    const QCommandLineOption overlay(
        QStringLiteral("overlay"),
        QStringLiteral("Draw a detection box, a zone, a track and a label on each tile."));
    const QCommandLineOption boxes(
        QStringLiteral("boxes"),
        QStringLiteral("Draw the boxes that a detector writes as JSON lines to a file or named pipe, or, "
                       "for -, to standard input: {\"tile\": 1, \"time\": 2.4, \"label\": \"cat\", "
                       "\"box\": [0.1, 0.2, 0.3, 0.4], \"colour\": \"#ff8000\"}."),
        QStringLiteral("file"));
    const QCommandLineOption log(
        QStringLiteral("log"),
        QStringLiteral("Show the library's log (through the stand-in for the OS SDK)."));
    const QCommandLineOption once(QStringLiteral("once"),
                                  QStringLiteral("Stop at the last picture instead of starting again."));
    const QCommandLineOption keys(QStringLiteral("keys"),
                                  QStringLiteral("Start with the list of keys shown."));
    const QCommandLineOption fullScreen(QStringLiteral("fullscreen"),
                                        QStringLiteral("Start in full screen."));
    const QCommandLineOption bare(QStringLiteral("bare"),
                                  QStringLiteral("Pictures only: no status line, nothing between tiles."));
    const QCommandLineOption seconds(QStringLiteral("seconds"), QStringLiteral("Quit after so many seconds."),
                                     QStringLiteral("number"));
    const QCommandLineOption picture(QStringLiteral("picture"),
                                     QStringLiteral("Write the window as a PNG before quitting."),
                                     QStringLiteral("file"));
    const QCommandLineOption size(QStringLiteral("size"),
                                  QStringLiteral("Size of the window, such as 960x600."),
                                  QStringLiteral("size"), QStringLiteral("960x571"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Plays video files and live sources, a tile each.\n\n") +
                                     KeyListAsText());
    parser.addPositionalArgument(QStringLiteral("[FILE|URL|LIST...]"),
                                 LiveCommandLine::SourceHelp() +
                                     QStringLiteral(" None: a window to drop them on."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOptions({layout, handover, colors, bare, renderer, overlay, boxes, log, once, keys, fullScreen,
                       seconds, picture, size});
    const LiveCommandLine live;
    parser.addOptions(live.Options());
    parser.process(*QCoreApplication::instance());

    Options options;
    QString reason;
    if (!ExpandSources(parser.positionalArguments(), options.Files, reason) ||
        !live.Read(parser, options.Live, reason) ||
        (parser.isSet(seconds) && !ReadSeconds(parser.value(seconds), options.Seconds, reason))) {
        Refuse(reason);
    }
    options.Statistics = live.StatisticsFileName(parser);
    options.Layout = LayoutNamed(parser.value(layout));
    options.Way = WayNamed(parser.value(handover));
    options.Colors = ColorsNamed(parser.value(colors));
    options.Bare = parser.isSet(bare);
    options.Renderer = RendererNamed(parser.value(renderer));
    options.Overlay = parser.isSet(overlay);
    options.Boxes = parser.value(boxes);
    options.Log = parser.isSet(log);
    options.Once = parser.isSet(once);
    options.Keys = parser.isSet(keys);
    options.FullScreen = parser.isSet(fullScreen);
    options.Picture = parser.value(picture);
    options.WindowSize = SizeFrom(parser.value(size));
    return options;
}
