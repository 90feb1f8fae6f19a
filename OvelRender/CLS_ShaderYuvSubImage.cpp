#include "CLS_ShaderYuvSubImage.h"

#include "Guarded.h"
#include "LiveRenderers.h"
#include "OsCoreApi.h"
#include "ShaderBaseState.h"
#include "picture/DisplayGeometry.h"

#include <QMutexLocker>
#include <QOpenGLContext>
#include <QOpenGLShaderProgram>
#include <QOpenGLTexture>

#include <cstdlib>
#include <new>

namespace
{

constexpr int NoPicture = -1;
constexpr int DisplayTypeDxgl = 6; // shown from elsewhere: paints its overlays without a buffer

// The line number is part of the text that log readers know.
bool NewTexture(QSharedPointer<QOpenGLTexture>& texture, const char* function, int line)
{
    texture.reset(new (std::nothrow) QOpenGLTexture(QOpenGLTexture::Target2D));
    if (!texture)
        LogError("CLS_ShaderYuvSubImage", function, line, "new QOpenGLTexture faild,can not malloc memory!");
    return !texture.isNull();
}

bool Holds(const QSharedPointer<QOpenGLTexture>& texture, int width, int height)
{
    return texture && texture->width() == width && texture->height() == height;
}

} // namespace

CLS_ShaderYuvSubImage::CLS_ShaderYuvSubImage()
    : CLS_ShaderBase(nullptr), m_nLocTexY(0), m_nLocTexU(0), m_nLocTexV(0), m_nLocDrawFlag(0),
      m_nLocDrawColor(0), m_nTexIdY(0), m_nTexIdU(0), m_nTexIdV(0), m_blDestroyed(false),
      m_pShaderProgram(nullptr), m_blBlockFrame(false), m_uiDrawFrameParam(0)
{
    connect(this, &QObject::destroyed, this, &CLS_ShaderYuvSubImage::onDestroyed);
    // Direct, because the request itself crosses to the GUI thread, and does so without an allocation.
    connect(
        this, &CLS_ShaderYuvSubImage::signalUpdate, this, [this] { m_pState->RequestRepaint(); },
        Qt::DirectConnection);
    m_pState->updateIsObserved = false;
    m_nDisplayType = NoPicture;
    api_sdk_log_msg("CreateShader CLS_ShaderYuvSubImage.");
}

CLS_ShaderYuvSubImage::~CLS_ShaderYuvSubImage()
{
    RetireLiveRenderer(this);
    onDestroyed(this);
    disconnect(this, &QObject::destroyed, this, &CLS_ShaderYuvSubImage::onDestroyed);
    // A context that is gone took the GL objects along; one that is here must not call back into this object
    // later.
    m_pState->LeaveContext();
    CLS_ShaderYuvSubImage::Release();
}

void CLS_ShaderYuvSubImage::initializeGL()
{
    Guarded(0, [&] {
        const QMutexLocker lock(&m_mutexYuvBuf);
        initializeOpenGLFunctions();
        m_pState->EnterContext([this] {
            m_spTextureV.reset();
            m_spTextureU.reset();
            m_spTextureY.reset();
            delete m_pShaderProgram;
            m_pShaderProgram = nullptr;
            m_bGLInited = false;
        });
        InnerFreeSource();
        return 0;
    });
}

void CLS_ShaderYuvSubImage::resizeGL(int width, int height)
{
    Guarded(0, [&] {
        CLS_ShaderBase::resizeGL(width, height);
        m_pState->paintedIsValid = false;
        InnerClearDrawInfo();
        return DrawCallbackToPlayer(m_uiDrawFrameParam);
    });
}

void CLS_ShaderYuvSubImage::InitGLYV12()
{
    delete m_pShaderProgram;
    m_pShaderProgram = nullptr;
    m_pShaderProgram =
        m_pState->BuildProgram(LayoutOf(OVEL_DISPLAY_YV12), PictureProgramKind::SubImage,
                               {{&m_nLocTexY, &m_nLocTexU, &m_nLocTexV}, m_nLocDrawFlag, m_nLocDrawColor},
                               "CLS_ShaderYuvSubImage", "InitGLYV12");
    if (!NewTexture(m_spTextureY, "InitGLYV12", 150) || !NewTexture(m_spTextureU, "InitGLYV12", 156) ||
        !NewTexture(m_spTextureV, "InitGLYV12", 162))
        return;
    const PicturePlanes planes =
        PlanesInBuffer(LayoutOf(OVEL_DISPLAY_YV12), m_pYuvBuf, m_nVideoWidth, m_nVideoHeight);
    m_nTexIdY = AllocatePlane(m_pState->gl, *m_spTextureY, planes.plane[0]);
    m_nTexIdU = AllocatePlane(m_pState->gl, *m_spTextureU, planes.plane[1]);
    m_nTexIdV = AllocatePlane(m_pState->gl, *m_spTextureV, planes.plane[2]);
}

void CLS_ShaderYuvSubImage::InitGLNV12()
{
    delete m_pShaderProgram;
    m_pShaderProgram = nullptr;
    m_pShaderProgram =
        m_pState->BuildProgram(LayoutOf(OVEL_DISPLAY_NV12), PictureProgramKind::SubImage,
                               {{&m_nLocTexY, &m_nLocTexU, &m_nLocTexV}, m_nLocDrawFlag, m_nLocDrawColor},
                               "CLS_ShaderYuvSubImage", "InitGLNV12");
    if (!NewTexture(m_spTextureY, "InitGLNV12", 273) || !NewTexture(m_spTextureU, "InitGLNV12", 279))
        return;
    const PicturePlanes planes =
        PlanesInBuffer(LayoutOf(OVEL_DISPLAY_NV12), m_pYuvBuf, m_nVideoWidth, m_nVideoHeight);
    m_nTexIdY = AllocatePlane(m_pState->gl, *m_spTextureY, planes.plane[0]);
    m_nTexIdU = AllocatePlane(m_pState->gl, *m_spTextureU, planes.plane[1]);
}

void CLS_ShaderYuvSubImage::InnerFreeSource()
{
    // Intake and commands come here on their own threads: the next paint deletes what needs the context.
    m_bNeedFreeSource = true;
    m_bGLInited = false;
    if (m_blBlockFrame)
        return;
    m_nDisplayType = NoPicture;
    Q_EMIT signalUpdate();
}

int CLS_ShaderYuvSubImage::Release()
{
    const QMutexLocker lock(&m_mutexYuvBuf);
    InnerFreeSource();
    m_pState->DropBuffer();
    m_nVideoWidth = 0;
    m_nVideoHeight = 0;
    CLS_ShaderBase::Release();
    m_pState->ResetZoom();
    m_pState->ResetColor();
    return 0;
}

void CLS_ShaderYuvSubImage::onDestroyed(QObject* obj)
{
    if (obj == this)
        m_blDestroyed = true;
}

int CLS_ShaderYuvSubImage::ShowYuvFrame(void* pFrame, int iSize)
{
    if (m_blDestroyed)
        return -1;
    const std::optional<tagYuvFrameInfo> frame = ReadDescriptor(pFrame, iSize);
    if (!frame)
        return -1;
    QMutexLocker lock(&m_mutexYuvBuf);
    // With a picture there, a frame that cannot be taken must not change how that picture is read.
    const bool refused = !ShaderBaseState::CanHold(*frame);
    if (refused && m_pYuvBuf)
        return -1;
    if (frame->iDisplayType != m_nDisplayType) {
        InnerFreeSource();
        api_sdk_log_msg("%s", LayoutOf(frame->iDisplayType).subImageMessage);
        m_nDisplayType = frame->iDisplayType;
    }
    if (refused || !m_pState->ResetBufferFor(*frame))
        return -1;
    const CopiedFrame copied = m_pState->Copy(*frame);
    if (frame->iDisplayType == OVEL_DISPLAY_NV12)
        m_blBlockFrame = false;
    else if (copied != CopiedFrame::Nothing)
        m_blBlockFrame = copied == CopiedFrame::DeclaredBlock;
    InnerClearDrawInfo();
    DrawCallbackToPlayer(frame->uiFrameParam);
    // First the lock: the GUI thread that wakes up may run in this one's place.
    lock.unlock();
    m_pState->AnnounceFrame([this] { Q_EMIT signalUpdate(); });
    return 0;
}

void CLS_ShaderYuvSubImage::paintGL()
{
    Guarded(0, [&] {
        if (m_nDisplayType == NoPicture) {
            m_pState->PaintBlack();
            return 0;
        }
        FrameLock lock(m_mutexYuvBuf, PaintLockMilliseconds);
        if (!lock)
            return 0;
        if (m_bNeedFreeSource) {
            delete m_pShaderProgram;
            m_pShaderProgram = nullptr;
            m_bNeedFreeSource = false;
        }
        const int displayType = m_nDisplayType;
        if (!m_pYuvBuf && displayType != DisplayTypeDxgl) {
            m_pState->PaintBlack();
            return 0;
        }
        const bool painted = LayoutOf(displayType).IsPainted();
        // The storage is fixed: another size needs other textures.
        if (painted && m_pState->FitsContext(m_nVideoWidth, m_nVideoHeight) &&
            (!m_bGLInited || !Holds(m_spTextureY, m_nVideoWidth, m_nVideoHeight))) {
            displayType == OVEL_DISPLAY_NV12 ? InitGLNV12() : InitGLYV12();
            m_bGLInited = true;
        }
        m_pState->Compose(
            lock,
            [&] {
                if (displayType == OVEL_DISPLAY_NV12)
                    PaintNV12();
                else if (displayType == OVEL_DISPLAY_YV12)
                    PaintYV12();
            },
            [this] { paintDraw(); });
        lock.Unlock();
        DrawTextInfo();
        return 0;
    });
}

void CLS_ShaderYuvSubImage::PaintYV12()
{
    if (!m_pYuvBuf || !m_pShaderProgram)
        return;
    float vertices[8] = {};
    ComputeQuad(WholeArea, m_pState->Parameters().zoom, vertices);
    m_pState->DrawPicture(*m_pShaderProgram, LayoutOf(OVEL_DISPLAY_YV12), m_pYuvBuf,
                          {m_nTexIdY, m_nTexIdU, m_nTexIdV}, TextureStorage::Fixed, vertices, {});
}

void CLS_ShaderYuvSubImage::PaintNV12()
{
    if (!m_pNV12Y || !m_pNV12UV || !m_pShaderProgram)
        return;
    float vertices[8] = {};
    ComputeQuad(WholeArea, m_pState->Parameters().zoom, vertices);
    m_pState->DrawPicture(*m_pShaderProgram, LayoutOf(OVEL_DISPLAY_NV12), m_pNV12Y, {m_nTexIdY, m_nTexIdU, 0},
                          TextureStorage::Fixed, vertices, {});
}

void CLS_ShaderYuvSubImage::PaintDXGL() {}

void CLS_ShaderYuvSubImage::paintDraw()
{
    m_pState->LoadOverlays(OverlayKinds::LinesOnly);
    m_pState->overlayPainter.PaintOpaque();
}

int CLS_ShaderYuvSubImage::DrawCallbackToPlayer(unsigned int uiFrameParam)
{
    const auto destination = [this]() -> tagQRECT {
        const QSize size = m_pState->WidgetSize();
        return {0, 0, size.width() - 1, size.height() - 1};
    };
    return m_pState->CallPlayer(uiFrameParam, m_uiDrawFrameParam, destination,
                                &CLS_ShaderYuvSubImage::DrawCallbackToRender);
}

int CLS_ShaderYuvSubImage::DrawCallbackToRender(void* pData, int iLen, void* pRender)
{
    return SinkRecord(
        pRender, [&] { return static_cast<CLS_ShaderYuvSubImage*>(pRender)->SaveDrawGrapInfo(pData, iLen); });
}

int CLS_ShaderYuvSubImage::SaveDrawGrapInfo(void* pData, int iLen)
{
    return m_pState->StoreRecord(pData, iLen);
}

int CLS_ShaderYuvSubImage::SetParam(int iCmd, void* pData, int iLen)
{
    const int result = CLS_ShaderBase::SetParam(iCmd, pData, iLen);
    if (iCmd == OVELCMD_SET_EZOOM_AREA || (iCmd == OVELCMD_SET_COLOR && result == 0))
        Q_EMIT signalUpdate();
    return result;
}

void CLS_ShaderYuvSubImage::ClearDraw()
{
    // First of all, so that no resize in between brings overlays back.
    m_pState->ForgetCallback();
    InnerClearDrawInfo();
    if (m_pState->repaint.IsGuiThread())
        ClearLabel();
    else
        QMetaObject::invokeMethod(
            this, [this] { ClearLabel(); }, Qt::QueuedConnection);
    if (blReserveLastFrm == 0)
        Release();
    Q_EMIT signalUpdate();
    api_sdk_log_msg("CLS_ShaderYuvSubImage::ClearDraw, blReserveLastFrm=%d", blReserveLastFrm.load());
}

void CLS_ShaderYuvSubImage::LineTriangulation(double dLineWidth, std::vector<Point2F>& vecPoints)
{
    TriangulateLine(dLineWidth, vecPoints, m_vecRectMesh);
}
