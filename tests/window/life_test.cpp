// What happens to a widget in its life: every event with frames running, the picture compared before and
// after.
#include "Lender.h"
#include "ScriptedHost.h"

#include <QDockWidget>
#include <QHBoxLayout>
#include <QMainWindow>
#include <QOpenGLFunctions>
#include <QScreen>

#include <fstream>

using namespace OvelTest;

namespace
{

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
         if (!IsWayland()) { // without a window manager nobody else does
             w.top->setGeometry(w.top->screen()->geometry());
         }
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
    static void Restore(RenderWindow& window)
    {
        window.top->showNormal();
        window.top->setGeometry(40, 40, 96, 64);
        window.renderer->show();
    }
    // A known frame with an overlay, copied or lent, whole whatever happened before.
    void ExpectWhole(RenderWindow& window, int layout)
    {
        source.records = {Overlay()};
        Restore(window);
        ASSERT_TRUE(WaitUntil(
            [&] { return window.renderer->size() == QSize(96, 64) && window.renderer->isVisible(); }));
        const Picture picture = MakePicture(40, 30, layout);
        ASSERT_TRUE(window.Painted([&] {
            EXPECT_EQ(layout == Nv12 ? lender.Lend(window.handle, Loan(picture, layout, {53, 64, 0}))
                                     : Frame(picture, layout).Feed(window.handle),
                      0);
        }));
        EXPECT_EQ(lender.Out(), layout == Nv12 ? 1 : 0);
        EXPECT_TRUE(window.Shows(picture, layout, View(), source.records));
        const QImage framebuffer = window.Framebuffer();
        EXPECT_TRUE(Eventually([&] { return SameImage(window.Screen(), framebuffer, 1); }));
    }

    Lender lender; // outlives the windows
    OverlaySource source;
};
OVEL_FOR_BOTH_RENDERERS(LifeTest);

// With frames running, and without a single new frame: what was there comes back by itself. The sub-image
// renderer waits for the next frame when its context is a new one.
TEST_P(LifeTest, EventsWithAndWithoutFrames)
{
    RenderWindow window(GetParam());
    source.Attach(window.handle);
    int layout = Yv12;
    for (const Event& event : Events) {
        if (event.otherWindow && QtLosesTiles()) {
            continue;
        }
        SCOPED_TRACE(event.name);
        ASSERT_NO_FATAL_FAILURE(ExpectWhole(window, layout));
        const QImage before = window.Screen();
        event.run(window);
        Restore(window);
        if (!event.otherWindow || !window.IsSubImage()) {
            EXPECT_TRUE(Eventually([&] { return SameImage(window.Screen(), before); }));
        }
        std::atomic<bool> stop{false};
        HostThread feeder([&] {
            Frame frames[] = {Frame(MakePicture(32, 24, 9), Yv12), Frame(MakePicture(48, 20, 5), Nv12)};
            for (unsigned i = 0; !stop; ++i) {
                EXPECT_EQ(frames[i / 8 % 2].Feed(window.handle), 0);
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            }
        });
        RunEventsFor(20);
        event.run(window);
        RunEventsFor(20);
        stop = true;
        feeder.Finish();
        layout = Nv12 - layout;
        ASSERT_NO_FATAL_FAILURE(ExpectWhole(window, layout));
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
    struct Tile {
        int kind, layout;
        Picture picture;
        CLS_ShaderBase* renderer = nullptr;
    };
    Tile tiles[] = {{0, Yv12, MakePicture(20, 20)},
                    {7, Yv12, MakePicture(30, 20, 50)},
                    {0, Nv12, MakePicture(10, 30, 90)},
                    {7, Nv12, MakePicture(18, 10, 130)}};
    for (Tile& tile : tiles) {
        tile.renderer = CreateRenderer(tile.kind);
        grid->addWidget(tile.renderer);
        MakeNativeIfAsked(*tile.renderer);
    }
    HostGl host;
    host.setMinimumSize(40, 40);
    grid->addWidget(&host);
    window.setGeometry(40, 40, 300, 80);
    window.show();
    const auto expect = [&](const char* when) {
        SCOPED_TRACE(when);
        RunEventsFor(60);
        for (const Tile& tile : tiles) {
            if (!tile.renderer) {
                continue;
            }
            QImage image = tile.renderer->grabFramebuffer();
            image.setDevicePixelRatio(1);
            View view;
            view.widget = tile.renderer->size();
            view.device = image.size();
            const Canvas canvas = RenderPicture(tile.picture, tile.layout, view);
            EXPECT_TRUE(ShowsCanvas(image, canvas)) << "renderer " << &tile - tiles;
            EXPECT_TRUE(Eventually([&] { return ShowsCanvas(ScreenOf(*tile.renderer), canvas); }))
                << "on the screen, renderer " << &tile - tiles;
        }
        EXPECT_EQ(host.grabFramebuffer().pixelColor(5, 5), QColor(Qt::red));
    };
    RunEventsFor(30);
    for (const Tile& tile : tiles) {
        EXPECT_EQ(Frame(tile.picture, tile.layout).Feed(tile.renderer), 0);
    }
    host.update();
    expect("together");
    Ovel_Release(std::exchange(tiles[1].renderer, nullptr));
    expect("one released");
    for (const Tile& tile : tiles) {
        Ovel_Release(tile.renderer);
    }
    RunEvents();
}

int CountGlObjects(QOpenGLWidget& renderer)
{
    int count = 0;
    renderer.makeCurrent();
    QOpenGLFunctions* gl = renderer.context()->functions();
    for (GLuint name = 1; name < 512; ++name) {
        count += gl->glIsTexture(name) + gl->glIsBuffer(name) + gl->glIsProgram(name) + gl->glIsShader(name);
    }
    renderer.doneCurrent();
    return count;
}

long ResidentKiB()
{
    long pages = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return resident * 4;
}

// Nothing is left behind: no Qt warning (the harness sees to it), no memory, no GL objects from frame to frame.
TEST_P(LifeTest, CreateShowFeedReleaseCycles)
{
    const auto cycle = [this](int i) {
        RenderWindow window(GetParam(), QSize(60, 60));
        source.Attach(window.handle);
        source.records = {Overlay(), Label("text", {0, 20, 50, 40})};
        ASSERT_TRUE(window.Show(MakePicture(640, 480), Layouts[i % 2]));
        if (i % 3 == 0) {
            Ovel_ClearDraw(window.handle);
        }
    };
    long before = 0;
    for (int i = 0; i < 45; ++i) {
        before = i == 15 ? ResidentKiB() : before;
        cycle(i);
    }
    // Each cycle holds more than 900 KiB in the buffer and the textures. A sanitizer keeps what was freed.
    EXPECT_LT(ResidentKiB() - before, OVEL_SANITIZED ? 100000 : 9000);
    RenderWindow window(GetParam());
    source.Attach(window.handle);
    int early = 0;
    for (int i = 0; i < 24; ++i) {
        ASSERT_TRUE(window.Show(MakePicture(40 + i % 2 * 8, 30), Layouts[i / 4 % 2]));
        if (i % 8 == 7) { // both layouts, both sizes
            const int objects = CountGlObjects(*window.renderer);
            EXPECT_TRUE(i == 7 || objects <= early) << objects << " after " << early;
            early = objects;
        }
    }
}

TEST_P(LifeTest, GrabsAgreeAlsoOnTranslucentWindows)
{
    for (const bool translucent : {false, true}) {
        if (translucent && QtLosesTiles()) {
            continue;
        }
        for (const int type : {Yv12, Nv12, 5, -1}) {
            SCOPED_TRACE(testing::Message() << "translucent " << translucent << " type " << type);
            RenderWindow window(GetParam(), QSize(96, 64), translucent);
            source.Attach(window.handle);
            source.records = {Overlay(),
                              Graph(OVEL_GRAPH_FILLED, 0xFF, 0, {{50, 5}, {90, 20}, {55, 60}}, 0.5f),
                              Graph(OVEL_GRAPH_FILLED, 0xFF00, 0, {{2, 40}, {20, 42}, {5, 60}})};
            window.Set(OVELCMD_SET_DRAW_DST_RECT, tagQRECT{20, 10, 79, 53}); // leaves bars
            if (type >= 0) {
                Frame frame(MakePicture(40, 30), type == Nv12 ? Nv12 : Yv12);
                frame.info.iDisplayType = type;
                ASSERT_TRUE(window.Show(std::move(frame)));
            }
            RunEventsFor(20);
            const QImage framebuffer = window.Framebuffer();
            for (int i = 0; i < framebuffer.width() * framebuffer.height(); ++i) {
                const QPoint at(i % framebuffer.width(), i / framebuffer.width());
                ASSERT_EQ(framebuffer.pixelColor(at).alpha(), 255) << at.x() << ", " << at.y();
            }
            QImage grab = window.top->grab().toImage();
            grab.setDevicePixelRatio(1);
            EXPECT_TRUE(SameImage(grab, framebuffer, 1)) << "grab of the window";
            EXPECT_TRUE(Eventually([&] { return SameImage(window.Screen(), framebuffer, 1); }));
        }
    }
}

} // namespace
