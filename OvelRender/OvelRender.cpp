#include "OvelRender.h"

#include "CLS_ShaderYuv.h"
#include "CLS_ShaderYuvSubImage.h"
#include "Guarded.h"
#include "LiveRenderers.h"
#include "OsCoreApi.h"

#include <QApplication>
#include <QReadLocker>
#include <QReadWriteLock>
#include <QThread>

#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <optional>

namespace
{

constexpr int ReadLockMilliseconds = 500;
constexpr int CreateLockMilliseconds = 2000;
constexpr int ShowLockMilliseconds = 500;

// The lock is built first and goes last. Renderers and mutexes still registered at unload stay: the host owns
// them.
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
        if (m_held)
            s_lockRWShader.unlock();
    }
    RegistryWriteLock(const RegistryWriteLock&) = delete;
    RegistryWriteLock& operator=(const RegistryWriteLock&) = delete;
    explicit operator bool() const { return m_held; }

private:
    const bool m_held;
};

// One exported call for one renderer: found, kept alive and serialised until it ends; false when the call is
// refused. The registry lock is dropped before the renderer's mutex is taken, so that a slow renderer never
// blocks the others.
class RendererCall
{
public:
    explicit RendererCall(void* pcls, std::optional<int> milliseconds = std::nullopt)
    {
        if (IsInsideDrawCallback(pcls) || !Find(pcls))
            return;
        if (!milliseconds)
            m_mutex->lock();
        else if (!m_mutex->tryLock(*milliseconds))
            return;
        m_locked = true;
    }
    ~RendererCall()
    {
        if (m_locked)
            m_mutex->unlock();
    }
    RendererCall(const RendererCall&) = delete;
    RendererCall& operator=(const RendererCall&) = delete;
    explicit operator bool() const { return m_locked; }
    CLS_ShaderBase* operator->() const { return m_renderer; }

private:
    bool Find(void* pcls)
    {
        if (!s_registryStands || !s_lockRWShader.tryLockForRead(ReadLockMilliseconds))
            return false;
        m_renderer = FindShader(pcls, m_mutex, false);
        // Counted before the registry is let go, so that a release that comes now waits for this call.
        m_use.emplace(m_renderer);
        s_lockRWShader.unlock();
        return static_cast<bool>(*m_use);
    }

    std::optional<RendererUse> m_use;
    CLS_ShaderBase* m_renderer = nullptr;
    QMutex* m_mutex = nullptr;
    bool m_locked = false;
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
        if (dladdr(reinterpret_cast<void*>(&StayLoaded), &info) && info.dli_fname)
            dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
    });
}

// A renderer that its Qt parent deleted; one that was released is not found any more.
void ForgetRenderer(void* renderer)
{
    if (!s_registryStands)
        return;
    QMutex* mutex = nullptr;
    {
        const RegistryWriteLock lock;
        FindShader(renderer, mutex, true);
    }
    delete mutex;
}

CLS_ShaderBase* ConstructShader(int type)
{
    if (type == 7)
        return new CLS_ShaderYuvSubImage;
    return new CLS_ShaderYuv;
}

bool IsRendererType(int type)
{
    return static_cast<unsigned int>(type) - 3u < 4u || type == 0 || type == 7;
}

CLS_ShaderBase* CreateRegistered(int type)
{
    std::unique_ptr<CLS_ShaderBase> renderer(ConstructShader(type));
    auto mutex = std::make_unique<QMutex>();
    {
        const RegistryWriteLock lock(CreateLockMilliseconds);
        if (!lock) {
            renderer.reset();
            LogError("OvelRender", "CreateShader", __LINE__,
                     "CreateShader failed, type=%d. tryLockForWrite time out", type);
            return nullptr;
        }
        s_mapRender[renderer.get()] = mutex.get();
    }
    static_cast<void>(mutex.release()); // the registry's now
    SetRetireHandler(renderer.get(), &ForgetRenderer);
    return renderer.release();
}

void* CreateHandle(int type, const char* function, void* pLayout)
{
    CLS_ShaderBase* const renderer = CreateShader(type);
    if (!renderer)
        return nullptr;
    if (pLayout && !Guarded(false, [&] { return renderer->Create(pLayout) == 0; })) {
        LogError("OvelRender", function, __LINE__, "the layout did not take the widget");
    }
    return renderer;
}

// Widgets are taken apart by the GUI thread alone.
void DetachAndDelete(CLS_ShaderBase* renderer)
{
    // After the application nothing can be done to a widget any more.
    if (!QCoreApplication::instance())
        return;
    if (QThread::currentThread() == renderer->thread()) {
        renderer->DeleteLabels();
        renderer->setParent(nullptr);
        renderer->deleteLater();
        return;
    }
    QMetaObject::invokeMethod(
        renderer, [renderer] { DetachAndDelete(renderer); }, Qt::QueuedConnection);
}

int ReleaseRenderer(void* pcls)
{
    if (!s_registryStands)
        return 0;
    std::unique_ptr<QMutex> mutex;
    std::optional<RendererUse> use;
    CLS_ShaderBase* renderer = nullptr;
    {
        const RegistryWriteLock lock;
        QMutex* found = nullptr;
        renderer = FindShader(pcls, found, true);
        mutex.reset(found);
        use.emplace(renderer);
    }
    if (!mutex || !*use)
        return 0;
    // Calls in flight still need the mutex; none can come any more, records for the sink neither.
    use->Retire();
    mutex->lock();
    const int result = Guarded(-1, [&] {
        // A release on another thread leaves the widget alive for a while: it must not ask the host again.
        tagOvelDrawCallback none = {};
        renderer->SetParam(OVELCMD_SET_DRAW_CALLBACK, &none, sizeof(none));
        renderer->Release();
        DetachAndDelete(renderer);
        return 0;
    });
    mutex->unlock();
    return result;
}

} // namespace

CLS_ShaderBase* CreateShader(int type)
{
    if (!IsRendererType(type)) {
        LogError("OvelRender", "CreateShader", __LINE__, "CreateShader failed, type=%d.", type);
        return nullptr;
    }
    if (!IsGuiThread()) {
        LogError("OvelRender", "CreateShader", __LINE__,
                 "CreateShader failed, type=%d. not the thread of a QApplication", type);
        return nullptr;
    }
    return Guarded<CLS_ShaderBase*>(nullptr, [&] {
        StayLoaded();
        return CreateRegistered(type);
    });
}

CLS_ShaderBase* FindShader(void* key, QMutex*& mutex, bool erase)
{
    const auto entry = s_mapRender.lower_bound(static_cast<CLS_ShaderBase*>(key));
    if (entry == s_mapRender.end() || entry->first != key)
        return nullptr;
    CLS_ShaderBase* const renderer = entry->first;
    mutex = entry->second;
    if (erase)
        s_mapRender.erase(entry);
    return renderer;
}

void* Ovel_Create(void* pLayout)
{
    return Guarded<void*>(nullptr, [&] {
        LoadOSSDK(nullptr);
        void* const handle = CreateHandle(0, "Ovel_Create", pLayout);
        if (!handle)
            LogError("OvelRender", "Ovel_Create", __LINE__,
                     "[OvelInterface::Ovel_Create] new OvelYUVShader failed");
        return handle;
    });
}

void* Ovel_CreateEx(void* pParam, int iSize)
{
    return Guarded<void*>(nullptr, [&]() -> void* {
        LoadOSSDK(nullptr);
        if (!pParam)
            return nullptr;
        int type = 0;
        if (iSize < 0) {
            LogError("OvelRender", "Ovel_CreateEx", __LINE__,
                     "[OvelInterface::Ovel_CreateEx] invalid param, size=%d", iSize);
            return nullptr;
        }
        std::memcpy(&type, pParam, static_cast<size_t>(std::min(iSize, 4)));
        void* const handle = CreateHandle(type, "Ovel_CreateEx", nullptr);
        if (!handle)
            LogError("OvelRender", "Ovel_CreateEx", __LINE__,
                     "[OvelInterface::Ovel_CreateEx] new OvelYUVShader failed, type=%d", type);
        return handle;
    });
}

int Ovel_Release(void* pcls)
{
    if (!pcls || IsInsideDrawCallback(pcls))
        return -1;
    return Guarded(-1, [&] {
        api_sdk_log_msg("[Ovel_Release] pcls = %p", pcls);
        return ReleaseRenderer(pcls);
    });
}

int Ovel_ShowYuvFrame(void* pcls, void* pFrame, int iSize)
{
    return Guarded(-1, [&] {
        const RendererCall call(pcls, ShowLockMilliseconds);
        return call ? call->ShowYuvFrame(pFrame, iSize) : -1;
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
        if (call)
            call->ClearDraw();
        return 0;
    });
}
