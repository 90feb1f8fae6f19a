// The wall: a grid of tiles with a line of statistics each; a click enlarges one.
#pragma once

#include "BoxFeed.h"
#include "DecoderPool.h"
#include "HostTools.h"
#include "LiveStream.h"
#include "LossLabel.h"
#include "StatisticsFile.h"

#include <QSize>
#include <QString>
#include <QTimer>
#include <QWidget>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

class QGridLayout;
class QLabel;

// The statistics line of a tile, its boxes, and what it says while its source is lost, pushed with every frame.
class TileCaption
{
public:
    tagOvelDrawCallback Payload();
    void SetText(const QString& text); // GUI thread
    std::shared_ptr<BoxBoard> Boxes;   // drawn with it, may be null; set before the first frame
    LossLabel& Loss() { return m_loss; }

private:
    static int Draw(int reserved, __tagQDrawCallbackInfo* info, int length, void* user);

    std::mutex m_mutex;
    __tagQDrawGraphInfo m_label{}; // under m_mutex
    __tagQDrawGraphInfo m_plate{}; // under m_mutex
    LossLabel m_loss;
};

class WallWindow : public QWidget
{
public:
    // Native tiles are windows of the display server: one that changes is composed alone.
    WallWindow(int tiles, QSize size, bool nativeTiles);
    ~WallWindow() override;

    // False when no renderer could be made.
    bool Add(const QString& name, std::unique_ptr<VideoSource> file);
    bool AddLive(const QString& url, const LiveOptions& options);
    void SetBoxes(std::unique_ptr<BoxFeed> boxes, int tiles); // before the tiles
    bool RecordStatistics(const QString& file) { return m_record.Open(file); }
    void Begin(int threads, double seconds, const QString& picture);
    void PrintReport() const;

    bool eventFilter(QObject* watched, QEvent* event) override;

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    struct Tile {
        QString Name;
        void* Renderer = nullptr;
        QWidget* View = nullptr;
        VideoFacts Facts{}; // as the picture shown last has them
        FrameCounter* Counter = nullptr;
        std::unique_ptr<TileCaption> Caption{};
        std::optional<LiveOptions> Waiting{}; // of a live source; empty for files
        std::unique_ptr<LiveStream> Live{};   // from Begin on; null for files
    };

    Tile* AddTile(const QString& name);
    std::function<void(const VideoFacts&)> OnFactsChanged(size_t index);
    static void Place(const Tile& tile);
    void Enlarge(const QWidget* view);
    void UpdateStatistics();
    int StartLive();
    void WriteStatistics();
    void Finish(const QString& picture);

    const int m_columns;
    const bool m_nativeTiles;
    std::vector<Tile> m_tiles;
    std::unique_ptr<BoxFeed> m_boxes; // may be null
    std::vector<std::shared_ptr<BoxBoard>> m_boards;
    DecoderPool m_pool; // for the files
    StatisticsFile m_record;
    ProcessMeter m_meter;
    QGridLayout* m_grid;
    QLabel* m_status;
    QTimer m_timer;
    int m_threads = 0;
    bool m_enlarged = false;
};
