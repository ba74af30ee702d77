#pragma once

#include <string>

#include "kest/Export.h"

/// History paths: the paths of files and folders inside a snapshot of a drive. One component
/// carries the snapshot's time in UTC, `@GMT-2010.05.17-08.30.00`, directly after the drive's
/// administrative share: `\\machine\C$\@GMT-2010.05.17-08.30.00\Users\file.txt`. Its 19 characters
/// behind `@GMT-` are what systemTimeToStringCoded writes. The marker is matched with its case.
///
/// None of these functions logs, throws anything but what the standard containers throw, or keeps
/// state; each may run on any thread.
namespace Tallowmere {

/// What the component that carries the time begins with, and what a history path is recognised by.
inline constexpr wchar_t kHistoryMarker[] = L"@GMT";

/// Whether `@GMT` occurs anywhere in `path`. Nothing else is checked.
KEST_API bool isHistoryPath(const std::wstring& path);

/// The time of the snapshot that `path` leads into, as localizeHistoryTime shows it. "Now" for a
/// path without a stamp; empty when no separator follows the stamp, or the stamp is none.
KEST_API std::wstring getTimeFromHistoryPath(const std::wstring& path);

/// The local time of the stamp `timestamp` (`2010.05.17-08.30.00`, UTC) in the form that
/// systemTimeToStringHuman gives by default, with the daylight-saving rule for that date of the
/// zone that the computer is set to now. Empty when the length or the punctuation is wrong, the
/// time is none, or the zone cannot be read.
KEST_API std::wstring localizeHistoryTime(const std::wstring& timestamp);

}  // namespace Tallowmere
