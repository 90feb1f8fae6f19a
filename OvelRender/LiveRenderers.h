// Which renderer objects exist, who is inside one at this moment, and which draw callbacks this thread is in.
#pragma once

#include "Guarded.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>

// Constructor and destructor of a renderer. Retire refuses new uses and returns when those on other threads
// have ended; from then on the object can go.
void AddLiveRenderer(const void* renderer);
void RetireLiveRenderer(void* renderer);
// Called once with the renderer when it retires, on the thread that destroys it and before its object goes;
// nothing for a renderer that is not listed. Allocates nothing, cannot fail.
using RetireHandler = void (*)(void* renderer);
void SetRetireHandler(const void* renderer, RetireHandler handler);

// Holds a renderer alive for a call into it, on any thread: false when it is gone or going.
class RendererUse
{
public:
    explicit RendererUse(const void* renderer);
    ~RendererUse();
    RendererUse(const RendererUse&) = delete;
    RendererUse& operator=(const RendererUse&) = delete;
    explicit operator bool() const { return m_renderer != nullptr; }

    // Refuses new uses from now on and waits until this one is the last: what calls in flight hold can then
    // be taken apart. No when that took longer than this thread may wait: new uses are as welcome as before.
    enum class Retired { Yes, No, ByAnother };
    Retired Retire() const;
    // Takes a successful Retire back.
    void Revive() const;

private:
    const void* m_renderer;
};

// Around the host's draw callback on this thread.
class DrawCallbackScope
{
public:
    DrawCallbackScope(const void* renderer, uint64_t run);
    ~DrawCallbackScope();
    DrawCallbackScope(const DrawCallbackScope&) = delete;
    DrawCallbackScope& operator=(const DrawCallbackScope&) = delete;

    // This thread's innermost scope of that renderer, or of any when null; null when there is none.
    static const DrawCallbackScope* Find(const void* renderer);
    // The run of that renderer's callback that this thread is in.
    static std::optional<uint64_t> RunOf(const void* renderer);

private:
    const void* const m_renderer;
    const uint64_t m_run;
    const DrawCallbackScope* const m_outer;
};

// Whether this thread runs that renderer's draw callback: calls for it would wait for themselves.
inline bool IsInsideDrawCallback(const void* renderer)
{
    return renderer && DrawCallbackScope::Find(renderer);
}

// How long this thread may wait for a renderer. Inside a draw callback not for ever: that renderer's callback
// may be waiting for this one's.
std::optional<std::chrono::milliseconds> WaitLimit();

// Waits for the condition as long as this thread may; whether it holds.
template <typename Condition>
bool WaitWithin(std::condition_variable& changed, std::unique_lock<std::mutex>& lock, const Condition& holds)
{
    const std::optional<std::chrono::milliseconds> limit = WaitLimit();
    if (limit) {
        return changed.wait_for(lock, *limit, holds);
    }
    changed.wait(lock, holds);
    return true;
}

// Stores a record for the renderer that a sink was handed: -1 when it is null or gone.
template <typename Store> int SinkRecord(const void* renderer, Store&& store)
{
    return Guarded(-1, [&] {
        if (!renderer) {
            return -1;
        }
        // Inside its own callback a renderer is alive: thousands of records need not ask.
        if (IsInsideDrawCallback(renderer)) {
            return store();
        }
        const RendererUse use(renderer);
        return use ? store() : -1;
    });
}
