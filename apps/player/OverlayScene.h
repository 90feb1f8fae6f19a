// What a detector and a tracker would send for each frame: box, zone, track and label, made up from the frame
// number and pushed through the renderer's draw callback.
#pragma once

#include "OverlayRecords.h"

#include <mutex>
#include <string>

class OverlayScene
{
public:
    OverlayScene(std::string name, double framesPerSecond);

    // In the renderer's draw callback.
    void Draw(const __tagQDrawCallbackInfo& info);
    // GUI thread.
    void SetView(const ViewState& view, QSize widget);

private:
    const std::string m_name;
    const double m_framesPerSecond;
    std::mutex m_mutex;
    TileView m_view; // under m_mutex
};
