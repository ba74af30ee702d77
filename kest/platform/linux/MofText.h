#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// The characters of a file in Managed Object Format.
namespace Tallowmere::platform::mof {

/// All of a file as text. UTF-8 with or without a byte-order mark, or UTF-16 with one; false when
/// it is neither.
bool decode(std::string_view bytes, std::wstring& text);

/// Appends a UTF-16 unit. The second half of a pair joins the first one to a character; half a pair
/// stays alone.
void appendUnit(std::uint32_t unit, std::wstring& text);

/// The value of a number that is written with a point and perhaps an exponent, whatever the
/// process's locale says.
double realNumber(const std::string& digits);

}  // namespace Tallowmere::platform::mof
