#include "RepaintBell.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QEvent>
#include <QSocketNotifier>

#include <algorithm>
#include <cstdint>
#include <new>

#include <sys/eventfd.h>
#include <unistd.h>

// Goes with the application. Whatever keeps its event from it, the descriptor stays readable and asks again.
class RepaintBell::Notifier : public QSocketNotifier
{
public:
    Notifier(RepaintBell& bell, QObject* parent)
        : QSocketNotifier(bell.m_descriptor, QSocketNotifier::Read, parent), m_bell(bell)
    {
        m_bell.m_isHeard = true;
    }
    ~Notifier() override { m_bell.m_isHeard = false; }

protected:
    bool event(QEvent* e) override
    {
        if (e->type() != QEvent::SockAct) {
            return QSocketNotifier::event(e);
        }
        m_bell.Answer();
        return true;
    }

private:
    RepaintBell& m_bell;
};

// Never destroyed: hosts may let go of widgets while static objects are being destroyed.
RepaintBell& RepaintBell::Instance()
{
    alignas(RepaintBell) static unsigned char storage[sizeof(RepaintBell)];
    static auto* bell = new (storage) RepaintBell;
    return *bell;
}

void RepaintBell::Add(BellListener& listener)
{
    if (!m_isHeard && QAbstractEventDispatcher::instance()) {
        Listen();
    }
    m_listeners.push_back(&listener); // last: what throws must leave nothing behind
}

void RepaintBell::Remove(BellListener& listener)
{
    m_listeners.erase(std::find(m_listeners.begin(), m_listeners.end(), &listener));
}

bool RepaintBell::Ring()
{
    if (!m_isHeard) {
        return false;
    }
    if (m_rung.exchange(true) || Write()) {
        return true;
    }
    m_rung = false;
    return false;
}

void RepaintBell::Listen()
{
    if (m_descriptor < 0) {
        m_descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    }
    if (m_descriptor >= 0) {
        new Notifier(*this, QCoreApplication::instance());
    }
}

void RepaintBell::Answer()
{
    uint64_t rings = 0;
    if (read(m_descriptor, &rings, sizeof(rings)) < 0) {
        return;
    }
    m_rung = false;
    // Backwards, so that a widget that is deleted meanwhile hides no other one.
    for (size_t i = m_listeners.size(); i > 0; i = std::min(i - 1, m_listeners.size())) {
        m_listeners[i - 1]->OnBell();
    }
}

bool RepaintBell::Write() const
{
    const uint64_t ring = 1;
    return write(m_descriptor, &ring, sizeof(ring)) == sizeof(ring);
}
