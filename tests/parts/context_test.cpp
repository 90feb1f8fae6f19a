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

using namespace OvelTest;

namespace
{

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
        view.displayType = Yv12;
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
    }

    PictureTarget Target(const tagOvelVideoRotate& rotate = {})
    {
        return {program.get(),
                {textures[0], textures[1], textures[2]},
                TextureStorage::Respecified,
                view.parameters.destination,
                rotate};
    }
    ContextPainter::Drawn Draw(const Picture& picture, quint64 serial)
    {
        const std::vector<uint8_t> bytes = BufferBytes(picture, layout.displayType);
        return painter.DrawPicture(Target(view.parameters.rotate), layout,
                                   PlanesInBuffer(layout, bytes.data(), picture.width, picture.height),
                                   serial, view.parameters);
    }
    QImage Shown() const { return target->toImage(); }
    bool IsBlack() const { return bool(ShowsCanvas(Shown(), Canvas(target->size()), 0)); }

    QOffscreenSurface offscreen;
    QOpenGLContext context;
    std::unique_ptr<QOpenGLFramebufferObject> target;
    unsigned int textures[3] = {};
    const PictureLayout& layout = LayoutOf(Yv12);
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
    const Picture picture = MakePicture(30, 20);
    const std::vector<__tagQDrawGraphInfo> records = {
        Graph(OVEL_GRAPH_POLYLINE, 0x3050F0, 4, {{5, 5}, {50, 30}}),
        Graph(OVEL_GRAPH_FILLED, 0x20C040, 1, {{30, 5}, {55, 5}, {55, 20}, {30, 20}}, 0.5f)};
    const QVector<__tagQDrawGraphInfo> list(records.begin(), records.end());
    View expected;
    expected.widget = expected.device = target->size();
    expected.zoom = {0.25, 0, 0.75, 1};
    expected.destination = {0.25, 0.25, 0.75, 1};
    expected.direction = expected.mirror = 1;
    expected.angle = 90;
    view.parameters = {expected.zoom, expected.destination, {1, 90, 1}, {}};
    painter.FillFramebuffer(view.surface);
    EXPECT_EQ(Draw(picture, 1), ContextPainter::Drawn::Uploaded);
    EXPECT_EQ(Draw(picture, 1), ContextPainter::Drawn::Again);
    Canvas canvas = RenderPicture(picture, Yv12, expected);
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

} // namespace

// The part's log: nothing here fails.
void LogError(const char*, const char* function, int, const char* format, ...)
{
    ADD_FAILURE() << function << ": " << format;
}
