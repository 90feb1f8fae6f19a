// What lives with a GL context: pictures, overlays and what is on the screen, in a framebuffer object without
// a window.
#include "OsCoreApi.h"
#include "parts/PictureSources.h"
#include "picture/DisplayGeometry.h"

#include "Harness.h"

#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFramebufferObject>
#include <QOpenGLFunctions>

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
        view.displayType = Yv12;
        view.frame = 1;
        view.overlays = 1;
        view.surface = {target->size(), 1, target->handle()};
    }
    ~ContextPart() override
    {
        painter.Free();
        target.reset();
    }

    PicturePlanes Planes() const
    {
        return PlanesInBuffer(layout, bytes.data(), picture.width, picture.height);
    }
    ContextPainter::Drawn Draw(const PictureSources& sources)
    {
        PictureTarget drawn = sources.Target();
        drawn.destination = view.parameters.destination;
        drawn.rotate = view.parameters.rotate;
        return painter.DrawPicture(drawn, layout, Planes(), 1, view.parameters);
    }
    QImage Shown() const { return target->toImage(); }

    QOffscreenSurface offscreen;
    QOpenGLContext context;
    std::unique_ptr<QOpenGLFramebufferObject> target;
    const PictureLayout& layout = LayoutOf(Yv12);
    const Picture picture = MakePicture(30, 20);
    const std::vector<uint8_t> bytes = BufferBytes(picture, Yv12);
    int location[6] = {-7, -7, -7, -7, -7, -7};
    unsigned int name[3] = {};
    QOpenGLShaderProgram* program = nullptr;
    const SourceFields fields = {
        program, name[0], name[1], name[2],
        PictureUniforms{{&location[0], &location[1], &location[2]}, location[3], location[4]}};
    QOpenGLTexture* owned[3] = {};
    FixedSources::Texture shared[3];
    RespecifiedSources respecified{fields, owned[0], owned[1], owned[2], location[5]};
    FixedSources fixed{fields, shared[0], shared[1], shared[2]};
    ContextPainter painter;
    PaintedView view;
};

TEST_F(ContextPart, PictureAndOverlaysAsTheViewSays)
{
    ASSERT_TRUE(target) << "no context";
    const std::vector<__tagQDrawGraphInfo> records = {
        Graph(OVEL_GRAPH_POLYLINE, 0x3050F0, 4, {{5, 5}, {50, 30}}),
        Graph(OVEL_GRAPH_FILLED, 0x20C040, 1, {{30, 5}, {55, 5}, {55, 20}, {30, 20}}, 0.5f)};
    const QVector<__tagQDrawGraphInfo> list(records.begin(), records.end());
    View expected;
    expected.widget = expected.device = target->size();
    expected.zoom = {0.25, 0, 0.75, 1};
    expected.destination = {0.25, 0.25, 0.75, 1};
    PictureSources* const both[] = {&fixed, &respecified};
    for (PictureSources* const sources : both) {
        if (sources == &respecified) { // the other one's program knows no turns
            expected.direction = expected.mirror = 1;
            expected.angle = 90;
        }
        const tagOvelVideoRotate rotate{expected.direction, expected.angle, expected.mirror};
        view.parameters = {expected.zoom, expected.destination, rotate, {}};
        sources->Build(painter, layout, Planes());
        ASSERT_TRUE(program);
        EXPECT_TRUE(sources->Serve(30, 20));
        EXPECT_EQ(sources->Serve(32, 20), sources == &respecified);
        painter.FillFramebuffer(view.surface);
        EXPECT_EQ(Draw(*sources), ContextPainter::Drawn::Uploaded);
        EXPECT_EQ(Draw(*sources), ContextPainter::Drawn::Again);
        Canvas canvas = RenderPicture(picture, Yv12, expected);
        EXPECT_TRUE(ShowsCanvas(Shown(), canvas));
        painter.MeshOverlays(list, OverlayKinds::LinesAndShapes, view);
        painter.MeshOverlays({}, OverlayKinds::LinesAndShapes, view); // is of this view already
        painter.PaintOpaqueOverlays();
        painter.PaintTranslucentOverlays();
        DrawOverlays(canvas, records, expected, false);
        EXPECT_TRUE(ShowsCanvas(Shown(), canvas));
        painter.Free(); // with all that was meshed
        EXPECT_EQ(Draw(*sources), ContextPainter::Drawn::Uploaded);
        painter.PaintBlack();
        painter.MeshOverlays(list, OverlayKinds::LinesAndShapes, view);
        painter.PaintOpaqueOverlays();
        EXPECT_FALSE(ShowsCanvas(Shown(), Canvas(target->size()), 0)) << "black";
        painter.Free();
        sources->Free();
        EXPECT_FALSE(program || owned[0] || shared[0]);
    }
    for (const int written : location) {
        EXPECT_NE(written, -7);
    }
}

} // namespace

// The part's log: nothing here fails.
void LogError(const char*, const char* function, int, const char* format, ...)
{
    ADD_FAILURE() << function << ": " << format;
}
