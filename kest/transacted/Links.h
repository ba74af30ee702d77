#pragma once

#include <string>

#include "kest/Export.h"

namespace Tallowmere {

/// The final path of what `path` points at: every link on the way resolved, in the form that begins
/// with "\\?\". `isDirectory` says whether a directory is expected; a directory cannot be opened
/// without it. Changes nothing, and leaves nothing open. Throws std::runtime_error, after an ERROR
/// trace line with the same text, when the target is missing, cannot be opened for reading while
/// others may only read it too, or has no final path.
KEST_API std::wstring getLinkTarget(const wchar_t* path, bool isDirectory);

}  // namespace Tallowmere
