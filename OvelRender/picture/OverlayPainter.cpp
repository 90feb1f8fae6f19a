#include "OverlayPainter.h"

#include "FlatProgram.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QOpenGLShaderProgram>

#include <algorithm>
#include <limits>
#include <utility>

OverlayPainter::OverlayPainter() = default;
OverlayPainter::~OverlayPainter() = default;

bool OverlayPainter::Prepare(const GlProfile& profile)
{
    if (!m_program) {
        ShaderProgram built = BuildFlatProgram(profile);
        m_program = std::move(built.program);
        m_failure = built.failure;
    }
    return m_program->isLinked();
}

void OverlayPainter::Load(const GlProfile& profile, const OverlayMesh& mesh)
{
    m_opaque = m_translucent = 0;
    if (mesh.count == 0 || !Prepare(profile))
        return;
    // GL takes the size as an int; what lies beyond is not shown.
    constexpr size_t most = std::numeric_limits<int>::max() / sizeof(OverlayVertex) / 4 * 4;
    const size_t count = std::min(mesh.count, most);
    m_opaque = static_cast<int>(std::min(mesh.opaque, count));
    m_translucent = static_cast<int>(count) - m_opaque;
    m_stream.Load(mesh.vertices.data(), static_cast<int>(count * sizeof(OverlayVertex)));
}

void OverlayPainter::Paint(int first, int count)
{
    m_program->bind();
    m_stream.DrawQuads({sizeof(OverlayVertex), 4, GL_UNSIGNED_BYTE, true}, first, count);
    m_program->release();
}

void OverlayPainter::PaintOpaque()
{
    if (m_opaque > 0)
        Paint(0, m_opaque);
}

void OverlayPainter::PaintTranslucent()
{
    if (m_translucent == 0)
        return;
    QOpenGLFunctions& gl = *QOpenGLContext::currentContext()->functions();
    gl.glEnable(GL_BLEND);
    // The picture's own alpha stays 1, so that a grab or a translucent window does not shine through the
    // blend.
    gl.glBlendFuncSeparate(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    Paint(m_opaque, m_translucent);
    gl.glDisable(GL_BLEND);
}

void OverlayPainter::Free()
{
    m_program.reset();
    m_stream.Free();
    m_opaque = m_translucent = 0;
}

QString OverlayPainter::TakeFailure()
{
    return std::exchange(m_failure, QString());
}
