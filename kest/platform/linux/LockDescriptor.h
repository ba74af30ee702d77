#pragma once

#include "kest/platform/linux/Descriptor.h"

namespace Tallowmere::platform {

/// Owns the descriptor of a lock that has to end with this process. The system keeps such a lock as
/// long as anybody has the opening, and a child that was forked has it, too, until it executes
/// another program: one that never does would make what its parent has left behind look held. So a
/// forked child closes its copy at once; what the object owns there is nothing.
class LockDescriptor {
public:
    explicit LockDescriptor(Descriptor descriptor);
    ~LockDescriptor();
    LockDescriptor(const LockDescriptor&) = delete;
    LockDescriptor& operator=(const LockDescriptor&) = delete;

private:
    friend struct LockDescriptors;
    Descriptor m_descriptor;
    LockDescriptor* m_next = nullptr;
};

}  // namespace Tallowmere::platform
