// Boxes from outside, by the real player: where they lie, on which picture, and what is wrong with lines.
#include "BoxFeed.h"
#include "Harness.h"
#include "Played.h"

#include <QTextDocument>

#include <cstdlib>
#include <thread>

#include <sys/stat.h>

using namespace OvelTest;

namespace
{

const QSize Size(320, 180);
const QStringList Bare = {"--bare", "--once", "--size", "320x180"};

// Plays a grey clip of 25 pictures once and to its end with what a detector says.
class Boxes : public testing::Test
{
protected:
    void SetUp() override
    {
        Ffmpeg("-f lavfi -i color=c=gray:size=320x180:rate=25 -frames:v 25 -c:v libx264 " + file);
    }

    // What the program says; the picture that it leaves is in `picture`.
    QByteArray Play(const QByteArray& lines, const QStringList& options = Bare, int copies = 1,
                    const char* program = OVEL_PLAYER, const QString& from = "-")
    {
        const QString shown = directory.filePath("picture.png");
        QStringList arguments = QStringList{"--boxes", from, "--seconds", "2", "--picture", shown} + options;
        for (int i = 0; i < copies; ++i) {
            arguments << file;
        }
        const QByteArray errors = RunProgram(program, arguments, 0, lines).errors;
        picture = QImage(shown);
        return errors;
    }

    // The smallest rectangle that holds all pixels of a colour.
    QRect Extent(const QColor& color, const QRect& inside = {0, 0, 4096, 4096}) const
    {
        const QRect all = inside & picture.rect();
        QRect extent;
        for (int y = all.top(); y <= all.bottom(); ++y) {
            for (int x = all.left(); x <= all.right(); ++x) {
                if (IsLike(picture.pixelColor(x, y), color)) {
                    extent |= QRect(x, y, 1, 1);
                }
            }
        }
        return extent;
    }
    bool Shows(const QColor& color) const { return !Extent(color).isEmpty(); }

    const QTemporaryDir directory;
    const QString file = directory.filePath("grey.mp4");
    QImage picture;
};

TEST_F(Boxes, LieWhereTheySayInTheirColor)
{
    // On the last picture, of second 0.96.
    const QByteArray errors = Play(R"({"tile":1,"time":0.96,"box":[0.25,0.5,0.5,0.25],"colour":"#ff0000"}
        {"time":0.9601,"label":"<b>cat</b> & dog","box":[0.1,0.2,0.1,0.1],"colour":"blue"}
        {"time":0.96,"box":[0.9,0.9,5,5],"colour":"lime"})");
    EXPECT_FALSE(errors.contains("boxes")) << errors.toStdString();
    const QRect red = Extent(Qt::red);
    for (const int difference : {red.left() - 80, red.right() - 240, red.top() - 90, red.bottom() - 135}) {
        EXPECT_LE(std::abs(difference), 2) << "the line is three pixels wide";
    }
    EXPECT_TRUE(IsLike(picture.pixelColor(160, 112), QColor(126, 126, 126))) << "an outline is empty";
    const QRect blue = Extent(Qt::blue);
    EXPECT_LE(std::abs(blue.left() - 32), 6);
    EXPECT_LT(blue.top(), 33) << "the label lies above its box";
    EXPECT_GT(blue.right(), 110) << "it is shown as it is written, not as HTML";
    EXPECT_GE(Extent(Qt::green).right(), 318) << "cut off at the picture's edge";
}

// Which boxes are seen on the last picture, 24, of second 0.96.
TEST_F(Boxes, BelongToTheirPicture)
{
    const struct {
        const char* red;
        const char* other;
        bool isSeen;
    } table[] = {
        {R"("time":0.96)", nullptr, true},
        {R"("time":0.944,"stays":0)", nullptr, true}, // the nearest picture
        {R"("time":0.92,"stays":0)", nullptr, false},
        {R"("time":0.52)", nullptr, true}, // half a second
        {R"("time":0.40)", nullptr, false},
        {R"("time":0.40,"stays":1)", nullptr, true},
        {R"("time":1.0)", nullptr, false},
        {R"("time":0.8)", R"("time":0.88,"box":[0,0,0.1,0.1])", false}, // others follow
        {R"("time":0.8)", R"("time":0.88)", false},                     // nothing follows
        {R"("time":0.8)", R"("time":0.8,"box":[0,0,0.1,0.1])", true},   // beside others
        {R"("time":0.8)", R"("time":1.0)", true},                       // what follows waits for its picture
        {R"("stays":9)", nullptr, true},                                // the newest when it comes
    };
    // All rows in one run: a tile each.
    QByteArray lines;
    int tiles = 0;
    for (const auto& row : table) {
        const QByteArray begin = "{\"tile\":" + QByteArray::number(++tiles) + ",";
        lines += begin + row.red + R"(,"box":[0.2,0.2,0.5,0.5],"colour":"red"})" + "\n";
        lines += row.other == nullptr ? QByteArray() : begin + row.other + "}\n";
    }
    const QByteArray errors =
        Play(lines + "{\"tile\":99}", {"--bare", "--once", "--size", "1280x540"}, tiles);
    for (int i = 0; i < tiles; ++i) {
        EXPECT_EQ(!Extent(Qt::red, TileRect(i, 4, Size)).isEmpty(), table[i].isSeen) << table[i].red;
    }
    EXPECT_TRUE(errors.contains("1 of 17 lines left out, first line 17: there is no tile 99"))
        << errors.toStdString();
}

TEST_F(Boxes, LinesThatAreNoneAreCountedOnce)
{
    const QByteArray good = R"({"time":0.96,"box":[0.2,0.2,0.5,0.5],"colour":"red","confidence":0.9})";
    const QByteArrayList bad = {"nonsense",
                                R"({"box":[0.1,0.2,0.3]})",
                                R"({"box":[0.1,0.2,0.3,-0.4]})",
                                R"({"box":[1e300,0.2,1,0.4]})",
                                R"({"time":-1})",
                                R"({"tile":1.5})",
                                R"({"colour":"no colour"})",
                                "\xff\xfe\x01",
                                R"({"label":")" + QByteArray(300000, 'x') + R"("})",
                                R"({"time":0.96,"box":[0.2,0.2,0.5,0.5])"};
    const QByteArray errors = Play("\n" + good + "\r\n" + bad.join("\n" + good + "\n"));
    EXPECT_TRUE(Shows(Qt::red));
    EXPECT_EQ(errors.count("boxes"), 1) << errors.toStdString();
    EXPECT_TRUE(errors.contains("10 of 21 lines left out, first line 3: no JSON object"))
        << errors.toStdString();

    const QStringList nowhere{"--boxes", directory.filePath("nowhere"), file};
    EXPECT_TRUE(RunProgram(OVEL_PLAYER, nowhere, 2).errors.contains("cannot read boxes from"));
}

TEST_F(Boxes, APipeAndAFloodHarmNobody)
{
    // Ever more boxes on a picture far away, then the one that counts; labels of every kind.
    QByteArray flood;
    for (int i = 0; i < 60000; ++i) {
        flood += "{\"time\":" + QByteArray::number(100 + i) +
                 ",\"label\":\"\xf0\x9f\x90\x88 \xe7\x8c\xab\",\"box\":[0,0,1,1]}\n";
    }
    Play(flood + R"({"time":0.96,"label":"last","box":[0.2,0.2,0.5,0.5],"colour":"red"})");
    EXPECT_TRUE(Shows(Qt::red));

    // A named pipe whose writers come and go.
    const QString pipe = directory.filePath("pipe");
    ASSERT_EQ(mkfifo(pipe.toUtf8().constData(), 0600), 0);
    std::thread writers([&] {
        WriteFile(pipe, "{\"time\":0.96,\"box\":[0.2,0.2,0.5,0.5],\"colour\":\"red\"}\n");
        WriteFile(pipe, "{\"time\":0.96,\"box\":[0.3,0.3,0.5,0.5],\"colour\":\"blue\"}\n");
    });
    Play({}, Bare, 1, OVEL_PLAYER, pipe);
    writers.join();
    EXPECT_TRUE(Shows(Qt::red) && Shows(Qt::blue));
}

TEST_F(Boxes, OnTheWallToo)
{
    Play(R"({"tile":2,"stays":9,"time":0,"box":[0.25,0.25,0.5,0.5],"colour":"red"})", {"--tiles", "2"}, 1,
         OVEL_WALL);
    EXPECT_TRUE(Shows(Qt::red));
    EXPECT_GT(Extent(Qt::red).left(), picture.width() / 2);
}

// The player's newest picture is not to be foreseen; a board of its own is.
TEST(BoxBoard, WithoutATimeTheyBelongToTheNewest)
{
    static int outlines;
    BoxBoard board(25.0, 4);
    board.SetView(ViewState(), Size);
    const auto draw = [&board](uint32_t picture) {
        outlines = 0;
        __tagQDrawCallbackInfo info{};
        info.uiFrameParam = picture;
        info.iDstWidth = info.right = Size.width();
        info.iDstHeight = info.bottom = Size.height();
        info.pfnDrawToRender = [](void* record, int, void*) {
            return outlines += static_cast<__tagQDrawGraphInfo*>(record)->iGraphType == OVEL_GRAPH_OUTLINE, 0;
        };
        board.Draw(info);
        return outlines;
    };
    BoxLine line;
    line.Place = QRectF(0.1, 0.1, 0.2, 0.2);
    int changes = 0;
    board.OnChange([&changes] { ++changes; });
    EXPECT_EQ(draw(100), 0);
    board.Add(line);
    board.Add(line);
    board.Announce();
    board.Announce();
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(draw(101), 2);
    EXPECT_EQ(draw(113), 2); // half a second, rounded, later
    EXPECT_EQ(draw(114), 0);
    EXPECT_EQ(draw(101), 0) << "over is over";
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    board.Add(line);
    EXPECT_EQ(draw(99), 0) << "somebody went back";
    for (int i = 0; i < 8; ++i) { // four fit
        line.Time = 4.0 + i;
        board.Add(line);
    }
    EXPECT_EQ(draw(7 * 25), 0);
    EXPECT_EQ(draw(8 * 25), 1);
    board.SetRate(50.0);
    EXPECT_EQ(draw(8 * 25), 0);
    EXPECT_EQ(draw(8 * 50), 1);
    board.OnChange(nullptr);
    line.Time = 8.0;
    board.Add(line);
    board.Announce();
    EXPECT_EQ(changes, 1);
}

// A label is a QLabel that shows HTML as such: a sender must not be able to show a file of the disk.
TEST(BoxBoard, LabelsShowWhatIsWritten)
{
    for (const char* text : {"cat", "a & b < c", "<b>cat</b>", "<img src='/etc/secret.png'>", "x &lt; y",
                             "<?xml ?><b>", "<!DOCTYPE html><b>", "&lt;<u>", "<<u>>"}) {
        QString shown = QString::fromUtf8(MakeLabel(text, 0).Text);
        EXPECT_FALSE(Qt::mightBeRichText(shown)) << text;
        EXPECT_EQ(shown.remove(QChar(0x200b)), QString(" ") + text);
    }
    for (const char* letter : {"x", "<", "\xe7\x8c\xab", "\xf0\x9f\x90\x88"}) {
        const OverlayLabel label = MakeLabel(QString(letter).repeated(200), 0);
        EXPECT_LT(label.Text.size(), OVEL_GRAPH_TEXT_BYTES);
        EXPECT_GT(label.Text.size(), OVEL_GRAPH_TEXT_BYTES - 5);
        EXPECT_EQ(QString::fromUtf8(label.Text).toUtf8(), label.Text) << "whole letters";
    }
}

} // namespace
