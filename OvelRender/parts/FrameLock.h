// The frame lock as scopes that one can see, and the gate before it that lets a waiting paint go first.
#pragma once

#include <QMutex>

#include <atomic>
#include <mutex>
#include <thread>

// How long a paint waits for the frame lock; then the previous picture stays.
constexpr int PaintWaitMilliseconds = 500;

// A mutex alone serves whoever runs when it gets free: a feeder without pauses takes it again before the GUI
// thread that it woke is there. A paint that waits holds the gate, and frames pass through it.
class FrameGate
{
public:
    explicit FrameGate(QMutex& frameLock) : m_frameLock(frameLock) {}

private:
    friend class FrameLock;
    QMutex& m_frameLock;
    std::mutex m_gate;
    std::atomic<std::thread::id> m_feeder{}; // whose frame is being taken
};

class FrameLock
{
public:
    // Waits for a paint that waits, then for whoever holds the lock, without limit.
    static FrameLock ForFrame(FrameGate& gate)
    {
        {
            const std::lock_guard<std::mutex> passing(gate.m_gate);
        }
        gate.m_frameLock.lock();
        gate.m_feeder = std::this_thread::get_id();
        return {gate, true};
    }
    // Before further frames; at most 500 ms.
    static FrameLock ForPaint(FrameGate& gate)
    {
        if (IsOwnFrame(gate)) {
            return {gate, false};
        }
        const std::lock_guard<std::mutex> waiting(gate.m_gate);
        return {gate, gate.m_frameLock.tryLock(PaintWaitMilliseconds)};
    }
    // Before further frames, without limit. Not had only inside a frame's callback on this very thread, which
    // would wait for itself: what the lock guards is then this thread's anyway.
    static FrameLock ForContext(FrameGate& gate)
    {
        if (IsOwnFrame(gate)) {
            return {gate, false};
        }
        const std::lock_guard<std::mutex> waiting(gate.m_gate);
        gate.m_frameLock.lock();
        return {gate, true};
    }
    static FrameLock IfFree(FrameGate& gate) { return {gate, gate.m_frameLock.tryLock()}; }

    ~FrameLock() { Unlock(); }
    FrameLock(const FrameLock&) = delete;
    FrameLock& operator=(const FrameLock&) = delete;
    explicit operator bool() const { return m_held; }
    void Unlock()
    {
        if (m_held) {
            m_gate.m_feeder = std::thread::id();
            m_gate.m_frameLock.unlock();
        }
        m_held = false;
    }

private:
    FrameLock(FrameGate& gate, bool held) : m_gate(gate), m_held(held) {}
    static bool IsOwnFrame(const FrameGate& gate) { return gate.m_feeder == std::this_thread::get_id(); }

    FrameGate& m_gate;
    bool m_held;
};
