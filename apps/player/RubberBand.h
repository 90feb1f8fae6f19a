// The rectangle that the mouse drags over a picture.
#pragma once

#include <QWidget>

// Visible on light and on dark pictures.
class RubberBand : public QWidget
{
public:
    explicit RubberBand(QWidget* parent);

protected:
    void paintEvent(QPaintEvent* event) override;
};
