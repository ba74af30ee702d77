#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// UTF-8, one character at a time. Wide text has 16-bit units on Windows and 32-bit ones elsewhere;
/// these work on characters, so they are the same on both.
namespace Tallowmere::platform::utf8 {

/// What stands for something that is no character.
inline constexpr std::uint32_t kReplacement = 0xFFFD;

/// Decodes the character at `at` into `c`. Its length in bytes, or 0 when the bytes there are not
/// valid UTF-8 (`c` is then undefined): shortest forms only, no surrogates, nothing beyond
/// U+10FFFF.
std::size_t decode(std::string_view text, std::size_t at, std::uint32_t& c);

/// Appends `c`, which is a character (no surrogate, not beyond U+10FFFF).
void append(std::uint32_t c, std::string& out);

/// All of `wide`. A pair of surrogates is one character; half a pair, and a unit that is no
/// character, become U+FFFD: the result is always valid.
std::string encode(std::wstring_view wide);

}  // namespace Tallowmere::platform::utf8
