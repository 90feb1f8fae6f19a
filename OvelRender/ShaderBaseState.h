// The parts of a renderer, each made from the fields of its class that it works on.
#pragma once

#include "CLS_ShaderBase.h"
#include "parts/ContextPainter.h"
#include "parts/FrameLock.h"
#include "parts/FrameStore.h"
#include "parts/LabelBoard.h"
#include "parts/OverlayList.h"
#include "parts/PlayerCallback.h"
#include "parts/RepaintRequest.h"
#include "parts/ViewStore.h"

struct ShaderBaseState {
    // Does `repaint` on the GUI thread when one was requested.
    ShaderBaseState(CLS_ShaderBase& r, std::function<void()> repaint)
        : gate(r.m_mutexYuvBuf),
          frames({r.m_nVideoWidth, r.m_nVideoHeight, r.m_nYuvBufSize, r.m_pYuvBuf, r.m_pNV12Y, r.m_pNV12UV}),
          overlays(r.m_mutexDrawInfo, r.m_vecDrawGraphInfo),
          callback(r.m_pfnDrawCallback, r.m_pDrawCallbackUser),
          view({r.m_stEZoomArea, r.m_rcDrawDst, r.m_stDrawDstNorm, r.m_nVideoRotateDirection,
                r.m_nVideoRotateAngle, r.mirrorType}),
          labels({r.m_pLabel, r.m_pLabelParent, r.m_bLabelShown}, r), repaintRequest(std::move(repaint))
    {
    }

    // Any thread. A hidden widget is resized without an event: only Qt knows its size.
    QSize WidgetSize(const QWidget& widget) const
    {
        const bool ask = repaintRequest.IsGuiThread() || !view.IsVisible();
        return ask ? widget.size() : view.VisibleSize();
    }

    FrameGate gate;
    FrameStore frames;
    OverlayList overlays;
    PlayerCallback callback;
    ViewStore view;
    LabelBoard labels;
    ContextPainter painter;
    RepaintRequest repaintRequest;
    // Whether somebody but the renderer may hear signalUpdate. To emit it for oneself costs a feeding thread
    // whose caches a paint has emptied 7 us, a quarter of a hand-over beside its copy.
    std::atomic<bool> updateIsHeard{false};
    QMetaObject::Connection contextLost;
};
