#pragma once

#include <string_view>

namespace Tallowmere {

/// What the Windows C runtime's `_wtoi` reads: white space, a sign, decimal digits of any script
/// that it knows; what follows does not count. 0 without any digit; the largest or smallest value
/// for a number beyond it. Internal.
int leadingInteger(std::wstring_view text);

}  // namespace Tallowmere
