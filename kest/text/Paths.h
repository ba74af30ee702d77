#pragma once

#include <cstdint>
#include <string>

#include "kest/Export.h"

/// Paths taken apart as text: nothing here touches the file system, logs, throws anything but what
/// the standard containers throw, or keeps state.
///
/// The backslash and the slash both separate. A path may stand in double quotation marks, as taken
/// from a command line, where a function says so. It may also be a history path, which leads into a
/// snapshot: `\\machine\C$\@GMT-2010.05.17-08.30.00\Users\file.txt` (see HistoryPaths.h). Such a
/// path belongs to the drive whose administrative share (`C$`) stands before the stamp.
namespace Tallowmere {

/// The last component of `path`, together with a separator that ends the path: `C:\a\b.txt` gives
/// `b.txt` and `C:\a\b\` gives `b\`. A path without any separator, or whose only separator is its
/// last unit, comes back whole. A path that mixes separators and ends in one may come out empty.
KEST_API std::wstring baseName(const std::wstring& path);

/// What follows the last dot of the last component, without one closing quotation mark: `tar.gz`
/// gives `gz`, `.profile` gives `profile`. Empty when there is none. The case is kept.
KEST_API std::wstring getFileExtension(const std::wstring& path);

/// Puts `extension`, given without a dot, in the place of everything after the last dot of `path`.
/// A path that has no dot, or ends with one, stays as it is. Folder names are not told from file
/// names: `C:\dir.d\file` becomes `C:\dir.` and the extension.
KEST_API void changeExtension(std::wstring& path, const wchar_t* extension);

/// The position of the last separator of `path`, so that the last component starts one unit after
/// it. `std::wstring::npos` when there is none.
KEST_API std::uint64_t getPathLastComponent(const std::wstring& path);

/// `path` in the form in which paths are compared: slashes for backslashes, then lowered by
/// toLower.
KEST_API std::wstring normalizePath(const std::wstring& path);

/// The upper-case letter of the drive that `path`, plain, quoted or a history path, belongs to; 0
/// when it names none.
KEST_API wchar_t getDrive(const std::wstring& path);

/// Whether `path`, plain or quoted, begins with a letter and a colon. What follows is not looked
/// at, so `C:relative` is rooted too. A history path, which begins with a share, is not.
KEST_API bool isDriveRootedPath(const std::wstring& path);

/// Whether getDrive gives the same letter for both paths. Two paths without a drive are not on the
/// same one.
KEST_API bool arePathsOnTheSameDrive(const std::wstring& first, const std::wstring& second);

/// The live path that a history path stands for, or any other path without the quotation marks
/// around it. Empty for a path of fewer than two units, and for a history path with fewer than
/// three units before its stamp.
KEST_API std::wstring getCurrentPath(const std::wstring& path);

/// getCurrentPath without its first two units, which are a drive letter and a colon in all paths
/// that this is meant for; they are not checked. A shorter result comes back as it is.
KEST_API std::wstring getCurrentPathNoDrive(const std::wstring& path);

}  // namespace Tallowmere
