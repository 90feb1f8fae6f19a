// The picture on the screen, pixel by pixel, against the reference.
#include "Harness.h"

#include <atomic>
#include <cmath>
#include <thread>

using namespace OvelTest;

namespace
{

class PictureTest : public ShownRenderer
{
};
OVEL_FOR_BOTH_RENDERERS(PictureTest);

TEST_P(PictureTest, FreshWidgetIsBlack)
{
    window.Repaint();
    EXPECT_TRUE(window.IsBlack());
    const double scale = window.renderer->devicePixelRatioF();
    EXPECT_EQ(window.CurrentView().device, (QSizeF(window.renderer->size()) * scale).toSize()) << scale;
    // 100 x 66 at 1.25 is 125 x 82.5 pixels: the row that rounding adds belongs to the picture.
    ASSERT_TRUE(window.Resize(QSize(100, 66)));
    ASSERT_TRUE(window.Show(MakePicture(48, 32), Yv12));
    EXPECT_TRUE(window.Shows(MakePicture(48, 32), Yv12));
}

TEST_P(PictureTest, TurnsMirrorsAndZooms)
{
    const double nan = std::nan("");
    std::vector<View> views;
    for (const int angle : {0, 90, 180, 270, 45}) {
        for (const int direction : {0, 1, -7}) {
            for (const int mirror : {0, 1, 2, 3}) {
                views.push_back(Looking({0, 0, 1, 1}, angle, mirror, direction));
            }
        }
    }
    for (const tagOvelZoomArea& area : {tagOvelZoomArea{0.25, 0.25, 0.75, 0.75},
                                        {0, 0, 0.5, 0.5},
                                        {0.3, 0.55, 0.9, 0.8},
                                        {-0.5, -0.25, 1.5, 1.5},
                                        {0.7, 0, 0.3, 1},
                                        {0, 0, 0, 0},
                                        {0, nan, 1, 1},
                                        {0.5, 0.5, 0.5, 1}}) {
        views.push_back(Looking(area));
    }
    for (const int layout : Layouts) {
        const Picture picture = MakePicture(48, 32, layout);
        ASSERT_TRUE(window.Show(picture, layout));
        for (const View& view : views) {
            ASSERT_TRUE(window.Look(view)) << "zooming repaints by itself";
            EXPECT_TRUE(window.Shows(picture, layout, view));
        }
    }
}

TEST_P(PictureTest, RatioModesAndDestinations)
{
    const Picture wide = MakePicture(64, 18);
    const Picture tall = MakePicture(20, 44);
    struct Case {
        const Picture& picture;
        int mode; // -1: the rectangle instead
        tagQRECT rectangle;
        tagOvelZoomArea zoom;
    };
    const tagOvelZoomArea whole{0, 0, 1, 1};
    // The fitted rectangles by hand: 96 x 64 has sides 95 and 63 between its corners.
    const Case cases[] = {
        {wide, 1, {0, 0, 95, 63}, whole},
        {wide, 0, {0, 18, 95, 45}, whole}, // height trunc(18/64 * 95) = 26, 37 too many, 18 off each side
        {tall, 0, {33, 0, 62, 63}, whole}, // width trunc(20/44 * 63) = 28, 67 too many, 33 off each side
        {wide, -1, {10, 6, 69, 50}, {0.25, 0.25, 0.75, 0.75}},
        {wide, -1, {-20, -10, 120, 40}, whole},
        {wide, -1, {40, 30, 41, 31}, {0.35, 0.4, 0.5, 0.6}},
    };
    for (const Case& c : cases) {
        ASSERT_TRUE(window.Show(c.picture, Yv12));
        const tagQRECT& r = c.rectangle;
        EXPECT_EQ(c.mode >= 0 ? window.Set(OVELCMD_SET_DRAW_RATIO_MODE, c.mode)
                              : window.Set(OVELCMD_SET_DRAW_DST_RECT, r),
                  0);
        for (const int angle : {0, 90}) {
            View view = Looking(c.zoom, angle);
            view.destination = {r.left / 96.0, r.top / 64.0, r.right / 96.0, r.bottom / 64.0};
            ASSERT_TRUE(window.Look(view));
            EXPECT_TRUE(window.Shows(c.picture, Yv12, view)) << "case " << &c - cases;
        }
    }
}

// Grey where there is no chroma sample.
TEST_P(PictureTest, SizesAndPitches)
{
    const QSize sizes[] = {{2, 2},    {6, 4},   {10, 6}, {18, 10}, {174, 98}, {438, 30},
                           {96, 64},  {64, 16}, {16, 7}, {7, 16},  {17, 9},   {5, 3},
                           {439, 31}, {2, 300}, {1, 1},  {1, 40},  {40, 1}};
    for (const QSize& size : sizes) {
        const Picture picture = MakePicture(size.width(), size.height(), size.width());
        ASSERT_TRUE(window.Show(picture, Yv12));
        EXPECT_TRUE(window.Shows(picture, Yv12));
        for (const int pitch : {0, size.width(), size.width() + 3, 2048}) {
            for (const auto from : {Frame::Block, Frame::Planes}) {
                ASSERT_TRUE(window.Show(Frame(picture, Nv12, pitch, from)));
                EXPECT_TRUE(window.Shows(picture, Nv12)) << "pitch " << pitch << " from " << from;
            }
        }
    }
}

TEST_P(PictureTest, UnpaintedTypesShowTheClearColour)
{
    const Picture picture = MakePicture(40, 30);
    for (const int type : {int(Yv12), 4, 5, 6, 8, 1, -1, -2, int(Yv12)}) {
        Frame frame(picture, Yv12);
        frame.info.iDisplayType = type;
        EXPECT_EQ(frame.Feed(window.handle), 0);
        ASSERT_TRUE(window.Repaint());
        EXPECT_TRUE(window.Shows(picture, type, View(), {}, type == Yv12 ? 2 : 0));
    }
}

// Frames whose signal somebody hears, frames that nobody hears, a signal of the host's own.
TEST_P(PictureTest, UpdatesFromOtherThreads)
{
    ASSERT_TRUE(window.Show(MakePicture(32, 24), Yv12));
    Frame frame(MakePicture(32, 24, 7), Yv12);
    const auto feed = [&] { frame.Feed(window.handle); };
    const auto emitSignal = [&] { AsItsClass(window.renderer, [](auto* of) { Q_EMIT of->signalUpdate(); }); };
    const auto paintedFromAThread = [&](const std::function<void()>& action) {
        return window.Painted([&] { std::thread(action).join(); });
    };
    EXPECT_TRUE(paintedFromAThread(emitSignal));
    std::atomic<int> heard{0};
    std::atomic<int> refused{0};
    {
        QObject listener;
        HearUpdates(window.renderer, listener, [&] {
            ++heard;
            refused += window.Set(OVELCMD_SET_STOPDRAW_PARA, 1);
        });
        EXPECT_TRUE(paintedFromAThread(feed));
        feed();
        EXPECT_EQ(heard, 2);
        EXPECT_TRUE(paintedFromAThread(emitSignal));
        EXPECT_EQ(heard, 3);
        EXPECT_EQ(refused, -2) << "inside the two calls";
    }
    EXPECT_TRUE(paintedFromAThread(feed));
    EXPECT_EQ(heard, 3);
}

// Every frame in a row arrives, none is one behind, and a lonely repaint loses nothing.
TEST_P(PictureTest, FollowsTheStream)
{
    for (int i = 0; i < 12; ++i) {
        Picture picture = MakePicture(30 + 6 * (i % 4), 20 + 4 * (i % 3), 40 * i);
        const int layout = Layouts[i / 2 % 2];
        ASSERT_TRUE(window.Show(picture, layout));
        EXPECT_TRUE(window.Shows(picture, layout));
        // The next one of the same size, from a thread of its own.
        picture = MakePicture(picture.width, picture.height, 40 * i + 9);
        Frame next(picture, layout);
        ASSERT_TRUE(window.Painted([&] { std::thread([&] { next.Feed(window.handle); }).join(); }));
        EXPECT_TRUE(window.Shows(picture, layout));
        ASSERT_TRUE(window.Resize(QSize(104 + 8 * i, 72 + 8 * i)));
        EXPECT_TRUE(window.Shows(picture, layout));
    }
}

} // namespace
