#include "ShaderBaseState.h"

#include "LiveRenderers.h"
#include "OsCoreApi.h"
#include "picture/DisplayGeometry.h"

#include <QMetaMethod>
#include <QMutexLocker>
#include <QOpenGLContext>
#include <QOpenGLShaderProgram>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <utility>

// Sanitized builds see an access behind the frame buffer, which the room for its alignment would hide.
#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, bytes) static_cast<void>(0)
#endif

namespace
{

// Rows of the usual widths then begin where cache lines do: copied past the cache in two thirds of the time.
constexpr size_t CacheLine = 64;

bool SameArea(const tagOvelZoomArea& a, const tagOvelZoomArea& b)
{
    // By bytes, so that an area that is not a number equals itself.
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison)
    return std::memcmp(&a, &b, sizeof(a)) == 0;
}

bool SameRotation(const tagOvelVideoRotate& a, const tagOvelVideoRotate& b)
{
    return a.iDirection == b.iDirection && a.iAngle == b.iAngle && a.iMirrorType == b.iMirrorType;
}

bool SameParameters(const ViewParameters& a, const ViewParameters& b)
{
    return SameArea(a.zoom, b.zoom) && SameArea(a.destination, b.destination) &&
           SameRotation(a.rotate, b.rotate) && IsSameColor(a.color, b.color);
}

} // namespace

bool PaintedView::operator==(const PaintedView& other) const
{
    return displayType == other.displayType && frame == other.frame && overlays == other.overlays &&
           SameParameters(parameters, other.parameters) && size == other.size && scale == other.scale &&
           framebuffer == other.framebuffer;
}

ViewParameters ShaderBaseState::Parameters() const
{
    const std::lock_guard<std::mutex> lock(mutexParameters);
    return {widget.m_stEZoomArea,
            widget.m_stDrawDstNorm,
            {widget.m_nVideoRotateDirection, widget.m_nVideoRotateAngle, widget.mirrorType},
            pictureColor};
}

void ShaderBaseState::ResetZoom()
{
    const std::lock_guard<std::mutex> lock(mutexParameters);
    widget.m_stEZoomArea = WholeArea;
}

void ShaderBaseState::ResetColor()
{
    const std::lock_guard<std::mutex> lock(mutexParameters);
    pictureColor = {};
}

void ShaderBaseState::ResetDestination()
{
    const std::lock_guard<std::mutex> lock(mutexParameters);
    widget.m_stDrawDstNorm = WholeArea;
}

tagOvelZoomArea ShaderBaseState::StoreDestination(const tagQRECT& rect, const QSize& widgetSize)
{
    const std::lock_guard<std::mutex> lock(mutexParameters);
    widget.m_rcDrawDst = QRect(QPoint(rect.left, rect.top), QPoint(rect.right, rect.bottom));
    if (!widgetSize.isEmpty())
        widget.m_stDrawDstNorm = NormaliseRect(rect, widgetSize.width(), widgetSize.height());
    return widget.m_stDrawDstNorm;
}

QSize ShaderBaseState::WidgetSize() const
{
    // A visible widget's size changes on the GUI thread at any moment; event() keeps a copy for the others. A
    // hidden widget is resized without an event, so that only Qt knows its size.
    const qint64 packed = visibleSize;
    if (packed < 0 || repaint.IsGuiThread())
        return widget.size();
    return {static_cast<int>(packed >> 32), static_cast<int>(packed & 0xFFFFFFFF)};
}

void ShaderBaseState::NoteConnection(const QMetaMethod& signal)
{
    // Stays so: Qt does not tell when the last one that listened is deleted.
    if (!signal.isValid() || signal.name() == "signalUpdate")
        updateIsObserved = true;
}

int ShaderBaseState::StoreRecord(const void* pData, int iLen)
{
    if (!pData || iLen < 1)
        return -1;
    const QMutexLocker lock(&widget.m_mutexDrawInfo);
    QVector<__tagQDrawGraphInfo>& records = widget.m_vecDrawGraphInfo;
    records.resize(records.size() + 1); // zero: frames carry records by the thousand, one copy is enough
    __tagQDrawGraphInfo& record = records.last();
    std::memcpy(&record, pData, std::min(static_cast<size_t>(iLen), sizeof(record)));
    ++overlays;
    if (record.iGraphType == OVEL_GRAPH_TEXT)
        hasTexts = true;
    return 0;
}

int ShaderBaseState::RunCallback(unsigned int uiFrameParam, const tagQRECT& rect, OvelDrawToRender sink)
{
    const auto extent = [](int from, int to) {
        return static_cast<int>(
            std::min<int64_t>(std::llabs(static_cast<int64_t>(to) - from), std::numeric_limits<int>::max()));
    };
    __tagQDrawCallbackInfo info = {};
    info.uiFrameParam = uiFrameParam;
    info.iDstWidth = extent(rect.left, rect.right);
    info.iDstHeight = extent(rect.top, rect.bottom);
    info.left = rect.left;
    info.top = rect.top;
    info.right = rect.right;
    info.bottom = rect.bottom;
    info.pfnDrawToRender = sink;
    info.pRender = &widget;
    const DrawCallbackScope scope(&widget);
    return widget.m_pfnDrawCallback(0, &info, static_cast<int>(sizeof(info)), widget.m_pDrawCallbackUser);
}

void ShaderBaseState::ForgetCallback()
{
    const std::lock_guard<std::recursive_mutex> lock(mutexCallback);
    widget.m_pfnDrawCallback = nullptr;
}

bool ShaderBaseState::CanHold(const tagYuvFrameInfo& info)
{
    return info.iWidth >= 1 && info.iHeight >= 1 &&
           PictureBytes(info.iWidth, info.iHeight) <= std::numeric_limits<int>::max();
}

bool ShaderBaseState::RefuseFrame(const tagYuvFrameInfo& info, const char* source)
{
    if (CanHold(info)) {
        refusedFrame = false;
        return false;
    }
    if (!refusedFrame && widget.m_pYuvBuf)
        LogError(source, "ShowYuvFrame", __LINE__, "ShowYuvFrame iWidth = %d iHeight = %d is invalid param",
                 info.iWidth, info.iHeight);
    refusedFrame = widget.m_pYuvBuf != nullptr;
    return true;
}

bool ShaderBaseState::ResetBufferFor(const tagYuvFrameInfo& info)
{
    const bool newLength = info.iDataSize > 0 && info.iDataSize != widget.m_nYuvBufSize;
    const bool newSize = info.iWidth != widget.m_nVideoWidth || info.iHeight != widget.m_nVideoHeight;
    if (widget.m_pYuvBuf && !newLength && !newSize)
        return true;
    const int pictureBytes = static_cast<int>(PictureBytes(info.iWidth, info.iHeight));
    widget.InnerResetYuvBuf(info.iWidth, info.iHeight, std::max(info.iDataSize, pictureBytes));
    // The next frame is compared with what this one declared, not with what it was given.
    widget.m_nYuvBufSize = info.iDataSize;
    return widget.m_pYuvBuf != nullptr;
}

CopiedFrame ShaderBaseState::Copy(const tagYuvFrameInfo& info)
{
    if (info.iDisplayType == OVEL_DISPLAY_NV12) {
        widget.m_pNV12Y = widget.m_pYuvBuf;
        widget.m_pNV12UV = widget.m_pYuvBuf + static_cast<size_t>(widget.m_nVideoWidth) *
                                                  static_cast<size_t>(widget.m_nVideoHeight);
    }
    ++frame;
    const Stores stores = std::exchange(bufferWasRead, false) ? Stores::PastCache : Stores::Cached;
    return CopyFrame(info, widget.m_nVideoWidth, widget.m_nVideoHeight,
                     {widget.m_pYuvBuf, bufferBytes, stores});
}

bool ShaderBaseState::AllocateBuffer(size_t bytes)
{
    size_t room = bytes + CacheLine;
    bufferBlock = std::calloc(room, 1);
    if (!bufferBlock)
        return false;
    void* buffer = bufferBlock;
    widget.m_pYuvBuf = static_cast<uint8_t*>(std::align(CacheLine, bytes, buffer, room));
    bufferBytes = bytes;
    ASAN_POISON_MEMORY_REGION(widget.m_pYuvBuf + bytes, room - bytes);
    return true;
}

void ShaderBaseState::DropBuffer()
{
    std::free(bufferBlock);
    bufferBlock = nullptr;
    widget.m_pYuvBuf = nullptr;
    widget.m_pNV12Y = nullptr;
    widget.m_pNV12UV = nullptr;
    bufferBytes = 0;
    bufferWasRead = false;
    ++frame;
}

void ShaderBaseState::EnterContext(std::function<void()> free)
{
    QOpenGLContext* const context = widget.context();
    gl = GlProfile::OfCurrentContext();
    paintedIsValid = false;
    picturePainter.ForgetUpload();
    refusedSize = false;
    programFailed = false;
    freeSources = std::move(free);
    QObject::disconnect(contextLost);
    contextLost = QObject::connect(
        context, &QOpenGLContext::aboutToBeDestroyed, context, [this] { LeaveContext(); },
        Qt::DirectConnection);
}

void ShaderBaseState::LeaveContext()
{
    QObject::disconnect(contextLost);
    if (!widget.context())
        return;
    widget.makeCurrent();
    if (freeSources)
        freeSources();
    FreeContextObjects();
    widget.doneCurrent();
}

void ShaderBaseState::FreeContextObjects()
{
    overlayPainter.Free();
    picturePainter.Free();
    meshOf = PaintedView();
    paintedIsValid = false;
}

void ShaderBaseState::SetShown(const PaintedView& view)
{
    painted = view;
    paintedIsValid = true;
}

void ShaderBaseState::FillFramebuffer()
{
    const QSize pixels = FramebufferSize();
    widget.glViewport(0, 0, pixels.width(), pixels.height());
}

QSize ShaderBaseState::FramebufferSize() const
{
    return (widget.size() * widget.devicePixelRatioF()).expandedTo(QSize(1, 1));
}

PaintedView ShaderBaseState::CurrentView() const
{
    PaintedView view;
    view.displayType = widget.m_nDisplayType;
    view.frame = frame;
    view.overlays = overlays;
    view.parameters = Parameters();
    view.size = widget.size();
    view.scale = widget.devicePixelRatioF();
    view.framebuffer = widget.defaultFramebufferObject();
    return view;
}

void ShaderBaseState::Clear()
{
    // Alpha 1: bars must not become holes in grabs or translucent windows.
    widget.glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
    widget.glClear(GL_COLOR_BUFFER_BIT);
}

void ShaderBaseState::PaintBlack()
{
    Clear();
    paintedIsValid = false;
}

void ShaderBaseState::KeepPicture()
{
    const PaintedView view = CurrentView();
    const bool sameFramebuffer = paintedIsValid && painted.size == view.size && painted.scale == view.scale &&
                                 painted.framebuffer == view.framebuffer;
    if (!sameFramebuffer)
        PaintBlack();
}

bool ShaderBaseState::FitsContext(int width, int height)
{
    const bool fits = gl.planes && std::max(width, height) <= gl.maxTextureSize;
    if (!fits && !refusedSize)
        LogError("ShaderBaseState", "FitsContext", __LINE__,
                 "a picture of %d x %d cannot be shown here, largest texture %d", width, height,
                 gl.planes ? gl.maxTextureSize : 0);
    refusedSize = !fits;
    return fits;
}

void ShaderBaseState::DrawPicture(QOpenGLShaderProgram& program, const PictureLayout& layout,
                                  const uint8_t* buffer, const unsigned int (&textures)[3],
                                  TextureStorage storage, const float (&vertices)[8],
                                  const tagOvelVideoRotate& rotate)
{
    const int width = widget.m_nVideoWidth;
    const int height = widget.m_nVideoHeight;
    if (!program.isLinked() || !FitsContext(width, height))
        return;
    const PicturePlanes planes = PlanesInBuffer(layout, buffer, width, height);
    if (picturePainter.Upload(gl, planes, textures, storage, frame))
        bufferWasRead = true;
    if (!IsDrawable(vertices))
        return;
    if (!CoversViewport(vertices))
        Clear();
    picturePainter.Draw(gl, layout, Parameters().color, {program, matrixLocation}, vertices, rotate);
    const QString failure = picturePainter.TakeFailure();
    if (!failure.isEmpty())
        LogError("PicturePainter", "Draw", __LINE__, "color program failed, %s", qPrintable(failure));
    pictureDrawn = true;
}

void ShaderBaseState::SetMatrix(QOpenGLShaderProgram& program, const tagOvelVideoRotate& rotate)
{
    if (matrixLocation >= 0)
        program.setUniformValue(matrixLocation, ComputeViewMatrix(rotate));
}

void ShaderBaseState::LoadOverlays(OverlayKinds kinds)
{
    const PaintedView view = CurrentView();
    if (meshOf.overlays == view.overlays && SameParameters(meshOf.parameters, view.parameters) &&
        meshOf.size == view.size && meshOf.scale == view.scale)
        return;
    OverlayView seen;
    seen.mapping = ComputeOverlayMapping(view.size.width(), view.size.height(), view.parameters.zoom);
    seen.rotate = kinds == OverlayKinds::LinesOnly ? tagOvelVideoRotate{} : view.parameters.rotate;
    seen.scale = static_cast<float>(view.scale);
    const QSize pixels = FramebufferSize();
    seen.viewportWidth = static_cast<float>(pixels.width());
    seen.viewportHeight = static_cast<float>(pixels.height());
    {
        const QMutexLocker lock(&widget.m_mutexDrawInfo);
        const QVector<__tagQDrawGraphInfo>& records = widget.m_vecDrawGraphInfo;
        BuildOverlayMesh(records.constData(), static_cast<int>(records.size()), kinds, seen, mesh);
    }
    overlayPainter.Load(gl, mesh);
    const QString failure = overlayPainter.TakeFailure();
    if (!failure.isEmpty())
        LogError("OverlayPainter", "Load", __LINE__, "overlay program failed, %s", qPrintable(failure));
    meshOf = view;
}

QOpenGLShaderProgram* ShaderBaseState::BuildProgram(const PictureLayout& layout, PictureProgramKind kind,
                                                    const PictureUniforms& uniforms, const char* source,
                                                    const char* function)
{
    ShaderProgram built = BuildPictureProgram(gl, layout, kind);
    if (!built.failure.isEmpty() && !programFailed) {
        LogError(source, function, __LINE__, "picture program failed, %s", qPrintable(built.failure));
        programFailed = true;
    }
    QOpenGLShaderProgram& program = *built.program;
    for (int i = 0; i < layout.planes; ++i)
        *uniforms.plane[i] = program.uniformLocation(PlaneSamplers[i]);
    uniforms.drawFlag = program.uniformLocation("u_iDrawFlag");
    uniforms.drawColor = program.uniformLocation("u_vDrawColor");
    matrixLocation = program.uniformLocation("u_Matrix");
    if (BindSamplers(program, layout)) {
        program.setUniformValue(uniforms.drawFlag, 0);
        program.release();
    }
    picturePainter.ForgetUpload(); // the textures are new with the program
    return built.program.release();
}
