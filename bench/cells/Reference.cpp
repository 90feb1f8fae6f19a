// What a frame costs that stays where the host has it, beside the same frame copied.
#include "Cells.h"

#include <atomic>
#include <cstring>
#include <thread>

#include <sys/eventfd.h>
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

// A thread that sleeps until it is woken: what the kernel asks for that is in every hand-over that leads to a paint.
class Sleeper
{
public:
    Sleeper() : m_event(eventfd(0, 0)), m_thread([this] { Sleep(); }) {}
    ~Sleeper()
    {
        m_ends = true;
        Wake();
        m_thread.join();
        close(m_event);
    }
    Sleeper(const Sleeper&) = delete;
    Sleeper& operator=(const Sleeper&) = delete;
    void Wake() const { eventfd_write(m_event, 1); }

private:
    void Sleep() const
    {
        for (eventfd_t count = 0; !m_ends;) {
            eventfd_read(m_event, &count);
        }
    }

    const int m_event;
    std::atomic<bool> m_ends{false};
    std::thread m_thread; // last: starts when all else stands
};

// The same for single ones, 40 ms apart, with a paint after each.
struct BetweenPaints {
    Series hands; // copied, lent
    Series wakes; // waking a thread, lent
};

void HandOversBetweenPaints(BetweenPaints& costs, Stage& copying, Stage& lending, const FrameClip& clip,
                            int ticks)
{
    const auto timed = [](const auto& step) {
        const double start = ThreadCpuMilliseconds();
        step();
        const double cost = (ThreadCpuMilliseconds() - start) * 1000;
        usleep(40000);
        return cost;
    };
    const Sleeper sleeper;
    for (int i = 0; i < ticks; ++i) {
        const Frame& frame = clip[static_cast<size_t>(i) % clip.size()];
        const double copied = timed([&] { copying.First().Feed(frame); });
        const double lent = timed([&] { lending.First().Feed(frame); });
        copying.First().Feed(frame); // for the caches to be as cold
        usleep(40000);
        costs.hands.Add(copied, lent);
        costs.wakes.Add(timed([&] { sleeper.Wake(); }), lent);
    }
}

// Milliseconds of the process for a frame, from the hand-over to the end of its paint.
struct FrameCost {
    double handOver = 0;
    double paint = 0;
    double Whole() const { return handOver + paint; }
};

template <typename Before> FrameCost CostOfFrames(Stage& stage, const FrameClip& clip, const Before& before)
{
    constexpr size_t Batch = 20;
    FrameCost cost;
    const double start = ProcessCpuMilliseconds();
    for (size_t i = 0; i < Batch; ++i) {
        const double feeding = ThreadCpuMilliseconds();
        before(clip[(i + 1) % clip.size()]); // not the one whose upload would find it in the cache
        const int swaps = stage.First().swaps;
        stage.First().Feed(clip[i % clip.size()]);
        cost.handOver += (ThreadCpuMilliseconds() - feeding) / Batch;
        RunUntil([&] { return stage.First().swaps != swaps; });
    }
    cost.paint = (ProcessCpuMilliseconds() - start) / Batch - cost.handOver;
    return cost;
}

// In a window so small that a paint is little but the upload: drawing costs the same either way, and its noise
// would hide a copy.
void WholeFrames(const std::string& name, const FrameClip& clip)
{
    const QSize size(160, 90);
    Stage copying(1, size, false, [] { return NewLibraryDisplay(); });
    Stage lending(1, size, true, NewLendingDisplay);
    copying.Show(clip[0]);
    lending.Show(clip[0]);
    std::vector<uint8_t> target(clip[0].PictureBytes());
    const auto nothing = [](const Frame&) {};
    const auto copy = [&](const Frame& frame) {
        std::memcpy(target.data(), frame.info.pYuvData, target.size());
        asm volatile("" : : "r"(target.data()) : "memory");
    };
    Series whole;
    Series paint;
    Series saving;
    for (int round = 0; round <= 3 * settings.rounds; ++round) {
        const FrameCost copied = CostOfFrames(copying, clip, nothing);
        const FrameCost lent = CostOfFrames(lending, clip, nothing);
        const FrameCost lentAndCopied = CostOfFrames(lending, clip, copy);
        if (round > 0) {
            whole.Add(copied.Whole(), lent.Whole());
            paint.Add(copied.paint, lent.paint);
            saving.Add(lentAndCopied.handOver, copied.Whole() - lent.Whole());
        }
    }
    PrintRow(name + ", hand-over and paint", whole, "ms");
    PrintRow(name + ", of that the paint", paint, "ms", 1.1);
    PrintRow(name + ", one memcpy, and what a frame saves", saving.Limit(), saving.Library(), "ms");
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
    BetweenPaints painting;
    RunWith([&] { HandOversBetweenPaints(painting, copying, lending, clip, 10 * settings.rounds); });
    PrintRow(name + ", hand-over, painting", painting.hands, "us");
    PrintRow(name + ", waking a thread, and that hand-over", painting.wakes.Limit(), painting.wakes.Library(),
             "us");
    WholeFrames(name, clip);
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
