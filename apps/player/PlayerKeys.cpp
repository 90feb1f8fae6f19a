#include "PlayerKeys.h"

#include <QPainter>

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
    {"Ctrl+O", "open other files; or drop them on the window"},
    {"H", "this list"},
    {"Q", "quit (also Esc)"},
};
const int KeyHelpCount = static_cast<int>(sizeof(KeyHelpList) / sizeof(KeyHelpList[0]));

namespace
{

constexpr int LineHeight = 24;
constexpr int Padding = 22;
constexpr int PanelWidth = 500;
constexpr int KeyColumn = 150;

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
    resize(PanelWidth, KeyHelpCount * LineHeight + 2 * Padding);
    hide();
}

void KeyPanel::Toggle()
{
    setVisible(isHidden());
    Centre();
    raise();
}

void KeyPanel::Centre()
{
    move((parentWidget()->width() - width()) / 2, (parentWidget()->height() - height()) / 2);
}

void KeyPanel::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QColor(255, 255, 255, 60));
    painter.setBrush(QColor(14, 18, 24, 225));
    painter.drawRoundedRect(rect().adjusted(1, 1, -1, -1), 10, 10);
    QFont font = painter.font();
    font.setPointSize(11);
    for (int line = 0; line < KeyHelpCount; ++line) {
        const int top = Padding + line * LineHeight;
        font.setBold(true);
        painter.setFont(font);
        painter.setPen(QColor(255, 196, 64));
        painter.drawText(QRect(Padding, top, KeyColumn, LineHeight), Qt::AlignVCenter,
                         QLatin1String(KeyHelpList[line].Key));
        font.setBold(false);
        painter.setFont(font);
        painter.setPen(QColor(235, 238, 242));
        painter.drawText(QRect(Padding + KeyColumn, top, width() - 2 * Padding - KeyColumn, LineHeight),
                         Qt::AlignVCenter, QLatin1String(KeyHelpList[line].Meaning));
    }
}
