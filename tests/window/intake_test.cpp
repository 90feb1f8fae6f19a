// What a frame descriptor puts into the frame buffer, which frames are refused, what is logged. No window is
// shown.
#include "Harness.h"

#include <QMutexLocker>

#include <array>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <malloc.h>

using namespace OvelTest;

namespace
{

constexpr int Yv12 = OVEL_DISPLAY_YV12;
constexpr int Nv12 = OVEL_DISPLAY_NV12;
const std::string SoftwareLine =
    "ShowYuvFrame Display type is VIDEO_DISPLAY_YV12,The Player is SoftWare Player";
const std::string Nv12Line = "ShowYuvFrame Display type is VIDEO_DISPLAY_NV12,The Player is DxvaPlayer";
const std::string VtbLine =
    "ShowYuvFrame Display type is VIDEO_DISPLAY_VTB,The Player is HW VIDEOTOOLBOX Player";
const std::string DxglLine = "ShowYuvFrame Display type is VIDEO_DISPLAY_DXGL,The Player is D3D11Player";

class IntakeTest : public BothRenderers
{
protected:
    IntakeTest()
    {
        int type = GetParam();
        renderer = static_cast<CLS_ShaderBase*>(Ovel_CreateEx(&type, sizeof(type)));
        TakeLogLines();
    }
    ~IntakeTest() override { Ovel_Release(renderer); }

    bool IsSubImage() const { return GetParam() == OVEL_RENDER_SUB_IMAGE; }
    bool BlockFrame() const { return static_cast<CLS_ShaderYuvSubImage*>(renderer)->m_blBlockFrame; }
    std::vector<uint8_t> Buffer(size_t size) const
    {
        return {renderer->m_pYuvBuf, renderer->m_pYuvBuf + size};
    }

    CLS_ShaderBase* renderer;
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
        std::vector<uint8_t> expected = BufferBytes(picture, c.type);
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
        EXPECT_EQ(frame.Feed(renderer), 0);
        EXPECT_EQ(renderer->m_pYuvBuf, first) << "the same size reuses the buffer";
        static_cast<void>(renderer->grabFramebuffer());
        const Picture next = MakePicture(c.width, c.height, 9);
        EXPECT_EQ(Frame(next, c.type, c.pitch, c.source).Feed(renderer), 0);
        EXPECT_EQ(Buffer(expected.size()), BufferBytes(next, c.type)) << "over a picture that was painted";
    }
}

TEST_P(IntakeTest, ShortDescriptorsReadAsZeroPadded)
{
    const Picture picture = MakePicture(8, 4);
    Frame frame(picture, Nv12, 16, Frame::Planes);
    frame.block = std::vector<uint8_t>(48, 0x55);
    frame.info.pYuvData = frame.block.data();
    frame.info.iDataSize = 1000;
    EXPECT_EQ(Ovel_ShowYuvFrame(renderer, &frame.info, 48), 0) << "planes, pitch and data size cut away";
    EXPECT_EQ(renderer->m_nDisplayType, Nv12);
    EXPECT_EQ(Buffer(48), frame.block);
    EXPECT_EQ(Ovel_ShowYuvFrame(renderer, &frame.info, 24), 0) << "the type too";
    EXPECT_EQ(renderer->m_nDisplayType, Yv12);
    frame.info.iDataSize = 0;
    EXPECT_EQ(Ovel_ShowYuvFrame(renderer, &frame.info, 200), 0) << "a longer one counts up to its record";
    EXPECT_EQ(Buffer(48), BufferBytes(picture, Nv12));
    EXPECT_EQ(Ovel_ShowYuvFrame(renderer, &frame.info, 16), -1) << "no size";
    EXPECT_EQ(Buffer(48), BufferBytes(picture, Nv12));
    for (const int size : {0, -1, std::numeric_limits<int>::min()}) {
        EXPECT_EQ(Ovel_ShowYuvFrame(renderer, &frame.info, size), -1);
    }
    EXPECT_EQ(Ovel_ShowYuvFrame(renderer, nullptr, 112), -1);
}

// Whatever a frame declares, the buffer holds its picture, and only what was declared is read.
TEST_P(IntakeTest, DeclaredDataSizes)
{
    const Picture picture = MakePicture(8, 4);
    const std::vector<uint8_t> whole = BufferBytes(picture, Yv12);
    Frame frame(picture, Yv12);
    for (const int declared : {48, 10, 0, 1, 47, 49, 100, 0, 100, -5}) {
        SCOPED_TRACE(declared);
        const size_t given = declared > 0 ? static_cast<size_t>(declared) : 48;
        std::vector<uint8_t> source(given, 0x77); // to the byte, so that a read beyond it is seen
        std::copy_n(whole.begin(), std::min<size_t>(given, 48), source.begin());
        frame.info.pYuvData = source.data();
        frame.info.iDataSize = declared;
        const bool fresh = declared > 0 && declared != renderer->m_nYuvBufSize;
        EXPECT_EQ(frame.Feed(renderer), 0);
        std::vector<uint8_t> expected = whole;
        if (fresh && given < 48) {
            std::fill(expected.begin() + declared, expected.end(), uint8_t(0));
        }
        EXPECT_EQ(Buffer(48), expected);
        EXPECT_TRUE(declared <= 0 || renderer->m_nYuvBufSize == declared);
        EXPECT_TRUE(!IsSubImage() || BlockFrame() == (declared > 0));
    }
    // NV12 after a small declared size: both planes need room.
    std::vector<uint8_t> five(5);
    frame.info.pYuvData = five.data();
    frame.info.iDataSize = 5;
    EXPECT_EQ(frame.Feed(renderer), 0);
    for (const int declared : {5, 0, 7}) {
        Frame nv12(picture, Nv12, 20, Frame::Planes);
        nv12.info.iDataSize = declared;
        EXPECT_EQ(nv12.Feed(renderer), 0);
        EXPECT_EQ(Buffer(48), BufferBytes(picture, Nv12));
    }
}

TEST_P(IntakeTest, MissingSourcesKeepTheBuffer)
{
    const Picture picture = MakePicture(8, 4);
    for (const int type : {Yv12, Nv12}) {
        for (const int pitch : {0, 16}) {
            Frame empty(picture, type, pitch);
            empty.info.pYuvData = nullptr;
            Ovel_ClearDraw(renderer);
            EXPECT_EQ(empty.Feed(renderer), 0);
            EXPECT_EQ(Buffer(48), std::vector<uint8_t>(48, 0)) << "first: zeros";
            EXPECT_EQ(Frame(picture, type, pitch).Feed(renderer), 0);
            EXPECT_EQ(empty.Feed(renderer), 0);
            EXPECT_EQ(Buffer(48), BufferBytes(picture, type));
            Frame half(picture, Nv12, pitch, Frame::Planes);
            half.info.pPlaneUV = nullptr;
            EXPECT_EQ(half.Feed(renderer), 0) << "one plane is no source";
            EXPECT_EQ(Buffer(48), BufferBytes(picture, type));
        }
    }
}

TEST_P(IntakeTest, ImpossibleSizesAreRefused)
{
    const Picture picture = MakePicture(8, 4);
    Frame frame(picture, Nv12);
    EXPECT_EQ(frame.Feed(renderer), 0);
    constexpr int Most = std::numeric_limits<int>::max();
    const int sizes[][2] = {{0, 4},    {8, 0},         {-8, 4},
                            {8, -4},   {65536, 21846}, {Most, Most},
                            {Most, 2}, {46341, 46341}, {INT32_MIN, INT32_MIN}};
    for (const auto& size : sizes) {
        for (const int type : {Nv12, Yv12, 6}) {
            for (const int declared : {0, 48, 12}) {
                frame.info.iWidth = size[0];
                frame.info.iHeight = size[1];
                frame.info.iDisplayType = type;
                frame.info.iDataSize = declared;
                EXPECT_EQ(frame.Feed(renderer), -1)
                    << size[0] << "x" << size[1] << " " << type << " " << declared;
                EXPECT_EQ(renderer->m_nDisplayType, Nv12);
                ASSERT_EQ(Buffer(48), BufferBytes(picture, Nv12));
                EXPECT_EQ(renderer->m_pNV12UV, renderer->m_pYuvBuf + 32);
            }
        }
    }
    EXPECT_EQ(Frame(MakePicture(10, 6), Yv12).Feed(renderer), 0) << "and the next good one is taken";
}

TEST_P(IntakeTest, DisplayTypeLogLines)
{
    struct Case {
        int type;
        std::string fullLine;
        int fullStored;
        std::string subLine;
    };
    const Case cases[] = {{0, SoftwareLine, 0, SoftwareLine}, {3, Nv12Line, 3, Nv12Line},
                          {0, SoftwareLine, 0, SoftwareLine}, {0, "", 0, ""},
                          {4, SoftwareLine, 5, SoftwareLine}, {4, SoftwareLine, 5, ""},
                          {5, "", 5, SoftwareLine},           {6, DxglLine, 6, DxglLine},
                          {8, VtbLine, 8, SoftwareLine},      {5, VtbLine, 5, SoftwareLine},
                          {1, SoftwareLine, 1, SoftwareLine}, {-9, SoftwareLine, -9, SoftwareLine}};
    for (const Case& c : cases) {
        Frame frame(MakePicture(8, 4), Yv12);
        frame.info.iDisplayType = c.type;
        EXPECT_EQ(frame.Feed(renderer), 0);
        const std::string line = IsSubImage() ? c.subLine : c.fullLine;
        EXPECT_EQ(TakeLogLines(), line.empty() ? std::vector<std::string>{} : std::vector<std::string>{line})
            << c.type;
        EXPECT_EQ(renderer->m_nDisplayType, IsSubImage() ? c.type : c.fullStored);
    }
}

TEST_P(IntakeTest, EveryRefusalIsLogged)
{
    Frame bad(MakePicture(8, 4), Yv12);
    bad.info.iWidth = 0;
    EXPECT_EQ(bad.Feed(renderer), -1);
    EXPECT_EQ(renderer->m_pYuvBuf, nullptr);
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(Frame(MakePicture(8, 4), Yv12).Feed(renderer), 0);
        for (const std::array<int, 2> size : {std::array{0, 4}, std::array{8, -1}, std::array{8, -1}}) {
            bad.info.iWidth = size[0];
            bad.info.iHeight = size[1];
            TakeLogLines();
            EXPECT_EQ(bad.Feed(renderer), -1);
            const std::string entry =
                "E CLS_ShaderYuv|ShowYuvFrame|ShowYuvFrame iWidth = " + std::to_string(size[0]) +
                " iHeight = " + std::to_string(size[1]) + " is invalid param";
            EXPECT_EQ(TakeLogLines(),
                      IsSubImage() ? std::vector<std::string>{} : std::vector<std::string>{entry});
        }
    }
}

// The buffer is the heap's own: a host may hand it to free and put one of its own there.
TEST_P(IntakeTest, TheBufferIsAHeapBlock)
{
    const Picture own = MakePicture(32, 24, 7);
    renderer->resize(96, 64);
    static_cast<void>(renderer->grabFramebuffer()); // the context is there before the frames
    for (const int type : {Yv12, Nv12}) {
        EXPECT_EQ(Frame(MakePicture(32, 24), type).Feed(renderer), 0);
        const std::vector<uint8_t> bytes = BufferBytes(own, type);
        EXPECT_GE(malloc_usable_size(renderer->m_pYuvBuf), bytes.size());
        {
            const QMutexLocker lock(&renderer->m_mutexYuvBuf);
            std::free(renderer->m_pYuvBuf);
            renderer->m_pYuvBuf = static_cast<uint8_t*>(std::malloc(bytes.size()));
            std::memcpy(renderer->m_pYuvBuf, bytes.data(), bytes.size());
        }
        Frame nothing(own, type);
        nothing.info.pYuvData = nullptr;
        EXPECT_EQ(nothing.Feed(renderer), 0);
        EXPECT_EQ(Buffer(bytes.size()), bytes);
        QImage shown = renderer->grabFramebuffer();
        shown.setDevicePixelRatio(1);
        View view;
        view.widget = renderer->size();
        view.device = shown.size();
        EXPECT_TRUE(ShowsCanvas(shown, RenderPicture(own, type, view)));
        EXPECT_EQ(Frame(MakePicture(40, 30), type).Feed(renderer), 0) << "the library frees the host's block";
    }
}

// After a release nothing points into the freed buffer, and a refused frame brings no pointer back. What came
// as one declared block keeps its type in the sub-image renderer.
TEST_P(IntakeTest, Release)
{
    for (const int declared : {300, 0}) {
        Frame nv12(MakePicture(8, 4), Nv12);
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

TEST(IntakeBuffer, Reset)
{
    auto* renderer = static_cast<CLS_ShaderBase*>(Ovel_Create(nullptr));
    EXPECT_EQ(renderer->InnerResetYuvBuf(640, 480, 1000), 0);
    EXPECT_EQ(renderer->m_nYuvBufSize, 1000);
    const uint8_t* buffer = renderer->m_pYuvBuf;
    EXPECT_EQ(renderer->InnerResetYuvBuf(0, 480, 0), -1);
    EXPECT_EQ(renderer->m_pYuvBuf, buffer);
    EXPECT_EQ(renderer->InnerResetYuvBuf(640, 480, 0), 0);
    EXPECT_EQ(renderer->m_nYuvBufSize, 0);
    EXPECT_EQ(std::vector<uint8_t>(renderer->m_pYuvBuf, renderer->m_pYuvBuf + 460800),
              std::vector<uint8_t>(460800, 0));
    EXPECT_EQ(renderer->InnerResetYuvBuf(65536, 21846, 0), -1);
    EXPECT_EQ(renderer->m_pYuvBuf, nullptr);
    Ovel_Release(renderer);
}

TEST(CheckGreen, LooksAtFourCorners)
{
    std::vector<uint8_t> luma(40 * 30, 0);
    EXPECT_TRUE(CheckGreen(luma.data(), 40, 30));
    EXPECT_TRUE(CheckGreen(nullptr, 40, 30));
    const int corners[][2] = {{0, 0}, {9, 9}, {30, 0}, {39, 29}, {0, 20}, {9, 29}, {30, 20}};
    for (const auto& corner : corners) {
        uint8_t& sample = luma[static_cast<size_t>(corner[1] * 40 + corner[0])];
        sample = 1;
        EXPECT_FALSE(CheckGreen(luma.data(), 40, 30)) << corner[0] << ", " << corner[1];
        sample = 0;
    }
    const int elsewhere[][2] = {{10, 0}, {0, 10}, {29, 29}, {39, 19}, {20, 15}};
    for (const auto& place : elsewhere) {
        luma[static_cast<size_t>(place[1] * 40 + place[0])] = 200;
    }
    EXPECT_TRUE(CheckGreen(luma.data(), 40, 30));
}

} // namespace
