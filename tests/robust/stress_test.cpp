// Long runs in one process: threads against the event loop, windows made and taken down, many windows for a
// long time. The environment stretches them: OVEL_TEST_SECONDS (stress), OVEL_TEST_CYCLES (cycles, parents),
// OVEL_TEST_MINUTES (soak).
#include "CLS_ShaderBase.h"
#include "OssdkRecorder.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QHBoxLayout>
#include <QOpenGLFunctions>
#include <QTimer>

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <random>
#include <thread>
#include <vector>

namespace
{

std::atomic<int> failures{0};
std::atomic<int64_t> heartbeat{0};

int64_t Milliseconds()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void Expect(bool holds, const char* what)
{
    if (!holds && failures++ < 20) {
        std::fprintf(stderr, "FAILED: %s\n", what);
    }
}

double Setting(const char* name, double standard)
{
    const char* text = std::getenv(name);
    return text ? std::atof(text) : standard;
}

void OnQtMessage(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type != QtDebugMsg && type != QtInfoMsg) {
        Expect(false, qPrintable("Qt warned: " + text));
    }
}

// A deadlock ends the program instead of the whole test run.
void WatchHeartbeat()
{
    heartbeat = Milliseconds();
    std::thread([] {
        for (;;) {
            std::this_thread::sleep_for(std::chrono::milliseconds(500));
            if (Milliseconds() - heartbeat > 30000) {
                std::fprintf(stderr, "watchdog: the event loop hangs\n");
                std::abort();
            }
        }
    }).detach();
}

void RunEvents()
{
    heartbeat = Milliseconds();
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    TakeLogLines();
}

struct Resources {
    long residentKilobytes = 0;
    int descriptors = 0;
};

Resources Measure()
{
    Resources resources;
    long pages = 0;
    if (FILE* file = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(file, "%*d %ld", &pages) == 1) {
            resources.residentKilobytes = pages * (sysconf(_SC_PAGESIZE) / 1024);
        }
        std::fclose(file);
    }
    if (DIR* directory = opendir("/proc/self/fd")) {
        while (readdir(directory)) {
            ++resources.descriptors;
        }
        closedir(directory);
    }
    return resources;
}

int Feed(void* handle, int width, int height, int layout, unsigned int parameter = 0)
{
    thread_local std::vector<uint8_t> bytes;
    bytes.resize(static_cast<size_t>(width) * static_cast<size_t>(height) * 3 / 2);
    std::fill(bytes.begin(), bytes.end(), static_cast<uint8_t>(parameter));
    tagYuvFrameInfo frame = {};
    frame.pYuvData = bytes.data();
    frame.uiFrameParam = parameter;
    frame.iWidth = width;
    frame.iHeight = height;
    frame.iDisplayType = layout;
    return Ovel_ShowYuvFrame(handle, &frame, sizeof(frame));
}

void PushOverlays(const __tagQDrawCallbackInfo& info)
{
    __tagQDrawGraphInfo record = {};
    const int types[] = {OVEL_GRAPH_POLYLINE, OVEL_GRAPH_FILLED, OVEL_GRAPH_TEXT};
    for (const int type : types) {
        record.iGraphType = type;
        record.uiColor = info.uiFrameParam;
        record.iFontSize = 3 + static_cast<int>(info.uiFrameParam % 9);
        record.iPointNum = 3;
        record.stPoint[1] = {40, 20};
        record.stPoint[2] = {20, 40};
        record.fAlpha = 0.5f;
        std::snprintf(record.szText, sizeof(record.szText), "%u", info.uiFrameParam % 100);
        info.pfnDrawToRender(&record, sizeof(record), info.pRender);
    }
}

// A host's user value: knows which callback it came with and whether the library may still hand it out.
struct CallbackUser {
    explicit CallbackUser(int callbackKind) : kind(callbackKind) {}
    const int kind;
    std::atomic<bool> retired{false};
};

template <int Kind> int OnDraw(int, __tagQDrawCallbackInfo* info, int, void* pUser)
{
    const auto* user = static_cast<CallbackUser*>(pUser);
    Expect(user->kind == Kind, "callback and user value belong together");
    Expect(!user->retired, "no call after the one that took the callback away has returned");
    PushOverlays(*info);
    Expect(!user->retired, "whoever takes the callback away waits for it");
    return 0;
}

// One of the stressed windows. The handle may be gone or another one's when a thread uses it: that is the
// point.
struct Slot {
    std::unique_ptr<QWidget> window;
    std::atomic<void*> handle{nullptr};
    std::atomic<CallbackUser*> attached{nullptr};
    std::atomic<int> taken{0};
    int type = 0;

    void Fill(int typeCode)
    {
        type = typeCode;
        handle = Ovel_CreateEx(&type, sizeof(type));
        Expect(handle != nullptr, "a renderer is created");
        window->layout()->addWidget(static_cast<CLS_ShaderBase*>(handle.load()));
    }
};

class Stress
{
public:
    Stress()
    {
        for (size_t i = 0; i < places.size(); ++i) {
            places[i].window = NewWindow(static_cast<int>(i));
            places[i].Fill(i % 2 ? OVEL_RENDER_SUB_IMAGE : OVEL_RENDER_FULL);
        }
    }

    void Run(double seconds)
    {
        std::vector<std::thread> threads;
        for (Slot& slot : places) {
            threads.emplace_back([&] { FeedSlot(slot, 1); });
            threads.emplace_back([&] { FeedSlot(slot, 2); });
        }
        threads.emplace_back([&] { SendCommands(); });
        QElapsedTimer timer;
        timer.start();
        for (int step = 0; static_cast<double>(timer.elapsed()) < seconds * 1000; ++step) {
            for (int i = 0; i < 5; ++i) {
                RunEvents();
            }
            Disturb(places[random() % places.size()], step);
        }
        stop = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
        for (Slot& slot : places) {
            Expect(slot.taken > 0, "every window was fed");
            Expect(Ovel_Release(slot.handle) == 0, "release");
        }
        RunEvents();
        std::printf("stress: %d frames taken, %d commands\n",
                    places[0].taken + places[1].taken + places[2].taken + places[3].taken, commands.load());
    }

private:
    static std::unique_ptr<QWidget> NewWindow(int place)
    {
        auto window = std::make_unique<QWidget>();
        (new QHBoxLayout(window.get()))->setContentsMargins(0, 0, 0, 0);
        window->setGeometry(20 + 200 * place, 20, 120, 90);
        window->show();
        return window;
    }

    void FeedSlot(Slot& slot, unsigned int seed)
    {
        std::minstd_rand dice(seed);
        while (!stop) {
            const int layout = dice() % 8 == 0 ? OVEL_DISPLAY_NV12 : OVEL_DISPLAY_YV12;
            const int side = dice() % 16 == 0 ? 34 : 16;
            slot.taken += Feed(slot.handle, side, 18, layout, static_cast<unsigned int>(dice())) == 0;
            std::this_thread::sleep_for(std::chrono::microseconds(500));
        }
    }

    void SendCommands()
    {
        std::minstd_rand dice(7);
        while (!stop) {
            SendCommand(places[dice() % places.size()], dice);
            ++commands;
            std::this_thread::sleep_for(std::chrono::microseconds(700));
        }
    }

    void SendCommand(Slot& slot, std::minstd_rand& dice)
    {
        void* const handle = slot.handle;
        const int number = static_cast<int>(dice() % 100);
        const tagOvelZoomArea zoom = {number * 0.002, 0, 1, 1};
        const tagOvelVideoRotate turn = {number % 2, number % 4 * 90, number % 3};
        const tagQRECT rect = {number, 0, 100, 80};
        const int value = number % 2;
        switch (dice() % 8) {
        case 0:
        case 1:
            AttachCallback(slot, handle, value);
            break;
        case 2:
            Ovel_ClearDraw(handle);
            Retire(slot.attached.exchange(nullptr));
            break;
        case 3:
            Set(handle, OVELCMD_SET_EZOOM_AREA, zoom);
            break;
        case 4:
            Set(handle, OVELCMD_SET_VIDEO_ROTATE, turn);
            break;
        case 5:
            Set(handle, OVELCMD_SET_DRAW_DST_RECT, rect);
            break;
        case 6:
            Set(handle, OVELCMD_SET_DRAW_RATIO_MODE, value);
            break;
        default:
            Set(handle, OVELCMD_SET_STOPDRAW_PARA, value);
        }
    }

    template <typename Payload> static int Set(void* handle, int command, Payload payload)
    {
        return Ovel_SetParam(handle, command, &payload, sizeof(payload));
    }

    void AttachCallback(Slot& slot, void* handle, int kind)
    {
        users.emplace_back(kind);
        CallbackUser* const user = &users.back();
        const tagOvelDrawCallback callback{kind ? &OnDraw<1> : &OnDraw<0>, user};
        if (Set(handle, OVELCMD_SET_DRAW_CALLBACK, callback) == 0) {
            Retire(slot.attached.exchange(user));
        } else {
            user->retired = true;
        }
    }

    static void Retire(CallbackUser* user)
    {
        if (user) {
            user->retired = true;
        }
    }

    void Disturb(Slot& slot, int step)
    {
        auto* const renderer = static_cast<QWidget*>(slot.handle.load());
        const int place = static_cast<int>(&slot - places.data());
        switch (random() % 6) {
        case 0:
            slot.window->resize(80 + step % 90, 60 + step % 70);
            break;
        case 1: { // into another window, the old one goes
            auto other = NewWindow(place);
            other->layout()->addWidget(renderer);
            slot.window = std::move(other);
            break;
        }
        case 2:
            slot.window->setVisible(!slot.window->isVisible());
            slot.window->resize(100, 80);
            break;
        case 3:
            Expect(Ovel_Release(slot.handle) == 0, "release");
            Retire(slot.attached);
            slot.Fill(slot.type);
            break;
        case 4: // the host forgets the release
            slot.window = NewWindow(place);
            slot.Fill(slot.type);
            break;
        default:
            renderer->setVisible(!renderer->isVisible());
        }
    }

    std::array<Slot, 4> places;
    std::deque<CallbackUser> users; // of the command thread; callbacks in flight look at them until the end
    std::minstd_rand random{1};
    std::atomic<bool> stop{false};
    std::atomic<int> commands{0};
};

// One window's life: made, shown, fed from two threads, taken down by a release or by its Qt parent.
void RunCycle(int cycle, bool parentDeletes)
{
    int type = cycle % 2 ? OVEL_RENDER_SUB_IMAGE : OVEL_RENDER_FULL;
    QWidget window;
    auto* layout = new QHBoxLayout(&window);
    void* const handle = type == OVEL_RENDER_FULL ? Ovel_Create(layout) : Ovel_CreateEx(&type, sizeof(type));
    auto* const renderer = static_cast<CLS_ShaderBase*>(handle);
    layout->addWidget(renderer);
    window.setGeometry(50, 50, 100, 80);
    window.show();
    CallbackUser user(1);
    tagOvelDrawCallback callback{&OnDraw<1>, &user};
    Expect(Ovel_SetParam(handle, OVELCMD_SET_DRAW_CALLBACK, &callback, sizeof(callback)) == 0, "command");
    std::atomic<int> taken{0};
    std::vector<std::thread> feeders;
    for (int i = 0; i < 2; ++i) {
        feeders.emplace_back([&, i] {
            const int frameLayout = cycle / 2 % 2 ? OVEL_DISPLAY_NV12 : OVEL_DISPLAY_YV12;
            // Large enough for a single leaked buffer in a cycle to show.
            while (Feed(handle, 640, 480, frameLayout, static_cast<unsigned int>(cycle + i)) == 0) {
                ++taken;
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
    }
    for (int64_t end = Milliseconds() + 5000;
         Milliseconds() < end && (!renderer->m_bGLInited || taken < 4);) {
        RunEvents();
    }
    Expect(renderer->m_bGLInited && taken >= 4, "the window shows frames");
    if (parentDeletes) {
        delete renderer;
        Expect(Ovel_Release(handle) == 0, "a release that comes too late");
    } else {
        Expect(Ovel_Release(handle) == 0, "release");
    }
    user.retired = true;
    for (std::thread& feeder : feeders) {
        feeder.join();
    }
    RunEvents();
}

// Judged at any count: what a sixth of the cycles left is what all of them may leave.
void RunCycles(int count, bool parentDeletes)
{
    const int settled = std::clamp(count / 6, 10, 500);
    Resources early;
    for (int cycle = 1; cycle <= count; ++cycle) {
        RunCycle(cycle, parentDeletes);
        if (cycle != settled && cycle != count && cycle % 2000 != 0) {
            continue;
        }
        const Resources now = Measure();
        std::printf("cycle %d: %ld KiB resident, %d descriptors\n", cycle, now.residentKilobytes,
                    now.descriptors);
        std::fflush(stdout);
        if (cycle == settled) {
            early = now;
        } else if (cycle > settled) {
            Expect(now.residentKilobytes < early.residentKilobytes + OVEL_GROWTH_KILOBYTES &&
                       now.descriptors <= early.descriptors,
                   "nothing grows after the first cycles");
        }
    }
}

class SoakWindow : public QObject
{
public:
    explicit SoakWindow(int number)
    {
        int type = number % 2 ? OVEL_RENDER_SUB_IMAGE : OVEL_RENDER_FULL;
        handle = Ovel_CreateEx(&type, sizeof(type));
        renderer = static_cast<CLS_ShaderBase*>(handle);
        (new QHBoxLayout(&window))->addWidget(renderer);
        window.setGeometry(10 + number % 4 * 210, 10 + number / 4 * 160, 200, 150);
        renderer->installEventFilter(this);
        tagOvelDrawCallback callback{&OnDraw<1>, &user};
        Ovel_SetParam(handle, OVELCMD_SET_DRAW_CALLBACK, &callback, sizeof(callback));
        window.show();
    }
    ~SoakWindow() override { Ovel_Release(handle); }
    bool eventFilter(QObject*, QEvent* event) override
    {
        paints += event->type() == QEvent::Paint;
        return false;
    }
    int CountGlObjects()
    {
        int count = 0;
        renderer->makeCurrent();
        QOpenGLExtraFunctions* gl = renderer->context()->extraFunctions();
        for (GLuint name = 1; name < 4096; ++name) {
            count += gl->glIsTexture(name) + gl->glIsBuffer(name) + gl->glIsProgram(name) +
                     gl->glIsShader(name) + gl->glIsVertexArray(name) + gl->glIsFramebuffer(name);
        }
        renderer->doneCurrent();
        return count;
    }

    void* handle = nullptr;
    std::atomic<int> taken{0};
    int paints = 0;

private:
    QWidget window;
    CLS_ShaderBase* renderer = nullptr;
    CallbackUser user{1};
};

void RunSoak(double minutes)
{
    std::vector<std::unique_ptr<SoakWindow>> windows;
    for (int i = 0; i < 16; ++i) {
        windows.push_back(std::make_unique<SoakWindow>(i));
    }
    std::atomic<bool> stop{false};
    std::vector<std::thread> feeders;
    for (size_t first = 0; first < 4; ++first) {
        feeders.emplace_back([&, first] {
            auto next = std::chrono::steady_clock::now();
            for (unsigned int number = 0; !stop; ++number) {
                for (size_t i = first; i < windows.size(); i += 4) {
                    windows[i]->taken += Feed(windows[i]->handle, 176, 144,
                                              i % 3 ? OVEL_DISPLAY_YV12 : OVEL_DISPLAY_NV12, number) == 0;
                }
                std::this_thread::sleep_until(next += std::chrono::milliseconds(40));
            }
        });
    }
    constexpr int reports =
        10; // the first half settles: on a busy machine not every window has painted once before
    Resources early;
    int earlyGlObjects = 0;
    for (int report = 0; report <= reports; ++report) {
        const int64_t end = Milliseconds() + static_cast<int64_t>(minutes * 60000 / (reports + 1));
        for (auto& window : windows) {
            window->paints = window->taken = 0;
        }
        while (Milliseconds() < end) {
            RunEvents();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        const Resources now = Measure();
        int glObjects = 0, taken = 0, paints = 0;
        for (auto& window : windows) {
            Expect(window->paints > 0 && window->taken > 0, "no window is lost");
            glObjects += window->CountGlObjects();
            taken += window->taken;
            paints += window->paints;
        }
        std::printf("soak %2d/%d: %ld KiB resident, %d descriptors, %d GL objects, %d frames, %d paints\n",
                    report, reports, now.residentKilobytes, now.descriptors, glObjects, taken, paints);
        std::fflush(stdout);
        if (report < reports / 2) {
            early = now;
            earlyGlObjects = std::max(earlyGlObjects, glObjects);
        }
        Expect(now.descriptors <= early.descriptors && glObjects <= earlyGlObjects, "nothing is leaked");
        // A short run is still warming up.
        Expect(minutes < 5 || now.residentKilobytes < early.residentKilobytes + 4096, "no memory is leaked");
    }
    stop = true;
    for (std::thread& feeder : feeders) {
        feeder.join();
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        std::printf("skipped: there is no display\n");
        return 77;
    }
    const QByteArray mode = argc > 1 ? argv[1] : "stress";
    QApplication application(argc, argv);
    qInstallMessageHandler(OnQtMessage);
    WatchHeartbeat();
    if (mode == "stress") {
        Stress().Run(Setting("OVEL_TEST_SECONDS", OVEL_STRESS_SECONDS));
    } else if (mode == "cycles" || mode == "parents") {
        RunCycles(static_cast<int>(Setting("OVEL_TEST_CYCLES", 60)), mode == "parents");
    } else if (mode == "soak") {
        RunSoak(Setting("OVEL_TEST_MINUTES", 0.05));
    } else {
        Expect(false, "unknown mode");
    }
    return failures == 0 ? 0 : 1;
}
