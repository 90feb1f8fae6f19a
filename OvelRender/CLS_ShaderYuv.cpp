#include "CLS_ShaderYuv.h"

#include "Guarded.h"
#include "LiveRenderers.h"
#include "OsCoreApi.h"
#include "ShaderBaseState.h"
#include "picture/DisplayGeometry.h"

#include <QMutexLocker>
#include <QOpenGLContext>
#include <QOpenGLShaderProgram>
#include <QOpenGLTexture>

namespace
{

constexpr int NoPicture = -1;

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
    if (texture)
        texture->destroy();
    delete texture;
    texture = nullptr;
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
        this, &CLS_ShaderYuv::signalUpdate, this, [this] { m_pState->RequestRepaint(); },
        Qt::DirectConnection);
    m_pState->updateIsObserved = false;
    api_sdk_log_msg("CreateShader CLS_ShaderYuv.");
}

CLS_ShaderYuv::~CLS_ShaderYuv()
{
    RetireLiveRenderer(this);
    onDestroyed(this);
    disconnect(this, &QObject::destroyed, this, &CLS_ShaderYuv::onDestroyed);
    // A context that is gone took the GL objects along; one that is here must not call back into this object
    // later.
    m_pState->LeaveContext();
    CLS_ShaderYuv::Release();
}

void CLS_ShaderYuv::initializeGL()
{
    Guarded(0, [&] {
        const QMutexLocker lock(&m_mutexYuvBuf);
        initializeOpenGLFunctions();
        m_pState->EnterContext([this] { InnerFreeSource(); });
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
        CLS_ShaderBase::resizeGL(width, height);
        m_pState->paintedIsValid = false;
        InnerClearDrawInfo();
        return DrawCallbackToPlayer(m_uiDrawFrameParam);
    });
}

void CLS_ShaderYuv::InitGLYV12()
{
    InnerFreeSource();
    m_pShaderProgram =
        m_pState->BuildProgram(LayoutOf(OVEL_DISPLAY_YV12), PictureProgramKind::FullFrame,
                               {{&m_nLocTexY, &m_nLocTexU, &m_nLocTexV}, m_nLocDrawFlag, m_nLocDrawColor},
                               "CLS_ShaderYuv", "InitGLYV12");
    m_nLocDrawAlpha = m_pShaderProgram->uniformLocation("u_fDrawAlpha");
    m_nTexIdY = NewTexture(m_pTextureY);
    m_nTexIdU = NewTexture(m_pTextureU);
    m_nTexIdV = NewTexture(m_pTextureV);
}

void CLS_ShaderYuv::InitGLNV12()
{
    InnerFreeSource();
    m_pShaderProgram =
        m_pState->BuildProgram(LayoutOf(OVEL_DISPLAY_NV12), PictureProgramKind::FullFrame,
                               {{&m_nLocTexY, &m_nLocTexU, &m_nLocTexV}, m_nLocDrawFlag, m_nLocDrawColor},
                               "CLS_ShaderYuv", "InitGLNV12");
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
    const QMutexLocker lock(&m_mutexYuvBuf);
    m_bNeedFreeSource = true;
    m_nDisplayType = NoPicture;
    m_pState->DropBuffer();
    m_nVideoWidth = 0;
    m_nVideoHeight = 0;
    CLS_ShaderBase::Release();
    m_pState->ResetZoom();
    m_pState->ResetColor();
    m_pState->ResetDestination();
    Q_EMIT signalUpdate();
    return 0;
}

void CLS_ShaderYuv::onDestroyed(QObject* obj)
{
    if (obj == this)
        m_bDestroyed = true;
}

int CLS_ShaderYuv::ShowYuvFrame(void* pFrame, int iSize)
{
    if (m_bDestroyed)
        return -1;
    const std::optional<tagYuvFrameInfo> frame = ReadDescriptor(pFrame, iSize);
    if (!frame)
        return -1;
    QMutexLocker lock(&m_mutexYuvBuf);
    // With a picture there, a frame that cannot be taken must not change how that picture is read.
    const bool refused = m_pState->RefuseFrame(*frame, "CLS_ShaderYuv");
    if (refused && m_pYuvBuf)
        return -1;
    if (frame->iDisplayType != m_nDisplayType) {
        m_bNeedFreeSource = true;
        api_sdk_log_msg("%s", LayoutOf(frame->iDisplayType).fullFrameMessage);
        m_nDisplayType = frame->iDisplayType == 4 ? 5 : frame->iDisplayType;
    }
    if (refused || !m_pState->ResetBufferFor(*frame))
        return -1;
    m_pState->Copy(*frame);
    InnerClearDrawInfo();
    DrawCallbackToPlayer(frame->uiFrameParam);
    // First the lock: the GUI thread that wakes up may run in this one's place.
    lock.unlock();
    m_pState->AnnounceFrame([this] { Q_EMIT signalUpdate(); });
    return 0;
}

bool CheckGreen(unsigned char* pYData, int iWidth, int iHeight)
{
    if (!pYData)
        return true;
    const auto at = [&](int row, int column) {
        return pYData[static_cast<ptrdiff_t>(row) * iWidth + column];
    };
    for (int row = 0; row < 10; ++row) {
        for (int column = 0; column < 10; ++column) {
            if (at(row, column) || at(row, iWidth - 10 + column) || at(iHeight - 10 + row, column) ||
                at(iHeight - 10 + row, iWidth - 10 + column))
                return false;
        }
    }
    return true;
}

void CLS_ShaderYuv::paintGL()
{
    Guarded(0, [&] {
        FrameLock lock(m_mutexYuvBuf, PaintLockMilliseconds);
        if (!lock)
            return 0;
        if (m_bNeedFreeSource) {
            InnerFreeSource();
            m_bNeedFreeSource = false;
        }
        const int displayType = m_nDisplayType;
        const PictureLayout& layout = LayoutOf(displayType);
        if (displayType == NoPicture) {
            m_pState->PaintBlack();
            return 0;
        }
        if (layout.IsPainted() && !m_pYuvBuf) {
            m_pState->KeepPicture();
            return 0;
        }
        if (layout.IsPainted() && !m_bGLInited) {
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
            [this] {
                paintDraw(false);
                paintDraw(true);
            });
        lock.Unlock();
        DrawTextInfo();
        return 0;
    });
}

void CLS_ShaderYuv::PaintYV12()
{
    if (!m_pYuvBuf || !m_pShaderProgram)
        return;
    float vertices[8] = {};
    CalcuVertex(vertices);
    m_pState->DrawPicture(*m_pShaderProgram, LayoutOf(OVEL_DISPLAY_YV12), m_pYuvBuf,
                          {m_nTexIdY, m_nTexIdU, m_nTexIdV}, TextureStorage::Respecified, vertices,
                          m_pState->Parameters().rotate);
}

void CLS_ShaderYuv::PaintNV12()
{
    if (!m_pNV12Y || !m_pNV12UV || !m_pShaderProgram)
        return;
    float vertices[8] = {};
    CalcuVertex(vertices);
    m_pState->DrawPicture(*m_pShaderProgram, LayoutOf(OVEL_DISPLAY_NV12), m_pNV12Y, {m_nTexIdY, m_nTexIdU, 0},
                          TextureStorage::Respecified, vertices, m_pState->Parameters().rotate);
}

void CLS_ShaderYuv::VideoRotateMirror()
{
    if (m_pShaderProgram)
        m_pState->SetMatrix(*m_pShaderProgram, m_pState->Parameters().rotate);
}

void CLS_ShaderYuv::paintDraw(bool bBlendPass)
{
    m_pState->LoadOverlays(OverlayKinds::LinesAndShapes);
    if (bBlendPass)
        m_pState->overlayPainter.PaintTranslucent();
    else
        m_pState->overlayPainter.PaintOpaque();
}

int CLS_ShaderYuv::DrawCallbackToPlayer(unsigned int uiFrameParam)
{
    const auto destination = [this]() -> tagQRECT {
        const tagOvelZoomArea part = m_pState->Parameters().destination;
        const QSize size = m_pState->WidgetSize();
        return {TruncateToInt(part.left * size.width()), TruncateToInt(part.top * size.height()),
                TruncateToInt(part.right * size.width()), TruncateToInt(part.bottom * size.height())};
    };
    return m_pState->CallPlayer(uiFrameParam, m_uiDrawFrameParam, destination,
                                &CLS_ShaderYuv::DrawCallbackToRender);
}

int CLS_ShaderYuv::DrawCallbackToRender(void* pData, int iLen, void* pRender)
{
    return SinkRecord(pRender,
                      [&] { return static_cast<CLS_ShaderYuv*>(pRender)->SaveDrawGrapInfo(pData, iLen); });
}

int CLS_ShaderYuv::SaveDrawGrapInfo(void* pData, int iLen)
{
    return m_pState->StoreRecord(pData, iLen);
}

int CLS_ShaderYuv::SetParam(int iCmd, void* pData, int iLen)
{
    const int result = CLS_ShaderBase::SetParam(iCmd, pData, iLen);
    if (iCmd == OVELCMD_SET_EZOOM_AREA || (iCmd == OVELCMD_SET_COLOR && result == 0))
        Q_EMIT signalUpdate();
    return result;
}

int CLS_ShaderYuv::GetParam(int iCmd, void* pData, int iLen)
{
    return CLS_ShaderBase::GetParam(iCmd, pData, iLen);
}

void CLS_ShaderYuv::ClearDraw()
{
    // First of all, so that no resize in between brings overlays back.
    m_pState->ForgetCallback();
    InnerClearDrawInfo();
    Q_EMIT signalDrawTextInfo();
    if (blReserveLastFrm == 0)
        Release();
    else
        Q_EMIT signalUpdate();
    api_sdk_log_msg("CLS_ShaderYuv::ClearDraw, blReserveLastFrm=%d", blReserveLastFrm.load());
}

void CLS_ShaderYuv::LineTriangulation(double dLineWidth, std::vector<Point2F>& vecPoints)
{
    TriangulateLine(dLineWidth, vecPoints, m_vecRectMesh);
}
