// Threads against the event loop, windows made and taken down, many windows that play on. A test ends within a
// minute; longer runs repeat (--gtest_repeat=100): what the first time left is all that may be left.
#include "ScriptedHost.h"

#include <QElapsedTimer>
#include <QHBoxLayout>
#include <QOpenGLContext>
#include <QOpenGLExtraFunctions>

#include <deque>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>

#include <unistd.h>

using namespace OvelTest;

namespace
{

struct Resources {
    Resources()
    {
        long pages = 0;
        std::ifstream("/proc/self/statm") >> pages >> kibibytes;
        kibibytes *= sysconf(_SC_PAGESIZE) / 1024;
        descriptors = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }
    long kibibytes = 0;
    std::ptrdiff_t descriptors = 0;
};

// A sanitizer keeps what was freed.
void ExpectNoGrowth(const Resources& early)
{
    const Resources now;
    EXPECT_LT(now.kibibytes, early.kibibytes + (OVEL_SANITIZED ? 1000000 : 1024));
    EXPECT_LE(now.descriptors, early.descriptors);
}

void PushOverlays(const __tagQDrawCallbackInfo& info)
{
    const std::string text = std::to_string(info.uiFrameParam % 100);
    __tagQDrawGraphInfo record = Label(text.c_str(), {0, 0, 40, 20}, info.uiFrameParam);
    record.iPointNum = 3;
    record.stPoint[2] = {20, 40};
    record.fAlpha = 0.5f;
    for (const int type : {OVEL_GRAPH_POLYLINE, OVEL_GRAPH_FILLED, OVEL_GRAPH_TEXT}) {
        record.iGraphType = type;
        record.iFontSize = 3 + static_cast<int>(info.uiFrameParam % 9);
        info.pfnDrawToRender(&record, sizeof(record), info.pRender);
    }
}

// A host's user value: knows which callback it came with and whether the library may still hand it out.
struct CallbackUser {
    explicit CallbackUser(int callbackKind) : kind(callbackKind) {}
    const int kind;
    std::atomic<bool> retired{false};
};

template <int Kind> int OnDraw(int, __tagQDrawCallbackInfo* info, int, void* data)
{
    const auto* user = static_cast<CallbackUser*>(data);
    EXPECT_EQ(user->kind, Kind) << "callback and user value belong together";
    EXPECT_FALSE(user->retired) << "called after the call that took the callback away has returned";
    PushOverlays(*info);
    EXPECT_FALSE(user->retired) << "whoever takes the callback away waits for it";
    return 0;
}

// One of the stressed windows. The handle may be gone or another one's when a thread uses it: that is the
// point.
struct Slot {
    void Open()
    {
        window = std::make_unique<QWidget>();
        (new QHBoxLayout(window.get()))->setContentsMargins(0, 0, 0, 0);
        window->setGeometry(20 + 200 * place, 20, 120, 90);
        window->show();
    }
    void Fill()
    {
        handle = CreateRenderer(place % 2 ? OVEL_RENDER_SUB_IMAGE : OVEL_RENDER_FULL);
        window->layout()->addWidget(Renderer());
    }
    CLS_ShaderBase* Renderer() const { return static_cast<CLS_ShaderBase*>(handle.load()); }
    void Retire(CallbackUser* next = nullptr)
    {
        if (CallbackUser* user = attached.exchange(next)) {
            user->retired = true;
        }
    }

    int place = 0;
    std::unique_ptr<QWidget> window;
    std::atomic<void*> handle{nullptr};
    std::atomic<CallbackUser*> attached{nullptr};
    std::atomic<int> taken{0};
};

class Stress : public testing::Test
{
protected:
    Stress()
    {
        for (size_t i = 0; i < places.size(); ++i) {
            places[i].place = static_cast<int>(i);
            places[i].Open();
            places[i].Fill();
        }
    }

    void Feed(Slot& slot, unsigned int seed)
    {
        Frame frames[] = {Frame(MakePicture(16, 18), Yv12), Frame(MakePicture(34, 18), Yv12),
                          Frame(MakePicture(16, 18), Nv12), Frame(MakePicture(34, 18), Nv12)};
        std::minstd_rand dice(seed);
        while (!stop) {
            Frame& frame = frames[(dice() % 16 == 0) + 2 * (dice() % 8 == 0)];
            frame.info.uiFrameParam = static_cast<uint32_t>(dice());
            slot.taken += frame.Feed(slot.handle) == 0;
            std::this_thread::sleep_for(std::chrono::microseconds(500));
        }
    }

    void SendCommands()
    {
        std::minstd_rand dice(7);
        while (!stop) {
            SendCommand(places[dice() % places.size()], dice);
            std::this_thread::sleep_for(std::chrono::microseconds(700));
        }
    }

    void SendCommand(Slot& slot, std::minstd_rand& dice)
    {
        void* const handle = slot.handle;
        int number = static_cast<int>(dice() % 100);
        tagOvelZoomArea zoom = {number * 0.002, 0, 1, 1};
        tagOvelVideoRotate turn = {number % 2, number % 4 * 90, number % 3};
        tagQRECT rect = {number, 0, 100, 80};
        const auto set = [handle](int command, auto payload) {
            return Ovel_SetParam(handle, command, &payload, sizeof(payload));
        };
        switch (dice() % 8) {
        case 0:
        case 1: {
            CallbackUser& user = users.emplace_back(number % 2);
            const tagOvelDrawCallback callback{number % 2 ? &OnDraw<1> : &OnDraw<0>, &user};
            if (set(OVELCMD_SET_DRAW_CALLBACK, callback) == 0) {
                slot.Retire(&user);
            } else {
                user.retired = true;
            }
            break;
        }
        case 2:
            Ovel_ClearDraw(handle);
            slot.Retire();
            break;
        case 3:
            set(OVELCMD_SET_EZOOM_AREA, zoom);
            break;
        case 4:
            set(OVELCMD_SET_VIDEO_ROTATE, turn);
            break;
        case 5:
            set(OVELCMD_SET_DRAW_DST_RECT, rect);
            break;
        default:
            set(number % 4 < 2 ? OVELCMD_SET_DRAW_RATIO_MODE : OVELCMD_SET_STOPDRAW_PARA, number % 2);
        }
    }

    void Disturb(Slot& slot, int step)
    {
        switch (random() % 6) {
        case 0:
            slot.window->resize(80 + step % 90, 60 + step % 70);
            break;
        case 1: { // into another window, the old one goes
            const std::unique_ptr<QWidget> old = std::move(slot.window);
            slot.Open();
            slot.window->layout()->addWidget(slot.Renderer());
            break;
        }
        case 2:
            slot.window->setVisible(!slot.window->isVisible());
            slot.window->resize(100, 80);
            break;
        case 3:
            EXPECT_EQ(Ovel_Release(slot.handle), 0);
            slot.Retire();
            slot.Fill();
            break;
        case 4: // the host forgets the release
            slot.Open();
            slot.Fill();
            break;
        default:
            slot.Renderer()->setVisible(!slot.Renderer()->isVisible());
        }
    }

    std::array<Slot, 4> places;
    std::deque<CallbackUser> users; // of the command thread; callbacks in flight look at them until the end
    std::minstd_rand random{1};
    std::atomic<bool> stop{false};
};

TEST_F(Stress, ThreadsAgainstTheEventLoop)
{
    std::vector<std::thread> threads;
    for (Slot& slot : places) {
        threads.emplace_back([&] { Feed(slot, 1); });
        threads.emplace_back([&] { Feed(slot, 2); });
    }
    threads.emplace_back([&] { SendCommands(); });
    QElapsedTimer timer;
    timer.start();
    for (int step = 0; static_cast<double>(timer.elapsed()) < TestSeconds(OVEL_STRESS_SECONDS) * 1000;
         ++step) {
        for (int i = 0; i < 5; ++i) {
            RunEvents();
        }
        TakeLogLines();
        Disturb(places[random() % places.size()], step);
    }
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (Slot& slot : places) {
        EXPECT_GT(slot.taken, 0);
        EXPECT_EQ(Ovel_Release(slot.handle), 0);
    }
}

class Cycles : public BothRenderers
{
};
OVEL_FOR_BOTH_RENDERERS(Cycles);

// Windows made, shown, fed from two threads, taken down by a release or by their Qt parent.
TEST_P(Cycles, LeaveNothing)
{
    constexpr int Count = 40;
    constexpr int Settled = 12;
    static std::map<int, Resources> early; // of the first repetition
    for (int cycle = 1; cycle <= Count; ++cycle) {
        RenderWindow window(GetParam());
        CallbackUser user(1);
        window.Set(OVELCMD_SET_DRAW_CALLBACK, tagOvelDrawCallback{&OnDraw<1>, &user});
        std::atomic<int> taken{0};
        const auto feed = [&] { // large enough for a single leaked buffer in a cycle to show
            Frame frame(PlainPicture(640, 480, 90, 128, 128), cycle / 2 % 2 ? Nv12 : Yv12);
            while (frame.Feed(window.handle) == 0) {
                ++taken;
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        };
        HostThread first(feed);
        HostThread second(feed);
        EXPECT_TRUE(WaitUntil([&] { return window.renderer->m_bGLInited && taken >= 4; }));
        if (cycle % 2) {
            delete window.renderer;
        }
        EXPECT_EQ(Ovel_Release(window.handle), 0) << "also when it comes too late";
        user.retired = true;
        if (cycle == Settled) {
            early.try_emplace(GetParam());
        }
    }
    ExpectNoGrowth(early[GetParam()]);
}

int CountGlObjects(QOpenGLWidget& renderer)
{
    int count = 0;
    renderer.makeCurrent();
    QOpenGLExtraFunctions* gl = renderer.context()->extraFunctions();
    for (GLuint name = 1; name < 4096; ++name) {
        count += gl->glIsTexture(name) + gl->glIsBuffer(name) + gl->glIsProgram(name) + gl->glIsShader(name) +
                 gl->glIsVertexArray(name) + gl->glIsFramebuffer(name);
    }
    renderer.doneCurrent();
    return count;
}

TEST(Soak, SixteenWindowsPlayOn)
{
    ScriptedHost host([](const ScriptedHost::Run& run) { PushOverlays(run.info); });
    std::vector<std::unique_ptr<RenderWindow>> windows;
    for (int i = 0; i < 16; ++i) {
        windows.push_back(std::make_unique<RenderWindow>(i % 2 ? OVEL_RENDER_SUB_IMAGE : OVEL_RENDER_FULL));
        windows.back()->top->move(10 + i % 4 * 210, 10 + i / 4 * 160);
        host.Attach(windows.back()->handle);
    }
    std::atomic<bool> stop{false};
    std::vector<std::unique_ptr<HostThread>> feeders;
    for (size_t first = 0; first < 4; ++first) {
        feeders.push_back(std::make_unique<HostThread>([&, first] {
            Frame frames[] = {Frame(MakePicture(176, 144), Yv12), Frame(MakePicture(176, 144), Nv12)};
            while (!stop) {
                for (size_t i = first; i < windows.size(); i += 4) {
                    Frame& frame = frames[i % 3 == 0];
                    ++frame.info.uiFrameParam;
                    EXPECT_EQ(frame.Feed(windows[i]->handle), 0);
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(40));
            }
        }));
    }
    const auto playOn = [&] {
        int glObjects = 0;
        RunEventsFor(static_cast<int>(TestSeconds(3) * 500));
        for (auto& window : windows) {
            window->paints->count = 0;
            EXPECT_TRUE(WaitUntil([&] { return window->paints->count > 3; })) << "a window is lost";
            glObjects += CountGlObjects(*window->renderer);
        }
        return glObjects;
    };
    const int glObjects = playOn();
    const Resources early;
    EXPECT_LE(playOn(), glObjects);
    EXPECT_LE(Resources().descriptors, early.descriptors);
    stop = true;
    feeders.clear();
    for (auto& window : windows) {
        Ovel_ClearDraw(window->handle);
    }
}

} // namespace
