#include "LiveRenderers.h"

#include <condition_variable>
#include <map>
#include <mutex>

namespace
{

struct LiveRenderer {
    int uses = 0;
    bool retiring = false;
    RetireHandler retired = nullptr;
};

struct LiveTable {
    std::mutex mutex;
    std::condition_variable useEnded;
    std::map<const void*, LiveRenderer> renderers;
};

// Never destroyed: hosts may let go of renderers while static objects are being destroyed.
LiveTable& Table()
{
    alignas(LiveTable) static unsigned char storage[sizeof(LiveTable)];
    static auto* table = new (storage) LiveTable;
    return *table;
}

thread_local const DrawCallbackScope* t_innermostCallback = nullptr;

} // namespace

void AddLiveRenderer(const void* renderer)
{
    LiveTable& table = Table();
    const std::lock_guard<std::mutex> lock(table.mutex);
    table.renderers.emplace(renderer, LiveRenderer());
}

void RetireLiveRenderer(void* renderer)
{
    LiveTable& table = Table();
    std::unique_lock<std::mutex> lock(table.mutex);
    const auto entry = table.renderers.find(renderer);
    if (entry == table.renderers.end())
        return;
    entry->second.retiring = true;
    table.useEnded.wait(lock, [&] { return entry->second.uses == 0; });
    const RetireHandler retired = entry->second.retired;
    table.renderers.erase(entry);
    lock.unlock();
    if (retired)
        retired(renderer);
}

void SetRetireHandler(const void* renderer, RetireHandler handler)
{
    LiveTable& table = Table();
    const std::lock_guard<std::mutex> lock(table.mutex);
    const auto entry = table.renderers.find(renderer);
    if (entry != table.renderers.end())
        entry->second.retired = handler;
}

RendererUse::RendererUse(const void* renderer) : m_renderer(nullptr)
{
    LiveTable& table = Table();
    const std::lock_guard<std::mutex> lock(table.mutex);
    const auto entry = table.renderers.find(renderer);
    if (entry == table.renderers.end() || entry->second.retiring)
        return;
    ++entry->second.uses;
    m_renderer = renderer;
}

RendererUse::~RendererUse()
{
    if (!m_renderer)
        return;
    LiveTable& table = Table();
    const std::lock_guard<std::mutex> lock(table.mutex);
    LiveRenderer& renderer = table.renderers.find(m_renderer)->second;
    --renderer.uses;
    if (renderer.retiring)
        table.useEnded.notify_all();
}

void RendererUse::Retire() const
{
    LiveTable& table = Table();
    std::unique_lock<std::mutex> lock(table.mutex);
    LiveRenderer& renderer = table.renderers.find(m_renderer)->second;
    renderer.retiring = true;
    table.useEnded.wait(lock, [&] { return renderer.uses == 1; });
}

DrawCallbackScope::DrawCallbackScope(const void* renderer)
    : m_renderer(renderer), m_outer(t_innermostCallback)
{
    t_innermostCallback = this;
}

DrawCallbackScope::~DrawCallbackScope()
{
    t_innermostCallback = m_outer;
}

bool IsInsideDrawCallback(const void* renderer)
{
    for (const DrawCallbackScope* scope = t_innermostCallback; scope; scope = scope->m_outer) {
        if (scope->m_renderer == renderer)
            return true;
    }
    return false;
}
