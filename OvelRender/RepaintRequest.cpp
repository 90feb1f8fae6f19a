#include "RepaintRequest.h"

#include <QCoreApplication>
#include <QWidget>

#include <cstddef>
#include <mutex>
#include <new>

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

} // namespace

void RepaintRequest::Send(bool alsoPost)
{
    const bool isGuiThread = IsGuiThread();
    if (isGuiThread)
        m_widget.update();
    if ((isGuiThread && !alsoPost) || m_onItsWay.exchange(true))
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
