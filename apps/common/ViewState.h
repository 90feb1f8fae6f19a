// How a tile looks at its picture: turns, mirror, fit and zoom, and the mapping between what the pointer
// touches and what the renderer's coordinates mean. Plain arithmetic on values.
#pragma once

#include <OvelInterface.h>

#include <QPointF>
#include <QRectF>
#include <QSize>

// How much larger than usual lines and letters over a large widget are: 1 up to 1080 pixels, 2 in 4K without a
// scale of the screen.
double LegibleScale(QSize widget);

struct ViewState {
    int QuarterTurns = 0; // clockwise, 0 to 3
    int Mirror = 0;       // 0 none, 1 left and right swapped, 2 upside down
    bool KeepRatio = true;
    tagOvelZoomArea Zoom{0.0, 0.0, 1.0, 1.0};

    bool IsZoomed() const;
    double Magnification() const;
    // From a fraction of the unzoomed, unturned view (overlay points, zoom area) to a fraction of the shown
    // one, and back.
    QPointF ToShown(QPointF unzoomed) const;
    QPointF ToUnzoomed(QPointF shown) const;
    // Magnifies by a factor; what lies under the shown position stays there.
    void ZoomAt(QPointF shown, double factor);
    // Magnifies a rectangle of the shown view, grown so that the picture keeps its proportions.
    void ZoomTo(const QRectF& shown);
    void ResetZoom();

    tagOvelVideoRotate RotatePayload() const;
    // Where to put a picture of that display size so that it keeps its proportions after the turn: the
    // renderer turns the view as a square, so a quarter turn swaps the fractions of width and height.
    tagQRECT Destination(QSize widget, QSizeF picture) const;
};
