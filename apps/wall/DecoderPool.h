// A few threads that decode for many tiles: whichever picture is due next is decoded and handed over by
// whichever thread is free.
#pragma once

#include "ColoredFrames.h"
#include "HostTools.h"
#include "VideoSource.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <queue>
#include <thread>
#include <vector>

class DecoderPool
{
public:
    DecoderPool() = default;
    ~DecoderPool() { Stop(); }
    DecoderPool(const DecoderPool&) = delete;
    DecoderPool& operator=(const DecoderPool&) = delete;

    // GUI thread. Adding is over before Start. factsChanged is called on a decoder thread.
    void Add(void* renderer, FrameCounter& counter, std::unique_ptr<VideoSource> source,
             std::function<void(const VideoFacts&)> factsChanged);
    void Start(int threads);
    void Stop(); // waits for the threads

private:
    using Clock = std::chrono::steady_clock;

    struct Stream {
        std::unique_ptr<ColoredFrames> Frames;
        FrameCounter* Counter;
        std::unique_ptr<VideoSource> Source;
        std::function<void(const VideoFacts&)> FactsChanged;
        VideoFacts Facts;        // of the picture shown last
        Clock::time_point Start; // when its time 0 was or would have been
        Clock::time_point LastShown;
    };
    struct Job {
        Clock::time_point Due;
        size_t Stream;
        bool operator<(const Job& other) const { return Due > other.Due; } // earliest on top
    };

    void Work();
    bool TakeJob(Job& job);
    bool Advance(Stream& stream, Clock::time_point& due);
    static void HandOver(Stream& stream, Clock::time_point due);

    std::vector<Stream> m_streams; // an entry belongs to the thread that holds its job
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::priority_queue<Job> m_jobs; // under m_mutex
    bool m_stop = false;             // under m_mutex
    std::vector<std::thread> m_threads;
};
