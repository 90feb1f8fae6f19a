// What a frame costs that stays where the host has it, beside the same frame copied.
#include "Cells.h"

#include <cstring>

#include <unistd.h>

namespace Bench
{
namespace
{

using FrameClip = std::vector<Frame>;

std::unique_ptr<Display> NewLendingDisplay()
{
    return NewLibraryDisplay(OVEL_RENDER_FULL, true);
}

// Microseconds of the feeding thread for one hand-over in a row of them.
double HandOver(Display& display, const FrameClip& clip, int64_t& allocations)
{
    constexpr int Batch = 40;
    const int64_t before = ThreadAllocations();
    const double start = ThreadCpuMilliseconds();
    for (size_t i = 0; i < Batch; ++i) {
        display.Feed(clip[i % clip.size()]);
    }
    const double cost = (ThreadCpuMilliseconds() - start) / Batch * 1000;
    allocations += ThreadAllocations() - before;
    return cost;
}

// The same for single ones, 40 ms apart, with a paint after each.
void HandOversBetweenPaints(Series& series, Stage& copying, Stage& lending, const FrameClip& clip, int ticks)
{
    const auto timed = [](Display& display, const Frame& frame) {
        const double start = ThreadCpuMilliseconds();
        display.Feed(frame);
        const double cost = (ThreadCpuMilliseconds() - start) * 1000;
        usleep(40000);
        return cost;
    };
    for (int i = 0; i < ticks; ++i) {
        const Frame& frame = clip[static_cast<size_t>(i) % clip.size()];
        const double copied = timed(copying.First(), frame);
        series.Add(copied, timed(lending.First(), frame));
    }
}

double MemcpyCost(const FrameClip& clip)
{
    std::vector<uint8_t> target(clip[0].PictureBytes());
    const auto copy = [&](size_t i) {
        std::memcpy(target.data(), clip[i % clip.size()].info.pYuvData, target.size());
        asm volatile("" : : "r"(target.data()) : "memory");
    };
    CpuOf(4, copy);
    return CpuOf(20, copy);
}

void Compare(const std::string& name, const FrameClip& clip)
{
    Series alone;
    int64_t allocations = 0;
    const auto hiddenCopying = NewLibraryDisplay();
    const auto hiddenLending = NewLendingDisplay();
    RunWith([&] {
        int64_t ignored = 0;
        HandOver(*hiddenLending, clip, ignored);
        Alternate(
            alone, 2 * settings.rounds, [&] { return HandOver(*hiddenCopying, clip, ignored); },
            [&] { return HandOver(*hiddenLending, clip, allocations); });
    });
    PrintRow(name + ", hand-over, hidden, " + std::to_string(allocations) + " allocations", alone, "us");

    const QSize size(1280, 720);
    Stage copying(1, size, false, [] { return NewLibraryDisplay(); });
    Stage lending(1, size, true, NewLendingDisplay);
    copying.Show(clip[0]);
    lending.Show(clip[0]);
    Series painting;
    RunWith([&] { HandOversBetweenPaints(painting, copying, lending, clip, 10 * settings.rounds); });
    PrintRow(name + ", hand-over, painting", painting, "us");

    const auto frames = [&](Stage& stage) {
        return CpuOf(10, [&](size_t i) { Stage::FeedAndAwait(stage.First(), clip[i % clip.size()]); });
    };
    const Series whole = Alternate(
        2 * settings.rounds, [&] { return frames(copying); }, [&] { return frames(lending); });
    PrintRow(name + ", hand-over and paint", whole, "ms", 1.0);
    PrintRow(name + ", one memcpy, and what a frame saves", MemcpyCost(clip), whole.Limit() - whole.Library(),
             "ms");
}

} // namespace

void CellReference()
{
    PrintTitle("Frames left where they are, full-frame renderer, in 1280 x 720", "copied");
    for (const QSize size : {QSize(1920, 1080), QSize(3840, 2160)}) {
        const std::string name = size.width() > 1920 ? "4K, " : "1080p, ";
        Compare(name + "three planes", Clip(OVEL_DISPLAY_YV12, size.width(), size.height()));
        Compare(name + "NV12 pitched",
                Clip(OVEL_DISPLAY_NV12, size.width(), size.height(), size.width() + 64, true));
    }
}

} // namespace Bench
