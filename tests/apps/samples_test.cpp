// The samples that hosts copy from, and files that are not as the renderer takes them.
#include "Played.h"

#include <QColor>

using namespace OvelTest;

namespace
{

const char* const Bars = "smptehdbars=size=%1x%2:rate=25,format=rgb24";

QString BarsOf(QSize size)
{
    return QString(Bars).arg(size.width()).arg(size.height());
}

// A slanted picture has its bars nowhere near; the decoder's planes here are what an odd width makes special.
TEST(FfmpegSample, OddSizesStandUprightInTheirColors)
{
    const QTemporaryDir directory;
    const tagOvelColor color = {OVEL_MATRIX_BT709, OVEL_RANGE_LIMITED, OVEL_SITING_LEFT};
    for (const QSize size : {QSize(853, 479), QSize(174, 97), QSize(439, 242)}) {
        SCOPED_TRACE(size.width());
        const QString file = directory.filePath("odd.mkv");
        const QString picture = directory.filePath("odd.png");
        MakeClip(file, BarsOf(size), "ffv1", color);
        RunProgram(OVEL_FFMPEG_SAMPLE, {file, picture});
        EXPECT_TRUE(ShowsCanvas(QImage(picture), Described(DecodeFirst(file).picture, color)));
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

// Planes of 853 x 479 through the player: where the decoder left them, copied, and made NV12.
TEST(Player, OddSizesOnEveryWay)
{
    const QTemporaryDir directory;
    const tagOvelColor color = {OVEL_MATRIX_BT601, OVEL_RANGE_FULL, OVEL_SITING_LEFT};
    const QString file = directory.filePath("odd.mkv");
    const QSize size(853, 479);
    MakeClip(file, BarsOf(size), "ffv1", color);
    const Canvas expected = Described(DecodeFirst(file).picture, color);
    for (const QStringList& way : {QStringList(), {"--handover", "copy"}, {"--layout", "nv12"}}) {
        EXPECT_TRUE(ShowsCanvas(PlayerPicture(directory, {file}, size, way), expected))
            << way.join(' ').toStdString();
    }
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
        {"yuv444p", {OVEL_MATRIX_BT709, OVEL_RANGE_FULL, OVEL_SITING_LEFT}},
        {"yuv444p10le", {OVEL_MATRIX_BT601, OVEL_RANGE_FULL, OVEL_SITING_LEFT}},
        {"bgr0", {OVEL_MATRIX_BT601, OVEL_RANGE_FULL, OVEL_SITING_LEFT}},
    };
    QStringList files;
    for (const auto& row : table) {
        files << directory.filePath(QString("%1.mkv").arg(files.size()));
        MakeClip(files.back(), BarsOf(size), "ffv1", row.color, row.format);
    }
    const QImage shown = PlayerPicture(directory, files, {3 * size.width(), 3 * size.height()});
    for (int i = 0; i < files.size(); ++i) {
        SCOPED_TRACE(files[i].toStdString() + " " + table[i].format);
        Canvas expected = ByFfmpeg(files[i], size, table[i].color);
        KeepFlatAreas(expected);
        EXPECT_TRUE(ShowsCanvas(shown.copy(QRect(QPoint(i % 3 * size.width(), i / 3 * size.height()), size)),
                                expected, 3));
    }
}

// Turns and mirrors of the file against what ffmpeg itself makes of them.
TEST(Player, TurnsAndProportionsOfTheFile)
{
    const QTemporaryDir directory;
    const tagOvelColor color = {OVEL_MATRIX_BT601, OVEL_RANGE_LIMITED, OVEL_SITING_LEFT};
    const QString upright = directory.filePath("upright.mp4");
    MakeClip(upright, BarsOf({240, 120}), "libx264", color);
    QStringList files;
    std::vector<Canvas> expected;
    for (const char* turn : {"rotate=90", "rotate=180", "rotate=270", "flip=horizontal", "flip=vertical",
                             "flip=horizontal:rotate=90"}) {
        files << directory.filePath(QString("%1.mp4").arg(files.size()));
        Ffmpeg({"-i", upright, "-c", "copy", "-bsf:v",
                QString("h264_metadata=display_orientation=insert:%1").arg(turn), files.back()});
        const bool onItsSide = QString(turn).contains("90") || QString(turn).contains("270");
        expected.push_back(ByFfmpeg(files.back(), onItsSide ? QSize(120, 240) : QSize(240, 120), color));
    }
    // Samples twice as wide as high: 480 x 120 in a tile of 240 x 240 is 240 x 60.
    files << directory.filePath("wide.mp4");
    Ffmpeg({"-i", upright, "-c", "copy", "-aspect", "4:1", files.back()});

    const QImage shown = PlayerPicture(directory, files, {3 * 240, 3 * 240});
    for (size_t i = 0; i < expected.size(); ++i) {
        SCOPED_TRACE(files[static_cast<int>(i)].toStdString());
        Canvas& canvas = expected[i];
        const QSize size(canvas.width, canvas.height);
        const QPoint cell(static_cast<int>(i % 3) * 240, static_cast<int>(i / 3) * 240);
        KeepFlatAreas(canvas);
        EXPECT_TRUE(ShowsCanvas(
            shown.copy(QRect(cell + QPoint(120 - size.width() / 2, 120 - size.height() / 2), size)), canvas));
    }
    const auto isBlack = [&](int y) { return shown.pixelColor(120, 480 + y).lightness() < 3; };
    EXPECT_TRUE(isBlack(87) && isBlack(152));
    EXPECT_FALSE(isBlack(92) || isBlack(110));
}

// No black window that claims to have shown something, and no display needed for text.
TEST(Applications, WithoutOpenGlOrDisplay)
{
    const QTemporaryDir directory;
    const QString file = directory.filePath("clip.mkv");
    MakeClip(file, BarsOf({64, 64}), "ffv1", {OVEL_MATRIX_BT601, OVEL_RANGE_LIMITED, OVEL_SITING_LEFT});
    qputenv("QT_XCB_GL_INTEGRATION", "none");
    for (const char* program : {OVEL_PLAYER, OVEL_WALL}) {
        EXPECT_TRUE(RunProgram(program, {"--seconds", "1", file}, 3).isEmpty()) << "it counts frames";
    }
    qunsetenv("QT_XCB_GL_INTEGRATION");
    const QByteArray display = qgetenv("DISPLAY");
    qunsetenv("DISPLAY");
    for (const char* program : {OVEL_PLAYER, OVEL_WALL}) {
        for (const char* option : {"--help", "--version"}) {
            EXPECT_FALSE(RunProgram(program, {option}).isEmpty()) << program << option;
        }
    }
    qputenv("DISPLAY", display);
}

} // namespace
