#include "WallWindow.h"

#include "ViewState.h"

#include <QEvent>
#include <QFile>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QVBoxLayout>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace
{

constexpr int StatisticsIntervalMs = 1000;
constexpr int CaptionWidth = 150;
constexpr int CaptionMiddle = 8;

} // namespace

tagOvelDrawCallback TileCaption::Payload()
{
    return {&TileCaption::Draw, this};
}

void TileCaption::SetText(const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_label = {};
    m_label.iGraphType = OVEL_GRAPH_TEXT;
    m_label.uiColor = 0xffffffU;
    m_label.iFontSize = 8;
    m_label.iTextCode = OVEL_TEXT_UTF8;
    m_label.iPointNum = 2;
    m_label.stPoint[0] = {0, CaptionMiddle}; // the renderer adds 11 pixels above and below
    m_label.stPoint[1] = {CaptionWidth, CaptionMiddle};
    std::memcpy(m_label.szText, bytes.constData(), std::min<size_t>(static_cast<size_t>(bytes.size()), 135));
    // Labels have no background of their own: a thick dark line.
    m_plate = m_label;
    m_plate.iGraphType = OVEL_GRAPH_POLYLINE;
    m_plate.uiColor = 0;
    m_plate.iFontSize = 2 * CaptionMiddle;
}

int TileCaption::Draw(int, __tagQDrawCallbackInfo* info, int, void* user)
{
    auto* caption = static_cast<TileCaption*>(user);
    if (caption->Boxes) {
        caption->Boxes->Draw(*info);
    }
    const std::lock_guard<std::mutex> lock(caption->m_mutex);
    if (caption->m_label.szText[0] != '\0') {
        info->pfnDrawToRender(&caption->m_label, sizeof(caption->m_label), info->pRender);
        info->pfnDrawToRender(&caption->m_plate, sizeof(caption->m_plate), info->pRender);
    }
    caption->m_loss.Send(*info);
    return 0;
}

WallWindow::WallWindow(int tiles, QSize size, bool nativeTiles)
    : m_columns(GridColumns(tiles)), m_nativeTiles(nativeTiles), m_grid(new QGridLayout), m_status(new QLabel)
{
    QPalette colours = palette();
    colours.setColor(QPalette::Window, QColor(16, 20, 26));
    colours.setColor(QPalette::WindowText, QColor(206, 212, 220));
    setPalette(colours);
    setWindowTitle(QStringLiteral("wall"));
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addLayout(m_grid, 1);
    column->addWidget(m_status);
    m_grid->setSpacing(2);
    m_status->setContentsMargins(10, 5, 10, 5);
    QObject::connect(&m_timer, &QTimer::timeout, this, [this] { UpdateStatistics(); });
    resize(size);
}

WallWindow::~WallWindow()
{
    m_pool.Stop();
    for (const Tile& tile : m_tiles) {
        if (tile.Live) {
            tile.Live->Stop();
        }
    }
    for (Tile& tile : m_tiles) {
        tile.Live.reset();
        Ovel_Release(tile.Renderer);
    }
}

WallWindow::Tile* WallWindow::AddTile(const QString& name)
{
    int type = OVEL_RENDER_FULL;
    void* renderer = Ovel_CreateEx(&type, sizeof(type));
    if (renderer == nullptr) {
        return nullptr;
    }
    auto* view = static_cast<QWidget*>(renderer);
    Tile tile{name, renderer, view};
    tile.Counter = new FrameCounter(view);
    tile.Caption = std::make_unique<TileCaption>();
    if (m_tiles.size() < m_boards.size()) {
        tile.Caption->Boxes = m_boards[m_tiles.size()];
    }
    tagOvelDrawCallback callback = tile.Caption->Payload();
    Ovel_SetParam(renderer, OVELCMD_SET_DRAW_CALLBACK, &callback, sizeof(callback));
    view->installEventFilter(this);
    if (m_nativeTiles) {
        view->setAttribute(Qt::WA_DontCreateNativeAncestors);
        view->setAttribute(Qt::WA_NativeWindow);
    }
    const int cell = static_cast<int>(m_tiles.size());
    m_grid->addWidget(view, cell / m_columns, cell % m_columns);
    m_tiles.push_back(std::move(tile));
    return &m_tiles.back();
}

bool WallWindow::Add(const QString& name, std::unique_ptr<VideoSource> file)
{
    Tile* tile = AddTile(name);
    if (tile != nullptr) {
        tile->Facts = file->Facts();
        m_pool.Add(tile->Renderer, *tile->Counter, std::move(file), OnFactsChanged(m_tiles.size() - 1));
    }
    return tile != nullptr;
}

bool WallWindow::AddLive(const QString& url, const LiveOptions& options)
{
    Tile* tile = AddTile(url);
    if (tile != nullptr) {
        tile->Waiting = options;
    }
    return tile != nullptr;
}

// For the thread that hands its pictures over.
std::function<void(const VideoFacts&)> WallWindow::OnFactsChanged(size_t index)
{
    return [this, index](const VideoFacts& facts) {
        QMetaObject::invokeMethod(
            this,
            [this, index, facts] {
                m_tiles[index].Facts = facts;
                Place(m_tiles[index]);
            },
            Qt::QueuedConnection);
    };
}

// Once all renderers stand; how many there are.
int WallWindow::StartLive()
{
    int count = 0;
    for (size_t index = 0; index < m_tiles.size(); ++index) {
        Tile& tile = m_tiles[index];
        if (!tile.Waiting) {
            continue;
        }
        tile.Live = std::make_unique<LiveStream>(tile.Renderer, QFile::encodeName(tile.Name).toStdString(),
                                                 *tile.Waiting, *tile.Counter, tile.Caption->Loss(),
                                                 OnFactsChanged(index));
        ++count;
    }
    return count;
}

void WallWindow::SetBoxes(std::unique_ptr<BoxFeed> boxes, int tiles)
{
    m_boxes = std::move(boxes);
    m_boards =
        m_boxes->MakeBoards(std::vector<double>(static_cast<size_t>(tiles), VideoFacts{}.FramesPerSecond));
}

void WallWindow::Begin(int threads, double seconds, const QString& picture)
{
    show();
    const int live = StartLive();
    const int forFiles = std::min(threads, static_cast<int>(m_tiles.size()) - live);
    m_pool.Start(forFiles);
    m_threads = live + forFiles;
    m_timer.start(StatisticsIntervalMs);
    UpdateStatistics();
    if (seconds > 0.0) {
        QTimer::singleShot(static_cast<int>(seconds * 1000.0), this, [this, picture] { Finish(picture); });
    }
}

// Upright and in its proportions, as the file says.
void WallWindow::Place(const Tile& tile)
{
    ViewState state;
    state.QuarterTurns = tile.Facts.View.QuarterTurns;
    state.Mirror = tile.Facts.View.Mirror;
    if (tile.Facts.Width == 0 || tile.View->size().isEmpty()) {
        return; // once there is a picture, and a place for it
    }
    const QSizeF display(tile.Facts.Width * tile.Facts.PixelAspect, tile.Facts.Height);
    tagOvelVideoRotate turn = state.RotatePayload();
    tagQRECT place = state.Destination(tile.View->size(), display);
    Ovel_SetParam(tile.Renderer, OVELCMD_SET_VIDEO_ROTATE, &turn, sizeof(turn));
    Ovel_SetParam(tile.Renderer, OVELCMD_SET_DRAW_DST_RECT, &place, sizeof(place));
    if (tile.Caption->Boxes) {
        tile.Caption->Boxes->SetRate(tile.Facts.FramesPerSecond);
        tile.Caption->Boxes->SetView(state, tile.View->size());
    }
}

void WallWindow::Enlarge(const QWidget* view)
{
    m_enlarged = !m_enlarged;
    for (const Tile& tile : m_tiles) {
        tile.View->setVisible(!m_enlarged || tile.View == view);
    }
}

void WallWindow::WriteStatistics()
{
    std::vector<TileFigures> figures;
    for (const Tile& tile : m_tiles) {
        figures.push_back({tile.Name, tile.Counter, tile.Live.get()});
    }
    m_record.Write(figures);
}

void WallWindow::UpdateStatistics()
{
    WriteStatistics();
    m_meter.SampleMemory();
    double rate = 0.0;
    qint64 dropped = 0;
    int number = 0;
    for (const Tile& tile : m_tiles) {
        const double own = tile.Counter->Rate();
        rate += own;
        dropped += tile.Counter->DroppedSoFar();
        tile.Caption->SetText(QStringLiteral(" %1   %2 fps   %3 dropped")
                                  .arg(++number)
                                  .arg(own, 0, 'f', 0)
                                  .arg(tile.Counter->DroppedSoFar()));
    }
    m_status->setText(QStringLiteral("%1 tiles    %2 decoder threads    %3 fps    dropped %4    CPU %5 %    "
                                     "click: enlarge a tile, F: full screen, Q: quit")
                          .arg(m_tiles.size())
                          .arg(m_threads)
                          .arg(rate, 0, 'f', 0)
                          .arg(dropped)
                          .arg(m_meter.CpuPercent(), 0, 'f', 0));
}

bool WallWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::MouseButtonPress) {
        Enlarge(static_cast<QWidget*>(watched));
        return true;
    }
    if (event->type() == QEvent::Resize) {
        const auto found = std::find_if(m_tiles.begin(), m_tiles.end(),
                                        [watched](const Tile& tile) { return tile.View == watched; });
        if (found != m_tiles.end()) {
            Place(*found);
        }
    }
    return QWidget::eventFilter(watched, event);
}

void WallWindow::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    m_status->setFont(LegibleFont(*this, size()));
}

void WallWindow::keyPressEvent(QKeyEvent* event)
{
    const int key = event->key();
    if (key == Qt::Key_F || (key == Qt::Key_Escape && isFullScreen())) {
        setWindowState(windowState() ^ Qt::WindowFullScreen);
    } else if (key == Qt::Key_Q || key == Qt::Key_Escape) {
        close();
    }
}

void WallWindow::Finish(const QString& picture)
{
    m_timer.stop(); // making the picture is no part of what is measured
    CloseWithPicture(this, picture);
}

void WallWindow::PrintReport() const
{
    qint64 shown = 0;
    qint64 dropped = 0;
    qint64 least = m_tiles.empty() ? 0 : m_tiles.front().Counter->Shown();
    for (const Tile& tile : m_tiles) {
        shown += tile.Counter->Shown();
        dropped += tile.Counter->DroppedSoFar();
        least = std::min(least, tile.Counter->Shown());
    }
    std::printf("%zu %s tiles on %d decoder threads, the slowest showed %lld frames\n", m_tiles.size(),
                m_nativeTiles ? "native" : "shared", m_threads, static_cast<long long>(least));
    std::printf("%s\n", qPrintable(RunReport(shown, dropped, m_meter)));
}
