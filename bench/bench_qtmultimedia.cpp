// The same 1080p pictures in 1280 x 720 by Qt Multimedia's widget: CPU time per frame, to compare with
// bench_window.
#include "Measure.h"

#include <QAbstractVideoSurface>
#include <QApplication>
#include <QVideoSurfaceFormat>
#include <QVideoWidget>

#include <cstdio>
#include <cstring>
#include <vector>

namespace
{

constexpr QSize PictureSize(1920, 1080);
constexpr int PictureBytes = 1920 * 1080 * 3 / 2;

QVideoFrame MakeFrame(const std::vector<uint8_t>& bytes, int row)
{
    QVideoFrame frame(PictureBytes, PictureSize, PictureSize.width(), QVideoFrame::Format_YUV420P);
    if (frame.map(QAbstractVideoBuffer::WriteOnly)) {
        std::memcpy(frame.bits(), bytes.data() + row * PictureSize.width(), PictureBytes);
        frame.unmap();
    }
    return frame;
}

// The widget paints pictures of its own kind only where it has no shader: Qt converts then, as its players
// do.
QVideoFrame Shown(const QVideoFrame& frame, bool takesPlanes)
{
    return takesPlanes ? frame : QVideoFrame(frame.image().convertToFormat(QImage::Format_RGB32));
}

double CpuPerFrame(QVideoWidget& widget, bool takesPlanes, const std::vector<uint8_t>& bytes, int frames)
{
    const double start = Bench::ProcessCpuMilliseconds();
    for (int i = 0; i < frames; ++i) {
        widget.videoSurface()->present(Shown(MakeFrame(bytes, i % 4), takesPlanes));
        widget.repaint();
        QCoreApplication::processEvents();
    }
    return (Bench::ProcessCpuMilliseconds() - start) / frames;
}

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QVideoWidget widget;
    widget.setAspectRatioMode(Qt::IgnoreAspectRatio);
    widget.resize(1280, 720);
    widget.show();
    QCoreApplication::processEvents();
    QAbstractVideoSurface* const surface = widget.videoSurface();
    const bool takesPlanes =
        surface && surface->supportedPixelFormats().contains(QVideoFrame::Format_YUV420P);
    if (!surface ||
        !surface->start(QVideoSurfaceFormat(PictureSize, takesPlanes ? QVideoFrame::Format_YUV420P
                                                                     : QVideoFrame::Format_RGB32))) {
        std::fprintf(stderr, "bench_qtmultimedia: the widget has no surface\n");
        return 2;
    }
    std::vector<uint8_t> bytes(static_cast<size_t>(PictureSize.width()) * (1080 + 4) * 3 / 2);
    for (size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<uint8_t>((i / 1920 * 3 + i % 1920 * 5) >> 3);
    }
    std::vector<double> costs;
    for (int round = 0; round < 7; ++round) {
        costs.push_back(CpuPerFrame(widget, takesPlanes, bytes, 20));
    }
    std::printf("Qt Multimedia, %s: %.3f ms CPU per 1080p frame in 1280 x 720\n",
                takesPlanes ? "planes" : "converted by Qt", Bench::Median(costs));
    return 0;
}
