// ThreadSanitizer sees the synchronisation of instrumented code and of the
// pthread calls it intercepts, but Qt is not instrumented, and QMutex locks
// through futexes that ThreadSanitizer never hears of. Every access that a
// QMutex orders then looks like a race: for example a test's own log of
// signals guarded by a QMutex, or QThread's start and wait.
//
// This file is linked into the threaded tests of the ThreadSanitizer build
// only. It defines the out-of-line lock operations that code outside QtCore
// calls (the executable's definitions come first in symbol lookup), forwards
// each to QtCore's own and tells ThreadSanitizer what happened: a lock
// acquires the mutex, an unlock releases it, and a wait on a condition
// releases and re-acquires it. Calls inside QtCore are bound directly and
// stay unseen; the ThreadSanitizer suppressions name what that leaves.
#include <QMutex>
#include <QReadWriteLock>
#include <QWaitCondition>

#include <dlfcn.h>

extern "C" void __tsan_acquire(void* addr);
extern "C" void __tsan_release(void* addr);

namespace {

template <typename F>
F qtCore(const char* symbol)
{
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, symbol));
}

} // namespace

void QMutex::lock() QT_MUTEX_LOCK_NOEXCEPT
{
    static const auto real = qtCore<void (*)(QMutex*)>("_ZN6QMutex4lockEv");
    real(this);
    __tsan_acquire(this);
}

bool QMutex::tryLock(int timeout) QT_MUTEX_LOCK_NOEXCEPT
{
    static const auto real = qtCore<bool (*)(QMutex*, int)>("_ZN6QMutex7tryLockEi");
    const bool locked = real(this, timeout);
    if (locked)
        __tsan_acquire(this);
    return locked;
}

void QMutex::unlock() noexcept
{
    static const auto real = qtCore<void (*)(QMutex*)>("_ZN6QMutex6unlockEv");
    __tsan_release(this);
    real(this);
}

// The slow paths of QBasicMutex's inline lock and unlock; their fast paths
// are atomics in the caller's code, which ThreadSanitizer sees.
void QBasicMutex::lockInternal() QT_MUTEX_LOCK_NOEXCEPT
{
    static const auto real = qtCore<void (*)(QBasicMutex*)>("_ZN11QBasicMutex12lockInternalEv");
    real(this);
    __tsan_acquire(this);
}

void QBasicMutex::unlockInternal() noexcept
{
    static const auto real = qtCore<void (*)(QBasicMutex*)>("_ZN11QBasicMutex14unlockInternalEv");
    __tsan_release(this);
    real(this);
}

void QReadWriteLock::lockForRead()
{
    static const auto real = qtCore<void (*)(QReadWriteLock*)>("_ZN14QReadWriteLock11lockForReadEv");
    real(this);
    __tsan_acquire(this);
}

void QReadWriteLock::lockForWrite()
{
    static const auto real = qtCore<void (*)(QReadWriteLock*)>("_ZN14QReadWriteLock12lockForWriteEv");
    real(this);
    __tsan_acquire(this);
}

void QReadWriteLock::unlock()
{
    static const auto real = qtCore<void (*)(QReadWriteLock*)>("_ZN14QReadWriteLock6unlockEv");
    __tsan_release(this);
    real(this);
}

bool QWaitCondition::wait(QMutex* lockedMutex, QDeadlineTimer deadline)
{
    static const auto real =
        qtCore<bool (*)(QWaitCondition*, QMutex*, QDeadlineTimer)>("_ZN14QWaitCondition4waitEP6QMutex14QDeadlineTimer");
    __tsan_release(lockedMutex);
    __tsan_release(this);
    const bool woken = real(this, lockedMutex, deadline);
    __tsan_acquire(this);
    __tsan_acquire(lockedMutex);
    return woken;
}

bool QWaitCondition::wait(QMutex* lockedMutex, unsigned long time)
{
    static const auto real =
        qtCore<bool (*)(QWaitCondition*, QMutex*, unsigned long)>("_ZN14QWaitCondition4waitEP6QMutexm");
    __tsan_release(lockedMutex);
    __tsan_release(this);
    const bool woken = real(this, lockedMutex, time);
    __tsan_acquire(this);
    __tsan_acquire(lockedMutex);
    return woken;
}

void QWaitCondition::wakeOne()
{
    static const auto real = qtCore<void (*)(QWaitCondition*)>("_ZN14QWaitCondition7wakeOneEv");
    __tsan_release(this);
    real(this);
}

void QWaitCondition::wakeAll()
{
    static const auto real = qtCore<void (*)(QWaitCondition*)>("_ZN14QWaitCondition7wakeAllEv");
    __tsan_release(this);
    real(this);
}
