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
#include <optional>
#include <thread>

// Called on the decoder thread.
struct PlaybackEvents {
    // After the first picture with other facts than the one before is with the renderer.
    std::function<void(const VideoFacts&)> FactsChanged;
    std::function<void(const std::string&)> Broke; // no further picture; says where and why
};

class PlaybackThread
{
public:
    // Without a source it does nothing: the tile is a live stream's.
    PlaybackThread(void* renderer, std::unique_ptr<VideoSource> source, FrameCounter& counter, bool once,
                   PlaybackEvents events);
    ~PlaybackThread(); // GUI thread; waits for the thread
    PlaybackThread(const PlaybackThread&) = delete;
    PlaybackThread& operator=(const PlaybackThread&) = delete;

    // GUI thread.
    void SetPaused(bool paused);
    void SeekBy(double seconds); // past the end: from the start again
    void SeekTo(double seconds); // past the end: to the last picture
    // Forward or, below 0, back; does nothing unless paused. A key held down does not run ahead of the pictures.
    void Step(int pictures, bool isRepeat);
    void SetSpeed(double speed); // 1: as the file says
    void ShowAgain();            // hands the current picture over once more
    double Position() const { return m_position; }

private:
    using Clock = std::chrono::steady_clock;

    void Run();
    bool Idle(bool nothingLeft);
    bool IsAsked() const { return m_stop || m_seekTo || m_steps != 0; }
    void Ask(const std::function<void()>& change);
    void TakeSeek();
    bool TakeStep();
    bool TakeShowAgain();
    VideoSource::Step Advance();
    bool WaitUntilDue();
    Clock::time_point DueAt(double time) const;
    void TakeSpeed();
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
    bool m_stop = false;            // under m_mutex
    bool m_paused = false;          // under m_mutex
    std::optional<double> m_seekTo; // under m_mutex
    bool m_startsAgain = false;     // under m_mutex: what a seek past the end does
    int m_steps = 0;                // under m_mutex
    double m_speed = 1.0;           // under m_mutex
    bool m_showAgain = false;       // under m_mutex

    // The decoder thread's own.
    bool m_showOne = false; // a picture to show even though playing is paused
    bool m_clockSet = false;
    Clock::time_point m_clockStart;
    double m_clockTime = 0.0;
    double m_clockSpeed = 1.0;
    VideoFacts m_facts; // of the picture shown last; without a size there was none

    std::thread m_thread; // last: starts when all else stands
};
