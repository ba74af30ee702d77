#pragma once

#include <string>

#include "kest/Export.h"

namespace Tallowmere {

KEST_API void launchProcess(const std::wstring& commandLine);

}  // namespace Tallowmere
