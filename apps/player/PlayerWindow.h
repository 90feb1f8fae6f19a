// The player's window: a grid of tiles, the status line, the keys.
#pragma once

#include "HostTools.h"
#include "Options.h"
#include "PlayerTile.h"

#include <QTimer>
#include <QWidget>

#include <vector>

class KeyPanel;
class QGridLayout;
class QLabel;

class PlayerWindow : public QWidget
{
public:
    explicit PlayerWindow(const Options& options);
    ~PlayerWindow() override;

    // False when no renderer could be made.
    bool Add(const QString& file, std::unique_ptr<VideoSource> source);
    void Begin();
    void PrintReport() const;

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    PlayerTile& Selected() { return *m_tiles[m_selected]; }
    void Select(size_t tile);
    void ShowGrid();
    void ShowAlone(size_t tile);
    bool RunKey(int key);
    bool RunViewKey(int key, bool shift);
    void SavePictureHere();
    void ToggleFullScreen();
    void Say(const QString& notice);
    void UpdateStatus();
    void Finish();

    const Options m_options;
    ProcessMeter m_meter;
    std::vector<PlayerTile*> m_tiles; // owned by the window
    size_t m_selected = 0;
    bool m_alone = false;
    QGridLayout* m_grid;
    QLabel* m_status;
    KeyPanel* m_keys;
    QTimer m_statusTimer;
    QString m_notice;
    QElapsedTimer m_noticeAge;
    double m_cpuPercent = 0.0;
};
