#include "DisplayGeometry.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace
{

bool IsOpen(const tagOvelZoomArea& zoom)
{
    return zoom.right > zoom.left && zoom.bottom > zoom.top;
}

// Half of a side in pixels, never 0: the divisor that takes pixels to device coordinates.
int HalfSide(int side, double zoomed)
{
    const int half = TruncateToInt((side - 1) * zoomed * 0.5);
    return half == 0 ? 1 : half;
}

int HalfSideUnzoomed(int side)
{
    return static_cast<unsigned int>(side) < 3 ? 1 : (side - 1) / 2;
}

int Saturate(int64_t value)
{
    return static_cast<int>(
        std::clamp<int64_t>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

} // namespace

int TruncateToInt(double value)
{
    if (std::isnan(value)) {
        return 0;
    }
    constexpr double lowest = std::numeric_limits<int>::min();
    constexpr double highest = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(value, lowest, highest));
}

void FitAspect(tagQRECT& rect, int width, int height)
{
    const int64_t rectWidth = static_cast<int64_t>(rect.right) - rect.left;
    const int64_t rectHeight = static_cast<int64_t>(rect.bottom) - rect.top;
    if (width < 1 || height < 1 || rectHeight == 0) {
        return;
    }

    const double w = width;
    const double h = height;
    const double rw = static_cast<double>(rectWidth);
    const double rh = static_cast<double>(rectHeight);
    const double frameAspect = w / h;
    if (frameAspect > rw / rh) {
        const int64_t fitted = height > width ? TruncateToInt(rw / frameAspect) : TruncateToInt((h / w) * rw);
        const int64_t half = (rectHeight - fitted) / 2;
        rect.top = Saturate(rect.top + half);
        rect.bottom = Saturate(rect.bottom - half);
    } else {
        const int64_t half = (rectWidth - TruncateToInt(frameAspect * rh)) / 2;
        rect.left = Saturate(rect.left + half);
        rect.right = Saturate(rect.right - half);
    }
}

tagOvelZoomArea NormaliseRect(const tagQRECT& rect, int widgetWidth, int widgetHeight)
{
    const float w = static_cast<float>(widgetWidth);
    const float h = static_cast<float>(widgetHeight);
    return {static_cast<double>(static_cast<float>(rect.left) / w),
            static_cast<double>(static_cast<float>(rect.top) / h),
            static_cast<double>(static_cast<float>(rect.right) / w),
            static_cast<double>(static_cast<float>(rect.bottom) / h)};
}

void ComputeQuad(const tagOvelZoomArea& d, const tagOvelZoomArea& z, float (&vertices)[8])
{
    double xL = -1.0, xR = 1.0, yT = 1.0, yB = -1.0;
    if (IsOpen(z)) {
        const double width = z.right - z.left;
        const double height = z.bottom - z.top;
        xL = 2.0 * (d.left - z.left) / width - 1.0;
        xR = 2.0 * (d.right - z.left) / width - 1.0;
        yT = 1.0 - 2.0 * (d.top - z.top) / height;
        yB = 1.0 - 2.0 * (d.bottom - z.top) / height;
    }
    const double corners[8] = {xL, yB, xR, yB, xL, yT, xR, yT};
    std::transform(corners, corners + 8, vertices, [](double value) { return static_cast<float>(value); });
}

bool CoversViewport(const float (&v)[8])
{
    return v[0] <= -1.0f && v[1] <= -1.0f && v[6] >= 1.0f && v[7] >= 1.0f;
}

bool IsDrawable(const float (&vertices)[8])
{
    return std::all_of(vertices, vertices + 8, [](float value) { return std::isfinite(value); });
}

OverlayMapping ComputeOverlayMapping(int widgetWidth, int widgetHeight, const tagOvelZoomArea& zoom)
{
    if (!IsOpen(zoom)) {
        return {static_cast<float>(HalfSideUnzoomed(widgetWidth)),
                static_cast<float>(HalfSideUnzoomed(widgetHeight)), -1.0f, 1.0f};
    }
    const double width = zoom.right - zoom.left;
    const double height = zoom.bottom - zoom.top;
    return {static_cast<float>(HalfSide(widgetWidth, width)),
            static_cast<float>(HalfSide(widgetHeight, height)),
            static_cast<float>(-1.0 - 2.0 * zoom.left / width),
            static_cast<float>(1.0 + 2.0 * zoom.top / height)};
}

QMatrix4x4 ComputeViewMatrix(const tagOvelVideoRotate& rotate)
{
    QMatrix4x4 matrix;
    if (rotate.iMirrorType == 1) {
        matrix.rotate(180.0f, 0.0f, 1.0f, 0.0f);
    } else if (rotate.iMirrorType == 2) {
        matrix.rotate(180.0f, 1.0f, 0.0f, 0.0f);
    }

    const bool quarter = rotate.iAngle == 90 || rotate.iAngle == 270;
    if (quarter || rotate.iAngle == 180) {
        const bool clockwise = quarter && rotate.iDirection == 0;
        matrix.rotate(static_cast<float>(clockwise ? -rotate.iAngle : rotate.iAngle), 0.0f, 0.0f, 1.0f);
    }
    return matrix;
}
