// What one frame brought is shown together: a picture never without its overlays and labels, never with
// another one's, never with overlays twice.
#include "ScriptedHost.h"

#include <QElapsedTimer>
#include <QLabel>
#include <QOpenGLContext>
#include <QOpenGLFunctions>

#include <cmath>
#include <dlfcn.h>

#if defined(__SANITIZE_THREAD__)
#define OVEL_LOCKS_ARE_TAKEN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define OVEL_LOCKS_ARE_TAKEN 1
#endif
#endif
#if QT_VERSION_MAJOR >= 6 // inline functions
#define OVEL_LOCKS_ARE_TAKEN 1
#endif

using namespace OvelTest;

namespace
{

// Something that is done once, when the GUI thread lets go of a mutex.
std::atomic<QMutex*> awaitedMutex{nullptr};
std::function<void()> onRelease;

// Frames tell their numbers by the brightness of picture and overlay and by the label's text.
constexpr int Numbers = 7;

Frame NumberedFrame(int number)
{
    Frame frame(PlainPicture(32, 24, static_cast<uint8_t>(36 * number), 128, 128), Yv12);
    frame.info.uiFrameParam = static_cast<uint32_t>(number);
    return frame;
}

__tagQDrawGraphInfo NumberedBar(int number)
{
    const auto component = static_cast<uint32_t>(126 + 18 * number);
    return Graph(OVEL_GRAPH_POLYLINE, component | component << 8 | component << 16, 20, {{4, 12}, {90, 12}});
}

__tagQDrawGraphInfo NumberedLabel(int number)
{
    return Label(std::to_string(number).c_str(), {10, 40, 50, 60}, 0xFFFFFF, 2);
}

void PushNumbered(const ScriptedHost::Run& run, int number)
{
    run.Push(NumberedBar(number));
    run.Push(NumberedLabel(number));
}

struct Shown {
    int picture = -1;
    int bar = -1;
    std::string text;
};

bool operator==(const Shown& a, const Shown& b)
{
    return a.picture == b.picture && a.bar == b.bar && a.text == b.text;
}

std::ostream& operator<<(std::ostream& out, const Shown& shown)
{
    return out << "picture " << shown.picture << " bar " << shown.bar << " label '" << shown.text << "'";
}

// Looks at every picture that goes to the screen, without a paint of its own.
class Onlooker
{
public:
    explicit Onlooker(RenderWindow& shownWindow) : window(shownWindow)
    {
        connection =
            QObject::connect(window.renderer, &QOpenGLWidget::aboutToCompose, window.renderer, [this] {
                if (std::exchange(paintsSeen, window.paints->count) == window.paints->count) {
                    return;
                }
                last = Look();
                if (seen) {
                    seen(last);
                }
            });
    }

    ~Onlooker() { QObject::disconnect(connection); }

    std::function<void(const Shown&)> seen;
    Shown last;

private:
    int NumberAt(int x, int y)
    {
        unsigned char pixel[4] = {};
        auto* gl = QOpenGLContext::currentContext()->functions();
        gl->glReadPixels(x, window.renderer->height() - 1 - y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixel);
        return static_cast<int>(std::lround(pixel[0] / 36.2));
    }
    Shown Look()
    {
        window.renderer->makeCurrent();
        Shown shown{NumberAt(80, 30), NumberAt(40, 12), {}};
        window.renderer->doneCurrent();
        if (const QLabel* label = window.renderer->m_pLabel[0]) {
            shown.text = label->text().toStdString();
        }
        return shown;
    }

    RenderWindow& window;
    QMetaObject::Connection connection;
    int paintsSeen = 0;
};

Shown Whole(int number)
{
    return {number, number, std::to_string(number)};
}

class Together : public BothRenderers
{
protected:
    bool ShowsFirst(ScriptedHost& host)
    {
        host.Attach(window.handle);
        return WaitUntil([&] { return window.Show(NumberedFrame(1)) && onlooker.last == Whole(1); });
    }
    void ExpectLast(int number)
    {
        EXPECT_TRUE(WaitUntil([&] { return onlooker.last == Whole(number); }, 2000)) << onlooker.last;
        Ovel_ClearDraw(window.handle);
        RunEvents();
    }
    std::string Text()
    {
        return window.renderer->m_pLabel[0] ? window.renderer->m_pLabel[0]->text().toStdString() : "";
    }

    RenderWindow window{GetParam()};
    Onlooker onlooker{window};
};
OVEL_FOR_BOTH_RENDERERS(Together);

#ifndef OVEL_LOCKS_ARE_TAKEN
// The next frame comes at the very moment the paint lets its lock go, and its callback is fast or slow.
TEST_P(Together, APaintTakesAllOfAFrame)
{
    for (const bool slow : {false, true}) {
        SCOPED_TRACE(slow ? "the next frame's callback still runs" : "the next frame is complete");
        Signal inSecond;
        Signal leave;
        ScriptedHost host([&](const ScriptedHost::Run& run) {
            const auto number = static_cast<int>(run.info.uiFrameParam);
            if (number == 5) {
                inSecond.Set();
                EXPECT_TRUE(!slow || leave.Wait());
            }
            PushNumbered(run, number);
        });
        ASSERT_TRUE(ShowsFirst(host));
        Shown first;
        onlooker.seen = [&](const Shown& shown) {
            first = shown;
            onlooker.seen = nullptr;
        };
        Frame second = NumberedFrame(5);
        std::unique_ptr<HostThread> feeder;
        // Armed inside the paint: the label pass before it may take the lock as well.
        struct Arming : QObject {
            bool eventFilter(QObject*, QEvent* event) override
            {
                if (event->type() == QEvent::Paint) {
                    awaitedMutex = mutex;
                }
                return false;
            }
            QMutex* mutex;
        } arming;
        arming.mutex = &window.renderer->m_mutexYuvBuf;
        onRelease = [&] {
            feeder = std::make_unique<HostThread>([&] { EXPECT_EQ(second.Feed(window.handle), 0); });
            (slow ? inSecond : feeder->done).Wait(1000);
        };
        window.renderer->installEventFilter(&arming);
        EXPECT_TRUE(window.Show(NumberedFrame(3)));
        window.renderer->removeEventFilter(&arming);
        EXPECT_TRUE(feeder) << "the paint lets the frame lock go";
        EXPECT_EQ(first, Whole(3));
        leave.Set();
        feeder.reset();
        ExpectLast(5);
    }
}

#endif

// A repaint was asked for, and the next frame's callback runs when the event loop gets there.
TEST_P(Together, LabelsStayUntilTheNextPictureIsWhole)
{
    Signal inThird;
    Signal leave;
    ScriptedHost host([&](const ScriptedHost::Run& run) {
        const auto number = static_cast<int>(run.info.uiFrameParam);
        PushNumbered(run, number);
        if (number == 5) {
            inThird.Set();
            EXPECT_TRUE(leave.Wait());
        }
    });
    ASSERT_TRUE(ShowsFirst(host));
    std::thread([&] { EXPECT_EQ(NumberedFrame(3).Feed(window.handle), 0); }).join();
    HostThread feeder([&] { EXPECT_EQ(NumberedFrame(5).Feed(window.handle), 0); });
    ASSERT_TRUE(inThird.Wait());
    RunEventsFor(50);
    EXPECT_EQ(Text(), "1") << "the picture on the screen is still the first";
    leave.Set();
    feeder.Finish();
    ExpectLast(5);
}

// A change of the format is no stop: no paint in between shows black or takes the labels away. The host hears
// of the repaint inside the hand-over and gives a paint the time to come.
TEST_P(Together, NoBlackBetweenTwoFormats)
{
    ScriptedHost host([](const ScriptedHost::Run& run) { run.Push(NumberedLabel(4)); });
    host.Attach(window.handle);
    ASSERT_TRUE(window.Show(PlainPicture(32, 24, 150, 128, 128), Yv12));
    RunEventsFor(20);
    std::atomic<int> looked{0};
    int black = 0;
    int unlabelled = 0;
    onlooker.seen = [&](const Shown& shown) {
        ++looked;
        black += shown.picture == 0;
        unlabelled += shown.text != "4";
    };
    const auto waitForPaint = [&] {
        const int before = looked;
        for (int i = 0; i < 60 && !OnGuiThread() && looked == before; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    };
    auto listener = std::make_unique<QObject>();
    HearUpdates(window.renderer, *listener, waitForPaint);
    for (const int type : {Nv12, Yv12, Nv12}) {
        HostThread feeder(
            [&] { EXPECT_EQ(Frame(PlainPicture(32, 24, 150, 128, 128), type).Feed(window.handle), 0); });
        feeder.Finish();
        RunEventsFor(30);
    }
    listener.reset();
    EXPECT_GE(looked, 3);
    EXPECT_EQ(black, 0) << "of " << looked;
    EXPECT_EQ(unlabelled, 0) << "of " << looked;
    Ovel_ClearDraw(window.handle);
}

// A resize's callback comes into a frame's: the one that began last counts.
TEST_P(Together, OvertakenCallbacksLeaveNothing)
{
    Signal firstIsIn;
    Signal secondIsOver;
    std::atomic<int> results{0};
    ScriptedHost host([&](const ScriptedHost::Run& run) {
        if (run.number == 1) {
            run.Push(NumberedBar(1));
            firstIsIn.Set();
            secondIsOver.Wait(2000);
        }
        results += run.Push(NumberedBar(run.number == 1 ? 2 : 5));
        results += run.Push(NumberedBar(run.number == 1 ? 2 : 5));
    });
    RunEventsFor(20); // a resize of the window's own would be the first
    host.Attach(window.handle);
    {
        HostThread feeder([&] { EXPECT_EQ(NumberedFrame(1).Feed(window.handle), 0); });
        EXPECT_TRUE(firstIsIn.Wait());
        window.top->resize(QSize(110, 70));
        RunEvents();
        secondIsOver.Set();
    }
    EXPECT_EQ(results, 0) << "records that came too late are taken all the same";
    const QVector<__tagQDrawGraphInfo>& list = window.renderer->m_vecDrawGraphInfo;
    EXPECT_EQ(list.size(), 2);
    for (const __tagQDrawGraphInfo& record : list) {
        EXPECT_EQ(record.uiColor, NumberedBar(5).uiColor);
    }
    Ovel_ClearDraw(window.handle);
}

// A text that arrives while the labels are filled is not taken for shown.
TEST_P(Together, NoTextIsMissed)
{
    auto record = NumberedLabel(4);
    std::atomic<int> wanted{0};
    std::atomic<int> pushed{0};
    std::atomic<bool> stop{false};
    ASSERT_TRUE(window.Show(NumberedFrame(1)));
    std::thread pusher([&] {
        while (!stop) {
            if (pushed == wanted) {
                std::this_thread::yield();
                continue;
            }
            window.IsSubImage() ? window.Sub()->SaveDrawGrapInfo(&record, sizeof(record))
                                : window.Full()->SaveDrawGrapInfo(&record, sizeof(record));
            ++pushed;
        }
    });
    int missed = 0;
    QElapsedTimer timer;
    timer.start();
    while (wanted < 4000 && static_cast<double>(timer.elapsed()) < TestSeconds(2) * 1000) {
        window.renderer->InnerClearDrawInfo();
        window.renderer->DrawTextInfo();
        ++wanted;
        while (pushed < wanted) {
            window.renderer->DrawTextInfo();
        }
        window.renderer->DrawTextInfo();
        missed += Text() != "4";
    }
    stop = true;
    pusher.join();
    EXPECT_EQ(missed, 0) << "of " << wanted;
}

// Six windows, each with a feeder whose callback takes its time; every picture that reaches the screen is
// looked at.
TEST(TogetherUnderLoad, EveryPictureIsWhole)
{
    ScriptedHost host([&](const ScriptedHost::Run& run) {
        const auto number = static_cast<int>(run.info.uiFrameParam);
        std::this_thread::sleep_for(std::chrono::microseconds(300));
        run.Push(NumberedBar(number));
        std::this_thread::sleep_for(std::chrono::microseconds(300));
        run.Push(NumberedLabel(number));
    });
    std::vector<std::unique_ptr<RenderWindow>> windows;
    std::vector<std::unique_ptr<Onlooker>> onlookers;
    std::vector<std::unique_ptr<HostThread>> feeders;
    std::atomic<bool> stop{false};
    int looked = 0;
    int torn = 0;
    for (int i = 0; i < 6; ++i) {
        windows.push_back(std::make_unique<RenderWindow>(i % 2 ? OVEL_RENDER_SUB_IMAGE : OVEL_RENDER_FULL));
        RenderWindow& window = *windows.back();
        window.top->move(20 + 150 * i, 40);
        host.Attach(window.handle);
        ASSERT_TRUE(window.Show(NumberedFrame(1)));
        onlookers.push_back(std::make_unique<Onlooker>(window));
        onlookers.back()->seen = [&](const Shown& shown) {
            ++looked;
            torn += !(shown == Whole(shown.picture));
        };
    }
    for (auto& window : windows) {
        feeders.push_back(std::make_unique<HostThread>([&stop, handle = window->handle] {
            for (int number = 1; !stop; number = number % Numbers + 1) {
                NumberedFrame(number).Feed(handle);
                std::this_thread::sleep_for(std::chrono::microseconds(700 * number));
            }
        }));
    }
    RunEventsFor(static_cast<int>(TestSeconds(2) * 1000));
    stop = true;
    feeders.clear();
    EXPECT_EQ(torn, 0) << "of " << looked;
    EXPECT_GT(looked, 20);
    onlookers.clear();
    windows.clear();
}

} // namespace

#ifndef OVEL_LOCKS_ARE_TAKEN
// Takes the place of Qt's own.
void QMutex::unlock() noexcept
{
    using Unlock = void (*)(QMutex*);
    static const auto real = reinterpret_cast<Unlock>(dlsym(RTLD_NEXT, "_ZN6QMutex6unlockEv"));
    real(this);
    if (awaitedMutex == this && OnGuiThread()) {
        awaitedMutex = nullptr;
        onRelease();
    }
}
#endif
