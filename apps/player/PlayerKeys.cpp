#include "PlayerKeys.h"

#include "ViewState.h"

#include <QPainter>

#include <algorithm>

const KeyHelp KeyHelpList[] = {
    {"Space", "pause and go on"},
    {"Left, Right", "five seconds back and forward"},
    {". and ,", "one picture forward and back, pauses"},
    {"[ and ]", "slower and faster, 0.25 to 4 times"},
    {"Backspace", "at the speed of the file again"},
    {"Lower edge", "a line to seek on: click or drag"},
    {"N, P", "next and previous file alone"},
    {"G", "all files side by side again"},
    {"R, Shift+R", "turn right, turn left"},
    {"M", "mirror: left and right, upside down, off"},
    {"A", "keep the proportions or fill the tile"},
    {"Wheel", "zoom at the pointer"},
    {"Drag", "zoom to the rectangle"},
    {"Z, right button", "whole picture again"},
    {"O", "overlays on and off"},
    {"F, double click", "full screen"},
    {"S", "save the window as a PNG here"},
    {"Ctrl+O", "open other files or lists; or drop them here"},
    {"H", "this list"},
    {"Q", "quit (also Esc)"},
};
const int KeyHelpCount = static_cast<int>(sizeof(KeyHelpList) / sizeof(KeyHelpList[0]));

namespace
{

constexpr double LargestLine = 1.6; // in the heights of the application's own
constexpr double Margin = 0.8;      // in the heights of a line
// In the heights of a letter.
constexpr double LoosestLine = 1.65;
constexpr double TightestLine = 1.2;
constexpr double PanelWidth = 38.0;
constexpr double KeyColumn = 11.0;

} // namespace

QString KeyListAsText()
{
    QString text =
        QStringLiteral("Keys act on the tile with the coloured frame (click another one to move it):");
    for (int line = 0; line < KeyHelpCount; ++line) {
        text += QString::asprintf("\n  %-16s %s", KeyHelpList[line].Key, KeyHelpList[line].Meaning);
    }
    return text;
}

KeyPanel::KeyPanel(QWidget* parent) : QWidget(parent)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    hide();
}

void KeyPanel::Toggle()
{
    setVisible(isHidden());
    Fit();
    raise();
}

// As large as letters of the application's size make it; closer, then smaller in a small window.
void KeyPanel::Fit()
{
    const QSizeF room = QSizeF(parentWidget()->size()) * 0.98;
    const double lines = KeyHelpCount + 2.0 * Margin;
    const double largest = LargestLine * fontMetrics().height() * LegibleScale(parentWidget()->size());
    m_line = std::min(largest, room.height() / lines);
    m_letter = std::min({largest / LoosestLine, m_line / TightestLine, room.width() / PanelWidth});
    resize(QSizeF(PanelWidth * m_letter, lines * m_line).toSize());
    move((parentWidget()->width() - width()) / 2, (parentWidget()->height() - height()) / 2);
}

void KeyPanel::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QColor(255, 255, 255, 60));
    painter.setBrush(QColor(14, 18, 24, 225));
    painter.drawRoundedRect(rect().adjusted(1, 1, -1, -1), m_line / 2, m_line / 2);
    QFont font = painter.font();
    font.setPixelSize(std::max(1, static_cast<int>(m_letter)));
    for (int line = 0; line < KeyHelpCount; ++line) {
        const double top = (Margin + line) * m_line;
        const double left = m_letter;
        const double meaning = left + KeyColumn * m_letter;
        font.setBold(true);
        painter.setFont(font);
        painter.setPen(QColor(255, 196, 64));
        painter.drawText(QRectF(left, top, meaning - left, m_line), Qt::AlignVCenter,
                         QLatin1String(KeyHelpList[line].Key));
        font.setBold(false);
        painter.setFont(font);
        painter.setPen(QColor(235, 238, 242));
        painter.drawText(QRectF(meaning, top, width() - meaning, m_line), Qt::AlignVCenter,
                         QLatin1String(KeyHelpList[line].Meaning));
    }
}
