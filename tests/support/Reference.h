// What a renderer must show, computed in double precision from the picture's planes: colour conversion,
// bilinear sampling, destination, zoom, turns, mirrors, overlays. Shares nothing with the library but the
// records.
#pragma once

#include "OvelInterface.h"

#include <QImage>
#include <QSize>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

namespace OvelTest
{

constexpr int Yv12 = OVEL_DISPLAY_YV12;
constexpr int Nv12 = OVEL_DISPLAY_NV12;
constexpr int Layouts[] = {Yv12, Nv12}; // those that are painted
using Records = std::vector<__tagQDrawGraphInfo>;

struct Plane {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> data = {};

    static size_t Count(int a, int b) { return static_cast<size_t>(a) * static_cast<size_t>(b); }
    void Fill(uint8_t value) { data.assign(Count(width, height), value); }
    uint8_t& At(int x, int y) { return data[Count(y, width) + static_cast<size_t>(x)]; }
    uint8_t At(int x, int y) const { return data[Count(y, width) + static_cast<size_t>(x)]; }
};

struct Picture {
    Picture(int w, int h) : width(w), height(h), luma{w, h}, u{w / 2, h / 2}, v{w / 2, h / 2} {}

    int width;
    int height;
    Plane luma;
    Plane u;
    Plane v;
};

// A picture without any symmetry, with U unlike V and neighbours that differ enough to show a row shifted by
// a byte.
Picture MakePicture(int width, int height, int seed = 0);
// One colour all over.
Picture PlainPicture(int width, int height, uint8_t luma, uint8_t u, uint8_t v);

// A frame with its source memory, allocated to the byte.
class Frame
{
public:
    enum Source { Block, Planes };

    Frame(const Picture& picture, int displayType, int pitch = 0, Source source = Block);
    Frame(Frame&&) = default; // a copy would not own what its descriptor points to
    Frame& operator=(Frame&&) = default;
    int Feed(void* handle) { return Ovel_ShowYuvFrame(handle, &info, sizeof(info)); }

    tagYuvFrameInfo info{};
    std::vector<uint8_t> block;
    std::vector<uint8_t> lumaPlane;
    std::vector<uint8_t> chromaPlane;
};

constexpr uint8_t PaddingMarker = 0xEE;

// The same picture as the frame buffer must hold it: all bytes that painting reads.
std::vector<uint8_t> BufferBytes(const Picture& picture, int displayType);

struct Point {
    double x;
    double y;
};

struct View {
    QSize widget; // logical pixels
    QSize device; // framebuffer pixels
    tagOvelZoomArea destination{0, 0, 1, 1};
    tagOvelZoomArea zoom{0, 0, 1, 1};
    int direction = 0;
    int angle = 0;
    int mirror = 0;
    tagOvelColor color{0, 0, 0};

    bool Zooms() const { return zoom.right > zoom.left && zoom.bottom > zoom.top; }
    Point Mirrored(Point p) const { return {mirror == 1 ? -p.x : p.x, mirror == 2 ? -p.y : p.y}; }
    // Quarter turns counter-clockwise that the rotation asks for.
    int Quarters() const
    {
        const int quarters = angle == 90 ? 1 : angle == 180 ? 2 : angle == 270 ? 3 : 0;
        return direction == 0 ? (4 - quarters) % 4 : quarters;
    }
};

View Looking(const tagOvelZoomArea& zoom, int angle = 0, int mirror = 0, int direction = 0);
std::ostream& operator<<(std::ostream& stream, const View& view);

struct Canvas {
    explicit Canvas(QSize size);
    size_t At(int x, int y) const
    {
        return static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x);
    }

    int width;
    int height;
    std::vector<std::array<double, 3>> colour; // 0 to 255, starts black
    std::vector<bool> certain;                 // false next to an edge, where rounding decides
};

// Black with the picture of a painted display type in it; grey where it is too small to have chroma.
Canvas RenderPicture(Picture picture, int displayType, const View& view);
// Overlays in both passes, or only the lines for the renderer that knows nothing else.
void DrawOverlays(Canvas& canvas, const Records& records, const View& view, bool linesOnly);
// A record's point in framebuffer pixels.
Point MapRecordPoint(const View& view, tagQPOINT point);

// Passes when every certain pixel is within the tolerance and enough pixels are certain to mean something.
::testing::AssertionResult ShowsCanvas(const QImage& actual, const Canvas& expected, int tolerance = 2);
// Passes when two images of the same size hold the same colours.
::testing::AssertionResult SameImage(const QImage& left, const QImage& right, int tolerance = 0);

__tagQDrawGraphInfo Graph(int type, uint32_t colour, int width, const std::vector<tagQPOINT>& points,
                          float alpha = 0);
__tagQDrawGraphInfo Label(const char* text, tagQRECT box, uint32_t colour = 0xFFFFFF, int points = 12,
                          int code = OVEL_TEXT_UTF8);

} // namespace OvelTest
