#pragma once

#include <string>

#include "kest/Export.h"

namespace Tallowmere {

/// The final path of what `path` points at, every link on the way resolved, with the prefix "\\?\".
/// `isDirectory` says whether a directory is expected. Throws std::runtime_error, after an ERROR
/// trace line with the same text.
KEST_API std::wstring getLinkTarget(const wchar_t* path, bool isDirectory);

}  // namespace Tallowmere
