#include "CLS_ShaderYuv.h"

#include "Guarded.h"
#include "LiveRenderers.h"
#include "OsCoreApi.h"
#include "RendererSteps.h"
#include "picture/DisplayGeometry.h"

#include <QMutexLocker>
#include <QOpenGLShaderProgram>
#include <QOpenGLTexture>

namespace
{

const char* GlString(QOpenGLFunctions& gl, GLenum name)
{
    const GLubyte* text = gl.glGetString(name);
    return text ? reinterpret_cast<const char*>(text) : "";
}

unsigned int NewTexture(QOpenGLTexture*& texture)
{
    delete texture;
    texture = nullptr;
    texture = new QOpenGLTexture(QOpenGLTexture::Target2D);
    texture->create();
    return texture->textureId();
}

void DeleteTexture(QOpenGLTexture*& texture)
{
    if (texture) {
        texture->destroy();
    }
    delete texture;
    texture = nullptr;
}

// What the full-frame renderer does differently.
class FullFrameSteps : public RendererSteps
{
public:
    FullFrameSteps(CLS_ShaderYuv& renderer, ShaderBaseState& parts)
        : RendererSteps(renderer, parts), m_yuv(renderer)
    {
    }

protected:
    void ChangeDisplayType(int displayType) override
    {
        m_yuv.m_bNeedFreeSource = true;
        api_sdk_log_msg("%s", LayoutOf(displayType).fullFrameMessage);
        m_yuv.m_nDisplayType = displayType == 4 ? 5 : displayType;
    }
    void NoteTaken(int, CopiedFrame) override {}
    tagQRECT PictureRect() const override
    {
        const tagOvelZoomArea part = m_parts.view.Get().destination;
        const QSize size = m_parts.WidgetSize(m_yuv);
        return {TruncateToInt(part.left * size.width()), TruncateToInt(part.top * size.height()),
                TruncateToInt(part.right * size.width()), TruncateToInt(part.bottom * size.height())};
    }
    OvelDrawToRender Sink() const override { return &CLS_ShaderYuv::DrawCallbackToRender; }
    std::atomic<unsigned int>& LastFrameParam() const override { return m_yuv.m_uiDrawFrameParam; }
    void EmitUpdate() override { Q_EMIT m_yuv.signalUpdate(); }
    bool NeedsBuffer(int displayType) const override { return LayoutOf(displayType).IsPainted(); }
    void FreeOutdated() override
    {
        if (m_yuv.m_bNeedFreeSource) {
            m_yuv.InnerFreeSource();
        }
        m_yuv.m_bNeedFreeSource = false;
    }
    void PreparePicture(int displayType) override
    {
        if (m_yuv.m_bGLInited) {
            return;
        }
        displayType == OVEL_DISPLAY_NV12 ? m_yuv.InitGLNV12() : m_yuv.InitGLYV12();
        m_yuv.m_bGLInited = true;
    }
    PictureTarget Target(const ViewParameters& view) const override
    {
        return {m_yuv.m_pShaderProgram,
                {m_yuv.m_nTexIdY, m_yuv.m_nTexIdU, m_yuv.m_nTexIdV},
                TextureStorage::Respecified,
                view.destination,
                view.rotate};
    }
    OverlayKinds Kinds() const override { return OverlayKinds::LinesAndShapes; }
    void FreeGlObjects() override { m_yuv.InnerFreeSource(); }

private:
    CLS_ShaderYuv& m_yuv;
};

void LogRefusal(RendererSteps::Taken taken, int width, int height)
{
    if (taken == RendererSteps::Taken::BadSize) {
        LogError("CLS_ShaderYuv", "ShowYuvFrame", __LINE__,
                 "ShowYuvFrame iWidth = %d iHeight = %d is invalid param", width, height);
    }
}

} // namespace

CLS_ShaderYuv::CLS_ShaderYuv()
    : CLS_ShaderBase(nullptr), m_nLocTexY(0), m_nLocTexU(0), m_nLocTexV(0), m_nLocDrawFlag(0),
      m_nLocDrawColor(0), m_nLocDrawAlpha(0), m_nTexIdY(0), m_nTexIdU(0), m_nTexIdV(0), m_pTextureY(nullptr),
      m_pTextureU(nullptr), m_pTextureV(nullptr), m_bDestroyed(false), m_pShaderProgram(nullptr),
      m_uiDrawFrameParam(0)
{
    m_nDisplayType = NoPicture;
    connect(this, &QObject::destroyed, this, &CLS_ShaderYuv::onDestroyed);
    // Direct, because the request itself crosses to the GUI thread, and does so without an allocation.
    connect(
        this, &CLS_ShaderYuv::signalUpdate, this,
        [this] { FullFrameSteps(*this, *m_pState).RequestRepaint(); }, Qt::DirectConnection);
    m_pState->updateIsHeard = false;
    api_sdk_log_msg("CreateShader CLS_ShaderYuv.");
}

CLS_ShaderYuv::~CLS_ShaderYuv()
{
    RetireLiveRenderer(this);
    onDestroyed(this);
    disconnect(this, &QObject::destroyed, this, &CLS_ShaderYuv::onDestroyed);
    // A context that is gone took the GL objects along; one that is here must not call back into this object
    // later.
    FullFrameSteps(*this, *m_pState).LeaveContext();
    CLS_ShaderYuv::Release();
}

void CLS_ShaderYuv::initializeGL()
{
    Guarded(0, [&] {
        const QMutexLocker lock(&m_mutexYuvBuf);
        initializeOpenGLFunctions();
        FullFrameSteps(*this, *m_pState).EnterContext([this] {
            FullFrameSteps(*this, *m_pState).LeaveContext();
        });
        api_sdk_log_msg("[CLS_ShaderYuv]GL_VERSION: %s", GlString(*this, GL_VERSION));
        api_sdk_log_msg("[CLS_ShaderYuv]GL_VENDOR: %s", GlString(*this, GL_VENDOR));
        api_sdk_log_msg("[CLS_ShaderYuv]GL_RENDERER: %s", GlString(*this, GL_RENDERER));
        api_sdk_log_msg("[CLS_ShaderYuv]GL_SHADING_LANGUAGE_VERSION: %s",
                        GlString(*this, GL_SHADING_LANGUAGE_VERSION));
        return 0;
    });
}

void CLS_ShaderYuv::resizeGL(int width, int height)
{
    Guarded(0, [&] {
        FullFrameSteps(*this, *m_pState).Resize(width, height);
        return 0;
    });
}

void CLS_ShaderYuv::InitGLYV12()
{
    InnerFreeSource();
    m_pShaderProgram = m_pState->painter.BuildProgram(
        LayoutOf(OVEL_DISPLAY_YV12), PictureProgramKind::FullFrame,
        {{&m_nLocTexY, &m_nLocTexU, &m_nLocTexV}, m_nLocDrawFlag, m_nLocDrawColor});
    m_nLocDrawAlpha = m_pShaderProgram->uniformLocation("u_fDrawAlpha");
    m_nTexIdY = NewTexture(m_pTextureY);
    m_nTexIdU = NewTexture(m_pTextureU);
    m_nTexIdV = NewTexture(m_pTextureV);
}

void CLS_ShaderYuv::InitGLNV12()
{
    InnerFreeSource();
    m_pShaderProgram = m_pState->painter.BuildProgram(
        LayoutOf(OVEL_DISPLAY_NV12), PictureProgramKind::FullFrame,
        {{&m_nLocTexY, &m_nLocTexU, &m_nLocTexV}, m_nLocDrawFlag, m_nLocDrawColor});
    m_nLocDrawAlpha = m_pShaderProgram->uniformLocation("u_fDrawAlpha");
    m_nTexIdY = NewTexture(m_pTextureY);
    m_nTexIdU = NewTexture(m_pTextureU);
}

void CLS_ShaderYuv::InnerFreeSource()
{
    DeleteTexture(m_pTextureY);
    DeleteTexture(m_pTextureU);
    DeleteTexture(m_pTextureV);
    delete m_pShaderProgram;
    m_pShaderProgram = nullptr;
    m_bGLInited = false;
}

int CLS_ShaderYuv::Release()
{
    const LettingGo lettingGo(this);
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
    using Taken = RendererSteps::Taken;
    if (m_bDestroyed) {
        return -1;
    }
    const LettingGo lettingGo(this);
    tagYuvFrameInfo frame = {};
    const Taken taken = FullFrameSteps(*this, *m_pState).TakeFrame(pFrame, iSize, frame);
    LogRefusal(taken, frame.iWidth, frame.iHeight);
    return taken == Taken::Yes ? 0 : -1;
}

int CLS_ShaderYuv::ShowYuvFrameRef(void* pFrame, int iSize, FrameReference& reference)
{
    using Taken = RendererSteps::Taken;
    if (m_bDestroyed) {
        return -1;
    }
    const LettingGo lettingGo(this);
    tagOvelFrameRef frame = {};
    const Taken taken = FullFrameSteps(*this, *m_pState).TakeReference(pFrame, iSize, frame, reference);
    LogRefusal(taken, frame.iWidth, frame.iHeight);
    return taken == Taken::Yes ? 0 : -1;
}

bool CheckGreen(unsigned char* pYData, int iWidth, int iHeight)
{
    if (!pYData) {
        return true;
    }
    const auto at = [&](int row, int column) {
        return pYData[static_cast<ptrdiff_t>(row) * iWidth + column];
    };
    for (int row = 0; row < 10; ++row) {
        for (int column = 0; column < 10; ++column) {
            if (at(row, column) || at(row, iWidth - 10 + column) || at(iHeight - 10 + row, column) ||
                at(iHeight - 10 + row, iWidth - 10 + column)) {
                return false;
            }
        }
    }
    return true;
}

void CLS_ShaderYuv::paintGL()
{
    Guarded(0, [&] {
        FullFrameSteps(*this, *m_pState).Paint();
        return 0;
    });
}

void CLS_ShaderYuv::PaintYV12()
{
    FullFrameSteps(*this, *m_pState).PaintPlanes(OVEL_DISPLAY_YV12);
}

void CLS_ShaderYuv::PaintNV12()
{
    FullFrameSteps(*this, *m_pState).PaintPlanes(OVEL_DISPLAY_NV12);
}

void CLS_ShaderYuv::VideoRotateMirror()
{
    if (m_pShaderProgram) {
        m_pState->painter.SetMatrix(*m_pShaderProgram, m_pState->view.Get().rotate);
    }
}

void CLS_ShaderYuv::paintDraw(bool bBlendPass)
{
    FullFrameSteps(*this, *m_pState).MeshOverlays();
    if (bBlendPass) {
        m_pState->painter.PaintTranslucentOverlays();
    } else {
        m_pState->painter.PaintOpaqueOverlays();
    }
}

int CLS_ShaderYuv::DrawCallbackToPlayer(unsigned int uiFrameParam)
{
    return FullFrameSteps(*this, *m_pState).AskPlayer(OverlayList::Start::AsItIs, uiFrameParam);
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
    if (!FullFrameSteps(*this, *m_pState).ForgetOverlays()) {
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
