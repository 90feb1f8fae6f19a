// Frames that stay where the host has them: what is shown of them, what is refused, when the host gets them
// back.
#include "Lender.h"
#include "ScriptedHost.h"

using namespace OvelTest;

namespace
{

constexpr int Yv12 = OVEL_DISPLAY_YV12;
constexpr int Nv12 = OVEL_DISPLAY_NV12;

class ReferenceTest : public BothRenderers
{
protected:
    ReferenceTest() : window(GetParam(), QSize(96, 64)) {}
    ~ReferenceTest() override { EXPECT_EQ(lender.strangers, 0); }

    bool ShowLoan(Loan&& loan)
    {
        int result = -1;
        return window.Painted([&] { result = lender.Lend(window.handle, std::move(loan)); }) && result == 0;
    }
    bool ShowLoan(const Picture& picture, int type, const Pitches& pitches = {})
    {
        return ShowLoan(Loan(picture, type, pitches));
    }
    void ExpectShown(Picture picture, int type, View view = View())
    {
        if (picture.u.data.empty()) { // one sample wide or high: grey
            picture.u = picture.v = Plane{1, 1, {128}};
        }
        const View whole = window.CurrentView();
        view.widget = whole.widget;
        view.device = whole.device;
        EXPECT_TRUE(ShowsCanvas(window.Framebuffer(), RenderPicture(picture, type, view)));
    }

    Lender lender; // outlives the window
    RenderWindow window;
};
OVEL_FOR_BOTH_RENDERERS(ReferenceTest);

TEST_P(ReferenceTest, EveryWayToLie)
{
    struct Case {
        int width, height, type;
        Pitches pitches;
    };
    // clang-format off
    const Case cases[] = {
        {48, 32, Yv12, {}}, {48, 32, Yv12, {48, 24, 24}}, {48, 32, Yv12, {64, 32, 32}},
        {48, 32, Yv12, {50, 25, 27}}, {48, 32, Yv12, {2048, 24, 77}}, {48, 32, Yv12, {-64, -32, -24}},
        {48, 32, Yv12, {-48, 40, 0}}, {7, 5, Yv12, {}}, {7, 5, Yv12, {8, 4, 5}}, {18, 10, Yv12, {19, 9, 12}},
        {174, 9, Yv12, {192, 96, -88}}, {1, 8, Yv12, {}}, {8, 1, Yv12, {9, 0, 0}}, {1, 1, Yv12, {4, 0, 0}},
        {48, 32, Nv12, {}}, {48, 32, Nv12, {48, 48, 0}}, {48, 32, Nv12, {64, 96, 0}},
        {48, 32, Nv12, {53, 51, 0}}, {48, 32, Nv12, {-53, -64, 0}}, {48, 32, Nv12, {2048, -49, 0}},
        {7, 5, Nv12, {}}, {7, 5, Nv12, {9, 6, 0}}, {17, 9, Nv12, {32, 17, 0}}, {10, 6, Nv12, {10, 11, 0}},
        {1, 8, Nv12, {}}, {8, 1, Nv12, {16, 0, 0}},
    };
    // clang-format on
    int seed = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.width << " x " << c.height << " type " << c.type << " pitches "
                                        << c.pitches[0] << " " << c.pitches[1] << " " << c.pitches[2]);
        for (int again = 0; again < 2; ++again) { // new textures, and the ones that are there
            const Picture picture = MakePicture(c.width, c.height, ++seed);
            ASSERT_TRUE(ShowLoan(picture, c.type, c.pitches));
            ExpectShown(picture, c.type);
            EXPECT_EQ(lender.Out(), 1);
        }
        EXPECT_EQ(window.renderer->m_nVideoWidth, c.width);
        EXPECT_EQ(window.renderer->m_nVideoHeight, c.height);
        EXPECT_EQ(window.renderer->m_nDisplayType, c.type);
        EXPECT_EQ(window.renderer->m_pYuvBuf, nullptr);
    }
}

TEST_P(ReferenceTest, BothWaysMixed)
{
    const Picture copied = MakePicture(40, 30, 3);
    ASSERT_TRUE(window.Show(copied, Yv12));
    const uint8_t* const buffer = window.renderer->m_pYuvBuf;
    int seed = 10;
    for (const int type : {Yv12, Nv12}) {
        for (const QSize& size : {QSize(40, 30), QSize(18, 10)}) {
            const Picture lent = MakePicture(size.width(), size.height(), ++seed);
            ASSERT_TRUE(ShowLoan(lent, type, {64, 64, 64}));
            ExpectShown(lent, type);
            EXPECT_EQ(window.renderer->m_pYuvBuf, buffer);
            Frame nothing(copied, Yv12);
            nothing.info.pYuvData = nullptr;
            ASSERT_TRUE(window.Show(std::move(nothing)));
            EXPECT_EQ(lender.Out(), 0) << "a copied frame lets go";
            ExpectShown(copied, Yv12);
            EXPECT_EQ(window.renderer->m_pYuvBuf, buffer) << "of the size that it had";
        }
    }
    ASSERT_TRUE(ShowLoan(MakePicture(20, 20), Nv12));
    const Picture next = MakePicture(24, 16, 7);
    ASSERT_TRUE(window.Show(next, Nv12));
    ExpectShown(next, Nv12);
    EXPECT_EQ(window.renderer->m_nVideoWidth, 24);
}

// A colour that comes with a frame is that frame's alone.
TEST_P(ReferenceTest, ColorsOfAFrame)
{
    const tagOvelColor bt709{OVEL_MATRIX_BT709, OVEL_RANGE_LIMITED, OVEL_SITING_LEFT};
    const tagOvelColor bt2020{OVEL_MATRIX_BT2020, OVEL_RANGE_FULL, OVEL_SITING_TOP_LEFT};
    for (const int type : {Yv12, Nv12}) {
        const Picture picture = MakePicture(48, 32, type);
        View view;
        for (const tagOvelColor& command : {tagOvelColor{0, 0, 0}, bt2020}) {
            window.Set(OVELCMD_SET_COLOR, command);
            for (const bool given : {true, false, true}) {
                Loan loan(picture, type);
                if (given) {
                    loan.Describe(bt709);
                }
                ASSERT_TRUE(ShowLoan(std::move(loan)));
                view.color = given ? bt709 : command;
                ExpectShown(picture, type, view);
            }
            ASSERT_TRUE(window.Show(picture, type));
            view.color = command;
            ExpectShown(picture, type, view);
        }
    }
    Loan plain(MakePicture(48, 32), Yv12);
    plain.Describe({0, 0, 0});
    ASSERT_TRUE(ShowLoan(std::move(plain)));
    ExpectShown(MakePicture(48, 32), Yv12);
}

TEST_P(ReferenceTest, RefusedFramesComeBackAtOnce)
{
    const Picture picture = MakePicture(48, 32);
    const auto refused = [&](const char* what, const std::function<void(tagOvelFrameRef&)>& spoil, int size) {
        Loan loan(picture, Nv12);
        spoil(loan.info);
        const int out = lender.Out();
        EXPECT_EQ(lender.Lend(window.handle, std::move(loan), size), -1) << what;
        EXPECT_EQ(lender.Out(), out) << what;
    };
    for (const bool hasPicture : {false, true}) {
        TakeLogLines();
        if (hasPicture) {
            ASSERT_TRUE(ShowLoan(picture, Nv12));
            TakeLogLines();
        }
        const int whole = sizeof(tagOvelFrameRef);
        refused(
            "empty", [](tagOvelFrameRef&) {}, 0);
        refused(
            "negative", [](tagOvelFrameRef&) {}, -1);
        refused(
            "without planes", [](tagOvelFrameRef&) {}, 16);
        refused(
            "without the second", [](tagOvelFrameRef&) {}, 24);
        refused(
            "null luma", [](tagOvelFrameRef& f) { f.pPlane[0] = nullptr; }, whole);
        refused(
            "null chroma", [](tagOvelFrameRef& f) { f.pPlane[1] = nullptr; }, whole);
        refused(
            "no third plane", [](tagOvelFrameRef& f) { f.iDisplayType = Yv12; }, whole);
        refused(
            "short pitch", [](tagOvelFrameRef& f) { f.iPitch[0] = 47; }, whole);
        refused(
            "short pitch upwards", [](tagOvelFrameRef& f) { f.iPitch[1] = -47; }, whole);
        for (const int type : {5, 6, 1, -1}) {
            refused(
                "display type", [type](tagOvelFrameRef& f) { f.iDisplayType = type; }, whole);
        }
        refused(
            "matrix", [](tagOvelFrameRef& f) { f.iHasColor = 1, f.stColor.iMatrix = 4; }, whole);
        EXPECT_EQ(TakeLogLines(), std::vector<std::string>{});
        for (const int width : {0, -48, 1 << 30}) {
            refused(
                "size", [width](tagOvelFrameRef& f) { f.iWidth = width; }, whole);
            const std::string entry =
                "E RendererSteps|TakeReference|ShowYuvFrameRef iWidth = " + std::to_string(width) +
                " iHeight = 32 is invalid param";
            EXPECT_EQ(TakeLogLines(), hasPicture ? std::vector{entry} : std::vector<std::string>{});
        }
        EXPECT_EQ(window.renderer->m_nDisplayType, hasPicture ? Nv12 : -1);
    }
    ASSERT_TRUE(window.Repaint());
    ExpectShown(picture, Nv12);
    // What a copied frame of no size must not do either.
    Frame bad(picture, Yv12);
    bad.info.iWidth = 0;
    EXPECT_EQ(bad.Feed(window.handle), -1);
    ASSERT_TRUE(window.Repaint());
    ExpectShown(picture, Nv12);
    EXPECT_EQ(lender.Out(), 1);
    EXPECT_EQ(lender.Lend(nullptr, Loan(picture, Nv12)), -1);
    EXPECT_EQ(lender.Lend(&lender, Loan(picture, Nv12)), -1);
    EXPECT_EQ(Ovel_ShowYuvFrameRef(window.handle, nullptr, 72, nullptr, nullptr), -1);
    EXPECT_EQ(lender.Out(), 1);
}

// Each way to let go, with what the host may do in its release: everything, because no lock is held.
TEST_P(ReferenceTest, WhatLetsGo)
{
    const Picture picture = MakePicture(16, 16);
    int answer = 1;
    lender.whenReturned = [&] {
        answer = std::exchange(answer, 1) == 2 ? Frame(picture, Yv12).Feed(window.handle) : 1;
    };
    const int keep = 1;
    const int drop = 0;
    struct Case {
        const char* name;
        std::function<void()> act;
        bool letsGo;
    };
    const Case cases[] = {
        {"a repaint", [&] { window.Repaint(); }, false},
        {"a resize", [&] { window.Resize(QSize(80, 60)); }, false},
        {"hiding", [&] { window.top->hide(), RunEvents(), window.top->show(); }, false},
        {"a kept clear", [&] { window.Set(OVELCMD_SET_STOPDRAW_PARA, keep), Ovel_ClearDraw(window.handle); },
         false},
        {"a refused frame", [&] { Ovel_ShowYuvFrame(window.handle, nullptr, 0); }, false},
        {"a clear", [&] { window.Set(OVELCMD_SET_STOPDRAW_PARA, drop), Ovel_ClearDraw(window.handle); },
         true},
        {"a copied frame", [&] { Frame(picture, Nv12).Feed(window.handle); }, true},
        {"the widget's own release", [&] { window.renderer->Release(); }, true},
        {"a new buffer", [&] { window.renderer->InnerResetYuvBuf(8, 8, 0); }, true},
    };
    for (const Case& c : cases) {
        ASSERT_EQ(lender.Lend(window.handle, Loan(picture, Nv12)), 0);
        answer = 2;
        c.act();
        EXPECT_EQ(lender.Out(), c.letsGo ? 0 : 1) << c.name;
        EXPECT_EQ(answer, c.letsGo ? 0 : 2) << c.name << ": the host's call in its release";
        answer = 1;
        EXPECT_EQ(Frame(picture, Nv12).Feed(window.handle), 0);
        EXPECT_EQ(lender.Out(), 0) << c.name;
    }
    ASSERT_EQ(lender.Lend(window.handle, Loan(picture, Nv12)), 0);
    answer = 2;
    ASSERT_EQ(lender.Lend(window.handle, Loan(picture, Yv12)), 0) << "the next one";
    EXPECT_EQ(lender.Out(), 0) << "and the copied one that its release showed";
    EXPECT_EQ(answer, 0);
}

TEST_P(ReferenceTest, Ends)
{
    const Picture picture = MakePicture(16, 16);
    for (const bool shown : {true, false}) {
        for (const int way : {0, 1, 2}) {
            SCOPED_TRACE(testing::Message() << shown << " way " << way);
            auto end = std::make_unique<RenderWindow>(GetParam());
            void* const handle = end->handle;
            ASSERT_EQ(lender.Lend(handle, Loan(picture, Nv12, {20, 20, 0})), 0);
            if (shown) {
                RunEventsFor(20);
            }
            EXPECT_EQ(lender.Out(), 1);
            if (way == 0) {
                EXPECT_EQ(Ovel_Release(handle), 0);
            } else if (way == 1) {
                end->top.reset(); // Qt deletes the renderer with its parent
            } else {
                HostThread([&] { EXPECT_EQ(Ovel_Release(handle), 0); }).Finish();
            }
            EXPECT_EQ(lender.Out(), 0);
            EXPECT_EQ(lender.Lend(handle, Loan(picture, Nv12)), -1);
            EXPECT_EQ(lender.Out(), 0) << "refused by a renderer that is gone";
        }
    }
}

// Overlays, and the two handles from inside the callback: its own refuses, another one works.
TEST_P(ReferenceTest, DrawCallback)
{
    RenderWindow other(GetParam());
    const Picture picture = MakePicture(48, 32);
    ASSERT_EQ(lender.Lend(other.handle, Loan(picture, Yv12)), 0);
    const auto line = Graph(OVEL_GRAPH_OUTLINE, 0xFFFFFF, 5, {{10, 10}, {80, 14}, {60, 50}});
    std::vector<unsigned int> asked;
    ScriptedHost host([&](const ScriptedHost::Run& run) {
        run.Push(line);
        asked.push_back(run.info.uiFrameParam);
        const int out = lender.Out();
        EXPECT_EQ(lender.Lend(window.handle, Loan(picture, Yv12)), -1);
        EXPECT_EQ(lender.Out(), out) << "at once";
        EXPECT_EQ(lender.Lend(other.handle, Loan(picture, Yv12)), 0);
        EXPECT_EQ(lender.Out(), out) << "the one before is back";
    });
    host.Attach(window.handle);
    for (const int type : {Yv12, Nv12}) {
        Loan loan(picture, type, {64, 64, 64});
        loan.info.uiFrameParam = 77u + static_cast<unsigned int>(type);
        ASSERT_TRUE(ShowLoan(std::move(loan)));
        const View view = window.CurrentView();
        Canvas canvas = RenderPicture(picture, type, view);
        DrawOverlays(canvas, {line}, view, window.IsSubImage());
        EXPECT_TRUE(ShowsCanvas(window.Framebuffer(), canvas));
    }
    EXPECT_EQ(asked, (std::vector<unsigned int>{77, 80}));
    EXPECT_EQ(lender.Out(), 2);
    Ovel_ClearDraw(window.handle);
    window.Repaint();
    EXPECT_TRUE(ShowsCanvas(window.Framebuffer(), Canvas(window.CurrentView().device), 0)) << "black";
}

TEST_P(ReferenceTest, ThrowingHosts)
{
    ScriptedHost host([](const ScriptedHost::Run&) { throw 1; });
    host.Attach(window.handle);
    lender.whenReturned = [] { throw 2; };
    EXPECT_EQ(lender.Lend(window.handle, Loan(MakePicture(8, 8), Yv12)), 0) << "taken all the same";
    EXPECT_EQ(lender.Out(), 1);
    Ovel_ClearDraw(window.handle);
    EXPECT_EQ(lender.Out(), 0);
}

// The picture is built anew from where it lies. The sub-image renderer waits for the next frame when its
// context is a new one, as for copied frames.
TEST_P(ReferenceTest, SurvivesTheContext)
{
    for (const int type : {Yv12, Nv12}) {
        const Picture picture = MakePicture(48, 32, type);
        ASSERT_TRUE(ShowLoan(picture, type, {53, 64, 29}));
        QWidget other;
        for (QWidget* parent : {&other, window.top.get()}) {
            parent->show();
            window.renderer->setParent(parent);
            window.renderer->setGeometry(0, 0, 96, 64);
            window.renderer->show();
            RunEventsFor(40);
            if (window.IsSubImage()) {
                ASSERT_TRUE(ShowLoan(picture, type, {53, 64, 29}));
            }
            EXPECT_EQ(lender.Out(), 1);
            ExpectShown(picture, type);
        }
    }
}

// A log that waits for the GUI thread keeps no paint from its picture.
TEST_P(ReferenceTest, LogsUnderNoFrameLock)
{
    std::map<std::string, bool> lines;
    WhenLogged([&](const std::string& line) {
        lines[line.substr(0, line.find("ShowYuvFrame"))] = IsFree(window.renderer->m_mutexYuvBuf);
    });
    EXPECT_TRUE(ShowLoan(MakePicture(16, 16), Nv12));
    Loan bad(MakePicture(16, 16), Yv12);
    bad.info.iWidth = 0;
    EXPECT_EQ(lender.Lend(window.handle, std::move(bad)), -1);
    WhenLogged(nullptr);
    EXPECT_EQ(lines, (std::map<std::string, bool>{{"", true}, {"E RendererSteps|TakeReference|", true}}));
}

TEST_P(ReferenceTest, ViewAndLogAsForCopies)
{
    const Picture picture = MakePicture(48, 32);
    TakeLogLines();
    ASSERT_TRUE(ShowLoan(picture, Nv12, {64, 64, 0}));
    const std::string line = "ShowYuvFrame Display type is VIDEO_DISPLAY_NV12,The Player is DxvaPlayer";
    EXPECT_EQ(TakeLogLines(), std::vector{line});
    View view;
    view.zoom = {0.25, 0.25, 0.75, 0.75};
    window.Set(OVELCMD_SET_EZOOM_AREA, view.zoom);
    if (!window.IsSubImage()) {
        view.angle = 90;
        view.mirror = 1;
        window.Set(OVELCMD_SET_VIDEO_ROTATE, tagOvelVideoRotate{0, 90, 1});
    }
    ASSERT_TRUE(window.Repaint());
    ExpectShown(picture, Nv12, view);
    // Without a release nothing is called.
    Loan still(picture, Yv12);
    EXPECT_EQ(Ovel_ShowYuvFrameRef(window.handle, &still.info, sizeof(still.info), nullptr, this), 0);
    ASSERT_TRUE(window.Repaint());
    ExpectShown(picture, Yv12, view);
    Ovel_ClearDraw(window.handle);
}

} // namespace
