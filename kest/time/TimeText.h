#pragma once

#include <string>

#include "kest/Export.h"
#include "kest/platform/Types.h"

namespace Tallowmere {

KEST_API std::wstring systemTimeToStringHuman(const SYSTEMTIME& time, const wchar_t* dateFormat,
                                              const wchar_t* timeFormat);
KEST_API std::wstring systemTimeToStringCoded(const SYSTEMTIME& time);
KEST_API std::wstring filetimeToString(FILETIME time, bool toLocalTime, bool human);

}  // namespace Tallowmere
