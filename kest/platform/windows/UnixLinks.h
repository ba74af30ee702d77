#pragma once

#include <string>

#include "kest/platform/Win32.h"

/// Wine shows the symbolic links of the Unix disk below it, but has no calls that work on a link
/// itself: reading, renaming and deleting all act on what the link leads to, which may be anything
/// anywhere. A link to a directory can be told by its attributes (it is a reparse point without a
/// tag), a link to a file by nothing but that its open file stands at another place.
///
/// So under Wine each entry that is about to be copied, renamed or deleted is looked at first, and
/// a link is refused. Elsewhere nothing here does anything.
namespace Tallowmere::platform {

/// Whether this is Wine.
bool isWine();

/// Where an open file stands, under Wine: the path that the system was given with every link
/// resolved, of any length (GetFinalPathNameByHandleW fails there beyond 263 characters). False
/// elsewhere.
bool unixPlaceOf(HANDLE file, std::wstring& path);

/// ERROR_NOT_SUPPORTED when `file`, opened as `path`, was reached through a Unix link or is the
/// root of another Unix file system, ERROR_SUCCESS when not. The directory of `path` must be one
/// whose links are resolved.
DWORD refuseUnixLink(HANDLE file, const std::wstring& path);

}  // namespace Tallowmere::platform
