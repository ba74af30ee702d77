#pragma once

#include "kest/Export.h"

namespace Tallowmere {

class LockImpl;

/// A mutual-exclusion object: an unnamed mutex that its owner may acquire again and must release
/// once for each acquisition. No operation throws or logs.
class KEST_API Lock {
public:
    Lock();  ///< Nobody owns it.
    ~Lock();
    Lock(const Lock&) = default;             ///< Shares the mutex, which each would close.
    Lock& operator=(const Lock&) = default;  ///< As for a copy; the own mutex is lost.

    /// Waits up to `timeout` milliseconds, -1 for ever. True only when the mutex was acquired in the
    /// ordinary way: false after the time-out, after a failure, and for a mutex whose owner ended
    /// without releasing it, although the calling thread then owns it.
    bool acquire(int timeout);

    /// False when the calling thread does not own the mutex.
    bool release();

private:
    friend class LockGuard;
    LockImpl* impl;
};

/// Takes a lock for a scope.
class KEST_API LockGuard {
public:
    LockGuard(Lock& lock, int timeout);  ///< Waits as Lock::acquire does.
    ~LockGuard();  ///< Releases the lock, also when the wait failed but gave it to the thread.
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

    /// Whether the wait ended in the ordinary way; see Lock::acquire.
    bool acquired() const;

private:
    Lock& lock;
    bool isAcquired;
};

/// The calling thread's identifier.
KEST_API unsigned long getThreadId();

}  // namespace Tallowmere
