// Tells ThreadSanitizer what Qt's own locks and its event queue order: Qt itself is not instrumented, and its
// slow paths would be invisible. Linked into test programs of thread sanitizer builds only; the definitions
// here take the place of Qt's and forward to them. A lock releases and acquires on its own address, which is
// also where the inlined fast path of QMutexLocker, instrumented with the code that uses it, does its atomic
// operations.
#include <QCoreApplication>
#include <QEvent>
#include <QMutex>
#include <QReadWriteLock>

#include <dlfcn.h>
#include <link.h>

extern "C" void __tsan_acquire(void* address);
extern "C" void __tsan_release(void* address);

namespace
{

template <typename Function> Function Next(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

bool Acquired(void* lock, bool held)
{
    if (held) {
        __tsan_acquire(lock);
    }
    return held;
}

// Queued calls carry no event that the sender sees: they meet at the second byte of the object they go to.
void* CallsOf(const QObject* object)
{
    return reinterpret_cast<char*>(const_cast<QObject*>(object)) + 1;
}

class Deliveries : public QObject
{
public:
    using QObject::QObject;
    bool eventFilter(QObject* receiver, QEvent* event) override
    {
        __tsan_acquire(event);
        if (event->type() == QEvent::MetaCall) {
            __tsan_acquire(CallsOf(receiver));
        }
        return false;
    }
};

// The sanitizer ends the process when a library that its suppressions name is unloaded, as Mesa's driver is
// at the end.
int KeepLoaded(dl_phdr_info* library, size_t, void*)
{
    dlopen(library->dlpi_name, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
    return 0;
}

void WatchDeliveries()
{
    qApp->installEventFilter(new Deliveries(qApp));
    qAddPostRoutine([] { dl_iterate_phdr(&KeepLoaded, nullptr); });
}
Q_COREAPP_STARTUP_FUNCTION(WatchDeliveries)

} // namespace

#define NEXT(name, ...) static const auto next = Next<__VA_ARGS__>(name)

// Events that Qt deletes undelivered when the application ends meet their sender here. By symbol name: a
// definition as a member would bring a second virtual table along.
extern "C" __attribute__((visibility("default"))) void DestroyEvent(QEvent* event) __asm__("_ZN6QEventD2Ev");
void DestroyEvent(QEvent* event)
{
    __tsan_acquire(event);
    NEXT("_ZN6QEventD2Ev", void (*)(QEvent*));
    next(event);
}

void QMutex::lock() QT_MUTEX_LOCK_NOEXCEPT
{
    NEXT("_ZN6QMutex4lockEv", void (*)(QMutex*));
    next(this);
    __tsan_acquire(this);
}

bool QMutex::tryLock(int timeout) QT_MUTEX_LOCK_NOEXCEPT
{
    NEXT("_ZN6QMutex7tryLockEi", bool (*)(QMutex*, int));
    return Acquired(this, next(this, timeout));
}

void QMutex::unlock() noexcept
{
    __tsan_release(this);
    NEXT("_ZN6QMutex6unlockEv", void (*)(QMutex*));
    next(this);
}

void QBasicMutex::lockInternal() QT_MUTEX_LOCK_NOEXCEPT
{
    NEXT("_ZN11QBasicMutex12lockInternalEv", void (*)(QBasicMutex*));
    next(this);
    __tsan_acquire(this);
}

bool QBasicMutex::lockInternal(int timeout) QT_MUTEX_LOCK_NOEXCEPT
{
    NEXT("_ZN11QBasicMutex12lockInternalEi", bool (*)(QBasicMutex*, int));
    return Acquired(this, next(this, timeout));
}

void QBasicMutex::unlockInternal() noexcept
{
    __tsan_release(this);
    NEXT("_ZN11QBasicMutex14unlockInternalEv", void (*)(QBasicMutex*));
    next(this);
}

bool QReadWriteLock::tryLockForRead(int timeout)
{
    NEXT("_ZN14QReadWriteLock14tryLockForReadEi", bool (*)(QReadWriteLock*, int));
    return Acquired(this, next(this, timeout));
}

bool QReadWriteLock::tryLockForWrite(int timeout)
{
    NEXT("_ZN14QReadWriteLock15tryLockForWriteEi", bool (*)(QReadWriteLock*, int));
    return Acquired(this, next(this, timeout));
}

void QReadWriteLock::lockForRead()
{
    NEXT("_ZN14QReadWriteLock11lockForReadEv", void (*)(QReadWriteLock*));
    next(this);
    __tsan_acquire(this);
}

void QReadWriteLock::lockForWrite()
{
    NEXT("_ZN14QReadWriteLock12lockForWriteEv", void (*)(QReadWriteLock*));
    next(this);
    __tsan_acquire(this);
}

void QReadWriteLock::unlock()
{
    __tsan_release(this);
    NEXT("_ZN14QReadWriteLock6unlockEv", void (*)(QReadWriteLock*));
    next(this);
}

void QCoreApplication::postEvent(QObject* receiver, QEvent* event, int priority)
{
    __tsan_release(event);
    NEXT("_ZN16QCoreApplication9postEventEP7QObjectP6QEventi", void (*)(QObject*, QEvent*, int));
    next(receiver, event, priority);
}

void QMetaObject::activate(QObject* sender, const QMetaObject* meta, int signal, void** arguments)
{
    __tsan_release(CallsOf(sender));
    NEXT("_ZN11QMetaObject8activateEP7QObjectPKS_iPPv", void (*)(QObject*, const QMetaObject*, int, void**));
    next(sender, meta, signal, arguments);
}

bool QMetaObject::invokeMethodImpl(QObject* object, QtPrivate::QSlotObjectBase* slot, Qt::ConnectionType type,
                                   void* result)
{
    __tsan_release(CallsOf(object));
    NEXT("_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPv",
         bool (*)(QObject*, QtPrivate::QSlotObjectBase*, Qt::ConnectionType, void*));
    return next(object, slot, type, result);
}
