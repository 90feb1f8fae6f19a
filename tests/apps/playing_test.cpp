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
void MakeNumbered(const QString& file, const QStringList& codec, int first = 0)
{
    Ffmpeg(QStringList{
               "-f", "lavfi", "-i",
               QString("color=size=64x64:rate=25,format=yuv420p,geq=lum='20+3*mod(N+%1,%2)':cb=128:cr=128")
                   .arg(first)
                   .arg(Count),
               "-frames:v", QString::number(Count)} +
           codec + QStringList{file});
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

// The player with some files, paused on the first picture.
class Playing
{
public:
    explicit Playing(const QStringList& files, QSize size = QSize(320, 240)) : m_window(MakeOptions(size))
    {
        QStringList problems;
        EXPECT_TRUE(m_window.Play(OpenFiles(files, MakeOptions(size), problems)));
        EXPECT_TRUE(problems.isEmpty()) << problems.join(' ').toStdString();
        m_window.Begin();
        Key(Qt::Key_Space);
        EXPECT_TRUE(WaitUntil([this] { return Shown() >= 0; }));
    }

    PlayerWindow& Window() { return m_window; }

    void Key(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QKeyEvent press(QEvent::KeyPress, key, modifiers);
        QApplication::sendEvent(&m_window, &press);
    }

    // Number of the picture on the screen, -1 for none.
    int Shown(QPointF where = {0.5, 0.5})
    {
        const QImage image = m_window.grab().toImage();
        const QColor pixel = image.pixelColor(static_cast<int>(where.x() * image.width()),
                                              static_cast<int>(where.y() * image.height()));
        const double luma = pixel.red() * 219.0 / 255.0 + 16.0;
        return pixel.red() < 5 ? -1 : static_cast<int>(std::lround((luma - 20.0) / 3.0));
    }
    bool Shows(int picture)
    {
        return WaitUntil([&] { return Shown() == picture; }, 3000);
    }

    void Mouse(QEvent::Type type, QPointF where, Qt::MouseButtons buttons)
    {
        auto* view = m_window.childAt(m_window.rect().center());
        QMouseEvent event(type, where, view->mapToGlobal(where.toPoint()),
                          type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton, buttons, Qt::NoModifier);
        QApplication::sendEvent(view, &event);
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
        QStringList codec;
    } table[] = {
        {"long.mp4", {"-c:v", "libx264", "-crf", "4", "-g", "250", "-bf", "3"}},
        {"open.mkv",
         {"-c:v", "libx264", "-crf", "4", "-x264-params", "keyint=12:open-gop=1:bframes=3:b-pyramid=2"}},
        {"hevc.ts", {"-c:v", "libx265", "-crf", "4", "-x265-params", "keyint=20:open-gop=1:log-level=none"}},
        {"old.avi", {"-c:v", "mpeg4", "-q:v", "1", "-g", "12", "-bf", "2"}},
        {"intra.nut", {"-c:v", "ffv1"}},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.name);
        const QString file = directory.filePath(row.name);
        MakeNumbered(file, row.codec);
        Playing player({file});
        const int first = player.Shown();
        ASSERT_GE(first, 0);
        int expected = first;
        for (; expected < 40; ++expected) {
            player.Key(Qt::Key_Period);
            ASSERT_TRUE(player.Shows(expected + 1)) << expected + 1 << " is " << player.Shown();
        }
        for (; expected > 0; --expected) {
            player.Key(Qt::Key_Comma);
            ASSERT_TRUE(player.Shows(expected - 1)) << expected - 1 << " is " << player.Shown();
        }
        player.Key(Qt::Key_Comma); // the first one stays
        RunEventsFor(100);         // else the next key takes it back
        player.Key(Qt::Key_Period);
        EXPECT_TRUE(player.Shows(1)) << player.Shown();
        for (const int key : {Qt::Key_Period, Qt::Key_Period, Qt::Key_Comma, Qt::Key_Period}) {
            player.Key(key); // several at once
        }
        EXPECT_TRUE(player.Shows(3)) << player.Shown();
    }
}

TEST(Player, SpeedAndTitle)
{
    const QTemporaryDir directory;
    const QString file = directory.filePath("numbered.mp4");
    MakeNumbered(file, {"-c:v", "libx264", "-crf", "4", "-g", "250", "-bf", "3"});
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
        Playing player({file});
        for (const int key : row.keys) {
            player.Key(key);
        }
        const QString paused = QString("numbered.mp4  0:00.%1 / 0:02  paused%2 - player")
                                   .arg(4 * player.Shown(), 2, 10, QChar('0'))
                                   .arg(row.says);
        EXPECT_TRUE(WaitUntil([&] { return player.Window().windowTitle() == paused; }))
            << player.Window().windowTitle().toStdString();
        const int before = player.Shown();
        QElapsedTimer timer;
        timer.start();
        player.Key(Qt::Key_Space);
        ASSERT_TRUE(WaitUntil([&] { return player.Shown() >= before + 20; }, 20000));
        // A loaded machine may take longer, never less long.
        EXPECT_GT(static_cast<double>(timer.elapsed()) * 1e-3, 18.0 / Rate / row.speed);
        EXPECT_TRUE(WaitUntil([&] {
            return player.Window().windowTitle() ==
                   QString("numbered.mp4  0:01 / 0:02%1 - player").arg(row.says);
        })) << player.Window().windowTitle().toStdString();
    }
}

TEST(Player, TheLineSeeks)
{
    const QTemporaryDir directory;
    const QString file = directory.filePath("numbered.mp4");
    MakeNumbered(file, {"-c:v", "libx264", "-crf", "4", "-g", "250", "-bf", "3"});
    for (const QSize size : {QSize(320, 200), QSize(1900, 1000)}) {
        SCOPED_TRACE(size.width());
        Playing player({file}, size);
        const auto shot = [&] { return player.Window().grab().toImage(); };
        const QImage without = shot();
        const double bottom = size.height() - 8.0;
        player.Mouse(QEvent::MouseMove, QPointF(size.width() / 2.0, size.height() / 4.0), Qt::NoButton);
        EXPECT_EQ(shot(), without) << "away from the edge";
        player.Mouse(QEvent::MouseMove, QPointF(size.width() / 2.0, bottom), Qt::NoButton);
        EXPECT_NE(shot(), without);
        // A click near its left end, a drag to its right end, beyond, and back.
        player.Mouse(QEvent::MouseButtonPress, QPointF(0, bottom), Qt::LeftButton);
        EXPECT_TRUE(player.Shows(0)) << player.Shown();
        const int left = Amber(shot()).left();
        player.Mouse(QEvent::MouseMove, QPointF(size.width() + 50.0, bottom), Qt::LeftButton);
        EXPECT_TRUE(player.Shows(Count - 1)) << player.Shown();
        const int right = Amber(shot()).right();
        for (double x = 0.6; x > 0.15; x -= 0.2) {
            player.Mouse(QEvent::MouseMove, QPointF(size.width() * x, 10.0), Qt::LeftButton);
            const double expected = Count * (size.width() * x - left) / (right - left);
            EXPECT_TRUE(WaitUntil([&] { return std::abs(player.Shown() - expected) < 3.0; }))
                << player.Shown() << " instead of " << expected;
            EXPECT_NEAR(Amber(shot()).right(), size.width() * x, 0.01 * size.width() + 6.0) << "the knob";
        }
        player.Mouse(QEvent::MouseButtonRelease, QPointF(size.width() / 5.0, 10.0), Qt::NoButton);
        EXPECT_TRUE(WaitUntil([&] {
            return shot().copy(0, size.height() - 40, size.width(), 40).pixelColor(1, 39) ==
                   without.pixelColor(1, size.height() - 1);
        })) << "it stays";
        // In the middle of the picture a drag is a zoom as before, and the picture stays.
        const int shown = player.Shown();
        player.Mouse(QEvent::MouseButtonPress, QPointF(size.width() * 0.3, size.height() * 0.3),
                     Qt::LeftButton);
        player.Mouse(QEvent::MouseMove, QPointF(size.width() * 0.5, size.height() * 0.5), Qt::LeftButton);
        player.Mouse(QEvent::MouseButtonRelease, QPointF(size.width() * 0.5, size.height() * 0.5),
                     Qt::NoButton);
        RunEventsFor(100);
        EXPECT_EQ(player.Shown(), shown);
    }
}

TEST(Player, DroppedAndChosenFilesPlayAtOnce)
{
    const QTemporaryDir directory;
    QStringList files;
    for (const int first : {10, 30, 50}) {
        files << directory.filePath(QString("from %1.mp4").arg(first));
        MakeNumbered(files.back(), {"-c:v", "libx264", "-crf", "4"}, first);
    }
    QFile(directory.filePath("text.mp4")).open(QIODevice::WriteOnly);
    Options options;
    options.Bare = true;
    options.WindowSize = QSize(320, 240);
    PlayerWindow window(options);
    window.Play({});
    window.Begin();
    const auto shown = [&](QPoint where) {
        const double luma = window.grab().toImage().pixelColor(where).red() * 219.0 / 255.0 + 16.0;
        return (luma - 20.0) / 3.0;
    };
    const auto drop = [&](const QStringList& names) {
        QMimeData data;
        QList<QUrl> urls;
        for (const QString& name : names) {
            urls << QUrl::fromLocalFile(name);
        }
        data.setUrls(urls);
        QDragEnterEvent enter(QPoint(9, 9), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&window, &enter);
        EXPECT_EQ(enter.isAccepted(), !names.isEmpty());
        QDropEvent event(QPointF(9, 9), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&window, &event);
    };
    const auto isFrom = [](double number, int first) {
        return number > first - 0.5 && number < first + 13.5;
    };
    drop({});
    EXPECT_EQ(window.windowTitle(), "player");
    drop({files[0]});
    EXPECT_TRUE(WaitUntil([&] { return isFrom(shown({160, 120}), 10); }));
    drop({directory.filePath("text.mp4"), directory.filePath("nowhere.mp4")});
    EXPECT_TRUE(window.windowTitle().startsWith("from 10.mp4")) << "it goes on";
    drop({files[2], files[1]}); // side by side
    EXPECT_TRUE(WaitUntil([&] { return isFrom(shown({80, 120}), 50) && isFrom(shown({240, 120}), 30); }));

    QKeyEvent open(QEvent::KeyPress, Qt::Key_O, Qt::ControlModifier);
    QApplication::sendEvent(&window, &open);
    auto* dialog = window.findChild<QFileDialog*>();
    ASSERT_NE(dialog, nullptr);
    emit dialog->filesSelected({files[0]});
    dialog->close();
    EXPECT_TRUE(WaitUntil([&] { return isFrom(shown({160, 120}), 10); }));
    RunEvents();
    qtWarnings.Take(); // without a window manager a dialog has trouble with the focus
}

} // namespace
