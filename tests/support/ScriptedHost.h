// Hosts whose draw callbacks stop where a test wants them to. No wait here is without an end: what hangs in
// the library becomes a failed expectation.
#pragma once

#include "Harness.h"

#include <QCoreApplication>
#include <QThread>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <thread>

namespace OvelTest
{

inline bool OnGuiThread()
{
    return QThread::currentThread() == QCoreApplication::instance()->thread();
}

// Something that happens once, told to whoever waits for it.
class Signal
{
public:
    void Set()
    {
        const std::lock_guard<std::mutex> guard(lock);
        isSet = true;
        changed.notify_all();
    }
    // Without events; false after the time.
    bool Wait(int milliseconds = 5000)
    {
        std::unique_lock<std::mutex> guard(lock);
        return changed.wait_for(guard, std::chrono::milliseconds(milliseconds), [this] { return isSet; });
    }
    bool IsSet() { return Wait(0); }

private:
    std::mutex lock;
    std::condition_variable changed;
    bool isSet = false;
};

// Runs its script at every callback, on as many threads as the library calls.
class ScriptedHost
{
public:
    struct Run {
        int number; // from 1 on
        __tagQDrawCallbackInfo& info;

        int Push(__tagQDrawGraphInfo record) const
        {
            return info.pfnDrawToRender(&record, sizeof(record), info.pRender);
        }
    };

    explicit ScriptedHost(std::function<void(const Run&)> what) : script(std::move(what)) {}
    int Attach(void* handle)
    {
        tagOvelDrawCallback payload{&ScriptedHost::Callback, this};
        return Ovel_SetParam(handle, OVELCMD_SET_DRAW_CALLBACK, &payload, sizeof(payload));
    }
    static int Callback(int, __tagQDrawCallbackInfo* info, int, void* user)
    {
        auto* host = static_cast<ScriptedHost*>(user);
        ++host->inside;
        host->script({++host->runs, *info});
        --host->inside;
        return 0;
    }

    std::atomic<int> runs{0};
    std::atomic<int> inside{0};

private:
    const std::function<void(const Run&)> script;
};

// A thread that ends with its scope; the event loop runs while it is waited for, so that it may wait for it.
class HostThread
{
public:
    template <typename Work>
    explicit HostThread(Work work)
        : thread([this, work] {
              work();
              done.Set();
          })
    {
    }
    ~HostThread() { Finish(); }
    bool Finish()
    {
        const bool ended = WaitUntil([this] { return done.IsSet(); }, 20000);
        if (!ended) {
            std::fprintf(stderr, "watchdog: a host's call does not return\n");
            std::abort();
        }
        if (thread.joinable()) {
            thread.join();
        }
        return ended;
    }
    Signal done;

private:
    std::thread thread;
};

inline double TestSeconds(double standard)
{
    const char* text = std::getenv("OVEL_TEST_SECONDS");
    return text ? std::atof(text) : standard;
}

} // namespace OvelTest
