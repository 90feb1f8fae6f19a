// Parameter commands: payload lengths, what is stored, what is logged, the fitted rectangles.
#include "Harness.h"

#include <cstring>
#include <limits>

using namespace OvelTest;

namespace
{

using Lines = std::vector<std::string>;

class CommandTest : public BothRenderers
{
protected:
    CommandTest()
    {
        int type = GetParam();
        handle = Ovel_CreateEx(&type, sizeof(type));
        renderer = static_cast<CLS_ShaderBase*>(handle);
        renderer->resize(640, 480);
        TakeLogLines();
    }
    ~CommandTest() override { Ovel_Release(handle); }

    int Set(int command, const void* payload, int size)
    {
        return Ovel_SetParam(handle, command, const_cast<void*>(payload), size);
    }
    // From here on, in `updates`.
    void CountUpdates()
    {
        if (auto* full = dynamic_cast<CLS_ShaderYuv*>(renderer)) {
            QObject::connect(full, &CLS_ShaderYuv::signalUpdate, &scope, [this] { ++updates; });
        }
        if (auto* sub = dynamic_cast<CLS_ShaderYuvSubImage*>(renderer)) {
            QObject::connect(sub, &CLS_ShaderYuvSubImage::signalUpdate, &scope, [this] { ++updates; });
        }
    }
    tagQRECT Destination() const
    {
        const QRect& r = renderer->m_rcDrawDst;
        return {r.left(), r.top(), r.right(), r.bottom()};
    }

    void* handle;
    CLS_ShaderBase* renderer;
    int updates = 0;
    QObject scope;
};
OVEL_FOR_BOTH_RENDERERS(CommandTest);

TEST_P(CommandTest, RefusesWhatHasNoMeaning)
{
    uint8_t payload[64] = {};
    for (const int code : {3, 8, 0xFFF, 0x1000, 0x1002, -1, std::numeric_limits<int>::max(),
                           std::numeric_limits<int>::min()}) {
        EXPECT_EQ(Set(code, payload, 32), -1) << code;
    }
    for (int code = 0; code < 8; ++code) {
        EXPECT_EQ(Set(code, nullptr, 16), -1) << code;
        EXPECT_EQ(Set(code, payload, 0), -1) << code;
        EXPECT_EQ(Set(code, payload, -4), -1) << code;
    }
    EXPECT_TRUE(TakeLogLines().empty());
    for (int code = -1; code < 9; ++code) {
        uint8_t answer[32] = {0x5A};
        EXPECT_EQ(Ovel_GetParam(handle, code, answer, sizeof(answer)), -1);
        EXPECT_EQ(answer[0], 0x5A);
    }
}

TEST_P(CommandTest, ColorDescriptions)
{
    CountUpdates();
    uint8_t payload[64] = {};
    EXPECT_EQ(Set(OVELCMD_SET_COLOR, nullptr, 12), -1);
    EXPECT_EQ(Set(OVELCMD_SET_COLOR, payload, 0), -1);
    EXPECT_EQ(Set(OVELCMD_SET_COLOR, payload, -12), -1);
    struct Case {
        tagOvelColor color;
        int result;
    };
    constexpr int Most = std::numeric_limits<int>::max();
    const Case cases[] = {{{0, 0, 0}, 0},     {{3, 2, 2}, 0},     {{1, 1, 1}, 0},      {{4, 0, 0}, -1},
                          {{0, 3, 0}, -1},    {{0, 0, 3}, -1},    {{-1, 0, 0}, -1},    {{0, -1, 0}, -1},
                          {{0, 0, -1}, -1},   {{Most, 1, 1}, -1}, {{1, ~Most, 1}, -1}, {{256, 0, 0}, -1},
                          {{1, 0x100, 0}, -1}};
    int expected = 0;
    for (const Case& c : cases) {
        for (const int size : {12, 13, 64}) {
            std::memcpy(payload, &c.color, sizeof(c.color));
            expected += c.result == 0;
            EXPECT_EQ(Set(OVELCMD_SET_COLOR, payload, size), c.result)
                << "case " << &c - cases << " " << size;
            EXPECT_EQ(updates, expected) << "each that is taken asks for one repaint";
        }
    }
    EXPECT_TRUE(TakeLogLines().empty());
}

TEST_P(CommandTest, ZoomArea)
{
    CountUpdates();
    const tagOvelZoomArea area{0.25, 0.5, 0.75, 1};
    EXPECT_EQ(Set(OVELCMD_SET_EZOOM_AREA, &area, 100), 0);
    EXPECT_TRUE(renderer->m_stEZoomArea == area);
    EXPECT_EQ(TakeLogLines(),
              Lines{"[OvelRender::SetParam]OVELCMD_SET_EZOOM_AREA left = 0.250000 top = 0.500000 right = "
                    "0.750000 bottom = 1.000000"});
    const tagOvelZoomArea other{0.125, 9, 9, 9};
    EXPECT_EQ(Set(OVELCMD_SET_EZOOM_AREA, &other, 8), 0);
    EXPECT_TRUE(renderer->m_stEZoomArea == (tagOvelZoomArea{0.125, 0.5, 0.75, 1})) << "only what came";
    EXPECT_EQ(TakeLogLines().size(), 1u);
    EXPECT_EQ(updates, 2) << "each asks for one repaint";
}

TEST_P(CommandTest, PayloadsOverwriteOnlyWhatTheyHold)
{
    const int keep[] = {0x01020304, 0x05060708};
    EXPECT_EQ(Set(OVELCMD_SET_STOPDRAW_PARA, keep, 100), 0);
    EXPECT_EQ(renderer->blReserveLastFrm, 0x01020304);
    EXPECT_EQ(Set(OVELCMD_SET_STOPDRAW_PARA, &keep[1], 1), 0);
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
    source.Attach(handle);
    const tagOvelDrawCallback before{renderer->m_pfnDrawCallback, renderer->m_pDrawCallbackUser};
    EXPECT_EQ(before.pUser, &source);
    const tagOvelDrawCallback none{nullptr, nullptr};
    EXPECT_EQ(Set(OVELCMD_SET_DRAW_CALLBACK, &none, 8), 0);
    EXPECT_EQ(renderer->m_pfnDrawCallback, nullptr);
    EXPECT_EQ(renderer->m_pDrawCallbackUser, &source);

    QWidget parent;
    EXPECT_EQ(Set(OVELCMD_SET_LABEL_PARENT, &parent, 1), 0);
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
            Frame frame(PlainPicture(c.width, c.height, 1, 2, 3), OVEL_DISPLAY_YV12);
            EXPECT_EQ(frame.Feed(handle), 0);
        }
        TakeLogLines();
        EXPECT_EQ(Set(OVELCMD_SET_DRAW_RATIO_MODE, &c.mode, 4), 0);
        EXPECT_TRUE(Destination() == c.fitted) << Destination().left << " " << Destination().top << " "
                                               << Destination().right << " " << Destination().bottom;
        const std::string prefix = "[CLS_ShaderBase::SetDrawRatioMode]";
        const tagQRECT& f = c.fitted;
        EXPECT_EQ(TakeLogLines(),
                  (Lines{prefix + " before l=0, t=0, r=639, b=479",
                         prefix + "after l=" + std::to_string(f.left) + ", t=" + std::to_string(f.top) +
                             ", r=" + std::to_string(f.right) + ", b=" + std::to_string(f.bottom)}));
        const auto single = [](int value, int size) {
            return static_cast<double>(static_cast<float>(value) / static_cast<float>(size));
        };
        EXPECT_TRUE(renderer->m_stDrawDstNorm ==
                    (tagOvelZoomArea{single(f.left, 640), single(f.top, 480), single(f.right, 640),
                                     single(f.bottom, 480)}));
        if (c.mode != 0 || c.width == 0) {
            continue;
        }
        tagQRECT copy{0, 0, 639, 479};
        EXPECT_EQ(DrawAdjustDstSurfaceRect(&copy, c.width, c.height), 0);
        EXPECT_TRUE(copy == c.fitted) << "the exported fit is the same one";
    }
    EXPECT_EQ(DrawAdjustDstSurfaceRect(nullptr, 1, 1), -1);
    tagQRECT untouched{1, 2, 3, 4};
    DrawAdjustDstSurfaceRect(&untouched, 0, 5);
    EXPECT_TRUE(untouched == (tagQRECT{1, 2, 3, 4}));
    const uint8_t shortMode = 0;
    EXPECT_EQ(Set(OVELCMD_SET_DRAW_RATIO_MODE, &shortMode, 1), 0) << "zero-padded";
    EXPECT_TRUE(Destination() == (tagQRECT{185, 0, 454, 479}));
}

TEST_P(CommandTest, DestinationRectangles)
{
    EXPECT_EQ(renderer->GetDrawDstRect(), QRect(QPoint(0, 0), QPoint(-2, -2)));
    const tagQRECT good{10, 20, 110, 219};
    EXPECT_EQ(Set(OVELCMD_SET_DRAW_DST_RECT, &good, 16), 0);
    EXPECT_EQ(TakeLogLines(),
              (Lines{"[CLS_ShaderBase::SetDrawDstRect] width=640, height=480",
                     "[CLS_ShaderBase::SetDrawDstRect] left=10, top=20 , right =110 ,bottom = 219",
                     "[CLS_ShaderBase::SetDrawDstRect] left=0.02, top=0.04 , right =0.17 ,bottom = 0.46"}));
    const tagOvelZoomArea placed = renderer->m_stDrawDstNorm;
    EXPECT_EQ(placed.left, static_cast<double>(10.0f / 640.0f));
    for (const tagQRECT& small : {tagQRECT{10, 10, 10, 100}, tagQRECT{0, 5, 99, 5}, tagQRECT{50, 50, 20, 90},
                                  tagQRECT{INT32_MIN, 0, INT32_MAX, -1}}) {
        EXPECT_EQ(Set(OVELCMD_SET_DRAW_DST_RECT, &small, 16), -1);
        EXPECT_TRUE(Destination() == small);
        EXPECT_TRUE(renderer->m_stDrawDstNorm == placed) << "the picture stays where it was";
    }
    const tagQRECT least{0, 0, 1, 1};
    EXPECT_EQ(Set(OVELCMD_SET_DRAW_DST_RECT, &least, 16), 0);
    const tagQRECT extreme{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX};
    EXPECT_EQ(Set(OVELCMD_SET_DRAW_DST_RECT, &extreme, 16), 0) << "wide, however large";
    const tagQRECT odd{-3, 7, 100, 101};
    EXPECT_EQ(Set(OVELCMD_SET_DRAW_DST_RECT, &odd, 16), 0);
    EXPECT_EQ(renderer->GetDrawDstRect(), QRect(QPoint(-4, 6), QPoint(100, 100)));
    const tagQRECT zero{};
    EXPECT_EQ(Set(OVELCMD_SET_DRAW_DST_RECT, &zero, 16), -1);
    EXPECT_EQ(renderer->GetDrawDstRect(), QRect(QPoint(0, 0), QPoint(638, 478)));
    EXPECT_EQ(Set(OVELCMD_SET_DRAW_DST_RECT, &good, 12), -1) << "bottom reads as 0";
    EXPECT_TRUE(Destination() == (tagQRECT{10, 20, 110, 0}));
    EXPECT_TRUE(IsRectEmpty(QRect(QPoint(0, 0), QPoint(0, 0))));
    EXPECT_FALSE(IsRectEmpty(QRect()));
}

TEST_P(CommandTest, ClearDrawResetsAndLogs)
{
    const tagOvelZoomArea zoom{0.1, 0.2, 0.3, 0.4};
    const int keep = 1;
    Frame(MakePicture(8, 4), OVEL_DISPLAY_NV12).Feed(handle);
    Set(OVELCMD_SET_EZOOM_AREA, &zoom, 32);
    const tagQRECT rectangle{0, 0, 99, 99};
    Set(OVELCMD_SET_DRAW_DST_RECT, &rectangle, 16);
    const tagOvelZoomArea placed = renderer->m_stDrawDstNorm;
    const std::string name = GetParam() == 0 ? "CLS_ShaderYuv" : "CLS_ShaderYuvSubImage";
    Set(OVELCMD_SET_STOPDRAW_PARA, &keep, 4);
    TakeLogLines();
    Ovel_ClearDraw(handle);
    EXPECT_EQ(TakeLogLines(), Lines{name + "::ClearDraw, blReserveLastFrm=1"});
    EXPECT_NE(renderer->m_pYuvBuf, nullptr);
    EXPECT_TRUE(renderer->m_stEZoomArea == zoom);
    const int drop = 0;
    Set(OVELCMD_SET_STOPDRAW_PARA, &drop, 4);
    Ovel_ClearDraw(handle);
    EXPECT_EQ(renderer->m_pYuvBuf, nullptr);
    EXPECT_EQ(renderer->m_nDisplayType, -1);
    EXPECT_TRUE(renderer->m_stEZoomArea == (tagOvelZoomArea{0, 0, 1, 1}));
    EXPECT_TRUE(renderer->m_stDrawDstNorm == (GetParam() == 0 ? tagOvelZoomArea{0, 0, 1, 1} : placed));
}

} // namespace
