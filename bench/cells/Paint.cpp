// What a painted 1080p frame costs, beside the thinnest widget.
#include "Cells.h"

namespace Bench
{
namespace
{

// CPU time of the paints alone: the clock starts when the frame has been handed over.
double PaintCpu(Stage& stage, const std::vector<Frame>& clip, int batch)
{
    double sum = 0;
    for (int i = 0; i < batch; ++i) {
        const std::vector<int> before = stage.SwapsBefore();
        stage.First().Feed(clip[static_cast<size_t>(i) % clip.size()]);
        const double start = ProcessCpuMilliseconds();
        stage.AwaitPaint(before);
        sum += ProcessCpuMilliseconds() - start;
    }
    return sum / batch;
}

double RepaintCpu(Stage& stage, int batch)
{
    return CpuOf(batch, [&](size_t) {
        const std::vector<int> before = stage.SwapsBefore();
        stage.First().Widget()->update();
        stage.AwaitPaint(before);
    });
}

} // namespace

void CellPaint()
{
    PrintTitle("CPU per displayed 1080p frame in 1280 x 720", "thin widget");
    const QSize size(1280, 720);
    for (const int type : {OVEL_DISPLAY_YV12, OVEL_DISPLAY_NV12}) {
        const std::string name = type == OVEL_DISPLAY_YV12 ? "three planes" : "NV12";
        const auto clip = Clip(type, 1920, 1080);
        for (const int renderer : {OVEL_RENDER_FULL, OVEL_RENDER_SUB_IMAGE}) {
            const std::string cell = name + (renderer == OVEL_RENDER_FULL ? "" : ", sub-image renderer");
            Stage limit(1, size, false, [&] { return NewLimitDisplay(false, renderer); });
            Stage copying(1, size, false, [&] { return NewLimitDisplay(true, renderer); });
            Stage library(1, size, true, [&] { return NewLibraryDisplay(renderer); });
            limit.Show(clip[0]);
            copying.Show(clip[0]);
            library.Show(clip[0]);
            PrintRow(cell + ", paint",
                     Alternate(
                         2 * settings.rounds, [&] { return PaintCpu(limit, clip, 10); },
                         [&] { return PaintCpu(library, clip, 10); }),
                     "ms", 1.0);
            const auto frame = [&](Stage& stage) {
                return CpuOf(10,
                             [&](size_t i) { Stage::FeedAndAwait(stage.First(), clip[i % clip.size()]); });
            };
            PrintRow(cell + ", hand-over and paint",
                     Alternate(
                         2 * settings.rounds, [&] { return frame(copying); }, [&] { return frame(library); }),
                     "ms", 1.0);
            PrintRow(cell + ", repaint of the same picture",
                     Alternate(
                         settings.rounds, [&] { return RepaintCpu(limit, 10); },
                         [&] { return RepaintCpu(library, 10); }),
                     "ms", 1.0);
            PrintRow(cell + ", the library's repaint against its paint",
                     Alternate(
                         settings.rounds, [&] { return PaintCpu(library, clip, 10); },
                         [&] { return RepaintCpu(library, 10); }),
                     "ms", 0.6);
        }
    }
}

} // namespace Bench
