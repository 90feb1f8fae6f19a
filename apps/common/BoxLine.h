// One line of what a detector says about a picture: a JSON object, described in docs/detections.md.
#pragma once

#include <QByteArray>
#include <QColor>
#include <QRectF>
#include <QString>

#include <optional>

struct BoxLine {
    int Tile = 1;                // counted from 1
    std::optional<double> Time;  // seconds after the first picture; none: of the newest one
    std::optional<QRectF> Place; // fractions of the picture, inside it; none: there is nothing
    QString Label;
    QColor Color{51, 255, 77};
    double Stays = 0.5; // seconds of the video
};

// False, with a reason of a few words, when it is no such line.
bool ReadBoxLine(const QByteArray& text, BoxLine& line, QString& reason);
