// What the library costs in windows, cell by cell beside the least that the same job can cost. See --help.
#include "Displays.h"
#include "Measure.h"

#include <QApplication>
#include <QTimer>
#include <QWindow>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <thread>

#include <malloc.h>
#include <unistd.h>

using namespace Bench;

namespace
{

int s_rounds = 9;
int s_idleSeconds = 10;
std::string s_libraryPath = OVEL_LIBRARY;
std::string s_againstPath; // another build that takes the place of the limit
std::string s_self;

const Library& TheLibrary()
{
    static const Library library(s_libraryPath);
    return library;
}

std::unique_ptr<Display> NewLibraryDisplay(int typeCode = OVEL_RENDER_FULL)
{
    return std::make_unique<LibraryDisplay>(TheLibrary(), typeCode);
}

std::unique_ptr<Display> NewLimitDisplay(bool copies = true, int typeCode = OVEL_RENDER_FULL)
{
    if (s_againstPath.empty())
        return std::make_unique<ThinDisplay>(copies);
    static const Library against(s_againstPath);
    return std::make_unique<LibraryDisplay>(against, typeCode);
}

template <typename Condition> void RunUntil(const Condition& condition)
{
    while (!condition())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

void RunFor(double milliseconds)
{
    const double end = WallMilliseconds() + milliseconds;
    while (WallMilliseconds() < end) {
        QCoreApplication::processEvents();
        usleep(1000);
    }
}

void RunWith(const std::function<void()>& work)
{
    std::atomic<bool> done{false};
    std::thread thread([&] {
        work();
        done = true;
        QMetaObject::invokeMethod(
            qApp, [] {}, Qt::QueuedConnection);
    });
    RunUntil([&] { return done.load(); });
    thread.join();
}

// A top-level window full of displays of one size.
class Stage
{
public:
    template <typename Make> Stage(int count, QSize tile, bool onTheRight, const Make& make)
    {
        int columns = 1;
        while (columns * columns < count)
            ++columns;
        top.setGeometry(onTheRight ? 2880 : 0, 0, columns * tile.width(),
                        (count + columns - 1) / columns * tile.height());
        for (int i = 0; i < count; ++i) {
            displays.push_back(make());
            QWidget* widget = displays.back()->Widget();
            widget->setParent(&top);
            widget->setGeometry(i % columns * tile.width(), i / columns * tile.height(), tile.width(),
                                tile.height());
            displays.back()->CountSwaps();
        }
    }
    ~Stage()
    {
        // The widgets belong to their displays.
        for (const auto& display : displays)
            display->Widget()->setParent(nullptr);
    }

    Display& First() { return *displays.front(); }
    void Show(const Frame& frame)
    {
        top.show();
        RunUntil([this] { return top.isVisible() && top.windowHandle()->isExposed(); });
        Together(frame);
        Together(frame);
    }
    // All get a frame, then all paint.
    void Together(const Frame& frame)
    {
        for (const auto& display : displays)
            display->Feed(frame);
        AwaitPaint(SwapsBefore());
    }
    void OneAfterAnother(const Frame& frame)
    {
        for (const auto& display : displays)
            FeedAndAwait(*display, frame);
    }
    static void FeedAndAwait(Display& display, const Frame& frame)
    {
        const int before = display.swaps;
        display.Feed(frame);
        RunUntil([&] { return display.swaps != before; });
    }
    std::vector<int> SwapsBefore() const
    {
        std::vector<int> swaps;
        for (const auto& display : displays)
            swaps.push_back(display->swaps);
        return swaps;
    }
    void AwaitPaint(const std::vector<int>& before) const
    {
        RunUntil([&] {
            for (size_t i = 0; i < displays.size(); ++i) {
                if (displays[i]->swaps == before[i])
                    return false;
            }
            return true;
        });
    }

    QWidget top;
    std::vector<std::unique_ptr<Display>> displays;
};

// CPU time of a step, the mean of a batch.
template <typename Step> double CpuOf(int batch, const Step& step)
{
    const double start = ProcessCpuMilliseconds();
    for (int i = 0; i < batch; ++i)
        step(static_cast<size_t>(i));
    return (ProcessCpuMilliseconds() - start) / batch;
}

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

// ---------------------------------------------------------------------------------------------------- intake

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
        for (int i = 0; i < batch; ++i)
            step(clip[next++ % clip.size()]);
        return {(ThreadCpuMilliseconds() - cpu) / batch, (WallMilliseconds() - wall) / batch};
    };
    const auto read = [&] {
        unsigned int sum = 0;
        for (size_t i = 0; i < buffer.size(); i += 64)
            sum += buffer[i];
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
        if (pause > 0)
            QMetaObject::invokeMethod(qApp, read, Qt::BlockingQueuedConnection);
        due = std::max(due + pause, WallMilliseconds());
        usleep(static_cast<useconds_t>(std::max(due - WallMilliseconds(), 0.0) * 1000));
    }
}

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
            for (int round = 0; round < 2 * s_rounds; ++round) {
                const auto display = NewLibraryDisplay();
                RunWith([&] { Intake(hidden, *display, clip, 20, 5, 0); });
            }
            PrintRow(name + ", hidden" + hidden.counts.Text(), hidden.cpu, "ms", layout.target);
            Stage stage(1, {1280, 720}, false, [] { return NewLibraryDisplay(); });
            stage.Show(clip[0]);
            IntakeSeries painting;
            const int paintedBefore = stage.First().swaps;
            RunWith([&] { Intake(painting, stage.First(), clip, 20 * s_rounds, 1, 40); });
            const int painted = stage.First().swaps - paintedBefore;
            PrintRow(name + ", painting" + painting.counts.Text() + ", " + std::to_string(painted) +
                         " paints",
                     painting.cpu, "ms", layout.target);
            PrintRow(name + ", painting, wall", painting.wall, "ms");
        }
    }
}

// ----------------------------------------------------------------------------------------------------- paint

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
                         2 * s_rounds, [&] { return PaintCpu(limit, clip, 10); },
                         [&] { return PaintCpu(library, clip, 10); }),
                     "ms", 1.0);
            const auto frame = [&](Stage& stage) {
                return CpuOf(10,
                             [&](size_t i) { Stage::FeedAndAwait(stage.First(), clip[i % clip.size()]); });
            };
            PrintRow(cell + ", hand-over and paint",
                     Alternate(
                         2 * s_rounds, [&] { return frame(copying); }, [&] { return frame(library); }),
                     "ms", 1.0);
            PrintRow(
                cell + ", repaint of the same picture",
                Alternate(
                    s_rounds, [&] { return RepaintCpu(limit, 10); }, [&] { return RepaintCpu(library, 10); }),
                "ms", 1.0);
            PrintRow(cell + ", the library's repaint against its paint",
                     Alternate(
                         s_rounds, [&] { return PaintCpu(library, clip, 10); },
                         [&] { return RepaintCpu(library, 10); }),
                     "ms", 0.6);
        }
    }
}

// ------------------------------------------------------------------------------------------------------ wall

// Paints of widgets, as their events tell: a composition swaps all widgets of a window, painted or not.
class PaintCounter : public QObject
{
public:
    explicit PaintCounter(const Stage& stage)
    {
        for (const auto& display : stage.displays)
            display->Widget()->installEventFilter(this);
    }
    bool eventFilter(QObject*, QEvent* event) override
    {
        count += event->type() == QEvent::Paint;
        return false;
    }
    int count = 0;
};

// Frames fed by four threads at 10 per second to every window, and how many of them each side painted.
void Rate(Stage& stage, const std::vector<Frame>& clip, const char* name, int seconds)
{
    PaintCounter paints(stage);
    const double start = ProcessCpuMilliseconds();
    RunWith([&] {
        std::vector<std::thread> feeders;
        for (size_t feeder = 0; feeder < 4; ++feeder)
            feeders.emplace_back([&, feeder] {
                double due = WallMilliseconds();
                for (int frame = 0; frame < seconds * 10; ++frame) {
                    for (size_t i = feeder; i < stage.displays.size(); i += 4)
                        stage.displays[i]->Feed(clip[static_cast<size_t>(frame) % clip.size()]);
                    due += 100;
                    usleep(static_cast<useconds_t>(std::max(0.0, due - WallMilliseconds()) * 1000));
                }
            });
        for (std::thread& feeder : feeders)
            feeder.join();
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
                together, s_rounds / 3 + 1, [&] { return round(limit); }, [&] { return round(library); });
            const auto row = [&](Stage& stage) {
                return CpuOf(count > 4 ? 1 : 10,
                             [&](size_t i) { stage.OneAfterAnother(clip[i % clip.size()]); });
            };
            Alternate(
                alone, count > 16 ? 2 : s_rounds / 3 + 1, [&] { return row(limit); },
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

// -------------------------------------------------------------------------------------------------- overlays

__tagQDrawGraphInfo Graphic(int type, int index, int points)
{
    __tagQDrawGraphInfo record = {};
    record.iGraphType = type;
    record.uiColor = static_cast<uint32_t>(index) * 2654435761u | 0x00FF00;
    record.iFontSize = 1;
    record.iPointNum = points;
    const int left = index * 37 % 1200;
    const int top = index * 53 % 660;
    static const int box[4][2] = {{0, 0}, {60, 0}, {60, 40}, {0, 40}};
    static const int strip[4][2] = {{0, 0}, {60, 0}, {0, 40}, {60, 40}};
    for (int i = 0; i < points; ++i) {
        const auto& corner = type == OVEL_GRAPH_OUTLINE ? box[i % 4] : strip[i % 4];
        record.stPoint[i] = {left + corner[0], top + corner[1]};
    }
    return record;
}

void OverlayRow(const std::string& name, Stage& limit, Stage& library, const std::vector<Frame>& clip,
                const Records& records, double target = 1.1)
{
    const Records none;
    const int batch = records.size() > 2000 ? 3 : 10;
    const auto frame = [&](Stage& stage, const Records& shown) {
        stage.First().SetRecords(&shown);
        Stage::FeedAndAwait(stage.First(), clip[0]);
        return CpuOf(batch, [&](size_t i) { Stage::FeedAndAwait(stage.First(), clip[i % clip.size()]); });
    };
    // With and without at once, because a machine's speed drifts.
    const auto alone = [&](Stage& stage) {
        const double without = frame(stage, none);
        return frame(stage, records) - without;
    };
    PrintRow(name + ", whole frame",
             Alternate(
                 s_rounds, [&] { return frame(limit, records); }, [&] { return frame(library, records); }),
             "ms");
    if (records.size() >= 1000)
        PrintRow(name + ", overlays alone",
                 Alternate(
                     s_rounds, [&] { return alone(limit); }, [&] { return alone(library); }),
                 "ms", target);
    limit.First().SetRecords(nullptr);
    library.First().SetRecords(nullptr);
}

void CellOverlays()
{
    PrintTitle("CPU per frame of 352 x 288 in 1280 x 720 with overlays, store and paint", "bare loop");
    const auto clip = Clip(OVEL_DISPLAY_YV12, 352, 288);
    Stage limit(1, {1280, 720}, false, [] { return NewLimitDisplay(); });
    Stage library(1, {1280, 720}, true, [] { return NewLibraryDisplay(); });
    limit.Show(clip[0]);
    library.Show(clip[0]);
    for (const int count : {0, 10, 100, 1000, 10000}) {
        Records records;
        for (int i = 0; i < count; ++i)
            records.push_back(Graphic(OVEL_GRAPH_OUTLINE, i, 4));
        OverlayRow(std::to_string(count) + " boxes", limit, library, clip, records);
    }
    for (const int count : {1000, 10000}) {
        Records records;
        for (int i = 0; i < count; ++i) {
            const int kind = i % 10;
            records.push_back(kind < 6   ? Graphic(OVEL_GRAPH_OUTLINE, i, 4)
                              : kind < 8 ? Graphic(OVEL_GRAPH_POLYLINE, i, 16)
                                         : Graphic(OVEL_GRAPH_FILLED, i, 4));
            records.back().fAlpha = kind == 9 ? 0.5f : 0.0f;
        }
        OverlayRow(std::to_string(count) + " boxes, polylines, filled and translucent shapes", limit, library,
                   clip, records);
    }
}

// Lines of width 1, as detectors give them: five boxes, four tracks and one shape in ten.
void CellThin()
{
    const auto clip = Clip(OVEL_DISPLAY_YV12, 352, 288);
    Stage library(1, {1280, 720}, true, [] { return NewLibraryDisplay(); });
    library.Show(clip[0]);
    for (const bool atOnce : {false, true}) {
        PrintTitle("CPU per frame of 352 x 288 in 1280 x 720 with overlays of width 1, store and paint",
                   atOnce ? "one call for all" : "bare loop");
        Stage limit(1, {1280, 720}, false, [atOnce] { return std::make_unique<ThinDisplay>(true, atOnce); });
        limit.Show(clip[0]);
        for (const int count : {1000, 10000}) {
            Records records;
            for (int i = 0; i < count; ++i)
                records.push_back(i % 10 < 5   ? Graphic(OVEL_GRAPH_OUTLINE, i, 4)
                                  : i % 10 < 9 ? Graphic(OVEL_GRAPH_POLYLINE, i, 16)
                                               : Graphic(OVEL_GRAPH_FILLED, i, 4));
            OverlayRow(std::to_string(count) + " boxes, tracks and shapes", limit, library, clip, records,
                       atOnce ? 1.15 : 1.0);
        }
    }
}

// ---------------------------------------------------------------------------------------------------- labels

Records Labels(int count, int round)
{
    Records records;
    for (int i = 0; i < count; ++i) {
        __tagQDrawGraphInfo record = {};
        record.iGraphType = OVEL_GRAPH_TEXT;
        record.uiColor = 0x00FFFF;
        record.iFontSize = 12;
        record.iPointNum = 2;
        record.iTextCode = OVEL_TEXT_UTF8;
        record.stPoint[0] = {20 + i % 6 * 200, 30 + i / 6 * 80};
        record.stPoint[1] = {record.stPoint[0].x + 160, record.stPoint[0].y + 16};
        std::snprintf(record.szText, sizeof(record.szText), "camera %d: %d", i, 1000 + round);
        records.push_back(record);
    }
    return records;
}

void CellLabels()
{
    PrintTitle("CPU per 1080p frame in 1280 x 720 with labels", "thin widget with QLabels");
    const auto clip = Clip(OVEL_DISPLAY_YV12, 1920, 1080);
    for (const int count : {0, 5, 48}) {
        for (const bool changing : {false, true}) {
            if (count == 0 && changing)
                continue;
            Stage limit(1, {1280, 720}, false, [] { return NewLimitDisplay(); });
            Stage library(1, {1280, 720}, true, [] { return NewLibraryDisplay(); });
            Records records = Labels(count, 0);
            int round = 0;
            limit.Show(clip[0]);
            library.Show(clip[0]);
            limit.First().SetRecords(&records);
            library.First().SetRecords(&records);
            int compositions[2] = {};
            int frames[2] = {};
            Stage* stages[2] = {&limit, &library};
            for (const int side : {0, 1}) {
                QObject::connect(stages[side]->First().Widget(), &QOpenGLWidget::aboutToCompose,
                                 [&compositions, side] { ++compositions[side]; });
            }
            const auto cost = [&](int side) {
                return CpuOf(10, [&](size_t i) {
                    if (changing)
                        records = Labels(count, ++round);
                    Stage::FeedAndAwait(stages[side]->First(), clip[i % clip.size()]);
                    QCoreApplication::processEvents();
                    ++frames[side];
                });
            };
            const Series series = Alternate(
                s_rounds, [&] { return cost(0); }, [&] { return cost(1); });
            char text[120];
            std::snprintf(text, sizeof(text), "%d %s labels, %.2f and %.2f compositions per frame", count,
                          changing ? "changing" : "unchanged", 1.0 * compositions[0] / frames[0],
                          1.0 * compositions[1] / frames[1]);
            PrintRow(text, series, "ms", changing ? 1.1 : 1.05);
            limit.First().SetRecords(nullptr);
            library.First().SetRecords(nullptr);
        }
    }
}

// ---------------------------------------------------------------------------------------------- idle,
// latency

void CellIdle()
{
    const auto clip = Clip(OVEL_DISPLAY_YV12, 1920, 1080);
    Records records = Labels(5, 0);
    for (int i = 0; i < 20; ++i)
        records.push_back(Graphic(OVEL_GRAPH_OUTLINE, i, 4));
    PrintNote("Idle with picture, 20 overlays and 5 labels for " + std::to_string(s_idleSeconds) + " s");
    for (const bool isLibrary : {false, true}) {
        Stage stage(1, {1280, 720}, false,
                    [&] { return isLibrary ? NewLibraryDisplay() : NewLimitDisplay(); });
        stage.First().SetRecords(&records);
        stage.Show(clip[0]);
        RunFor(500);
        int compositions = 0;
        QObject::connect(stage.First().Widget(), &QOpenGLWidget::aboutToCompose, [&] { ++compositions; });
        const int swaps = stage.First().swaps;
        const double start = ProcessCpuMilliseconds();
        bool over = false;
        QTimer::singleShot(s_idleSeconds * 1000, [&] { over = true; });
        int wakeUps = 0;
        RunUntil([&] { return ++wakeUps, over; });
        char text[160];
        std::snprintf(text, sizeof(text), "- %s: %d paints, %d compositions, %d wake-ups, CPU %.4f %%",
                      isLibrary ? "library" : "thin widget", stage.First().swaps - swaps, compositions,
                      wakeUps - 1, (ProcessCpuMilliseconds() - start) / (s_idleSeconds * 10.0));
        PrintNote(text);
        stage.First().SetRecords(nullptr);
    }
}

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
        while (stage.First().swaps == before)
            usleep(200);
        const double result = stage.First().lastSwap - start;
        usleep(20000);
        return result;
    };
    RunWith([&] {
        series = Alternate(
            8 * s_rounds, [&] { return latency(limit); }, [&] { return latency(library); });
    });
    PrintRow("1080p in 1280 x 720", series, "ms");
}

// ------------------------------------------------------------------------------- processes of their own

double ResidentMegabytes()
{
    std::ifstream file("/proc/self/smaps_rollup");
    std::string line;
    while (std::getline(file, line)) {
        double kilobytes = 0;
        if (std::sscanf(line.c_str(), "Pss: %lf kB", &kilobytes) == 1)
            return kilobytes / 1024;
    }
    return 0;
}

// Runs in a process of its own: shows a picture in every window and says what that took.
int Child(const std::string& side, int count, int width, int height)
{
    const auto clip = Clip(OVEL_DISPLAY_YV12, width, height);
    Stage stage(count, {352, 288}, false,
                [&] { return side == "library" ? NewLibraryDisplay() : NewLimitDisplay(); });
    stage.top.show();
    stage.Together(clip[0]);
    const double cpu = ProcessCpuMilliseconds();
    for (size_t i = 0; i < 8; ++i)
        stage.Together(clip[i % clip.size()]);
    std::printf("%f %f\n", cpu, ResidentMegabytes());
    std::fflush(stdout);
    _exit(0);
}

struct ChildResult {
    double cpu = 0;
    double wall = 0;
    double megabytes = 0;
};

ChildResult RunChild(bool library, int count, int width, int height)
{
    const std::string command = s_self + " --library " + s_libraryPath + " --child " +
                                (library ? "library " : "thin ") + std::to_string(count) + " " +
                                std::to_string(width) + " " + std::to_string(height);
    ChildResult result;
    const double start = WallMilliseconds();
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe || std::fscanf(pipe, "%lf %lf", &result.cpu, &result.megabytes) != 2)
        std::fprintf(stderr, "no result from %s\n", command.c_str());
    result.wall = WallMilliseconds() - start;
    if (pipe)
        pclose(pipe);
    return result;
}

void CellFirst()
{
    PrintTitle("A process from its start to its first picture of 352 x 288", "thin widget");
    Series wall;
    const Series cpu = Alternate(
        std::max(9, s_rounds), [] { return RunChild(false, 1, 352, 288).cpu; },
        [] { return RunChild(true, 1, 352, 288).cpu; });
    PrintRow("CPU time", cpu, "ms", 1.05);
}

void CellMemory()
{
    PrintTitle("Memory per window of 352 x 288 (17 windows less one)", "thin widgets");
    for (const QSize size : {QSize(352, 288), QSize(1920, 1080)}) {
        const auto perWindow = [&](bool library) {
            return (RunChild(library, 17, size.width(), size.height()).megabytes -
                    RunChild(library, 1, size.width(), size.height()).megabytes) /
                   16;
        };
        PrintRow("frames of " + std::to_string(size.width()) + " x " + std::to_string(size.height()),
                 Alternate(
                     5, [&] { return perWindow(false); }, [&] { return perWindow(true); }),
                 "MiB");
    }
}

const std::pair<const char*, void (*)()> Cells[] = {
    {"intake", CellIntake}, {"paint", CellPaint}, {"overlays", CellOverlays}, {"thin", CellThin},
    {"labels", CellLabels}, {"wall", CellWall},   {"latency", CellLatency},   {"first", CellFirst},
    {"memory", CellMemory}, {"idle", CellIdle},
};

int Usage()
{
    std::printf("bench_window [--rounds N] [--idle SECONDS] [--library FILE] [--against FILE] [CELL...]\n"
                "--against measures another build of the library in the place of the thin widget.\nCells:");
    for (const auto& cell : Cells)
        std::printf(" %s", cell.first);
    std::printf("\n");
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    s_self = argv[0];
    QApplication application(argc, argv);
    std::vector<std::string> wanted;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        const auto value = [&] { return i + 1 < argc ? argv[++i] : ""; };
        if (option == "--rounds")
            s_rounds = std::max(5, std::atoi(value()));
        else if (option == "--idle")
            s_idleSeconds = std::atoi(value());
        else if (option == "--library")
            s_libraryPath = value();
        else if (option == "--against")
            s_againstPath = value();
        else if (option == "--child" && i + 4 < argc)
            return Child(argv[i + 1], std::atoi(argv[i + 2]), std::atoi(argv[i + 3]), std::atoi(argv[i + 4]));
        else if (option[0] == '-')
            return Usage();
        else
            wanted.push_back(option);
    }
    for (const auto& [name, cell] : Cells) {
        if (wanted.empty() || std::find(wanted.begin(), wanted.end(), name) != wanted.end())
            cell();
    }
    return 0;
}
