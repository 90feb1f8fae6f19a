// What a frame descriptor puts into the frame buffer, which frames are refused, what is logged. No window is
// shown.
#include "Harness.h"

#include <cstdlib>
#include <cstring>
#include <limits>

using namespace OvelTest;

namespace
{

using Strings = std::vector<std::string>;

class IntakeTest : public HiddenRenderer
{
protected:
    std::vector<uint8_t> Buffer(size_t size = 48) const
    {
        return {renderer->m_pYuvBuf, renderer->m_pYuvBuf + size};
    }

    const Picture small = MakePicture(8, 4);
};
OVEL_FOR_BOTH_RENDERERS(IntakeTest);

TEST_P(IntakeTest, CopyRules)
{
    struct Case {
        int width, height, type, pitch;
        Frame::Source source;
    };
    // clang-format off
    const Case cases[] = {
        {8, 4, Yv12, 0, Frame::Block}, {7, 5, Yv12, 0, Frame::Block}, {8, 4, Yv12, 64, Frame::Block},
        {8, 4, Nv12, 0, Frame::Block}, {8, 4, Nv12, 0, Frame::Planes}, {8, 16, Nv12, 8, Frame::Block},
        {8, 16, Nv12, 8, Frame::Planes}, {8, 10, Nv12, 8, Frame::Block}, {8, 10, Nv12, 8, Frame::Planes},
        {8, 10, Nv12, 11, Frame::Block}, {8, 10, Nv12, 11, Frame::Planes}, {9, 17, Nv12, 2048, Frame::Block},
        {9, 17, Nv12, 2048, Frame::Planes}, {2, 1, Nv12, 16, Frame::Planes}, {70, 18, Nv12, 99, Frame::Block},
        {150, 20, Yv12, 0, Frame::Block}, {1280, 720, Nv12, 1280, Frame::Block},
        {1920, 1080, Nv12, 2048, Frame::Block}};
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << c.width << "x" << c.height << " type " << c.type << " pitch " << c.pitch);
        const Picture picture = MakePicture(c.width, c.height);
        Frame frame(picture, c.type, c.pitch, c.source);
        EXPECT_EQ(frame.Feed(renderer), 0);
        const std::vector<uint8_t> expected = BufferBytes(picture, c.type);
        EXPECT_EQ(Buffer(expected.size()), expected);
        EXPECT_EQ(renderer->m_nVideoWidth, c.width);
        EXPECT_EQ(renderer->m_nVideoHeight, c.height);
        EXPECT_EQ(renderer->m_nYuvBufSize, 0);
        EXPECT_EQ(renderer->m_nDisplayType, c.type);
        if (c.type == Nv12) {
            EXPECT_EQ(renderer->m_pNV12Y, renderer->m_pYuvBuf);
            EXPECT_EQ(renderer->m_pNV12UV, renderer->m_pYuvBuf + c.width * c.height);
        }
        const uint8_t* first = renderer->m_pYuvBuf;
        std::fill(frame.block.begin(), frame.block.end(), uint8_t{7});
        EXPECT_EQ(Buffer(expected.size()), expected) << "the caller's memory is his own again";
        static_cast<void>(renderer->grabFramebuffer());
        const Picture next = MakePicture(c.width, c.height, 9);
        EXPECT_EQ(Frame(next, c.type, c.pitch, c.source).Feed(renderer), 0);
        EXPECT_EQ(Buffer(expected.size()), BufferBytes(next, c.type)) << "over a picture that was painted";
        EXPECT_EQ(renderer->m_pYuvBuf, first) << "the same size reuses the buffer";
    }
}

TEST_P(IntakeTest, ShortDescriptorsReadAsZeroPadded)
{
    Frame frame(small, Nv12, 16, Frame::Planes);
    frame.block = std::vector<uint8_t>(48, 0x55);
    frame.info.pYuvData = frame.block.data();
    frame.info.iDataSize = 1000;
    EXPECT_EQ(Ovel_ShowYuvFrame(renderer, &frame.info, 48), 0) << "planes, pitch and data size cut away";
    EXPECT_EQ(renderer->m_nDisplayType, Nv12);
    EXPECT_EQ(Buffer(), frame.block);
    EXPECT_EQ(Ovel_ShowYuvFrame(renderer, &frame.info, 24), 0) << "the type too";
    EXPECT_EQ(renderer->m_nDisplayType, Yv12);
    frame.info.iDataSize = 0;
    EXPECT_EQ(Ovel_ShowYuvFrame(renderer, &frame.info, 200), 0) << "a longer one counts up to its record";
    EXPECT_EQ(Buffer(), BufferBytes(small, Nv12));
    for (const int size : {16, 0, -1, std::numeric_limits<int>::min()}) { // 16: no size in it
        EXPECT_EQ(Ovel_ShowYuvFrame(renderer, &frame.info, size), -1);
        EXPECT_EQ(Buffer(), BufferBytes(small, Nv12));
    }
    EXPECT_EQ(Ovel_ShowYuvFrame(renderer, nullptr, 112), -1);
}

// Whatever a frame declares, the buffer holds its picture, and only what was declared is read.
TEST_P(IntakeTest, DeclaredDataSizes)
{
    const std::vector<uint8_t> whole = BufferBytes(small, Yv12);
    Frame frame(small, Yv12);
    for (const int declared : {48, 10, 0, 1, 47, 49, 100, 0, 100, -5, 5}) {
        SCOPED_TRACE(declared);
        const size_t given = declared > 0 ? static_cast<size_t>(declared) : 48;
        std::vector<uint8_t> source(given, 0x77); // to the byte, so that a read beyond it is seen
        std::copy_n(whole.begin(), std::min<size_t>(given, 48), source.begin());
        frame.info.pYuvData = source.data();
        frame.info.iDataSize = declared;
        std::vector<uint8_t> expected = whole;
        if (declared > 0 && declared < 48 && declared != renderer->m_nYuvBufSize) {
            std::fill(expected.begin() + declared, expected.end(), uint8_t(0)); // a new buffer
        }
        EXPECT_EQ(frame.Feed(renderer), 0);
        EXPECT_EQ(Buffer(), expected);
        EXPECT_TRUE(declared <= 0 || renderer->m_nYuvBufSize == declared);
        if (IsSubImage()) {
            EXPECT_EQ(static_cast<CLS_ShaderYuvSubImage*>(renderer)->m_blBlockFrame, declared > 0);
        }
    }
    for (const int declared : {5, 0, 7}) { // after a small one: both planes of NV12 need room
        Frame nv12(small, Nv12, 20, Frame::Planes);
        nv12.info.iDataSize = declared;
        EXPECT_EQ(nv12.Feed(renderer), 0);
        EXPECT_EQ(Buffer(), BufferBytes(small, Nv12));
    }
}

TEST_P(IntakeTest, MissingSourcesKeepTheBuffer)
{
    for (const int type : Layouts) {
        for (const int pitch : {0, 16}) {
            Frame empty(small, type, pitch);
            empty.info.pYuvData = nullptr;
            Ovel_ClearDraw(renderer);
            EXPECT_EQ(empty.Feed(renderer), 0);
            EXPECT_EQ(Buffer(), std::vector<uint8_t>(48, 0)) << "first: zeros";
            EXPECT_EQ(Frame(small, type, pitch).Feed(renderer), 0);
            Frame half(small, Nv12, pitch, Frame::Planes);
            half.info.pPlaneUV = nullptr;
            for (Frame* frame : {&empty, &half}) { // one plane is no source
                EXPECT_EQ(frame->Feed(renderer), 0);
                EXPECT_EQ(Buffer(), BufferBytes(small, type));
            }
        }
    }
}

TEST_P(IntakeTest, ImpossibleSizesAreRefused)
{
    constexpr int Most = std::numeric_limits<int>::max();
    Frame frame(small, Nv12);
    const auto refuse = [&](const QSize& size) {
        frame.info.iWidth = size.width();
        frame.info.iHeight = size.height();
        TakeLogLines();
        EXPECT_EQ(frame.Feed(renderer), -1) << size.width() << "x" << size.height();
        return TakeErrorLines();
    };
    EXPECT_EQ(refuse(QSize(0, 4)), Strings{});
    EXPECT_EQ(renderer->m_pYuvBuf, nullptr);
    EXPECT_EQ(Frame(small, Nv12).Feed(renderer), 0);
    for (const QSize& size : {QSize(0, 4), QSize(8, 0), QSize(-8, 4), QSize(8, -4), QSize(65536, 21846),
                              QSize(Most, Most), QSize(Most, 2), QSize(46341, 46341), QSize(~Most, ~Most)}) {
        const Strings entry{
            "E CLS_ShaderYuv|ShowYuvFrame|ShowYuvFrame iWidth = " + std::to_string(size.width()) +
            " iHeight = " + std::to_string(size.height()) + " is invalid param"};
        for (const int type : {Nv12, Yv12, 6}) {
            for (const int declared : {0, 48, 12}) {
                frame.info.iDisplayType = type;
                frame.info.iDataSize = declared;
                EXPECT_EQ(refuse(size), IsSubImage() ? Strings{} : entry) << "each one, not only the first";
                EXPECT_EQ(renderer->m_nDisplayType, Nv12);
                ASSERT_EQ(Buffer(), BufferBytes(small, Nv12));
                EXPECT_EQ(renderer->m_pNV12UV, renderer->m_pYuvBuf + 32);
            }
        }
    }
    EXPECT_EQ(Frame(MakePicture(10, 6), Yv12).Feed(renderer), 0) << "and the next good one is taken";
}

TEST_P(IntakeTest, DisplayTypeLogLines)
{
    const std::string software = "YV12,The Player is SoftWare Player";
    const std::string nv12 = "NV12,The Player is DxvaPlayer";
    const std::string dxgl = "DXGL,The Player is D3D11Player";
    const std::string vtb = "VTB,The Player is HW VIDEOTOOLBOX Player";
    struct Case {
        int type;
        std::string fullLine;
        int fullStored;
        std::string subLine;
    };
    const Case cases[] = {{0, software, 0, software}, {3, nv12, 3, nv12},
                          {0, software, 0, software}, {0, "", 0, ""},
                          {4, software, 5, software}, {4, software, 5, ""},
                          {5, "", 5, software},       {6, dxgl, 6, dxgl},
                          {8, vtb, 8, software},      {5, vtb, 5, software},
                          {1, software, 1, software}, {-9, software, -9, software}};
    for (const Case& c : cases) {
        Frame frame(small, Yv12);
        frame.info.iDisplayType = c.type;
        EXPECT_EQ(frame.Feed(renderer), 0);
        const std::string line = IsSubImage() ? c.subLine : c.fullLine;
        const std::string prefix = "ShowYuvFrame Display type is VIDEO_DISPLAY_";
        EXPECT_EQ(TakeLogLines(), line.empty() ? Strings{} : Strings{prefix + line}) << c.type;
        EXPECT_EQ(renderer->m_nDisplayType, IsSubImage() ? c.type : c.fullStored);
    }
}

// After a release nothing points into the freed buffer, and a refused frame brings no pointer back. What came
// as one declared block keeps its type in the sub-image renderer.
TEST_P(IntakeTest, Release)
{
    for (const int declared : {300, 0}) {
        Frame nv12(small, Nv12);
        EXPECT_EQ(nv12.Feed(renderer), 0);
        Frame block(MakePicture(20, 10), Yv12);
        block.info.iDisplayType = 6;
        block.info.iDataSize = declared;
        EXPECT_EQ(block.Feed(renderer), 0);
        renderer->Release();
        EXPECT_EQ(renderer->m_nDisplayType, IsSubImage() && declared > 0 ? 6 : -1);
        EXPECT_EQ(renderer->m_pYuvBuf, nullptr);
        EXPECT_EQ(renderer->m_nVideoWidth, 0);
        nv12.info.iWidth = -1;
        EXPECT_EQ(nv12.Feed(renderer), -1);
        EXPECT_EQ(renderer->m_pNV12Y, nullptr);
        EXPECT_EQ(renderer->m_pNV12UV, nullptr);
    }
}

TEST(CheckGreen, LooksAtFourCorners)
{
    std::vector<uint8_t> luma(40 * 30, 0);
    EXPECT_TRUE(CheckGreen(nullptr, 40, 30));
    EXPECT_TRUE(CheckGreen(luma.data(), 40, 30));
    const auto sample = [&](const QPoint& at) -> uint8_t& { return luma[size_t(at.y() * 40 + at.x())]; };
    for (const QPoint& corner : {QPoint(0, 0), QPoint(9, 9), QPoint(30, 0), QPoint(39, 29), QPoint(0, 20),
                                 QPoint(9, 29), QPoint(30, 20)}) {
        sample(corner) = 1;
        EXPECT_FALSE(CheckGreen(luma.data(), 40, 30)) << corner.x() << ", " << corner.y();
        sample(corner) = 0;
    }
    sample(QPoint(10, 0)) = sample(QPoint(0, 10)) = 200;
    EXPECT_TRUE(CheckGreen(luma.data(), 40, 30));
}

} // namespace
