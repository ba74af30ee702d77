#pragma once

#include <string>

#include "kest/Export.h"

namespace Tallowmere {

/// The system's text for a Windows error code, with the line end that system texts carry. Code 0
/// means the calling thread's last error. `module` is the handle of a module whose message table is
/// asked instead of the system's, or null. A code without a text gives "Unknown error code: 0x" and
/// the code in lower-case hexadecimal. `code` is taken as 32 bits. Throws only when memory runs out.
KEST_API std::wstring getSystemErrorMessage(unsigned long code, void* module);

/// Writes `operation`, " failed: " and the text of `code` (0: the last error) to std::wcerr and ends
/// the line; a null `operation` leaves the first two away. Writes no trace line and throws nothing
/// of its own.
KEST_API void reportSystemError(unsigned long code, const wchar_t* operation);

}  // namespace Tallowmere
