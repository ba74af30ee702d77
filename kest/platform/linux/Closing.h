#pragma once

#include "kest/platform/Win32.h"

namespace Tallowmere::platform::standin {

/// What CloseHandle does for a mutex, for a file, and for a process or a thread; false with the
/// last error set when it is none.
bool closeMutex(HANDLE handle);
bool closeFile(HANDLE handle);
bool closeProcess(HANDLE handle);

}  // namespace Tallowmere::platform::standin
