// How long the GUI thread stands still while decoders hand frames over without a pause.
#include "Cells.h"

#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <thread>

namespace Bench
{
namespace
{

constexpr double Seconds = 3;

struct Tally {
    int64_t frames = 0;
    int paints = 0;
    double seconds = 0;
};

// The longest gap of a 5 ms timer while every display has a feeder of its own that never pauses.
double LongestGap(Stage& stage, const std::vector<Frame>& clip, Tally& tally)
{
    PaintCounter paints(stage);
    std::atomic<bool> over{false};
    std::atomic<int64_t> frames{0};
    std::vector<std::thread> feeders;
    const double start = WallMilliseconds();
    for (const auto& display : stage.displays) {
        feeders.emplace_back([&] {
            for (size_t frame = 0; !over; ++frame) {
                display->Feed(clip[frame % clip.size()]);
                ++frames;
            }
        });
    }
    double last = start;
    double longest = 0;
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, [&] {
        const double now = WallMilliseconds();
        longest = std::max(longest, now - last);
        last = now;
    });
    timer.start(5);
    RunUntil([&] { return last - start >= Seconds * 1000; });
    over = true;
    for (std::thread& feeder : feeders) {
        feeder.join();
    }
    tally.frames += frames;
    tally.paints += paints.count;
    tally.seconds += (last - start) / 1000;
    RunFor(300);
    return longest;
}

std::string PerSecond(const char* name, const Tally& tally)
{
    char text[120];
    std::snprintf(text, sizeof(text), "%s %.0f frames and %.1f paints a second", name,
                  static_cast<double>(tally.frames) / tally.seconds, tally.paints / tally.seconds);
    return text;
}

} // namespace

void CellFeeders()
{
    PrintTitle(
        "Longest gap of a 5 ms timer on the GUI thread while every window is fed 1080p without a pause",
        "thin widgets with a gate");
    const QSize tile(480, 270);
    const auto clip = Clip(OVEL_DISPLAY_YV12, 1920, 1080);
    for (const int count : {1, 4, 16}) {
        Stage limit(count, tile, false, [] { return NewLimitDisplay(); });
        Stage library(count, tile, true, [] { return NewLibraryDisplay(); });
        limit.Show(clip[0]);
        library.Show(clip[0]);
        Tally limitTally;
        Tally libraryTally;
        const Series gaps = Alternate(
            settings.rounds / 2 + 1, [&] { return LongestGap(limit, clip, limitTally); },
            [&] { return LongestGap(library, clip, libraryTally); });
        PrintRow(std::to_string(count) + " feeders; " + PerSecond("thin", limitTally) + ", " +
                     PerSecond("library", libraryTally),
                 gaps, "ms", 1.0);
    }
}

} // namespace Bench
