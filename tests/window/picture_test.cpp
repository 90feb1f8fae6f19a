// The picture on the screen, pixel by pixel, against the reference.
#include "Harness.h"

#include <atomic>
#include <cmath>
#include <functional>
#include <thread>

using namespace OvelTest;

namespace
{

const int Layouts[] = {OVEL_DISPLAY_YV12, OVEL_DISPLAY_NV12};
constexpr QSize WindowSize(96, 64);

class PictureTest : public BothRenderers
{
protected:
    PictureTest() : window(GetParam(), WindowSize) {}

    // The view that the last commands ask for, as this renderer honours them.
    View Wanted(View view)
    {
        const View whole = window.CurrentView();
        view.widget = whole.widget;
        view.device = whole.device;
        if (window.IsSubImage()) {
            view.destination = whole.destination;
            view.direction = view.angle = view.mirror = 0;
        }
        return view;
    }
    void ExpectShown(const Picture& picture, int layout, const View& view)
    {
        EXPECT_TRUE(ShowsCanvas(window.Framebuffer(), RenderPicture(picture, layout, Wanted(view))));
    }

    RenderWindow window;
};
OVEL_FOR_BOTH_RENDERERS(PictureTest);

TEST_P(PictureTest, FreshWidgetIsBlack)
{
    window.Repaint();
    EXPECT_TRUE(ShowsCanvas(window.Framebuffer(), Canvas(window.CurrentView().device), 0));
    const double scale = window.renderer->devicePixelRatioF();
    EXPECT_EQ(window.CurrentView().device, (QSizeF(WindowSize) * scale).toSize()) << scale;
}

TEST_P(PictureTest, FillsTheFramebufferAtFractionalScales)
{
    // 100 x 66 at 1.25 is 125 x 82.5 pixels: the row that rounding adds belongs to the picture.
    RenderWindow odd(GetParam(), QSize(100, 66));
    const Picture picture = MakePicture(48, 32, OVEL_DISPLAY_YV12);
    ASSERT_TRUE(odd.Show(picture, OVEL_DISPLAY_YV12));
    const QImage shown = odd.Framebuffer();
    View view = odd.CurrentView();
    view.device = shown.size();
    EXPECT_TRUE(ShowsCanvas(shown, RenderPicture(picture, OVEL_DISPLAY_YV12, view)));
}

TEST_P(PictureTest, TurnsAndMirrors)
{
    for (const int layout : Layouts) {
        const Picture picture = MakePicture(48, 32, layout);
        ASSERT_TRUE(window.Show(picture, layout));
        for (const int angle : {0, 90, 180, 270, 45}) {
            for (const int direction : {0, 1, -7}) {
                for (const int mirror : {0, 1, 2, 3}) {
                    SCOPED_TRACE(testing::Message()
                                 << layout << " angle " << angle << "/" << direction << "/" << mirror);
                    EXPECT_EQ(
                        window.Set(OVELCMD_SET_VIDEO_ROTATE, tagOvelVideoRotate{direction, angle, mirror}),
                        0);
                    ASSERT_TRUE(window.Repaint());
                    View view;
                    view.angle = angle;
                    view.direction = direction;
                    view.mirror = mirror;
                    ExpectShown(picture, layout, view);
                }
            }
        }
    }
}

TEST_P(PictureTest, ZoomAreas)
{
    const double nan = std::nan("");
    const tagOvelZoomArea areas[] = {{0.25, 0.25, 0.75, 0.75}, {0, 0, 0.5, 0.5},   {0.3, 0.55, 0.9, 0.8},
                                     {-0.5, -0.25, 1.5, 1.5},  {0.7, 0, 0.3, 1},   {0, 0, 0, 0},
                                     {0, nan, 1, 1},           {0.5, 0.5, 0.5, 1}, {0, 0, 1, 1}};
    for (const int layout : Layouts) {
        const Picture picture = MakePicture(64, 48);
        ASSERT_TRUE(window.Show(picture, layout));
        for (const tagOvelZoomArea& area : areas) {
            SCOPED_TRACE(testing::Message()
                         << layout << " " << area.left << " " << area.top << " " << area.right);
            ASSERT_TRUE(window.Painted([&] { window.Set(OVELCMD_SET_EZOOM_AREA, area); }))
                << "zooming repaints by itself";
            View view;
            view.zoom = area;
            ExpectShown(picture, layout, view);
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
        {wide, -1, {10, 6, 69, 50}, whole},
        {wide, -1, {10, 6, 69, 50}, {0.25, 0.25, 0.75, 0.75}},
        {wide, -1, {-20, -10, 120, 40}, whole},
        {wide, -1, {40, 30, 41, 31}, {0.35, 0.4, 0.5, 0.6}},
        {tall, -1, {10, 6, 69, 50}, {0, 0, 0, 0}},
        {wide, 77, {0, 0, 95, 63}, whole},
    };
    for (const Case& c : cases) {
        ASSERT_TRUE(window.Show(c.picture, OVEL_DISPLAY_YV12));
        const tagQRECT& expected = c.rectangle;
        EXPECT_EQ(c.mode >= 0 ? window.Set(OVELCMD_SET_DRAW_RATIO_MODE, c.mode)
                              : window.Set(OVELCMD_SET_DRAW_DST_RECT, c.rectangle),
                  0);
        window.Set(OVELCMD_SET_EZOOM_AREA, c.zoom);
        for (const int angle : {0, 90}) {
            SCOPED_TRACE(testing::Message() << "case " << &c - cases << " angle " << angle);
            window.Set(OVELCMD_SET_VIDEO_ROTATE, tagOvelVideoRotate{0, angle, 0});
            ASSERT_TRUE(window.Repaint());
            View view;
            view.angle = angle;
            view.zoom = c.zoom;
            view.destination = {expected.left / 96.0, expected.top / 64.0, expected.right / 96.0,
                                expected.bottom / 64.0};
            ExpectShown(c.picture, OVEL_DISPLAY_YV12, view);
        }
    }
    ASSERT_TRUE(window.Show(wide, OVEL_DISPLAY_NV12));
    const QImage before = window.Framebuffer();
    EXPECT_EQ(window.Set(OVELCMD_SET_DRAW_DST_RECT, tagQRECT{10, 10, 10, 50}), -1)
        << "too narrow: nothing moves";
    ASSERT_TRUE(window.Repaint());
    EXPECT_TRUE(SameImage(window.Framebuffer(), before));
}

TEST_P(PictureTest, SizesAndPitches)
{
    const QSize sizes[] = {{2, 2},   {6, 4},  {10, 6}, {18, 10}, {174, 98}, {438, 30}, {96, 64},
                           {64, 16}, {16, 7}, {7, 16}, {17, 9},  {5, 3},    {439, 31}, {2, 300}};
    for (const QSize& size : sizes) {
        const Picture picture = MakePicture(size.width(), size.height(), size.width());
        SCOPED_TRACE(testing::Message() << size.width() << "x" << size.height());
        ASSERT_TRUE(window.Show(picture, OVEL_DISPLAY_YV12));
        ExpectShown(picture, OVEL_DISPLAY_YV12, View());
        for (const int pitch : {0, size.width(), size.width() + 3, 2048}) {
            for (const auto source : {Frame::Block, Frame::Planes}) {
                SCOPED_TRACE(testing::Message()
                             << "NV12 pitch " << pitch << (source == Frame::Planes ? " planes" : " block"));
                ASSERT_TRUE(window.Show(Frame(picture, OVEL_DISPLAY_NV12, pitch, source)));
                ExpectShown(picture, OVEL_DISPLAY_NV12, View());
            }
        }
    }
}

TEST_P(PictureTest, WithoutAChromaSampleItIsGrey)
{
    for (const QSize& size : {QSize(1, 1), QSize(1, 40), QSize(40, 1)}) {
        for (const int layout : Layouts) {
            SCOPED_TRACE(testing::Message() << size.width() << "x" << size.height() << " type " << layout);
            const Picture picture = MakePicture(size.width(), size.height());
            Picture grey = picture;
            grey.u = grey.v = Plane{1, 1, {128}};
            ASSERT_TRUE(window.Show(picture, layout));
            ExpectShown(grey, layout, View());
        }
    }
}

TEST_P(PictureTest, RefusedFramesChangeNothing)
{
    for (const int layout : Layouts) {
        const Picture picture = MakePicture(40, 30, layout);
        ASSERT_TRUE(window.Show(picture, layout));
        for (const int type : {layout, 3 - layout, 5}) {
            for (const QSize& size :
                 {QSize(0, 30), QSize(40, -1), QSize(-40, -30), QSize(65536, 21846), QSize(0x7FFFFFFF, 2)}) {
                Frame frame(picture, OVEL_DISPLAY_YV12);
                frame.info.iWidth = size.width();
                frame.info.iHeight = size.height();
                frame.info.iDisplayType = type;
                EXPECT_EQ(frame.Feed(window.handle), -1)
                    << size.width() << "x" << size.height() << " type " << type;
                ASSERT_TRUE(window.Repaint());
                ExpectShown(picture, layout, View());
            }
        }
    }
}

TEST_P(PictureTest, UnpaintedTypesShowTheClearColour)
{
    const Picture picture = MakePicture(40, 30);
    ASSERT_TRUE(window.Show(picture, OVEL_DISPLAY_YV12));
    for (const int type : {4, 5, 6, 8, 1, -1, -2}) {
        Frame frame(picture, OVEL_DISPLAY_YV12);
        frame.info.iDisplayType = type;
        EXPECT_EQ(frame.Feed(window.handle), 0);
        ASSERT_TRUE(window.Repaint());
        EXPECT_TRUE(ShowsCanvas(window.Framebuffer(), Canvas(window.CurrentView().device), 0))
            << "type " << type;
    }
    ASSERT_TRUE(window.Show(picture, OVEL_DISPLAY_YV12));
    ExpectShown(picture, OVEL_DISPLAY_YV12, View());
}

TEST_P(PictureTest, NoPictureAfterClearUnlessKept)
{
    const Picture picture = MakePicture(40, 30);
    for (const int keep : {1, 0}) {
        ASSERT_TRUE(window.Show(picture, OVEL_DISPLAY_NV12));
        window.Set(OVELCMD_SET_STOPDRAW_PARA, keep);
        window.Set(OVELCMD_SET_EZOOM_AREA, tagOvelZoomArea{0.25, 0.25, 0.75, 0.75});
        ASSERT_TRUE(window.Painted([&] { Ovel_ClearDraw(window.handle); }));
        View view;
        view.zoom = {0.25, 0.25, 0.75, 0.75};
        if (keep != 0) {
            ExpectShown(picture, OVEL_DISPLAY_NV12, view);
        } else {
            EXPECT_TRUE(ShowsCanvas(window.Framebuffer(), Canvas(window.CurrentView().device), 0));
        }
    }
    EXPECT_TRUE(window.renderer->m_stEZoomArea == (tagOvelZoomArea{0, 0, 1, 1}));
    ASSERT_TRUE(window.Show(picture, OVEL_DISPLAY_YV12));
    ExpectShown(picture, OVEL_DISPLAY_YV12, View());
}

// What the library painted is what arrives on the glass.
TEST_P(PictureTest, ScreenShowsTheFramebuffer)
{
    for (const int layout : Layouts) {
        const Picture picture = MakePicture(48, 32, layout);
        ASSERT_TRUE(window.Show(picture, layout));
        View view = Wanted(View());
        const Canvas expected = RenderPicture(picture, layout, view);
        EXPECT_TRUE(WaitUntil([&] { return bool(ShowsCanvas(window.Screen(), expected)); }, 2000))
            << ShowsCanvas(window.Screen(), expected).message();
    }
}

// Calls action(renderer, &itsClass::signalUpdate).
template <typename Action> void WithUpdateSignal(CLS_ShaderBase* renderer, const Action& action)
{
    if (auto* full = qobject_cast<CLS_ShaderYuv*>(renderer)) {
        action(full, &CLS_ShaderYuv::signalUpdate);
    } else if (auto* sub = qobject_cast<CLS_ShaderYuvSubImage*>(renderer)) {
        action(sub, &CLS_ShaderYuvSubImage::signalUpdate);
    }
}

// Frames whose signal somebody hears, frames that nobody hears, a signal of the host's own.
TEST_P(PictureTest, UpdatesFromOtherThreads)
{
    ASSERT_TRUE(window.Show(MakePicture(32, 24), Layouts[0]));
    Frame frame(MakePicture(32, 24, 7), Layouts[0]);
    const auto feed = [&] { frame.Feed(window.handle); };
    const auto emitSignal = [&] {
        WithUpdateSignal(window.renderer, [](auto* renderer, auto signal) { (renderer->*signal)(); });
    };
    const auto paintedFromAThread = [&](const std::function<void()>& action) {
        return window.Painted([&] { std::thread(action).join(); });
    };
    EXPECT_TRUE(paintedFromAThread(emitSignal));
    std::atomic<int> heard{0};
    QMetaObject::Connection connection;
    WithUpdateSignal(window.renderer, [&](auto* renderer, auto signal) {
        connection = QObject::connect(renderer, signal, [&] { ++heard; });
    });
    EXPECT_TRUE(paintedFromAThread(feed));
    feed();
    EXPECT_EQ(heard, 2);
    EXPECT_TRUE(paintedFromAThread(emitSignal));
    EXPECT_EQ(heard, 3);
    QObject::disconnect(connection);
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
        ExpectShown(picture, layout, View());
        // The next one of the same size, from a thread of its own.
        picture = MakePicture(picture.width, picture.height, 40 * i + 9);
        Frame next(picture, layout);
        ASSERT_TRUE(window.Painted([&] { std::thread([&] { next.Feed(window.handle); }).join(); }));
        ExpectShown(picture, layout, View());
        ASSERT_TRUE(window.Resize(WindowSize + QSize(8 * i + 8, 8 * i + 8)));
        ExpectShown(picture, layout, View());
    }
}

} // namespace
