#include "PictureSources.h"

#include "OsCoreApi.h"

#include <QOpenGLShaderProgram>
#include <QOpenGLTexture>

#include <new>
#include <utility>

namespace
{

// Where a texture that cannot be made is said to be: part of the text that log readers know.
struct TextureLocation {
    const char* function;
    int lines[3];
};
constexpr TextureLocation ThreePlaneLocation = {"InitGLYV12", {150, 156, 162}};
constexpr TextureLocation TwoPlaneLocation = {"InitGLNV12", {273, 279, 0}};

} // namespace

void PictureSources::FreeProgram()
{
    FreeProgramAside();
    delete m_fields.program;
    m_fields.program = nullptr;
}

void PictureSources::PutProgramAside()
{
    if (m_fields.program) {
        m_aside = std::exchange(m_fields.program, nullptr);
    }
}

void PictureSources::FreeProgramAside()
{
    delete std::exchange(m_aside, nullptr);
}

PictureTarget PictureSources::TargetOf(TextureStorage storage) const
{
    return {m_fields.program, {m_fields.nameY, m_fields.nameU, m_fields.nameV}, storage};
}

void RespecifiedSources::Build(ContextPainter& painter, const PictureLayout& layout, const PicturePlanes&)
{
    m_fields.program = painter.BuildProgram(layout, PictureProgramKind::FullFrame, m_fields.uniforms);
    m_drawAlpha = m_fields.program->uniformLocation("u_fDrawAlpha");
    unsigned int* const names[] = {&m_fields.nameY, &m_fields.nameU, &m_fields.nameV};
    for (int i = 0; i < layout.PlaneCount(); ++i) {
        QOpenGLTexture*& texture = *m_textures[i];
        texture = new QOpenGLTexture(QOpenGLTexture::Target2D);
        texture->create();
        *names[i] = texture->textureId();
    }
}

void RespecifiedSources::Free()
{
    for (QOpenGLTexture** const texture : m_textures) {
        if (*texture) {
            (*texture)->destroy();
        }
        delete *texture;
        *texture = nullptr;
    }
    FreeProgram();
}

void FixedSources::Build(ContextPainter& painter, const PictureLayout& layout, const PicturePlanes& planes)
{
    FreeProgram();
    m_fields.program = painter.BuildProgram(layout, PictureProgramKind::SubImage, m_fields.uniforms);
    const TextureLocation& location = layout.PlaneCount() == 3 ? ThreePlaneLocation : TwoPlaneLocation;
    for (int i = 0; i < layout.PlaneCount(); ++i) {
        m_textures[i]->reset(new (std::nothrow) QOpenGLTexture(QOpenGLTexture::Target2D));
        if (m_textures[i]->isNull()) {
            LogError("CLS_ShaderYuvSubImage", location.function, location.lines[i],
                     "new QOpenGLTexture faild,can not malloc memory!");
            return;
        }
    }
    unsigned int* const names[] = {&m_fields.nameY, &m_fields.nameU, &m_fields.nameV};
    for (int i = 0; i < layout.PlaneCount(); ++i) {
        *names[i] = AllocatePlane(painter.Profile(), **m_textures[i], planes.plane[i]);
    }
}

bool FixedSources::Serve(int width, int height) const
{
    const Texture& luma = *m_textures[0];
    return luma && luma->width() == width && luma->height() == height;
}

void FixedSources::Free()
{
    for (Texture* const texture : m_textures) {
        texture->reset();
    }
    FreeProgram();
}
