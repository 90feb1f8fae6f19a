// What a detector and a tracker would send for each frame: box, zone, track and label, made up from the frame
// number and pushed through the renderer's draw callback.
#pragma once

#include "ViewState.h"

#include <OvelInterface.h>

#include <mutex>
#include <string>

class OverlayScene
{
public:
    OverlayScene(std::string name, double framesPerSecond);

    // The renderer's callback and its user value; the scene must outlive them.
    tagOvelDrawCallback Payload();

    // GUI thread: labels do not follow zoom and turns by themselves, the scene places them.
    void SetView(const ViewState& view, QSize widget);

private:
    static int Draw(int reserved, __tagQDrawCallbackInfo* info, int length, void* user);
    void DrawFrame(const __tagQDrawCallbackInfo& info);
    void SendLabel(const __tagQDrawCallbackInfo& info, QPointF box, QPointF boxEnd) const;

    const std::string m_name;
    const double m_framesPerSecond;
    std::mutex m_mutex;
    ViewState m_view; // under m_mutex
    QSize m_widget;   // under m_mutex
};
