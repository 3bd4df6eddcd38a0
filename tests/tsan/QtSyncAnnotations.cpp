// Tells ThreadSanitizer how Qt synchronises what our code hands it.
//
// Qt 5 is not built with ThreadSanitizer, so two kinds of ordering that our code relies on are
// invisible to it and every access they order would be reported as raced:
// - QMutex: lock, tryLock and unlock are compiled into Qt's own library, so every member guarded by
//   a QMutex (the port's read and write lock, the receive buffer's lock, the drivers' start-up locks,
//   the port catalogue's lock) looks unguarded;
// - queued calls: a worker hands a call (and the bytes it captured) to the port's thread with
//   QMetaObject::invokeMethod; Qt passes it over through its posted-event queue under its own lock,
//   the port's thread runs it from QObject::event, and whichever thread drops the last reference
//   to the call destroys it.
// This small shared object is preloaded into the test processes of the ThreadSanitizer pass (see
// .ci/run). It takes the place of those Qt entry points for every caller outside Qt, forwards each
// call to Qt's own, and tells ThreadSanitizer what happened: the mutex annotations for a QMutex; for
// a queued call, a release when it is posted paired with an acquire before it runs, and a release
// when it has run paired with an acquire before the poster drops its reference (as Qt's queue lock
// and reference count order them). Nothing else of Qt is touched. What Qt itself allocates, copies
// and frees (its event queue, a queued signal's copied arguments) is kept out of ThreadSanitizer's
// view by running with ignore_noninstrumented_modules=1, as for any library built without it.
//
// It needs neither Qt nor ThreadSanitizer to load, so it can be preloaded into a whole test run
// (ctest itself and the compilers a test starts included): the sanitizer's entry points are looked
// up weakly, Qt's only when one of its functions is first called through here. CMake builds it in a
// ThreadSanitizer build (-DCHROMA_TSAN=ON) as build-dir/libqtsync-tsan.so, like this one line:
//   g++ -shared -fPIC -O1 -DQT_NO_VERSION_TAGGING $(pkg-config --cflags Qt5Core)
//       tests/tsan/QtSyncAnnotations.cpp -o libqtsync-tsan.so -ldl

#include <QEvent>
#include <QObject>

#include <sanitizer/tsan_interface.h>

// Present only in a process built with ThreadSanitizer; every call below is made only there.
#pragma weak __tsan_acquire
#pragma weak __tsan_release
#pragma weak __tsan_mutex_pre_lock
#pragma weak __tsan_mutex_post_lock
#pragma weak __tsan_mutex_pre_unlock
#pragma weak __tsan_mutex_post_unlock
#pragma weak __tsan_mutex_destroy

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

namespace {

// Whether this process runs with ThreadSanitizer.
bool tsan() {
    return &__tsan_acquire != nullptr;
}

// Qt's own definition of an entry point, found past this object in the lookup order.
void* qtEntryPoint(const char* mangled) {
    void* entry = dlvsym(RTLD_NEXT, mangled, "Qt_5");
    if (!entry)
        entry = dlsym(RTLD_NEXT, mangled);
    if (!entry) {
        std::fprintf(stderr, "QtSyncAnnotations: %s not found in Qt\n", mangled);
        std::abort();
    }
    return entry;
}

typedef void (*MemberFn)(void*);
typedef bool (*TryLockFn)(void*, int);
typedef bool (*EventFn)(void*, QEvent*);
typedef bool (*InvokeFn)(void*, void*, int, void*);

// Stand for Qt's posted-event queue and for the reference count of a queued call: every queued call
// is released to the first when posted and acquired from it before it runs; every call that has run
// is released to the second, acquired before its poster drops its reference.
char g_postedCalls;
char g_finishedCalls;

} // namespace

// The Itanium C++ names of the Qt functions taken over, defined here as plain functions of `this`:
// QMutex's out-of-line members, QObject::event(QEvent*) and QMetaObject::invokeMethodImpl(QObject*,
// QtPrivate::QSlotObjectBase*, Qt::ConnectionType, void*). Our classes' virtual tables reach
// QObject::event through the dynamic linker, so it sees every event delivered to an object of ours
// that does not handle it itself, a queued call among them.
extern "C" void qtsyncQMutexLock(void* self) __asm__("_ZN6QMutex4lockEv");
extern "C" void qtsyncQMutexUnlock(void* self) __asm__("_ZN6QMutex6unlockEv");
extern "C" bool qtsyncQMutexTryLock(void* self, int timeout) __asm__("_ZN6QMutex7tryLockEi");
extern "C" void qtsyncQMutexDestroy1(void* self) __asm__("_ZN6QMutexD1Ev");
extern "C" void qtsyncQMutexDestroy2(void* self) __asm__("_ZN6QMutexD2Ev");
extern "C" bool qtsyncObjectEvent(void* self, QEvent* event) __asm__("_ZN7QObject5eventEP6QEvent");
extern "C" bool qtsyncInvokeMethodImpl(void* object, void* slot, int type, void* ret) __asm__(
    "_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPv");

extern "C" void qtsyncQMutexLock(void* self) {
    static const MemberFn lock = reinterpret_cast<MemberFn>(qtEntryPoint("_ZN6QMutex4lockEv"));
    if (!tsan())
        return lock(self);
    __tsan_mutex_pre_lock(self, 0);
    lock(self);
    __tsan_mutex_post_lock(self, 0, 0);
}

extern "C" void qtsyncQMutexUnlock(void* self) {
    static const MemberFn unlock = reinterpret_cast<MemberFn>(qtEntryPoint("_ZN6QMutex6unlockEv"));
    if (!tsan())
        return unlock(self);
    __tsan_mutex_pre_unlock(self, 0);
    unlock(self);
    __tsan_mutex_post_unlock(self, 0);
}

extern "C" bool qtsyncQMutexTryLock(void* self, int timeout) {
    static const TryLockFn tryLock = reinterpret_cast<TryLockFn>(qtEntryPoint("_ZN6QMutex7tryLockEi"));
    if (!tsan())
        return tryLock(self, timeout);
    __tsan_mutex_pre_lock(self, __tsan_mutex_try_lock);
    const bool locked = tryLock(self, timeout);
    __tsan_mutex_post_lock(self, __tsan_mutex_try_lock | (locked ? 0 : __tsan_mutex_try_lock_failed), 0);
    return locked;
}

// A destroyed mutex's memory may hold another one later: forget what was known of it.
extern "C" void qtsyncQMutexDestroy1(void* self) {
    static const MemberFn destroy = reinterpret_cast<MemberFn>(qtEntryPoint("_ZN6QMutexD1Ev"));
    if (tsan())
        __tsan_mutex_destroy(self, 0);
    destroy(self);
}

extern "C" void qtsyncQMutexDestroy2(void* self) {
    static const MemberFn destroy = reinterpret_cast<MemberFn>(qtEntryPoint("_ZN6QMutexD2Ev"));
    if (tsan())
        __tsan_mutex_destroy(self, 0);
    destroy(self);
}

extern "C" bool qtsyncObjectEvent(void* self, QEvent* event) {
    static const EventFn objectEvent = reinterpret_cast<EventFn>(qtEntryPoint("_ZN7QObject5eventEP6QEvent"));
    if (!tsan() || !event || event->type() != QEvent::MetaCall)
        return objectEvent(self, event);
    __tsan_acquire(&g_postedCalls);
    const bool handled = objectEvent(self, event);
    __tsan_release(&g_finishedCalls);
    return handled;
}

extern "C" bool qtsyncInvokeMethodImpl(void* object, void* slot, int type, void* ret) {
    static const InvokeFn invoke = reinterpret_cast<InvokeFn>(qtEntryPoint(
        "_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPv"));
    if (!tsan() || !slot)
        return invoke(object, slot, type, ret);
    // Qt drops the caller's reference to the call before returning; holding one more here lets the
    // last drop, if it is this thread's, come after the acquire below.
    QtPrivate::QSlotObjectBase* call = static_cast<QtPrivate::QSlotObjectBase*>(slot);
    call->ref();
    // Everything the caller did so far, the call's captured bytes included, comes before the call runs.
    __tsan_release(&g_postedCalls);
    const bool result = invoke(object, slot, type, ret);
    __tsan_acquire(&g_finishedCalls);
    call->destroyIfLastRef();
    return result;
}
