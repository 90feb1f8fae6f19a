#include "PicturePainter.h"

#include "DisplayGeometry.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QOpenGLShaderProgram>

#include <algorithm>

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

// A program that does nothing but show the picture, where it gives the same pixels as the renderer's.
bool PicturePainter::BindOwnProgram(const GlProfile& profile, const PictureLayout& layout)
{
    if (!profile.fullPrecision)
        return false;
    if (m_own && m_ownType == layout.displayType)
        return m_own->program->bind();
    m_own = std::make_unique<ShaderProgram>(
        BuildPictureProgram(profile, layout, PictureProgramKind::PictureOnly));
    m_ownType = layout.displayType;
    return BindSamplers(*m_own->program, layout);
}

void PicturePainter::Draw(const GlProfile& profile, const PictureLayout& layout,
                          const RendererProgram& renderer, const float (&vertices)[8],
                          const tagOvelVideoRotate& rotate)
{
    if (BindOwnProgram(profile, layout)) {
        DrawQuad(vertices, rotate);
    } else {
        renderer.program.bind();
        if (renderer.matrixLocation >= 0)
            renderer.program.setUniformValue(renderer.matrixLocation, ComputeViewMatrix(rotate));
        DrawQuad(vertices, {});
    }
    QOpenGLContext::currentContext()->functions()->glUseProgram(0);
}

void PicturePainter::DrawQuad(const float (&vertices)[8], const tagOvelVideoRotate& rotate)
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

void PicturePainter::Free()
{
    m_uploaded = 0;
    m_own.reset();
    m_stream.Free();
    m_isLoaded = false;
}
