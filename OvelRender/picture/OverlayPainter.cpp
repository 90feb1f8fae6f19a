#include "OverlayPainter.h"

#include "FlatProgram.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QOpenGLShaderProgram>

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
    m_runs.clear();
    m_opaqueRuns = 0;
    if (mesh.runs.empty() || !Prepare(profile)) {
        return;
    }
    const auto bytes = [](const OverlayVertices& vertices) {
        return static_cast<int>(vertices.count * sizeof(OverlayVertex));
    };
    m_stream.Load(mesh.quads.storage.data(), bytes(mesh.quads), mesh.lines.storage.data(), bytes(mesh.lines));
    m_quadVertices = static_cast<int>(mesh.quads.count);
    m_runs = mesh.runs;
    m_opaqueRuns = mesh.opaqueRuns;
}

void OverlayPainter::Paint(size_t firstRun, size_t endOfRuns)
{
    m_program->bind();
    {
        VertexStream::Drawing drawing(m_stream, {sizeof(OverlayVertex), 4, GL_UNSIGNED_BYTE, true},
                                      m_quadVertices / 4);
        for (size_t i = firstRun; i < endOfRuns; ++i) {
            const OverlayRun& run = m_runs[i];
            if (run.lines) {
                drawing.Lines(m_quadVertices + run.first, run.count);
            } else {
                drawing.Quads(run.first, run.count);
            }
        }
    }
    m_program->release();
}

void OverlayPainter::PaintOpaque()
{
    if (m_opaqueRuns > 0) {
        Paint(0, m_opaqueRuns);
    }
}

void OverlayPainter::PaintTranslucent()
{
    if (m_runs.size() == m_opaqueRuns) {
        return;
    }
    QOpenGLFunctions& gl = *QOpenGLContext::currentContext()->functions();
    gl.glEnable(GL_BLEND);
    // The picture's own alpha stays 1, so that a grab or a translucent window does not shine through the
    // blend.
    gl.glBlendFuncSeparate(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    Paint(m_opaqueRuns, m_runs.size());
    gl.glDisable(GL_BLEND);
}

void OverlayPainter::Free()
{
    m_program.reset();
    m_stream.Free();
    m_runs.clear();
    m_opaqueRuns = 0;
}

QString OverlayPainter::TakeFailure()
{
    return std::exchange(m_failure, QString());
}
