#pragma once

#include <string>

#include "kest/Export.h"

namespace Tallowmere {

/// Replaces the tree at `destination` by a copy of the tree at `source`, all or nothing. Throws
/// std::runtime_error, after an ERROR trace line with the same text; the disk is then as it was.
KEST_API void CopyDirectoryTransacted(const std::wstring& source, const std::wstring& destination);

/// Deletes the tree at `path`, `path` itself included, all or nothing. A tree that is not there is
/// no error. Throws as CopyDirectoryTransacted does.
KEST_API void DeleteDirectoryTransacted(std::wstring path);

}  // namespace Tallowmere
