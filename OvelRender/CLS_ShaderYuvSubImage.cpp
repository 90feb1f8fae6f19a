#include "CLS_ShaderYuvSubImage.h"

#include "Guarded.h"
#include "LiveRenderers.h"
#include "OsCoreApi.h"
#include "RendererSteps.h"

#include <QMutexLocker>

CLS_ShaderYuvSubImage::CLS_ShaderYuvSubImage()
    : CLS_ShaderBase(nullptr), m_nLocTexY(0), m_nLocTexU(0), m_nLocTexV(0), m_nLocDrawFlag(0),
      m_nLocDrawColor(0), m_nTexIdY(0), m_nTexIdU(0), m_nTexIdV(0), m_blDestroyed(false),
      m_pShaderProgram(nullptr), m_blBlockFrame(false), m_uiDrawFrameParam(0)
{
    RendererTraits traits;
    traits.changeMessage = &PictureLayout::subImageMessage;
    traits.needsBuffer = [](int displayType) { return displayType != 6; }; // shown from elsewhere
    traits.isBlackAtOnce = true;
    traits.blockFrame = &m_blBlockFrame;
    traits.overlays = OverlayKinds::LinesOnly;
    traits.sink = &CLS_ShaderYuvSubImage::DrawCallbackToRender;
    traits.lastFrameParam = &m_uiDrawFrameParam;
    traits.emitUpdate = [this] { Q_EMIT signalUpdate(); };
    const PictureUniforms uniforms{{&m_nLocTexY, &m_nLocTexU, &m_nLocTexV}, m_nLocDrawFlag, m_nLocDrawColor};
    const SourceFields fields{m_pShaderProgram, m_nTexIdY, m_nTexIdU, m_nTexIdV, uniforms};
    traits.sources = std::make_unique<FixedSources>(fields, m_spTextureY, m_spTextureU, m_spTextureV);
    m_pState->traits = std::make_unique<const RendererTraits>(std::move(traits));
    connect(this, &QObject::destroyed, this, &CLS_ShaderYuvSubImage::onDestroyed);
    // Direct, because the request itself crosses to the GUI thread, and does so without an allocation.
    connect(
        this, &CLS_ShaderYuvSubImage::signalUpdate, this, [this] { RendererSteps(*this).RequestRepaint(); },
        Qt::DirectConnection);
    m_pState->updateIsHeard = false;
    m_nDisplayType = NoPicture;
    api_sdk_log_msg("CreateShader CLS_ShaderYuvSubImage.");
}

CLS_ShaderYuvSubImage::~CLS_ShaderYuvSubImage()
{
    RetireLiveRenderer(this);
    onDestroyed(this);
    disconnect(this, &QObject::destroyed, this, &CLS_ShaderYuvSubImage::onDestroyed);
    // A context that is gone took the GL objects along; one that is here must not call back later.
    RendererSteps(*this).LeaveContext();
    CLS_ShaderYuvSubImage::Release();
}

void CLS_ShaderYuvSubImage::initializeGL()
{
    Guarded([&] {
        const FrameLock lock = FrameLock::ForContext(m_pState->gate);
        initializeOpenGLFunctions();
        RendererSteps(*this).EnterContext();
        InnerFreeSource();
    });
}

void CLS_ShaderYuvSubImage::resizeGL(int width, int height)
{
    Guarded([&] { RendererSteps(*this).Resize(width, height); });
}

void CLS_ShaderYuvSubImage::InitGLYV12()
{
    RendererSteps(*this).BuildSources(OVEL_DISPLAY_YV12);
}

void CLS_ShaderYuvSubImage::InitGLNV12()
{
    RendererSteps(*this).BuildSources(OVEL_DISPLAY_NV12);
}

void CLS_ShaderYuvSubImage::InnerFreeSource()
{
    // Intake and commands come here on their own threads: the next paint deletes what needs the context.
    m_pState->traits->sources->PutProgramAside();
    m_bGLInited = false;
    if (m_blBlockFrame) {
        return;
    }
    m_nDisplayType = NoPicture;
    Q_EMIT signalUpdate();
}

int CLS_ShaderYuvSubImage::Release()
{
    const LettingGo lettingGo(this); // first: ends without the lock
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
    if (m_blDestroyed) {
        return -1;
    }
    const LettingGo lettingGo(this);
    tagYuvFrameInfo frame = {};
    return RendererSteps(*this).TakeFrame(pFrame, iSize, frame) == RendererSteps::Taken::Yes ? 0 : -1;
}

void CLS_ShaderYuvSubImage::paintGL()
{
    Guarded([&] { RendererSteps(*this).Paint(); });
}

void CLS_ShaderYuvSubImage::PaintYV12()
{
    RendererSteps(*this).PaintPlanes(OVEL_DISPLAY_YV12);
}

void CLS_ShaderYuvSubImage::PaintNV12()
{
    RendererSteps(*this).PaintPlanes(OVEL_DISPLAY_NV12);
}

void CLS_ShaderYuvSubImage::PaintDXGL() {}

void CLS_ShaderYuvSubImage::paintDraw()
{
    RendererSteps(*this).MeshOverlays();
    m_pState->painter.PaintOpaqueOverlays();
}

int CLS_ShaderYuvSubImage::DrawCallbackToPlayer(unsigned int uiFrameParam)
{
    return RendererSteps(*this).AskPlayer(OverlayList::Start::AsItIs, uiFrameParam);
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
    if (!RendererSteps(*this).ForgetOverlays()) {
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
