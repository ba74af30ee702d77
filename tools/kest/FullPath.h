#pragma once

#include <string>

namespace Tallowmere::command {

/// The path that the library is given for a path that the user typed.
std::wstring fullPath(const std::wstring& path);

/// What the library is given for a text that the user typed and that is no path: a backslash of it
/// is one, although a file name could hold it.
std::wstring plainText(const std::wstring& argument);

}  // namespace Tallowmere::command
