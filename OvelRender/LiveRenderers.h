// Which renderer objects exist, who is inside one at this moment, and which one's draw callback this thread
// is in.
#pragma once

#include "Guarded.h"

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
    // be taken apart.
    void Retire() const;

private:
    const void* m_renderer;
};

// Around the host's draw callback on this thread.
class DrawCallbackScope
{
public:
    explicit DrawCallbackScope(const void* renderer);
    ~DrawCallbackScope();
    DrawCallbackScope(const DrawCallbackScope&) = delete;
    DrawCallbackScope& operator=(const DrawCallbackScope&) = delete;

    const void* const m_renderer;
    const DrawCallbackScope* const m_outer;
};

// Whether this thread runs that renderer's draw callback: calls for it would wait for themselves.
bool IsInsideDrawCallback(const void* renderer);

// Stores a record for the renderer that a sink was handed: -1 when it is null or gone.
template <typename Store> int SinkRecord(const void* renderer, Store&& store)
{
    return Guarded(-1, [&] {
        if (!renderer)
            return -1;
        // Inside its own callback a renderer is alive: thousands of records need not ask.
        if (IsInsideDrawCallback(renderer))
            return store();
        const RendererUse use(renderer);
        return use ? store() : -1;
    });
}
