// Work that any thread asks for and the GUI thread does soon, at most once however often it is asked for.
#pragma once

#include "RepaintBell.h"

#include <QObject>

#include <atomic>
#include <functional>
#include <thread>

class RepaintRequest : public BellListener
{
public:
    // GUI thread, which calls `work` later.
    explicit RepaintRequest(std::function<void()> work);
    ~RepaintRequest() override;
    RepaintRequest(const RepaintRequest&) = delete;
    RepaintRequest& operator=(const RepaintRequest&) = delete;

    // Asks for the work, on any thread. On the GUI thread itself it comes before the next paint.
    void Send();
    // GUI thread. Does the work now if it was asked for.
    void OnBell() override;
    // GUI thread. The work has been done otherwise: nothing is on its way any more, whatever became of it.
    void Forget() { m_isPosted = false; }
    // Asks the C++ library: Qt would make objects for every thread of the host, and crash when it cannot.
    bool IsGuiThread() const { return std::this_thread::get_id() == m_guiThread; }

private:
    void Post();

    const std::thread::id m_guiThread = std::this_thread::get_id();
    const std::function<void()> m_work;
    std::atomic<bool> m_onItsWay{false}; // with the bell
    bool m_isPosted = false;             // as an event; GUI thread
    QObject m_context;                   // last: takes the posted events along
};
