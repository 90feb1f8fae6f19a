#include "FrameReference.h"

#include "Guarded.h"

namespace
{

thread_local LettingGo* t_innermost = nullptr;

} // namespace

FrameReference::~FrameReference()
{
    if (m_release) {
        Guarded(0, [&] {
            m_release(m_user);
            return 0;
        });
    }
}

LettingGo::LettingGo(const void* renderer)
    : m_renderer(renderer), m_outer(t_innermost), m_joins(m_outer && m_outer->m_renderer == renderer)
{
    if (!m_joins) {
        t_innermost = this;
    }
}

LettingGo::~LettingGo()
{
    if (!m_joins) {
        t_innermost = m_outer; // before the host's code, which may call the library
    }
}

bool LettingGo::IsInside(const void* renderer)
{
    const LettingGo* scope = t_innermost;
    while (scope && scope->m_renderer != renderer) {
        scope = scope->m_outer;
    }
    return scope != nullptr;
}

void LettingGo::Later(FrameReference reference)
{
    if (t_innermost && !t_innermost->m_gone.m_release) {
        std::swap(t_innermost->m_gone.m_release, reference.m_release);
        std::swap(t_innermost->m_gone.m_user, reference.m_user);
    }
}
