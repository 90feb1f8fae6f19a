// A repaint asked for on any thread, without an allocation: at most one request per widget is on its way.
#pragma once

#include <QEvent>

#include <atomic>

class QWidget;

class RepaintRequest
{
public:
    explicit RepaintRequest(QWidget& widget) : m_widget(widget) {}
    // On the GUI thread the widget is updated directly; from elsewhere an event goes there.
    void Send(bool alsoPost);
    // What event() asks about an event: whether it is such a request. Later requests go out again from then
    // on.
    bool Take(const QEvent& event);

private:
    QWidget& m_widget;
    std::atomic<bool> m_onItsWay{false};
};
