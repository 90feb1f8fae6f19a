// The wall: a grid of tiles with a line of statistics each; a click enlarges one.
#pragma once

#include "BoxFeed.h"
#include "DecoderPool.h"
#include "HostTools.h"

#include <QSize>
#include <QString>
#include <QTimer>
#include <QWidget>

#include <memory>
#include <mutex>
#include <vector>

class QGridLayout;
class QLabel;

// The statistics line of a tile and its boxes, pushed as records with every frame.
class TileCaption
{
public:
    tagOvelDrawCallback Payload();
    void SetText(const QString& text); // GUI thread
    std::shared_ptr<BoxBoard> Boxes;   // drawn with it, may be null; set before the first frame

private:
    static int Draw(int reserved, __tagQDrawCallbackInfo* info, int length, void* user);

    std::mutex m_mutex;
    __tagQDrawGraphInfo m_label{}; // under m_mutex
    __tagQDrawGraphInfo m_plate{}; // under m_mutex
};

class WallWindow : public QWidget
{
public:
    // Native tiles are windows of the display server: one that changes is composed alone.
    WallWindow(int tiles, QSize size, bool nativeTiles);
    ~WallWindow() override;

    bool Add(std::unique_ptr<VideoSource> source);
    void SetBoxes(std::unique_ptr<BoxFeed> boxes); // after all tiles; may be null
    void Begin(int threads, double seconds, const QString& picture);
    void PrintReport() const;

    bool eventFilter(QObject* watched, QEvent* event) override;

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    struct Tile {
        void* Renderer;
        QWidget* View;
        VideoFacts Facts; // of the first picture
        FrameCounter* Counter;
        std::unique_ptr<TileCaption> Caption;
    };

    static void Place(const Tile& tile);
    void Enlarge(const QWidget* view);
    void UpdateStatistics();
    void Finish(const QString& picture);

    const int m_columns;
    const bool m_nativeTiles;
    std::vector<Tile> m_tiles;
    std::unique_ptr<BoxFeed> m_boxes;
    DecoderPool m_pool;
    ProcessMeter m_meter;
    QGridLayout* m_grid;
    QLabel* m_status;
    QTimer m_timer;
    int m_threads = 0;
    bool m_enlarged = false;
};
