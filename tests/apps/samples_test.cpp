// The samples that hosts copy from, and files that are not as the renderer takes them.
#include "Played.h"

#include <QFile>
#include <QFileInfo>

using namespace OvelTest;

namespace
{

constexpr tagOvelColor Plain = {OVEL_MATRIX_BT601, OVEL_RANGE_LIMITED, OVEL_SITING_LEFT};

QString BarsOf(QSize size)
{
    return QString("smptehdbars=size=%1x%2:rate=25,format=rgb24").arg(size.width()).arg(size.height());
}

// A slanted picture has its bars nowhere near. Planes of 853 x 479 through the player: where the decoder left them,
// copied, and made NV12.
TEST(Applications, OddSizesStandUprightInTheirColors)
{
    const QTemporaryDir directory;
    const tagOvelColor color = {OVEL_MATRIX_BT709, OVEL_RANGE_FULL, OVEL_SITING_LEFT};
    const QString file = directory.filePath("odd.mkv"), picture = directory.filePath("odd.png");
    for (const QSize size : {QSize(174, 97), QSize(439, 242), QSize(853, 479)}) {
        SCOPED_TRACE(size.width());
        MakeClip(file, BarsOf(size), "ffv1", color);
        const Canvas expected = Described(DecodeFirst(file, color), color);
        RunProgram(OVEL_FFMPEG_SAMPLE, {file, picture});
        EXPECT_TRUE(ShowsCanvas(QImage(picture), expected));
        for (const QStringList& way : {QStringList(), {"--handover", "copy"}, {"--layout", "nv12"}}) {
            EXPECT_TRUE(size.width() != 853 ||
                        ShowsCanvas(PlayerPicture(directory, {file}, size, way), expected))
                << way.join(' ').toStdString();
        }
    }
}

TEST(OverlaySample, DrawsEveryKind)
{
    const QTemporaryDir directory;
    const QString file = directory.filePath("overlays.png");
    RunProgram(OVEL_OVERLAY_SAMPLE, {file});
    const QImage picture(file);
    ASSERT_EQ(picture.size(), QSize(640, 360));
    int outline = 0, zone = 0, track = 0, label = 0;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const QColor shown = picture.pixelColor(x, y);
            outline += shown.green() > 240 && shown.red() < 20 && shown.blue() < 20;
            zone += shown.blue() > shown.red() + 50;
            track += y > 221 && shown.red() > 240 && shown.green() > 240 && shown.blue() < 20;
            label += shown.red() > 240 && shown.green() > 240 && shown.blue() > 240;
        }
    }
    EXPECT_GT(outline, 1000); // a box of 115 x 108 with lines of 3
    EXPECT_GT(zone, 30000);
    EXPECT_GT(track, 100);
    EXPECT_GT(label, 100);
}

// What is converted on its way keeps its colours: compared where they are flat, dithering aside.
TEST(Player, OtherFormatsKeepTheirColors)
{
    const QTemporaryDir directory;
    const QSize size(160, 96);
    const struct {
        const char* format;
        tagOvelColor color;
    } table[] = {
        {"yuv420p10le", {OVEL_MATRIX_BT709, OVEL_RANGE_LIMITED, OVEL_SITING_LEFT}},
        {"yuv420p10le", {OVEL_MATRIX_BT2020, OVEL_RANGE_FULL, OVEL_SITING_LEFT}},
        {"yuv422p", {OVEL_MATRIX_BT709, OVEL_RANGE_FULL, OVEL_SITING_LEFT}},
        {"yuv444p", {OVEL_MATRIX_BT2020, OVEL_RANGE_LIMITED, OVEL_SITING_LEFT}},
        {"yuv444p10le", {OVEL_MATRIX_BT601, OVEL_RANGE_FULL, OVEL_SITING_LEFT}},
        {"bgr0", {OVEL_MATRIX_BT601, OVEL_RANGE_FULL, OVEL_SITING_LEFT}},
    };
    QStringList files;
    for (const auto& row : table) {
        files << directory.filePath(QString("%1.mkv").arg(files.size()));
        MakeClip(files.back(), BarsOf(size), "ffv1", row.color, row.format);
    }
    const QImage shown = PlayerPicture(directory, files, {3 * size.width(), 2 * size.height()});
    for (int i = 0; i < files.size(); ++i) {
        SCOPED_TRACE(files[i].toStdString() + " " + table[i].format);
        EXPECT_TRUE(
            ShowsCanvas(shown.copy(TileRect(i, 3, size)), ByFfmpeg(files[i], size, table[i].color), 3));
    }
}

// Turns and mirrors of the file against what ffmpeg itself makes of them.
TEST(Player, TurnsAndProportionsOfTheFile)
{
    const QTemporaryDir directory;
    const QString upright = directory.filePath("upright.mp4");
    MakeClip(upright, BarsOf({240, 120}), "libx264", Plain);
    QStringList files;
    for (const char* turn : {"rotate=90", "rotate=180", "rotate=270", "flip=horizontal", "flip=vertical",
                             "flip=horizontal:rotate=90"}) {
        files << directory.filePath(QString(turn) + ".mp4");
        Ffmpeg("-i " + upright + " -c copy -bsf:v h264_metadata=display_orientation=insert:" + turn + " " +
               files.back());
    }
    // Samples twice as wide as high: 480 x 120 in a tile of 240 x 240 is 240 x 60.
    const QString wide = directory.filePath("wide.mp4");
    Ffmpeg("-i " + upright + " -c copy -aspect 4:1 " + wide);

    const QImage shown = PlayerPicture(directory, files + QStringList{wide}, {3 * 240, 3 * 240});
    for (int i = 0; i < files.size(); ++i) {
        SCOPED_TRACE(files[i].toStdString());
        QRect place(0, 0, 240, 120);
        if (files[i].contains("90") || files[i].contains("270")) {
            place.setSize({120, 240});
        }
        place.moveCenter(TileRect(i, 3, {240, 240}).center());
        EXPECT_TRUE(ShowsCanvas(shown.copy(place), ByFfmpeg(files[i], place.size(), Plain)));
    }
    const auto isBlack = [&](int y) { return shown.pixelColor(120, 480 + y).lightness() < 3; };
    EXPECT_TRUE(isBlack(87) && isBlack(152));
    EXPECT_FALSE(isBlack(92) || isBlack(110));
}

// What they leave of the clips that the project's other tools show too.
TEST(Applications, EveryWayToShowAClip)
{
    if (OVEL_SANITIZED != 0) {
        GTEST_SKIP() << "skipped: a sanitizer's runtime finds faults of the decoders, not the library's";
    }
    const QTemporaryDir directory;
    RunProgram(OVEL_CLIPS, {directory.path()});
    const struct {
        const char* program;
        const char* arguments;
        const char* says;
    } table[] = {
        {OVEL_PLAYER, "--overlay @clip.mp4", ""},
        {OVEL_PLAYER, "--layout nv12 --renderer sub @clip.mp4", ""},
        {OVEL_PLAYER, "--renderer mixed @clip.mp4 @clip.mp4 @clip.mp4 @clip.mp4", ""},
        {OVEL_PLAYER, "@nv12.nut", "rawvideo as NV12 by reference,"}, // its planes go in as they lie
        {OVEL_WALL, "@small.mp4", ""},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.arguments);
        const QString picture = directory.filePath("shown.png");
        const QString arguments = QString(row.arguments).replace("@", directory.path() + "/");
        const Ended ended =
            RunProgram(row.program, ("--seconds 3 --picture " + picture + " " + arguments).split(' '));
        EXPECT_TRUE((ended.output + ended.errors).contains(row.says)) << ended.output.toStdString();
        EXPECT_GT(QFileInfo(picture).size(), 20000) << "a single colour packs into a few bytes per row";
        QFile::remove(picture);
    }
    RunProgram(OVEL_PLAYER, {"--seconds", "1", directory.filePath("cut.mp4")}, 2);
}

// No black window that claims to have shown something, and no display needed for text.
TEST(Applications, WithoutOpenGlOrDisplay)
{
    const QTemporaryDir directory;
    const QString file = directory.filePath("clip.mkv");
    MakeClip(file, BarsOf({64, 64}), "ffv1", Plain);
    const QByteArray display = qgetenv("DISPLAY"), platform = qgetenv("QT_QPA_PLATFORM");
    qputenv("QT_XCB_GL_INTEGRATION", "none");
    for (const char* program : {OVEL_PLAYER, OVEL_WALL}) {
        for (const char* without : {"xcb", "vnc", "offscreen", "minimal"}) {
            SCOPED_TRACE(without);
            qputenv("QT_QPA_PLATFORM", without);
            qputenv("DISPLAY",
                    without == std::string("xcb") ? display : ""); // with one "offscreen" has OpenGL
            EXPECT_TRUE(RunProgram(program, {"--seconds", "1", file}, 3).output.isEmpty())
                << "it counts frames";
        }
        qputenv("QT_QPA_PLATFORM", platform);
        for (const char* option : {"--help", "--version"}) {
            EXPECT_FALSE(RunProgram(program, {option}).output.isEmpty()) << program << option;
        }
    }
    qunsetenv("QT_XCB_GL_INTEGRATION");
    qputenv("DISPLAY", display);
}

} // namespace
