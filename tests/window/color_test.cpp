// Described colours on the screen: matrix, range and chroma siting of both layouts, against the reference.
#include "Harness.h"

#include <QVBoxLayout>

#include <array>
#include <cstring>

using namespace OvelTest;

namespace
{

const int Layouts[] = {OVEL_DISPLAY_YV12, OVEL_DISPLAY_NV12};

// Chroma that changes from sample to sample, so that a shift of a quarter sample shows.
Picture Checkered(int width, int height)
{
    Picture picture = MakePicture(width, height, width);
    for (int y = 0; y < height / 2; ++y) {
        for (int x = 0; x < width / 2; ++x) {
            picture.u.At(x, y) = static_cast<uint8_t>(98 + (x * 37 + y * 23) % 60);
            picture.v.At(x, y) = static_cast<uint8_t>(100 + (x * 29 + y * 41) % 56);
        }
    }
    return picture;
}

class ColorTest : public BothRenderers
{
protected:
    ColorTest() : window(GetParam(), QSize(96, 64)) {}

    int Describe(const tagOvelColor& color) { return window.Set(OVELCMD_SET_COLOR, color); }
    void ExpectShown(const Picture& picture, int layout, const tagOvelColor& color, View view = View(),
                     int tolerance = 2)
    {
        const View whole = window.CurrentView();
        view.widget = whole.widget;
        view.device = whole.device;
        view.color = color;
        if (window.IsSubImage()) {
            view.angle = view.mirror = 0;
        }
        EXPECT_TRUE(ShowsCanvas(window.Framebuffer(), RenderPicture(picture, layout, view), tolerance))
            << "type " << layout << " matrix " << color.iMatrix << " range " << color.iRange << " siting "
            << color.iChromaSiting;
    }

    RenderWindow window;
};
OVEL_FOR_BOTH_RENDERERS(ColorTest);

TEST_P(ColorTest, EveryDescription)
{
    for (const int layout : Layouts) {
        const Picture picture = Checkered(48, 32);
        ASSERT_TRUE(window.Show(picture, layout));
        const QImage plain = window.Framebuffer();
        for (int matrix = 0; matrix <= OVEL_MATRIX_BT2020; ++matrix) {
            for (int range = 0; range <= OVEL_RANGE_FULL; ++range) {
                for (int siting = 0; siting <= OVEL_SITING_TOP_LEFT; ++siting) {
                    const tagOvelColor color{matrix, range, siting};
                    ASSERT_TRUE(window.Painted([&] { EXPECT_EQ(Describe(color), 0); }))
                        << "it repaints by itself";
                    ExpectShown(picture, layout, color);
                }
            }
        }
        ASSERT_TRUE(window.Painted([&] { EXPECT_EQ(Describe({0, 0, 0}), 0); }));
        EXPECT_TRUE(SameImage(window.Framebuffer(), plain));
    }
}

// Far from grey, where a coefficient that is 1 % off shows.
TEST_P(ColorTest, StrongColors)
{
    const std::array<uint8_t, 3> flats[] = {{40, 225, 150}, {60, 110, 215}, {200, 62, 70}};
    for (const auto& flat : flats) {
        for (const int layout : Layouts) {
            const Picture picture = PlainPicture(16, 16, flat[0], flat[1], flat[2]);
            ASSERT_TRUE(window.Show(picture, layout));
            for (int matrix = 0; matrix <= OVEL_MATRIX_BT2020; ++matrix) {
                for (int range = 0; range <= OVEL_RANGE_FULL; ++range) {
                    ASSERT_TRUE(window.Painted([&] { Describe({matrix, range, 0}); }));
                    ExpectShown(picture, layout, {matrix, range, 0}, View(), 1);
                }
            }
        }
    }
}

// Samples that the standards give for colours everyone knows.
TEST_P(ColorTest, KnownColors)
{
    struct Case {
        tagOvelColor color;
        std::array<uint8_t, 3> yuv;
        QColor shown;
    };
    const Case cases[] = {
        {{OVEL_MATRIX_BT601, OVEL_RANGE_LIMITED, 0}, {81, 90, 240}, {255, 0, 0}},
        {{OVEL_MATRIX_BT601, OVEL_RANGE_LIMITED, 0}, {145, 54, 34}, {0, 255, 0}},
        {{OVEL_MATRIX_BT709, OVEL_RANGE_LIMITED, 0}, {63, 102, 240}, {255, 0, 0}},
        {{OVEL_MATRIX_BT709, OVEL_RANGE_LIMITED, 0}, {32, 240, 118}, {0, 0, 255}},
        {{OVEL_MATRIX_BT2020, OVEL_RANGE_LIMITED, 0}, {164, 40, 25}, {0, 255, 0}},
        {{OVEL_MATRIX_BT709, OVEL_RANGE_LIMITED, 0}, {235, 128, 128}, {255, 255, 255}},
        {{OVEL_MATRIX_BT709, OVEL_RANGE_LIMITED, 0}, {16, 128, 128}, {0, 0, 0}},
        {{OVEL_MATRIX_BT601, OVEL_RANGE_FULL, 0}, {76, 85, 255}, {255, 0, 0}},
        {{OVEL_MATRIX_BT601, OVEL_RANGE_FULL, 0}, {128, 128, 128}, {128, 128, 128}},
    };
    for (const Case& c : cases) {
        for (const int layout : Layouts) {
            Describe(c.color);
            ASSERT_TRUE(window.Show(PlainPicture(16, 16, c.yuv[0], c.yuv[1], c.yuv[2]), layout));
            const QColor shown = window.Framebuffer().pixelColor(40, 30);
            for (const auto component : {&QColor::red, &QColor::green, &QColor::blue}) {
                EXPECT_NEAR((shown.*component)(), (c.shown.*component)(), 2) << "case " << &c - cases;
            }
        }
    }
}

TEST_P(ColorTest, SitingOfOddSizes)
{
    for (const QSize& size :
         {QSize(17, 9), QSize(7, 16), QSize(5, 3), QSize(439, 31), QSize(16, 7), QSize(2, 2)}) {
        for (const int layout : Layouts) {
            const Picture picture = Checkered(size.width(), size.height());
            ASSERT_TRUE(window.Show(picture, layout));
            for (int siting = 0; siting <= OVEL_SITING_TOP_LEFT; ++siting) {
                SCOPED_TRACE(testing::Message() << size.width() << "x" << size.height());
                const tagOvelColor color{OVEL_MATRIX_BT709, OVEL_RANGE_LIMITED, siting};
                ASSERT_TRUE(window.Painted([&] { Describe(color); }));
                ExpectShown(picture, layout, color);
            }
        }
    }
    const tagOvelColor color{OVEL_MATRIX_BT709, OVEL_RANGE_LIMITED, OVEL_SITING_TOP_LEFT};
    Picture grey = MakePicture(40, 1);
    ASSERT_TRUE(window.Show(grey, OVEL_DISPLAY_NV12));
    grey.u = grey.v = Plane{1, 1, {128}};
    ExpectShown(grey, OVEL_DISPLAY_NV12, color);
}

TEST_P(ColorTest, FollowsTheView)
{
    struct Case {
        tagOvelZoomArea zoom;
        int angle, mirror;
    };
    const Case cases[] = {{{0.25, 0.25, 0.75, 0.75}, 0, 0},
                          {{0, 0, 1, 1}, 90, 1},
                          {{0.3, 0.55, 0.9, 0.8}, 270, 0},
                          {{-0.5, -0.25, 1.5, 1.5}, 180, 2}};
    const tagOvelColor color{OVEL_MATRIX_BT2020, OVEL_RANGE_LIMITED, OVEL_SITING_LEFT};
    Describe(color);
    for (const int layout : Layouts) {
        const Picture picture = Checkered(33, 19);
        ASSERT_TRUE(window.Show(picture, layout));
        for (const Case& c : cases) {
            window.Set(OVELCMD_SET_VIDEO_ROTATE, tagOvelVideoRotate{0, c.angle, c.mirror});
            ASSERT_TRUE(window.Painted([&] { window.Set(OVELCMD_SET_EZOOM_AREA, c.zoom); }));
            View view;
            view.zoom = c.zoom;
            view.angle = c.angle;
            view.mirror = c.mirror;
            ExpectShown(picture, layout, color, view);
        }
    }
}

TEST_P(ColorTest, ShortPayloadsOverwriteLeadingBytes)
{
    const Picture picture = Checkered(48, 32);
    ASSERT_TRUE(window.Show(picture, OVEL_DISPLAY_NV12));
    struct Case {
        tagOvelColor sent;
        int size, result;
        tagOvelColor stored;
    };
    const Case cases[] = {{{2, 1, 1}, 12, 0, {2, 1, 1}},  {{1, 0, 0}, 1, 0, {1, 1, 1}},
                          {{3, 0, 0}, 4, 0, {3, 1, 1}},   {{1, 2, 0}, 5, 0, {1, 2, 1}},
                          {{0, 0, 2}, 9, 0, {0, 0, 2}},   {{4, 1, 1}, 1, -1, {0, 0, 2}},
                          {{1, 3, 0}, 5, -1, {0, 0, 2}},  {{256, 0, 0}, 2, -1, {0, 0, 2}},
                          {{256, 1, 0}, 1, 0, {0, 0, 2}}, {{1, 1, 3}, 100, -1, {0, 0, 2}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "case " << &c - cases);
        std::array<uint8_t, 100> payload{};
        std::memcpy(payload.data(), &c.sent, sizeof(c.sent));
        EXPECT_EQ(Ovel_SetParam(window.handle, OVELCMD_SET_COLOR, payload.data(), c.size), c.result);
        ASSERT_TRUE(window.Repaint());
        ExpectShown(picture, OVEL_DISPLAY_NV12, c.stored);
    }
}

// Frames, sizes, layouts, the widget's size and its parents change; the colours stay until the release.
TEST_P(ColorTest, StaysUntilReleased)
{
    const tagOvelColor color{OVEL_MATRIX_BT601, OVEL_RANGE_LIMITED, OVEL_SITING_LEFT};
    Describe(color);
    for (int i = 0; i < 4; ++i) {
        const Picture picture = Checkered(30 + 7 * i, 20 + 3 * i);
        ASSERT_TRUE(window.Show(picture, Layouts[i / 2 % 2]));
        ExpectShown(picture, Layouts[i / 2 % 2], color);
    }
    const Picture picture = Checkered(51, 29);
    ASSERT_TRUE(window.Show(picture, OVEL_DISPLAY_YV12));
    ASSERT_TRUE(window.Resize(QSize(120, 70)));
    ExpectShown(picture, OVEL_DISPLAY_YV12, color);
    {
        QWidget other;
        QVBoxLayout layout(&other);
        layout.addWidget(window.renderer);
        other.resize(150, 90);
        other.show();
        ASSERT_TRUE(WaitUntil([&] { return window.renderer->isVisible(); }));
        ASSERT_TRUE(
            window.Show(picture, OVEL_DISPLAY_YV12)); // the sub-image renderer forgets it with its context
        ExpectShown(picture, OVEL_DISPLAY_YV12, color);
        ASSERT_TRUE(window.Painted([&] { Ovel_ClearDraw(window.handle); }));
        ASSERT_TRUE(window.Show(picture, OVEL_DISPLAY_YV12));
        ExpectShown(picture, OVEL_DISPLAY_YV12, {0, 0, 0});
        window.renderer->setParent(nullptr);
    }
}

} // namespace
