// What people do with a player, by its own window and events: every picture of a clip carries its number.
#include "Harness.h"
#include "Played.h"
#include "PlayerWindow.h"

#include <QApplication>
#include <QDropEvent>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMimeData>
#include <QMouseEvent>
#include <QUrl>

#include <cmath>

using namespace OvelTest;

namespace
{

constexpr int Count = 64;
constexpr double Rate = 25.0;

// Grey that says which picture it is.
void MakeNumbered(const QString& file, const QString& codec = "libx264 -crf 4 -g 250 -bf 3", int first = 0)
{
    Ffmpeg(
        QString(
            "-f lavfi -i color=size=64x64:rate=25,format=yuv420p,geq=lum='20+3*mod(N+%1,64)':cb=128:cr=128 "
            "-frames:v 64 -c:v %2 %3")
            .arg(first)
            .arg(codec, file));
}

// Where the line has been played, with its knob.
QRect Amber(const QImage& image)
{
    QRect extent;
    for (int y = std::max(0, image.height() - 60); y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixel(x, y) == qRgb(255, 196, 64)) {
                extent |= QRect(x, y, 1, 1);
            }
        }
    }
    return extent;
}

// The player with a file, paused on the first picture, or without one.
class Playing
{
public:
    explicit Playing(const QString& file, QSize size = QSize(320, 240)) : m_window(MakeOptions(size))
    {
        QStringList problems;
        const QStringList files = file.isEmpty() ? QStringList() : QStringList{file};
        EXPECT_TRUE(m_window.Play(OpenFiles(files, MakeOptions(size), problems)));
        EXPECT_TRUE(problems.isEmpty()) << problems.join(' ').toStdString();
        m_window.Begin();
        if (!file.isEmpty()) {
            Keys({Qt::Key_Space});
            EXPECT_TRUE(WaitUntil([this] { return Shown() >= 0; }));
        }
    }

    PlayerWindow& Window() { return m_window; }
    QImage Shot() { return m_window.grab().toImage(); }

    void Keys(const QList<int>& keys, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        for (const int key : keys) {
            QKeyEvent press(QEvent::KeyPress, key, modifiers);
            QApplication::sendEvent(&m_window, &press);
        }
    }

    // Number of the picture on the screen, -1 for none.
    int Shown(double x = 0.5)
    {
        const QImage image = Shot();
        const int red = image.pixelColor(static_cast<int>(x * image.width()), image.height() / 2).red();
        return red < 5 ? -1 : static_cast<int>(std::lround((red * 219.0 / 255.0 + 16.0 - 20.0) / 3.0));
    }
    testing::AssertionResult Shows(int picture)
    {
        return Eventually(
            [&] {
                const int shown = Shown();
                return shown == picture ? testing::AssertionSuccess()
                                        : testing::AssertionFailure() << picture << " is " << shown;
            },
            5000);
    }
    testing::AssertionResult IsTitled(const QString& title)
    {
        return Eventually(
            [&] {
                const QString is = m_window.windowTitle();
                return is == title ? testing::AssertionSuccess()
                                   : testing::AssertionFailure() << is.toStdString();
            },
            5000);
    }

    void Mouse(QEvent::Type type, QPointF where, Qt::MouseButtons buttons)
    {
        auto* view = m_window.childAt(m_window.rect().center());
        QMouseEvent event(type, where, view->mapToGlobal(where.toPoint()),
                          type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton, buttons, Qt::NoModifier);
        QApplication::sendEvent(view, &event);
    }

    void Drop(const QStringList& files)
    {
        QMimeData data;
        QList<QUrl> urls;
        for (const QString& file : files) {
            urls << QUrl::fromLocalFile(file);
        }
        data.setUrls(urls);
        QDragEnterEvent enter(QPoint(9, 9), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&m_window, &enter);
        EXPECT_EQ(enter.isAccepted(), !files.isEmpty());
        QDropEvent event(QPointF(9, 9), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&m_window, &event);
    }

private:
    static Options MakeOptions(QSize size)
    {
        Options options;
        options.Bare = true;
        options.WindowSize = size;
        return options;
    }

    PlayerWindow m_window;
};

TEST(Player, StepsShowEveryPictureThereAndBack)
{
    const QTemporaryDir directory;
    const struct {
        const char* name;
        const char* codec;
    } table[] = {
        {"long.mp4", "libx264 -crf 4 -g 250 -bf 3"},
        {"open.mkv", "libx264 -crf 4 -x264-params keyint=12:open-gop=1:bframes=3:b-pyramid=2"},
        {"hevc.ts", "libx265 -crf 4 -x265-params keyint=20:open-gop=1"},
        {"old.avi", "mpeg4 -q:v 1 -g 12 -bf 2"},
        {"intra.nut", "ffv1"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.name);
        const QString file = directory.filePath(row.name);
        MakeNumbered(file, row.codec);
        Playing player(file);
        int shown = player.Shown();
        ASSERT_GE(shown, 0);
        while (shown < 40) {
            player.Keys({Qt::Key_Period});
            ASSERT_TRUE(player.Shows(++shown));
        }
        while (shown > 0) {
            player.Keys({Qt::Key_Comma});
            ASSERT_TRUE(player.Shows(--shown));
        }
        player.Keys({Qt::Key_Comma}); // the first one stays
        RunEventsFor(100);            // else the next key takes it back
        player.Keys({Qt::Key_Period});
        EXPECT_TRUE(player.Shows(1));
        player.Keys({Qt::Key_Period, Qt::Key_Period, Qt::Key_Comma, Qt::Key_Period}); // several at once
        EXPECT_TRUE(player.Shows(3));
    }
}

TEST(Player, SpeedAndTitle)
{
    const QTemporaryDir directory;
    const QString file = directory.filePath("numbered.mp4");
    MakeNumbered(file);
    const struct {
        QList<int> keys;
        double speed;
        const char* says;
    } table[] = {
        {{}, 1.0, ""},
        {{Qt::Key_BracketLeft, Qt::Key_BracketLeft, Qt::Key_BracketLeft, Qt::Key_BracketLeft},
         0.25,
         "  speed 0.25"},
        {{Qt::Key_BracketRight}, 1.25, "  speed 1.25"},
        {{Qt::Key_BracketRight, Qt::Key_Backspace}, 1.0, ""},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.says);
        Playing player(file);
        player.Keys(row.keys);
        const QString paused = QString("numbered.mp4  0:00.%1 / 0:02  paused%2 - player")
                                   .arg(4 * player.Shown(), 2, 10, QChar('0'))
                                   .arg(row.says);
        EXPECT_TRUE(player.IsTitled(paused));
        const int before = player.Shown();
        QElapsedTimer timer;
        timer.start();
        player.Keys({Qt::Key_Space});
        ASSERT_TRUE(WaitUntil([&] { return player.Shown() >= before + 20; }, 20000));
        // A loaded machine may take longer, never less long.
        EXPECT_GT(static_cast<double>(timer.elapsed()) * 1e-3, 18.0 / Rate / row.speed);
        EXPECT_TRUE(player.IsTitled(QString("numbered.mp4  0:01 / 0:02%1 - player").arg(row.says)));
    }
}

TEST(Player, TheLineSeeks)
{
    const QTemporaryDir directory;
    const QString file = directory.filePath("numbered.mp4");
    MakeNumbered(file);
    for (const QSize size : {QSize(320, 200), QSize(1900, 1000)}) {
        SCOPED_TRACE(size.width());
        Playing player(file, size);
        const QImage without = player.Shot();
        const double bottom = size.height() - 8.0;
        player.Mouse(QEvent::MouseMove, QPointF(size.width() / 2.0, size.height() / 4.0), Qt::NoButton);
        EXPECT_EQ(player.Shot(), without) << "away from the edge";
        player.Mouse(QEvent::MouseMove, QPointF(size.width() / 2.0, bottom), Qt::NoButton);
        EXPECT_NE(player.Shot(), without);
        // A click near its left end, a drag to its right end, beyond, and back.
        player.Mouse(QEvent::MouseButtonPress, QPointF(0, bottom), Qt::LeftButton);
        EXPECT_TRUE(player.Shows(0));
        const int left = Amber(player.Shot()).left();
        player.Mouse(QEvent::MouseMove, QPointF(size.width() + 50.0, bottom), Qt::LeftButton);
        EXPECT_TRUE(player.Shows(Count - 1));
        const int right = Amber(player.Shot()).right();
        for (double x = 0.6; x > 0.15; x -= 0.2) {
            player.Mouse(QEvent::MouseMove, QPointF(size.width() * x, 10.0), Qt::LeftButton);
            const double expected = Count * (size.width() * x - left) / (right - left);
            EXPECT_TRUE(WaitUntil([&] { return std::abs(player.Shown() - expected) < 3.0; }))
                << player.Shown() << " instead of " << expected;
            EXPECT_NEAR(Amber(player.Shot()).right(), size.width() * x, 0.01 * size.width() + 6.0)
                << "the knob";
        }
        player.Mouse(QEvent::MouseButtonRelease, QPointF(size.width() / 5.0, 10.0), Qt::NoButton);
        const QPoint corner(1, size.height() - 1);
        EXPECT_TRUE(WaitUntil([&] { return player.Shot().pixel(corner) == without.pixel(corner); }))
            << "it stays";
        // In the middle of the picture a drag is a zoom as before, and the picture stays.
        const int shown = player.Shown();
        const QPointF from(size.width() * 0.3, size.height() * 0.3),
            to(size.width() * 0.5, size.height() * 0.5);
        player.Mouse(QEvent::MouseButtonPress, from, Qt::LeftButton);
        player.Mouse(QEvent::MouseMove, to, Qt::LeftButton);
        player.Mouse(QEvent::MouseButtonRelease, to, Qt::NoButton);
        RunEventsFor(100);
        EXPECT_EQ(player.Shown(), shown);
    }
}

TEST(Player, DroppedAndChosenFilesPlayAtOnce)
{
    const QTemporaryDir directory;
    QStringList files;
    for (const int first : {10, 30, 50}) {
        files << directory.filePath(QString("from%1.mp4").arg(first));
        MakeNumbered(files.back(), "libx264 -crf 4", first);
    }
    WriteFile(directory.filePath("text.mp4"), {});
    Playing player({});
    const auto isFrom = [&](int first, double x = 0.5) {
        return WaitUntil([&] { return player.Shown(x) >= first && player.Shown(x) < first + 14; });
    };
    player.Drop({});
    EXPECT_EQ(player.Window().windowTitle(), "player");
    player.Drop({files[0]});
    EXPECT_TRUE(isFrom(10));
    player.Drop({directory.filePath("text.mp4"), directory.filePath("nowhere.mp4")});
    EXPECT_TRUE(player.Window().windowTitle().startsWith("from10.mp4")) << "it goes on";
    player.Drop({files[2], files[1]}); // side by side
    EXPECT_TRUE(isFrom(50, 0.25) && isFrom(30, 0.75));
    WriteFile(directory.filePath("list.txt"), "from30.mp4\n");
    player.Drop({directory.filePath("list.txt")});
    EXPECT_TRUE(player.Window().windowTitle().startsWith("from30.mp4"));

    player.Keys({Qt::Key_O}, Qt::ControlModifier);
    auto* dialog = player.Window().findChild<QFileDialog*>();
    ASSERT_NE(dialog, nullptr);
    emit dialog->filesSelected({files[0]});
    dialog->close();
    EXPECT_TRUE(isFrom(10));
    RunEvents();
    qtWarnings.Take(); // without a window manager a dialog has trouble with the focus
}

} // namespace
