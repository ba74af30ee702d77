#pragma once

#include "kest/platform/Win32.h"

namespace Tallowmere::platform {

/// The system's CreateSymbolicLinkW, but that a success is one. Wine's always says yes, whatever is
/// asked of it, and makes nothing: there it fails, with ERROR_ALREADY_EXISTS where something stands
/// at `link` and with ERROR_NOT_SUPPORTED elsewhere.
BOOLEAN createSymbolicLink(const wchar_t* link, const wchar_t* target, DWORD flags);

}  // namespace Tallowmere::platform
