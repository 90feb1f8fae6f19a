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

class OverlayTest : public ShownRenderer
{
protected:
    OverlayTest() : ShownRenderer(QSize(160, 120)) { source.Attach(window.handle); }

    // The last call's descriptor, compared with one built byte by byte.
    void ExpectLastCall(uint32_t frameParam, const tagQRECT& box)
    {
        std::vector<uint8_t> bytes(88, 0);
        const int32_t fields[] = {int32_t(frameParam),
                                  std::abs(box.right - box.left),
                                  std::abs(box.bottom - box.top),
                                  box.left,
                                  box.top,
                                  box.right,
                                  box.bottom};
        std::memcpy(bytes.data() + 8, fields, sizeof(fields));
        const OvelDrawToRender sink = window.IsSubImage() ? &CLS_ShaderYuvSubImage::DrawCallbackToRender
                                                          : &CLS_ShaderYuv::DrawCallbackToRender;
        std::memcpy(bytes.data() + 72, &sink, 8);
        std::memcpy(bytes.data() + 80, &window.handle, 8);
        ASSERT_FALSE(source.calls.empty());
        const auto& call = source.calls.back();
        EXPECT_EQ(call.reserved, 0);
        EXPECT_EQ(call.length, 88);
        EXPECT_EQ(Bytes(&call.info, 88), bytes);
    }
    bool ShowPlain(const Records& records)
    {
        source.records = records;
        return window.Show(PlainPicture(16, 16, 0, 128, 128), Yv12);
    }
    // Shows a frame with these overlays and compares; the view is the one that was commanded.
    void ExpectOverlays(const Records& records, const View& view = View(), int type = Yv12)
    {
        Frame frame(picture, type == Nv12 ? Nv12 : Yv12);
        frame.info.iDisplayType = type;
        source.records = records;
        ASSERT_TRUE(window.Show(std::move(frame)));
        EXPECT_TRUE(window.Shows(picture, type, view, records));
    }

    const Picture picture = MakePicture(64, 48);
};
OVEL_FOR_BOTH_RENDERERS(OverlayTest);

// Every drawable kind, overlapping, more points than fit, some outside the widget.
Records Scene()
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

// A line keeps its own width, whatever its neighbour asked for.
Records Widths()
{
    Records records;
    for (const int width : {1, 20, 1, -1, 9, 3}) {
        const int y = 12 + 19 * static_cast<int>(records.size());
        records.push_back(Graph(OVEL_GRAPH_POLYLINE, y % 2 ? Red : White, width, {{10, y}, {150, y + 2}}));
    }
    return records;
}

// Most of them draw nothing.
Records OddRecords()
{
    const std::vector<tagQPOINT> corner{{10, 10}, {100, 14}, {20, 90}};
    const float infinity = std::numeric_limits<float>::infinity();
    constexpr int Most = std::numeric_limits<int>::max();
    Records records{Graph(OVEL_GRAPH_OUTLINE, Red, 5, corner),
                    Graph(OVEL_GRAPH_OUTLINE, Red, 5, corner),
                    Label("", {0, 0, 80, 40}),
                    Graph(OVEL_GRAPH_POLYLINE, Green, Most, {{-5, 60}}),
                    Graph(4, Red, 5, corner),
                    Graph(-1, Red, 5, corner),
                    Graph(OVEL_GRAPH_FILLED, Red, 0, corner, std::nanf("")),
                    Graph(OVEL_GRAPH_FILLED, Red, 0, {{40, 40}, {90, 40}}),
                    Graph(OVEL_GRAPH_FILLED, Green, 0, {{120, 10}, {150, 14}, {130, 50}}, 3.0f),
                    Graph(OVEL_GRAPH_FILLED, Green, 0, {{120, 60}, {150, 64}, {130, 110}}, infinity),
                    Graph(OVEL_GRAPH_FILLED, Red, 0, corner, -2.0f)};
    records[0].iPointNum = 0;
    records[1].iPointNum = -3;
    for (const int width : {0, -7, ~Most}) {
        records.push_back(
            Graph(OVEL_GRAPH_POLYLINE, White, width, {{5, 20 + width % 7}, {90, 24 + width % 7}}));
    }
    return records;
}

// More quads than one draw call takes.
Records Thousands(bool filledToo)
{
    Records records;
    for (int i = 0; i < 12000; ++i) {
        const int x = 8 * (i % 20);
        const int y = 6 * (i / 20 % 20);
        records.push_back(Graph(i % 3 == 0 && filledToo ? OVEL_GRAPH_FILLED : OVEL_GRAPH_POLYLINE,
                                i < 11600 ? Red : (i % 2 ? Blue : Green), 5,
                                {{x, y + 3}, {x + 7, y + 3}, {x + 3, y + 6}}));
    }
    records.push_back(Graph(OVEL_GRAPH_POLYLINE, White, 31, {{0, 60}, {159, 60}}));
    return records;
}

TEST_P(OverlayTest, DescriptorForFramesAndResizes)
{
    Frame frame(MakePicture(16, 8), Yv12);
    const bool sub = window.IsSubImage();
    const tagQRECT whole = sub ? tagQRECT{0, 0, 159, 119} : tagQRECT{0, 0, 160, 120};
    const tagQRECT part{20, 30, 120, 90};
    frame.info.uiFrameParam = 0xDEADBEEF;
    EXPECT_EQ(frame.Feed(window.handle), 0);
    ExpectLastCall(0xDEADBEEF, whole);
    source.records = {Graph(0, Red, 1, {{1, 1}})};
    frame.info.uiFrameParam = 7;
    EXPECT_EQ(window.Set(OVELCMD_SET_DRAW_DST_RECT, part), 0);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(frame.Feed(window.handle), 0);
        ExpectLastCall(7, sub ? whole : part);
        EXPECT_EQ(window.renderer->m_vecDrawGraphInfo.size(), 1) << "overlays belong to one frame";
    }
    const size_t before = source.calls.size();
    ASSERT_TRUE(window.Resize(QSize(320, 60)));
    ASSERT_GT(source.calls.size(), before) << "a resize asks again";
    ExpectLastCall(7, sub ? tagQRECT{0, 0, 319, 59} : tagQRECT{40, 15, 240, 45});
    EXPECT_EQ(window.renderer->m_vecDrawGraphInfo.size(), 1);
}

TEST_P(OverlayTest, RecordsAreStoredByteForByte)
{
    std::vector<uint8_t> sent(1000);
    for (size_t i = 0; i < sent.size(); ++i) {
        sent[i] = static_cast<uint8_t>(i * 7 + 1);
    }
    for (const int length : {416, 1000, 415, 16, 1}) {
        EXPECT_EQ(Frame(MakePicture(8, 4), Yv12).Feed(window.handle), 0);
        const auto& info = source.calls.back().info;
        EXPECT_EQ(info.pfnDrawToRender(sent.data(), length, info.pRender), 0);
        std::vector<uint8_t> expected(sent.begin(), sent.begin() + std::min(length, 416));
        expected.resize(416, 0);
        ASSERT_EQ(window.renderer->m_vecDrawGraphInfo.size(), 1);
        EXPECT_EQ(Bytes(window.renderer->m_vecDrawGraphInfo.constData(), 416), expected) << length;
    }
    EXPECT_TRUE(window.Repaint()) << "nonsense in a record is harmless";
}

TEST_P(OverlayTest, KindsAndOrder)
{
    for (const int type : {Yv12, Nv12, 5, 6, Yv12}) {
        ExpectOverlays(Scene(), View(), type);
    }
    const Records thousands = Thousands(!window.IsSubImage());
    for (const Records& records : {Widths(), OddRecords(), Records{thousands.back()}, thousands}) {
        ExpectOverlays(records);
    }
}

TEST_P(OverlayTest, FollowTheView)
{
    for (const View& view :
         {Looking({0.25, 0.25, 0.75, 0.75}), Looking({0, 0, 1, 1}, 90), Looking({0, 0, 1, 1}, 90, 1, 1),
          Looking({0.1, 0.3, 0.6, 1.0}, 270, 2), Looking({0.1, 0.3, 0.6, 1.0}, 180, 1),
          Looking({0.5, 0.5, 0.4, 1}), Looking({0, 0, 0.01, 0.01})}) {
        ASSERT_TRUE(window.Look(view));
        ExpectOverlays(Scene(), view);
    }
}

QImage ReadPixels(CLS_ShaderBase& renderer, QSize size)
{
    QImage image(size, QImage::Format_RGBA8888);
    renderer.glReadPixels(0, 0, size.width(), size.height(), GL_RGBA, GL_UNSIGNED_BYTE, image.bits());
    return image.mirrored();
}

// The members that a paint is made of, called by hand.
TEST_P(OverlayTest, ThePaintStepByStep)
{
    for (const int layout : Layouts) {
        ExpectOverlays(Scene(), View(), layout);
        const QImage expected = window.Framebuffer();
        AsItsClass(window.renderer, [&](auto* renderer) {
            renderer->makeCurrent();
            renderer->glClear(GL_COLOR_BUFFER_BIT);
            renderer->InnerFreeSource();
            EXPECT_EQ(renderer->m_pShaderProgram, nullptr);
            EXPECT_FALSE(renderer->m_bNeedFreeSource);
            renderer->m_nDisplayType = layout;
            layout == Nv12 ? renderer->InitGLNV12() : renderer->InitGLYV12();
            layout == Nv12 ? renderer->PaintNV12() : renderer->PaintYV12();
            if constexpr (std::is_same_v<decltype(renderer), CLS_ShaderYuv*>) {
                renderer->VideoRotateMirror();
                renderer->paintDraw(false);
                renderer->paintDraw(true);
            } else {
                renderer->paintDraw();
            }
            EXPECT_TRUE(SameImage(ReadPixels(*renderer, expected.size()), expected));
            renderer->doneCurrent();
            source.records = {Graph(OVEL_GRAPH_POLYLINE, White, 9, {{10, 30}, {150, 50}})};
            EXPECT_EQ(renderer->DrawCallbackToPlayer(77), 0);
            EXPECT_EQ(source.calls.back().info.uiFrameParam, 77u);
            EXPECT_EQ(renderer->m_vecDrawGraphInfo.size(), int(Scene().size()) + 1)
                << "a list is not emptied";
        });
    }
    float vertices[8] = {};
    window.renderer->CalcuVertex(vertices);
    EXPECT_EQ(std::vector<float>(vertices, vertices + 8), (std::vector<float>{-1, -1, 1, -1, -1, 1, 1, 1}));
}

// The very first paint after the program was built already shows them, turned like the picture.
TEST_P(OverlayTest, FirstPaintIsTurned)
{
    window.Set(OVELCMD_SET_VIDEO_ROTATE, tagOvelVideoRotate{0, 90, 1});
    source.records = {Graph(OVEL_GRAPH_FILLED, Red, 0, {{10, 10}, {70, 10}, {10, 40}}),
                      Graph(OVEL_GRAPH_POLYLINE, Green, 9, {{10, 60}, {70, 70}})};
    ASSERT_TRUE(window.Show(picture, Nv12));
    const QImage screen = window.Screen(); // no second paint in between
    EXPECT_TRUE(window.Shows(picture, Nv12, Looking({0, 0, 1, 1}, 90, 1), source.records));
    EXPECT_TRUE(SameImage(screen, window.Framebuffer(), 1));
}

// Of what is kept, the view too.
TEST_P(OverlayTest, ClearDrawTakesThemOffAtOnce)
{
    const View view = Looking({0.25, 0.25, 0.75, 0.75});
    const auto clear = [this] { Ovel_ClearDraw(window.handle); };
    for (const int keep : {1, 0}) {
        for (const bool otherThread : {false, true}) {
            source.Attach(window.handle);
            window.Set(OVELCMD_SET_STOPDRAW_PARA, keep);
            ASSERT_TRUE(window.Look(view));
            ExpectOverlays(Scene(), view);
            ASSERT_TRUE(window.Painted([&] { otherThread ? std::thread(clear).join() : clear(); }))
                << "no repaint was scheduled";
            EXPECT_TRUE(keep != 0 ? window.Shows(picture, Yv12, view) : window.IsBlack());
            EXPECT_EQ(window.renderer->m_pfnDrawCallback, nullptr);
            EXPECT_EQ(window.renderer->m_pDrawCallbackUser, &source);
        }
    }
    ASSERT_TRUE(window.Show(picture, Yv12));
    EXPECT_TRUE(window.Shows(picture, Yv12)) << "the zoom is reset";
}

// Records pushed after the callback are part of the next paint.
TEST_P(OverlayTest, LateRecordsShow)
{
    ExpectOverlays({});
    auto late = Graph(OVEL_GRAPH_POLYLINE, White, 9, {{10, 30}, {150, 50}});
    AsItsClass(window.renderer, [&](auto* renderer) {
        EXPECT_EQ(renderer->SaveDrawGrapInfo(&late, 0), -1);
        EXPECT_EQ(renderer->SaveDrawGrapInfo(&late, sizeof(late)), 0);
    });
    ASSERT_TRUE(window.Repaint());
    EXPECT_TRUE(window.Shows(picture, Yv12, View(), {late}));
    window.Set(OVELCMD_SET_DRAW_CALLBACK, tagOvelDrawCallback{});
    ASSERT_TRUE(window.Show(picture, Yv12));
    EXPECT_TRUE(window.Shows(picture, Yv12)) << "and of no later frame";
}

// Lines cover the same area in every context: their width times their longer extent. Nothing else is lit.
TEST_P(OverlayTest, LineAreas)
{
    const double scale = window.renderer->devicePixelRatioF();
    if (scale != std::floor(scale)) {
        GTEST_SKIP() << "fractions of pixels are rounded";
    }
    const std::vector<std::vector<tagQPOINT>> lines{
        {{20, 60}, {140, 60}}, {{80, 20}, {80, 100}}, {{30, 30}, {120, 90}}, {{100, 100}, {70, 15}}};
    const View turned = Looking({0, 0, 1, 1}, 90, 1);
    for (const int width : {1, 3, 9, 20}) {
        ASSERT_TRUE(window.Look(width == 1 ? turned : View()));
        const View view = window.CurrentView(width == 1 ? turned : View());
        for (const auto& line : lines) {
            ASSERT_TRUE(ShowPlain({Graph(OVEL_GRAPH_POLYLINE, White, width, line)}));
            const QImage image = window.Framebuffer();
            const Point a = MapRecordPoint(view, line[0]);
            const Point b = MapRecordPoint(view, line[1]);
            const double length = std::hypot(b.x - a.x, b.y - a.y);
            int lit = 0;
            for (int i = 0; i < image.width() * image.height(); ++i) {
                const Point p{i % image.width() + 0.5, i / image.width() + 0.5};
                const double off = ((b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x)) / length;
                const bool isLit = image.pixelColor(i % image.width(), i / image.width()).green() > 128;
                EXPECT_FALSE(isLit && std::abs(off) > width * scale / 2 + 0.6) << p.x << " " << p.y;
                lit += isLit;
            }
            const double area = width * scale * std::max(std::abs(b.x - a.x), std::abs(b.y - a.y));
            EXPECT_NEAR(lit, area, 0.02 * area) << "width " << width << " line " << &line - lines.data();
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
    ASSERT_TRUE(
        ShowPlain({level(1, Red, 20), upright(15, Green, 30), level(1, Blue, 40), level(1, White, 60),
                   upright(15, Red, 70), upright(1, Blue, 100), level(1, Green, 80), level(15, White, 100)}));
    const QImage image = window.Framebuffer();
    struct Crossing {
        tagQPOINT at;
        Qt::GlobalColor seen;
    };
    const Crossing crossings[] = {{{50, 20}, Qt::red},    {{30, 20}, Qt::green}, {{30, 40}, Qt::blue},
                                  {{30, 60}, Qt::white},  {{70, 60}, Qt::red},   {{70, 40}, Qt::red},
                                  {{70, 80}, Qt::green},  {{100, 60}, Qt::blue}, {{100, 80}, Qt::green},
                                  {{100, 100}, Qt::white}};
    for (const Crossing& crossing : crossings) {
        // On a thin line, whichever of the pixels around the point it took.
        const Point p = MapRecordPoint(window.CurrentView(), crossing.at);
        bool found = false;
        for (const double dx : {-0.6, 0.0, 0.6}) {
            for (const double dy : {-0.6, 0.0, 0.6}) {
                found |= image.pixelColor(int(p.x + dx), int(p.y + dy)) == QColor(crossing.seen);
            }
        }
        EXPECT_TRUE(found) << crossing.at.x << " " << crossing.at.y;
    }
}

TEST_P(OverlayTest, LineTriangulation)
{
    AsItsClass(window.renderer, [](auto* renderer) {
        const auto triangulate = [&](std::vector<Point2F> points) {
            renderer->LineTriangulation(2, points);
            std::vector<std::vector<float>> quads;
            for (const RectMesh& mesh : renderer->m_vecRectMesh) {
                EXPECT_EQ(mesh.vecIndex, (std::vector<int>{0, 1, 2, 1, 3, 2}));
                quads.emplace_back();
                for (const Point2F& point : mesh.vecVertex) {
                    quads.back().insert(quads.back().end(), {point.x, point.y});
                }
            }
            return quads;
        };
        using Quads = std::vector<std::vector<float>>;
        EXPECT_EQ(triangulate({{0, 0}, {10, 0}, {10, -5}, {10, -5}}),
                  (Quads{{0, 1, 0, -1, 10, 1, 10, -1},
                         {11, 0, 9, 0, 11, -5, 9, -5},
                         {10, -5, 10, -5, 10, -5, 10, -5}}));
        EXPECT_EQ(triangulate({{1, 1}}), Quads{});
        EXPECT_EQ(triangulate({}), Quads{});
    });
}

} // namespace
