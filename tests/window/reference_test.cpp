// Frames that stay where the host has them: what is shown of them, what is refused, when the host gets them
// back.
#include "Lender.h"
#include "ScriptedHost.h"

using namespace OvelTest;

namespace
{

class ReferenceTest : public BothRenderers
{
protected:
    ReferenceTest() : window(GetParam()) {}
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

    Lender lender; // outlives the window
    RenderWindow window;
    const Picture detailed = MakePicture(48, 32);
    const Picture small = MakePicture(16, 16);
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
        {7, 5, Nv12, {9, 6, 0}}, {7, 5, Yv12, {8, 4, 5}}, {18, 10, Yv12, {19, 9, 12}},
        {174, 9, Yv12, {192, 96, -88}}, {1, 8, Yv12, {}}, {8, 1, Yv12, {9, 0, 0}}, {1, 1, Yv12, {4, 0, 0}},
        {48, 32, Nv12, {}}, {48, 32, Nv12, {48, 48, 0}}, {48, 32, Nv12, {64, 96, 0}},
        {48, 32, Nv12, {53, 51, 0}}, {48, 32, Nv12, {-53, -64, 0}}, {48, 32, Nv12, {2048, -49, 0}},
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
            EXPECT_TRUE(window.Shows(picture, c.type));
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
    for (const int type : Layouts) {
        for (const QSize& size : {QSize(40, 30), QSize(18, 10)}) {
            const Picture lent = MakePicture(size.width(), size.height(), ++seed);
            ASSERT_TRUE(ShowLoan(lent, type, {64, 64, 64}));
            EXPECT_TRUE(window.Shows(lent, type));
            EXPECT_EQ(window.renderer->m_pYuvBuf, buffer);
            Frame nothing(copied, Yv12);
            nothing.info.pYuvData = nullptr;
            ASSERT_TRUE(window.Show(std::move(nothing)));
            EXPECT_EQ(lender.Out(), 0) << "a copied frame lets go";
            EXPECT_TRUE(window.Shows(copied, Yv12));
            EXPECT_EQ(window.renderer->m_pYuvBuf, buffer) << "of the size that it had";
        }
    }
    ASSERT_TRUE(ShowLoan(small, Nv12));
    ASSERT_TRUE(window.Show(detailed, Nv12));
    EXPECT_TRUE(window.Shows(detailed, Nv12));
    EXPECT_EQ(window.renderer->m_nVideoWidth, 48);
}

// A colour that comes with a frame is that frame's alone.
TEST_P(ReferenceTest, ColorsOfAFrame)
{
    const tagOvelColor legacy{0, 0, 0};
    const tagOvelColor bt709{OVEL_MATRIX_BT709, OVEL_RANGE_LIMITED, OVEL_SITING_LEFT};
    const tagOvelColor bt2020{OVEL_MATRIX_BT2020, OVEL_RANGE_FULL, OVEL_SITING_TOP_LEFT};
    const tagOvelColor* const none = nullptr;
    for (const int type : Layouts) {
        View view;
        for (const tagOvelColor& command : {legacy, bt2020}) {
            window.Set(OVELCMD_SET_COLOR, command);
            for (const tagOvelColor* given : {&bt709, none, &bt709, &legacy}) {
                Loan loan(detailed, type);
                if (given) {
                    loan.Describe(*given);
                }
                ASSERT_TRUE(ShowLoan(std::move(loan)));
                view.color = given ? *given : command;
                EXPECT_TRUE(window.Shows(detailed, type, view));
            }
            ASSERT_TRUE(window.Show(detailed, type));
            view.color = command;
            EXPECT_TRUE(window.Shows(detailed, type, view));
        }
    }
}

TEST_P(ReferenceTest, RefusedFramesComeBackAtOnce)
{
    using Strings = std::vector<std::string>;
    struct Case {
        const char* name;
        std::function<void(tagOvelFrameRef&)> spoil;
        int size = sizeof(tagOvelFrameRef);
    };
    const auto nothing = [](tagOvelFrameRef&) {};
    const Case cases[] = {
        {"empty", nothing, 0},
        {"without the second", nothing, 24},
        {"null luma", [](tagOvelFrameRef& f) { f.pPlane[0] = nullptr; }},
        {"null chroma", [](tagOvelFrameRef& f) { f.pPlane[1] = nullptr; }},
        {"no third plane", [](tagOvelFrameRef& f) { f.iDisplayType = Yv12; }},
        {"short pitch", [](tagOvelFrameRef& f) { f.iPitch[0] = 47; }},
        {"short pitch upwards", [](tagOvelFrameRef& f) { f.iPitch[1] = -47; }},
        {"type 5", [](tagOvelFrameRef& f) { f.iDisplayType = 5; }},
        {"matrix", [](tagOvelFrameRef& f) { f.iHasColor = 1, f.stColor.iMatrix = 4; }},
        {"0", [](tagOvelFrameRef& f) { f.iWidth = 0; }},
        {"1073741824", [](tagOvelFrameRef& f) { f.iWidth = 1 << 30; }},
    };
    for (const bool hasPicture : {false, true}) {
        ASSERT_TRUE(!hasPicture || ShowLoan(detailed, Nv12));
        for (const Case& c : cases) {
            SCOPED_TRACE(c.name);
            Loan loan(detailed, Nv12);
            c.spoil(loan.info);
            const bool isLogged = hasPicture && loan.info.iWidth != 48; // such a width is the name
            TakeLogLines();
            EXPECT_EQ(lender.Lend(window.handle, std::move(loan), c.size), -1);
            EXPECT_EQ(lender.Out(), hasPicture ? 1 : 0);
            const Strings entry{"E RendererSteps|TakeReference|ShowYuvFrameRef iWidth = " +
                                std::string(c.name) + " iHeight = 32 is invalid param"};
            EXPECT_EQ(TakeLogLines(), isLogged ? entry : Strings{});
        }
        EXPECT_EQ(window.renderer->m_nDisplayType, hasPicture ? Nv12 : -1);
    }
    Frame copied(detailed, Yv12); // of no size: must not do either
    copied.info.iWidth = 0;
    EXPECT_EQ(copied.Feed(window.handle), -1);
    ASSERT_TRUE(window.Repaint());
    EXPECT_TRUE(window.Shows(detailed, Nv12));
    EXPECT_EQ(lender.Lend(nullptr, Loan(detailed, Nv12)), -1);
    EXPECT_EQ(lender.Lend(&lender, Loan(detailed, Nv12)), -1);
    EXPECT_EQ(Ovel_ShowYuvFrameRef(window.handle, nullptr, 72, nullptr, nullptr), -1);
    EXPECT_EQ(lender.Out(), 1);
}

// Each way to let go, with what the host may do in its release: everything, because no lock is held.
TEST_P(ReferenceTest, WhatLetsGo)
{
    int answer = 1;
    lender.whenReturned = [&] {
        answer = std::exchange(answer, 1) == 2 ? Frame(small, Yv12).Feed(window.handle) : 1;
    };
    const auto clear = [&](int keep) {
        window.Set(OVELCMD_SET_STOPDRAW_PARA, keep);
        Ovel_ClearDraw(window.handle);
    };
    struct Case {
        const char* name;
        std::function<void()> act;
        bool letsGo;
    };
    const Case cases[] = {
        {"a repaint", [&] { window.Repaint(); }, false},
        {"a resize", [&] { window.Resize(QSize(80, 60)); }, false},
        {"hiding", [&] { window.top->hide(), RunEvents(), window.top->show(); }, false},
        {"a kept clear", [&] { clear(1); }, false},
        {"a refused frame", [&] { Ovel_ShowYuvFrame(window.handle, nullptr, 0); }, false},
        {"a clear", [&] { clear(0); }, true},
        {"a copied frame", [&] { Frame(small, Nv12).Feed(window.handle); }, true},
        {"the widget's own release", [&] { window.renderer->Release(); }, true},
        {"a new buffer", [&] { window.renderer->InnerResetYuvBuf(8, 8, 0); }, true},
    };
    for (const Case& c : cases) {
        ASSERT_EQ(lender.Lend(window.handle, Loan(small, Nv12)), 0);
        answer = 2;
        c.act();
        EXPECT_EQ(lender.Out(), c.letsGo ? 0 : 1) << c.name;
        EXPECT_EQ(answer, c.letsGo ? 0 : 2) << c.name << ": the host's call in its release";
        answer = 1;
        EXPECT_EQ(Frame(small, Nv12).Feed(window.handle), 0);
        EXPECT_EQ(lender.Out(), 0) << c.name;
    }
    ASSERT_EQ(lender.Lend(window.handle, Loan(small, Nv12)), 0);
    answer = 2;
    ASSERT_EQ(lender.Lend(window.handle, Loan(small, Yv12)), 0) << "the next one";
    EXPECT_EQ(lender.Out(), 0) << "and the copied one that its release showed";
    EXPECT_EQ(answer, 0);
}

// With no release nothing is called.
TEST_P(ReferenceTest, ParameterLogAndNoRelease)
{
    OverlaySource source;
    source.Attach(window.handle);
    Loan loan(detailed, Nv12);
    loan.info.uiFrameParam = 77;
    TakeLogLines();
    EXPECT_EQ(Ovel_ShowYuvFrameRef(window.handle, &loan.info, sizeof(loan.info), nullptr, this), 0);
    const std::string line = "ShowYuvFrame Display type is VIDEO_DISPLAY_NV12,The Player is DxvaPlayer";
    EXPECT_EQ(TakeLogLines(), std::vector{line});
    EXPECT_EQ(source.calls.at(0).info.uiFrameParam, 77u);
    Ovel_ClearDraw(window.handle);
}

TEST_P(ReferenceTest, ThrowingHosts)
{
    ScriptedHost host([](const ScriptedHost::Run&) { throw 1; });
    host.Attach(window.handle);
    lender.whenReturned = [] { throw 2; };
    EXPECT_EQ(lender.Lend(window.handle, Loan(MakePicture(8, 8), Yv12)), 0) << "taken all the same";
    EXPECT_EQ(lender.Out(), 1);
    EXPECT_EQ(Frame(MakePicture(8, 8), Yv12).Feed(window.handle), 0);
    Ovel_ClearDraw(window.handle);
    EXPECT_EQ(lender.Out(), 0);
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

} // namespace
