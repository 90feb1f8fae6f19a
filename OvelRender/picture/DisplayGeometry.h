// Where picture and overlays land: aspect fit, picture quad, overlay mapping, rotation. No GL, no widget, no
// state.
#pragma once

#include "OvelInterface.h"

#include <QMatrix4x4>

constexpr tagOvelZoomArea WholeArea{0.0, 0.0, 1.0, 1.0};

// Rounds toward zero; values beyond int32 and NaN end at its limits and at 0.
int TruncateToInt(double value);

// Shrinks the rectangle around its centre to the aspect of a width x height picture. Leaves it alone when a
// division by zero would decide.
void FitAspect(tagQRECT& rect, int width, int height);

// The rectangle as fractions of a widget of at least 1 x 1 pixels, in single precision as stored by hosts
// since ever.
tagOvelZoomArea NormaliseRect(const tagQRECT& rect, int widgetWidth, int widgetHeight);

// The picture's corners in device coordinates (bottom-left, bottom-right, top-left, top-right; x then y).
void ComputeQuad(const tagOvelZoomArea& destination, const tagOvelZoomArea& zoom, float (&vertices)[8]);

// Whether a quad, turned by quarters or mirrored as it may be, leaves no pixel of the viewport free.
bool CoversViewport(const float (&vertices)[8]);

// Whether every coordinate is a number that the GPU can work with.
bool IsDrawable(const float (&vertices)[8]);

// Widget pixels of the unzoomed view to device coordinates: (x / kx + offX, offY - y / ky), in single
// precision.
struct OverlayMapping {
    float kx;
    float ky;
    float offX;
    float offY;
};
OverlayMapping ComputeOverlayMapping(int widgetWidth, int widgetHeight, const tagOvelZoomArea& zoom);

// The view is turned first, then mirrored; made of quarter turns and reflections only.
QMatrix4x4 ComputeViewMatrix(const tagOvelVideoRotate& rotate);
