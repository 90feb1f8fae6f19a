#include "Reference.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <sstream>

namespace OvelTest
{

namespace
{

// Rows of a plane, `pitch` apart.
void PutRows(std::vector<uint8_t>& target, size_t offset, const Plane& rows, int pitch)
{
    for (int row = 0; row < rows.height; ++row) {
        std::memcpy(&target[offset + Plane::Count(row, pitch)], &rows.data[Plane::Count(row, rows.width)],
                    static_cast<size_t>(rows.width));
    }
}

// Half the rows, each of full width: U, V pairs and, for an odd width, one byte more.
Plane InterleavedChroma(const Picture& picture)
{
    Plane rows{picture.width, picture.height / 2};
    rows.Fill(PaddingMarker);
    for (int y = 0; y < rows.height; ++y) {
        for (int x = 0; x < picture.width / 2; ++x) {
            rows.At(2 * x, y) = picture.u.At(x, y);
            rows.At(2 * x + 1, y) = picture.v.At(x, y);
        }
    }
    return rows;
}

// Between the samples whose centres lie at whole numbers.
double SampleAt(const Plane& plane, double x, double y)
{
    const double left = std::floor(x);
    const double top = std::floor(y);
    const auto texel = [&](double column, double row) -> double {
        return plane.At(std::clamp(static_cast<int>(column), 0, plane.width - 1),
                        std::clamp(static_cast<int>(row), 0, plane.height - 1));
    };
    const double upper = texel(left, top) * (left + 1 - x) + texel(left + 1, top) * (x - left);
    const double lower = texel(left, top + 1) * (left + 1 - x) + texel(left + 1, top + 1) * (x - left);
    return (upper * (top + 1 - y) + lower * (y - top)) / 255.0;
}

double Sample(const Plane& plane, double s, double t)
{
    return SampleAt(plane, s * plane.width - 0.5, t * plane.height - 0.5);
}

double SampleChroma(const Plane& plane, const Picture& picture, int siting, double s, double t)
{
    if (siting == OVEL_SITING_CENTER) {
        return Sample(plane, s, t);
    }
    // In luma samples, whose centres lie at whole numbers: a chroma sample on every second column, and
    // between two rows or on every second one.
    const double column = s * picture.width - 0.5;
    const double row = t * picture.height - 0.5;
    return SampleAt(plane, column / 2, siting == OVEL_SITING_LEFT ? (row - 0.5) / 2 : row / 2);
}

// By the definition of the standards: luma is the weighted sum of red, green and blue, chroma the scaled
// differences of blue and red from it.
std::array<double, 3> FromDifferences(double y, double cb, double cr, double redWeight, double blueWeight)
{
    const double red = y + cr * 2 * (1 - redWeight);
    const double blue = y + cb * 2 * (1 - blueWeight);
    return {red, (y - redWeight * red - blueWeight * blue) / (1 - redWeight - blueWeight), blue};
}

std::array<double, 3> ConvertSamples(int displayType, const tagOvelColor& color, double y, double u, double v)
{
    double luma = displayType == Nv12 ? y - 0.0625 : y;
    double cb = u - 0.5;
    double cr = v - 0.5;
    if (color.iRange == OVEL_RANGE_LIMITED) {
        luma = (255 * y - 16) / 219;
        cb = (255 * u - 128) / 224;
        cr = (255 * v - 128) / 224;
    } else if (color.iRange == OVEL_RANGE_FULL) {
        luma = y;
        cb = (255 * u - 128) / 255;
        cr = (255 * v - 128) / 255;
    }
    switch (color.iMatrix) {
    case OVEL_MATRIX_BT601:
        return FromDifferences(luma, cb, cr, 0.299, 0.114);
    case OVEL_MATRIX_BT709:
        return FromDifferences(luma, cb, cr, 0.2126, 0.0722);
    case OVEL_MATRIX_BT2020:
        return FromDifferences(luma, cb, cr, 0.2627, 0.0593);
    default:
        break;
    }
    if (displayType == Nv12) {
        return {luma + 1.13983 * cr, luma - 0.39465 * cb - 0.58060 * cr, luma + 2.03211 * cb};
    }
    return {luma + 1.4075 * cr, luma - 0.3455 * cb - 0.7169 * cr, luma + 1.779 * cb};
}

std::array<double, 3> Convert(const Picture& picture, int displayType, const tagOvelColor& color, double s,
                              double t)
{
    const double u = SampleChroma(picture.u, picture, color.iChromaSiting, s, t);
    const double v = SampleChroma(picture.v, picture, color.iChromaSiting, s, t);
    std::array<double, 3> rgb = ConvertSamples(displayType, color, Sample(picture.luma, s, t), u, v);
    for (double& c : rgb) {
        c = std::clamp(c, 0.0, 1.0) * 255.0;
    }
    return rgb;
}

// Texture position that a framebuffer position shows, y of the framebuffer downwards.
Point TexturePosition(const View& view, double px, double py)
{
    const Point ndc{2 * px / view.device.width() - 1, 1 - 2 * py / view.device.height()};
    Point p = view.Mirrored(ndc);
    for (int i = 0; i < view.Quarters(); ++i) {
        p = {p.y, -p.x};
    }
    double left = -1, right = 1, top = 1, bottom = -1;
    const tagOvelZoomArea& z = view.zoom;
    const tagOvelZoomArea& d = view.destination;
    if (view.Zooms()) {
        left = 2 * (d.left - z.left) / (z.right - z.left) - 1;
        right = 2 * (d.right - z.left) / (z.right - z.left) - 1;
        top = 1 - 2 * (d.top - z.top) / (z.bottom - z.top);
        bottom = 1 - 2 * (d.bottom - z.top) / (z.bottom - z.top);
    }
    return {(p.x - left) / (right - left), (top - p.y) / (top - bottom)};
}

bool InTexture(Point p)
{
    return p.x >= 0 && p.x <= 1 && p.y >= 0 && p.y <= 1;
}

using Shape = std::vector<Point>;

double EdgeDistance(Point a, Point b, Point p)
{
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double length = dx * dx + dy * dy;
    const double f = length > 0 ? std::clamp(((p.x - a.x) * dx + (p.y - a.y) * dy) / length, 0.0, 1.0) : 0.0;
    return std::hypot(p.x - a.x - f * dx, p.y - a.y - f * dy);
}

enum class Cover { Outside, Edge, Inside };

Cover CoverOf(const Shape& shape, Point p)
{
    int positive = 0;
    int negative = 0;
    for (size_t i = 0; i < shape.size(); ++i) {
        const Point a = shape[i];
        const Point b = shape[(i + 1) % shape.size()];
        if (EdgeDistance(a, b, p) < 0.8) {
            return Cover::Edge;
        }
        ((b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x) > 0 ? positive : negative)++;
    }
    return positive == 0 || negative == 0 ? Cover::Inside : Cover::Outside;
}

Shape WideSegment(Point a, Point b, double width)
{
    const double h = width / 2;
    if (std::abs(b.x - a.x) >= std::abs(b.y - a.y)) {
        return {{a.x, a.y - h}, {b.x, b.y - h}, {b.x, b.y + h}, {a.x, a.y + h}};
    }
    return {{a.x - h, a.y}, {b.x - h, b.y}, {b.x + h, b.y}, {a.x + h, a.y}};
}

std::vector<Shape> Shapes(const __tagQDrawGraphInfo& record, const View& view)
{
    std::vector<Shape> shapes;
    Shape points;
    for (int i = 0; i < std::min<int>(record.iPointNum, OVEL_GRAPH_POINTS); ++i) {
        points.push_back(MapRecordPoint(view, record.stPoint[i]));
    }
    if (record.iGraphType == OVEL_GRAPH_FILLED) {
        for (size_t i = 2; i < points.size(); ++i) {
            shapes.push_back({points[i - 2], points[i - 1], points[i]});
        }
        return shapes;
    }
    const double width =
        std::max(1, record.iFontSize) * (static_cast<double>(view.device.width()) / view.widget.width());
    for (size_t i = 1; i < points.size(); ++i) {
        shapes.push_back(WideSegment(points[i - 1], points[i], width));
    }
    if (record.iGraphType != OVEL_GRAPH_POLYLINE && points.size() > 1) {
        shapes.push_back(WideSegment(points.back(), points.front(), width));
    }
    return shapes;
}

void DrawRecord(Canvas& canvas, const __tagQDrawGraphInfo& record, const View& view, double opacity)
{
    std::array<double, 3> colour{};
    for (size_t c = 0; c < 3; ++c) {
        colour[c] = std::clamp((record.uiColor >> 8 * c & 255) / 126.0 - 1.0, 0.0, 1.0) * 255.0;
    }
    for (const Shape& shape : Shapes(record, view)) {
        const auto [minX, maxX] =
            std::minmax_element(shape.begin(), shape.end(), [](Point a, Point b) { return a.x < b.x; });
        const auto [minY, maxY] =
            std::minmax_element(shape.begin(), shape.end(), [](Point a, Point b) { return a.y < b.y; });
        const int right = static_cast<int>(std::min<double>(canvas.width - 1, maxX->x + 2));
        const int bottom = static_cast<int>(std::min<double>(canvas.height - 1, maxY->y + 2));
        for (int y = static_cast<int>(std::max(0.0, minY->y - 2)); y <= bottom; ++y) {
            for (int x = static_cast<int>(std::max(0.0, minX->x - 2)); x <= right; ++x) {
                const Cover cover = CoverOf(shape, {x + 0.5, y + 0.5});
                const size_t at = canvas.At(x, y);
                if (cover == Cover::Edge) {
                    canvas.certain[at] = false;
                }
                if (cover != Cover::Inside) {
                    continue;
                }
                for (size_t c = 0; c < 3; ++c) {
                    canvas.colour[at][c] += (colour[c] - canvas.colour[at][c]) * opacity;
                }
                if (opacity >= 1) {
                    canvas.certain[at] = true;
                }
            }
        }
    }
}

} // namespace

Picture MakePicture(int width, int height, int seed)
{
    Picture picture = PlainPicture(width, height, 0, 0, 0);
    const auto fill = [](Plane& plane, double base, double right, double down, int stepX, int stepY,
                         int noise, int shift) {
        for (int y = 0; y < plane.height; ++y) {
            for (int x = 0; x < plane.width; ++x) {
                plane.At(x, y) =
                    static_cast<uint8_t>(base + right * x / plane.width + down * y / plane.height +
                                         (x * stepX + y * stepY + shift) % noise);
            }
        }
    };
    fill(picture.luma, 85, 60, 30, 5, 11, 16, seed * 3);
    fill(picture.u, 104, 10, 30, 3, 7, 8, seed);
    fill(picture.v, 150, -35, 8, 7, 3, 8, seed * 5);
    return picture;
}

Picture PlainPicture(int width, int height, uint8_t luma, uint8_t u, uint8_t v)
{
    Picture picture(width, height);
    picture.luma.Fill(luma);
    picture.u.Fill(u);
    picture.v.Fill(v);
    return picture;
}

std::vector<uint8_t> BufferBytes(const Picture& picture, int displayType)
{
    std::vector<uint8_t> bytes = picture.luma.data;
    const size_t area = bytes.size();
    if (displayType == Nv12) {
        const Plane chroma = InterleavedChroma(picture);
        bytes.insert(bytes.end(), chroma.data.begin(), chroma.data.end());
        return bytes;
    }
    bytes.resize(area * 3 / 2, PaddingMarker);
    std::copy(picture.u.data.begin(), picture.u.data.end(), &bytes[area]);
    std::copy(picture.v.data.begin(), picture.v.data.end(), &bytes[area * 5 / 4]);
    return bytes;
}

Frame::Frame(const Picture& picture, int displayType, int pitch, Source source)
{
    info.iWidth = picture.width;
    info.iHeight = picture.height;
    info.iDisplayType = displayType;
    info.iPitch = pitch;
    const int stride = pitch != 0 ? pitch : picture.width;
    if (displayType == Nv12 && source == Planes) {
        lumaPlane.assign(Plane::Count(stride, picture.height), PaddingMarker);
        chromaPlane.assign(Plane::Count(stride, picture.height) / 2 + 1, PaddingMarker);
        PutRows(lumaPlane, 0, picture.luma, stride);
        PutRows(chromaPlane, 0, InterleavedChroma(picture), stride);
        info.pPlaneY = lumaPlane.data();
        info.pPlaneUV = chromaPlane.data();
        return;
    }
    if (displayType == Nv12 && pitch != 0) {
        const int alignedRows = (picture.height + 15) / 16 * 16;
        block.assign(Plane::Count(pitch, alignedRows + picture.height / 2), PaddingMarker);
        PutRows(block, 0, picture.luma, pitch);
        PutRows(block, Plane::Count(pitch, alignedRows), InterleavedChroma(picture), pitch);
    } else {
        block = BufferBytes(picture, displayType);
        block.resize(Plane::Count(picture.width, picture.height) * 3 / 2, PaddingMarker);
    }
    info.pYuvData = block.data();
}

View Looking(const tagOvelZoomArea& zoom, int angle, int mirror, int direction)
{
    View view;
    view.zoom = zoom;
    view.angle = angle;
    view.mirror = mirror;
    view.direction = direction;
    return view;
}

std::ostream& operator<<(std::ostream& stream, const View& view)
{
    const tagOvelZoomArea& z = view.zoom;
    return stream << "zoom " << z.left << " " << z.top << " " << z.right << " " << z.bottom << " angle "
                  << view.angle << "/" << view.direction << " mirror " << view.mirror << " color "
                  << view.color.iMatrix << " " << view.color.iRange << " " << view.color.iChromaSiting;
}

Canvas::Canvas(QSize size)
    : width(size.width()), height(size.height()), colour(Plane::Count(width, height)),
      certain(Plane::Count(width, height), true)
{
}

Canvas RenderPicture(Picture picture, int displayType, const View& view)
{
    Canvas canvas(view.device);
    if (displayType != Yv12 && displayType != Nv12) {
        return canvas;
    }
    if (picture.u.data.empty()) {
        picture.u = picture.v = Plane{1, 1, {128}};
    }
    for (int y = 0; y < canvas.height; ++y) {
        for (int x = 0; x < canvas.width; ++x) {
            const size_t at = canvas.At(x, y);
            const Point p = TexturePosition(view, x + 0.5, y + 0.5);
            if (InTexture(p)) {
                canvas.colour[at] = Convert(picture, displayType, view.color, p.x, p.y);
            }
            for (const double dx : {-0.5, 1.5}) {
                for (const double dy : {-0.5, 1.5}) {
                    if (x + dx > 0 && x + dx < canvas.width && y + dy > 0 && y + dy < canvas.height &&
                        InTexture(TexturePosition(view, x + dx, y + dy)) != InTexture(p)) {
                        canvas.certain[at] = false;
                    }
                }
            }
        }
    }
    return canvas;
}

Point MapRecordPoint(const View& view, tagQPOINT point)
{
    const int w1 = view.widget.width() - 1;
    const int h1 = view.widget.height() - 1;
    const tagOvelZoomArea& z = view.zoom;
    Point ndc{};
    if (view.Zooms()) {
        const int kx = std::max(1, static_cast<int>(w1 * (z.right - z.left) * 0.5));
        const int ky = std::max(1, static_cast<int>(h1 * (z.bottom - z.top) * 0.5));
        ndc = {static_cast<double>(point.x) / kx - 1 - 2 * z.left / (z.right - z.left),
               1 + 2 * z.top / (z.bottom - z.top) - static_cast<double>(point.y) / ky};
    } else {
        ndc = {static_cast<double>(point.x) / std::max(1, w1 / 2) - 1,
               1 - static_cast<double>(point.y) / std::max(1, h1 / 2)};
    }
    for (int i = 0; i < view.Quarters(); ++i) {
        ndc = {-ndc.y, ndc.x};
    }
    ndc = view.Mirrored(ndc);
    return {(ndc.x + 1) / 2 * view.device.width(), (1 - ndc.y) / 2 * view.device.height()};
}

void DrawOverlays(Canvas& canvas, const Records& records, const View& view, bool linesOnly)
{
    Records translucent; // the first-arrived comes last
    for (const auto& record : records) {
        const bool filled = record.iGraphType == OVEL_GRAPH_FILLED;
        if (filled && record.fAlpha != 0.0f) {
            translucent.insert(translucent.begin(), record);
        } else if (filled ? !linesOnly : record.iGraphType >= 0 && record.iGraphType <= 2) {
            DrawRecord(canvas, record, view, 1.0);
        }
    }
    for (const auto& record : translucent) {
        if (!linesOnly && !std::isnan(record.fAlpha)) {
            DrawRecord(canvas, record, view, std::clamp(static_cast<double>(record.fAlpha), 0.0, 1.0));
        }
    }
}

::testing::AssertionResult ShowsCanvas(const QImage& actual, const Canvas& expected, int tolerance)
{
    if (actual.size() != QSize(expected.width, expected.height)) {
        return ::testing::AssertionFailure() << "size " << actual.width() << "x" << actual.height()
                                             << ", not " << expected.width << "x" << expected.height;
    }
    size_t certain = 0;
    size_t beyond = 0;
    double worst = 0;
    std::ostringstream where;
    for (int y = 0; y < expected.height; ++y) {
        for (int x = 0; x < expected.width; ++x) {
            const size_t at = expected.At(x, y);
            if (!expected.certain[at]) {
                continue;
            }
            ++certain;
            const QColor shown = actual.pixelColor(x, y);
            const auto& wanted = expected.colour[at];
            const double difference =
                std::max({std::abs(shown.red() - wanted[0]), std::abs(shown.green() - wanted[1]),
                          std::abs(shown.blue() - wanted[2])});
            beyond += difference > tolerance;
            if (difference > std::max<double>(worst, tolerance)) {
                worst = difference;
                where.str("");
                where << worst << " at (" << x << ", " << y << "): shown " << shown.name().toStdString()
                      << ", expected " << wanted[0] << " " << wanted[1] << " " << wanted[2];
            }
        }
    }
    if (certain * 10 < expected.certain.size() * 3) {
        return ::testing::AssertionFailure() << "only " << certain << " pixels decide";
    }
    auto result = beyond == 0 ? ::testing::AssertionSuccess() : ::testing::AssertionFailure();
    return result << beyond << " of " << certain << " pixels differ, most by " << where.str();
}

::testing::AssertionResult SameImage(const QImage& left, const QImage& right, int tolerance)
{
    Canvas canvas(right.size());
    for (int y = 0; y < right.height(); ++y) {
        for (int x = 0; x < right.width(); ++x) {
            const QColor c = right.pixelColor(x, y);
            canvas.colour[canvas.At(x, y)] = {c.redF() * 255, c.greenF() * 255, c.blueF() * 255};
        }
    }
    return ShowsCanvas(left, canvas, tolerance);
}

__tagQDrawGraphInfo Graph(int type, uint32_t colour, int width, const std::vector<tagQPOINT>& points,
                          float alpha)
{
    __tagQDrawGraphInfo record{};
    record.iGraphType = type;
    record.uiColor = colour;
    record.iFontSize = width;
    record.iPointNum = static_cast<int>(points.size());
    std::copy_n(points.begin(), std::min<size_t>(points.size(), OVEL_GRAPH_POINTS), record.stPoint);
    record.fAlpha = alpha;
    return record;
}

__tagQDrawGraphInfo Label(const char* text, tagQRECT box, uint32_t colour, int points, int code)
{
    __tagQDrawGraphInfo record =
        Graph(OVEL_GRAPH_TEXT, colour, points, {{box.left, box.top}, {box.right, box.bottom}});
    std::memcpy(record.szText, text, std::min<size_t>(std::strlen(text), OVEL_GRAPH_TEXT_BYTES));
    record.iTextCode = code;
    return record;
}

} // namespace OvelTest
