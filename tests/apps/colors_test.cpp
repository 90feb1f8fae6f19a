// Right colours from file to screen: every description that streams carry, in both layouts, played by the
// player.
#include "Played.h"

extern "C" {
#include <libavutil/pixfmt.h>
}

using namespace OvelTest;

namespace
{

constexpr QSize Tile(240, 144);
constexpr int Columns = 5;

// Bars, a ramp in each component, and something that looks grown.
const char* const TestPicture =
    "smptebars=size=240x104:rate=25,format=rgb24[a];"
    "color=size=240x20:rate=25,format=rgb24,geq=r=X*255/239:g=255-X*255/239:b=Y*12[b];"
    "mandelbrot=size=240x20:rate=25:start_scale=0.4,format=rgb24,gblur=0.7[c];"
    "[a][b][c]vstack=inputs=3";

struct Case {
    QString codec;
    tagOvelColor color;
    QString file;
};

std::string Name(const Case& played)
{
    return QString("%1 matrix %2 range %3 siting %4")
        .arg(played.codec)
        .arg(played.color.iMatrix)
        .arg(played.color.iRange)
        .arg(played.color.iChromaSiting)
        .toStdString();
}

std::vector<Case> MakeCases(const QTemporaryDir& directory)
{
    std::vector<Case> cases;
    for (const char* codec : {"libx264", "libx265"}) {
        for (const int matrix : {OVEL_MATRIX_BT601, OVEL_MATRIX_BT709, OVEL_MATRIX_BT2020}) {
            for (const int range : {OVEL_RANGE_LIMITED, OVEL_RANGE_FULL}) {
                for (const int siting : {OVEL_SITING_LEFT, OVEL_SITING_CENTER}) {
                    const QString file = directory.filePath(QString("%1.mp4").arg(cases.size()));
                    cases.push_back({codec, {matrix, range, siting}, file});
                    MakeClip(file, TestPicture, codec, cases.back().color);
                }
            }
        }
    }
    return cases;
}

QImage TileOf(const QImage& window, size_t index)
{
    const int cell = static_cast<int>(index);
    return window.copy(QRect(QPoint(cell % Columns * Tile.width(), cell / Columns * Tile.height()), Tile));
}

QSize WindowFor(size_t tiles)
{
    const int rows = (static_cast<int>(tiles) + Columns - 1) / Columns;
    return {Columns * Tile.width(), rows * Tile.height()};
}

// Says when the encoder left out what the case is about.
void ExpectTags(const Decoded& decoded, const tagOvelColor& color)
{
    const int matrices[] = {0, AVCOL_SPC_SMPTE170M, AVCOL_SPC_BT709, AVCOL_SPC_BT2020_NCL};
    EXPECT_EQ(decoded.colorspace, matrices[color.iMatrix]);
    EXPECT_EQ(decoded.range == AVCOL_RANGE_JPEG, color.iRange == OVEL_RANGE_FULL);
    EXPECT_EQ(decoded.chromaLocation == AVCHROMA_LOC_CENTER, color.iChromaSiting == OVEL_SITING_CENTER);
}

TEST(Colors, EveryDescriptionOfAStreamInBothLayouts)
{
    const QTemporaryDir directory;
    const std::vector<Case> cases = MakeCases(directory);
    QStringList files;
    for (const Case& played : cases) {
        files << played.file;
    }
    const QImage planes = PlayerPicture(directory, files, WindowFor(cases.size()), {"--layout", "yv12"});
    const QImage pairs = PlayerPicture(directory, files, WindowFor(cases.size()), {"--layout", "nv12"});
    for (size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(Name(cases[i]));
        const Decoded decoded = DecodeFirst(cases[i].file);
        ExpectTags(decoded, cases[i].color);
        EXPECT_TRUE(ShowsCanvas(TileOf(planes, i), Described(decoded.picture, cases[i].color)));
        EXPECT_TRUE(ShowsCanvas(TileOf(pairs, i), Described(decoded.picture, cases[i].color)));
        EXPECT_TRUE(SameImage(TileOf(planes, i), TileOf(pairs, i), 1));
        Canvas theirs = ByFfmpeg(cases[i].file, Tile, cases[i].color);
        KeepFlatAreas(theirs, decoded.picture);
        EXPECT_TRUE(ShowsCanvas(TileOf(planes, i), theirs));
        EXPECT_TRUE(ShowsCanvas(TileOf(pairs, i), theirs));
    }
}

} // namespace
