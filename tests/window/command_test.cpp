// Parameter commands: payload lengths, what is stored, what is logged, the fitted rectangles.
#include "Harness.h"

#include <cstring>
#include <limits>

using namespace OvelTest;

namespace
{

using Lines = std::vector<std::string>;

class CommandTest : public HiddenRenderer
{
protected:
    CommandTest()
    {
        renderer->resize(640, 480);
        HearUpdates(renderer, scope, [this] { ++updates; });
    }
    tagQRECT Destination() const
    {
        const QRect& r = renderer->m_rcDrawDst;
        return {r.left(), r.top(), r.right(), r.bottom()};
    }

    int updates = 0;
    QObject scope;
};
OVEL_FOR_BOTH_RENDERERS(CommandTest);

TEST_P(CommandTest, RefusesWhatHasNoMeaning)
{
    constexpr int Most = std::numeric_limits<int>::max();
    uint8_t payload[64] = {};
    for (const int code : {3, 8, 0xFFF, 0x1000, 0x1002, -1, Most, ~Most}) {
        EXPECT_EQ(Set(code, payload), -1) << code;
    }
    for (const int code : {0, 1, 2, 3, 4, 5, 6, 7, int(OVELCMD_SET_COLOR)}) {
        EXPECT_EQ(Ovel_SetParam(renderer, code, nullptr, 16), -1) << code;
        EXPECT_EQ(Set(code, payload, 0), -1) << code;
        EXPECT_EQ(Set(code, payload, -4), -1) << code;
        uint8_t answer[32] = {0x5A};
        EXPECT_EQ(Ovel_GetParam(renderer, code, answer, sizeof(answer)), -1);
        EXPECT_EQ(answer[0], 0x5A);
    }
    updates = 0; // a zoom asks, refused or not
    for (const tagOvelColor& color :
         {tagOvelColor{4, 0, 0}, {0, 3, 0}, {0, 0, 3}, {-1, 0, 0}, {1, ~Most, 1}, {1, 0x100, 0}}) {
        std::memcpy(payload, &color, sizeof(color));
        for (const int size : {12, 13, 64}) {
            EXPECT_EQ(Set(OVELCMD_SET_COLOR, payload, size), -1)
                << color.iMatrix << " " << color.iRange << " " << color.iChromaSiting;
        }
    }
    EXPECT_EQ(updates, 0);
    for (const tagOvelColor& color : {tagOvelColor{0, 0, 0}, {3, 2, 2}, {1, 1, 1}}) {
        EXPECT_EQ(Set(OVELCMD_SET_COLOR, color), 0);
    }
    EXPECT_EQ(updates, 3) << "each that is taken asks for one repaint";
    EXPECT_TRUE(TakeLogLines().empty());
}

TEST_P(CommandTest, PayloadsOverwriteOnlyWhatTheyHold)
{
    const tagOvelZoomArea areas[] = {{0.25, 0.5, 0.75, 1}, {0.125, 9, 9, 9}};
    EXPECT_EQ(Set(OVELCMD_SET_EZOOM_AREA, areas, 100), 0);
    EXPECT_TRUE(renderer->m_stEZoomArea == areas[0]);
    EXPECT_EQ(TakeLogLines(),
              Lines{"[OvelRender::SetParam]OVELCMD_SET_EZOOM_AREA left = 0.250000 top = 0.500000 right = "
                    "0.750000 bottom = 1.000000"});
    EXPECT_EQ(Set(OVELCMD_SET_EZOOM_AREA, areas[1], 8), 0);
    EXPECT_TRUE(renderer->m_stEZoomArea == (tagOvelZoomArea{0.125, 0.5, 0.75, 1}));
    EXPECT_EQ(TakeLogLines().size(), 1u);
    EXPECT_EQ(updates, 2) << "each asks for one repaint";

    const int keep[] = {0x01020304, 0x05060708};
    EXPECT_EQ(Set(OVELCMD_SET_STOPDRAW_PARA, keep, 100), 0);
    EXPECT_EQ(renderer->blReserveLastFrm, 0x01020304);
    EXPECT_EQ(Set(OVELCMD_SET_STOPDRAW_PARA, keep[1], 1), 0);
    EXPECT_EQ(renderer->blReserveLastFrm, 0x01020308);
    EXPECT_EQ(TakeLogLines(),
              (Lines{"CLS_ShaderBase::SetParam-OVELCMD_SET_STOPDRAW_PARA blReserveLastFrm=16909060",
                     "CLS_ShaderBase::SetParam-OVELCMD_SET_STOPDRAW_PARA blReserveLastFrm=16909064"}));

    const int rotate[] = {1, 270, 2, 99};
    EXPECT_EQ(Set(OVELCMD_SET_VIDEO_ROTATE, rotate, 16), 0);
    const int half[] = {0, 90};
    EXPECT_EQ(Set(OVELCMD_SET_VIDEO_ROTATE, half, 8), 0);
    EXPECT_EQ(renderer->m_nVideoRotateDirection, 0);
    EXPECT_EQ(renderer->m_nVideoRotateAngle, 90);
    EXPECT_EQ(renderer->mirrorType, 2);
    const Lines rotated = TakeLogLines();
    ASSERT_EQ(rotated.size(), 2u);
    EXPECT_EQ(rotated[0],
              "CLS_ShaderBase::OnSetVideoRotatePara(569) OnSetVideoRotatePara m_nVideoRotateAngle:270, "
              "m_nVideoRotateDirection=1, mirrorType: 2");

    OverlaySource source;
    source.Attach(renderer);
    EXPECT_EQ(renderer->m_pDrawCallbackUser, &source);
    EXPECT_EQ(Set(OVELCMD_SET_DRAW_CALLBACK, tagOvelDrawCallback{}, 8), 0);
    EXPECT_EQ(renderer->m_pfnDrawCallback, nullptr);
    EXPECT_EQ(renderer->m_pDrawCallbackUser, &source);

    QWidget parent;
    EXPECT_EQ(Set(OVELCMD_SET_LABEL_PARENT, parent, 1), 0);
    EXPECT_EQ(renderer->m_pLabelParent.load(), &parent);
    EXPECT_TRUE(TakeLogLines().empty());
}

TEST_P(CommandTest, RatioModes)
{
    struct Case {
        int mode, width, height; // frame; 0: none yet
        tagQRECT fitted;
    };
    const Case cases[] = {{0, 0, 0, {0, 0, 639, 479}},        {1, 1920, 1080, {0, 0, 639, 479}},
                          {0, 1920, 1080, {0, 60, 639, 419}}, {0, 720, 1280, {185, 0, 454, 479}},
                          {0, 640, 480, {0, 0, 639, 479}},    {0, 2, 1000, {319, 0, 320, 479}},
                          {0, 1000, 2, {0, 239, 639, 240}},   {-5, 720, 1280, {0, 0, 639, 479}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.mode << " " << c.width << "x" << c.height);
        if (c.width > 0) {
            EXPECT_EQ(Frame(PlainPicture(c.width, c.height, 1, 2, 3), Yv12).Feed(renderer), 0);
        }
        TakeLogLines();
        EXPECT_EQ(Set(OVELCMD_SET_DRAW_RATIO_MODE, c.mode), 0);
        const tagQRECT& f = c.fitted;
        EXPECT_TRUE(Destination() == f);
        const std::string prefix = "[CLS_ShaderBase::SetDrawRatioMode]";
        EXPECT_EQ(TakeLogLines(),
                  (Lines{prefix + " before l=0, t=0, r=639, b=479",
                         prefix + "after l=" + std::to_string(f.left) + ", t=" + std::to_string(f.top) +
                             ", r=" + std::to_string(f.right) + ", b=" + std::to_string(f.bottom)}));
        const auto single = [](int value, float size) { return double(float(value) / size); };
        EXPECT_TRUE(renderer->m_stDrawDstNorm ==
                    (tagOvelZoomArea{single(f.left, 640), single(f.top, 480), single(f.right, 640),
                                     single(f.bottom, 480)}));
        tagQRECT copy{0, 0, 639, 479};
        EXPECT_TRUE(c.mode != 0 || DrawAdjustDstSurfaceRect(&copy, c.width, c.height) == 0);
        EXPECT_TRUE(c.mode != 0 || copy == f) << "the exported fit is the same one";
    }
    EXPECT_EQ(DrawAdjustDstSurfaceRect(nullptr, 1, 1), -1);
    EXPECT_EQ(Set(OVELCMD_SET_DRAW_RATIO_MODE, uint8_t{0}), 0) << "zero-padded";
    EXPECT_TRUE(Destination() == (tagQRECT{185, 0, 454, 479}));
}

TEST_P(CommandTest, DestinationRectangles)
{
    EXPECT_EQ(renderer->GetDrawDstRect(), QRect(QPoint(0, 0), QPoint(-2, -2)));
    const tagQRECT good{10, 20, 110, 219};
    EXPECT_EQ(Set(OVELCMD_SET_DRAW_DST_RECT, good), 0);
    EXPECT_EQ(TakeLogLines(),
              (Lines{"[CLS_ShaderBase::SetDrawDstRect] width=640, height=480",
                     "[CLS_ShaderBase::SetDrawDstRect] left=10, top=20 , right =110 ,bottom = 219",
                     "[CLS_ShaderBase::SetDrawDstRect] left=0.02, top=0.04 , right =0.17 ,bottom = 0.46"}));
    const tagOvelZoomArea placed = renderer->m_stDrawDstNorm;
    EXPECT_EQ(placed.left, static_cast<double>(10.0f / 640.0f));
    for (const tagQRECT& small : {tagQRECT{10, 10, 10, 100}, tagQRECT{0, 5, 99, 5}, tagQRECT{50, 50, 20, 90},
                                  tagQRECT{INT32_MIN, 0, INT32_MAX, -1}}) {
        EXPECT_EQ(Set(OVELCMD_SET_DRAW_DST_RECT, small), -1);
        EXPECT_TRUE(Destination() == small);
        EXPECT_TRUE(renderer->m_stDrawDstNorm == placed) << "the picture stays where it was";
    }
    struct Case {
        tagQRECT sent;
        int size, result;
        QRect stored;
    };
    const Case cases[] = {
        {{0, 0, 1, 1}, 16, 0, {QPoint(0, 0), QPoint(0, 0)}},
        {{-3, 7, 100, 101}, 16, 0, {QPoint(-4, 6), QPoint(100, 100)}},
        {{0, 0, 0, 0}, 16, -1, {QPoint(0, 0), QPoint(638, 478)}},
        {{10, 20, 110, 219}, 12, -1, {QPoint(10, 20), QPoint(110, 0)}}}; // bottom reads as 0
    for (const Case& c : cases) {
        EXPECT_EQ(Set(OVELCMD_SET_DRAW_DST_RECT, c.sent, c.size), c.result);
        EXPECT_EQ(renderer->GetDrawDstRect(), c.stored) << "case " << &c - cases;
    }
    EXPECT_TRUE(IsRectEmpty(QRect(QPoint(0, 0), QPoint(0, 0))));
    EXPECT_FALSE(IsRectEmpty(QRect()));
}

TEST_P(CommandTest, ClearDrawResetsAndLogs)
{
    const tagOvelZoomArea whole{0, 0, 1, 1};
    const tagOvelZoomArea zoom{0.1, 0.2, 0.3, 0.4};
    Frame(MakePicture(8, 4), Nv12).Feed(renderer);
    Set(OVELCMD_SET_EZOOM_AREA, zoom);
    Set(OVELCMD_SET_DRAW_DST_RECT, tagQRECT{0, 0, 99, 99});
    const tagOvelZoomArea placed = renderer->m_stDrawDstNorm;
    for (const int keep : {1, 0}) {
        Set(OVELCMD_SET_STOPDRAW_PARA, keep);
        TakeLogLines();
        Ovel_ClearDraw(renderer);
        EXPECT_EQ(TakeLogLines(),
                  Lines{std::string(IsSubImage() ? "CLS_ShaderYuvSubImage" : "CLS_ShaderYuv") +
                        "::ClearDraw, blReserveLastFrm=" + std::to_string(keep)});
        EXPECT_EQ(renderer->m_pYuvBuf != nullptr, keep == 1);
        EXPECT_EQ(renderer->m_nDisplayType, keep == 1 ? Nv12 : -1);
        EXPECT_TRUE(renderer->m_stEZoomArea == (keep == 1 ? zoom : whole));
        EXPECT_TRUE(renderer->m_stDrawDstNorm == (keep == 1 || IsSubImage() ? placed : whole));
    }
}

} // namespace
