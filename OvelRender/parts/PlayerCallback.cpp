#include "PlayerCallback.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace
{

bool IsSame(const tagOvelDrawCallback& a, const tagOvelDrawCallback& b)
{
    return a.pfnDrawCallback == b.pfnDrawCallback && a.pUser == b.pUser;
}

int Extent(int from, int to)
{
    return static_cast<int>(
        std::min<int64_t>(std::llabs(static_cast<int64_t>(to) - from), std::numeric_limits<int>::max()));
}

} // namespace

tagOvelDrawCallback PlayerCallback::Get() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return {m_function, m_user};
}

bool PlayerCallback::Set(const tagOvelDrawCallback& pair)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    const tagOvelDrawCallback former{m_function, m_user};
    m_function = pair.pfnDrawCallback;
    m_user = pair.pUser;
    if (IsSame(former, pair) || WaitWithin(m_runEnded, lock, [&] { return !RunsElsewhere(former); })) {
        return true;
    }
    m_function = former.pfnDrawCallback;
    m_user = former.pUser;
    return false;
}

bool PlayerCallback::Forget()
{
    return Set({nullptr, Get().pUser});
}

bool PlayerCallback::RunsElsewhere(const tagOvelDrawCallback& pair) const
{
    for (const Run* run = m_runs; run; run = run->m_next) {
        if (IsSame(run->m_pair, pair) && run->m_thread != std::this_thread::get_id()) {
            return true;
        }
    }
    return false;
}

PlayerCallback::Run::Run(PlayerCallback& callback) : m_callback(callback)
{
    const std::lock_guard<std::mutex> lock(callback.m_mutex);
    m_pair = {callback.m_function, callback.m_user};
    if (!m_pair.pfnDrawCallback) {
        return;
    }
    m_next = callback.m_runs;
    callback.m_runs = this;
}

PlayerCallback::Run::~Run()
{
    if (!m_pair.pfnDrawCallback) {
        return;
    }
    const std::lock_guard<std::mutex> lock(m_callback.m_mutex);
    Run** link = &m_callback.m_runs;
    while (*link != this) {
        link = &(*link)->m_next;
    }
    *link = m_next;
    m_callback.m_runEnded.notify_all();
}

int PlayerCallback::Run::Ask(const __tagQDrawCallbackInfo& info, uint64_t number) const
{
    __tagQDrawCallbackInfo own = info;
    const DrawCallbackScope scope(info.pRender, number);
    return m_pair.pfnDrawCallback(0, &own, static_cast<int>(sizeof(own)), m_pair.pUser);
}

__tagQDrawCallbackInfo DescribePicture(unsigned int frameParam, const tagQRECT& rect, OvelDrawToRender sink,
                                       void* renderer)
{
    __tagQDrawCallbackInfo info = {};
    info.uiFrameParam = frameParam;
    info.iDstWidth = Extent(rect.left, rect.right);
    info.iDstHeight = Extent(rect.top, rect.bottom);
    info.left = rect.left;
    info.top = rect.top;
    info.right = rect.right;
    info.bottom = rect.bottom;
    info.pfnDrawToRender = sink;
    info.pRender = renderer;
    return info;
}
