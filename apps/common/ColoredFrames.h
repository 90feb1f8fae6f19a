// Hands frames to a renderer, each with the description of its colours, so that no paint ever shows a picture
// in the colours of another one. A frame by reference carries its own; for copied ones it takes more.
#pragma once

#include <OvelInterface.h>

#include <QObject>

#include <condition_variable>
#include <mutex>

class VideoSource;

// Lives on the GUI thread. The description is a command of its own and repaints: given apart from its frame,
// a paint in between would show the old picture by the new description. Paints happen on the GUI thread only,
// so a change is given there, together with the first frame that has it; all other frames go straight in.
class ColoredFrames : public QObject
{
public:
    explicit ColoredFrames(void* renderer);

    // The source's picture, by reference or copied as the source says; as below.
    int Show(const VideoSource& source);
    // As Ovel_ShowYuvFrame, on one decoder thread at a time. Waits for the GUI thread when the description
    // changes; -1 once stopped.
    int Show(const tagYuvFrameInfo& frame, const tagOvelColor& color);

    // GUI thread, before it waits for the decoder thread to end: a Show that waits for it returns.
    void Stop();

private:
    void ShowPending();

    void* const m_renderer;
    tagOvelColor m_color{}; // what the renderer has; decoder thread, or GUI thread while that one waits
    std::mutex m_mutex;
    std::condition_variable m_answer;
    const tagYuvFrameInfo* m_pending = nullptr; // under m_mutex, with the two below
    tagOvelColor m_pendingColor{};
    int m_result = -1;
    bool m_stopped = false; // under m_mutex
};
