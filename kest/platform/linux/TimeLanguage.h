#pragma once

#include <string_view>

#include "kest/platform/Win32.h"

/// The words that dates and times are written with.
namespace Tallowmere::platform::language {

enum class Word {
    /// Index 0 is Sunday.
    Day,
    ShortDay,
    /// A month that stands alone. Index 0 is January.
    Month,
    ShortMonth,
    /// A month beside its day, where the language has a form of its own for that.
    MonthOfDay,
    ShortMonthOfDay,
    /// 0 before noon, 1 after it. Empty where the language does without.
    HalfDay,
    /// The era of every date of the calendar. Empty where it is not written.
    Era,
};

/// A language is a function, so that looking a word up copies nothing. The text stays valid for as
/// long as the locale that it comes from is in use.
using Language = const wchar_t* (*)(Word word, int index);

const wchar_t* english(Word word, int index);

/// The language of the calling thread's locale (its category LC_TIME, set by uselocale or setlocale).
const wchar_t* ofThread(Word word, int index);

/// Windows' number for a locale from its name in the C library, such as "de_DE.UTF-8": 0x0407. "C"
/// and "POSIX" count as English of the United States, 0x0409.
///
/// Our choice: a locale that has no number, or none that is known here, gets LOCALE_CUSTOM_UNSPECIFIED,
/// the number that Windows itself gives to a locale without one.
LCID numberOf(std::string_view name);

}  // namespace Tallowmere::platform::language
