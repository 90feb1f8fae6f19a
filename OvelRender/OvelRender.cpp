#include "OvelRender.h"

#include "CLS_ShaderYuv.h"
#include "CLS_ShaderYuvSubImage.h"
#include "Guarded.h"
#include "LiveRenderers.h"
#include "OsCoreApi.h"
#include "RendererSteps.h"
#include "parts/FrameReference.h"

#include <QApplication>
#include <QMutexLocker>
#include <QReadWriteLock>
#include <QThread>
#include <QTimer>

#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <optional>

namespace
{

constexpr int ReadLockMilliseconds = 500;
constexpr int CreateLockMilliseconds = 2000;
constexpr std::chrono::milliseconds ShowLockWait(500);

// The lock is built first and goes last. Renderers and mutexes still registered at unload stay: the host owns
// them. The registry says which handles a host may pass; which renderer objects there are at all, made by
// whomever and released or not, is known to LiveRenderers, which outlives static objects.
QReadWriteLock s_lockRWShader(QReadWriteLock::NonRecursive);
std::map<CLS_ShaderBase*, QMutex*> s_mapRender;

// Hosts that loaded the library late may let go of widgets after its static objects are gone.
std::atomic<bool> s_registryStands{false};
const struct RegistryLifetime {
    RegistryLifetime() { s_registryStands = true; }
    ~RegistryLifetime() { s_registryStands = false; }
} s_registryLifetime;

class RegistryWriteLock
{
public:
    RegistryWriteLock() : m_held(true) { s_lockRWShader.lockForWrite(); }
    explicit RegistryWriteLock(int milliseconds) : m_held(s_lockRWShader.tryLockForWrite(milliseconds)) {}
    ~RegistryWriteLock()
    {
        if (m_held) {
            s_lockRWShader.unlock();
        }
    }
    RegistryWriteLock(const RegistryWriteLock&) = delete;
    RegistryWriteLock& operator=(const RegistryWriteLock&) = delete;
    explicit operator bool() const { return m_held; }

private:
    const bool m_held;
};

// A call would wait for itself: this thread is in one for that renderer further up, in the host's draw callback,
// in a slot of the renderer's signals or in the log.
bool IsInside(const void* renderer)
{
    return IsInsideDrawCallback(renderer) || LettingGo::IsInside(renderer);
}

// One exported call for one renderer: found, kept alive and serialised until it ends; false when the call is
// refused. The registry lock is dropped before the renderer's mutex is taken, so that a slow renderer never
// blocks the others.
class RendererCall
{
public:
    explicit RendererCall(void* pcls, CallTurn::WaitTime limit = WaitLimit())
        : m_isNested(IsInside(pcls)), m_lettingGo(pcls),
          m_locked(!m_isNested && Find(pcls) && RendererSteps(*m_renderer).Turn().Lock(*m_mutex, limit))
    {
    }
    ~RendererCall()
    {
        if (m_locked) {
            m_mutex->unlock();
        }
    }
    RendererCall(const RendererCall&) = delete;
    RendererCall& operator=(const RendererCall&) = delete;
    explicit operator bool() const { return m_locked; }
    CLS_ShaderBase* operator->() const { return m_renderer; }

private:
    bool Find(void* pcls)
    {
        if (!s_registryStands || !s_lockRWShader.tryLockForRead(ReadLockMilliseconds)) {
            return false;
        }
        m_renderer = FindShader(pcls, m_mutex, false);
        // Counted before the registry is let go, so that a release that comes now waits for this call.
        m_use.emplace(m_renderer);
        s_lockRWShader.unlock();
        return static_cast<bool>(*m_use);
    }

    const bool m_isNested;       // asked before the call itself counts
    const LettingGo m_lettingGo; // before the others: ends without the mutex
    std::optional<RendererUse> m_use;
    CLS_ShaderBase* m_renderer = nullptr;
    QMutex* m_mutex = nullptr;
    bool m_locked; // last: needs the others
};

bool IsGuiThread()
{
    return qobject_cast<QApplication*>(QCoreApplication::instance()) &&
           QThread::currentThread() == QCoreApplication::instance()->thread();
}

// Qt may hold events for widgets long after the host let go of them; their code must not be unmapped
// meanwhile.
void StayLoaded()
{
    static std::once_flag once;
    std::call_once(once, [] {
        Dl_info info;
        if (dladdr(reinterpret_cast<void*>(&StayLoaded), &info) && info.dli_fname) {
            dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
        }
    });
}

// Takes a renderer out of the registry: one that is released, or one that its Qt parent deletes.
std::unique_ptr<QMutex> Unregister(void* renderer)
{
    QMutex* mutex = nullptr;
    const RegistryWriteLock lock;
    FindShader(renderer, mutex, true);
    return std::unique_ptr<QMutex>(mutex);
}

void ForgetRenderer(void* renderer)
{
    if (s_registryStands) {
        Unregister(renderer);
    }
}

CLS_ShaderBase* ConstructShader(int type)
{
    if (type == 7) {
        return new CLS_ShaderYuvSubImage;
    }
    return new CLS_ShaderYuv;
}

bool IsRendererType(int type)
{
    return static_cast<unsigned int>(type) - 3u < 4u || type == 0 || type == 7;
}

// Null when the registry stayed locked.
CLS_ShaderBase* CreateRegistered(int type)
{
    std::unique_ptr<CLS_ShaderBase> renderer(ConstructShader(type));
    auto mutex = std::make_unique<QMutex>();
    {
        const RegistryWriteLock lock(CreateLockMilliseconds);
        if (!lock) {
            return nullptr;
        }
        s_mapRender[renderer.get()] = mutex.get();
    }
    static_cast<void>(mutex.release()); // the registry's now
    SetRetireHandler(renderer.get(), &ForgetRenderer);
    return renderer.release();
}

// Widgets are taken apart by the GUI thread alone, and not inside their own events.
void DetachAndDelete(CLS_ShaderBase* renderer)
{
    // After the application nothing can be done to a widget any more.
    if (!QCoreApplication::instance()) {
        return;
    }
    const auto later = [renderer] { DetachAndDelete(renderer); };
    if (QThread::currentThread() != renderer->thread()) {
        QMetaObject::invokeMethod(renderer, later, Qt::QueuedConnection);
    } else if (!RendererSteps(*renderer).CanGo()) {
        // Not posted: an event loop inside the event would run it for ever.
        QTimer::singleShot(1, renderer, later);
    } else {
        renderer->DeleteLabels();
        renderer->setParent(nullptr);
        renderer->deleteLater();
    }
}

// 0 also for a handle that is unknown or being released; -1 inside a call for it, or when its calls took longer
// than this thread may wait, which leaves it as it was.
int ReleaseRenderer(void* pcls)
{
    const bool isNested = LettingGo::IsInside(pcls);
    const LettingGo lettingGo(pcls); // before the others: ends without a lock
    if (!s_registryStands) {
        return 0; // every handle went with it
    }
    CLS_ShaderBase* renderer = nullptr;
    QMutex* mutex = nullptr;
    std::optional<RendererUse> use;
    {
        const RegistryWriteLock lock;
        renderer = FindShader(pcls, mutex, false);
        use.emplace(renderer);
    }
    if (!*use) {
        return 0;
    }
    if (isNested) {
        return -1;
    }
    // Calls in flight need the mutex; none can come any more, records for the sink neither.
    switch (use->Retire()) {
    case RendererUse::Retired::ByAnother:
        return 0;
    case RendererUse::Retired::No:
        return -1;
    case RendererUse::Retired::Yes:
        break;
    }
    int result = -1;
    {
        const QMutexLocker lock(mutex);
        // A release on another thread leaves the widget alive for a while: it must not ask the host again.
        tagOvelDrawCallback none = {};
        if (renderer->SetParam(OVELCMD_SET_DRAW_CALLBACK, &none, sizeof(none)) != 0) {
            use->Revive();
            return -1;
        }
        result = Guarded(-1, [&] {
            renderer->Release();
            DetachAndDelete(renderer);
            return 0;
        });
    }
    Unregister(renderer);
    return result;
}

} // namespace

CLS_ShaderBase* CreateShader(int type)
{
    if (!IsRendererType(type)) {
        LogError("OvelRender", __func__, __LINE__, "CreateShader failed, type=%d.", type);
        return nullptr;
    }
    if (!IsGuiThread()) {
        LogError("OvelRender", __func__, __LINE__,
                 "CreateShader failed, type=%d. not the thread of a QApplication", type);
        return nullptr;
    }
    bool wasLocked = false;
    CLS_ShaderBase* const renderer = Guarded<CLS_ShaderBase*>(nullptr, [&] {
        StayLoaded();
        CLS_ShaderBase* const created = CreateRegistered(type);
        wasLocked = !created;
        return created;
    });
    if (wasLocked) {
        LogError("OvelRender", __func__, __LINE__, "CreateShader failed, type=%d. tryLockForWrite time out",
                 type);
    }
    return renderer;
}

CLS_ShaderBase* FindShader(void* key, QMutex*& mutex, bool erase)
{
    const auto entry = s_mapRender.lower_bound(static_cast<CLS_ShaderBase*>(key));
    if (entry == s_mapRender.end() || entry->first != key) {
        return nullptr;
    }
    CLS_ShaderBase* const renderer = entry->first;
    mutex = entry->second;
    if (erase) {
        s_mapRender.erase(entry);
    }
    return renderer;
}

void* Ovel_Create(void* pLayout)
{
    LoadOSSDK(nullptr);
    CLS_ShaderBase* const renderer = CreateShader(0);
    if (!renderer) {
        LogError("OvelRender", __func__, __LINE__, "[OvelInterface::Ovel_Create] new OvelYUVShader failed");
        return nullptr;
    }
    if (pLayout && !Guarded(false, [&] { return renderer->Create(pLayout) == 0; })) {
        LogError("OvelRender", __func__, __LINE__, "the layout did not take the widget");
    }
    return renderer;
}

void* Ovel_CreateEx(void* pParam, int iSize)
{
    LoadOSSDK(nullptr);
    if (!pParam) {
        return nullptr;
    }
    if (iSize < 0) {
        LogError("OvelRender", __func__, __LINE__, "[OvelInterface::Ovel_CreateEx] invalid param, size=%d",
                 iSize);
        return nullptr;
    }
    int type = 0;
    std::memcpy(&type, pParam, static_cast<size_t>(std::min(iSize, 4)));
    CLS_ShaderBase* const renderer = CreateShader(type);
    if (!renderer) {
        LogError("OvelRender", __func__, __LINE__,
                 "[OvelInterface::Ovel_CreateEx] new OvelYUVShader failed, type=%d", type);
    }
    return renderer;
}

int Ovel_Release(void* pcls)
{
    if (!pcls || IsInsideDrawCallback(pcls)) {
        return -1;
    }
    return Guarded(-1, [&] {
        api_sdk_log_msg("[Ovel_Release] pcls = %p", pcls);
        return ReleaseRenderer(pcls);
    });
}

int Ovel_ShowYuvFrame(void* pcls, void* pFrame, int iSize)
{
    return Guarded(-1, [&] {
        const RendererCall call(pcls, ShowLockWait);
        return call ? call->ShowYuvFrame(pFrame, iSize) : -1;
    });
}

int Ovel_ShowYuvFrameRef(void* pcls, void* pFrame, int iSize, OvelFrameRelease release, void* pUser)
{
    FrameReference reference(release, pUser); // given back at the end unless the renderer has taken it
    return Guarded(-1, [&] {
        const RendererCall call(pcls, ShowLockWait);
        return call ? RendererSteps(*call.operator->()).TakeReference(pFrame, iSize, reference) : -1;
    });
}

int Ovel_SetParam(void* pcls, int iCmd, void* pData, int iSize)
{
    return Guarded(-1, [&] {
        const RendererCall call(pcls);
        return call ? call->SetParam(iCmd, pData, iSize) : -1;
    });
}

int Ovel_GetParam(void* pcls, int iCmd, void* pData, int iSize)
{
    return Guarded(-1, [&] {
        const RendererCall call(pcls);
        return call ? call->GetParam(iCmd, pData, iSize) : -1;
    });
}

void Ovel_ClearDraw(void* pcls)
{
    Guarded(0, [&] {
        const RendererCall call(pcls);
        if (call) {
            call->ClearDraw();
        }
        return 0;
    });
}
