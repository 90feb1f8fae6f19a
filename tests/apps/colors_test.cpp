// Right colours from file to screen: every description that streams carry, in both layouts, played by the
// player.
#include "Played.h"

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

TEST(Colors, EveryDescriptionOfAStreamInBothLayouts)
{
    const QTemporaryDir directory;
    std::vector<tagOvelColor> colors;
    QStringList files;
    for (const char* codec : {"libx264", "libx265"}) {
        for (const int matrix : {OVEL_MATRIX_BT601, OVEL_MATRIX_BT709, OVEL_MATRIX_BT2020}) {
            for (const int range : {OVEL_RANGE_LIMITED, OVEL_RANGE_FULL}) {
                for (const int siting : {OVEL_SITING_LEFT, OVEL_SITING_CENTER}) {
                    colors.push_back({matrix, range, siting});
                    files << directory.filePath(QString("%1.%2.mp4").arg(files.size()).arg(codec));
                    MakeClip(files.back(), TestPicture, codec, colors.back());
                }
            }
        }
    }
    const QSize window(Columns * Tile.width(), (files.size() + Columns - 1) / Columns * Tile.height());
    const QImage planes = PlayerPicture(directory, files, window, {"--layout", "yv12"});
    const QImage pairs = PlayerPicture(directory, files, window, {"--layout", "nv12"});
    for (int i = 0; i < files.size(); ++i) {
        const tagOvelColor& color = colors[static_cast<size_t>(i)];
        SCOPED_TRACE(files[i].toStdString());
        const QRect tile = TileRect(i, Columns, Tile);
        const Canvas expected = Described(DecodeFirst(files[i], color), color);
        const Canvas theirs = ByFfmpeg(files[i], Tile, color);
        for (const QImage* shown : {&planes, &pairs}) {
            EXPECT_TRUE(ShowsCanvas(shown->copy(tile), expected));
            EXPECT_TRUE(ShowsCanvas(shown->copy(tile), theirs));
        }
        EXPECT_TRUE(SameImage(planes.copy(tile), pairs.copy(tile), 1));
    }
}

} // namespace
