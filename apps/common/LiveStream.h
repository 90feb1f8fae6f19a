// A live source and its tile: a thread that opens it, hands every picture over as soon as it is decoded, and
// tries again when it is lost, with growing pauses. One decoder at a time.
#pragma once

#include "ColoredFrames.h"
#include "HostTools.h"
#include "LiveInput.h"
#include "LossLabel.h"
#include "VideoSource.h"

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>

struct LiveOptions {
    SourceOptions Source;              // its guard is the stream's own
    double TimeoutSeconds = 5.0;       // a source that gives nothing for so long is lost
    double LongestPauseSeconds = 30.0; // before it is tried again; the first pause is half a second at most
};

enum class LiveState { Connecting, Playing, Lost };

// Any thread may ask.
struct LiveFigures {
    LiveState State = LiveState::Connecting;
    qint64 Received = 0; // decoded pictures
    qint64 Losses = 0;
    double DelaySeconds = 0.0; // from the sender's clock to the last hand-over; NaN while it is not known
};

class LiveStream
{
public:
    // GUI thread. The label is what the tile's draw callback sends along; both it and the counter outlive the
    // stream. factsChanged is called on the stream's thread.
    LiveStream(void* renderer, std::string url, const LiveOptions& options, FrameCounter& counter,
               LossLabel& label, std::function<void(const VideoFacts&)> factsChanged);
    ~LiveStream(); // GUI thread
    LiveStream(const LiveStream&) = delete;
    LiveStream& operator=(const LiveStream&) = delete;

    // Ends it without waiting; several that end together are all asked first.
    void Stop();
    // The source goes on being read, so that it does not fall behind.
    void SetPaused(bool paused) { m_paused = paused; }
    LiveFigures Figures() const;

private:
    using Clock = std::chrono::steady_clock;
    class Pause;

    static void Run(LiveStream* self, const std::shared_ptr<LiveGuard>& guard, const std::string& url,
                    LiveOptions options);
    static std::string Play(LiveStream& self, VideoSource& source, LiveGuard& guard);
    void HandOver(const VideoSource& source);
    void SayLost(const VideoSource* source, const std::string& reason);
    void ShowBlack();

    ColoredFrames m_frames;
    FrameCounter& m_counter;
    LossLabel& m_label;
    const std::function<void(const VideoFacts&)> m_factsChanged;
    std::atomic<LiveState> m_state{LiveState::Connecting};
    std::atomic<qint64> m_received{0};
    std::atomic<qint64> m_losses{0};
    std::atomic<double> m_delay;
    std::atomic<bool> m_paused{false};

    // The stream's thread.
    VideoFacts m_facts; // of the picture shown last; without a size there was none

    std::shared_ptr<LiveGuard> m_guard;
    Clock::time_point m_stoppedAt;
    std::future<void> m_ended;
    std::thread m_thread; // last: starts when all else stands
};
