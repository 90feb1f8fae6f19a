// Wakes the GUI thread with one write for all requests that come before it answers. A posted event for each
// would cost the feeding thread half as much again, mostly in code and data that a painting machine's caches
// have long lost; and an event can be filtered or removed by the host.
#pragma once

#include <atomic>
#include <vector>

class RepaintRequest;

class RepaintBell
{
public:
    static RepaintBell& Instance();

    void Add(RepaintRequest& request);    // GUI thread
    void Remove(RepaintRequest& request); // GUI thread
    bool Ring();                          // any thread; false when nobody listens

private:
    class Listener;

    void Listen();
    void Answer();
    bool Write() const;

    int m_descriptor = -1; // never closed: a feeder may be about to write
    std::atomic<bool> m_isHeard{false};
    std::atomic<bool> m_rung{false};
    std::vector<RepaintRequest*> m_requests;
};
