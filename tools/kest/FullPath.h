#pragma once

#include <string>

namespace Tallowmere::command {

/// The path that the library is given for a path that the user typed.
std::wstring fullPath(const std::wstring& path);

}  // namespace Tallowmere::command
