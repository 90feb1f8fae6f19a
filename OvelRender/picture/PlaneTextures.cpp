#include "PlaneTextures.h"

#include "DisplayGeometry.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QOpenGLShaderProgram>
#include <QOpenGLTexture>

#include <algorithm>

namespace
{

const uint8_t NeutralChroma[2] = {128, 128};

// A picture one sample wide or high has no chroma: it is grey, not green.
Plane ChromaPlane(const uint8_t* data, int width, int height, bool redGreen, int pitch)
{
    if (width < 1 || height < 1)
        return {NeutralChroma, 1, 1, redGreen, redGreen ? 2 : 1};
    return {data, width, height, redGreen, pitch};
}

const PlaneFormat& FormatOf(const GlProfile& profile, const Plane& plane)
{
    return plane.redGreen ? profile.redGreen : profile.red;
}

void SetFilters(QOpenGLFunctions& gl)
{
    gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
}

bool IsTight(const Plane& plane)
{
    return plane.pitch == plane.width * (plane.redGreen ? 2 : 1);
}

// Writes the rows into the bound texture. An NV12 chroma row of an odd width ends with half a pair, which GL
// cannot skip: such rows go one by one.
void WriteRows(QOpenGLFunctions& gl, const Plane& plane, const PlaneFormat& format)
{
    const int rows = IsTight(plane) ? plane.height : 1;
    for (int row = 0; row < plane.height; row += rows)
        gl.glTexSubImage2D(GL_TEXTURE_2D, 0, 0, row, plane.width, rows, format.external, GL_UNSIGNED_BYTE,
                           plane.data + static_cast<ptrdiff_t>(row) * plane.pitch);
}

} // namespace

PicturePlanes ThreePlanes(const uint8_t* buffer, int width, int height)
{
    const size_t luma = static_cast<size_t>(width) * static_cast<size_t>(height);
    return {{{buffer, width, height, false, width},
             ChromaPlane(buffer + luma, width / 2, height / 2, false, width / 2),
             ChromaPlane(buffer + 5 * luma / 4, width / 2, height / 2, false, width / 2)},
            3};
}

PicturePlanes Nv12Planes(const uint8_t* luma, const uint8_t* chroma, int width, int height)
{
    return {
        {{luma, width, height, false, width}, ChromaPlane(chroma, width / 2, height / 2, true, width), {}},
        2};
}

unsigned int AllocatePlane(const GlProfile& profile, QOpenGLTexture& texture, const Plane& plane)
{
    texture.setSize(plane.width, plane.height, 1);
    texture.setMinMagFilters(QOpenGLTexture::LinearMipMapLinear, QOpenGLTexture::Linear);
    texture.create();
    if (profile.sizedStorage) {
        texture.setFormat(plane.redGreen ? QOpenGLTexture::RG8_UNorm : QOpenGLTexture::R8_UNorm);
        texture.allocateStorage();
        return texture.textureId();
    }
    const PlaneFormat& format = FormatOf(profile, plane);
    QOpenGLFunctions& gl = *QOpenGLContext::currentContext()->functions();
    gl.glBindTexture(GL_TEXTURE_2D, texture.textureId());
    gl.glTexImage2D(GL_TEXTURE_2D, 0, format.internal, plane.width, plane.height, 0, format.external,
                    GL_UNSIGNED_BYTE, nullptr);
    return texture.textureId();
}

void UploadPlanes(const GlProfile& profile, const PicturePlanes& planes, const unsigned int (&textures)[3],
                  Upload upload)
{
    QOpenGLFunctions& gl = *QOpenGLContext::currentContext()->functions();
    // Rows of any width are packed; the default of 4 would slant pictures whose width is no multiple of 4.
    gl.glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    for (int i = 0; i < planes.count; ++i) {
        const Plane& plane = planes.plane[i];
        const PlaneFormat& format = FormatOf(profile, plane);
        gl.glActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(i));
        gl.glBindTexture(GL_TEXTURE_2D, textures[i]);
        if (upload == Upload::Replace)
            gl.glTexImage2D(GL_TEXTURE_2D, 0, format.internal, plane.width, plane.height, 0, format.external,
                            GL_UNSIGNED_BYTE, IsTight(plane) ? plane.data : nullptr);
        if (upload == Upload::Update || !IsTight(plane))
            WriteRows(gl, plane, format);
        SetFilters(gl);
    }
}

void BindPlanes(int count, const unsigned int (&textures)[3])
{
    QOpenGLFunctions& gl = *QOpenGLContext::currentContext()->functions();
    for (int i = 0; i < count; ++i) {
        gl.glActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(i));
        gl.glBindTexture(GL_TEXTURE_2D, textures[i]);
    }
}

PictureQuad::PictureQuad() = default;
PictureQuad::~PictureQuad() = default;

bool PictureQuad::BindProgram(const GlProfile& profile, YuvLayout layout)
{
    if (!profile.fullPrecision)
        return false;
    if (!m_program || m_layout != layout) {
        m_program.reset(BuildYuvProgram(profile, layout, YuvProgramKind::PictureOnly).program);
        m_layout = layout;
        if (m_program->bind()) {
            m_program->setUniformValue("tex_y", 0);
            m_program->setUniformValue("tex_u", 1);
            if (layout == YuvLayout::ThreePlanes)
                m_program->setUniformValue("tex_v", 2);
        }
    }
    return m_program->bind();
}

void PictureQuad::Draw(const float (&vertices)[8], const tagOvelVideoRotate& rotate)
{
    const QMatrix4x4 turn = ComputeViewMatrix(rotate);
    float v[8];
    for (int i = 0; i < 8; i += 2) {
        v[i] = turn(0, 0) * vertices[i] + turn(0, 1) * vertices[i + 1];
        v[i + 1] = turn(1, 0) * vertices[i] + turn(1, 1) * vertices[i + 1];
    }
    if (!m_isLoaded || !std::equal(v, v + 8, m_loaded)) {
        const float quad[16] = {v[0], v[1], 0, 1, v[2], v[3], 1, 1, v[4], v[5], 0, 0, v[6], v[7], 1, 0};
        m_stream.Load(quad, sizeof(quad));
        std::copy(v, v + 8, m_loaded);
        m_isLoaded = true;
    }
    m_stream.DrawStrip({4 * sizeof(float), 2, GL_FLOAT, false}, 4);
}

void PictureQuad::Free()
{
    m_program.reset();
    m_stream.Free();
    m_isLoaded = false;
}
