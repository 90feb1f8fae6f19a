#include "PlayerWindow.h"

#include "PlayerKeys.h"

#include <QDateTime>
#include <QFileInfo>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QVBoxLayout>

#include <cstdio>

namespace
{

constexpr int StatusIntervalMs = 500;
constexpr int NoticeMs = 3000;
constexpr double SeekSeconds = 5.0;

} // namespace

PlayerWindow::PlayerWindow(const Options& options)
    : m_options(options), m_grid(new QGridLayout), m_status(new QLabel), m_keys(new KeyPanel(this))
{
    QPalette colours = palette();
    colours.setColor(QPalette::Window, QColor(16, 20, 26));
    colours.setColor(QPalette::WindowText, QColor(206, 212, 220));
    setPalette(colours);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addLayout(m_grid, 1);
    column->addWidget(m_status);
    m_grid->setSpacing(options.Bare ? 0 : 2);
    m_status->setVisible(!options.Bare);
    m_status->setContentsMargins(10, 5, 10, 5);
    m_status->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    QObject::connect(&m_statusTimer, &QTimer::timeout, this, [this] {
        m_cpuPercent = m_meter.CpuPercent();
        UpdateStatus();
    });
    resize(options.WindowSize);
}

PlayerWindow::~PlayerWindow()
{
    for (PlayerTile* tile : m_tiles) {
        delete tile; // before the layout that holds it
    }
}

bool PlayerWindow::Add(const QString& file, std::unique_ptr<VideoSource> source)
{
    const size_t index = m_tiles.size();
    const bool sub = m_options.Renderer == RendererChoice::Sub ||
                     (m_options.Renderer == RendererChoice::Mixed && index % 2 == 1);
    auto* tile = new PlayerTile(sub ? OVEL_RENDER_SUB_IMAGE : OVEL_RENDER_FULL, file, std::move(source));
    m_tiles.push_back(tile);
    if (m_options.Bare && tile->IsReady()) {
        tile->layout()->setContentsMargins(0, 0, 0, 0);
    }
    tile->Clicked = [this, index] { Select(index); };
    tile->DoubleClicked = [this] { ToggleFullScreen(); };
    return tile->IsReady();
}

void PlayerWindow::Begin()
{
    ShowGrid();
    for (PlayerTile* tile : m_tiles) {
        if (m_options.Overlay) {
            tile->ToggleOverlay();
        }
        tile->Start(m_options.Once);
    }
    Select(0);
    if (m_options.Keys) {
        m_keys->Toggle();
    }
    if (m_options.FullScreen) {
        showFullScreen();
    } else {
        show();
    }
    m_statusTimer.start(StatusIntervalMs);
    if (m_options.Seconds > 0.0) {
        QTimer::singleShot(static_cast<int>(m_options.Seconds * 1000.0), this, [this] { Finish(); });
    }
}

void PlayerWindow::Select(size_t tile)
{
    Selected().SetSelected(false);
    m_selected = tile;
    Selected().SetSelected(m_tiles.size() > 1 && !m_alone);
    setWindowTitle(Selected().Name() + QStringLiteral(" - player"));
    UpdateStatus();
}

void PlayerWindow::ShowGrid()
{
    m_alone = false;
    const int columns = GridColumns(static_cast<int>(m_tiles.size()));
    for (size_t index = 0; index < m_tiles.size(); ++index) {
        const int cell = static_cast<int>(index);
        m_grid->addWidget(m_tiles[index], cell / columns, cell % columns);
        m_tiles[index]->show();
    }
    m_keys->raise();
}

void PlayerWindow::ShowAlone(size_t shown)
{
    m_alone = m_tiles.size() > 1;
    for (size_t index = 0; index < m_tiles.size(); ++index) {
        m_tiles[index]->setVisible(index == shown);
        m_tiles[index]->SetAsleep(index != shown);
    }
    Select(shown);
}

void PlayerWindow::keyPressEvent(QKeyEvent* event)
{
    const bool shift = event->modifiers().testFlag(Qt::ShiftModifier);
    if (!RunViewKey(event->key(), shift) && !RunKey(event->key())) {
        QWidget::keyPressEvent(event);
        return;
    }
    UpdateStatus();
}

bool PlayerWindow::RunViewKey(int key, bool shift)
{
    switch (key) {
    case Qt::Key_Space:
        Selected().TogglePause();
        return true;
    case Qt::Key_Left:
        Selected().SeekBy(-SeekSeconds);
        return true;
    case Qt::Key_Right:
        Selected().SeekBy(SeekSeconds);
        return true;
    case Qt::Key_R:
        Selected().Turn(shift ? -1 : 1);
        return true;
    case Qt::Key_M:
        Selected().NextMirror();
        return true;
    case Qt::Key_A:
        Selected().ToggleRatio();
        return true;
    case Qt::Key_Z:
        Selected().ResetZoom();
        return true;
    case Qt::Key_O:
        Selected().ToggleOverlay();
        return true;
    default:
        return false;
    }
}

bool PlayerWindow::RunKey(int key)
{
    const size_t count = m_tiles.size();
    switch (key) {
    case Qt::Key_N:
        ShowAlone((m_selected + 1) % count);
        return true;
    case Qt::Key_P:
        ShowAlone((m_selected + count - 1) % count);
        return true;
    case Qt::Key_G:
        ShowGrid();
        for (PlayerTile* tile : m_tiles) {
            tile->SetAsleep(false);
        }
        Select(m_selected);
        return true;
    case Qt::Key_F:
        ToggleFullScreen();
        return true;
    case Qt::Key_S:
        SavePictureHere();
        return true;
    case Qt::Key_H:
        m_keys->Toggle();
        return true;
    case Qt::Key_Escape:
        if (isFullScreen()) {
            showNormal();
            return true;
        }
        close();
        return true;
    case Qt::Key_Q:
        close();
        return true;
    default:
        return false;
    }
}

void PlayerWindow::SavePictureHere()
{
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss-zzz"));
    const QString file = QFileInfo(QStringLiteral("player-%1.png").arg(stamp)).absoluteFilePath();
    const bool saved = SavePicture(this, file);
    Say(saved ? QStringLiteral("saved %1").arg(file) : QStringLiteral("cannot write %1").arg(file));
}

void PlayerWindow::ToggleFullScreen()
{
    if (isFullScreen()) {
        showNormal();
    } else {
        showFullScreen();
    }
}

void PlayerWindow::Say(const QString& notice)
{
    m_notice = notice;
    m_noticeAge.start();
    UpdateStatus();
}

void PlayerWindow::UpdateStatus()
{
    m_meter.SampleMemory();
    if (!m_notice.isEmpty() && m_noticeAge.elapsed() < NoticeMs) {
        m_status->setText(m_notice);
    } else {
        m_status->setText(Selected().StatusText() +
                          QStringLiteral("    CPU %1 %    H: keys").arg(m_cpuPercent, 0, 'f', 0));
    }
}

void PlayerWindow::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    m_keys->Centre();
}

void PlayerWindow::Finish()
{
    m_statusTimer.stop(); // making the picture is no part of what is measured
    CloseWithPicture(this, m_options.Picture);
}

void PlayerWindow::PrintReport() const
{
    qint64 shown = 0;
    qint64 dropped = 0;
    for (const PlayerTile* tile : m_tiles) {
        std::printf("%s\n", qPrintable(tile->SummaryText()));
        shown += tile->Shown();
        dropped += tile->Dropped();
    }
    std::printf("%s\n", qPrintable(RunReport(shown, dropped, m_meter)));
}
