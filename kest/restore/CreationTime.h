#pragma once

#include <string_view>

#include "kest/platform/Types.h"

namespace Tallowmere {

/// The first 14 characters of the management service's date and time, yyyyMMddHHmmss. What follows
/// (a fraction, the offset from UTC) does not count. The day of the week is 65535, not known, and
/// the milliseconds are 0. Nothing is checked: a field that is no number is 0, and so is one beyond
/// the end of the text (our choice: one damaged point shall not hide all others).
SYSTEMTIME readCreationTime(std::wstring_view text);

}  // namespace Tallowmere
