#pragma once

#include <string>

#include "kest/Export.h"

/// Directory trees replaced and deleted all or nothing: each call is one file-system transaction
/// and, unless it is committed at the end, the disk keeps its state from before the call. Calls on
/// different threads are independent, except through the file system. Each step is traced under the
/// module name TransactedFS.
///
/// Left alone wherever they are met: "$RECYCLE.BIN" and "System Volume Information" at the root of a
/// drive, and of a history snapshot three levels below one. Links are never followed on the way.
namespace Tallowmere {

/// Replaces the tree at `destination`, whether there is one or not, by a copy of the tree at
/// `source`. In the copy a link to a file is the same link; a junction, and a link to a directory,
/// is a symbolic link to the absolute path of its target. A destination that is the source, or lies
/// inside it, is refused before anything is touched.
///
/// Throws std::runtime_error, after an ERROR trace line with the same text. ERROR lines alone are no
/// failure: one is written for each directory that does not exist yet.
KEST_API void CopyDirectoryTransacted(const std::wstring& source, const std::wstring& destination);

/// Deletes the tree at `path`, `path` itself included; a bare drive ("C:") is emptied. A tree that
/// is not there is no error but for an ERROR trace line. A `path` that begins with "\\?\" can be
/// emptied but not removed, so such a call fails. Throws as CopyDirectoryTransacted does.
KEST_API void DeleteDirectoryTransacted(std::wstring path);

}  // namespace Tallowmere
