// Overlay records from what applications think in: fractions of the picture, colours, labels with a background.
#pragma once

#include "ViewState.h"

#include <OvelInterface.h>

#include <QByteArray>
#include <QColor>

#include <initializer_list>

// Lines and shapes show a component c as c / 126 - 1.
uint32_t GraphColor(const QColor& color);
uint32_t LabelColor(const QColor& color);

// Fractions of the picture to widget pixels.
tagQPOINT PlaceOnPicture(const __tagQDrawCallbackInfo& info, QPointF fraction);

__tagQDrawGraphInfo MakeGraph(int type, uint32_t color, int lineWidth, const __tagQDrawCallbackInfo& info,
                              std::initializer_list<QPointF> points);
void SendGraph(const __tagQDrawCallbackInfo& info, __tagQDrawGraphInfo graph);

// How the tile looks at its picture: labels do not follow zoom and turns by themselves.
struct TileView {
    ViewState View;
    QSize Widget;
};

struct OverlayLabel {
    QByteArray Text; // UTF-8
    int Width = 0;   // widget pixels at a scale of 1
    uint32_t Color = 0;
};

// A text that shows in a label as it is written, whatever it looks like.
QString AsWritten(const QString& text);

// What fits a label, as it is written.
OverlayLabel MakeLabel(const QString& text, uint32_t color);

// Puts a label with a dark plate under it on the upper edge of a box as it is shown. To be sent last: opaque
// overlays that come later lie on top.
void SendBoxLabel(const __tagQDrawCallbackInfo& info, const TileView& view, const QRectF& box,
                  const OverlayLabel& label);
