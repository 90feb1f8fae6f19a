// Many small videos at once: a tile each, files on a pool of decoder threads, live sources on a thread each.
#include "WallOptions.h"
#include "WallWindow.h"

#include <QApplication>
#include <QFile>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace
{

constexpr int ExitUnreadable = 2;

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

// Tiles that are small windows cost the software rasteriser more in waking threads than in pixels. It asks when the
// first context is made; other drivers do not know the variable.
void SpareRasteriserThreads(int argc, char** argv)
{
    const auto isShared = [](const char* argument) { return QByteArray(argument).endsWith("shared"); };
    if (std::none_of(argv, argv + argc, isShared) && !qEnvironmentVariableIsSet("LP_NUM_THREADS")) {
        qputenv("LP_NUM_THREADS", "0");
    }
}

bool AreNative(TileWay way)
{
    return way == TileWay::Native ||
           (way == TileWay::Auto && QGuiApplication::platformName() == QLatin1String("xcb") &&
            RasterisesInSoftware());
}

// Puts the sources into the tiles in turn; the exit code, 0 when all is well.
int Fill(WallWindow& window, const WallOptions& options)
{
    for (int index = 0; index < options.Tiles; ++index) {
        const QString& source = options.Sources[index % options.Sources.size()];
        const std::string name = QFile::encodeName(source).toStdString();
        std::unique_ptr<VideoSource> file;
        if (!IsLive(name)) {
            std::string reason;
            file = VideoSource::Open(name, options.Live.Source, reason);
            if (!file) {
                std::fprintf(stderr, "wall: cannot play %s: %s\n", qPrintable(source), reason.c_str());
                return ExitUnreadable;
            }
        }
        if (file ? !window.Add(source, std::move(file)) : !window.AddLive(source, options.Live)) {
            std::fprintf(stderr, "wall: the library gave no renderer\n");
            return 1;
        }
    }
    return 0;
}

int Show(const WallOptions& options)
{
    QString reason;
    auto feed = options.Boxes.isEmpty() ? nullptr : BoxFeed::Open(options.Boxes, reason);
    if (!reason.isEmpty()) {
        std::fprintf(stderr, "wall: cannot read boxes from %s: %s\n", qPrintable(options.Boxes),
                     qPrintable(reason));
        return ExitUnreadable;
    }
    WallWindow window(options.Tiles, QSize(1200, 720), AreNative(options.Way));
    if (feed) {
        window.SetBoxes(std::move(feed), options.Tiles);
    }
    if (!options.Statistics.isEmpty() && !window.RecordStatistics(options.Statistics)) {
        return 1;
    }
    int code = Fill(window, options);
    if (code == 0) {
        window.Begin(options.Threads, options.Seconds, options.Picture);
        code = QApplication::exec();
        window.PrintReport();
    }
    return code;
}

} // namespace

int main(int argc, char** argv)
{
    LoadStandIn(argc, argv);
    SpareRasteriserThreads(argc, argv);
    ChoosePlatform();
    QCoreApplication::setApplicationName(QStringLiteral("wall"));
    QCoreApplication::setApplicationVersion(QStringLiteral(OVEL_VERSION));
    if (WantsTextOnly(argc, argv)) {
        const QCoreApplication withoutDisplay(argc, argv);
        ReadOptions(); // ends the process
    }
    QGuiApplication::setDesktopFileName(QStringLiteral("ovel-wall")); // by which Wayland finds the icon
    const QApplication application(argc, argv);
    const WallOptions options = ReadOptions();
    if (!HasOpenGl()) {
        return ExitNoOpenGl;
    }
    const int code = Show(options);
    // Released renderers are deleted by the event loop.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return code;
}
