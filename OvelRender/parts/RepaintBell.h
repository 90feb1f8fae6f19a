// Wakes the GUI thread with one write for all requests that come before it answers. A posted event for each
// would cost the feeding thread half as much again, mostly in code and data that a painting machine's caches
// have long lost; and an event can be filtered or removed by the host.
#pragma once

#include <atomic>
#include <vector>

// Hears the bell on the GUI thread and looks whether it was meant.
class BellListener
{
public:
    virtual ~BellListener() = default;
    virtual void OnBell() = 0;
};

class RepaintBell
{
public:
    static RepaintBell& Instance();

    void Add(BellListener& listener);    // GUI thread
    void Remove(BellListener& listener); // GUI thread
    bool Ring();                         // any thread; false when no event loop listens

private:
    class Notifier;

    void Listen();
    void Answer();
    bool Write() const;

    int m_descriptor = -1; // never closed: a feeder may be about to write
    std::atomic<bool> m_isHeard{false};
    std::atomic<bool> m_rung{false};
    std::vector<BellListener*> m_listeners;
};
