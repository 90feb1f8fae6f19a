// What walls of many small windows cost, and how many of their frames are painted.
#include "Cells.h"

#include <algorithm>
#include <cstdio>
#include <thread>

#include <unistd.h>

namespace Bench
{
namespace
{

// Frames fed by four threads at 10 per second to every window, and how many of them each side painted.
void Rate(Stage& stage, const std::vector<Frame>& clip, const char* name, int seconds)
{
    PaintCounter paints(stage);
    const double start = ProcessCpuMilliseconds();
    RunWith([&] {
        std::vector<std::thread> feeders;
        for (size_t feeder = 0; feeder < 4; ++feeder) {
            feeders.emplace_back([&, feeder] {
                double due = WallMilliseconds();
                for (int frame = 0; frame < seconds * 10; ++frame) {
                    for (size_t i = feeder; i < stage.displays.size(); i += 4) {
                        stage.displays[i]->Feed(clip[static_cast<size_t>(frame) % clip.size()]);
                    }
                    due += 100;
                    usleep(static_cast<useconds_t>(std::max(0.0, due - WallMilliseconds()) * 1000));
                }
            });
        }
        for (std::thread& feeder : feeders) {
            feeder.join();
        }
    });
    RunFor(300);
    char text[200];
    const int fed = seconds * 10 * static_cast<int>(stage.displays.size());
    std::snprintf(text, sizeof(text), "%s: %d frames fed, %d painted, %.1f %% of one CPU\n", name, fed,
                  paints.count, (ProcessCpuMilliseconds() - start) / (seconds * 10));
    PrintNote(text);
}

// Shows one stage alone, as a host would.
void RateAlone(Stage& shown, Stage& hidden, const std::vector<Frame>& clip, const char* name)
{
    hidden.top.hide();
    shown.top.show();
    RunFor(500);
    Rate(shown, clip, name, 5);
}

} // namespace

void CellWall()
{
    PrintTitle("CPU per round of a wall of 352 x 288 windows", "thin widgets");
    const QSize tile(352, 288);
    const auto clip = Clip(OVEL_DISPLAY_YV12, tile.width(), tile.height());
    for (const int count : {1, 4, 16, 36, 64}) {
        Series together;
        Series alone;
        // Three times in other memory, and on the other side: both decide more than what is measured.
        for (int build = 0; build < 3; ++build) {
            const bool libraryOnTheRight = build % 2 == 0;
            Stage limit(count, tile, !libraryOnTheRight, [] { return NewLimitDisplay(); });
            Stage library(count, tile, libraryOnTheRight, [] { return NewLibraryDisplay(); });
            limit.Show(clip[0]);
            library.Show(clip[0]);
            const auto round = [&](Stage& stage) {
                return CpuOf(count > 16 ? 3 : 10, [&](size_t i) { stage.Together(clip[i % clip.size()]); });
            };
            Alternate(
                together, settings.rounds / 3 + 1, [&] { return round(limit); },
                [&] { return round(library); });
            const auto row = [&](Stage& stage) {
                return CpuOf(count > 4 ? 1 : 10,
                             [&](size_t i) { stage.OneAfterAnother(clip[i % clip.size()]); });
            };
            Alternate(
                alone, count > 16 ? 2 : settings.rounds / 3 + 1, [&] { return row(limit); },
                [&] { return row(library); });
            if (count == 64 && build == 0) {
                RateAlone(library, limit, clip, "library, 64 windows at 10 frames per second");
                RateAlone(limit, library, clip, "thin widgets, 64 windows at 10 frames per second");
            }
        }
        PrintRow(std::to_string(count) + " windows, all fed together", together, "ms", 1.0);
        PrintRow(std::to_string(count) + " windows, one after another", alone, "ms", 1.0);
    }
}

} // namespace Bench
