#include "RepaintRequest.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QSocketNotifier>
#include <QWidget>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <new>
#include <vector>

#include <sys/eventfd.h>
#include <unistd.h>

namespace
{

// Qt deletes posted events; these go back to a small stock instead of to the heap.
class EventStock
{
public:
    void* Take(size_t size)
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (m_free) {
                Cell* cell = m_free;
                m_free = cell->next;
                return cell;
            }
        }
        return ::operator new(size < sizeof(Cell) ? sizeof(Cell) : size);
    }
    void Return(void* memory)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_free = new (memory) Cell{m_free};
    }
    ~EventStock()
    {
        while (Cell* cell = m_free) {
            m_free = cell->next;
            ::operator delete(cell);
        }
    }

private:
    struct Cell {
        Cell* next;
    };
    std::mutex m_mutex;
    Cell* m_free = nullptr;
};

EventStock s_stock;

QEvent::Type RequestType()
{
    static const auto type = static_cast<QEvent::Type>(QEvent::registerEventType());
    return type;
}

class RequestEvent : public QEvent
{
public:
    RequestEvent() : QEvent(RequestType()) {}
    static void* operator new(size_t size) { return s_stock.Take(size); }
    static void operator delete(void* memory) { s_stock.Return(memory); }
};

// Wakes the GUI thread with one write for all widgets that ask before it answers. A posted event for each
// costs the feeding thread half as much again, mostly in code and data that a painting machine's caches have
// long lost.
class RepaintBell
{
public:
    void Add(RepaintRequest& request);    // GUI thread
    void Remove(RepaintRequest& request); // GUI thread
    bool Ring();                          // any thread; false when nobody listens

private:
    class Listener : public QSocketNotifier
    {
    public:
        Listener(RepaintBell& bell, QObject* parent)
            : QSocketNotifier(bell.m_descriptor, QSocketNotifier::Read, parent), m_bell(bell)
        {
            m_bell.m_isHeard = true;
        }
        ~Listener() override { m_bell.m_isHeard = false; }

    protected:
        bool event(QEvent* e) override
        {
            if (e->type() != QEvent::SockAct)
                return QSocketNotifier::event(e);
            m_bell.Answer();
            return true;
        }

    private:
        RepaintBell& m_bell;
    };

    void Listen();
    void Answer();
    bool Write() const;

    int m_descriptor = -1; // never closed: a feeder may be about to write
    std::atomic<bool> m_isHeard{false};
    std::atomic<bool> m_rung{false};
    std::vector<RepaintRequest*> m_requests;
};

// Never destroyed: hosts may let go of widgets while static objects are being destroyed.
RepaintBell& TheBell()
{
    alignas(RepaintBell) static unsigned char storage[sizeof(RepaintBell)];
    static auto* bell = new (storage) RepaintBell;
    return *bell;
}

void RepaintBell::Add(RepaintRequest& request)
{
    if (!m_isHeard && QAbstractEventDispatcher::instance())
        Listen();
    m_requests.push_back(&request); // last: what throws must leave nothing behind
}

void RepaintBell::Remove(RepaintRequest& request)
{
    m_requests.erase(std::find(m_requests.begin(), m_requests.end(), &request));
}

bool RepaintBell::Ring()
{
    if (!m_isHeard)
        return false;
    if (m_rung.exchange(true) || Write())
        return true;
    m_rung = false;
    return false;
}

void RepaintBell::Listen()
{
    if (m_descriptor < 0)
        m_descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (m_descriptor >= 0)
        new Listener(*this, QCoreApplication::instance());
}

void RepaintBell::Answer()
{
    uint64_t rings = 0;
    if (read(m_descriptor, &rings, sizeof(rings)) < 0)
        return;
    m_rung = false;
    // Backwards, so that a widget that is deleted meanwhile hides no other one.
    for (size_t i = m_requests.size(); i > 0; i = std::min(i - 1, m_requests.size()))
        m_requests[i - 1]->Deliver();
}

bool RepaintBell::Write() const
{
    const uint64_t ring = 1;
    return write(m_descriptor, &ring, sizeof(ring)) == sizeof(ring);
}

} // namespace

RepaintRequest::RepaintRequest(QWidget& widget) : m_widget(widget)
{
    TheBell().Add(*this);
}

RepaintRequest::~RepaintRequest()
{
    TheBell().Remove(*this);
}

void RepaintRequest::Send(bool alsoPost)
{
    const bool isGuiThread = IsGuiThread();
    if (isGuiThread)
        m_widget.update();
    if ((isGuiThread && !alsoPost) || m_onItsWay.exchange(true) || (!isGuiThread && TheBell().Ring()))
        return;
    try {
        QCoreApplication::postEvent(&m_widget, new RequestEvent);
    } catch (...) {
        m_onItsWay = false;
        throw;
    }
}

bool RepaintRequest::Take(const QEvent& event)
{
    if (event.type() != RequestType())
        return false;
    m_onItsWay = false;
    return true;
}

void RepaintRequest::Deliver()
{
    if (!m_onItsWay)
        return;
    RequestEvent event;
    QCoreApplication::sendEvent(&m_widget, &event);
}
