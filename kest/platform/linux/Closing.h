#pragma once

#include "kest/platform/Win32.h"

namespace Tallowmere::platform::standin {

/// What CloseHandle does for a mutex and for a file; false with the last error set when it is none.
bool closeMutex(HANDLE handle);
bool closeFile(HANDLE handle);

}  // namespace Tallowmere::platform::standin
