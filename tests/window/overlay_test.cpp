// The draw callback's descriptor, the stored records, and the overlays' pixels in both passes.
#include "Harness.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <thread>

using namespace OvelTest;

namespace
{

constexpr uint32_t Red = 0x0000FF;
constexpr uint32_t Green = 0x00FF00;
constexpr uint32_t Blue = 0xFF0000;
constexpr uint32_t White = 0xFFFFFF;

std::vector<uint8_t> Bytes(const void* data, size_t size)
{
    const auto* first = static_cast<const uint8_t*>(data);
    return {first, first + size};
}

class OverlayTest : public BothRenderers
{
protected:
    OverlayTest() : window(GetParam(), QSize(160, 120)) { source.Attach(window.handle); }

    int Push(const __tagQDrawGraphInfo& record, int length = sizeof(__tagQDrawGraphInfo))
    {
        auto copy = record;
        return window.IsSubImage() ? window.Sub()->SaveDrawGrapInfo(&copy, length)
                                   : window.Full()->SaveDrawGrapInfo(&copy, length);
    }
    // The descriptor that must have come, built byte by byte.
    std::vector<uint8_t> Descriptor(uint32_t frameParam, int left, int top, int right, int bottom)
    {
        std::vector<uint8_t> bytes(88, 0);
        const int32_t fields[] = {
            int32_t(frameParam), std::abs(right - left), std::abs(bottom - top), left, top, right, bottom};
        std::memcpy(bytes.data() + 8, fields, sizeof(fields));
        const OvelDrawToRender sink = window.IsSubImage() ? &CLS_ShaderYuvSubImage::DrawCallbackToRender
                                                          : &CLS_ShaderYuv::DrawCallbackToRender;
        std::memcpy(bytes.data() + 72, &sink, 8);
        std::memcpy(bytes.data() + 80, &window.handle, 8);
        return bytes;
    }
    void ExpectLastCall(const std::vector<uint8_t>& descriptor)
    {
        ASSERT_FALSE(source.calls.empty());
        const auto& call = source.calls.back();
        EXPECT_EQ(call.reserved, 0);
        EXPECT_EQ(call.length, 88);
        EXPECT_EQ(Bytes(&call.info, 88), descriptor);
    }
    // Shows a frame with these overlays and compares; the view is the one that was commanded.
    void ExpectOverlays(const std::vector<__tagQDrawGraphInfo>& records, View view = View(),
                        int type = OVEL_DISPLAY_YV12)
    {
        const Picture picture = MakePicture(64, 48);
        Frame frame(picture, OVEL_DISPLAY_YV12);
        if (type == OVEL_DISPLAY_NV12) {
            frame = Frame(picture, OVEL_DISPLAY_NV12);
        }
        frame.info.iDisplayType = type;
        source.records = records;
        ASSERT_TRUE(window.Show(std::move(frame)));
        const View whole = window.CurrentView();
        view.widget = whole.widget;
        view.device = whole.device;
        if (window.IsSubImage()) {
            view.angle = view.mirror = 0;
        }
        Canvas canvas = RenderPicture(picture, type, view);
        DrawOverlays(canvas, records, view, window.IsSubImage());
        EXPECT_TRUE(ShowsCanvas(window.Framebuffer(), canvas));
    }

    OverlaySource source;
    RenderWindow window;
};
OVEL_FOR_BOTH_RENDERERS(OverlayTest);

// Every drawable kind, overlapping, more points than fit, some outside the widget.
std::vector<__tagQDrawGraphInfo> Scene()
{
    std::vector<tagQPOINT> wave;
    for (int i = 0; i < 40; ++i) {
        wave.push_back({4 + 4 * i, 100 + (i % 2 ? 9 : -9)});
    }
    auto tooMany = Graph(OVEL_GRAPH_POLYLINE, Green, 3, wave);
    tooMany.iPointNum = 40;
    return {Graph(OVEL_GRAPH_OUTLINE, Red, 7, {{20, 20}, {120, 26}, {110, 80}, {30, 70}}),
            Graph(OVEL_GRAPH_FILLED, Blue, 0, {{40, 30}, {90, 36}, {46, 76}, {100, 90}}),
            tooMany,
            Graph(2, White, 6, {{-30, 40}, {70, 10}, {200, 130}}, 0.5f),
            Graph(OVEL_GRAPH_FILLED, Green, 0, {{60, 5}, {150, 20}, {70, 60}}, 0.5f),
            Graph(OVEL_GRAPH_FILLED, Red, 0, {{80, 2}, {156, 50}, {60, 110}}, 0.25f),
            Graph(OVEL_GRAPH_FILLED, White, 0, {{4, 84}, {18, 80}, {8, 96}, {30, 90}, {12, 112}}),
            Graph(OVEL_GRAPH_POLYLINE, 0x4080B0, 9, {{10, 110}, {150, 60}})};
}

TEST_P(OverlayTest, DescriptorForFramesAndResizes)
{
    Frame frame(MakePicture(16, 8), OVEL_DISPLAY_YV12);
    frame.info.uiFrameParam = 0xDEADBEEF;
    EXPECT_EQ(frame.Feed(window.handle), 0);
    const bool sub = window.IsSubImage();
    ExpectLastCall(sub ? Descriptor(0xDEADBEEF, 0, 0, 159, 119) : Descriptor(0xDEADBEEF, 0, 0, 160, 120));

    EXPECT_EQ(window.Set(OVELCMD_SET_DRAW_DST_RECT, tagQRECT{20, 30, 120, 90}), 0);
    EXPECT_EQ(frame.Feed(window.handle), 0);
    ExpectLastCall(sub ? Descriptor(0xDEADBEEF, 0, 0, 159, 119) : Descriptor(0xDEADBEEF, 20, 30, 120, 90));

    source.records = {Graph(0, Red, 1, {{1, 1}})};
    frame.info.uiFrameParam = 7;
    EXPECT_EQ(frame.Feed(window.handle), 0);
    EXPECT_EQ(frame.Feed(window.handle), 0);
    EXPECT_EQ(window.renderer->m_vecDrawGraphInfo.size(), 1) << "overlays belong to one frame";
    const size_t before = source.calls.size();
    ASSERT_TRUE(window.Resize(QSize(320, 60)));
    ASSERT_GT(source.calls.size(), before) << "a resize asks again";
    ExpectLastCall(sub ? Descriptor(7, 0, 0, 319, 59) : Descriptor(7, 40, 15, 240, 45));
    EXPECT_EQ(window.renderer->m_vecDrawGraphInfo.size(), 1);
}

TEST_P(OverlayTest, RecordsAreStoredByteForByte)
{
    __tagQDrawGraphInfo record;
    for (size_t i = 0; i < sizeof(record); ++i) {
        reinterpret_cast<uint8_t*>(&record)[i] = static_cast<uint8_t>(i * 7 + 1);
    }
    const std::vector<uint8_t> whole = Bytes(&record, 416);
    for (const int length : {416, 1000, 415, 16, 1}) {
        std::vector<uint8_t> longer = whole;
        longer.resize(1000, 0xAA);
        source.calls.clear();
        source.records.clear();
        EXPECT_EQ(Frame(MakePicture(8, 4), OVEL_DISPLAY_YV12).Feed(window.handle), 0);
        const auto& info = source.calls.at(0).info;
        EXPECT_EQ(info.pfnDrawToRender(longer.data(), length, info.pRender), 0);
        std::vector<uint8_t> expected = whole;
        if (length < 416) {
            std::fill(expected.begin() + length, expected.end(), uint8_t(0));
        }
        ASSERT_EQ(window.renderer->m_vecDrawGraphInfo.size(), 1);
        EXPECT_EQ(Bytes(window.renderer->m_vecDrawGraphInfo.constData(), 416), expected) << length;
    }
    EXPECT_EQ(Push(record, 0), -1);
    EXPECT_EQ(window.Repaint(), true) << "nonsense in a record is harmless";
}

TEST_P(OverlayTest, KindsAndOrder)
{
    for (const int type : {int(OVEL_DISPLAY_YV12), int(OVEL_DISPLAY_NV12), 5, 6, int(OVEL_DISPLAY_YV12)}) {
        SCOPED_TRACE(type);
        ExpectOverlays(Scene(), View(), type);
    }
}

TEST_P(OverlayTest, FollowTheView)
{
    struct Case {
        tagOvelZoomArea zoom;
        int angle, direction, mirror;
    };
    const Case cases[] = {
        {{0.25, 0.25, 0.75, 0.75}, 0, 0, 0}, {{0, 0, 1, 1}, 90, 0, 0},          {{0, 0, 1, 1}, 90, 1, 1},
        {{0.1, 0.3, 0.6, 1.0}, 270, 0, 2},   {{0.1, 0.3, 0.6, 1.0}, 180, 0, 1}, {{0.5, 0.5, 0.4, 1}, 0, 0, 0},
        {{0, 0, 0.01, 0.01}, 0, 0, 0}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "case " << &c - cases);
        window.Set(OVELCMD_SET_EZOOM_AREA, c.zoom);
        window.Set(OVELCMD_SET_VIDEO_ROTATE, tagOvelVideoRotate{c.direction, c.angle, c.mirror});
        View view;
        view.zoom = c.zoom;
        view.angle = c.angle;
        view.direction = c.direction;
        view.mirror = c.mirror;
        ExpectOverlays(Scene(), view);
    }
}

// The very first paint after the program was built already shows them, turned like the picture.
TEST(OverlayFirstPaint, IsTurned)
{
    RenderWindow window(OVEL_RENDER_FULL, QSize(120, 88));
    OverlaySource source;
    source.Attach(window.handle);
    source.records = {Graph(OVEL_GRAPH_FILLED, Red, 0, {{10, 10}, {70, 10}, {10, 40}})};
    window.Set(OVELCMD_SET_VIDEO_ROTATE, tagOvelVideoRotate{0, 90, 1});
    const Picture picture = MakePicture(20, 20);
    ASSERT_TRUE(window.Show(picture, OVEL_DISPLAY_NV12));
    const QImage screen = window.Screen(); // no second paint in between
    View view = window.CurrentView();
    view.angle = 90;
    view.mirror = 1;
    Canvas canvas = RenderPicture(picture, OVEL_DISPLAY_NV12, view);
    DrawOverlays(canvas, source.records, view, false);
    EXPECT_TRUE(ShowsCanvas(screen, canvas));
}

TEST_P(OverlayTest, OddRecords)
{
    const std::vector<tagQPOINT> corner{{10, 10}, {100, 14}, {20, 90}};
    auto noPoints = Graph(OVEL_GRAPH_OUTLINE, Red, 5, corner);
    noPoints.iPointNum = 0;
    auto negative = noPoints;
    negative.iPointNum = -3;
    auto text = Label("", {0, 0, 80, 40});
    auto huge = Graph(OVEL_GRAPH_POLYLINE, Green, std::numeric_limits<int>::max(), {{-5, 60}, {-4, 61}});
    huge.iPointNum = 1;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    std::vector<__tagQDrawGraphInfo> records{
        noPoints,
        negative,
        text,
        huge,
        Graph(4, Red, 5, corner),
        Graph(-1, Red, 5, corner),
        Graph(OVEL_GRAPH_FILLED, Red, 0, corner, nan),
        Graph(OVEL_GRAPH_FILLED, Red, 0, {{40, 40}, {90, 40}}),
        Graph(OVEL_GRAPH_FILLED, Green, 0, {{120, 10}, {150, 14}, {130, 50}}, 3.0f),
        Graph(OVEL_GRAPH_FILLED, Green, 0, {{120, 60}, {150, 64}, {130, 110}}, infinity),
        Graph(OVEL_GRAPH_FILLED, Red, 0, corner, -2.0f)};
    for (auto width : {0, -7, std::numeric_limits<int>::min()}) {
        records.push_back(
            Graph(OVEL_GRAPH_POLYLINE, White, width, {{5, 20 + width % 7}, {90, 24 + width % 7}}));
    }
    ExpectOverlays(records);
    constexpr int Most = std::numeric_limits<int>::max();
    source.records = {
        Graph(OVEL_GRAPH_OUTLINE, Red, Most, {{Most, Most}, {INT32_MIN, 0}, {INT32_MIN, INT32_MIN}}),
        Graph(OVEL_GRAPH_FILLED, Red, 0, {{Most, Most}, {INT32_MIN, 0}, {0, INT32_MIN}}, 0.5f)};
    source.records.back().iPointNum = Most;
    EXPECT_TRUE(window.Show(MakePicture(8, 4), OVEL_DISPLAY_YV12)) << "must only survive";
}

// A line keeps its own width, whatever its neighbour asked for; the picture's size does not matter.
TEST_P(OverlayTest, WidthsDoNotLeak)
{
    std::vector<__tagQDrawGraphInfo> records;
    const int widths[] = {1, 20, 1, -1, 9, 3, 100};
    for (int i = 0; i < 6; ++i) {
        records.push_back(Graph(OVEL_GRAPH_POLYLINE, i % 2 ? Red : White, widths[i],
                                {{10, 12 + 19 * i}, {150, 14 + 19 * i}}));
    }
    ExpectOverlays(records);
}

TEST_P(OverlayTest, RecordsByTheThousand)
{
    std::vector<__tagQDrawGraphInfo> records;
    // More quads than one draw call takes.
    for (int i = 0; i < 12000; ++i) {
        const int x = 8 * (i % 20);
        const int y = 6 * (i / 20 % 20);
        records.push_back(Graph(i % 3 == 0 && GetParam() == 0 ? OVEL_GRAPH_FILLED : OVEL_GRAPH_POLYLINE,
                                i < 11600 ? Red : (i % 2 ? Blue : Green), 5,
                                {{x, y + 3}, {x + 7, y + 3}, {x + 3, y + 6}}));
    }
    records.push_back(Graph(OVEL_GRAPH_POLYLINE, White, 31, {{0, 60}, {159, 60}}));
    ExpectOverlays({records.back()});
    ExpectOverlays(records); // after few of them many
}

TEST_P(OverlayTest, ClearDrawTakesThemOffAtOnce)
{
    const int keep = 1;
    const Picture picture = MakePicture(64, 48);
    for (const bool otherThread : {false, true}) {
        source.Attach(window.handle);
        window.Set(OVELCMD_SET_STOPDRAW_PARA, keep);
        ExpectOverlays(Scene());
        ASSERT_TRUE(window.Painted([&] {
            if (otherThread) {
                std::thread([&] { Ovel_ClearDraw(window.handle); }).join();
            } else {
                Ovel_ClearDraw(window.handle);
            }
        })) << "no repaint was scheduled";
        EXPECT_TRUE(ShowsCanvas(window.Framebuffer(),
                                RenderPicture(picture, OVEL_DISPLAY_YV12, window.CurrentView())));
        EXPECT_EQ(window.renderer->m_pfnDrawCallback, nullptr);
        EXPECT_EQ(window.renderer->m_pDrawCallbackUser, &source);
    }
}

// Records pushed after the callback are part of the next paint.
TEST_P(OverlayTest, LateRecordsShow)
{
    ExpectOverlays({});
    const auto late = Graph(OVEL_GRAPH_POLYLINE, White, 9, {{10, 30}, {150, 50}});
    EXPECT_EQ(Push(late), 0);
    ASSERT_TRUE(window.Repaint());
    const View view = window.CurrentView();
    Canvas canvas = RenderPicture(MakePicture(64, 48), OVEL_DISPLAY_YV12, view);
    DrawOverlays(canvas, {late}, view, false);
    EXPECT_TRUE(ShowsCanvas(window.Framebuffer(), canvas));
}

// Lines cover the same area in every context: their width times their longer extent.
TEST_P(OverlayTest, LineAreas)
{
    const double scale = window.renderer->devicePixelRatioF();
    if (scale != std::floor(scale)) {
        GTEST_SKIP() << "fractions of pixels are rounded";
    }
    const std::vector<std::vector<tagQPOINT>> lines{
        {{20, 60}, {140, 60}}, {{80, 20}, {80, 100}}, {{30, 30}, {120, 90}}, {{100, 100}, {70, 15}}};
    const Picture black = PlainPicture(16, 16, 0, 128, 128);
    for (const int width : {1, 3, 9, 20}) {
        for (const auto& line : lines) {
            source.records = {Graph(OVEL_GRAPH_POLYLINE, White, width, line)};
            ASSERT_TRUE(window.Show(black, OVEL_DISPLAY_YV12));
            const QImage image = window.Framebuffer();
            int lit = 0;
            for (int y = 0; y < image.height(); ++y) {
                for (int x = 0; x < image.width(); ++x) {
                    lit += image.pixelColor(x, y).green() > 128;
                }
            }
            const Point a = MapRecordPoint(window.CurrentView(), line[0]);
            const Point b = MapRecordPoint(window.CurrentView(), line[1]);
            const double area = width * scale * std::max(std::abs(b.x - a.x), std::abs(b.y - a.y));
            EXPECT_NEAR(lit, area, 0.02 * area) << "width " << width << " line " << &line - lines.data();
        }
    }
}

// Lines one pixel wide: in each column (row, when steep) between the ends the pixel nearest to the line, its
// two ends within a pixel, and nothing beside it; turned, mirrored and zoomed as well.
TEST_P(OverlayTest, ThinLines)
{
    if (window.renderer->devicePixelRatioF() != 1) {
        GTEST_SKIP() << "wider than a pixel here";
    }
    const std::vector<tagQPOINT> shape{{20, 31}, {131, 44}, {118, 97}, {37, 88}};
    struct Case {
        tagOvelZoomArea zoom;
        int angle, mirror;
    };
    const Case cases[] = {{{0, 0, 1, 1}, 0, 0},
                          {{0, 0, 1, 1}, 90, 0},
                          {{0, 0, 1, 1}, 180, 1},
                          {{0.1, 0.2, 0.9, 0.9}, 0, 2},
                          {{0.3, 0.1, 0.7, 0.6}, 270, 1}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "case " << &c - cases);
        window.Set(OVELCMD_SET_EZOOM_AREA, c.zoom);
        window.Set(OVELCMD_SET_VIDEO_ROTATE, tagOvelVideoRotate{0, c.angle, c.mirror});
        source.records = {Graph(OVEL_GRAPH_OUTLINE, White, 1, shape)};
        ASSERT_TRUE(window.Show(PlainPicture(16, 16, 0, 128, 128), OVEL_DISPLAY_YV12));
        const QImage image = window.Framebuffer();
        View view = window.CurrentView();
        view.zoom = c.zoom;
        view.angle = window.IsSubImage() ? 0 : c.angle;
        view.mirror = window.IsSubImage() ? 0 : c.mirror;
        QImage seen(image.size(), QImage::Format_Grayscale8); // where a lit pixel may lie
        seen.fill(0);
        const auto visit = [&](int along, int across, bool steep, bool must) {
            const QPoint at = steep ? QPoint(across, along) : QPoint(along, across);
            if (!image.rect().contains(at)) {
                return;
            }
            seen.setPixel(at, qRgb(1, 1, 1));
            EXPECT_TRUE(!must || image.pixelColor(at).green() > 128) << at.x() << " " << at.y();
        };
        for (size_t i = 0; i < shape.size(); ++i) {
            Point a = MapRecordPoint(view, shape[i]);
            Point b = MapRecordPoint(view, shape[(i + 1) % shape.size()]);
            const bool steep = std::abs(b.y - a.y) > std::abs(b.x - a.x);
            for (Point* p : {&a, &b}) {
                if (steep) {
                    std::swap(p->x, p->y);
                }
            }
            if (a.x > b.x) {
                std::swap(a, b);
            }
            for (int x = static_cast<int>(a.x) - 1; x <= static_cast<int>(b.x) + 1; ++x) {
                const double y = a.y + (b.y - a.y) * (x + 0.5 - a.x) / (b.x - a.x);
                const bool inside = x > a.x + 0.5 && x + 1 < b.x - 0.5;
                const bool tie = std::abs(y - std::round(y)) < 0.02; // between two pixels: either
                visit(x, static_cast<int>(std::floor(y)), steep, inside && !tie);
                for (const int beside : {-1, 1}) {
                    if (tie || !inside) {
                        visit(x, static_cast<int>(std::floor(y)) + beside, steep, false);
                    }
                }
            }
        }
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                EXPECT_TRUE(qBlue(seen.pixel(x, y)) != 0 || image.pixelColor(x, y).green() < 128)
                    << x << " " << y;
            }
        }
    }
}

// Thin and wide ones in turns: where they cross, the last-arrived is seen.
TEST_P(OverlayTest, ThinAndWideKeepTheirOrder)
{
    const auto level = [](int width, uint32_t colour, int y) {
        return Graph(OVEL_GRAPH_POLYLINE, colour, width, {{5, y}, {150, y}});
    };
    const auto upright = [](int width, uint32_t colour, int x) {
        return Graph(OVEL_GRAPH_POLYLINE, colour, width, {{x, 5}, {x, 110}});
    };
    const auto records = std::vector<__tagQDrawGraphInfo>{
        level(1, Red, 20),    upright(15, Green, 30), level(1, Blue, 40),  level(1, White, 60),
        upright(15, Red, 70), upright(1, Blue, 100),  level(1, Green, 80), level(15, White, 100)};
    source.records = records;
    ASSERT_TRUE(window.Show(PlainPicture(16, 16, 0, 128, 128), OVEL_DISPLAY_YV12));
    const QImage image = window.Framebuffer();
    struct Crossing {
        tagQPOINT at;
        QColor seen;
    };
    const QColor red(255, 0, 0), green(0, 255, 0), blue(0, 0, 255), white(255, 255, 255);
    const Crossing crossings[] = {
        {{50, 20}, red}, {{30, 20}, green}, {{30, 40}, blue},  {{30, 60}, white},  {{70, 60}, red},
        {{70, 40}, red}, {{70, 80}, green}, {{100, 60}, blue}, {{100, 80}, green}, {{100, 100}, white}};
    for (const Crossing& crossing : crossings) {
        // On a thin line, whichever of the pixels around the point it took.
        const Point p = MapRecordPoint(window.CurrentView(), crossing.at);
        bool found = false;
        for (const double dx : {-0.6, 0.0, 0.6}) {
            for (const double dy : {-0.6, 0.0, 0.6}) {
                found |=
                    image.pixelColor(static_cast<int>(p.x + dx), static_cast<int>(p.y + dy)) == crossing.seen;
            }
        }
        EXPECT_TRUE(found) << crossing.at.x << " " << crossing.at.y;
    }
}

TEST_P(OverlayTest, LineTriangulation)
{
    const auto triangulate = [&](double width, std::vector<Point2F> points) -> std::vector<RectMesh>& {
        if (window.IsSubImage()) {
            window.Sub()->LineTriangulation(width, points);
            return window.Sub()->m_vecRectMesh;
        }
        window.Full()->LineTriangulation(width, points);
        return window.Full()->m_vecRectMesh;
    };
    const auto flat = [](const RectMesh& mesh) {
        std::vector<float> values;
        for (const Point2F& point : mesh.vecVertex) {
            values.insert(values.end(), {point.x, point.y});
        }
        return values;
    };
    const auto& meshes = triangulate(2, {{0, 0}, {10, 0}, {10, -5}, {10, -5}});
    ASSERT_EQ(meshes.size(), 3u);
    EXPECT_EQ(flat(meshes[0]), (std::vector<float>{0, 1, 0, -1, 10, 1, 10, -1}));
    EXPECT_EQ(flat(meshes[1]), (std::vector<float>{11, 0, 9, 0, 11, -5, 9, -5}));
    EXPECT_EQ(flat(meshes[2]), (std::vector<float>{10, -5, 10, -5, 10, -5, 10, -5}));
    EXPECT_EQ(meshes[1].vecIndex, (std::vector<int>{0, 1, 2, 1, 3, 2}));
    EXPECT_TRUE(triangulate(2, {{1, 1}}).empty());
    EXPECT_TRUE(triangulate(2, {}).empty());
}

} // namespace
