#pragma once

#include "kest/platform/Win32.h"

namespace Tallowmere {

/// What a Lock points to: the mutex and nothing else.
class LockImpl {
public:
    /// Makes an unnamed mutex that nobody owns. When that fails the handle is null.
    LockImpl();
    /// Closes the mutex.
    virtual ~LockImpl();
    LockImpl(const LockImpl&) = delete;
    LockImpl& operator=(const LockImpl&) = delete;

    HANDLE handle;
};

}  // namespace Tallowmere
