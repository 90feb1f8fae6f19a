// What happens to a widget in its life: every event with frames running, the picture compared before and
// after.
#include "Harness.h"

#include <QDockWidget>
#include <QHBoxLayout>
#include <QMainWindow>
#include <QOpenGLFunctions>
#include <QScreen>

#include <atomic>
#include <fstream>
#include <thread>

using namespace OvelTest;

namespace
{

// Feeds a renderer from its own thread until it is stopped.
class Feeder
{
public:
    explicit Feeder(void* handle)
        : thread([this, handle] {
              Frame frames[] = {Frame(MakePicture(32, 24, 9), OVEL_DISPLAY_YV12),
                                Frame(MakePicture(48, 20, 5), OVEL_DISPLAY_NV12)};
              for (unsigned i = 0; !stop; ++i) {
                  refused += frames[i / 8 % 2].Feed(handle) != 0;
                  ++fed;
                  std::this_thread::sleep_for(std::chrono::milliseconds(2));
              }
          })
    {
    }
    ~Feeder() { Stop(); }
    void Stop()
    {
        stop = true;
        if (thread.joinable()) {
            thread.join();
        }
    }
    std::atomic<bool> stop{false};
    std::atomic<int> fed{0};
    std::atomic<int> refused{0};

private:
    std::thread thread;
};

// Moves the renderer into another top-level window.
void MoveInto(RenderWindow& window, QWidget& host)
{
    auto* layout = host.layout() ? host.layout() : new QVBoxLayout(&host);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(window.renderer);
    RunEventsFor(40);
}

// Wayland brings back a window that was minimised when its user wants it, and resizes one in its own time.
void AskForANewWindow(RenderWindow& window)
{
    if (IsWayland()) {
        window.top->hide();
    }
}

struct Event {
    const char* name;
    bool otherWindow; // Qt may give the renderer a new context
    void (*run)(RenderWindow&);
};

const Event Events[] = {
    {"hide and show", false,
     [](RenderWindow& w) {
         for (QWidget* widget : {w.top.get(), static_cast<QWidget*>(w.renderer), w.top.get()}) {
             widget->hide();
             RunEventsFor(20);
             widget->show();
             RunEventsFor(20);
         }
     }},
    {"minimise and restore", false,
     [](RenderWindow& w) {
         w.top->showMinimized();
         RunEventsFor(40);
         AskForANewWindow(w);
     }},
    {"resize storm", false,
     [](RenderWindow& w) {
         for (int i = 0; i < 60; ++i) {
             w.top->resize(60 + i * 37 % 200, 60 + i * 53 % 150);
             if (i % 4 == 0) {
                 RunEvents();
             }
         }
     }},
    {"full screen", false,
     [](RenderWindow& w) {
         w.top->showFullScreen();
         w.top->setGeometry(w.top->screen()->geometry()); // without a window manager nobody else does
         RunEventsFor(60);
         AskForANewWindow(w);
     }},
    {"another window and back", true,
     [](RenderWindow& w) {
         QWidget other;
         other.setGeometry(300, 40, 120, 90);
         other.show();
         MoveInto(w, other);
         MoveInto(w, *w.top);
     }},
    {"a window of its own and back", true,
     [](RenderWindow& w) {
         w.renderer->setParent(nullptr);
         RunEventsFor(20);
         w.renderer->show();
         RunEventsFor(30);
         MoveInto(w, *w.top);
     }},
    {"dock, float, dock", true,
     [](RenderWindow& w) {
         QMainWindow main;
         auto* dock = new QDockWidget;
         main.addDockWidget(Qt::LeftDockWidgetArea, dock);
         dock->setWidget(w.renderer);
         main.setGeometry(300, 40, 200, 150);
         main.show();
         for (const bool floating : {false, true, false}) {
             dock->setFloating(floating);
             RunEventsFor(30);
         }
         MoveInto(w, *w.top);
     }},
};

class LifeTest : public BothRenderers
{
protected:
    static __tagQDrawGraphInfo Overlay()
    {
        return Graph(OVEL_GRAPH_OUTLINE, 0xFFFFFF, 5, {{10, 10}, {80, 14}, {60, 50}});
    }

    // A known frame with an overlay, whole again after whatever happened.
    static void ExpectWhole(RenderWindow& window, OverlaySource& source, int layout)
    {
        const Picture picture = MakePicture(40, 30, layout);
        source.records = {Overlay()};
        window.top->showNormal();
        window.top->setGeometry(40, 40, 96, 64);
        ASSERT_TRUE(WaitUntil(
            [&] { return window.renderer->size() == QSize(96, 64) && window.renderer->isVisible(); }));
        ASSERT_TRUE(window.Show(picture, layout));
        const View view = window.CurrentView();
        Canvas canvas = RenderPicture(picture, layout, view);
        DrawOverlays(canvas, source.records, view, window.IsSubImage());
        EXPECT_TRUE(ShowsCanvas(window.Framebuffer(), canvas));
        EXPECT_TRUE(WaitUntil([&] { return bool(ShowsCanvas(window.Screen(), canvas)); }, 1500))
            << "on the screen: " << ShowsCanvas(window.Screen(), canvas).message();
    }
};
OVEL_FOR_BOTH_RENDERERS(LifeTest);

TEST_P(LifeTest, EventsWithFramesRunning)
{
    RenderWindow window(GetParam());
    OverlaySource source;
    source.Attach(window.handle);
    int layout = OVEL_DISPLAY_YV12;
    for (const Event& event : Events) {
        SCOPED_TRACE(event.name);
        ASSERT_NO_FATAL_FAILURE(ExpectWhole(window, source, layout));
        {
            Feeder feeder(window.handle);
            RunEventsFor(20);
            event.run(window);
            RunEventsFor(20);
            feeder.Stop();
            EXPECT_EQ(feeder.refused, 0) << "of " << feeder.fed;
        }
        ASSERT_NO_FATAL_FAILURE(ExpectWhole(window, source, layout));
        layout = 3 - layout;
    }
}

// The same without a single new frame: what was there comes back by itself. The sub-image renderer waits for
// the next frame when its context is a new one.
TEST_P(LifeTest, ThePictureSurvivesEvents)
{
    RenderWindow window(GetParam());
    OverlaySource source;
    source.Attach(window.handle);
    for (const Event& event : Events) {
        if (event.otherWindow && window.IsSubImage()) {
            continue;
        }
        SCOPED_TRACE(event.name);
        ASSERT_NO_FATAL_FAILURE(ExpectWhole(window, source, OVEL_DISPLAY_NV12));
        const QImage before = window.Screen();
        event.run(window);
        window.top->showNormal();
        window.top->setGeometry(40, 40, 96, 64);
        window.renderer->show();
        EXPECT_TRUE(WaitUntil([&] { return bool(SameImage(window.Screen(), before)); }, 2000))
            << SameImage(window.Screen(), before).message();
    }
}

// Host widgets that draw GL of their own, with other state, in the same window.
class HostGl : public QOpenGLWidget
{
public:
    void paintGL() override
    {
        auto* gl = QOpenGLContext::currentContext()->functions();
        gl->glClearColor(1, 0, 0, 1);
        gl->glEnable(GL_BLEND);
        gl->glEnable(GL_SCISSOR_TEST);
        gl->glScissor(0, 0, 20000, 20000);
        gl->glPixelStorei(GL_UNPACK_ALIGNMENT, 8);
        gl->glClear(GL_COLOR_BUFFER_BIT);
    }
};

// The harness itself: what every test relies on to fail.
TEST(LifeTogether, ComplaintsAreHeard)
{
    RenderWindow window(OVEL_RENDER_FULL);
    window.renderer->makeCurrent();
    QOpenGLContext::currentContext()->functions()->glEnable(0xFFFF);
    window.renderer->doneCurrent();
    EXPECT_EQ(glErrors.Take().size(), 1u);
    qWarning("heard");
    EXPECT_EQ(qtWarnings.Take().size(), 1u);
}

TEST(LifeTogether, SeveralRenderersAndTheHostsGl)
{
    QWidget window;
    auto* grid = new QHBoxLayout(&window);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setSpacing(0);
    std::vector<CLS_ShaderBase*> renderers;
    for (int type : {0, 7, 0, 7}) {
        renderers.push_back(static_cast<CLS_ShaderBase*>(Ovel_CreateEx(&type, 4)));
        grid->addWidget(renderers.back());
        MakeNativeIfAsked(*renderers.back());
    }
    HostGl host;
    host.setMinimumSize(40, 40);
    grid->addWidget(&host);
    window.setGeometry(40, 40, 300, 80);
    window.show();
    const Picture pictures[] = {MakePicture(20, 20), MakePicture(30, 20, 50), MakePicture(10, 30, 90),
                                MakePicture(18, 10, 130)};
    const auto type = [](size_t i) { return i < 2 ? OVEL_DISPLAY_YV12 : OVEL_DISPLAY_NV12; };
    const auto expect = [&](const char* when) {
        RunEventsFor(60);
        for (size_t i = 0; i < renderers.size(); ++i) {
            if (!renderers[i]) {
                continue;
            }
            QImage image = renderers[i]->grabFramebuffer();
            image.setDevicePixelRatio(1);
            View view;
            view.widget = renderers[i]->size();
            view.device = image.size();
            const Canvas canvas = RenderPicture(pictures[i], type(i), view);
            EXPECT_TRUE(ShowsCanvas(image, canvas)) << when << ", renderer " << i;
            const auto shown = [&] { return ShowsCanvas(ScreenOf(*renderers[i]), canvas); };
            EXPECT_TRUE(WaitUntil([&] { return bool(shown()); }, 1500))
                << "on the screen " << when << ", renderer " << i << ": " << shown().message();
        }
        EXPECT_EQ(host.grabFramebuffer().pixelColor(5, 5), QColor(Qt::red)) << when;
    };
    RunEventsFor(30);
    for (size_t i = 0; i < renderers.size(); ++i) {
        EXPECT_EQ(Frame(pictures[i], type(i)).Feed(renderers[i]), 0);
    }
    host.update();
    expect("together");
    renderers[3]->hide();
    RunEventsFor(30);
    renderers[3]->show();
    expect("one hidden and shown");
    Ovel_Release(renderers[1]);
    renderers[1] = nullptr;
    expect("one released");
    renderers[2]->setParent(nullptr);
    renderers[2]->move(400, 300); // beside the others
    renderers[2]->show();
    expect("one in a window of its own");
    for (auto* renderer : renderers) {
        if (renderer) {
            Ovel_Release(renderer);
        }
    }
    RunEvents();
}

long ResidentKiB()
{
    long pages = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return resident * 4;
}

// Nothing is left behind: no Qt warning (the harness sees to it), no memory.
TEST_P(LifeTest, CreateShowFeedReleaseCycles)
{
    const auto cycle = [](int i) {
        RenderWindow window(GetParam(), QSize(60, 60));
        OverlaySource source;
        source.Attach(window.handle);
        source.records = {Overlay(), Label("text", {0, 20, 50, 40})};
        ASSERT_TRUE(window.Show(MakePicture(640, 480), i % 2 ? OVEL_DISPLAY_NV12 : OVEL_DISPLAY_YV12));
        if (i % 3 == 0) {
            Ovel_ClearDraw(window.handle);
        }
    };
    for (int i = 0; i < 15; ++i) {
        cycle(i);
    }
    const long before = ResidentKiB();
    for (int i = 0; i < 30; ++i) {
        cycle(i);
    }
    // Each cycle holds more than 900 KiB in the buffer and the textures. A sanitizer keeps what was freed.
    EXPECT_LT(ResidentKiB() - before, OVEL_SANITIZED ? 100000 : 9000);
}

TEST_P(LifeTest, GrabsAgreeAlsoOnTranslucentWindows)
{
    for (const bool translucent : {false, true}) {
        for (const int type : {int(OVEL_DISPLAY_YV12), int(OVEL_DISPLAY_NV12), 5, -1}) {
            SCOPED_TRACE(testing::Message() << "translucent " << translucent << " type " << type);
            RenderWindow window(GetParam(), QSize(96, 64), translucent);
            OverlaySource source;
            source.Attach(window.handle);
            source.records = {Overlay(),
                              Graph(OVEL_GRAPH_FILLED, 0xFF, 0, {{50, 5}, {90, 20}, {55, 60}}, 0.5f),
                              Graph(OVEL_GRAPH_FILLED, 0xFF00, 0, {{2, 40}, {20, 42}, {5, 60}})};
            window.Set(OVELCMD_SET_DRAW_DST_RECT, tagQRECT{20, 10, 79, 53}); // leaves bars
            if (type >= 0) {
                Frame frame(MakePicture(40, 30),
                            type == OVEL_DISPLAY_NV12 ? OVEL_DISPLAY_NV12 : OVEL_DISPLAY_YV12);
                frame.info.iDisplayType = type;
                ASSERT_TRUE(window.Show(std::move(frame)));
            }
            RunEventsFor(20);
            const QImage framebuffer = window.Framebuffer();
            for (int y = 0; y < framebuffer.height(); ++y) {
                for (int x = 0; x < framebuffer.width(); ++x) {
                    ASSERT_EQ(framebuffer.pixelColor(x, y).alpha(), 255) << x << ", " << y;
                }
            }
            QImage grab = window.top->grab().toImage();
            grab.setDevicePixelRatio(1);
            EXPECT_TRUE(SameImage(grab, framebuffer, 1)) << "grab of the window";
            EXPECT_TRUE(WaitUntil([&] { return bool(SameImage(window.Screen(), framebuffer, 1)); }, 1500))
                << "screen shot: " << SameImage(window.Screen(), framebuffer, 1).message();
        }
    }
}

} // namespace
