#include "CLS_ShaderYuv.h"

#include "Guarded.h"
#include "LiveRenderers.h"
#include "OsCoreApi.h"
#include "RendererSteps.h"

#include <QMutexLocker>

CLS_ShaderYuv::CLS_ShaderYuv()
    : CLS_ShaderBase(nullptr), m_nLocTexY(0), m_nLocTexU(0), m_nLocTexV(0), m_nLocDrawFlag(0),
      m_nLocDrawColor(0), m_nLocDrawAlpha(0), m_nTexIdY(0), m_nTexIdU(0), m_nTexIdV(0), m_pTextureY(nullptr),
      m_pTextureU(nullptr), m_pTextureV(nullptr), m_bDestroyed(false), m_pShaderProgram(nullptr),
      m_uiDrawFrameParam(0)
{
    RendererTraits traits;
    traits.changeMessage = &PictureLayout::fullFrameMessage;
    traits.typeFor4 = 5;
    traits.needsBuffer = [](int displayType) { return LayoutOf(displayType).IsPainted(); };
    traits.freesInPlace = true;
    traits.hasPlace = true;
    traits.sink = &CLS_ShaderYuv::DrawCallbackToRender;
    traits.lastFrameParam = &m_uiDrawFrameParam;
    traits.emitUpdate = [this] { Q_EMIT signalUpdate(); };
    traits.initialise = [this](int type) { type == OVEL_DISPLAY_NV12 ? InitGLNV12() : InitGLYV12(); };
    const PictureUniforms uniforms{{&m_nLocTexY, &m_nLocTexU, &m_nLocTexV}, m_nLocDrawFlag, m_nLocDrawColor};
    const SourceFields fields{m_pShaderProgram, m_nTexIdY, m_nTexIdU, m_nTexIdV, uniforms};
    traits.sources =
        std::make_unique<RespecifiedSources>(fields, m_pTextureY, m_pTextureU, m_pTextureV, m_nLocDrawAlpha);
    m_pState->traits = std::make_unique<const RendererTraits>(std::move(traits));
    m_nDisplayType = NoPicture;
    connect(this, &QObject::destroyed, this, &CLS_ShaderYuv::onDestroyed);
    // Direct, because the request itself crosses to the GUI thread, and does so without an allocation.
    connect(
        this, &CLS_ShaderYuv::signalUpdate, this, [this] { RendererSteps(*this).RequestRepaint(); },
        Qt::DirectConnection);
    m_pState->updateIsHeard = false;
    api_sdk_log_msg("CreateShader CLS_ShaderYuv.");
}

CLS_ShaderYuv::~CLS_ShaderYuv()
{
    RetireLiveRenderer(this);
    onDestroyed(this);
    disconnect(this, &QObject::destroyed, this, &CLS_ShaderYuv::onDestroyed);
    // A context that is gone took the GL objects along; one that is here must not call back later.
    RendererSteps(*this).LeaveContext();
    CLS_ShaderYuv::Release();
}

void CLS_ShaderYuv::initializeGL()
{
    Guarded([&] {
        {
            const FrameLock lock = FrameLock::ForContext(m_pState->gate);
            initializeOpenGLFunctions();
            RendererSteps(*this).EnterContext();
        }
        RendererSteps(*this).LogContext("CLS_ShaderYuv");
    });
}

void CLS_ShaderYuv::resizeGL(int width, int height)
{
    Guarded([&] { RendererSteps(*this).Resize(width, height); });
}

void CLS_ShaderYuv::InitGLYV12()
{
    RendererSteps(*this).BuildSources(OVEL_DISPLAY_YV12);
}

void CLS_ShaderYuv::InitGLNV12()
{
    RendererSteps(*this).BuildSources(OVEL_DISPLAY_NV12);
}

void CLS_ShaderYuv::InnerFreeSource()
{
    m_pState->traits->sources->Free();
    m_bGLInited = false;
}

int CLS_ShaderYuv::Release()
{
    const LettingGo lettingGo(this); // first: ends without the lock
    const QMutexLocker lock(&m_mutexYuvBuf);
    m_bNeedFreeSource = true;
    m_nDisplayType = NoPicture;
    m_pState->frames.Drop();
    m_nVideoWidth = 0;
    m_nVideoHeight = 0;
    CLS_ShaderBase::Release();
    m_pState->view.ResetZoom();
    m_pState->view.ResetColor();
    m_pState->view.ResetDestination();
    Q_EMIT signalUpdate();
    return 0;
}

void CLS_ShaderYuv::onDestroyed(QObject* obj)
{
    if (obj == this) {
        m_bDestroyed = true;
    }
}

int CLS_ShaderYuv::ShowYuvFrame(void* pFrame, int iSize)
{
    if (m_bDestroyed) {
        return -1;
    }
    const LettingGo lettingGo(this);
    tagYuvFrameInfo frame = {};
    const auto taken = RendererSteps(*this).TakeFrame(pFrame, iSize, frame);
    if (taken == RendererSteps::Taken::BadSize) {
        LogError("CLS_ShaderYuv", __func__, __LINE__,
                 "ShowYuvFrame iWidth = %d iHeight = %d is invalid param", frame.iWidth, frame.iHeight);
    }
    return taken == RendererSteps::Taken::Yes ? 0 : -1;
}

void CLS_ShaderYuv::paintGL()
{
    Guarded([&] { RendererSteps(*this).Paint(); });
}

void CLS_ShaderYuv::PaintYV12()
{
    RendererSteps(*this).PaintPlanes(OVEL_DISPLAY_YV12);
}

void CLS_ShaderYuv::PaintNV12()
{
    RendererSteps(*this).PaintPlanes(OVEL_DISPLAY_NV12);
}

void CLS_ShaderYuv::VideoRotateMirror()
{
    m_pState->painter.SetMatrix(m_pShaderProgram, m_pState->view.Get().rotate);
}

void CLS_ShaderYuv::paintDraw(bool bBlendPass)
{
    RendererSteps(*this).MeshOverlays();
    if (bBlendPass) {
        m_pState->painter.PaintTranslucentOverlays();
    } else {
        m_pState->painter.PaintOpaqueOverlays();
    }
}

int CLS_ShaderYuv::DrawCallbackToPlayer(unsigned int uiFrameParam)
{
    return RendererSteps(*this).AskPlayer(OverlayList::Start::AsItIs, uiFrameParam);
}

int CLS_ShaderYuv::DrawCallbackToRender(void* pData, int iLen, void* pRender)
{
    return SinkRecord(pRender,
                      [&] { return static_cast<CLS_ShaderYuv*>(pRender)->SaveDrawGrapInfo(pData, iLen); });
}

int CLS_ShaderYuv::SaveDrawGrapInfo(void* pData, int iLen)
{
    return m_pState->overlays.Store(pData, iLen, DrawCallbackScope::RunOf(this));
}

int CLS_ShaderYuv::SetParam(int iCmd, void* pData, int iLen)
{
    const int result = CLS_ShaderBase::SetParam(iCmd, pData, iLen);
    if (iCmd == OVELCMD_SET_EZOOM_AREA || (iCmd == OVELCMD_SET_COLOR && result == 0)) {
        Q_EMIT signalUpdate();
    }
    return result;
}

int CLS_ShaderYuv::GetParam(int iCmd, void* pData, int iLen)
{
    return CLS_ShaderBase::GetParam(iCmd, pData, iLen);
}

void CLS_ShaderYuv::ClearDraw()
{
    if (!RendererSteps(*this).ForgetOverlays()) {
        return;
    }
    Q_EMIT signalDrawTextInfo();
    if (blReserveLastFrm == 0) {
        Release();
    } else {
        Q_EMIT signalUpdate();
    }
    api_sdk_log_msg("CLS_ShaderYuv::ClearDraw, blReserveLastFrm=%d", blReserveLastFrm.load());
}

void CLS_ShaderYuv::LineTriangulation(double dLineWidth, std::vector<Point2F>& vecPoints)
{
    TriangulateLine(dLineWidth, vecPoints, m_vecRectMesh);
}
