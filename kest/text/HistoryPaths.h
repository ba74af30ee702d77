#pragma once

#include <string>

#include "kest/Export.h"

namespace Tallowmere {

KEST_API bool isHistoryPath(const std::wstring& path);
KEST_API std::wstring getTimeFromHistoryPath(const std::wstring& path);
KEST_API std::wstring localizeHistoryTime(const std::wstring& timestamp);

}  // namespace Tallowmere
