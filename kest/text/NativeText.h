#pragma once

#include <string>

#include "kest/Export.h"

/// Between the library's wide text and the bytes that a program is handed and hands on: arguments,
/// environment, a terminal, a file's text. Hosts on Linux need it to name any file at all:
///
///     int main(int count, char** arguments) {
///         Tallowmere::DeleteDirectoryTransacted(Tallowmere::fromNative(arguments[1]));
namespace Tallowmere {

/// Wide text from the system's bytes, which are UTF-8.
///
/// On Linux a file name may hold any bytes, and a wide path takes a backslash for a separator. So a
/// byte that is not part of valid UTF-8 and a backslash each become the private-use character
/// U+F000 plus the byte, which the library understands in every path. The same is done to a
/// character of the text that is itself one of those. Different bytes give different wide texts,
/// and toNative gives the same bytes back.
///
/// On Windows, where names are wide, a byte that is not valid UTF-8 becomes U+FFFD.
KEST_API std::wstring fromNative(const std::string& text);

/// The system's bytes for wide text: UTF-8, on Linux with the private-use characters of fromNative
/// turned back into their bytes. Separators stay what they are. Half a surrogate pair and what is
/// no character at all become U+FFFD.
KEST_API std::string toNative(const std::wstring& text);

/// UTF-8 for wide text, valid whatever the text holds: for files and programs that expect no less.
/// Unlike toNative it leaves the private-use characters alone.
KEST_API std::string toUtf8(const std::wstring& text);

}  // namespace Tallowmere
