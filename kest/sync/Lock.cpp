#include "kest/sync/Lock.h"

#include <new>

#include "kest/platform/Calls.h"
#include "kest/sync/LockImpl.h"

namespace Tallowmere {

using platform::os;

namespace {

/// Null for a lock that could not be made: every operation then answers false.
HANDLE handleOf(const LockImpl* impl) {
    return impl == nullptr ? nullptr : impl->handle;
}

bool wait(HANDLE mutex, int timeout) {
    if (mutex == nullptr) {
        return false;
    }
    // Deliberate: a mutex whose owner ended without releasing it counts as not acquired, although
    // the thread owns it now. Who was told "false" and goes on alone must release it all the same.
    return os().WaitForSingleObject(mutex, static_cast<DWORD>(timeout)) == WAIT_OBJECT_0;
}

}  // namespace

LockImpl::LockImpl() : handle(os().CreateMutexW(nullptr, FALSE, nullptr)) {}

LockImpl::~LockImpl() {
    if (handle != nullptr) {
        (void)os().CloseHandle(handle);
    }
}

// Our choice: without memory it is a lock that cannot be acquired, as without a mutex; no operation
// of a lock throws.
Lock::Lock() : impl(new (std::nothrow) LockImpl) {}

Lock::~Lock() {
    delete impl;
}

[[gnu::hot]] bool Lock::acquire(int timeout) {
    return wait(handleOf(impl), timeout);
}

[[gnu::hot]] bool Lock::release() {
    const HANDLE mutex = handleOf(impl);
    return mutex != nullptr && os().ReleaseMutex(mutex) != FALSE;
}

LockGuard::LockGuard(Lock& lockToHold, int timeout) : lock(lockToHold), isAcquired(false) {
    isAcquired = wait(handleOf(lock.impl), timeout);
}

LockGuard::~LockGuard() {
    if (const HANDLE mutex = handleOf(lock.impl); mutex != nullptr) {
        // Deliberate: released whether or not the wait succeeded. A thread that does not own the
        // mutex is refused and changes nothing; one that was told "false" for an abandoned mutex
        // gives back what it owns all the same.
        (void)os().ReleaseMutex(mutex);
    }
    isAcquired = false;
}

bool LockGuard::acquired() const {
    return isAcquired;
}

unsigned long getThreadId() {
    return os().GetCurrentThreadId();
}

}  // namespace Tallowmere
