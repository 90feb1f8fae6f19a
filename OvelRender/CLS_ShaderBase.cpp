#include "CLS_ShaderBase.h"

#include "Guarded.h"
#include "LiveRenderers.h"
#include "OsCoreApi.h"
#include "ShaderBaseState.h"
#include "picture/DisplayGeometry.h"

#include <QEvent>
#include <QLabel>
#include <QLayout>
#include <QMutexLocker>
#include <QSurfaceFormat>
#include <QThread>

#include <algorithm>
#include <cstring>
#include <limits>

namespace
{

// A payload over the leading bytes of a value.
template <typename Value> void CopyPayload(Value& value, const void* pData, int iLen)
{
    static_assert(std::is_trivially_copyable_v<Value>);
    std::memcpy(&value, pData, std::min(static_cast<size_t>(iLen), sizeof(Value)));
}

qint64 PackSize(const QSize& size)
{
    return (static_cast<qint64>(size.width()) << 32) | static_cast<quint32>(size.height());
}

tagQRECT FromQRect(const QRect& rect)
{
    return {rect.left(), rect.top(), rect.right(), rect.bottom()};
}

QRect ToQRect(const tagQRECT& rect)
{
    return QRect(QPoint(rect.left, rect.top), QPoint(rect.right, rect.bottom));
}

} // namespace

CLS_ShaderBase::CLS_ShaderBase(QWidget* parent)
    : QOpenGLWidget(parent), m_nVideoWidth(0), m_nVideoHeight(0), m_pYuvBuf(nullptr), m_pNV12Y(nullptr),
      m_pNV12UV(nullptr), m_nDisplayType(0), m_bGLInited(false), m_nYuvBufSize(0), m_pfnDrawCallback(nullptr),
      m_pDrawCallbackUser(nullptr), m_stEZoomArea(WholeArea), m_pLabelParent(nullptr), m_pLabel{},
      m_bLabelShown(false), blReserveLastFrm(0), m_bNeedFreeSource(false), m_nVideoRotateDirection(0),
      m_nVideoRotateAngle(0), mirrorType(0), m_pState(std::make_unique<ShaderBaseState>(*this))
{
    // A paint that draws nothing keeps the picture, and Qt clears nothing that is painted over anyway.
    setUpdateBehavior(QOpenGLWidget::PartialUpdate);
    // Video gains nothing from multisampling; a host's default format would make every paint shade and
    // resolve it.
    QSurfaceFormat surface = format();
    surface.setSamples(0);
    setFormat(surface);
    connect(this, &CLS_ShaderBase::signalDrawTextInfo, this, [this] { DrawTextInfo(); });
    AddLiveRenderer(this);
    m_stDrawDstNorm = m_stEZoomArea;
}

CLS_ShaderBase::~CLS_ShaderBase()
{
    RetireLiveRenderer(this);
    DeleteLabels();
}

bool CLS_ShaderBase::event(QEvent* e)
{
    return Guarded(false, [&] {
        if (m_pState->repaint.Take(*e)) {
            // Before the paint: labels changed inside it would make Qt compose the window twice.
            if (m_pState->hasTexts || m_bLabelShown)
                m_pState->SyncLabels();
            update();
            return true;
        }
        if (e->type() == QEvent::Show)
            update();
        if (e->type() == QEvent::DeferredDelete)
            return QOpenGLWidget::event(e); // when it returns there is no object any more
        const bool handled = QOpenGLWidget::event(e);
        m_pState->visibleSize = isVisible() ? PackSize(size()) : -1;
        return handled;
    });
}

void CLS_ShaderBase::connectNotify(const QMetaMethod& signal)
{
    m_pState->NoteConnection(signal);
    QOpenGLWidget::connectNotify(signal);
}

void CLS_ShaderBase::disconnectNotify(const QMetaMethod& signal)
{
    m_pState->NoteConnection(signal);
    QOpenGLWidget::disconnectNotify(signal);
}

QSize CLS_ShaderBase::sizeHint() const
{
    return {200, 200};
}

QSize CLS_ShaderBase::minimumSizeHint() const
{
    return {50, 50};
}

void CLS_ShaderBase::resizeGL(int width, int height)
{
    glViewport(0, 0, width, height == 0 ? 1 : height);
}

int CLS_ShaderBase::Create(void* pLayout)
{
    if (!pLayout)
        return -1;
    static_cast<QLayout*>(pLayout)->addWidget(this);
    return 0;
}

int CLS_ShaderBase::Release()
{
    return 0;
}

int CLS_ShaderBase::GetParam(int, void*, int)
{
    return -1;
}

void CLS_ShaderBase::ClearDraw() {}

void CLS_ShaderBase::InnerFreeSource() {}

int CLS_ShaderBase::InnerResetYuvBuf(int iWidth, int iHeight, int iSize)
{
    if (iWidth < 1 || iHeight < 1)
        return -1;
    m_pState->DropBuffer();
    m_nVideoWidth = iWidth;
    m_nVideoHeight = iHeight;
    m_nYuvBufSize = iSize;
    const int64_t bytes = iSize >= 1 ? iSize : PictureBytes(iWidth, iHeight);
    if (bytes > std::numeric_limits<int>::max())
        return -1;
    return m_pState->AllocateBuffer(static_cast<size_t>(bytes)) ? 0 : -1;
}

void CLS_ShaderBase::InnerClearDrawInfo()
{
    const QMutexLocker lock(&m_mutexDrawInfo);
    if (m_vecDrawGraphInfo.isEmpty())
        return;
    m_vecDrawGraphInfo.resize(0);
    ++m_pState->overlays;
}

bool CLS_ShaderBase::isOpenGLES()
{
    return false;
}

int CLS_ShaderBase::SetParam(int iCmd, void* pData, int iLen)
{
    if (!pData || iLen < 1)
        return -1;
    switch (iCmd) {
    case OVELCMD_SET_DRAW_CALLBACK: {
        const std::lock_guard<std::recursive_mutex> lock(m_pState->mutexCallback);
        tagOvelDrawCallback callback{m_pfnDrawCallback, m_pDrawCallbackUser};
        CopyPayload(callback, pData, iLen);
        m_pfnDrawCallback = callback.pfnDrawCallback;
        m_pDrawCallbackUser = callback.pUser;
        return 0;
    }
    case OVELCMD_SET_EZOOM_AREA: {
        tagOvelZoomArea area;
        {
            const std::lock_guard<std::mutex> lock(m_pState->mutexParameters);
            CopyPayload(m_stEZoomArea, pData, iLen);
            area = m_stEZoomArea;
        }
        api_sdk_log_msg(
            "[OvelRender::SetParam]OVELCMD_SET_EZOOM_AREA left = %f top = %f right = %f bottom = %f",
            area.left, area.top, area.right, area.bottom);
        return 0;
    }
    case OVELCMD_SET_LABEL_PARENT:
        m_pLabelParent = static_cast<QWidget*>(pData);
        return 0;
    case OVELCMD_SET_STOPDRAW_PARA: {
        int reserve = blReserveLastFrm;
        CopyPayload(reserve, pData, iLen);
        blReserveLastFrm = reserve;
        api_sdk_log_msg("CLS_ShaderBase::SetParam-OVELCMD_SET_STOPDRAW_PARA blReserveLastFrm=%d", reserve);
        return 0;
    }
    case OVELCMD_SET_VIDEO_ROTATE:
        OnSetVideoRotatePara(pData, iLen);
        return 0;
    case OVELCMD_SET_DRAW_RATIO_MODE:
        return SetDrawRatioMode(pData, iLen);
    case OVELCMD_SET_DRAW_DST_RECT:
        return SetDrawDstRect(pData, iLen);
    case OVELCMD_SET_COLOR: {
        const std::lock_guard<std::mutex> lock(m_pState->mutexParameters);
        tagOvelColor color = m_pState->pictureColor;
        CopyPayload(color, pData, iLen);
        if (!IsKnownColor(color))
            return -1;
        m_pState->pictureColor = color;
        return 0;
    }
    default:
        return -1;
    }
}

void CLS_ShaderBase::OnSetVideoRotatePara(void* pData, int iLen)
{
    if (!pData || iLen < 1)
        return;
    tagOvelVideoRotate rotate;
    {
        const std::lock_guard<std::mutex> lock(m_pState->mutexParameters);
        rotate = {m_nVideoRotateDirection, m_nVideoRotateAngle, mirrorType};
        CopyPayload(rotate, pData, iLen);
        m_nVideoRotateDirection = rotate.iDirection;
        m_nVideoRotateAngle = rotate.iAngle;
        mirrorType = rotate.iMirrorType;
    }
    // The line number is part of the text that log readers know.
    api_sdk_log_msg(
        "%s::%s(%d) OnSetVideoRotatePara m_nVideoRotateAngle:%d, m_nVideoRotateDirection=%d, mirrorType: %d",
        "CLS_ShaderBase", "OnSetVideoRotatePara", 569, rotate.iAngle, rotate.iDirection, rotate.iMirrorType);
}

int CLS_ShaderBase::SetDrawRatioMode(void* payload, int size)
{
    if (!payload || size < 1)
        return -1;
    int mode = 0;
    CopyPayload(mode, payload, size);
    const QSize widget = m_pState->WidgetSize();
    tagQRECT rect{0, 0, widget.width() - 1, widget.height() - 1};
    api_sdk_log_msg("[CLS_ShaderBase::SetDrawRatioMode] before l=%d, t=%d, r=%d, b=%d", rect.left, rect.top,
                    rect.right, rect.bottom);
    if (mode == 0)
        FitAspect(rect, m_nVideoWidth, m_nVideoHeight);
    m_pState->StoreDestination(rect, widget);
    api_sdk_log_msg("[CLS_ShaderBase::SetDrawRatioMode]after l=%d, t=%d, r=%d, b=%d", rect.left, rect.top,
                    rect.right, rect.bottom);
    return 0;
}

int CLS_ShaderBase::SetDrawDstRect(void* payload, int size)
{
    if (!payload || size < 1)
        return -1;
    const QSize widget = m_pState->WidgetSize();
    api_sdk_log_msg("[CLS_ShaderBase::SetDrawDstRect] width=%d, height=%d", widget.width(), widget.height());
    tagQRECT rect = {};
    CopyPayload(rect, payload, size);
    const bool visible = static_cast<int64_t>(rect.right) - rect.left + 1 >= 2 &&
                         static_cast<int64_t>(rect.bottom) - rect.top + 1 >= 2;
    const tagOvelZoomArea norm = m_pState->StoreDestination(rect, visible ? widget : QSize());
    api_sdk_log_msg("[CLS_ShaderBase::SetDrawDstRect] left=%d, top=%d , right =%d ,bottom = %d", rect.left,
                    rect.top, rect.right, rect.bottom);
    if (!visible)
        return -1;
    api_sdk_log_msg("[CLS_ShaderBase::SetDrawDstRect] left=%.2f, top=%.2f , right =%.2f ,bottom = %.2f",
                    norm.left, norm.top, norm.right, norm.bottom);
    return 0;
}

QRect CLS_ShaderBase::GetDrawDstRect()
{
    QRect rect;
    {
        const std::lock_guard<std::mutex> lock(m_pState->mutexParameters);
        rect = m_rcDrawDst;
    }
    if (IsRectEmpty(rect)) {
        const QSize widget = m_pState->WidgetSize();
        rect = QRect(QPoint(0, 0), QPoint(widget.width() - 1, widget.height() - 1));
    }
    return RectAlign2(rect);
}

void CLS_ShaderBase::CalcuVertex(float (&vertices)[8])
{
    const ViewParameters parameters = m_pState->Parameters();
    ComputeQuad(parameters.destination, parameters.zoom, vertices);
}

int DrawAdjustDstSurfaceRect(tagQRECT* rect, int width, int height)
{
    if (!rect)
        return -1;
    FitAspect(*rect, width, height);
    return 0;
}

bool IsRectEmpty(QRect rect)
{
    const tagQRECT r = FromQRect(rect);
    return r.left == 0 && r.top == 0 && r.right == 0 && r.bottom == 0;
}

QRect RectAlign2(QRect rect)
{
    const tagQRECT r = FromQRect(rect);
    return ToQRect({r.left & ~1, r.top & ~1, r.right & ~1, r.bottom & ~1});
}
