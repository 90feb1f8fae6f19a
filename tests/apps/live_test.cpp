// Live sources as their users meet them: real senders on the loopback address, real programs that show them.
#include "Harness.h"
#include "Played.h"
#include "Senders.h"

#include <QDir>

using namespace OvelTest;

namespace
{

const QColor Plate(144, 32, 32); // behind the label of a lost source
constexpr int WallWidth = 1200;
constexpr int WallHeight = 693; // without the status line

QString UdpUrl(int port)
{
    return QString("udp://127.0.0.1:%1").arg(port);
}

QString OverUdp(int port)
{
    return "-f mpegts " + UdpUrl(port) + "?pkt_size=1316";
}

bool IsPlaying(const QJsonObject& line)
{
    return line["state"] == "playing" && line["shown"].toInt() >= 10;
}

// A list with every kind of line; the picture that the wall leaves behind has each colour in its place.
TEST(Wall, ListOfSourcesOfEveryKind)
{
    const QTemporaryDir directory;
    ASSERT_TRUE(QDir(directory.path()).mkdir("lists"));
    const int udp = FreePort(), http = FreePort() + 1, rtp = FreePort();
    const QString httpUrl = QString("http://127.0.0.1:%1/camera.ts").arg(http);
    const Server camera({}, Camera("yellow"));
    const QString list = directory.filePath("lists/cameras.txt");
    WriteFile(list, "# the gate\n  " + UdpUrl(udp).toUtf8() + "  \n\n" + httpUrl.toUtf8() +
                        "\r\n../yard.sdp\n" + camera.Url("rtsp").toUtf8() + "\n../still.mkv\n");
    MakeClip(directory.filePath("still.mkv"), "color=c=white:size=160x120,format=rgb24", "ffv1",
             {OVEL_MATRIX_BT601, OVEL_RANGE_LIMITED, OVEL_SITING_LEFT});
    WriteFile(directory.filePath("yard.sdp"), SessionDescription(rtp));
    const QString picture = directory.filePath("picture.png");
    Watched wall(OVEL_WALL, {"--seconds", "6", "--picture", picture, list});
    ASSERT_TRUE(WaitUntil([&] { return !wall.Lines(1).empty(); }));
    const Sender first("red", "libx264", OverUdp(udp));
    const Sender second("lime", "libx265", "-f mpegts -listen 1 " + httpUrl);
    const Sender third("blue", "libx264", QString("-f rtp rtp://127.0.0.1:%1").arg(rtp));
    EXPECT_EQ(wall.ExitCode(), 0);
    const QImage shown(picture);
    const QColor colors[] = {Qt::red, Qt::green, Qt::blue, Qt::yellow, Qt::white};
    for (int tile = 0; tile < 5; ++tile) {
        const QColor pixel = shown.pixelColor(TileRect(tile, 3, {WallWidth / 3, WallHeight / 2}).center());
        EXPECT_TRUE(IsLike(pixel, colors[tile])) << tile << " " << pixel.name().toStdString();
        const QJsonObject last = wall.Tile(tile + 1);
        EXPECT_EQ(last["state"].toString(), tile < 4 ? "playing" : "file");
        EXPECT_GT(last["received"].toInt(), 10);
        EXPECT_EQ(last["delay"].isDouble(), tile == 2 || tile == 3) << "only RTP tells";
    }
    const double delay = wall.Tile(3)["delay"].toDouble();
    EXPECT_TRUE(delay > -1.0 && delay < 5.0) << delay; // a busy sender's first report comes late
}

// The sender dies and comes back; the other tile does not notice.
TEST(Player, ALostSourceComesBack)
{
    const int steady = FreePort(), dying = FreePort() + 2;
    const Sender other("blue", "libx264", OverUdp(steady));
    auto sender = std::make_unique<Sender>("lime", "libx264", OverUdp(dying));
    Watched player(OVEL_PLAYER,
                   {"--bare", "--size", "640x320", "--timeout", "1", UdpUrl(steady), UdpUrl(dying)});
    const auto isLabelled = [] { return IsLike(OnScreen(330, 160), Plate); };
    const auto isShown = [](const QColor& color) {
        return IsLike(OnScreen(480, 60), color) && IsLike(OnScreen(160, 160), Qt::blue);
    };
    ASSERT_TRUE(player.WaitFor(1, IsPlaying) && player.WaitFor(2, IsPlaying));
    EXPECT_TRUE(WaitUntil([&] { return !isLabelled() && isShown(Qt::green); }));

    sender.reset();
    ASSERT_TRUE(player.WaitFor(2, [](const QJsonObject& line) { return line["state"] == "lost"; }));
    EXPECT_TRUE(WaitUntil([&] { return isLabelled() && isShown(Qt::green); })) << "the last picture stays";
    const auto atLoss = player.Lines(1).size();
    ASSERT_TRUE(WaitUntil([&] { return player.Lines(1).size() >= atLoss + 3; }, 10000));
    const int received = player.Tile(2)["received"].toInt();

    sender = std::make_unique<Sender>("white", "libx264", OverUdp(dying));
    ASSERT_TRUE(player.WaitFor(2, [&](const QJsonObject& line) {
        return line["state"] == "playing" && line["received"].toInt() > received + 10;
    }));
    EXPECT_TRUE(WaitUntil([&] { return !isLabelled() && isShown(Qt::white); }));
    EXPECT_EQ(player.Tile(2)["losses"].toInt(), 1);
    EXPECT_EQ(player.Tile(1)["losses"].toInt(), 0);
    const std::vector<QJsonObject> lines = player.Lines(1);
    const int during = lines.back()["received"].toInt() - lines[atLoss]["received"].toInt();
    EXPECT_GE(during, 8 * static_cast<int>(lines.size() - 1 - atLoss)) << "of 10 pictures a second";
}

// The tags of a file and of a live source, which may change with any picture.
TEST(Applications, ATurnInMidStream)
{
    const QTemporaryDir directory;
    const QString file = directory.filePath("both.h264"), turned = directory.filePath("turned.h264");
    const QString picture = directory.filePath("picture.png");
    Ffmpeg("-f lavfi -i color=red:size=64x64:duration=6,pad=128:64:0:0:blue -c:v libx264 -g 25 " + file);
    Ffmpeg("-i " + file + " -c copy -bsf:v h264_metadata=display_orientation=insert:rotate=90 " + turned);
    WriteFile(file, ReadFile(file).left(ReadFile(file).size() / 20) + ReadFile(turned));
    const Server camera(ReadFile(file));
    for (const char* program : {OVEL_PLAYER, OVEL_WALL}) {
        RunProgram(program, {"--seconds", "2", "--picture", picture, file, camera.Url()});
        const QImage shown(picture);
        for (const double tile : {0.25, 0.75}) {
            const QPoint middle(static_cast<int>(tile * shown.width()), shown.height() / 2);
            EXPECT_TRUE(IsLike(shown.pixelColor(middle.x(), middle.y() / 2), Qt::blue)) << tile;
            EXPECT_TRUE(IsLike(shown.pixelColor(middle.x(), middle.y() * 3 / 2), Qt::red)) << tile;
            EXPECT_TRUE(IsLike(shown.pixelColor(middle.x() - shown.width() / 5, 60), Qt::black)) << tile;
        }
    }
}

// Whatever a source waits for, the wall says so and ends when it is to end.
TEST(Wall, SourcesThatNobodyServes)
{
    const QTemporaryDir directory;
    const QString picture = directory.filePath("picture.png");
    Server closing({});
    const Server silent({}, [](const QByteArray&) { return QByteArray(); });
    const QStringList sources{
        UdpUrl(FreePort()), closing.Url(),      silent.Url("http"),    silent.Url("rtsp"),
        "/dev/video63",     "nothing://at.all", "http://127.0.0.1:1/", directory.filePath("none.sdp"),
        silent.Url()};
    Watched wall(OVEL_WALL,
                 QStringList{"--seconds", "4", "--timeout", "2.5", "--picture", picture} + sources);
    EXPECT_EQ(wall.ExitCode(), 0);
    const QImage shown(picture);
    for (int tile = 0; tile < 9; ++tile) {
        const QRect cell = TileRect(tile, 3, {WallWidth / 3, WallHeight / 3});
        EXPECT_TRUE(IsLike(shown.pixelColor(cell.left() + 20, cell.center().y()), Plate))
            << sources[tile].toStdString();
        EXPECT_EQ(wall.Tile(tile + 1)["received"].toInt(), 0);
        EXPECT_EQ(wall.Tile(tile + 1)["losses"].toInt(), 0) << "there was nothing to lose";
    }
    const auto attempts = closing.Connections();
    ASSERT_GE(attempts.size(), 2U);
    EXPECT_LE(attempts.size(), 4U) << "at 0, 0.5, 1.5 and 3.5 s";
    for (size_t i = 2; i < attempts.size(); ++i) {
        const auto pause = attempts[i] - attempts[i - 1];
        EXPECT_GT(pause, std::chrono::milliseconds(450) * (1U << (i - 1)));
    }
}

// Where UDP does not get through, a camera is asked for its pictures over the connection.
TEST(Player, RtspWithoutUdp)
{
    std::atomic<bool> isAsked{false};
    const Server camera({}, [&isAsked, silent = Camera("none")](const QByteArray& request) {
        isAsked = isAsked || request.contains("RTP/AVP/TCP");
        return silent(request);
    });
    const Watched player(OVEL_PLAYER, {"--timeout", "0.5", camera.Url("rtsp")});
    EXPECT_TRUE(WaitUntil([&] { return isAsked.load(); }));
}

TEST(Wall, ListsThatNameNothing)
{
    const QTemporaryDir directory;
    const QString empty = directory.filePath("empty.txt");
    WriteFile(empty, "# nothing yet\n\n");
    for (const QStringList& arguments : {QStringList{empty},
                                         {directory.filePath("missing.txt")},
                                         {"--timeout", "soon", UdpUrl(1)},
                                         {"--longest-pause", "0", UdpUrl(1)},
                                         {"--seconds", "soon", UdpUrl(1)},
                                         {"--threads", "all", UdpUrl(1)},
                                         {"--record-statistics", directory.path(), UdpUrl(1)}}) {
        RunProgram(OVEL_WALL, arguments, 1);
    }
    RunProgram(OVEL_PLAYER, {"--record-statistics", directory.path(), UdpUrl(1)}, 1);
}

// One decoder at a time, whatever the number of losses. OVEL_LOSSES sets it for a longer run by hand.
TEST(Wall, MemoryStaysFlatOverLosses)
{
    const QByteArray wanted = qgetenv("OVEL_LOSSES");
    const int losses = wanted.isEmpty() ? 24 : wanted.toInt();
    const QTemporaryDir directory;
    const QString clip = directory.filePath("clip.ts");
    Ffmpeg("-f lavfi -i testsrc2=size=640x480:rate=25:duration=0.4 -c:v libx264 -preset ultrafast " + clip);
    const Server server(ReadFile(clip));
    const Watched wall(OVEL_WALL, {"--longest-pause", "0.05", server.Url()});
    const auto hasLost = [&](int count) {
        return wall.WaitFor(
            1, [&](const QJsonObject& line) { return line["losses"].toInt() >= count; }, 120);
    };
    ASSERT_TRUE(hasLost(losses / 3));
    const double before = wall.Mebibytes();
    const int files = wall.Count("fd"), threads = wall.Count("task");
    ASSERT_TRUE(hasLost(losses));
    // Sixteen more decoders would take more; a sanitizer keeps what was freed.
    EXPECT_LT(wall.Mebibytes() - before, OVEL_SANITIZED ? 300.0 : 8.0);
    EXPECT_LE(wall.Count("fd"), files + 2);
    EXPECT_LE(wall.Count("task"), threads + 1);
    EXPECT_GE(wall.Tile(1)["received"].toInt(), 9 * losses) << "10 pictures each time";
}

} // namespace
