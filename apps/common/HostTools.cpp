#include "HostTools.h"

#include "ViewState.h"

#include <OvelOsSdk.h>

#include <QCoreApplication>
#include <QEvent>
#include <QFileInfo>
#include <QImage>
#include <QMouseEvent>
#include <QOpenGLContext>
#include <QOpenGLWidget>
#include <QPixmap>
#include <QWidget>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <sys/resource.h>
#include <unistd.h>

namespace
{

double CpuSecondsOfProcess()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

std::string OwnDirectory()
{
    char path[PATH_MAX] = {};
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path) - 1);
    const std::string file(path, length > 0 ? static_cast<size_t>(length) : 0);
    return file.substr(0, file.find_last_of('/') == std::string::npos ? 0 : file.find_last_of('/'));
}

constexpr double SettledAfterSeconds = 5.0;

} // namespace

FrameCounter::FrameCounter(QWidget* renderer)
    : QObject(renderer), m_renderer(static_cast<QOpenGLWidget*>(renderer))
{
    m_sinceRate.start();
    renderer->installEventFilter(this);
    QObject::connect(m_renderer, &QOpenGLWidget::frameSwapped, this, [this] { Composed(); });
}

void FrameCounter::Composed()
{
    if (m_painted > 0 && m_renderer->isValid()) {
        ++m_shown;
        m_dropped += m_painted - 1;
        m_painted = 0;
    }
}

bool FrameCounter::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Paint) {
        m_painted += m_waiting.exchange(0);
    } else if (event->type() == QEvent::Hide || event->type() == QEvent::Show) {
        m_hidden = event->type() == QEvent::Hide;
        m_waiting = std::min<qint64>(m_waiting, 1); // the picture of a widget that comes back
    }
    return QObject::eventFilter(watched, event);
}

double FrameCounter::Rate()
{
    const qint64 elapsed = m_sinceRate.elapsed();
    if (elapsed >= 500) {
        const qint64 shown = m_shown;
        m_rate = static_cast<double>(shown - m_shownAtRate) * 1000.0 / static_cast<double>(elapsed);
        m_shownAtRate = shown;
        m_sinceRate.restart();
    }
    return m_rate;
}

ProcessMeter::ProcessMeter() : m_cpuAtStart(CpuSecondsOfProcess()), m_cpuAtPercent(m_cpuAtStart)
{
    m_wall.start();
}

double ProcessMeter::CpuSeconds() const
{
    return CpuSecondsOfProcess() - m_cpuAtStart;
}

double ProcessMeter::WallSeconds() const
{
    return static_cast<double>(m_wall.elapsed()) * 1e-3;
}

double ProcessMeter::CpuPercent()
{
    const double cpu = CpuSecondsOfProcess();
    const double wall = WallSeconds();
    const double percent =
        wall > m_wallAtPercent ? 100.0 * (cpu - m_cpuAtPercent) / (wall - m_wallAtPercent) : 0.0;
    m_cpuAtPercent = cpu;
    m_wallAtPercent = wall;
    return percent;
}

double ProcessMeter::ResidentMebibytes()
{
    long total = 0;
    long resident = 0;
    if (FILE* file = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(file, "%ld %ld", &total, &resident) != 2) {
            resident = 0;
        }
        std::fclose(file);
    }
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

void ProcessMeter::SampleMemory()
{
    m_lastSample = ResidentMebibytes();
    if (m_settled <= 0.0 && WallSeconds() >= SettledAfterSeconds) {
        m_settled = m_lastSample;
    }
}

double ProcessMeter::GrowthMebibytes() const
{
    return m_settled > 0.0 ? m_lastSample - m_settled : 0.0;
}

QString RunReport(qint64 shown, qint64 dropped, const ProcessMeter& meter)
{
    const double perFrame = shown > 0 ? 1000.0 * meter.CpuSeconds() / static_cast<double>(shown) : 0.0;
    QString text = QStringLiteral("%1 frames shown, %2 dropped in %3 s; CPU %4 ms per frame; memory %5 MiB")
                       .arg(shown)
                       .arg(dropped)
                       .arg(meter.WallSeconds(), 0, 'f', 1)
                       .arg(perFrame, 0, 'f', 2)
                       .arg(ProcessMeter::ResidentMebibytes(), 0, 'f', 1);
    if (meter.WallSeconds() > SettledAfterSeconds) {
        text +=
            QStringLiteral(" (%1 since second 5)").arg(QString::asprintf("%+.1f", meter.GrowthMebibytes()));
    }
    return text;
}

bool SavePicture(QWidget* window, const QString& file)
{
    QImage image = window->grab().toImage();
    // Renderers leave other alpha values than 1 behind; the picture of a window is opaque.
    if (image.format() == QImage::Format_ARGB32_Premultiplied) {
        image.reinterpretAsFormat(QImage::Format_RGB32);
    }
    return image.save(file, "PNG");
}

void CloseWithPicture(QWidget* window, const QString& file)
{
    if (!file.isEmpty()) {
        const QString path = QFileInfo(file).absoluteFilePath();
        if (!SavePicture(window, path)) {
            std::fprintf(stderr, "%s: cannot write %s\n", qPrintable(QCoreApplication::applicationName()),
                         qPrintable(path));
            QCoreApplication::exit(1);
            return;
        }
        std::printf("picture: %s\n", qPrintable(path));
    }
    window->close();
}

bool HasOpenGl()
{
    QOpenGLContext context;
    if (context.create()) {
        return true;
    }
    std::fprintf(stderr, "%s: there is no OpenGL here, nothing can be shown\n",
                 qPrintable(QCoreApplication::applicationName()));
    return false;
}

void ChoosePlatform()
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY") &&
        !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
        qputenv("QT_QPA_PLATFORM", "wayland");
    }
}

bool WantsTextOnly(int argc, char** argv)
{
    return std::any_of(argv + 1, argv + argc, [](const std::string& argument) {
        return argument == "-h" || argument == "--help" || argument == "--help-all" || argument == "-v" ||
               argument == "--version";
    });
}

int GridColumns(int tiles)
{
    return static_cast<int>(std::ceil(std::sqrt(static_cast<double>(tiles))));
}

QFont LegibleFont(const QWidget& widget, QSize area)
{
    QFont letters = widget.font();
    letters.setPixelSize(qRound(widget.fontInfo().pixelSize() * LegibleScale(area)));
    return letters;
}

QPointF MousePosition(const QMouseEvent& event)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return event.position();
#else
    return event.localPos();
#endif
}

void LoadStandIn(int argc, char** argv)
{
    const bool showLog = std::any_of(
        argv + 1, argv + argc, [](const char* argument) { return std::strcmp(argument, "--log") == 0; });
    if (!showLog) {
        setenv("OSSDK_LOG_FILE", "/dev/null", 0);
    }
    LoadOSSDK((OwnDirectory() + "/../../examples/ossdk").c_str()); // none there: the library looks elsewhere
}
