#pragma once

#include <string>

namespace Tallowmere {

/// Whether a tree walk leaves the entry at `path` alone: the recycle bin and the volume information
/// folder, at the root of a drive and at the root of a history snapshot three levels below one.
/// Compared without regard to case. Pure text work; any thread.
bool isExcludedPath(const std::wstring& path);

/// Whether `path` is a drive alone ("C:", "C:\"), whose root can be emptied but never removed.
/// Pure text work; any thread.
bool isBareDrive(const std::wstring& path);

}  // namespace Tallowmere
