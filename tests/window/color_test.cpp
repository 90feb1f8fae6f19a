// Described colours on the screen: matrix, range and chroma siting of both layouts, against the reference.
#include "Harness.h"

#include <QVBoxLayout>

#include <array>

using namespace OvelTest;

namespace
{

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

Picture Plain(const std::array<uint8_t, 3>& yuv)
{
    return PlainPicture(16, 16, yuv[0], yuv[1], yuv[2]);
}

class ColorTest : public ShownRenderer
{
protected:
    // It repaints by itself.
    bool Describe(const tagOvelColor& color)
    {
        return window.Painted([&] { EXPECT_EQ(window.Set(OVELCMD_SET_COLOR, color), 0); });
    }
    void ExpectShown(const Picture& picture, int layout, const tagOvelColor& color, View view = View(),
                     int tolerance = 2)
    {
        view.color = color;
        EXPECT_TRUE(window.Shows(picture, layout, view, {}, tolerance));
    }
};
OVEL_FOR_BOTH_RENDERERS(ColorTest);

// Of a picture with detail, and far from grey, where a coefficient that is 1 % off shows.
TEST_P(ColorTest, EveryDescription)
{
    const Picture detailed = Checkered(48, 32);
    for (const Picture& picture :
         {detailed, Plain({40, 225, 150}), Plain({60, 110, 215}), Plain({200, 62, 70})}) {
        const bool isPlain = picture.width != detailed.width;
        for (const int layout : Layouts) {
            ASSERT_TRUE(window.Show(picture, layout));
            const QImage plain = window.Framebuffer();
            for (int i = 0; i < (isPlain ? 12 : 36); ++i) {
                const tagOvelColor color{i % 4, i / 4 % 3, i / 12};
                ASSERT_TRUE(Describe(color));
                ExpectShown(picture, layout, color, View(), isPlain ? 1 : 2);
            }
            ASSERT_TRUE(Describe({0, 0, 0}));
            EXPECT_TRUE(SameImage(window.Framebuffer(), plain));
        }
    }
}

TEST_P(ColorTest, SizesAndViews)
{
    const View views[] = {View(), Looking({0.25, 0.25, 0.75, 0.75}), Looking({0, 0, 1, 1}, 90, 1),
                          Looking({0.3, 0.55, 0.9, 0.8}, 270), Looking({-0.5, -0.25, 1.5, 1.5}, 180, 2)};
    int turn = 0;
    for (const QSize& size : {QSize(17, 9), QSize(7, 16), QSize(5, 3), QSize(439, 31), QSize(16, 7),
                              QSize(2, 2), QSize(33, 19)}) {
        for (const int layout : Layouts) {
            const Picture picture = Checkered(size.width(), size.height());
            ASSERT_TRUE(window.Show(picture, layout));
            for (int siting = 0; siting <= OVEL_SITING_TOP_LEFT; ++siting) {
                const tagOvelColor color{OVEL_MATRIX_BT709, OVEL_RANGE_LIMITED, siting};
                const View& view = views[turn++ % 5];
                ASSERT_TRUE(window.Look(view));
                ASSERT_TRUE(Describe(color));
                ExpectShown(picture, layout, color, view);
            }
        }
    }
    const tagOvelColor last{OVEL_MATRIX_BT709, OVEL_RANGE_LIMITED, OVEL_SITING_TOP_LEFT};
    ASSERT_TRUE(window.Look(View()));
    ASSERT_TRUE(window.Show(MakePicture(40, 1), Nv12));
    ExpectShown(MakePicture(40, 1), Nv12, last);
}

// Short payloads overwrite leading bytes; what then is outside its range changes nothing.
TEST_P(ColorTest, ShortPayloads)
{
    const Picture picture = Checkered(48, 32);
    ASSERT_TRUE(window.Show(picture, Nv12));
    ASSERT_TRUE(Describe({2, 1, 1}));
    struct Case {
        tagOvelColor sent;
        int size, result;
        tagOvelColor stored;
    };
    const Case cases[] = {{{1, 0, 0}, 1, 0, {1, 1, 1}},  {{1, 2, 0}, 5, 0, {1, 2, 1}},
                          {{4, 1, 1}, 1, -1, {1, 2, 1}}, {{256, 0, 0}, 2, -1, {1, 2, 1}},
                          {{1, 3, 0}, 5, -1, {1, 2, 1}}, {{0, 0, 2}, 9, 0, {0, 0, 2}}};
    for (const Case& c : cases) {
        tagOvelColor sent = c.sent;
        EXPECT_EQ(Ovel_SetParam(window.handle, OVELCMD_SET_COLOR, &sent, c.size), c.result);
        ASSERT_TRUE(window.Repaint());
        ExpectShown(picture, Nv12, c.stored);
    }
}

// Layouts and the widget's parents change; the colours stay until the release.
TEST_P(ColorTest, StaysUntilReleased)
{
    const tagOvelColor color{OVEL_MATRIX_BT601, OVEL_RANGE_LIMITED, OVEL_SITING_LEFT};
    window.Set(OVELCMD_SET_COLOR, color);
    const Picture picture = Checkered(51, 29);
    for (const int layout : {Nv12, Yv12}) {
        ASSERT_TRUE(window.Show(picture, layout));
        ExpectShown(picture, layout, color);
    }
    QWidget other;
    QVBoxLayout layout(&other);
    layout.addWidget(window.renderer);
    other.resize(150, 90);
    other.show();
    ASSERT_TRUE(WaitUntil([&] { return window.renderer->isVisible(); }));
    ASSERT_TRUE(window.Show(picture, Yv12)); // the sub-image renderer forgets it with its context
    ExpectShown(picture, Yv12, color);
    ASSERT_TRUE(window.Painted([&] { Ovel_ClearDraw(window.handle); }));
    ASSERT_TRUE(window.Show(picture, Yv12));
    ExpectShown(picture, Yv12, {0, 0, 0});
    window.renderer->setParent(nullptr);
}

} // namespace
