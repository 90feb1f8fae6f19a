// A thin line over the lower edge of a picture: where in the file it is, and a place to go elsewhere with the mouse.
#pragma once

#include <QBasicTimer>
#include <QString>
#include <QWidget>

#include <functional>

// 1:23, 1:02:03; with hundredths where the very picture counts.
QString ClockText(double seconds, bool withHundredths = false);

// A child of the view that it lies on. The view passes its mouse events on: what lies under a finger that was
// not there before must be found as well.
class SeekBar : public QWidget
{
public:
    explicit SeekBar(QWidget* view);

    std::function<double()> Position; // seconds
    std::function<void(double)> Sought;

    void SetDuration(double seconds); // 0: there is nothing to seek, it never shows
    void FollowView();                // after the view changed its size
    void ShowBriefly();               // after a seek by other means

    // Positions in the view. True when the event was the bar's.
    bool Press(QPoint position);
    bool Move(QPoint position, bool isPressed);
    bool Release(QPoint position);
    void Leave();
    bool IsDragged() const { return m_dragged; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    bool IsNear(QPoint position) const;
    void Appear();
    void Seek(int x);
    QRect Line() const;

    double m_duration = 0.0;
    double m_target = 0.0; // while dragged
    bool m_dragged = false;
    bool m_isNear = false;
    QBasicTimer m_refresh;
    QBasicTimer m_brief;
};
