// Pictures of the host that are read where they lie, and the moment at which it gets them back.
#pragma once

#include "OvelInterface.h"

#include <utility>

// One hand-over: whoever owns it when it ends calls the host's release, once.
class FrameReference
{
public:
    FrameReference(OvelFrameRelease release, void* user) : m_release(release), m_user(user) {}
    FrameReference(FrameReference&& other) noexcept
        : m_release(std::exchange(other.m_release, nullptr)), m_user(other.m_user)
    {
    }
    FrameReference(const FrameReference&) = delete;
    FrameReference& operator=(const FrameReference&) = delete;
    ~FrameReference();

private:
    friend class LettingGo;
    OvelFrameRelease m_release;
    void* m_user;
};

// Around a call of one renderer, outside all its locks: what is let go of in the call, under whatever locks,
// goes back to the host at the end. A call inside a call of the same renderer leaves it to the outer one.
class LettingGo
{
public:
    explicit LettingGo(const void* renderer);
    ~LettingGo();
    LettingGo(const LettingGo&) = delete;
    LettingGo& operator=(const LettingGo&) = delete;

    // Whether this thread is in a scope of that renderer.
    static bool IsInside(const void* renderer);
    // At the end of this thread's innermost scope; at once without one, where every lock is the host's own.
    static void Later(FrameReference reference);

private:
    const void* const m_renderer;
    LettingGo* const m_outer;
    const bool m_joins;
    FrameReference m_gone{nullptr, nullptr}; // a renderer holds one picture: no call lets go of more
};
