// The host's draw callback with its user value, and the runs of it that are under way. Any thread.
#pragma once

#include "LiveRenderers.h"
#include "OvelInterface.h"

#include <condition_variable>
#include <mutex>
#include <thread>

class PlayerCallback
{
public:
    PlayerCallback(OvelDrawCallback& function, void*& user) : m_function(function), m_user(user) {}
    PlayerCallback(const PlayerCallback&) = delete;
    PlayerCallback& operator=(const PlayerCallback&) = delete;

    tagOvelDrawCallback Get() const;
    // Returns when the former pair runs on no other thread: what it used can go. False, and the former pair
    // stays, when that took longer than this thread may wait.
    bool Set(const tagOvelDrawCallback& pair);
    // The function goes, the user value stays.
    bool Forget();

    // One run, counted while it lasts. No lock is held while the host's code runs.
    class Run
    {
    public:
        explicit Run(PlayerCallback& callback);
        ~Run();
        Run(const Run&) = delete;
        Run& operator=(const Run&) = delete;
        // False when there is nobody to ask.
        explicit operator bool() const { return m_pair.pfnDrawCallback != nullptr; }
        // Asks for the overlays of a picture that lies there. The records of this run carry its number.
        int Ask(const __tagQDrawCallbackInfo& info, uint64_t number) const;

    private:
        friend class PlayerCallback;
        PlayerCallback& m_callback;
        tagOvelDrawCallback m_pair = {};
        const std::thread::id m_thread = std::this_thread::get_id();
        Run* m_next = nullptr;
    };

private:
    bool RunsElsewhere(const tagOvelDrawCallback& pair) const;

    mutable std::mutex m_mutex;
    std::condition_variable m_runEnded;
    OvelDrawCallback& m_function;
    void*& m_user;
    Run* m_runs = nullptr;
};

// The descriptor for a picture at this place; the sink and the renderer are its way back.
__tagQDrawCallbackInfo DescribePicture(unsigned int frameParam, const tagQRECT& rect, OvelDrawToRender sink,
                                       void* renderer);
