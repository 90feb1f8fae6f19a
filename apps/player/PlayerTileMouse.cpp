// What the mouse does to a tile, and what follows from a view that changed its size.
#include "HostTools.h"
#include "PlayerTile.h"
#include "SeekBar.h"

#include <QMouseEvent>
#include <QWheelEvent>

#include <cmath>

namespace
{

constexpr int SmallestDrag = 8;

} // namespace

QPointF PlayerTile::Fraction(QPointF position) const
{
    return {position.x() / m_view->width(), position.y() / m_view->height()};
}

void PlayerTile::PressAt(const QMouseEvent& event)
{
    if (Clicked) {
        Clicked();
    }
    if (event.button() == Qt::RightButton) {
        ResetZoom();
    } else if (event.button() == Qt::LeftButton && !m_seekBar->Press(MousePosition(event).toPoint())) {
        m_dragging = true;
        m_dragFrom = MousePosition(event).toPoint();
    }
}

void PlayerTile::DragTo(const QMouseEvent& event)
{
    const bool isPressed = event.buttons() != Qt::NoButton;
    if (m_seekBar->Move(MousePosition(event).toPoint(), isPressed) || !m_dragging) {
        return;
    }
    const QRect dragged = QRect(m_dragFrom, MousePosition(event).toPoint()).normalized() & m_view->rect();
    m_band->setGeometry(dragged);
    m_band->setVisible(dragged.width() >= SmallestDrag || dragged.height() >= SmallestDrag);
    m_band->raise();
}

void PlayerTile::ReleaseAt(const QMouseEvent& event)
{
    if (event.button() != Qt::LeftButton || m_seekBar->Release(MousePosition(event).toPoint()) ||
        !m_dragging) {
        return;
    }
    m_dragging = false;
    if (m_band->isVisible()) {
        m_band->hide();
        const QRectF band(m_band->geometry());
        m_state.ZoomTo(QRectF(Fraction(band.topLeft()), Fraction(band.bottomRight())));
        ApplyZoom();
    }
}

bool PlayerTile::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::Resize:
        ApplyGeometry();
        GiveView();
        m_seekBar->FollowView();
        break;
    case QEvent::Leave:
        m_seekBar->Leave();
        break;
    case QEvent::MouseButtonPress:
        PressAt(*static_cast<QMouseEvent*>(event));
        return true;
    case QEvent::MouseMove:
        DragTo(*static_cast<QMouseEvent*>(event));
        return true;
    case QEvent::MouseButtonRelease:
        ReleaseAt(*static_cast<QMouseEvent*>(event));
        return true;
    case QEvent::MouseButtonDblClick:
        if (!m_seekBar->Press(MousePosition(*static_cast<QMouseEvent*>(event)).toPoint()) && DoubleClicked) {
            DoubleClicked();
        }
        return true;
    case QEvent::Wheel: {
        const auto* wheel = static_cast<QWheelEvent*>(event);
        m_state.ZoomAt(Fraction(wheel->position()), std::pow(1.2, wheel->angleDelta().y() / 120.0));
        ApplyZoom();
        event->accept();
        return true;
    }
    default:
        break;
    }
    return QWidget::eventFilter(watched, event);
}
