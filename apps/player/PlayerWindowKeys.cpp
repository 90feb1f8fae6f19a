// What the keys do, as PlayerKeys lists them.
#include "PlayerKeys.h"
#include "PlayerWindow.h"

#include <QKeyEvent>

namespace
{

constexpr int AnswerMs = 120;
constexpr double SeekSeconds = 5.0;

} // namespace

void PlayerWindow::keyPressEvent(QKeyEvent* event)
{
    const int key = event->key();
    const bool shift = event->modifiers().testFlag(Qt::ShiftModifier);
    if (event->modifiers().testFlag(Qt::ControlModifier) && key == Qt::Key_O) {
        AskForFiles(this, [this](const QStringList& files) { Open(files); });
        return;
    }
    const bool isForTile =
        !m_tiles.empty() && (RunTimeKey(key, event->isAutoRepeat()) || RunTileKey(key, shift));
    if (!isForTile && !RunKey(key)) {
        QWidget::keyPressEvent(event);
        return;
    }
    UpdateStatus();
    QTimer::singleShot(AnswerMs, this, [this] { UpdateStatus(); }); // what the decoder thread made of it
}

bool PlayerWindow::RunTimeKey(int key, bool isRepeat)
{
    switch (key) {
    case Qt::Key_Space:
        Selected().TogglePause();
        return true;
    case Qt::Key_Left:
        Selected().SeekBy(-SeekSeconds);
        return true;
    case Qt::Key_Right:
        Selected().SeekBy(SeekSeconds);
        return true;
    case Qt::Key_Period:
        Selected().Step(1, isRepeat);
        return true;
    case Qt::Key_Comma:
        Selected().Step(-1, isRepeat);
        return true;
    case Qt::Key_BracketLeft:
        Selected().ChangeSpeed(-1);
        return true;
    case Qt::Key_BracketRight:
        Selected().ChangeSpeed(1);
        return true;
    case Qt::Key_Backspace:
        Selected().ChangeSpeed(0);
        return true;
    default:
        return false;
    }
}

bool PlayerWindow::RunTileKey(int key, bool shift)
{
    const size_t count = m_tiles.size();
    switch (key) {
    case Qt::Key_N:
        ShowAlone((m_selected + 1) % count);
        return true;
    case Qt::Key_P:
        ShowAlone((m_selected + count - 1) % count);
        return true;
    case Qt::Key_G:
        ShowGrid();
        for (PlayerTile* tile : m_tiles) {
            tile->SetAsleep(false);
        }
        Select(m_selected);
        return true;
    case Qt::Key_R:
        Selected().Turn(shift ? -1 : 1);
        return true;
    case Qt::Key_M:
        Selected().NextMirror();
        return true;
    case Qt::Key_A:
        Selected().ToggleRatio();
        return true;
    case Qt::Key_Z:
        Selected().ResetZoom();
        return true;
    case Qt::Key_O:
        Selected().ToggleOverlay();
        return true;
    default:
        return false;
    }
}

bool PlayerWindow::RunKey(int key)
{
    switch (key) {
    case Qt::Key_F:
        ToggleFullScreen();
        return true;
    case Qt::Key_S:
        SavePictureHere();
        return true;
    case Qt::Key_H:
        m_keys->Toggle();
        return true;
    case Qt::Key_Escape:
        if (isFullScreen()) {
            showNormal();
            return true;
        }
        close();
        return true;
    case Qt::Key_Q:
        close();
        return true;
    default:
        return false;
    }
}
