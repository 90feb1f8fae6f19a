#include "ViewState.h"

#include <algorithm>
#include <cmath>

namespace
{

constexpr double SmallestZoomArea = 1.0 / 32.0;

void SetZoomArea(tagOvelZoomArea& zoom, QPointF topLeft, double size)
{
    zoom.left = std::clamp(topLeft.x(), 0.0, 1.0 - size);
    zoom.top = std::clamp(topLeft.y(), 0.0, 1.0 - size);
    zoom.right = zoom.left + size;
    zoom.bottom = zoom.top + size;
}

} // namespace

double LegibleScale(QSize widget)
{
    return std::max(1.0, widget.height() / 1080.0);
}

bool ViewState::IsZoomed() const
{
    return Zoom.right - Zoom.left < 1.0;
}

double ViewState::Magnification() const
{
    return 1.0 / (Zoom.right - Zoom.left);
}

QPointF ViewState::ToShown(QPointF unzoomed) const
{
    const double size = Zoom.right - Zoom.left;
    double x = 2.0 * (unzoomed.x() - Zoom.left) / size - 1.0;
    double y = 1.0 - 2.0 * (unzoomed.y() - Zoom.top) / size;
    for (int turn = 0; turn < QuarterTurns; ++turn) {
        const double turned = y;
        y = -x;
        x = turned;
    }
    x = Mirror == 1 ? -x : x;
    y = Mirror == 2 ? -y : y;
    return {(x + 1.0) / 2.0, (1.0 - y) / 2.0};
}

QPointF ViewState::ToUnzoomed(QPointF shown) const
{
    double x = 2.0 * shown.x() - 1.0;
    double y = 1.0 - 2.0 * shown.y();
    x = Mirror == 1 ? -x : x;
    y = Mirror == 2 ? -y : y;
    for (int turn = 0; turn < QuarterTurns; ++turn) {
        const double turned = -y;
        y = x;
        x = turned;
    }
    const double size = Zoom.right - Zoom.left;
    return {Zoom.left + size * (x + 1.0) / 2.0, Zoom.top + size * (1.0 - y) / 2.0};
}

void ViewState::ZoomAt(QPointF shown, double factor)
{
    const double before = Zoom.right - Zoom.left;
    const double after = std::clamp(before / factor, SmallestZoomArea, 1.0);
    const QPointF anchor = ToUnzoomed(shown);
    const QPointF corner(Zoom.left, Zoom.top);
    SetZoomArea(Zoom, anchor - (anchor - corner) * (after / before), after);
}

void ViewState::ZoomTo(const QRectF& shown)
{
    const QPointF one = ToUnzoomed(shown.topLeft());
    const QPointF other = ToUnzoomed(shown.bottomRight());
    const double extent = std::max(std::abs(one.x() - other.x()), std::abs(one.y() - other.y()));
    const double size = std::clamp(extent, SmallestZoomArea, 1.0);
    SetZoomArea(Zoom, (one + other) / 2.0 - QPointF(size / 2.0, size / 2.0), size);
}

void ViewState::ResetZoom()
{
    Zoom = {0.0, 0.0, 1.0, 1.0};
}

tagOvelVideoRotate ViewState::RotatePayload() const
{
    return {0, QuarterTurns * 90, Mirror};
}

tagQRECT ViewState::Destination(QSize widget, QSizeF picture) const
{
    const bool onItsSide = QuarterTurns % 2 != 0;
    const QSizeF shown = onItsSide ? picture.transposed() : picture;
    const QSizeF fitted = shown.scaled(QSizeF(widget), Qt::KeepAspectRatio);
    double across = fitted.width() / widget.width();
    double down = fitted.height() / widget.height();
    if (onItsSide) {
        std::swap(across, down);
    }
    const int width = static_cast<int>(std::lround(across * widget.width()));
    const int height = static_cast<int>(std::lround(down * widget.height()));
    const int left = (widget.width() - width) / 2;
    const int top = (widget.height() - height) / 2;
    return {left, top, left + width, top + height};
}
