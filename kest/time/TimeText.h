#pragma once

#include <string>

#include "kest/Export.h"
#include "kest/platform/Types.h"

namespace Tallowmere {

/// The date, ", " and the time of day: "Monday, May 17, 2010, 8:30:00 AM". Names are in the language
/// of the calling thread's locale.
///
/// The formats are pictures as GetDateFormatW and GetTimeFormatW take them: "dddd" the name of the
/// day, "MMMM" that of the month, "h" and "HH" the hour of 12 and of 24, "tt" the day half's marker,
/// text in single quotes as it stands. Null means "dddd, MMMM d, yyyy" and "h':'mm':'ss tt". The day
/// of the week in `time` does not matter.
///
/// A half that cannot be formatted (an impossible date or time, more than 63 characters) is empty,
/// and the system's text for that is written to std::wcerr. Throws only when memory runs out.
KEST_API std::wstring systemTimeToStringHuman(const SYSTEMTIME& time, const wchar_t* dateFormat,
                                              const wchar_t* timeFormat);

/// The form for names, of 19 characters: "2010.05.17-08.30.00", in the calendar of the fields also
/// where the thread's language has another one. Failures are as in systemTimeToStringHuman; the hyphen
/// is always there.
KEST_API std::wstring systemTimeToStringCoded(const SYSTEMTIME& time);

/// A file time as text: in the form of systemTimeToStringHuman with the default formats when `human`
/// is true, else in that of systemTimeToStringCoded. "Null" when all 64 bits are zero, which stands
/// for a time that was never recorded.
///
/// `toLocalTime` shifts it by the present difference between local time and UTC, so a summer time is
/// an hour off when it is shown in winter. A file time that is no time of the calendar has no date,
/// as above, and a time of day of zero: "-00.00.00".
KEST_API std::wstring filetimeToString(FILETIME time, bool toLocalTime, bool human);

}  // namespace Tallowmere
