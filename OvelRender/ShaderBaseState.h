// The parts of a renderer, each made from the fields of its class that it works on.
#pragma once

#include "RendererTraits.h"
#include "parts/CallTurn.h"
#include "parts/ContextPainter.h"
#include "parts/FrameLock.h"
#include "parts/FrameStore.h"
#include "parts/LabelBoard.h"
#include "parts/OverlayList.h"
#include "parts/PlayerCallback.h"
#include "parts/RepaintRequest.h"
#include "parts/ViewStore.h"

#include <atomic>
#include <functional>
#include <utility>

// Those fields of the class.
struct RendererFields {
    QMutex& frameMutex;
    QMutex& drawMutex;
    FrameFields frame;
    QVector<__tagQDrawGraphInfo>& records;
    OvelDrawCallback& callback;
    void*& callbackUser;
    ViewFields view;
    LabelFields labels;
};

struct ShaderBaseState {
    // Labels lie in `home`; `repaint` is done on the GUI thread when a repaint was requested.
    ShaderBaseState(const RendererFields& fields, QWidget& home, std::function<void()> repaint)
        : gate(fields.frameMutex), frames(fields.frame), overlays(fields.drawMutex, fields.records),
          callback(fields.callback, fields.callbackUser), view(fields.view), labels(fields.labels, home),
          repaintRequest(std::move(repaint))
    {
    }

    // Any thread. A hidden widget is resized without an event: only Qt knows its size.
    QSize WidgetSize(const QWidget& widget) const
    {
        const bool ask = repaintRequest.IsGuiThread() || !view.IsVisible();
        return ask ? widget.size() : view.VisibleSize();
    }

    std::unique_ptr<const RendererTraits> traits; // once the renderer itself is made
    CallTurn turn;
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
