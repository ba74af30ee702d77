#pragma once

#include "kest/platform/Win32.h"

namespace Tallowmere::platform {

/// The English text that Windows has for an error code, without the line end that it gives with it;
/// null when this table has none. What is to be inserted ("%1") stands as it is.
const char* systemMessage(DWORD code);

}  // namespace Tallowmere::platform
