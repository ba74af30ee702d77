#pragma once

#include "kest/Export.h"

namespace Tallowmere {

/// Writes `text` as an ERROR trace line and, if `throwIt`, throws a std::runtime_error with the same
/// message, each character cut to its low byte. With `appendSystemError` the message is `text`,
/// " failed: " and the system's text for the calling thread's last error, so call it straight after
/// the call that failed.
KEST_API void reportFailure(const wchar_t* text, bool throwIt, bool appendSystemError);

}  // namespace Tallowmere
