#include "PicturePainter.h"

#include "DisplayGeometry.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QOpenGLShaderProgram>

#include <utility>

bool PicturePainter::Upload(const GlProfile& profile, const PicturePlanes& planes,
                            const unsigned int (&textures)[3], TextureStorage storage, quint64 serial)
{
    const QSize size(planes.plane[0].width, planes.plane[0].height);
    if (m_uploaded == serial && m_uploadedSize == size) {
        BindPlanes(planes.count, textures);
        return false;
    }
    const bool storageFits = storage == TextureStorage::Fixed || (m_uploaded != 0 && m_uploadedSize == size);
    UploadPlanes(profile, planes, textures, storageFits ? ::Upload::Update : ::Upload::Replace);
    m_uploaded = serial;
    m_uploadedSize = size;
    return true;
}

// A program that does nothing but show the picture: that of a described colour, or one that gives the same
// pixels as the renderer's.
bool PicturePainter::BindOwnProgram(const GlProfile& profile, const PictureLayout& layout,
                                    const tagOvelColor& color)
{
    const bool isPlain = IsPlainColor(color);
    if (isPlain && !profile.fullPrecision) {
        return false;
    }
    if (m_own && m_ownType == layout.displayType && IsSameColor(m_ownColor, color)) {
        return m_own->program->isLinked() && m_own->program->bind();
    }
    m_own = std::make_unique<ShaderProgram>(
        isPlain ? BuildPictureProgram(profile, layout, PictureProgramKind::PictureOnly)
                : BuildColorProgram(profile, layout, color));
    m_ownType = layout.displayType;
    m_ownColor = color;
    m_failure = isPlain ? QString() : m_own->failure;
    return BindSamplers(*m_own->program, layout);
}

void PicturePainter::Draw(const GlProfile& profile, const PictureLayout& layout, const tagOvelColor& color,
                          const RendererProgram& renderer, const float (&vertices)[8],
                          const tagOvelVideoRotate& rotate)
{
    const ChromaSpan chroma =
        ChromaSpanOf(color.iChromaSiting, m_uploadedSize.width(), m_uploadedSize.height());
    if (BindOwnProgram(profile, layout, color)) {
        DrawQuad(vertices, rotate, chroma);
    } else {
        renderer.program.bind();
        if (renderer.matrixLocation >= 0) {
            renderer.program.setUniformValue(renderer.matrixLocation, ComputeViewMatrix(rotate));
        }
        DrawQuad(vertices, {}, chroma);
    }
    QOpenGLContext::currentContext()->functions()->glUseProgram(0);
}

void PicturePainter::DrawQuad(const float (&vertices)[8], const tagOvelVideoRotate& rotate,
                              const ChromaSpan& chroma)
{
    // Position, luma coordinates, chroma coordinates: programs that know one pair take the luma's for both.
    const QMatrix4x4 turn = ComputeViewMatrix(rotate);
    std::array<float, 24> quad;
    float* next = quad.data();
    for (int i = 0; i < 8; i += 2) {
        const bool isRight = i % 4 == 2;
        const bool isTop = i >= 4;
        *next++ = turn(0, 0) * vertices[i] + turn(0, 1) * vertices[i + 1];
        *next++ = turn(1, 0) * vertices[i] + turn(1, 1) * vertices[i + 1];
        *next++ = isRight ? 1.0f : 0.0f;
        *next++ = isTop ? 0.0f : 1.0f;
        *next++ = isRight ? chroma.right : chroma.left;
        *next++ = isTop ? chroma.top : chroma.bottom;
    }
    if (!m_isLoaded || quad != m_loaded) {
        m_stream.Load(quad.data(), sizeof(quad));
        m_loaded = quad;
        m_isLoaded = true;
    }
    VertexStream::Drawing(m_stream, {6 * sizeof(float), 4, GL_FLOAT, false}, 0).Strip(4);
}

void PicturePainter::Free()
{
    m_uploaded = 0;
    m_own.reset();
    m_stream.Free();
    m_isLoaded = false;
}

QString PicturePainter::TakeFailure()
{
    return std::exchange(m_failure, QString());
}
