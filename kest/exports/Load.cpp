// All static objects of the library that need construction, in one file, because only within a file
// their order is fixed: each may use those above it, and they are destroyed in reverse. The
// standard streams come first of all, through <iostream>.

#include <iostream>

#include "kest/diagnostics/Recorder.h"
#include "kest/exports/ExportLock.h"
#include "kest/sync/Lock.h"

namespace Tallowmere {

// Whatever follows may log, from its constructor on, so the locks of the trace stand before it. A
// thread takes them in the opposite order: the export lock, then the creation lock, then a line's.
Lock Recorder::s_instanceLock;
Lock s_exportLock;

}  // namespace Tallowmere
