// The decoder thread of one tile: decodes, waits for each picture's time and hands it to the renderer.
#pragma once

#include "ColoredFrames.h"
#include "HostTools.h"
#include "VideoSource.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

// Called on the decoder thread.
struct PlaybackEvents {
    std::function<void(const VideoFacts&)>
        SizeChanged;                               // after the first picture of a size is with the renderer
    std::function<void(const std::string&)> Broke; // no further picture; says where and why
};

class PlaybackThread
{
public:
    PlaybackThread(void* renderer, std::unique_ptr<VideoSource> source, FrameCounter& counter, bool once,
                   PlaybackEvents events);
    ~PlaybackThread(); // GUI thread; waits for the thread
    PlaybackThread(const PlaybackThread&) = delete;
    PlaybackThread& operator=(const PlaybackThread&) = delete;

    // GUI thread.
    void SetPaused(bool paused);
    void SeekBy(double seconds);
    void ShowAgain(); // hands the current picture over once more
    double Position() const { return m_position; }

private:
    using Clock = std::chrono::steady_clock;

    void Run();
    bool Idle(bool nothingLeft);
    bool TakeSeek();
    bool TakeShowAgain();
    VideoSource::Step Advance();
    bool WaitUntilDue();
    void HandOver();
    void WaitForFirstPaint();

    ColoredFrames m_frames;
    std::unique_ptr<VideoSource> m_source;
    FrameCounter& m_counter;
    const bool m_once;
    const PlaybackEvents m_events;
    std::atomic<double> m_position{0.0};

    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_stop = false;      // under m_mutex
    bool m_paused = false;    // under m_mutex
    double m_seekBy = 0.0;    // under m_mutex
    bool m_showAgain = false; // under m_mutex

    // The decoder thread's own.
    bool m_showOne = false; // a picture to show even though playing is paused
    bool m_clockSet = false;
    Clock::time_point m_clockStart;
    double m_clockTime = 0.0;
    int m_width = 0;
    int m_height = 0;

    std::thread m_thread; // last: starts when all else stands
};
