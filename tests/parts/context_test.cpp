// What lives with a GL context: pictures, overlays and what is on the screen, in a framebuffer object without
// a window.
#include "OsCoreApi.h"
#include "parts/ContextPainter.h"
#include "picture/DisplayGeometry.h"

#include "Harness.h"

#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFramebufferObject>
#include <QOpenGLFunctions>
#include <QOpenGLShaderProgram>

#include <limits>

using OvelTest::Canvas;
using OvelTest::Graph;
using OvelTest::MakePicture;
using OvelTest::ShowsCanvas;

namespace
{

OvelTest::Lines errors;

class ContextPart : public testing::Test
{
protected:
    ContextPart()
    {
        offscreen.create();
        if (!context.create() || !context.makeCurrent(&offscreen)) {
            return;
        }
        painter.Enter();
        target = std::make_unique<QOpenGLFramebufferObject>(QSize(60, 40));
        target->bind();
        context.functions()->glGenTextures(3, textures);
        view.displayType = OVEL_DISPLAY_YV12;
        view.frame = 1;
        view.overlays = 1;
        view.parameters = {WholeArea, WholeArea, {}, {}};
        view.surface = {target->size(), 1, target->handle()};
        program.reset(painter.BuildProgram(layout, PictureProgramKind::FullFrame,
                                           {{&sampler[0], &sampler[1], &sampler[2]}, flag, color}));
    }
    ~ContextPart() override
    {
        program.reset();
        painter.Free();
        if (target) {
            context.functions()->glDeleteTextures(3, textures);
        }
        target.reset();
        errors.Take();
    }

    PictureTarget Target(const tagOvelVideoRotate& rotate = {})
    {
        return {program.get(),
                {textures[0], textures[1], textures[2]},
                TextureStorage::Respecified,
                view.parameters.destination,
                rotate};
    }
    ContextPainter::Drawn Draw(const OvelTest::Picture& picture, quint64 serial)
    {
        const std::vector<uint8_t> bytes = BufferBytes(picture, layout.displayType);
        return painter.DrawPicture(Target(view.parameters.rotate), layout,
                                   PlanesInBuffer(layout, bytes.data(), picture.width, picture.height),
                                   serial, view.parameters);
    }
    QImage Shown() const { return target->toImage(); }
    bool IsBlack() const
    {
        const QImage image = Shown();
        for (int i = 0; i < image.width() * image.height(); ++i) {
            if ((image.pixel(i % image.width(), i / image.width()) & 0xFFFFFF) != 0) {
                return false;
            }
        }
        return true;
    }

    QOffscreenSurface offscreen;
    QOpenGLContext context;
    std::unique_ptr<QOpenGLFramebufferObject> target;
    unsigned int textures[3] = {};
    const PictureLayout& layout = LayoutOf(OVEL_DISPLAY_YV12);
    int sampler[3] = {-7, -7, -7};
    int flag = -7;
    int color = -7;
    std::unique_ptr<QOpenGLShaderProgram> program;
    ContextPainter painter;
    PaintedView view;
};

TEST_F(ContextPart, PictureAndOverlaysAsTheViewSays)
{
    ASSERT_TRUE(target) << "no context";
    ASSERT_TRUE(program);
    for (const int location : {sampler[0], sampler[1], sampler[2], flag, color}) {
        EXPECT_NE(location, -7) << "written";
    }
    const OvelTest::Picture picture = MakePicture(30, 20);
    const std::vector<__tagQDrawGraphInfo> records = {
        Graph(OVEL_GRAPH_POLYLINE, 0x3050F0, 4, {{5, 5}, {50, 30}}),
        Graph(OVEL_GRAPH_FILLED, 0x20C040, 1, {{30, 5}, {55, 5}, {55, 20}, {30, 20}}, 0.5f)};
    const QVector<__tagQDrawGraphInfo> list(records.begin(), records.end());
    OvelTest::View expected;
    expected.widget = expected.device = target->size();
    expected.zoom = {0.25, 0, 0.75, 1};
    expected.destination = {0.25, 0.25, 0.75, 1};
    expected.direction = expected.mirror = 1;
    expected.angle = 90;
    view.parameters = {expected.zoom, expected.destination, {1, 90, 1}, {}};
    painter.FillFramebuffer(view.surface);
    EXPECT_EQ(Draw(picture, 1), ContextPainter::Drawn::Uploaded);
    EXPECT_EQ(Draw(picture, 1), ContextPainter::Drawn::Again);
    Canvas canvas = RenderPicture(picture, OVEL_DISPLAY_YV12, expected);
    EXPECT_TRUE(ShowsCanvas(Shown(), canvas));
    painter.MeshOverlays(list, OverlayKinds::LinesAndShapes, view);
    painter.MeshOverlays({}, OverlayKinds::LinesAndShapes, view); // is of this view already
    painter.PaintOpaqueOverlays();
    painter.PaintTranslucentOverlays();
    DrawOverlays(canvas, records, expected, false);
    EXPECT_TRUE(ShowsCanvas(Shown(), canvas));
    painter.Free(); // with all that was meshed
    EXPECT_EQ(Draw(picture, 1), ContextPainter::Drawn::Uploaded);
    painter.PaintBlack();
    painter.MeshOverlays(list, OverlayKinds::LinesAndShapes, view);
    painter.PaintOpaqueOverlays();
    EXPECT_FALSE(IsBlack());
}

// What is on the screen is known until something else may be there.
TEST_F(ContextPart, KnowsWhatIsShown)
{
    ASSERT_TRUE(target) << "no context";
    const std::function<void(PaintedView&)> changes[] = {
        [](PaintedView& v) { v.displayType = OVEL_DISPLAY_NV12; },
        [](PaintedView& v) { ++v.frame; },
        [](PaintedView& v) { ++v.overlays; },
        [](PaintedView& v) { v.parameters.zoom.left = 0.5; },
        [](PaintedView& v) { v.parameters.destination.top = 0.5; },
        [](PaintedView& v) { v.parameters.rotate.iMirrorType = 1; },
        [](PaintedView& v) { v.parameters.color.iMatrix = 1; },
        [](PaintedView& v) { v.surface.size.rheight() += 1; },
        [](PaintedView& v) { v.surface.scale = 2; },
        [](PaintedView& v) { ++v.surface.framebuffer; },
    };
    EXPECT_FALSE(painter.HasShown(view)) << "nothing yet";
    for (const auto& change : changes) {
        PaintedView other = view;
        change(other);
        painter.SetShown(view);
        EXPECT_TRUE(painter.HasShown(view));
        EXPECT_FALSE(painter.HasShown(other)) << &change - changes;
    }
    const std::function<void()> ends[] = {[&] { painter.ForgetShown(); }, [&] { painter.PaintBlack(); },
                                          [&] { painter.Enter(); }, [&] { painter.Free(); }};
    for (const auto& end : ends) {
        painter.SetShown(view);
        end();
        EXPECT_FALSE(painter.HasShown(view)) << &end - ends;
    }
    Surface other = view.surface;
    ++other.framebuffer;
    const auto fill = [&] {
        context.functions()->glClearColor(1, 1, 1, 1);
        context.functions()->glClear(GL_COLOR_BUFFER_BIT);
    };
    const struct {
        bool shown;
        Surface surface;
        bool isKept;
    } pictures[] = {{true, view.surface, true}, {true, other, false}, {false, view.surface, false}};
    for (const auto& p : pictures) {
        painter.ForgetShown();
        if (p.shown) {
            painter.SetShown(view);
        }
        fill();
        painter.KeepPicture(p.surface);
        EXPECT_EQ(IsBlack(), !p.isKept);
    }
}

TEST_F(ContextPart, WhatCannotBeShownIsSaidOnce)
{
    ASSERT_TRUE(target) << "no context";
    constexpr int TooLarge = std::numeric_limits<int>::max();
    const struct {
        int width;
        bool fits;
        size_t said;
    } sizes[] = {
        {16, true, 0}, {TooLarge, false, 1}, {TooLarge, false, 0}, {16, true, 0}, {TooLarge, false, 1}};
    for (const auto& s : sizes) {
        EXPECT_EQ(painter.FitsContext(s.width, 16), s.fits);
        painter.LogFailures();
        EXPECT_EQ(errors.Take().size(), s.said);
    }
    painter.Enter();
    EXPECT_FALSE(painter.FitsContext(16, TooLarge));
    EXPECT_EQ(errors.Take().size(), 0u) << "under whatever lock that is called";
    painter.LogFailures();
    EXPECT_EQ(errors.Take().size(), 1u) << "another context";
    view.parameters.zoom = {0, 0, 1e-300, 1e-300}; // corners beyond all floats
    EXPECT_EQ(Draw(MakePicture(16, 16), 1), ContextPainter::Drawn::Nothing);
}

} // namespace

// The part's log.
void LogError(const char* file, const char* function, int, const char* format, ...)
{
    errors.Add(std::string(file) + "::" + function + ": " + format);
}
