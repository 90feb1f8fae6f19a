// How long a frame takes from its hand-over to the screen.
#include "Cells.h"

#include <unistd.h>

namespace Bench
{

void CellLatency()
{
    PrintTitle("Hand-over on a feeding thread until the frame is on the screen, wall time", "thin widget");
    const auto clip = Clip(OVEL_DISPLAY_YV12, 1920, 1080);
    Stage limit(1, {1280, 720}, false, [] { return NewLimitDisplay(); });
    Stage library(1, {1280, 720}, true, [] { return NewLibraryDisplay(); });
    limit.Show(clip[0]);
    library.Show(clip[0]);
    Series series;
    size_t next = 0;
    const auto latency = [&](Stage& stage) {
        const int before = stage.First().swaps;
        const double start = WallMilliseconds();
        stage.First().Feed(clip[++next % clip.size()]);
        while (stage.First().swaps == before) {
            usleep(200);
        }
        const double result = stage.First().lastSwap - start;
        usleep(20000);
        return result;
    };
    RunWith([&] {
        series = Alternate(
            8 * settings.rounds, [&] { return latency(limit); }, [&] { return latency(library); });
    });
    PrintRow("1080p in 1280 x 720", series, "ms");
}

} // namespace Bench
