#include "RubberBand.h"

#include <QPainter>

RubberBand::RubberBand(QWidget* parent) : QWidget(parent)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    hide();
}

void RubberBand::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), QColor(255, 196, 64, 50));
    painter.setPen(QPen(QColor(0, 0, 0, 180), 3));
    painter.drawRect(rect().adjusted(1, 1, -2, -2));
    painter.setPen(QPen(QColor(255, 196, 64), 1));
    painter.drawRect(rect().adjusted(1, 1, -2, -2));
}
