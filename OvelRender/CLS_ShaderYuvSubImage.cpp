#include "CLS_ShaderYuvSubImage.h"

#include "Guarded.h"
#include "LiveRenderers.h"
#include "OsCoreApi.h"
#include "SubImageSteps.h"

#include <QMutexLocker>

CLS_ShaderYuvSubImage::CLS_ShaderYuvSubImage()
    : CLS_ShaderBase(nullptr), m_nLocTexY(0), m_nLocTexU(0), m_nLocTexV(0), m_nLocDrawFlag(0),
      m_nLocDrawColor(0), m_nTexIdY(0), m_nTexIdU(0), m_nTexIdV(0), m_blDestroyed(false),
      m_pShaderProgram(nullptr), m_blBlockFrame(false), m_uiDrawFrameParam(0)
{
    connect(this, &QObject::destroyed, this, &CLS_ShaderYuvSubImage::onDestroyed);
    // Direct, because the request itself crosses to the GUI thread, and does so without an allocation.
    connect(
        this, &CLS_ShaderYuvSubImage::signalUpdate, this,
        [this] { SubImageSteps(*this, *m_pState).RequestRepaint(); }, Qt::DirectConnection);
    m_pState->updateIsHeard = false;
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
    SubImageSteps(*this, *m_pState).LeaveContext();
    CLS_ShaderYuvSubImage::Release();
}

void CLS_ShaderYuvSubImage::initializeGL()
{
    Guarded(0, [&] {
        const FrameLock lock = FrameLock::ForContext(m_pState->gate);
        initializeOpenGLFunctions();
        SubImageSteps(*this, *m_pState).EnterContext([this] {
            SubImageSteps(*this, *m_pState).LeaveContext();
        });
        InnerFreeSource();
        return 0;
    });
}

void CLS_ShaderYuvSubImage::resizeGL(int width, int height)
{
    Guarded(0, [&] {
        SubImageSteps(*this, *m_pState).Resize(width, height);
        return 0;
    });
}

void CLS_ShaderYuvSubImage::InitGLYV12()
{
    SubImageSteps(*this, *m_pState).BuildSources(LayoutOf(OVEL_DISPLAY_YV12), __func__);
}

void CLS_ShaderYuvSubImage::InitGLNV12()
{
    SubImageSteps(*this, *m_pState).BuildSources(LayoutOf(OVEL_DISPLAY_NV12), __func__);
}

void CLS_ShaderYuvSubImage::InnerFreeSource()
{
    // Intake and commands come here on their own threads: the next paint deletes what needs the context.
    m_bNeedFreeSource = true;
    m_bGLInited = false;
    if (m_blBlockFrame) {
        return;
    }
    m_nDisplayType = NoPicture;
    Q_EMIT signalUpdate();
}

int CLS_ShaderYuvSubImage::Release()
{
    const QMutexLocker lock(&m_mutexYuvBuf);
    InnerFreeSource();
    m_pState->frames.Drop();
    m_nVideoWidth = 0;
    m_nVideoHeight = 0;
    CLS_ShaderBase::Release();
    m_pState->view.ResetZoom();
    m_pState->view.ResetColor();
    return 0;
}

void CLS_ShaderYuvSubImage::onDestroyed(QObject* obj)
{
    if (obj == this) {
        m_blDestroyed = true;
    }
}

int CLS_ShaderYuvSubImage::ShowYuvFrame(void* pFrame, int iSize)
{
    using Taken = RendererSteps::Taken;
    if (m_blDestroyed) {
        return -1;
    }
    tagYuvFrameInfo frame;
    return SubImageSteps(*this, *m_pState).TakeFrame(pFrame, iSize, frame) == Taken::Yes ? 0 : -1;
}

void CLS_ShaderYuvSubImage::paintGL()
{
    Guarded(0, [&] {
        SubImageSteps(*this, *m_pState).Paint();
        return 0;
    });
}

void CLS_ShaderYuvSubImage::PaintYV12()
{
    SubImageSteps(*this, *m_pState).PaintPlanes(OVEL_DISPLAY_YV12);
}

void CLS_ShaderYuvSubImage::PaintNV12()
{
    SubImageSteps(*this, *m_pState).PaintPlanes(OVEL_DISPLAY_NV12);
}

void CLS_ShaderYuvSubImage::PaintDXGL() {}

void CLS_ShaderYuvSubImage::paintDraw()
{
    SubImageSteps(*this, *m_pState).MeshOverlays();
    m_pState->painter.PaintOpaqueOverlays();
}

int CLS_ShaderYuvSubImage::DrawCallbackToPlayer(unsigned int uiFrameParam)
{
    return SubImageSteps(*this, *m_pState).AskPlayer(OverlayList::Start::AsItIs, uiFrameParam);
}

int CLS_ShaderYuvSubImage::DrawCallbackToRender(void* pData, int iLen, void* pRender)
{
    return SinkRecord(
        pRender, [&] { return static_cast<CLS_ShaderYuvSubImage*>(pRender)->SaveDrawGrapInfo(pData, iLen); });
}

int CLS_ShaderYuvSubImage::SaveDrawGrapInfo(void* pData, int iLen)
{
    return m_pState->overlays.Store(pData, iLen, DrawCallbackScope::RunOf(this));
}

int CLS_ShaderYuvSubImage::SetParam(int iCmd, void* pData, int iLen)
{
    const int result = CLS_ShaderBase::SetParam(iCmd, pData, iLen);
    if (iCmd == OVELCMD_SET_EZOOM_AREA || (iCmd == OVELCMD_SET_COLOR && result == 0)) {
        Q_EMIT signalUpdate();
    }
    return result;
}

void CLS_ShaderYuvSubImage::ClearDraw()
{
    if (!SubImageSteps(*this, *m_pState).ForgetOverlays()) {
        return;
    }
    // Elsewhere the labels follow the list a little later: a clearing that is queued would meet the next
    // frame's texts.
    if (m_pState->repaintRequest.IsGuiThread()) {
        ClearLabel();
    } else {
        Q_EMIT signalDrawTextInfo();
    }
    if (blReserveLastFrm == 0) {
        Release();
    }
    Q_EMIT signalUpdate();
    api_sdk_log_msg("CLS_ShaderYuvSubImage::ClearDraw, blReserveLastFrm=%d", blReserveLastFrm.load());
}

void CLS_ShaderYuvSubImage::LineTriangulation(double dLineWidth, std::vector<Point2F>& vecPoints)
{
    TriangulateLine(dLineWidth, vecPoints, m_vecRectMesh);
}
