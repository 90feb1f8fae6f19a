// The exported functions as a host meets them: handles, type codes, time-outs, threads, life and death.
#include "Harness.h"
#include "OvelRender.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QMutex>
#include <QVBoxLayout>

#include <atomic>
#include <mutex>
#include <thread>

using namespace OvelTest;

namespace
{

void* createdTooEarly = &createdTooEarly;
std::vector<std::string> linesTooEarly;
const BeforeApplication early([] {
    createdTooEarly = Ovel_Create(nullptr);
    linesTooEarly = TakeLogLines();
});

Frame SmallFrame()
{
    return Frame(MakePicture(8, 4), OVEL_DISPLAY_YV12);
}

std::vector<std::string> ErrorLines()
{
    std::vector<std::string> errors;
    for (const std::string& line : TakeLogLines()) {
        if (line.rfind("E ", 0) == 0) {
            errors.push_back(line);
        }
    }
    return errors;
}

void* Create(int type)
{
    return Ovel_CreateEx(&type, sizeof(type));
}

TEST(Facade, NeedsAnApplicationAndItsThread)
{
    EXPECT_EQ(createdTooEarly, nullptr);
    EXPECT_FALSE(linesTooEarly.empty());
    void* elsewhere = &elsewhere;
    std::thread([&] { elsewhere = Ovel_Create(nullptr); }).join();
    EXPECT_EQ(elsewhere, nullptr);
    EXPECT_FALSE(ErrorLines().empty());
}

TEST(Facade, TypeCodes)
{
    struct Case {
        std::vector<uint8_t> payload;
        int size;
        int type; // -1: refused
    };
    // clang-format off
    const Case cases[] = {
        {{0, 0, 0, 0}, 4, 0}, {{3, 0, 0, 0}, 4, 0}, {{4, 0, 0, 0}, 4, 0}, {{5, 0, 0, 0}, 4, 0}, {{6, 0, 0, 0}, 4, 0},
        {{7, 0, 0, 0}, 4, 7}, {{7, 9}, 0, 0}, {{7, 0}, 2, 7}, {{7, 1}, 1, 7}, {{7, 0, 0, 0, 1, 1, 1, 1}, 8, 7},
        {{1, 0, 0, 0}, 4, -1}, {{2, 0, 0, 0}, 4, -1}, {{8, 0, 0, 0}, 4, -1}, {{255, 255, 255, 255}, 4, -1},
        {{7, 1, 0, 0}, 4, -1}, {{0, 0, 0, 0}, -1, -1}};
    // clang-format on
    for (Case c : cases) {
        SCOPED_TRACE(testing::Message() << int(c.payload[0]) << " size " << c.size);
        void* handle = Ovel_CreateEx(c.payload.data(), c.size);
        auto* renderer = static_cast<CLS_ShaderBase*>(handle);
        EXPECT_EQ(dynamic_cast<CLS_ShaderYuv*>(renderer) != nullptr, c.type == 0);
        EXPECT_EQ(dynamic_cast<CLS_ShaderYuvSubImage*>(renderer) != nullptr, c.type == 7);
        EXPECT_EQ(ErrorLines().empty(), handle != nullptr);
        if (handle) {
            EXPECT_EQ(renderer->parentWidget(), nullptr);
            EXPECT_EQ(Ovel_Release(handle), 0);
        }
    }
    EXPECT_EQ(Create(2), nullptr);
    EXPECT_EQ(
        ErrorLines(),
        (std::vector<std::string>{
            "E OvelRender|CreateShader|CreateShader failed, type=2.",
            "E OvelRender|Ovel_CreateEx|[OvelInterface::Ovel_CreateEx] new OvelYUVShader failed, type=2"}));
    EXPECT_EQ(Ovel_CreateEx(nullptr, 4), nullptr);
    EXPECT_TRUE(TakeLogLines().empty());
}

TEST(Facade, CreateAddsToTheLayout)
{
    QWidget window;
    auto* layout = new QVBoxLayout(&window);
    void* handle = Ovel_Create(layout);
    EXPECT_EQ(TakeLogLines(), std::vector<std::string>{"CreateShader CLS_ShaderYuv."});
    auto* renderer = static_cast<CLS_ShaderBase*>(handle);
    EXPECT_EQ(layout->indexOf(renderer), 0);
    EXPECT_EQ(renderer->sizeHint(), QSize(200, 200));
    EXPECT_EQ(renderer->minimumSizeHint(), QSize(50, 50));
    EXPECT_EQ(Ovel_Release(handle), 0);
    EXPECT_EQ(renderer->parentWidget(), nullptr) << "detached at once, deleted later";
    EXPECT_EQ(layout->count(), 0);
}

TEST(Facade, UnknownHandles)
{
    int number = 0;
    void* released = Create(7);
    EXPECT_EQ(Ovel_Release(released), 0);
    void* known = Create(0);
    void* below = static_cast<char*>(known) - 8;
    TakeLogLines();
    for (void* handle : {static_cast<void*>(nullptr), static_cast<void*>(&number), released, below}) {
        EXPECT_EQ(SmallFrame().Feed(handle), -1);
        EXPECT_EQ(Ovel_SetParam(handle, OVELCMD_SET_STOPDRAW_PARA, &number, 4), -1);
        EXPECT_EQ(Ovel_GetParam(handle, OVELCMD_SET_STOPDRAW_PARA, &number, 4), -1);
        Ovel_ClearDraw(handle);
    }
    EXPECT_TRUE(TakeLogLines().empty());
    EXPECT_EQ(Ovel_Release(nullptr), -1);
    EXPECT_TRUE(TakeLogLines().empty());
    EXPECT_EQ(Ovel_Release(released), 0) << "released twice";
    EXPECT_EQ(TakeLogLines().size(), 1u);
    EXPECT_EQ(Ovel_Release(known), 0);
}

TEST(Facade, ShowGivesUpOnABusyRenderer)
{
    void* busy = Create(0);
    void* other = Create(7);
    QMutex* mutex = nullptr;
    QMutex* otherMutex = nullptr;
    ASSERT_EQ(FindShader(busy, mutex, false), busy);
    ASSERT_EQ(FindShader(other, otherMutex, false), other);
    ASSERT_NE(mutex, otherMutex);
    {
        std::unique_lock<QMutex> hold(*mutex);
        QElapsedTimer timer;
        timer.start();
        EXPECT_EQ(SmallFrame().Feed(busy), -1);
        EXPECT_GE(timer.elapsed(), 450);
        EXPECT_LE(timer.elapsed(), 3000);
        EXPECT_EQ(SmallFrame().Feed(other), 0) << "the neighbour is not concerned";
        std::atomic<bool> done{false};
        int zero = 0;
        std::thread waiter([&] {
            EXPECT_EQ(Ovel_SetParam(busy, OVELCMD_SET_STOPDRAW_PARA, &zero, 4), 0);
            done = true;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
        EXPECT_FALSE(done) << "a command waits without limit";
        hold.unlock();
        waiter.join();
    }
    EXPECT_EQ(SmallFrame().Feed(busy), 0);
    QMutex* untouched = nullptr;
    int nobody = 0;
    EXPECT_EQ(FindShader(&nobody, untouched, false), nullptr);
    EXPECT_EQ(untouched, nullptr);
    Ovel_Release(busy);
    Ovel_Release(other);
}

class FacadeLife : public BothRenderers
{
protected:
    void* handle = Create(GetParam());
    CLS_ShaderBase* renderer = static_cast<CLS_ShaderBase*>(handle);
};
OVEL_FOR_BOTH_RENDERERS(FacadeLife);

TEST_P(FacadeLife, CallbackBlocksOthersButNotItself)
{
    OverlaySource source;
    std::atomic<bool> inside{false};
    std::atomic<bool> leave{false};
    source.inside = [&] {
        int value = 1;
        EXPECT_EQ(SmallFrame().Feed(handle), -1);
        EXPECT_EQ(Ovel_SetParam(handle, OVELCMD_SET_STOPDRAW_PARA, &value, 4), -1);
        EXPECT_EQ(Ovel_GetParam(handle, OVELCMD_SET_STOPDRAW_PARA, &value, 4), -1);
        Ovel_ClearDraw(handle);
        EXPECT_EQ(Ovel_Release(handle), -1);
        inside = true;
        while (!leave) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    };
    EXPECT_EQ(source.Attach(handle), 0);
    std::thread feeder([&] { EXPECT_EQ(SmallFrame().Feed(handle), 0); });
    while (!inside) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(SmallFrame().Feed(handle), -1) << "dropped while the callback runs";
    EXPECT_GE(timer.elapsed(), 450);
    std::atomic<bool> cleared{false};
    std::thread clearing([&] {
        Ovel_ClearDraw(handle);
        cleared = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(cleared) << "a callback is not called after the call that took it away";
    leave = true;
    feeder.join();
    clearing.join();
    EXPECT_EQ(source.calls.size(), 1u);
    EXPECT_EQ(renderer->blReserveLastFrm, 0);
    EXPECT_EQ(SmallFrame().Feed(handle), 0);
    EXPECT_EQ(source.calls.size(), 1u);
    EXPECT_EQ(Ovel_Release(handle), 0);
}

// Released on another thread, the widget lives until the event loop deletes it.
TEST_P(FacadeLife, ReleaseElsewhereEndsTheCallback)
{
    Ovel_Release(handle);
    RenderWindow window(GetParam());
    OverlaySource source;
    source.Attach(window.handle);
    ASSERT_TRUE(window.Show(MakePicture(8, 8), OVEL_DISPLAY_YV12));
    window.renderer->resize(60, 50);
    const size_t calls = source.calls.size();
    ASSERT_GT(calls, 1u) << "a resize asks";
    std::thread([&] { EXPECT_EQ(Ovel_Release(window.handle), 0); }).join();
    window.renderer->resize(70, 40);
    EXPECT_EQ(source.calls.size(), calls);
}

TEST_P(FacadeLife, SinkRefusesRenderersThatAreGone)
{
    OverlaySource source;
    source.Attach(handle);
    SmallFrame().Feed(handle);
    ASSERT_EQ(source.calls.size(), 1u);
    const __tagQDrawCallbackInfo info = source.calls[0].info;
    __tagQDrawGraphInfo record = Graph(0, 0, 1, {{1, 1}});
    EXPECT_EQ(info.pfnDrawToRender(&record, sizeof(record), nullptr), -1);
    EXPECT_EQ(info.pfnDrawToRender(nullptr, sizeof(record), info.pRender), -1);
    EXPECT_EQ(info.pfnDrawToRender(&record, 0, info.pRender), -1);
    int nobody = 0;
    EXPECT_EQ(info.pfnDrawToRender(&record, sizeof(record), &nobody), -1);
    std::vector<std::thread> pushers;
    for (int t = 0; t < 4; ++t) {
        pushers.emplace_back([&] {
            for (int i = 0; i < 250; ++i) {
                EXPECT_EQ(info.pfnDrawToRender(&record, sizeof(record), info.pRender), 0);
            }
        });
    }
    for (auto& pusher : pushers) {
        pusher.join();
    }
    EXPECT_EQ(renderer->m_vecDrawGraphInfo.size(), 1000) << "later and from any thread";
    EXPECT_EQ(Ovel_Release(handle), 0);
    EXPECT_EQ(info.pfnDrawToRender(&record, sizeof(record), info.pRender), -1);
    RunEvents();
    EXPECT_EQ(info.pfnDrawToRender(&record, sizeof(record), info.pRender), -1);
}

TEST_P(FacadeLife, ParentDeletesTheRenderer)
{
    auto* parent = new QWidget;
    renderer->setParent(parent);
    parent->show();
    OverlaySource source;
    source.Attach(handle);
    SmallFrame().Feed(handle);
    RunEventsFor(20);
    delete parent;
    QMutex* mutex = nullptr;
    EXPECT_EQ(FindShader(handle, mutex, false), nullptr) << "it left the registry by itself";
    EXPECT_EQ(SmallFrame().Feed(handle), -1);
    const __tagQDrawCallbackInfo info = source.calls.at(0).info;
    __tagQDrawGraphInfo record{};
    EXPECT_EQ(info.pfnDrawToRender(&record, sizeof(record), info.pRender), -1);
    EXPECT_EQ(Ovel_Release(handle), 0);
}

// Calls that are queued to a widget may delete it, as Qt lets them.
TEST_P(FacadeLife, QueuedCallDeletesTheRenderer)
{
    for (const bool deletesParent : {false, true}) {
        auto* const widget = static_cast<CLS_ShaderBase*>(deletesParent ? Create(GetParam()) : handle);
        auto* const parent = new QWidget;
        widget->setParent(parent);
        QMetaObject::invokeMethod(
            widget, [&] { delete (deletesParent ? parent : widget); }, Qt::QueuedConnection);
        RunEvents();
        EXPECT_EQ(SmallFrame().Feed(widget), -1);
        if (!deletesParent) {
            delete parent;
        }
    }
}

TEST_P(FacadeLife, ReleaseWhileFourThreadsFeed)
{
    for (int round = 0; round < 4; ++round) {
        void* victim = round == 0 ? handle : Create(GetParam());
        auto* widget = static_cast<CLS_ShaderBase*>(victim);
        QWidget window;
        widget->setParent(&window);
        window.resize(60, 60);
        widget->resize(60, 60);
        window.show();
        std::atomic<int> shown{0};
        std::vector<std::thread> feeders;
        for (int t = 0; t < 4; ++t) {
            feeders.emplace_back([&, t] {
                Frame frame(MakePicture(16 + 2 * t, 16), t % 2 ? OVEL_DISPLAY_NV12 : OVEL_DISPLAY_YV12);
                while (frame.Feed(victim) == 0) {
                    ++shown;
                }
            });
        }
        EXPECT_TRUE(WaitUntil([&] { return shown > 200; }));
        if (round % 2 == 0) {
            EXPECT_EQ(Ovel_Release(victim), 0);
        } else { // off the GUI thread it works too, the widget goes a little later
            bool gone = false;
            QObject::connect(widget, &QObject::destroyed, [&] { gone = true; });
            std::thread([&] { EXPECT_EQ(Ovel_Release(victim), 0); }).join();
            EXPECT_TRUE(WaitUntil([&] { return gone; }));
        }
        for (auto& feeder : feeders) {
            feeder.join();
        }
        RunEvents();
    }
}

// A decoder must not stall on a window that nobody sees.
TEST_P(FacadeLife, HiddenRenderersTakeFramesAtOnce)
{
    Frame frame = SmallFrame();
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(frame.Feed(handle), 0);
    }
    EXPECT_LT(timer.elapsed(), 20000) << "no call waited for its time-out";
    EXPECT_EQ(Ovel_Release(handle), 0);
}

} // namespace
