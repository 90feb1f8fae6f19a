#include "PlayerWindow.h"

#include "PlayerKeys.h"
#include "SourceList.h"

#include <QDateTime>
#include <QDragEnterEvent>
#include <QFileInfo>
#include <QGridLayout>
#include <QLabel>
#include <QMimeData>
#include <QVBoxLayout>

#include <algorithm>
#include <cstdio>

namespace
{

constexpr int StatusIntervalMs = 500;
constexpr int RecordIntervalMs = 1000;
constexpr int NoticeMs = 3000;

} // namespace

PlayerWindow::PlayerWindow(const Options& options)
    : m_options(options), m_grid(new QGridLayout), m_status(new QLabel),
      m_hint(new QLabel(QStringLiteral("Drop video files here,\nor press Ctrl+O"))),
      m_keys(new KeyPanel(this))
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
    m_hint->setAlignment(Qt::AlignCenter);
    m_grid->addWidget(m_hint, 0, 0);
    m_grid->setSpacing(options.Bare ? 0 : 2);
    m_status->setVisible(!options.Bare);
    m_status->setContentsMargins(10, 5, 10, 5);
    m_status->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    QObject::connect(&m_statusTimer, &QTimer::timeout, this, [this] {
        m_cpuPercent = m_meter.CpuPercent();
        UpdateStatus();
    });
    QObject::connect(&m_recordTimer, &QTimer::timeout, this, [this] { WriteStatistics(); });
    setAcceptDrops(true);
    resize(options.WindowSize);
}

PlayerWindow::~PlayerWindow()
{
    RemoveTiles(); // before the layout that holds them
}

void PlayerWindow::RemoveTiles()
{
    for (PlayerTile* tile : m_tiles) {
        m_goneSummaries << tile->SummaryText();
        m_goneShown += tile->Shown();
        m_goneDropped += tile->Dropped();
        delete tile;
    }
    m_tiles.clear();
    m_selected = 0;
}

bool PlayerWindow::Add(OpenedFile file)
{
    const size_t index = m_tiles.size();
    const bool sub = m_options.Renderer == RendererChoice::Sub ||
                     (m_options.Renderer == RendererChoice::Mixed && index % 2 == 1);
    auto tile = std::make_unique<PlayerTile>(sub ? OVEL_RENDER_SUB_IMAGE : OVEL_RENDER_FULL, std::move(file));
    if (!tile->IsReady()) {
        return false;
    }
    if (m_options.Bare) {
        tile->layout()->setContentsMargins(0, 0, 0, 0);
    }
    tile->Clicked = [this, index] { Select(index); };
    tile->DoubleClicked = [this] { ToggleFullScreen(); };
    m_tiles.push_back(tile.release());
    return true;
}

bool PlayerWindow::Play(std::vector<OpenedFile> files)
{
    RemoveTiles();
    const bool isReady =
        std::all_of(files.begin(), files.end(), [this](OpenedFile& file) { return Add(std::move(file)); });
    m_hint->setVisible(m_tiles.empty());
    ShowGrid();
    GiveBoxes();
    for (PlayerTile* tile : m_tiles) {
        StartTile(*tile);
    }
    Select(0);
    return isReady;
}

void PlayerWindow::SetBoxes(std::unique_ptr<BoxFeed> boxes)
{
    m_boxes = std::move(boxes);
}

void PlayerWindow::GiveBoxes()
{
    if (!m_boxes) {
        return;
    }
    std::vector<double> rates;
    rates.reserve(m_tiles.size());
    for (const PlayerTile* tile : m_tiles) {
        rates.push_back(tile->FramesPerSecond());
    }
    const auto boards = m_boxes->MakeBoards(rates);
    for (size_t index = 0; index < m_tiles.size(); ++index) {
        m_tiles[index]->SetBoxes(boards[index], m_options.Overlay);
    }
}

void PlayerWindow::StartTile(PlayerTile& tile)
{
    if (m_options.Overlay || m_boxes) {
        tile.ToggleOverlay();
    }
    tile.Start(m_options.Once);
}

// What cannot be played changes nothing.
void PlayerWindow::Open(const QStringList& files)
{
    QStringList sources;
    QStringList problems;
    QString reason;
    if (!ExpandSources(files, sources, reason)) {
        problems << reason;
    }
    std::vector<OpenedFile> opened = OpenFiles(sources, m_options, problems);
    for (const QString& problem : problems) {
        std::fprintf(stderr, "player: %s\n", qPrintable(problem));
    }
    if (!opened.empty() && !Play(std::move(opened))) {
        problems << QStringLiteral("the library gave no renderer");
    }
    if (!problems.isEmpty()) {
        Say(problems.first());
    }
}

void PlayerWindow::Begin()
{
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
    if (!m_tiles.empty()) {
        Selected().SetSelected(false);
        m_selected = tile;
        Selected().SetSelected(m_tiles.size() > 1 && !m_alone);
    }
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
    QString status;
    if (m_tiles.empty()) {
        setWindowTitle(QStringLiteral("player"));
    } else {
        const QString title = Selected().TitleText();
        setWindowTitle(title + QStringLiteral(" - player"));
        status =
            Selected().StatusText() + QStringLiteral("    CPU %1 %    H: keys").arg(m_cpuPercent, 0, 'f', 0);
        const int room = m_status->contentsRect().width();
        status = m_status->fontMetrics().horizontalAdvance(status) > room ? title : status;
    }
    const bool isNotice = !m_notice.isEmpty() && m_noticeAge.elapsed() < NoticeMs;
    m_status->setText(isNotice ? m_notice : status);
}

void PlayerWindow::dragEnterEvent(QDragEnterEvent* event)
{
    if (!FilesOf(*event->mimeData()).isEmpty()) {
        event->acceptProposedAction();
    }
}

void PlayerWindow::dropEvent(QDropEvent* event)
{
    Open(FilesOf(*event->mimeData()));
    event->acceptProposedAction();
}

void PlayerWindow::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    const QFont letters = LegibleFont(*this, size());
    m_status->setFont(letters);
    m_hint->setFont(letters);
    m_keys->Fit();
}

bool PlayerWindow::RecordStatistics(const QString& file)
{
    if (!m_record.Open(file)) {
        return false;
    }
    m_recordTimer.start(RecordIntervalMs);
    return true;
}

void PlayerWindow::WriteStatistics()
{
    std::vector<TileFigures> figures;
    for (const PlayerTile* tile : m_tiles) {
        figures.push_back(tile->Figures());
    }
    m_record.Write(figures);
}

void PlayerWindow::Finish()
{
    m_statusTimer.stop(); // making the picture is no part of what is measured
    CloseWithPicture(this, m_options.Picture);
}

void PlayerWindow::PrintReport() const
{
    qint64 shown = m_goneShown;
    qint64 dropped = m_goneDropped;
    for (const QString& summary : m_goneSummaries) {
        std::printf("%s\n", qPrintable(summary));
    }
    for (const PlayerTile* tile : m_tiles) {
        std::printf("%s\n", qPrintable(tile->SummaryText()));
        shown += tile->Shown();
        dropped += tile->Dropped();
    }
    std::printf("%s\n", qPrintable(RunReport(shown, dropped, m_meter)));
}
