#pragma once

#include "kest/platform/Win32.h"

namespace Tallowmere::platform {

/// The English text of a result code of the management service, without the line end that it is
/// given with; null when this table has none.
const char* wbemMessage(DWORD code);

/// Where the system keeps the module with these texts, and the handle that loading it gives. The
/// module itself is this table.
extern const wchar_t kSystemDirectory[];
extern const wchar_t kWbemMessagePath[];
HMODULE wbemMessageModule();

}  // namespace Tallowmere::platform
