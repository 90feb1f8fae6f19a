// Frames that stay where the host has them, on several threads, up to every end of a renderer: each is given
// back once, and none is read after that.
#include "Lender.h"
#include "ScriptedHost.h"

#include <QElapsedTimer>

using namespace OvelTest;

namespace
{

class Lending : public BothRenderers
{
};
OVEL_FOR_BOTH_RENDERERS(Lending);

// Lends grey pictures of changing sizes, with copies and clears between them.
void Feed(Lender& lender, void* handle, const std::atomic<bool>& stop)
{
    for (int i = 0; !stop; ++i) {
        const int type = i % 5 < 2 ? OVEL_DISPLAY_YV12 : OVEL_DISPLAY_NV12;
        const int side = 64 + i % 3 * 32;
        const Picture picture = PlainPicture(side, side, static_cast<uint8_t>(40 + i % 150), 128, 128);
        if (i % 8 == 3) {
            Frame(picture, type).Feed(handle);
        } else if (i % 16 == 9) {
            Ovel_ClearDraw(handle);
        } else {
            lender.Lend(handle, Loan(picture, type, {i % 2 ? 0 : 200, 200, i % 7 ? 128 : -128}));
        }
        std::this_thread::sleep_for(std::chrono::microseconds(300));
    }
}

// What was given back is spoilt: its chroma is not grey.
void ExpectGrey(const QImage& image)
{
    for (int y = 1; y < image.height(); y += 9) {
        for (int x = 1; x < image.width(); x += 13) {
            const QColor color = image.pixelColor(x, y);
            ASSERT_LT(std::abs(color.red() - color.green()), 5) << x << ", " << y;
            ASSERT_LT(std::abs(color.blue() - color.green()), 5) << x << ", " << y;
        }
    }
}

TEST_P(Lending, ThreadsUpToTheEnd)
{
    enum End { Released, DeletedByQt, ReleasedElsewhere, StoppedFirst, Ends };
    Lender lender;
    QElapsedTimer time;
    time.start();
    for (int round = 0; round < 2 * Ends || time.elapsed() < static_cast<int>(TestSeconds(2) * 1000);
         ++round) {
        auto window = std::make_unique<RenderWindow>(GetParam());
        void* const handle = window->handle;
        std::atomic<bool> stop{false};
        const auto feed = [&] { Feed(lender, handle, stop); };
        HostThread first(feed), second(feed), third(feed);
        for (int i = 0; i < 3; ++i) {
            RunEventsFor(10);
            ExpectGrey(window->Framebuffer());
            window->renderer->setParent(i == 1 ? nullptr : window->top.get()); // another context
            window->renderer->show();
        }
        const int end = round % Ends;
        stop = end == StoppedFirst;
        if (end == DeletedByQt) {
            window->renderer->setParent(window->top.get());
            window->top.reset();
        } else if (end == ReleasedElsewhere) {
            HostThread([&] { EXPECT_EQ(Ovel_Release(handle), 0); }).Finish();
        } else {
            EXPECT_EQ(Ovel_Release(handle), 0);
        }
        RunEventsFor(5);
        stop = true;
        first.Finish(), second.Finish(), third.Finish();
        EXPECT_EQ(lender.Out(), 0) << "end " << end;
    }
    EXPECT_EQ(lender.strangers, 0);
    EXPECT_GT(lender.lent, 100);
}

} // namespace
