#include "PlayerTile.h"

#include "RubberBand.h"
#include "SeekBar.h"
#include "SourceList.h"

#include <QFile>
#include <QFileInfo>
#include <QVBoxLayout>

#include <algorithm>
#include <cstdio>

namespace
{

constexpr int FrameWidth = 2;
constexpr double Speeds[] = {0.25, 0.5, 0.75, 1.0, 1.25, 1.5, 2.0, 3.0, 4.0};
constexpr int SpeedCount = static_cast<int>(sizeof(Speeds) / sizeof(Speeds[0]));

template <typename Payload> int Command(void* renderer, int code, Payload payload)
{
    return Ovel_SetParam(renderer, code, &payload, sizeof(payload));
}

} // namespace

PlayerTile::PlayerTile(int rendererType, OpenedFile&& file)
    : m_file(std::move(file.Name)), m_liveOptions(file.Live), m_isLive(!file.Source),
      m_canTurn(rendererType != OVEL_RENDER_SUB_IMAGE), m_waitingSource(std::move(file.Source)),
      m_facts(m_isLive ? VideoFacts{} : m_waitingSource->Facts()),
      m_renderer(Ovel_CreateEx(&rendererType, sizeof(rendererType))),
      m_scene(QFileInfo(Name()).completeBaseName().left(20).toStdString(), m_facts.FramesPerSecond)
{
    if (m_renderer == nullptr) {
        return;
    }
    StandUpright();
    m_view = static_cast<QWidget*>(m_renderer);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(FrameWidth, FrameWidth, FrameWidth, FrameWidth);
    layout->addWidget(m_view);
    m_view->installEventFilter(this);
    m_counter = new FrameCounter(m_view);
    m_band = new RubberBand(m_view);
    m_seekBar = new SeekBar(m_view);
    m_seekBar->SetDuration(m_facts.Duration);
    m_seekBar->Position = [this] { return m_playback ? m_playback->Position() : 0.0; };
    m_seekBar->Sought = [this](double seconds) {
        m_broke = false;
        m_playback->SeekTo(seconds);
    };
    setAutoFillBackground(true);
    SetSelected(false);
}

PlayerTile::~PlayerTile()
{
    if (m_boxes) {
        m_boxes->OnChange(nullptr);
    }
    m_live.reset();
    m_playback.reset(); // no frame and no callback after this
    if (m_renderer != nullptr) {
        m_view->removeEventFilter(this);
        Ovel_Release(m_renderer);
    }
}

void PlayerTile::Start(bool once)
{
    PlaybackEvents events;
    events.FactsChanged = [this](const VideoFacts& facts) {
        QMetaObject::invokeMethod(
            this, [this, facts] { OnFactsChanged(facts); }, Qt::QueuedConnection);
    };
    events.Broke = [this](const std::string& damage) {
        QMetaObject::invokeMethod(
            this, [this, damage] { OnBroke(damage); }, Qt::QueuedConnection);
    };
    m_playback =
        std::make_unique<PlaybackThread>(m_renderer, std::move(m_waitingSource), *m_counter, once, events);
    if (m_isLive) {
        Command(m_renderer, OVELCMD_SET_DRAW_CALLBACK, tagOvelDrawCallback{&PlayerTile::Draw, this});
        m_live = std::make_unique<LiveStream>(m_renderer, QFile::encodeName(m_file).toStdString(),
                                              m_liveOptions, *m_counter, m_loss, events.FactsChanged);
    }
}

// As its tags say, whatever the user made of it.
void PlayerTile::StandUpright()
{
    if (m_canTurn) {
        m_state.QuarterTurns = m_facts.View.QuarterTurns;
        m_state.Mirror = m_facts.View.Mirror;
    }
}

void PlayerTile::OnFactsChanged(const VideoFacts& facts)
{
    const bool isTurned = !(facts.View == m_facts.View);
    m_facts = facts;
    if (isTurned) {
        StandUpright();
    }
    m_seekBar->SetDuration(m_isLive ? 0.0 : facts.Duration);
    if (m_boxes) {
        m_boxes->SetRate(facts.FramesPerSecond);
    }
    ApplyView();
}

void PlayerTile::OnBroke(const std::string& damage)
{
    m_broke = true;
    std::fprintf(stderr, "player: %s: no more pictures, %s\n", qPrintable(m_file), damage.c_str());
}

void PlayerTile::SetSelected(bool selected)
{
    QPalette colours = palette();
    colours.setColor(QPalette::Window, selected ? QColor(255, 196, 64) : QColor(16, 20, 26));
    setPalette(colours);
}

void PlayerTile::TogglePause()
{
    m_paused = !m_paused;
    PauseThreads();
}

void PlayerTile::PauseThreads()
{
    m_playback->SetPaused(m_paused || m_asleep);
    if (m_live) {
        m_live->SetPaused(m_paused || m_asleep);
    }
}

void PlayerTile::SetAsleep(bool asleep)
{
    m_asleep = asleep;
    PauseThreads();
}

void PlayerTile::SeekBy(double seconds)
{
    if (m_isLive) {
        return; // it is where it is
    }
    m_broke = false;
    m_playback->SeekBy(seconds);
    m_seekBar->ShowBriefly();
}

void PlayerTile::Step(int pictures, bool isRepeat)
{
    if (!m_paused) {
        TogglePause();
    }
    if (!m_isLive) {
        m_broke = false;
        m_playback->Step(pictures, isRepeat);
    }
}

void PlayerTile::ChangeSpeed(int rungs)
{
    m_speed = rungs == 0 || m_isLive ? NormalSpeed : std::clamp(m_speed + rungs, 0, SpeedCount - 1);
    m_playback->SetSpeed(Speeds[m_speed]);
}

void PlayerTile::Turn(int quarters)
{
    if (!m_canTurn) {
        return;
    }
    m_state.QuarterTurns = (m_state.QuarterTurns + quarters + 4) % 4;
    ApplyView();
}

void PlayerTile::NextMirror()
{
    if (!m_canTurn) {
        return;
    }
    m_state.Mirror = (m_state.Mirror + 1) % 3;
    ApplyView();
}

void PlayerTile::ToggleRatio()
{
    m_state.KeepRatio = !m_state.KeepRatio;
    ApplyView();
}

void PlayerTile::ResetZoom()
{
    m_state.ResetZoom();
    ApplyZoom();
}

void PlayerTile::ToggleOverlay()
{
    m_overlay = !m_overlay;
    if (m_isLive) {
        return; // its callback asks
    }
    if (m_overlay) {
        Command(m_renderer, OVELCMD_SET_DRAW_CALLBACK, tagOvelDrawCallback{&PlayerTile::Draw, this});
        if (m_playback) {
            m_playback->ShowAgain();
        }
    } else {
        Command(m_renderer, OVELCMD_SET_STOPDRAW_PARA, int32_t{1});
        Ovel_ClearDraw(m_renderer); // takes the callback away and keeps the picture
    }
}

void PlayerTile::SetBoxes(std::shared_ptr<BoxBoard> boxes, bool withScene)
{
    m_boxes = std::move(boxes);
    m_hasScene = withScene;
    m_boxes->OnChange([this] {
        QMetaObject::invokeMethod(
            this, [this] { OnBoxes(); }, Qt::QueuedConnection);
    });
}

// While playing the next picture brings them.
void PlayerTile::OnBoxes()
{
    if (m_overlay && m_paused && m_playback) {
        m_playback->ShowAgain();
    }
}

// On the thread that hands frames over, or on the GUI thread.
int PlayerTile::Draw(int, __tagQDrawCallbackInfo* info, int, void* user)
{
    auto* tile = static_cast<PlayerTile*>(user);
    if (tile->m_overlay && tile->m_boxes) {
        tile->m_boxes->Draw(*info);
    }
    if (tile->m_overlay && tile->m_hasScene) {
        tile->m_scene.Draw(*info);
    }
    tile->m_loss.Send(*info);
    return 0;
}

void PlayerTile::GiveView()
{
    m_scene.SetView(m_state, m_view->size());
    if (m_boxes) {
        m_boxes->SetView(m_state, m_view->size());
    }
}

// Computed here and given as a rectangle: exact to the pixel, also for turned and for oblong ones. Again
// after every resize and turn.
void PlayerTile::ApplyGeometry()
{
    const QSize view = m_view->size();
    const QSizeF display(m_facts.Width * m_facts.PixelAspect, m_facts.Height);
    const tagQRECT whole = {0, 0, view.width(), view.height()};
    if (!view.isEmpty()) {
        Command(m_renderer, OVELCMD_SET_DRAW_DST_RECT,
                m_state.KeepRatio ? m_state.Destination(view, display) : whole);
    }
}

void PlayerTile::ApplyView()
{
    Command(m_renderer, OVELCMD_SET_VIDEO_ROTATE, m_state.RotatePayload());
    ApplyGeometry();
    GiveView();
    if (m_overlay && m_paused && m_playback) {
        m_playback->ShowAgain(); // overlays lie where the last frame had them
    }
    m_view->update();
}

void PlayerTile::ApplyZoom()
{
    Command(m_renderer, OVELCMD_SET_EZOOM_AREA, m_state.Zoom);
    GiveView();
    if (m_overlay && m_paused) {
        m_playback->ShowAgain();
    }
}

QString PlayerTile::Name() const
{
    return NameOfSource(m_file);
}

QString PlayerTile::StatusText()
{
    QString text = QStringLiteral("%1    %2 × %3    %4 %5    %6 fps    dropped %7    %8")
                       .arg(Name())
                       .arg(m_facts.Width)
                       .arg(m_facts.Height)
                       .arg(QString::fromStdString(m_facts.Codec), QString::fromStdString(m_facts.Delivered))
                       .arg(m_counter->Rate(), 0, 'f', 1)
                       .arg(Dropped())
                       .arg(PlaceText());
    if (m_state.IsZoomed()) {
        text += QStringLiteral("    zoom %1×").arg(m_state.Magnification(), 0, 'f', 1);
    }
    return text + (m_broke ? QStringLiteral("    damaged") : MotionText());
}

// What fits a title and a narrow status line.
QString PlayerTile::TitleText() const
{
    return QStringLiteral("%1  %2%3").arg(Name(), PlaceText(), MotionText());
}

// Paused, the very picture counts.
QString PlayerTile::PlaceText() const
{
    if (m_live) {
        return NameOf(m_live->Figures().State);
    }
    const QString place = ClockText(m_playback->Position(), m_paused);
    return m_facts.Duration > 0.0 ? place + QStringLiteral(" / ") + ClockText(m_facts.Duration) : place;
}

QString PlayerTile::MotionText() const
{
    QString text = m_paused ? QStringLiteral("  paused") : QString();
    if (m_speed != NormalSpeed) {
        text += QStringLiteral("  speed %1").arg(Speeds[m_speed]);
    }
    return text;
}

TileFigures PlayerTile::Figures() const
{
    return {m_file, m_counter, m_live.get()};
}

QString PlayerTile::SummaryText() const
{
    return QStringLiteral("%1: %2 x %3, %4 as %5, %6 shown, %7 dropped")
        .arg(Name())
        .arg(m_facts.Width)
        .arg(m_facts.Height)
        .arg(QString::fromStdString(m_facts.Codec), QString::fromStdString(m_facts.Delivered))
        .arg(Shown())
        .arg(Dropped());
}
