#include "BoxLine.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

namespace
{

constexpr double MostSeconds = 1e7; // of a video; picture numbers stay far from their limit
constexpr int MostTiles = 1000;

bool ReadSeconds(const QJsonValue& value, double& seconds)
{
    seconds = value.toDouble(-1.0);
    return seconds >= 0.0 && seconds <= MostSeconds;
}

// What lies outside the picture is cut off; nothing may be left.
bool ReadPlace(const QJsonValue& value, QRectF& place)
{
    const QJsonArray numbers = value.toArray();
    double fraction[4] = {};
    for (int i = 0; i < 4; ++i) {
        fraction[i] = numbers.at(i).toDouble(std::nan(""));
        if (!(std::abs(fraction[i]) <= MostSeconds)) {
            return false;
        }
    }
    place = QRectF(fraction[0], fraction[1], fraction[2], fraction[3]) & QRectF(0.0, 0.0, 1.0, 1.0);
    return numbers.size() == 4 && fraction[2] > 0.0 && fraction[3] > 0.0;
}

} // namespace

bool ReadBoxLine(const QByteArray& text, BoxLine& line, QString& reason)
{
    const QJsonDocument document = QJsonDocument::fromJson(text);
    if (!document.isObject()) {
        reason = QStringLiteral("no JSON object");
        return false;
    }
    const QJsonObject object = document.object();
    const auto value = [&object](const char* name) { return object.value(QLatin1String(name)); };
    line = BoxLine();
    double seconds = 0.0;
    QRectF place;
    const double tile = value("tile").toDouble(value("tile").isUndefined() ? 1.0 : 0.0);
    if (!(tile >= 1.0 && tile <= MostTiles) || tile != std::floor(tile)) {
        reason = QStringLiteral("its tile is no number from 1 on");
    } else if (!value("time").isUndefined() && !ReadSeconds(value("time"), seconds)) {
        reason = QStringLiteral("its time is no number of seconds");
    } else if (!value("stays").isUndefined() && !ReadSeconds(value("stays"), line.Stays)) {
        reason = QStringLiteral("what it says for stays is no number of seconds");
    } else if (!value("box").isUndefined() && !ReadPlace(value("box"), place)) {
        reason = QStringLiteral("its box is no [x, y, width, height]");
    } else if (!value("label").isUndefined() && !value("label").isString()) {
        reason = QStringLiteral("its label is no text");
    } else if (!value("colour").isUndefined() && !QColor::isValidColor(value("colour").toString())) {
        reason = QStringLiteral("its colour is none");
    } else {
        line.Tile = static_cast<int>(tile);
        line.Label = value("label").toString().simplified();
        if (!value("time").isUndefined()) {
            line.Time = seconds;
        }
        if (!value("box").isUndefined()) {
            line.Place = place;
        }
        if (!value("colour").isUndefined()) {
            line.Color = QColor(value("colour").toString());
        }
        return true;
    }
    return false;
}
