#include "RepaintRequest.h"

#include <utility>

RepaintRequest::RepaintRequest(std::function<void()> work) : m_work(std::move(work))
{
    RepaintBell::Instance().Add(*this);
}

RepaintRequest::~RepaintRequest()
{
    RepaintBell::Instance().Remove(*this);
}

void RepaintRequest::Send()
{
    if (IsGuiThread()) {
        if (!std::exchange(m_isPosted, true)) {
            Post();
        }
        return;
    }
    if (m_onItsWay.exchange(true)) {
        // Ahead of the screen: what the GUI thread has not come to yet is worth more than one frame more.
        std::this_thread::yield();
        return;
    }
    if (RepaintBell::Instance().Ring()) {
        return;
    }
    // Nobody hears the bell. An event may be eaten on its way, so that each request sends its own.
    m_onItsWay = false;
    Post();
}

void RepaintRequest::Post()
{
    QMetaObject::invokeMethod(
        &m_context,
        [this] {
            m_isPosted = false;
            m_work();
        },
        Qt::QueuedConnection);
}

void RepaintRequest::OnBell()
{
    if (m_onItsWay.exchange(false)) {
        m_work();
    }
}
