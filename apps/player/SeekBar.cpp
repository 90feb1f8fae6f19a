#include "SeekBar.h"

#include "HostTools.h"

#include <QFontMetrics>
#include <QPainter>
#include <QTimerEvent>

#include <algorithm>
#include <cmath>

namespace
{

constexpr int RefreshMs = 100;
constexpr int BriefMs = 1500;
constexpr int Margin = 10;
const QColor Accent(255, 196, 64);

} // namespace

QString ClockText(double seconds, bool withHundredths)
{
    const auto hundredths = static_cast<long long>(std::floor(seconds * 100.0 + 0.5));
    const long long whole = hundredths / 100;
    QString text = whole >= 3600
                       ? QString::asprintf("%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60, whole % 60)
                       : QString::asprintf("%lld:%02lld", whole / 60, whole % 60);
    if (withHundredths) {
        text += QString::asprintf(".%02lld", hundredths % 100);
    }
    return text;
}

SeekBar::SeekBar(QWidget* view) : QWidget(view)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    view->setMouseTracking(true);
    hide();
}

void SeekBar::SetDuration(double seconds)
{
    m_duration = seconds;
    if (seconds <= 0.0) {
        hide();
    }
}

void SeekBar::FollowView()
{
    const QSize view = parentWidget()->size();
    setFont(LegibleFont(*parentWidget(), view));
    const int height = fontMetrics().height() * 2;
    setGeometry(0, view.height() - height, view.width(), height);
}

void SeekBar::ShowBriefly()
{
    Appear();
    m_brief.start(BriefMs, this);
}

// Twice its own height, but never most of a small view.
bool SeekBar::IsNear(QPoint position) const
{
    const int view = parentWidget()->height();
    const int reach = std::min(2 * height(), view / 3);
    return m_duration > 0.0 && position.y() >= view - reach && position.y() < view;
}

void SeekBar::Appear()
{
    if (m_duration > 0.0) {
        FollowView();
        show();
        raise();
        update();
        m_refresh.start(RefreshMs, this);
    }
}

bool SeekBar::Press(QPoint position)
{
    if (!IsNear(position) || position.y() < parentWidget()->height() - height()) {
        return false;
    }
    m_dragged = true;
    Appear();
    Seek(position.x());
    return true;
}

bool SeekBar::Move(QPoint position, bool isPressed)
{
    if (m_dragged) {
        Seek(position.x());
        return true;
    }
    m_isNear = !isPressed && IsNear(position);
    if (m_isNear) {
        Appear();
    } else if (!m_brief.isActive()) {
        hide();
    }
    return false;
}

bool SeekBar::Release(QPoint position)
{
    if (!m_dragged) {
        return false;
    }
    m_dragged = false;
    m_isNear = IsNear(position);
    ShowBriefly();
    return true;
}

void SeekBar::Leave()
{
    m_isNear = false;
    if (!m_dragged && !m_brief.isActive()) {
        hide();
    }
}

// Left of the text that gives position and duration.
QRect SeekBar::Line() const
{
    const QString widest = ClockText(m_duration) + QStringLiteral(" / ") + ClockText(m_duration);
    const int text = fontMetrics().horizontalAdvance(widest);
    return rect().adjusted(Margin, 0, -(text + 2 * Margin), 0);
}

void SeekBar::Seek(int x)
{
    const QRect line = Line();
    const double fraction = static_cast<double>(x - line.left()) / std::max(1, line.width());
    m_target = std::clamp(fraction, 0.0, 1.0) * m_duration;
    if (Sought) {
        Sought(m_target);
    }
    update();
}

void SeekBar::timerEvent(QTimerEvent* event)
{
    if (event->timerId() == m_brief.timerId()) {
        m_brief.stop();
        setVisible(m_dragged || m_isNear);
    } else if (isVisible()) {
        update();
    } else {
        m_refresh.stop();
    }
}

void SeekBar::paintEvent(QPaintEvent*)
{
    const double position = m_dragged || !Position ? m_target : std::min(Position(), m_duration);
    const QRectF line = Line();
    const double middle = height() * 0.55;
    const double thickness = std::max(3.0, height() / 8.0);
    const double knob = line.left() + line.width() * position / m_duration;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient shade(0, 0, 0, height());
    shade.setColorAt(0.0, QColor(0, 0, 0, 0));
    shade.setColorAt(0.5, QColor(0, 0, 0, 150));
    shade.setColorAt(1.0, QColor(0, 0, 0, 200));
    painter.fillRect(rect(), shade);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(255, 255, 255, 90));
    painter.drawRoundedRect(QRectF(line.left(), middle - thickness / 2, line.width(), thickness),
                            thickness / 2, thickness / 2);
    painter.setBrush(Accent);
    painter.drawRoundedRect(QRectF(line.left(), middle - thickness / 2, knob - line.left(), thickness),
                            thickness / 2, thickness / 2);
    painter.drawEllipse(QPointF(knob, middle), thickness * 1.3, thickness * 1.3);
    painter.setPen(QColor(235, 238, 242));
    const QRectF text(line.right() + Margin, middle - height() / 2.0, width() - line.right() - 2 * Margin,
                      height());
    painter.drawText(text, Qt::AlignRight | Qt::AlignVCenter,
                     ClockText(position) + QStringLiteral(" / ") + ClockText(m_duration));
}
