// What handing a frame over costs, beside one memcpy of the same bytes.
#include "Cells.h"

#include <QCoreApplication>

#include <cstring>

#include <malloc.h>
#include <unistd.h>

namespace Bench
{
namespace
{

struct IntakeLayout {
    const char* name;
    int displayType;
    int padding;
    bool planes;
    double target;
};
constexpr IntakeLayout IntakeLayouts[] = {
    {"three planes", OVEL_DISPLAY_YV12, 0, false, 1.03},
    {"NV12", OVEL_DISPLAY_NV12, 0, false, 1.03},
    {"NV12 pitched", OVEL_DISPLAY_NV12, 64, false, 1.05},
    {"NV12 pitched, two planes", OVEL_DISPLAY_NV12, 64, true, 1.05},
};

struct IntakeCounts {
    long faults = 0;
    int64_t allocations = 0;
    int frames = 0;
    std::string Text() const
    {
        return ", " + std::to_string(faults) + " faults and " + std::to_string(allocations) +
               " allocations in " + std::to_string(frames) + " frames";
    }
};

struct IntakeSeries {
    Series cpu;
    Series wall;
    IntakeCounts counts;
};

// Every tick copies one frame by memcpy and hands another one over, each first in turn. Without a pause a
// tick is a batch of frames. With one the widget paints: what memcpy wrote is then read on the GUI thread as
// well, because bytes that another core has read cost more to overwrite.
void Intake(IntakeSeries& result, Display& display, const std::vector<Frame>& clip, int ticks, int batch,
            double pause)
{
    std::vector<uint8_t> buffer(clip[0].PictureBytes());
    unsigned int next = 0;
    struct Cost {
        double cpu;
        double wall;
    };
    const auto timed = [&](const auto& step) -> Cost {
        const double wall = WallMilliseconds();
        const double cpu = ThreadCpuMilliseconds();
        for (int i = 0; i < batch; ++i) {
            step(clip[next++ % clip.size()]);
        }
        return {(ThreadCpuMilliseconds() - cpu) / batch, (WallMilliseconds() - wall) / batch};
    };
    const auto read = [&] {
        unsigned int sum = 0;
        for (size_t i = 0; i < buffer.size(); i += 64) {
            sum += buffer[i];
        }
        asm volatile("" : : "r"(sum));
    };
    const auto copy = [&] {
        return timed([&](const Frame& frame) {
            std::memcpy(buffer.data(), frame.info.pYuvData, buffer.size());
            asm volatile("" : : "r"(buffer.data()) : "memory");
        });
    };
    const auto feed = [&] {
        const long faults = ThreadPageFaults();
        const int64_t allocations = ThreadAllocations();
        const Cost cost = timed([&](const Frame& frame) { display.Feed(frame); });
        result.counts.faults += ThreadPageFaults() - faults;
        result.counts.allocations += ThreadAllocations() - allocations;
        result.counts.frames += batch;
        return cost;
    };
    copy();
    const IntakeCounts before = result.counts;
    feed();
    result.counts = before; // the first frame brings the buffer
    double due = WallMilliseconds();
    for (int tick = 0; tick < ticks; ++tick) {
        const bool copyFirst = tick % 2 == 0;
        const Cost first = copyFirst ? copy() : feed();
        const Cost second = copyFirst ? feed() : copy();
        const Cost& limit = copyFirst ? first : second;
        const Cost& library = copyFirst ? second : first;
        result.cpu.Add(limit.cpu, library.cpu);
        result.wall.Add(limit.wall, library.wall);
        if (pause > 0) {
            QMetaObject::invokeMethod(qApp, read, Qt::BlockingQueuedConnection);
        }
        due = std::max(due + pause, WallMilliseconds());
        usleep(static_cast<useconds_t>(std::max(due - WallMilliseconds(), 0.0) * 1000));
    }
}

} // namespace

void CellIntake()
{
    mallopt(M_MMAP_THRESHOLD, 1 << 20); // new buffers are new memory
    PrintTitle("Intake of one frame, CPU time of the feeding thread (wall time where it says so)", "memcpy");
    for (const QSize size : {QSize(1920, 1080), QSize(3840, 2160)}) {
        for (const IntakeLayout& layout : IntakeLayouts) {
            const int pitch = layout.padding > 0 ? size.width() + layout.padding : 0;
            const auto clip = Clip(layout.displayType, size.width(), size.height(), pitch, layout.planes);
            const std::string name = (size.width() > 1920 ? "4K, " : "1080p, ") + std::string(layout.name);
            // Every time in other buffers: which memory they get decides more than what is done with it.
            IntakeSeries hidden;
            for (int round = 0; round < 2 * settings.rounds; ++round) {
                const auto display = NewLibraryDisplay();
                RunWith([&] { Intake(hidden, *display, clip, 20, 5, 0); });
            }
            PrintRow(name + ", hidden" + hidden.counts.Text(), hidden.cpu, "ms", layout.target);
            Stage stage(1, {1280, 720}, false, [] { return NewLibraryDisplay(); });
            stage.Show(clip[0]);
            IntakeSeries painting;
            const int paintedBefore = stage.First().swaps;
            RunWith([&] { Intake(painting, stage.First(), clip, 20 * settings.rounds, 1, 40); });
            const int painted = stage.First().swaps - paintedBefore;
            PrintRow(name + ", painting" + painting.counts.Text() + ", " + std::to_string(painted) +
                         " paints",
                     painting.cpu, "ms", layout.target);
            PrintRow(name + ", painting, wall", painting.wall, "ms");
        }
    }
}

} // namespace Bench
