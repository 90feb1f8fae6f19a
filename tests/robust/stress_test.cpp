// Threads against the event loop while windows are made and taken down. Longer runs repeat
// (--gtest_repeat=100).
#include "ScriptedHost.h"

#include <QElapsedTimer>
#include <QHBoxLayout>

#include <deque>
#include <random>

using namespace OvelTest;

namespace
{

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

} // namespace
