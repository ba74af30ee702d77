#pragma once

#include <string>

#include "kest/Export.h"

namespace Tallowmere {

/// Makes a symbolic link at `destination` that points where the link at `source` leads in the end:
/// a relative link becomes an absolute one, a chain of links one link, a junction a link to a
/// directory. The link at `source` stays as it is. Works outside of any transaction. Throws
/// std::runtime_error, after an ERROR trace line with the same text, when `source` is missing or no
/// link, when what it leads to cannot be opened for reading or has no final path, and when the new
/// link cannot be made, also because something stands at `destination`. Nothing is left behind
/// then. Windows makes links only for a process that holds the privilege to do so.
KEST_API void CopyLink(const std::wstring& source, const std::wstring& destination);

/// The final path of what `path` points at: every link on the way resolved, in the form that begins
/// with "\\?\". `isDirectory` says whether a directory is expected; a directory cannot be opened
/// without it. Changes nothing, and leaves nothing open. Throws std::runtime_error, after an ERROR
/// trace line with the same text, when the target is missing, cannot be opened for reading while
/// others may only read it too, or has no final path.
KEST_API std::wstring getLinkTarget(const wchar_t* path, bool isDirectory);

}  // namespace Tallowmere
