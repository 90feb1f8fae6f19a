#include "CLS_ShaderBase.h"

#include "Guarded.h"
#include "LiveRenderers.h"
#include "OsCoreApi.h"
#include "ShaderBaseState.h"
#include "parts/LabelText.h"
#include "picture/DisplayGeometry.h"

#include <QEvent>
#include <QLayout>
#include <QMetaMethod>
#include <QPointer>
#include <QSurfaceFormat>

namespace
{

tagQRECT FromQRect(const QRect& rect)
{
    return {rect.left(), rect.top(), rect.right(), rect.bottom()};
}

QRect ToQRect(const tagQRECT& rect)
{
    return QRect(QPoint(rect.left, rect.top), QPoint(rect.right, rect.bottom));
}

// The first half of a label pass; whether there is a second.
bool TakeTexts(ShaderBaseState& parts)
{
    bool labelsChange = false;
    parts.overlays.Read([&](QVector<__tagQDrawGraphInfo>& records, quint64 serial) {
        labelsChange = parts.labels.Take(records, serial);
    });
    return labelsChange;
}

// Labels change before the paint: inside it they would make Qt compose the window twice. While a frame is
// being taken its texts are not complete, the paint then does it; over black, which is all that is shown
// without a picture, there are none.
void RepaintOnRequest(CLS_ShaderBase& renderer, ShaderBaseState& parts)
{
    renderer.update();
    const bool hasLabels = parts.overlays.HasTexts() || parts.labels.IsInUse();
    if (!hasLabels || renderer.m_nDisplayType == -1) {
        return;
    }
    FrameLock lock = FrameLock::IfFree(parts.gate);
    const bool labelsChange = lock && TakeTexts(parts);
    lock.Unlock();
    if (labelsChange) {
        parts.labels.Show(); // last: a host's event filter may end the renderer
    }
}

void RunLabelPassOnSignal(CLS_ShaderBase& renderer, ShaderBaseState& parts)
{
    FrameLock lock = FrameLock::IfFree(parts.gate);
    if (!lock) {
        renderer.update();
        if (!renderer.isVisible()) { // no paint will see to the texts that were there
            parts.labels.Hide();
        }
        return;
    }
    // After a stop nothing but black is shown, also when a resize has brought new texts meanwhile.
    const bool isStopped = renderer.m_nDisplayType == -1 && parts.frames.Serial() != 0;
    const bool labelsChange = !isStopped && TakeTexts(parts);
    lock.Unlock();
    if (isStopped) {
        parts.labels.Hide();
    } else {
        parts.labels.FinishPass(labelsChange);
    }
}

// What the Qt calls of the GUI thread can tell the others.
void NoteWidget(const CLS_ShaderBase& renderer, ShaderBaseState& parts)
{
    parts.view.NoteWidget(renderer.isVisible(), renderer.size());
}

// What connections come and go. Stays so: Qt does not tell when the last one that listened is deleted.
void NoteConnection(const QMetaMethod& signal, ShaderBaseState& parts)
{
    // Not valid when all of an object went.
    if (!signal.isValid() || signal.name() == "signalUpdate") {
        parts.updateIsHeard = true;
    }
}

} // namespace

CLS_ShaderBase::CLS_ShaderBase(QWidget* parent)
    : QOpenGLWidget(parent), m_nVideoWidth(0), m_nVideoHeight(0), m_pYuvBuf(nullptr), m_pNV12Y(nullptr),
      m_pNV12UV(nullptr), m_nDisplayType(0), m_bGLInited(false), m_nYuvBufSize(0), m_pfnDrawCallback(nullptr),
      m_pDrawCallbackUser(nullptr), m_stEZoomArea(WholeArea), m_pLabelParent(nullptr), m_pLabel{},
      m_bLabelShown(false), blReserveLastFrm(0), m_bNeedFreeSource(false), m_nVideoRotateDirection(0),
      m_nVideoRotateAngle(0), mirrorType(0),
      m_pState(std::make_unique<ShaderBaseState>(
          RendererFields{m_mutexYuvBuf,
                         m_mutexDrawInfo,
                         {m_nVideoWidth, m_nVideoHeight, m_nYuvBufSize, m_pYuvBuf, m_pNV12Y, m_pNV12UV},
                         m_vecDrawGraphInfo,
                         m_pfnDrawCallback,
                         m_pDrawCallbackUser,
                         {m_stEZoomArea, m_rcDrawDst, m_stDrawDstNorm, m_nVideoRotateDirection,
                          m_nVideoRotateAngle, mirrorType},
                         {m_pLabel, m_pLabelParent, m_bLabelShown}},
          *this, [this] { RepaintOnRequest(*this, *m_pState); }))
{
    // A paint that draws nothing keeps the picture, and Qt clears nothing that is painted over anyway.
    setUpdateBehavior(QOpenGLWidget::PartialUpdate);
    // Video gains nothing from multisampling; a host's default format would make every paint shade and
    // resolve it.
    QSurfaceFormat surface = format();
    surface.setSamples(0);
    setFormat(surface);
    connect(this, &CLS_ShaderBase::signalDrawTextInfo, this,
            [this] { RunLabelPassOnSignal(*this, *m_pState); });
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
        if (e->type() == QEvent::Show) {
            update();
        }
        // The event may be what deletes the widget: a deferred deletion, a host's call that was queued to it.
        const QPointer<CLS_ShaderBase> self(this);
        const bool handled = QOpenGLWidget::event(e);
        if (self) {
            NoteWidget(*this, *m_pState);
            // Qt makes the context before the first paint of a visible widget, or not at all.
            if (e->type() == QEvent::Paint && isVisible() && !isValid()) {
                m_pState->painter.ReportMissing(format());
            }
        }
        return handled;
    });
}

void CLS_ShaderBase::connectNotify(const QMetaMethod& signal)
{
    NoteConnection(signal, *m_pState);
    QOpenGLWidget::connectNotify(signal);
}

void CLS_ShaderBase::disconnectNotify(const QMetaMethod& signal)
{
    NoteConnection(signal, *m_pState);
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
    if (!pLayout) {
        return -1;
    }
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
    return m_pState->frames.Reset(iWidth, iHeight, iSize);
}

void CLS_ShaderBase::InnerClearDrawInfo()
{
    m_pState->overlays.Clear();
}

bool CLS_ShaderBase::isOpenGLES()
{
    return false;
}

int CLS_ShaderBase::SetParam(int iCmd, void* pData, int iLen)
{
    if (!pData || iLen < 1) {
        return -1;
    }
    switch (iCmd) {
    case OVELCMD_SET_DRAW_CALLBACK: {
        tagOvelDrawCallback callback = m_pState->callback.Get();
        CopyPayload(callback, pData, iLen);
        return m_pState->callback.Set(callback) ? 0 : -1;
    }
    case OVELCMD_SET_EZOOM_AREA: {
        const tagOvelZoomArea area = m_pState->view.SetZoom(pData, iLen);
        api_sdk_log_msg(
            "[OvelRender::SetParam]OVELCMD_SET_EZOOM_AREA left = %f top = %f right = %f bottom = %f",
            area.left, area.top, area.right, area.bottom);
        return 0;
    }
    case OVELCMD_SET_LABEL_PARENT:
        m_pState->labels.SetParent(static_cast<QWidget*>(pData));
        if (m_pState->repaintRequest.IsGuiThread()) {
            m_pState->labels.FindParent();
        }
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
    case OVELCMD_SET_COLOR:
        return m_pState->view.SetColor(pData, iLen) ? 0 : -1;
    default:
        return -1;
    }
}

void CLS_ShaderBase::OnSetVideoRotatePara(void* pData, int iLen)
{
    if (!pData || iLen < 1) {
        return;
    }
    const tagOvelVideoRotate rotate = m_pState->view.SetRotation(pData, iLen);
    // The line number is part of the text that log readers know.
    api_sdk_log_msg(
        "%s::%s(%d) OnSetVideoRotatePara m_nVideoRotateAngle:%d, m_nVideoRotateDirection=%d, mirrorType: %d",
        "CLS_ShaderBase", "OnSetVideoRotatePara", 569, rotate.iAngle, rotate.iDirection, rotate.iMirrorType);
}

int CLS_ShaderBase::SetDrawRatioMode(void* payload, int size)
{
    if (!payload || size < 1) {
        return -1;
    }
    int mode = 0;
    CopyPayload(mode, payload, size);
    const QSize widget = m_pState->WidgetSize(*this);
    tagQRECT rect{0, 0, widget.width() - 1, widget.height() - 1};
    api_sdk_log_msg("[CLS_ShaderBase::SetDrawRatioMode] before l=%d, t=%d, r=%d, b=%d", rect.left, rect.top,
                    rect.right, rect.bottom);
    if (mode == 0) {
        FitAspect(rect, m_nVideoWidth, m_nVideoHeight);
    }
    m_pState->view.SetDestination(rect, widget);
    api_sdk_log_msg("[CLS_ShaderBase::SetDrawRatioMode]after l=%d, t=%d, r=%d, b=%d", rect.left, rect.top,
                    rect.right, rect.bottom);
    return 0;
}

int CLS_ShaderBase::SetDrawDstRect(void* payload, int size)
{
    if (!payload || size < 1) {
        return -1;
    }
    const QSize widget = m_pState->WidgetSize(*this);
    api_sdk_log_msg("[CLS_ShaderBase::SetDrawDstRect] width=%d, height=%d", widget.width(), widget.height());
    tagQRECT rect = {};
    CopyPayload(rect, payload, size);
    const bool visible = static_cast<int64_t>(rect.right) - rect.left + 1 >= 2 &&
                         static_cast<int64_t>(rect.bottom) - rect.top + 1 >= 2;
    const tagOvelZoomArea norm = m_pState->view.SetDestination(rect, visible ? widget : QSize());
    api_sdk_log_msg("[CLS_ShaderBase::SetDrawDstRect] left=%d, top=%d , right =%d ,bottom = %d", rect.left,
                    rect.top, rect.right, rect.bottom);
    if (!visible) {
        return -1;
    }
    api_sdk_log_msg("[CLS_ShaderBase::SetDrawDstRect] left=%.2f, top=%.2f , right =%.2f ,bottom = %.2f",
                    norm.left, norm.top, norm.right, norm.bottom);
    return 0;
}

QRect CLS_ShaderBase::GetDrawDstRect()
{
    QRect rect = m_pState->view.DestinationPixels();
    if (IsRectEmpty(rect)) {
        const QSize widget = m_pState->WidgetSize(*this);
        rect = QRect(QPoint(0, 0), QPoint(widget.width() - 1, widget.height() - 1));
    }
    return RectAlign2(rect);
}

void CLS_ShaderBase::CalcuVertex(float (&vertices)[8])
{
    const ViewParameters parameters = m_pState->view.Get();
    ComputeQuad(parameters.destination, parameters.zoom, vertices);
}

void CLS_ShaderBase::DrawTextInfo()
{
    m_pState->labels.Outdate();
    m_pState->labels.FinishPass(TakeTexts(*m_pState));
}

void CLS_ShaderBase::AddLabel(int iIndex, __tagQDrawGraphInfo* pInfo)
{
    if (static_cast<unsigned int>(iIndex) >= OVEL_LABELS || !pInfo || pInfo->iPointNum < 2) {
        return;
    }
    PullBelowTop(*pInfo);
    if (pInfo->iFontSize <= 0) {
        WarnOfMissingFontSize();
    }
    m_pState->labels.ShowRecord(iIndex, *pInfo);
    m_pState->labels.Outdate();
}

void CLS_ShaderBase::ClearLabel()
{
    m_pState->labels.Clear();
}

void CLS_ShaderBase::DeleteLabels()
{
    m_pState->labels.Delete();
}

int DrawAdjustDstSurfaceRect(tagQRECT* rect, int width, int height)
{
    if (!rect) {
        return -1;
    }
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
