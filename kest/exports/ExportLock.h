#pragma once

#include "kest/sync/Lock.h"

namespace Tallowmere {

/// Serialises the C entry points that write to the trace. Taken before, and released after, the
/// Recorder's own locks.
extern Lock s_exportLock;

}  // namespace Tallowmere
