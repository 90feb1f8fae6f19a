// Hosts that lock, wait and call inside their draw callbacks, and threads that give others no room: nobody
// waits for ever, and nobody who took a callback away meets it again.
#include "Lender.h"
#include "ScriptedHost.h"

using namespace OvelTest;

namespace
{

Frame SmallFrame()
{
    return Frame(MakePicture(16, 16), Yv12);
}

class CallbackTest : public BothRenderers
{
protected:
    CallbackTest()
    {
        EXPECT_TRUE(window.Show(MakePicture(16, 16), Yv12));
        RunEventsFor(20);
    }
    // Asks for a resize and has it done before this returns.
    void ResizeNow()
    {
        side = side == 100 ? 90 : 100;
        window.top->resize(side, side);
    }

    RenderWindow window{GetParam()};
    int side = 0;
};
OVEL_FOR_BOTH_RENDERERS(CallbackTest);

// One lock of the host's around its calls and in its callback. The resize's callback waits for it while the
// feeder that has it is inside the library.
TEST_P(CallbackTest, HostLockAroundCallsAndInTheCallback)
{
    std::recursive_timed_mutex hostLock;
    Signal feederHasLock;
    Signal resizeIsIn;
    std::atomic<int> refused{0};
    ScriptedHost host([&](const ScriptedHost::Run&) {
        if (OnGuiThread()) {
            resizeIsIn.Set();
        }
        // Not for ever: what hangs shall be told. By the system's clock, the only wait that a sanitizer knows.
        if (!hostLock.try_lock_until(std::chrono::system_clock::now() + std::chrono::seconds(3))) {
            ++refused;
            return;
        }
        hostLock.unlock();
    });
    host.Attach(window.handle);
    HostThread feeder([&] {
        const std::lock_guard<std::recursive_timed_mutex> guard(hostLock);
        feederHasLock.Set();
        EXPECT_TRUE(resizeIsIn.Wait());
        EXPECT_EQ(SmallFrame().Feed(window.handle), 0);
    });
    ASSERT_TRUE(feederHasLock.Wait());
    ResizeNow();
    feeder.Finish();
    EXPECT_EQ(refused, 0) << "the library held a lock of its own while the host waited for the host's";
    EXPECT_GE(host.runs, 2);
}

// A callback that only the event loop lets go, and a resize meanwhile.
TEST_P(CallbackTest, TheEventLoopGoesOnDuringACallback)
{
    Signal isIn;
    Signal eventLoopRan;
    QObject receiver;
    ScriptedHost host([&](const ScriptedHost::Run&) {
        if (!OnGuiThread()) {
            isIn.Set();
            EXPECT_TRUE(eventLoopRan.Wait(3000));
        }
    });
    host.Attach(window.handle);
    HostThread feeder([&] { EXPECT_EQ(SmallFrame().Feed(window.handle), 0); });
    ASSERT_TRUE(isIn.Wait());
    QMetaObject::invokeMethod(
        &receiver, [&] { eventLoopRan.Set(); }, Qt::QueuedConnection);
    ResizeNow();
    feeder.Finish();
    Ovel_ClearDraw(window.handle);
}

// A frame of the GUI thread whose callback runs events: what they do to the widget waits for nobody, since
// nobody else could let go.
TEST_P(CallbackTest, EventsInsideACallbackOnTheGuiThread)
{
    struct Case {
        const char* name;
        std::function<void(CLS_ShaderBase*, QWidget&)> act;
    };
    const Case cases[] = {{"first show", [](CLS_ShaderBase* renderer, QWidget&) { renderer->show(); }},
                          {"another window", [](CLS_ShaderBase* renderer, QWidget& other) {
                               renderer->setParent(&other);
                               renderer->show();
                           }}};
    CLS_ShaderBase* const renderer = CreateRenderer(GetParam());
    void* const handle = renderer;
    QWidget other;
    other.resize(100, 80);
    other.show();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedHost host([&](const ScriptedHost::Run& run) {
            if (run.number == 1) {
                c.act(renderer, other);
                RunEventsFor(20);
            }
        });
        host.Attach(handle);
        Frame frame(PlainPicture(16, 16, 200, 128, 128), Yv12);
        EXPECT_EQ(frame.Feed(handle), 0);
        EXPECT_EQ(frame.Feed(handle), 0) << "the picture of this one is shown in any case";
        RunEventsFor(20);
        EXPECT_GT(qRed(renderer->grabFramebuffer().pixel(5, 5)), 190);
        Ovel_ClearDraw(handle);
    }
    EXPECT_EQ(Ovel_Release(handle), 0);
    RunEvents();
}

// Whoever takes a callback away returns when it runs no more, wherever it runs, and it is never called again.
TEST_P(CallbackTest, WhoTakesACallbackAwayWaitsForIt)
{
    struct Case {
        const char* name;
        std::function<void(void*)> take;
    };
    ScriptedHost other([](const ScriptedHost::Run&) {});
    const Case cases[] = {
        {"clear", [](void* handle) { Ovel_ClearDraw(handle); }},
        {"none",
         [](void* handle) {
             tagOvelDrawCallback none{};
             EXPECT_EQ(Ovel_SetParam(handle, OVELCMD_SET_DRAW_CALLBACK, &none, sizeof(none)), 0);
         }},
        {"another", [&](void* handle) { EXPECT_EQ(other.Attach(handle), 0); }},
        {"release", [](void* handle) { EXPECT_EQ(Ovel_Release(handle), 0); }},
    };
    for (const bool inResize : {false, true}) {
        for (const Case& c : cases) {
            SCOPED_TRACE(testing::Message() << c.name << (inResize ? " in a resize" : " in a frame"));
            RenderWindow own(GetParam());
            Signal isIn;
            std::atomic<bool> taken{false};
            std::atomic<bool> takenMeanwhile{false};
            ScriptedHost host([&](const ScriptedHost::Run&) {
                isIn.Set();
                for (int i = 0; i < 150 && !taken; ++i) {
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                }
                takenMeanwhile = takenMeanwhile || taken;
            });
            host.Attach(own.handle);
            HostThread feeder([&] {
                Frame frame = SmallFrame();
                EXPECT_EQ(inResize ? 0 : frame.Feed(own.handle), 0);
                while (!inResize && !taken) {
                    frame.Feed(own.handle);
                }
            });
            HostThread taker([&] {
                EXPECT_TRUE(isIn.Wait());
                c.take(own.handle);
                taken = true;
            });
            if (inResize) {
                own.top->resize(120, 70);
            }
            feeder.Finish();
            taker.Finish();
            EXPECT_FALSE(takenMeanwhile);
            const int runs = host.runs;
            EXPECT_LE(runs, 3) << "a feeder without pauses goes before who waits";
            own.top->resize(130, 75);
            RunEvents();
            SmallFrame().Feed(own.handle);
            EXPECT_EQ(host.runs, runs);
        }
    }
}

// Calls for another renderer, from inside a callback.
int SetAnother(void* other)
{
    int value = 1;
    return Ovel_SetParam(other, OVELCMD_SET_STOPDRAW_PARA, &value, sizeof(value));
}

int ClearAnother(void* other)
{
    Ovel_ClearDraw(other);
    return -1;
}

int ShowAnother(void* other)
{
    return SmallFrame().Feed(other);
}

int LendAnother(void* other)
{
    Lender lender; // sees to it that it has its picture back
    return lender.Lend(other, Loan(MakePicture(16, 16), Yv12));
}

TEST_P(CallbackTest, CallsForABusyRendererGiveUp)
{
    const struct {
        const char* name;
        int (*call)(void*);
        bool inResize; // one will do: each takes half a second
    } cases[] = {{"set in a resize", &SetAnother, true}, {"set", &SetAnother, false},
                 {"clear", &ClearAnother, false},        {"show", &ShowAnother, false},
                 {"lend", &LendAnother, false},          {"release", &Ovel_Release, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        RenderWindow busy(OVEL_RENDER_SUB_IMAGE - GetParam());
        Signal busyIsIn;
        Signal leave;
        ScriptedHost busyHost([&](const ScriptedHost::Run&) {
            busyIsIn.Set();
            leave.Wait(4000);
        });
        busyHost.Attach(busy.handle);
        HostThread feeder([&] { EXPECT_EQ(SmallFrame().Feed(busy.handle), 0); });
        ASSERT_TRUE(busyIsIn.Wait());
        std::atomic<int> result{1};
        std::atomic<bool> stillBusy{false};
        ScriptedHost host([&](const ScriptedHost::Run& run) {
            if (run.number > 1) {
                return;
            }
            result = c.call(busy.handle);
            stillBusy = busyHost.inside == 1;
        });
        host.Attach(window.handle);
        if (c.inResize) {
            ResizeNow();
        } else {
            EXPECT_EQ(SmallFrame().Feed(window.handle), 0);
        }
        EXPECT_EQ(result, -1);
        EXPECT_TRUE(stillBusy) << "the call waited for the other callback";
        leave.Set();
        feeder.Finish();
        EXPECT_EQ(SmallFrame().Feed(busy.handle), 0) << "the other renderer is as it was";
        Ovel_ClearDraw(window.handle);
    }
}

} // namespace
