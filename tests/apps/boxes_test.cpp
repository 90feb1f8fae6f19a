// Boxes from outside, by the real player: where they lie, on which picture, and what is wrong with lines.
#include "BoxFeed.h"
#include "Harness.h"
#include "Played.h"

#include <QFile>
#include <QProcess>
#include <QTextDocument>

#include <cstdlib>

#include <sys/stat.h>

using namespace OvelTest;

namespace
{

const QSize Size(320, 180);

QString GreyClip(const QTemporaryDir& directory)
{
    const QString file = directory.filePath("grey.mp4");
    Ffmpeg({"-f", "lavfi", "-i", "color=c=gray:size=320x180:rate=25", "-frames:v", "25", "-c:v", "libx264",
            file});
    return file;
}

bool IsNear(const QColor& one, const QColor& other)
{
    return std::abs(one.red() - other.red()) < 40 && std::abs(one.green() - other.green()) < 40 &&
           std::abs(one.blue() - other.blue()) < 40;
}

// The smallest rectangle that holds all pixels of a colour.
QRect Extent(const QImage& image, const QColor& color)
{
    QRect extent;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (IsNear(image.pixelColor(x, y), color)) {
                extent |= QRect(x, y, 1, 1);
            }
        }
    }
    return extent;
}

struct Ending {
    QImage picture;
    QByteArray errors;
};

// Plays the clip once and to its end with what a detector says.
Ending Play(const QTemporaryDir& directory, const QStringList& files, const QByteArray& lines,
            const QStringList& options = {}, const char* program = OVEL_PLAYER)
{
    const QString picture = directory.filePath("picture.png");
    QProcess player;
    player.start(program,
                 QStringList{"--boxes", "-", "--seconds", "2", "--picture", picture} + options + files);
    player.write(lines);
    player.closeWriteChannel();
    EXPECT_TRUE(player.waitForFinished(30000));
    EXPECT_EQ(player.exitCode(), 0);
    return {QImage(picture), player.readAllStandardError()};
}

const QStringList Bare = {"--bare", "--once", "--size", "320x180"};

TEST(Boxes, LieWhereTheySayInTheirColor)
{
    const QTemporaryDir directory;
    const QString file = GreyClip(directory);
    // On the last picture, of second 0.96.
    const Ending run = Play(directory, {file},
                            R"({"tile":1,"time":0.96,"box":[0.25,0.5,0.5,0.25],"colour":"#ff0000"}
                            {"time":0.9601,"label":"<b>cat</b> & dog","box":[0.1,0.2,0.1,0.1],"colour":"blue"}
                            {"time":0.96,"box":[0.9,0.9,5,5],"colour":"lime"})",
                            Bare);
    EXPECT_FALSE(run.errors.contains("boxes")) << run.errors.toStdString();
    const QRect red = Extent(run.picture, Qt::red);
    for (const int difference : {red.left() - 80, red.right() - 240, red.top() - 90, red.bottom() - 135}) {
        EXPECT_LE(std::abs(difference), 2) << red.left() << " " << red.top() << " " << red.right() << " "
                                           << red.bottom(); // the line is three pixels wide
    }
    EXPECT_TRUE(IsNear(run.picture.pixelColor(160, 112), QColor(126, 126, 126))) << "an outline is empty";
    const QRect blue = Extent(run.picture, Qt::blue);
    EXPECT_LE(std::abs(blue.left() - 32), 6);
    EXPECT_LT(blue.top(), 33) << "the label lies above its box";
    EXPECT_GT(blue.right(), 110) << "it is shown as it is written, not as HTML";
    EXPECT_GE(Extent(run.picture, QColor(0, 255, 0)).right(), 318) << "cut off at the picture's edge";
}

// Which boxes are seen on the last picture, 24, of second 0.96.
TEST(Boxes, BelongToTheirPicture)
{
    const QTemporaryDir directory;
    const QString file = GreyClip(directory);
    const struct {
        const char* lines;
        bool isSeen;
    } table[] = {
        {R"({@"time":0.96,"box":[0.2,0.2,0.5,0.5],"colour":"red"})", true},
        {R"({@"time":0.944,"stays":0,"box":[0.2,0.2,0.5,0.5],"colour":"red"})", true}, // the nearest picture
        {R"({@"time":0.92,"stays":0,"box":[0.2,0.2,0.5,0.5],"colour":"red"})", false},
        {R"({@"time":0.52,"box":[0.2,0.2,0.5,0.5],"colour":"red"})", true}, // half a second
        {R"({@"time":0.40,"box":[0.2,0.2,0.5,0.5],"colour":"red"})", false},
        {R"({@"time":0.40,"stays":1,"box":[0.2,0.2,0.5,0.5],"colour":"red"})", true},
        {R"({@"time":1.1,"box":[0.2,0.2,0.5,0.5],"colour":"red"})", false},
        {R"({@"time":0.8,"box":[0.2,0.2,0.5,0.5],"colour":"red"}
            {@"time":0.88,"box":[0,0,0.1,0.1]})",
         false}, // others follow
        {R"({@"time":0.8,"box":[0.2,0.2,0.5,0.5],"colour":"red"}
            {@"time":0.88})",
         false}, // nothing follows
        {R"({@"time":0.8,"box":[0.2,0.2,0.5,0.5],"colour":"red"}
            {@"time":0.8,"box":[0,0,0.1,0.1]})",
         true},                                                           // beside others
        {R"({@"stays":9,"box":[0.2,0.2,0.5,0.5],"colour":"red"})", true}, // the newest when it comes
    };
    // All rows in one run: a tile each.
    QByteArray lines;
    QStringList files;
    for (const auto& row : table) {
        files << file;
        lines +=
            QByteArray(row.lines).replace("@", "\"tile\":" + QByteArray::number(files.size()) + ",") + "\n";
    }
    const Ending run =
        Play(directory, files, lines + "{\"tile\":99}", {"--bare", "--once", "--size", "1280x540"});
    for (int i = 0; i < files.size(); ++i) {
        const QRect cell(QPoint(i % 4 * 320, i / 4 * 180), Size);
        EXPECT_EQ(!Extent(run.picture.copy(cell), Qt::red).isEmpty(), table[i].isSeen) << table[i].lines;
    }
    EXPECT_TRUE(run.errors.contains("1 of 15 lines left out, first line 15: there is no tile 99"))
        << run.errors.toStdString();
}

TEST(Boxes, LinesThatAreNoneAreCountedOnce)
{
    const QTemporaryDir directory;
    const QString file = GreyClip(directory);
    const QByteArray good = R"({"time":0.96,"box":[0.2,0.2,0.5,0.5],"colour":"red","confidence":0.9})";
    const QByteArrayList bad = {
        "nonsense",
        "[1, 2]",
        "{\"box\":[0.1,0.2,0.3]}",
        "{\"box\":[0.1,0.2,0.3,-0.4]}",
        "{\"box\":[0.1,0.2,\"a\",0.4]}",
        "{\"box\":[1e300,0.2,1,0.4]}",
        "{\"box\":\"here\"}",
        "{\"time\":-1}",
        "{\"time\":\"now\"}",
        "{\"stays\":-1}",
        "{\"tile\":0}",
        "{\"tile\":1.5}",
        "{\"tile\":1e18}",
        "{\"label\":7}",
        "{\"colour\":\"no colour\"}",
        "\xff\xfe\x00\x01",
        QByteArray(100, '['),
        "{\"label\":\"" + QByteArray(300000, 'x') + "\"}",
        "{\"time\":0.96,\"box\":[0.2,0.2,0.5,0.5]", // the end is missing
    };
    const Ending run = Play(directory, {file}, "\n" + good + "\r\n" + bad.join("\n" + good + "\n"), Bare);
    EXPECT_FALSE(Extent(run.picture, Qt::red).isEmpty());
    EXPECT_EQ(run.errors.count("boxes"), 1) << run.errors.toStdString();
    EXPECT_TRUE(run.errors.contains("19 of 39 lines left out, first line 3: no JSON object"))
        << run.errors.toStdString();

    QProcess none;
    none.start(OVEL_PLAYER, {"--boxes", directory.filePath("nowhere"), file});
    ASSERT_TRUE(none.waitForFinished(20000));
    EXPECT_EQ(none.exitCode(), 2);
    EXPECT_TRUE(none.readAllStandardError().contains("cannot read boxes from"));
}

TEST(Boxes, APipeAndAFloodHarmNobody)
{
    const QTemporaryDir directory;
    const QString file = GreyClip(directory);
    // Ever more boxes on a picture far away, then the one that counts; labels of every kind.
    QByteArray flood;
    for (int i = 0; i < 60000; ++i) {
        flood += "{\"time\":" + QByteArray::number(100 + i) +
                 ",\"label\":\"\xf0\x9f\x90\x88 \xe7\x8c\xab\",\"box\":[0,0,1,1]}\n";
    }
    flood += R"({"time":0.96,"label":"last","box":[0.2,0.2,0.5,0.5],"colour":"red"})";
    EXPECT_FALSE(Extent(Play(directory, {file}, flood, Bare).picture, Qt::red).isEmpty());

    // A named pipe whose writers come and go.
    const QString pipe = directory.filePath("pipe");
    ASSERT_EQ(mkfifo(pipe.toUtf8().constData(), 0600), 0);
    const QString picture = directory.filePath("piped.png");
    QProcess player;
    player.start(OVEL_PLAYER, QStringList{"--boxes", pipe, "--seconds", "2", "--picture", picture} + Bare +
                                  QStringList{file});
    for (const char* line : {"{\"time\":0.96,\"box\":[0.2,0.2,0.5,0.5],\"colour\":\"red\"}\n",
                             "{\"time\":0.96,\"box\":[0.3,0.3,0.5,0.5],\"colour\":\"blue\"}\n"}) {
        QFile writer(pipe);
        ASSERT_TRUE(writer.open(QIODevice::WriteOnly));
        writer.write(line);
    }
    ASSERT_TRUE(player.waitForFinished(20000));
    EXPECT_FALSE(Extent(QImage(picture), Qt::red).isEmpty());
    EXPECT_FALSE(Extent(QImage(picture), Qt::blue).isEmpty());
}

TEST(Boxes, OnTheWallToo)
{
    const QTemporaryDir directory;
    const Ending run = Play(directory, {GreyClip(directory)},
                            R"({"tile":2,"stays":9,"time":0,"box":[0.25,0.25,0.5,0.5],"colour":"red"})",
                            {"--tiles", "2"}, OVEL_WALL);
    const int middle = run.picture.width() / 2;
    EXPECT_TRUE(Extent(run.picture.copy(0, 0, middle, run.picture.height()), Qt::red).isEmpty());
    EXPECT_FALSE(Extent(run.picture.copy(middle, 0, middle, run.picture.height()), Qt::red).isEmpty());
}

// The player's newest picture is not to be foreseen; a board of its own is.
TEST(Boxes, WithoutATimeTheyBelongToTheNewest)
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
TEST(Boxes, LabelsShowWhatIsWritten)
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
