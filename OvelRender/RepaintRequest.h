// A repaint asked for on any thread, without an allocation: at most one request per widget is on its way.
#pragma once

#include <QEvent>

#include <atomic>
#include <thread>

class QWidget;

class RepaintRequest
{
public:
    // GUI thread.
    explicit RepaintRequest(QWidget& widget);
    ~RepaintRequest();
    RepaintRequest(const RepaintRequest&) = delete;
    RepaintRequest& operator=(const RepaintRequest&) = delete;

    // On the GUI thread the widget is updated directly; from elsewhere an event goes there.
    void Send(bool alsoPost);
    // What event() asks about an event: whether it is such a request. Later requests go out again from then
    // on.
    bool Take(const QEvent& event);
    // GUI thread. Hands the request to the widget now if it is on its way.
    void Deliver();
    // Asks the C++ library: Qt would make objects for every thread of the host, and crash when it cannot.
    bool IsGuiThread() const { return std::this_thread::get_id() == m_guiThread; }

private:
    QWidget& m_widget;
    const std::thread::id m_guiThread = std::this_thread::get_id();
    std::atomic<bool> m_onItsWay{false};
};
