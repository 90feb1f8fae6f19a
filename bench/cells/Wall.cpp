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

// Feeds every display at moments of its own, spread over a tenth of a second, 10 frames a second: cameras
// never come together.
void FeedOneByOne(Stage& stage, const std::vector<Frame>& clip, int frames)
{
    const double start = WallMilliseconds();
    const size_t count = stage.displays.size();
    for (size_t i = 0; i < static_cast<size_t>(frames) * count; ++i) {
        const double due = start + static_cast<double>(i) * 100 / static_cast<double>(count);
        usleep(static_cast<useconds_t>(std::max(0.0, due - WallMilliseconds()) * 1000));
        stage.displays[i % count]->Feed(clip[i / count % clip.size()]);
    }
}

QSize TileOf(int columns)
{
    return {1280 / columns, 720 / columns};
}

// A wall in a process of its own, the rasteriser as it comes or as the guide advises for native tiles.
struct Load {
    double percent = 0; // of one CPU
    int fed = 0;
    int painted = 0;
};

Load LoadOf(bool native, int columns)
{
    const std::string command = std::string(native ? "LP_NUM_THREADS=0 " : "") + settings.program +
                                " --library " + settings.libraryPath + " --child " +
                                (native ? "native " : "shared ") + std::to_string(columns) + " 352 288";
    Load load;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe || std::fscanf(pipe, "%lf %d %d", &load.percent, &load.fed, &load.painted) != 3) {
        std::fprintf(stderr, "no result from %s\n", command.c_str());
    }
    if (pipe) {
        pclose(pipe);
    }
    return load;
}

} // namespace

int ChildWall(bool native, int columns, int width, int height)
{
    constexpr int Frames = 40;
    const auto clip = Clip(OVEL_DISPLAY_YV12, width, height);
    Stage stage(columns * columns, TileOf(columns), true, [] { return NewLibraryDisplay(); });
    if (native) {
        stage.MakeNative();
    }
    stage.Show(clip[0]);
    PaintCounter paints(stage);
    const double wall = WallMilliseconds();
    const double cpu = ProcessCpuMilliseconds();
    RunWith([&] { FeedOneByOne(stage, clip, Frames); });
    const double percent = (ProcessCpuMilliseconds() - cpu) / (WallMilliseconds() - wall) * 100;
    RunFor(200);
    std::printf("%f %d %d\n", percent, Frames * columns * columns, paints.count);
    std::fflush(stdout);
    _exit(0);
}

void CellNative()
{
    PrintTitle("CPU of a wall of 1280 x 720 whose tiles are native windows, and of one that is one window",
               "one window");
    const auto clip = Clip(OVEL_DISPLAY_YV12, 352, 288);
    for (const int columns : {4, 6}) {
        const int count = columns * columns;
        Stage shared(count, TileOf(columns), false, [] { return NewLibraryDisplay(); });
        Stage native(count, TileOf(columns), true, [] { return NewLibraryDisplay(); });
        native.MakeNative();
        shared.Show(clip[0]);
        native.Show(clip[0]);
        // On a machine that is busy otherwise the one window composes less often than it is asked to, and
        // seems cheap: one after another it cannot.
        const auto row = [&](Stage& stage) {
            return CpuOf(2, [&](size_t i) { stage.OneAfterAnother(clip[i % clip.size()]); });
        };
        const Series rows = Alternate(
            settings.rounds, [&] { return row(shared); }, [&] { return row(native); });
        shared.top.hide();
        native.top.hide();
        Load sharedLoad;
        Load nativeLoad;
        const Series loads = Alternate(
            settings.rounds / 2 + 1, [&] { return (sharedLoad = LoadOf(false, columns)).percent; },
            [&] { return (nativeLoad = LoadOf(true, columns)).percent; });
        PrintRow(std::to_string(count) + " native tiles, one after another", rows, "ms", 1.0 / 3);
        PrintRow(std::to_string(count) + " native tiles, at their own moments", loads, "%", 1.0 / 3);
        char text[120];
        std::snprintf(text, sizeof(text), "last run: painted of %d frames: one window %d, native %d\n",
                      sharedLoad.fed, sharedLoad.painted, nativeLoad.painted);
        PrintNote(text);
    }
}

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
