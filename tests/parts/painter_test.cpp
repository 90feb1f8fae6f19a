// The painter of pictures alone: fields of its own, a context without a window, a framebuffer object.
#include "picture/PicturePainter.h"

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

class PainterTest : public testing::Test
{
protected:
    PainterTest()
    {
        surface.create();
        if (!context.create() || !context.makeCurrent(&surface)) {
            return;
        }
        profile = GlProfile::OfCurrentContext();
        target = std::make_unique<QOpenGLFramebufferObject>(QSize(60, 40));
        context.functions()->glGenTextures(3, textures);
    }
    ~PainterTest() override
    {
        if (!target) {
            return;
        }
        context.functions()->glDeleteTextures(3, textures);
        painter.Free();
        target.reset();
        context.doneCurrent();
    }

    QImage Paint(const Picture& picture, int type, const tagOvelColor& color, quint64 serial, bool uploads)
    {
        const PictureLayout& layout = LayoutOf(type);
        const std::vector<uint8_t> bytes = BufferBytes(picture, type);
        const PicturePlanes planes = PlanesInBuffer(layout, bytes.data(), picture.width, picture.height);
        const ShaderProgram renderer = BuildPictureProgram(profile, layout, PictureProgramKind::SubImage);
        EXPECT_TRUE(renderer.failure.isEmpty());
        EXPECT_TRUE(BindSamplers(*renderer.program, layout));
        target->bind();
        context.functions()->glViewport(0, 0, target->width(), target->height());
        EXPECT_EQ(painter.Upload(profile, planes, textures, TextureStorage::Respecified, serial), uploads);
        float corners[8] = {};
        ComputeQuad(WholeArea, WholeArea, corners);
        painter.Draw(profile, layout, color, {*renderer.program, -1}, corners, {});
        EXPECT_TRUE(painter.TakeFailure().isEmpty());
        return target->toImage();
    }

    QOffscreenSurface surface;
    QOpenGLContext context;
    GlProfile profile;
    std::unique_ptr<QOpenGLFramebufferObject> target;
    unsigned int textures[3] = {};
    PicturePainter painter;
};

TEST_F(PainterTest, ShowsWhatWasUploaded)
{
    ASSERT_TRUE(target) << "no context";
    quint64 serial = 0;
    for (const int type : {OVEL_DISPLAY_YV12, OVEL_DISPLAY_NV12}) {
        painter.ForgetUpload(); // other formats
        for (const QSize& size : {QSize(30, 20), QSize(17, 9), QSize(30, 20)}) {
            for (const tagOvelColor& color : {tagOvelColor{0, 0, 0}, tagOvelColor{2, 1, 1}}) {
                const Picture picture = MakePicture(size.width(), size.height(), static_cast<int>(serial));
                View view;
                view.widget = view.device = target->size();
                view.color = color;
                const Canvas expected = RenderPicture(picture, type, view);
                EXPECT_TRUE(ShowsCanvas(Paint(picture, type, color, ++serial, true), expected));
                EXPECT_TRUE(ShowsCanvas(Paint(picture, type, color, serial, false), expected));
            }
        }
    }
    painter.ForgetUpload();
    Paint(MakePicture(30, 20), OVEL_DISPLAY_NV12, {0, 0, 0}, serial, true);
}

} // namespace
