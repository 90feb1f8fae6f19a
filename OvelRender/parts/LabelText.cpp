#include "LabelText.h"

#include <QDebug>
#include <QTextCodec>

#include <algorithm>
#include <cstring>

namespace
{

constexpr int DefaultFontSize = 50;
constexpr int LargestFontSize = 999; // beyond it a single glyph takes more memory than a screen
constexpr int LabelMargin = 11;
constexpr int64_t FarthestCoordinate = 1 << 23; // Qt's limit for widgets is twice that

int Bounded(int64_t coordinate)
{
    return static_cast<int>(std::clamp(coordinate, -FarthestCoordinate, FarthestCoordinate));
}

} // namespace

void PullBelowTop(__tagQDrawGraphInfo& record)
{
    const int64_t top = record.stPoint[0].y;
    if (record.iPointNum < 2 || top >= 0) {
        return;
    }
    record.stPoint[1].y = static_cast<int>(std::min<int64_t>(record.stPoint[1].y - top, INT32_MAX));
    record.stPoint[0].y = 0;
}

bool TakesLabel(const __tagQDrawGraphInfo& record)
{
    return record.iGraphType == OVEL_GRAPH_TEXT && record.szText[0] != '\0';
}

QRect LabelGeometry(const __tagQDrawGraphInfo& record)
{
    const int64_t left = record.stPoint[0].x;
    const int64_t top = record.stPoint[0].y;
    return {Bounded(left), Bounded(top - LabelMargin), Bounded(record.stPoint[1].x - left),
            Bounded(record.stPoint[1].y - top + int64_t{2} * LabelMargin)};
}

QString LabelText(const __tagQDrawGraphInfo& record)
{
    const size_t length = strnlen(record.szText, sizeof(record.szText));
    const QByteArray bytes(record.szText, static_cast<int>(length));
    QString text;
    if (record.iTextCode == OVEL_TEXT_GBK) {
        if (const QTextCodec* codec = QTextCodec::codecForName("GBK")) {
            text = codec->toUnicode(bytes);
        }
    } else if (record.iTextCode == OVEL_TEXT_UTF8) {
        text = QString::fromUtf8(bytes);
    } else {
        text = QString::fromLocal8Bit(bytes);
    }
    // A text that fills the field may end inside a character.
    if (length == sizeof(record.szText)) {
        while (text.endsWith(QChar::ReplacementCharacter)) {
            text.chop(1);
        }
    }
    return text;
}

QString LabelStyleSheet(quint32 color)
{
    return QStringLiteral("color: rgb(%1, %2, %3);background-color: rgb(0, 0, 0);")
        .arg(color & 0xFF)
        .arg((color >> 8) & 0xFF)
        .arg((color >> 16) & 0xFF);
}

int LabelFontSize(const __tagQDrawGraphInfo& record)
{
    return std::min(record.iFontSize <= 0 ? DefaultFontSize : record.iFontSize, LargestFontSize);
}

void WarnOfMissingFontSize()
{
    qDebug("CLS_ShaderBase::AddLabel Error:iFontSize <= 0");
}
