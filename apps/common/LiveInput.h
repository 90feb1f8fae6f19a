// How a live source is opened and read: what keeps its delay low, when it counts as lost, and how whoever waits
// for it gets away at any moment.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

struct AVFormatContext;

// Shared by the thread that reads and the one that ends it. Any thread.
class LiveGuard
{
public:
    using Seconds = std::chrono::duration<double>;

    explicit LiveGuard(Seconds timeout) : m_timeout(timeout) { Restart(); }

    void Stop(); // for good: what waits returns soon
    bool IsStopped() const { return m_stopped; }
    void Restart(); // the time-out begins anew
    bool IsTimedOut() const;
    bool Wait(Seconds length); // false when stopped meanwhile

    // FFmpeg's interrupt callback, with the guard: asked again and again while a call blocks.
    static int ShallReturn(void* guard);

private:
    using Clock = std::chrono::steady_clock;

    const Seconds m_timeout;
    std::atomic<bool> m_stopped{false};
    std::atomic<Clock::rep> m_deadline{0};
    std::mutex m_mutex;
    std::condition_variable m_wake;
};

// True for what has no end to wait for: a URL, a capture device, or a description of an RTP session. Files,
// file:// too, are not.
bool IsLive(const std::string& name);

// Opens the source; one of RTSP with its pictures over UDP, or over the connection itself, which passes where
// nothing else does. Negative, FFmpeg's code, and a context that is null when that fails.
int OpenLiveInput(AVFormatContext*& format, const std::string& name, LiveGuard& guard, bool isOverTcp);
