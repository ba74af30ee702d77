// Everything that is built while the library is being loaded and destroyed while it is being
// unloaded. It stands in one file because only within a file the order is fixed: from top to
// bottom, and backwards at the end. An object that uses another one stands below it. New ones go to
// the end, unless what is there already needs them. The standard streams come first of all, through
// <iostream>.

#include <iostream>

#include "kest/diagnostics/Recorder.h"
#include "kest/exports/ExportLock.h"
#include "kest/registry/Catalogue.h"
#include "kest/registry/InstalledPrograms.h"
#include "kest/restore/MessageModule.h"
#include "kest/sync/Lock.h"
#include "kest/time/DateTime.h"
#include "kest/time/DateTimeImpl.h"

namespace Tallowmere {

// The constants of the time type: first what they are copied from, then they themselves.
const DateTimeImpl DateTimeImpl::s_begin(SYSTEMTIME{0, 0, 0xFFFF, 0, 0, 0, 0, 0});
const DateTimeImpl DateTimeImpl::s_end(SYSTEMTIME{32767, 32767, 0xFFFF, 32767, 32767, 32767, 32767,
                                                  0});
const DateTimeImpl DateTimeImpl::s_invalid{DateTimeImpl::Invalid{}};

const DateTime DateTime::s_begin(new DateTimeImpl(DateTimeImpl::s_begin));
const DateTime DateTime::s_end(new DateTimeImpl(DateTimeImpl::s_end));
const DateTime DateTime::s_invalid(new DateTimeImpl(DateTimeImpl::s_invalid));

// Whatever follows may log, from its constructor on, so the locks of the trace stand before it. A
// thread takes them in the opposite order: the export lock, then the creation lock, then a line's.
Lock Recorder::s_instanceLock;
Lock s_exportLock;

// Where a failed query finds its text.
const HMODULE s_messageModule = loadMessageModule();

// Reads the registry here and now. It throws nothing but for want of memory, starts no thread and
// waits for none: on Windows the loader's lock is held meanwhile.
InstalledPrograms s_installedPrograms;

}  // namespace Tallowmere
