// One video window: renderer, decoder thread, view and mouse.
#pragma once

#include "BoxBoard.h"
#include "LiveStream.h"
#include "LossLabel.h"
#include "OverlayScene.h"
#include "PlaybackThread.h"
#include "PlayerFiles.h"
#include "StatisticsFile.h"
#include "ViewState.h"

#include <QPoint>
#include <QWidget>

#include <functional>

class QMouseEvent;
class SeekBar;

class PlayerTile : public QWidget
{
public:
    PlayerTile(int rendererType, OpenedFile&& file);
    ~PlayerTile() override;

    bool IsReady() const { return m_renderer != nullptr; }
    double FramesPerSecond() const { return m_facts.FramesPerSecond; }
    void SetBoxes(std::shared_ptr<BoxBoard> boxes, bool withScene); // before overlays are on
    void Start(bool once);

    std::function<void()> Clicked;
    std::function<void()> DoubleClicked;

    void SetSelected(bool selected);
    void TogglePause();
    void SetAsleep(bool asleep); // not shown at the moment: no need to decode
    void SeekBy(double seconds);
    void Step(int pictures, bool isRepeat); // pauses
    void ChangeSpeed(int rungs);            // up or down; 0: as the file says
    void Turn(int quarters);
    void NextMirror();
    void ToggleRatio();
    void ResetZoom();
    void ToggleOverlay();

    QString Name() const;
    QString TitleText() const;
    bool IsPaused() const { return m_paused; }
    QString StatusText();
    QString SummaryText() const;
    TileFigures Figures() const;
    qint64 Shown() const { return m_counter->Shown(); }
    qint64 Dropped() const { return m_counter->DroppedSoFar(); }

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    static constexpr int NormalSpeed = 3; // rung of the ladder

    void PauseThreads();
    void StandUpright();
    void OnFactsChanged(const VideoFacts& facts);
    void OnBroke(const std::string& damage);
    static int Draw(int reserved, __tagQDrawCallbackInfo* info, int length, void* user);
    void OnBoxes();
    void GiveView();
    void ApplyGeometry();
    void ApplyZoom();
    void ApplyView();
    QString PlaceText() const;
    QString MotionText() const;
    QPointF Fraction(QPointF position) const;
    void PressAt(const QMouseEvent& event);
    void DragTo(const QMouseEvent& event);
    void ReleaseAt(const QMouseEvent& event);

    const QString m_file;
    const LiveOptions m_liveOptions;
    const bool m_isLive;
    const bool m_canTurn;                         // the sub-image renderer always fills the tile upright
    std::unique_ptr<VideoSource> m_waitingSource; // until Start
    VideoFacts m_facts;
    void* m_renderer = nullptr;
    QWidget* m_view = nullptr; // the renderer as a widget
    FrameCounter* m_counter = nullptr;
    QWidget* m_band = nullptr; // the rectangle being dragged
    QPoint m_dragFrom;
    bool m_dragging = false;
    ViewState m_state;
    OverlayScene m_scene;
    bool m_hasScene = true;
    std::shared_ptr<BoxBoard> m_boxes; // may be null
    LossLabel m_loss;
    std::atomic<bool> m_overlay{false};
    bool m_paused = false;
    int m_speed = NormalSpeed;
    SeekBar* m_seekBar = nullptr;
    bool m_asleep = false;
    bool m_broke = false;
    std::unique_ptr<PlaybackThread> m_playback;
    std::unique_ptr<LiveStream> m_live; // null for files
};
