// A stream whose description changes: never a picture in the colours of another one.
#include "ColoredFrames.h"
#include "Harness.h"
#include "Played.h"

#include <QElapsedTimer>
#include <QProcess>

#include <atomic>
#include <thread>

using namespace OvelTest;

namespace
{

constexpr tagOvelColor Sd = {OVEL_MATRIX_BT601, OVEL_RANGE_LIMITED, OVEL_SITING_LEFT};
constexpr tagOvelColor Hd = {OVEL_MATRIX_BT709, OVEL_RANGE_FULL, OVEL_SITING_LEFT};

// Chosen so that each in the other's description looks unlike both.
Picture SdPicture()
{
    return PlainPicture(64, 64, 120, 90, 180);
}
Picture HdPicture()
{
    return PlainPicture(64, 64, 150, 170, 80);
}

// Which of the two a pixel shows: 1, 2, or 0 for neither.
int Which(const QColor& shown)
{
    const auto isNear = [&shown](const Canvas& canvas) {
        const auto& wanted = canvas.colour.front();
        return IsLike(shown, QColor(qRound(wanted[0]), qRound(wanted[1]), qRound(wanted[2])), 3);
    };
    return isNear(Described(SdPicture(), Sd)) ? 1 : isNear(Described(HdPicture(), Hd)) ? 2 : 0;
}

// Every paint is looked at while a thread changes description and frame as fast as it can.
TEST(ColoredFrames, ADescriptionComesWithItsFrame)
{
    RenderWindow window(OVEL_RENDER_FULL, QSize(64, 64));
    ColoredFrames frames(window.handle);
    std::atomic<bool> stop{false};
    std::atomic<int> handedOver{0};
    std::thread decoder([&] {
        Frame sd(SdPicture(), OVEL_DISPLAY_YV12);
        Frame hd(HdPicture(), OVEL_DISPLAY_NV12);
        for (int i = 0; !stop; ++i) {
            const bool isSd = i / 3 % 2 == 0;
            if (frames.Show(isSd ? sd.info : hd.info, isSd ? Sd : Hd) == 0) {
                ++handedOver;
            }
        }
    });
    EXPECT_TRUE(WaitUntil([&] { return handedOver > 0; }));
    int seen[3] = {};
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < 2000) {
        ++seen[Which(window.Framebuffer().pixelColor(32, 32))];
        RunEvents();
    }
    stop = true;
    frames.Stop();
    decoder.join();
    EXPECT_EQ(seen[0], 0) << "wrong paints beside " << seen[1] << " and " << seen[2] << " right ones";
    EXPECT_GT(seen[1], 20);
    EXPECT_GT(seen[2], 20);
}

QByteArray Stream(const QTemporaryDir& directory, const Picture& picture, const tagOvelColor& color)
{
    const QString range = color.iRange == OVEL_RANGE_FULL ? "pc" : "tv";
    const QString matrix = color.iMatrix == OVEL_MATRIX_BT709 ? "bt709" : "smpte170m";
    const std::vector<uint8_t> bytes = BufferBytes(picture, OVEL_DISPLAY_YV12);
    const QString raw = directory.filePath("raw.yuv");
    WriteFile(
        raw,
        QByteArray(reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size())).repeated(3));
    const QString file = directory.filePath("part.h264");
    Ffmpeg("-f rawvideo -pix_fmt yuv420p -s 64x64 -r 25 -color_range " + range + " -i " + raw +
           " -c:v libx264 -preset ultrafast -crf 4 -color_range " + range + " -colorspace " + matrix + " " +
           file);
    return ReadFile(file);
}

// The player on a stream of which every third frame brings other tags, as the screen shows it.
TEST(Player, TagsChangeWithTheRightFrame)
{
    const QTemporaryDir directory;
    const QByteArray both = Stream(directory, SdPicture(), Sd) + Stream(directory, HdPicture(), Hd);
    const QString file = directory.filePath("changing.h264");
    WriteFile(file, both.repeated(12));

    QProcess player;
    player.start(OVEL_PLAYER, {"--bare", "--size", "400x400", "--seconds", "4", file});
    ASSERT_TRUE(player.waitForStarted());
    int seen[3] = {};
    int changes = 0;
    int last = 0;
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < 10000 && !player.waitForFinished(1)) {
        const QColor pixel = OnScreen(200, 200);
        const int which = Which(pixel);
        if (which == 0 && (seen[1] == 0 || pixel.lightness() < 30)) {
            continue; // the window on its way up or down
        }
        ++seen[which];
        changes += which != last;
        last = which;
    }
    EXPECT_EQ(player.exitCode(), 0);
    EXPECT_EQ(seen[0], 0) << "wrong looks beside " << seen[1] << " and " << seen[2] << " right ones";
    EXPECT_GT(changes, 10);
}

} // namespace
