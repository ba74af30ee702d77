#pragma once

#include <string>
#include <string_view>

/// File names between the library's wide text and the bytes on a Linux disk.
///
/// Names on disk are UTF-8. What a wide path cannot express in plain form, a byte that is not part
/// of valid UTF-8 and a backslash (a separator in a wide path), stands in wide text as the
/// private-use character U+F000 plus the byte. A name that really holds one of those characters is
/// mapped byte by byte as well, so every name on disk has exactly one wide form and comes back from
/// it unchanged.
namespace Tallowmere::platform::names {

/// The wide form of one name or of a whole native path.
std::wstring widen(std::string_view native);
/// The same into a text that is there already, whose memory is used again.
void widen(std::string_view native, std::wstring& wide);

/// The bytes of one name or of text without separators to convert, behind what `native` holds
/// already. False for a unit that no name
/// can hold (a surrogate, a number beyond U+10FFFF).
bool narrow(std::wstring_view wide, std::string& native);

/// A native path from a wide one: one leading "\\?\" is understood and dropped, both separators
/// become "/". Returns 0, or the Windows error that such a path gets: ERROR_PATH_NOT_FOUND for the
/// empty path, ERROR_INVALID_NAME for one that cannot be a name (a second prefix, a bad unit).
unsigned int toNativePath(const wchar_t* wide, std::string& native);

}  // namespace Tallowmere::platform::names
