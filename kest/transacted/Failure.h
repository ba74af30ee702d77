#pragma once

#include "kest/Export.h"

namespace Tallowmere {

/// The failure routine of the transacted operations and of the links. Writes a message as one ERROR
/// trace line of the module Utilities and then, if `throwIt`, throws a std::runtime_error whose
/// what() is the same message, each character cut to its low byte; otherwise it returns normally.
/// The message is `text` (not null), followed, if `appendSystemError`, by " failed: " and the
/// system's text for the calling thread's last error, line end included. So call it straight after
/// the call that failed. What the last error is afterwards is not said.
KEST_API void reportFailure(const wchar_t* text, bool throwIt, bool appendSystemError);

}  // namespace Tallowmere
