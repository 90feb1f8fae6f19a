// The renderer mutex in turn. A mutex alone serves whoever runs when it gets free: a feeder without pauses kept
// commands of the GUI thread waiting for seconds.
#pragma once

#include <QMutex>

#include <algorithm>
#include <chrono>
#include <optional>

class CallTurn
{
public:
    using WaitTime = std::optional<std::chrono::milliseconds>; // none: without limit

    // Whoever waits for the mutex has the turn, and further calls wait for that. False after the time.
    bool Lock(QMutex& mutex, WaitTime limit)
    {
        if (!LockWithin(m_turn, limit)) {
            return false;
        }
        const bool locked = LockWithin(mutex, limit);
        m_turn.unlock();
        return locked;
    }

private:
    // Takes what it waited off the limit.
    static bool LockWithin(QMutex& mutex, WaitTime& limit)
    {
        if (mutex.tryLock()) {
            return true;
        }
        if (!limit) {
            mutex.lock();
            return true;
        }
        using Clock = std::chrono::steady_clock;
        const Clock::time_point begin = Clock::now();
        const bool locked = mutex.tryLock(static_cast<int>(limit->count()));
        const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
        *limit -= std::min(*limit, waited);
        return locked;
    }

    QMutex m_turn;
};
