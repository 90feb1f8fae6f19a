// The player's window: a grid of tiles, the status line, the keys.
#pragma once

#include "BoxFeed.h"
#include "HostTools.h"
#include "Options.h"
#include "PlayerFiles.h"
#include "PlayerTile.h"
#include "StatisticsFile.h"

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

    // Plays these instead of what there is. False when a renderer could not be made.
    bool Play(std::vector<OpenedFile> files);
    void SetBoxes(std::unique_ptr<BoxFeed> boxes); // before Play
    bool RecordStatistics(const QString& file);    // false, and said, when it cannot be written
    void Begin();
    void PrintReport() const;

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    PlayerTile& Selected() { return *m_tiles[m_selected]; } // there is one
    bool Add(OpenedFile file);
    void StartTile(PlayerTile& tile);
    void RemoveTiles();
    void GiveBoxes();
    void Open(const QStringList& files);
    void Select(size_t tile);
    void ShowGrid();
    void ShowAlone(size_t tile);
    bool RunKey(int key);
    bool RunTileKey(int key, bool shift);
    bool RunTimeKey(int key, bool isRepeat);
    void SavePictureHere();
    void ToggleFullScreen();
    void Say(const QString& notice);
    void UpdateStatus();
    void WriteStatistics();
    void Finish();

    const Options m_options;
    ProcessMeter m_meter;
    std::vector<PlayerTile*> m_tiles; // owned by the window
    size_t m_selected = 0;
    bool m_alone = false;
    std::unique_ptr<BoxFeed> m_boxes; // may be null
    QGridLayout* m_grid;
    QLabel* m_status;
    QLabel* m_hint; // in the place of tiles
    KeyPanel* m_keys;
    QTimer m_statusTimer;
    QTimer m_recordTimer;
    StatisticsFile m_record;
    QString m_notice;
    QElapsedTimer m_noticeAge;
    double m_cpuPercent = 0.0;
    // Of tiles that made room for others.
    QStringList m_goneSummaries;
    qint64 m_goneShown = 0;
    qint64 m_goneDropped = 0;
};
