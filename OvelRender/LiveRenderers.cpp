#include "LiveRenderers.h"

#include <map>

namespace
{

struct LiveRenderer {
    int uses = 0;
    int retiring = 0; // a release and the destructor may wait at the same time, and only one of them give up
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
    if (entry == table.renderers.end()) {
        return;
    }
    ++entry->second.retiring;
    table.useEnded.wait(lock, [&] { return entry->second.uses == 0; });
    const RetireHandler retired = entry->second.retired;
    table.renderers.erase(entry);
    lock.unlock();
    if (retired) {
        retired(renderer);
    }
}

void SetRetireHandler(const void* renderer, RetireHandler handler)
{
    LiveTable& table = Table();
    const std::lock_guard<std::mutex> lock(table.mutex);
    const auto entry = table.renderers.find(renderer);
    if (entry != table.renderers.end()) {
        entry->second.retired = handler;
    }
}

RendererUse::RendererUse(const void* renderer) : m_renderer(nullptr)
{
    LiveTable& table = Table();
    const std::lock_guard<std::mutex> lock(table.mutex);
    const auto entry = table.renderers.find(renderer);
    if (entry == table.renderers.end() || entry->second.retiring > 0) {
        return;
    }
    ++entry->second.uses;
    m_renderer = renderer;
}

RendererUse::~RendererUse()
{
    if (!m_renderer) {
        return;
    }
    LiveTable& table = Table();
    const std::lock_guard<std::mutex> lock(table.mutex);
    LiveRenderer& renderer = table.renderers.find(m_renderer)->second;
    --renderer.uses;
    if (renderer.retiring > 0) {
        table.useEnded.notify_all();
    }
}

RendererUse::Retired RendererUse::Retire() const
{
    LiveTable& table = Table();
    std::unique_lock<std::mutex> lock(table.mutex);
    LiveRenderer& renderer = table.renderers.find(m_renderer)->second;
    if (renderer.retiring > 0) {
        return Retired::ByAnother;
    }
    ++renderer.retiring;
    if (WaitWithin(table.useEnded, lock, [&] { return renderer.uses == 1; })) {
        return Retired::Yes;
    }
    --renderer.retiring;
    return Retired::No;
}

void RendererUse::Revive() const
{
    LiveTable& table = Table();
    const std::lock_guard<std::mutex> lock(table.mutex);
    --table.renderers.find(m_renderer)->second.retiring;
}

DrawCallbackScope::DrawCallbackScope(const void* renderer, uint64_t run)
    : m_renderer(renderer), m_run(run), m_outer(t_innermostCallback)
{
    t_innermostCallback = this;
}

DrawCallbackScope::~DrawCallbackScope()
{
    t_innermostCallback = m_outer;
}

const DrawCallbackScope* DrawCallbackScope::Find(const void* renderer)
{
    const DrawCallbackScope* scope = t_innermostCallback;
    while (renderer && scope && scope->m_renderer != renderer) {
        scope = scope->m_outer;
    }
    return scope;
}

std::optional<uint64_t> DrawCallbackScope::RunOf(const void* renderer)
{
    const DrawCallbackScope* const scope = Find(renderer);
    return scope ? std::optional(scope->m_run) : std::nullopt;
}

std::optional<std::chrono::milliseconds> WaitLimit()
{
    if (DrawCallbackScope::Find(nullptr)) {
        return std::chrono::milliseconds(500);
    }
    return std::nullopt;
}
