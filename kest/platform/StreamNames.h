#pragma once

#include <string>

namespace Tallowmere::platform {

/// The name under which a standard file stream opens the file that the narrow path `path` names to
/// the library. The same on Windows; elsewhere separators and the prefix "\\?\" are understood as
/// by every call of the library that takes a path.
std::string streamFileName(std::string path);

}  // namespace Tallowmere::platform
