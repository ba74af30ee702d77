#pragma once

#include "kest/platform/Win32.h"

namespace Tallowmere::platform {

/// The Windows error code that stands for an errno value; 0 for 0. ERROR_GEN_FAILURE for one
/// without a counterpart. Every code that it gives has a text (see SystemMessages.h). A call that
/// knows more than errno tells, a missing parent folder for one, chooses its code itself.
DWORD errorFromErrno(int value);

}  // namespace Tallowmere::platform
