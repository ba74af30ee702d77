#pragma once

#include "kest/platform/Win32.h"

namespace Tallowmere::platform {

/// The Windows error code that stands for an errno value. ERROR_GEN_FAILURE for one without a
/// counterpart.
DWORD errorFromErrno(int value);

}  // namespace Tallowmere::platform
