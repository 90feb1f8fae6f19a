// What the sample hosts measure and write: frames that reached the screen, processor time, memory, pictures.
#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QString>

#include <atomic>

class QMouseEvent;
class QOpenGLWidget;
class QPointF;
class QWidget;

// Frames of one renderer as a host sees them from outside. A frame counts as shown when a paint follows it
// and the window has been composed from that, and as dropped when the next one replaces it before that, when
// it was too late to be handed over, or was refused.
class FrameCounter : public QObject
{
public:
    explicit FrameCounter(QWidget* renderer);

    void HandedOver() { m_waiting += m_hidden ? 0 : 1; } // any thread
    void Dropped() { m_dropped += m_hidden ? 0 : 1; }    // any thread
    qint64 Shown() const { return m_shown; }
    qint64 DroppedSoFar() const { return m_dropped; }
    // Shown frames per second since the last call, or the last figure when that was less than half a second
    // ago.
    double Rate();

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void Composed();

    QOpenGLWidget* const m_renderer;
    qint64 m_painted = 0; // frames that the paint to be composed has seen
    std::atomic<bool> m_hidden{false};
    std::atomic<qint64> m_waiting{0};
    std::atomic<qint64> m_shown{0};
    std::atomic<qint64> m_dropped{0};
    QElapsedTimer m_sinceRate;
    qint64 m_shownAtRate = 0;
    double m_rate = 0.0;
};

// Processor time and memory of this process.
class ProcessMeter
{
public:
    ProcessMeter();
    double CpuSeconds() const;         // user and system time since construction
    double CpuPercent();               // of one processor, since the last call
    double WallSeconds() const;        // since construction
    static double ResidentMebibytes(); // 0 where the system does not say
    void SampleMemory();               // the first call after 5 s is what growth is measured from
    double GrowthMebibytes() const;    // from that sample to the last one

private:
    QElapsedTimer m_wall;
    double m_cpuAtStart;
    double m_cpuAtPercent;
    double m_wallAtPercent = 0.0;
    double m_settled = 0.0;
    double m_lastSample = 0.0;
};

// One line about a finished run.
QString RunReport(qint64 shown, qint64 dropped, const ProcessMeter& meter);

// Writes what the window shows as a PNG. False when the file cannot be written.
bool SavePicture(QWidget* window, const QString& file);

// Ends a run: closes the window, after writing what it shows to the file, if one is named, and saying where.
// A file that cannot be written ends the program with exit code 1.
void CloseWithPicture(QWidget* window, const QString& file);

// What both applications end with where there is no OpenGL. Asked before a window is shown: Qt 6 may crash
// over one there.
constexpr int ExitNoOpenGl = 3;
bool HasOpenGl(); // says so on standard error when there is none

// Has Qt open windows on Wayland where there is nothing else: by itself Qt 5 looks for an X server in most
// sessions. To be called before the QApplication is made.
void ChoosePlatform();

// True when the arguments ask only for text, which takes no display.
bool WantsTextOnly(int argc, char** argv);

// Columns of the squarest grid that holds so many tiles of 16:9.
int GridColumns(int tiles);

// The widget's letters, larger over a large area.
QFont LegibleFont(const QWidget& widget, QSize area);

// Position within the widget; the accessor has another name in each Qt major version.
QPointF MousePosition(const QMouseEvent& event);

// Without an OS SDK the library writes a short notice to stderr for every log line. The build brings a
// stand-in that shows the log (--log) or keeps it quiet. To be called first in main: the first renderer
// would look for an OS SDK itself.
void LoadStandIn(int argc, char** argv);
