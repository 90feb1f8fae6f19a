// No GL context can be made, on a platform without OpenGL or because the driver refuses: said once per renderer,
// with the reason, and nothing else changes for the host.
#include "Harness.h"

#include <QGuiApplication>
#include <QLayout>
#include <QOpenGLContext>

using namespace OvelTest;

namespace
{

bool Always(const QSurfaceFormat&)
{
    return true;
}

class MissingTest : public BothRenderers
{
protected:
    MissingTest()
    {
        QOpenGLContext context;
        platformHasOpenGl = context.create();
        contextFails = &Always;
    }
    ~MissingTest() override
    {
        contextFails = nullptr;
        RunEvents();
        qtWarnings.Take(); // Qt says it its own way, at several places
    }

    bool platformHasOpenGl = false;
};
OVEL_FOR_BOTH_RENDERERS(MissingTest);

TEST_P(MissingTest, IsSaidOnceWhenARendererIsToBePainted)
{
    int type = GetParam();
    void* unseen = Ovel_CreateEx(&type, sizeof(type));
    Frame frame(MakePicture(32, 24), OVEL_DISPLAY_YV12);
    EXPECT_EQ(frame.Feed(unseen), 0);
    RunEventsFor(30);
    EXPECT_TRUE(TakeErrorLines().empty()) << "never shown";

    RenderWindow window(type);
    OverlaySource source;
    source.records = {Graph(OVEL_GRAPH_POLYLINE, 0xFFFFFF, 3, {{5, 5}, {50, 30}})};
    EXPECT_EQ(source.Attach(window.handle), 0);
    const std::vector<std::string> errors = TakeErrorLines();
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(
        errors[0],
        "E ContextPainter|ReportMissing|no OpenGL context for this renderer, nothing is shown: platform " +
            QGuiApplication::platformName().toStdString() + " makes none at all");
    const std::function<void()> steps[] = {
        [&] { window.Repaint(); },
        [&] { window.top->resize(120, 80); },
        [&] { window.top->hide(), window.top->show(); },
        [&] { Ovel_ClearDraw(window.handle); },
    };
    for (const auto& step : steps) {
        EXPECT_EQ(frame.Feed(window.handle), 0);
        step();
        RunEventsFor(20);
        EXPECT_TRUE(TakeErrorLines().empty()) << &step - steps;
    }
    EXPECT_GE(source.calls.size(), 4u) << "asked at every frame";

    RenderWindow another(type);
    EXPECT_EQ(TakeErrorLines().size(), 1u) << "each renderer for itself";
    EXPECT_EQ(Ovel_Release(unseen), 0);
}

TEST_P(MissingTest, AWindowThatHasOneShowsThePicture)
{
    RenderWindow window(GetParam());
    EXPECT_EQ(TakeErrorLines().size(), 1u);
    if (!platformHasOpenGl) {
        return;
    }
    contextFails = nullptr;
    RenderWindow working(GetParam());
    working.renderer->hide();
    working.top->layout()->addWidget(window.renderer);
    const Picture picture = MakePicture(32, 24);
    ASSERT_TRUE(window.Show(picture, OVEL_DISPLAY_YV12));
    ASSERT_TRUE(
        WaitUntil([&] { return window.renderer->isValid() && window.renderer->size() == QSize(96, 64); }));
    ASSERT_TRUE(window.Show(picture, OVEL_DISPLAY_YV12));
    EXPECT_TRUE(
        ShowsCanvas(window.Framebuffer(), RenderPicture(picture, OVEL_DISPLAY_YV12, window.CurrentView())));
    EXPECT_TRUE(TakeErrorLines().empty());
    // And back to where there is none.
    ASSERT_TRUE(window.Repaint()); // Qt crashes over a grab that was not composed before the move
    contextFails = &Always;
    QWidget without;
    window.renderer->setParent(&without);
    without.show();
    window.renderer->show();
    RunEventsFor(50);
    EXPECT_FALSE(window.renderer->isValid());
    EXPECT_EQ(Frame(picture, OVEL_DISPLAY_YV12).Feed(window.handle), 0);
    EXPECT_TRUE(TakeErrorLines().empty()) << "said before";
    window.renderer->setParent(nullptr);
}

} // namespace
