#include "ContextPainter.h"

#include "OsCoreApi.h"
#include "picture/DisplayGeometry.h"

#include <QGuiApplication>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QOpenGLShaderProgram>

#include <algorithm>
#include <utility>

bool PaintedView::operator==(const PaintedView& other) const
{
    return displayType == other.displayType && frame == other.frame && overlays == other.overlays &&
           parameters == other.parameters && surface == other.surface;
}

void ContextPainter::Enter()
{
    m_functions = QOpenGLContext::currentContext()->functions();
    m_profile = GlProfile::OfCurrentContext();
    m_paintedIsValid = false;
    m_picturePainter.ForgetUpload();
    m_refusedSize = false;
    m_programFailed = false;
}

void ContextPainter::Free()
{
    m_overlayPainter.Free();
    m_picturePainter.Free();
    m_meshOf = PaintedView();
    m_paintedIsValid = false;
}

void ContextPainter::ReportMissing(const QSurfaceFormat& asked)
{
    if (m_isMissingSaid) {
        return;
    }
    m_isMissingSaid = true;
    const QString made =
        QOpenGLContext().create()
            ? QStringLiteral("none of version %1.%2").arg(asked.majorVersion()).arg(asked.minorVersion())
            : QStringLiteral("none at all");
    LogError("ContextPainter", __func__, __LINE__,
             "no OpenGL context for this renderer, nothing is shown: platform %s makes %s",
             qPrintable(QGuiApplication::platformName()), qPrintable(made));
}

void ContextPainter::SetShown(const PaintedView& view)
{
    m_painted = view;
    m_paintedIsValid = true;
}

void ContextPainter::Clear()
{
    // Alpha 1: bars must not become holes in grabs or translucent windows.
    m_functions->glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
    m_functions->glClear(GL_COLOR_BUFFER_BIT);
}

void ContextPainter::PaintBlack()
{
    Clear();
    m_paintedIsValid = false;
}

void ContextPainter::KeepPicture(const Surface& surface)
{
    if (!m_paintedIsValid || !(m_painted.surface == surface)) {
        PaintBlack();
    }
}

void ContextPainter::FillFramebuffer(const Surface& surface)
{
    const QSize pixels = surface.Pixels();
    m_functions->glViewport(0, 0, pixels.width(), pixels.height());
}

void ContextPainter::LogFailures()
{
    for (const Failure& failure : std::exchange(m_failures, {})) {
        LogError("ContextPainter", failure.function, failure.line, "%s", qPrintable(failure.text));
    }
}

QOpenGLShaderProgram* ContextPainter::BuildProgram(const PictureLayout& layout, PictureProgramKind kind,
                                                   const PictureUniforms& uniforms)
{
    ShaderProgram built = BuildPictureProgram(m_profile, layout, kind);
    if (!built.failure.isEmpty() && !m_programFailed) {
        m_failures.push_back({__func__, __LINE__, QLatin1String("picture program failed, ") + built.failure});
        m_programFailed = true;
    }
    QOpenGLShaderProgram& program = *built.program;
    for (int i = 0; i < layout.PlaneCount(); ++i) {
        *uniforms.plane[i] = program.uniformLocation(PlaneSamplers[i]);
    }
    uniforms.drawFlag = program.uniformLocation("u_iDrawFlag");
    uniforms.drawColor = program.uniformLocation("u_vDrawColor");
    m_matrixLocation = program.uniformLocation("u_Matrix");
    if (BindSamplers(program, layout)) {
        program.setUniformValue(uniforms.drawFlag, 0);
        program.release();
    }
    m_picturePainter.ForgetUpload(); // the textures are new with the program
    return built.program.release();
}

void ContextPainter::SetMatrix(QOpenGLShaderProgram* program, const tagOvelVideoRotate& rotate)
{
    if (program && m_matrixLocation >= 0 && program->bind()) {
        program->setUniformValue(m_matrixLocation, ComputeViewMatrix(rotate));
        program->release();
    }
}

bool ContextPainter::FitsContext(int width, int height)
{
    const bool fits = m_profile.planes && std::max(width, height) <= m_profile.maxTextureSize;
    if (!fits && !m_refusedSize) {
        m_failures.push_back(
            {__func__, __LINE__,
             QString::asprintf("a picture of %d x %d cannot be shown here, largest texture %d", width, height,
                               m_profile.planes ? m_profile.maxTextureSize : 0)});
    }
    m_refusedSize = !fits;
    return fits;
}

ContextPainter::Drawn ContextPainter::DrawPicture(const PictureTarget& target, const PictureLayout& layout,
                                                  const PicturePlanes& planes, quint64 serial,
                                                  const ViewParameters& view)
{
    const Plane& luma = planes.plane[0];
    if (!target.program->isLinked() || !FitsContext(luma.width, luma.height)) {
        return Drawn::Nothing;
    }
    const bool isUploaded =
        m_picturePainter.Upload(m_profile, planes, target.textures, target.storage, serial);
    float vertices[8] = {};
    ComputeQuad(target.destination, view.zoom, vertices);
    if (!IsDrawable(vertices)) {
        return Drawn::Nothing;
    }
    if (!CoversViewport(vertices)) {
        Clear();
    }
    m_picturePainter.Draw(m_profile, layout, view.color, {*target.program, m_matrixLocation}, vertices,
                          target.rotate);
    const QString failure = m_picturePainter.TakeFailure();
    if (!failure.isEmpty()) {
        m_failures.push_back({__func__, __LINE__, QLatin1String("color program failed, ") + failure});
    }
    return isUploaded ? Drawn::Uploaded : Drawn::Again;
}

void ContextPainter::MeshOverlays(const QVector<__tagQDrawGraphInfo>& records, OverlayKinds kinds,
                                  const PaintedView& view)
{
    if (m_meshOf.overlays == view.overlays && m_meshOf.parameters == view.parameters &&
        m_meshOf.surface == view.surface) {
        return;
    }
    OverlayView seen;
    const QSize size = view.surface.size;
    seen.mapping = ComputeOverlayMapping(size.width(), size.height(), view.parameters.zoom);
    seen.rotate = kinds == OverlayKinds::LinesOnly ? tagOvelVideoRotate{} : view.parameters.rotate;
    seen.scale = static_cast<float>(view.surface.scale);
    const QSize pixels = view.surface.Pixels();
    seen.viewportWidth = static_cast<float>(pixels.width());
    seen.viewportHeight = static_cast<float>(pixels.height());
    BuildOverlayMesh(records.constData(), static_cast<int>(records.size()), kinds, seen, m_mesh);
    m_meshOf = view;
    m_meshIsLoaded = false;
}

void ContextPainter::LoadMesh()
{
    if (m_meshIsLoaded) {
        return;
    }
    m_overlayPainter.Load(m_profile, m_mesh);
    m_meshIsLoaded = true;
    const QString failure = m_overlayPainter.TakeFailure();
    if (!failure.isEmpty()) {
        m_failures.push_back({__func__, __LINE__, QLatin1String("overlay program failed, ") + failure});
    }
}

void ContextPainter::PaintOpaqueOverlays()
{
    LoadMesh();
    m_overlayPainter.PaintOpaque();
}

void ContextPainter::PaintTranslucentOverlays()
{
    LoadMesh();
    m_overlayPainter.PaintTranslucent();
}
