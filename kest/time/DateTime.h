#pragma once

#include <cstdint>
#include <string>
#include <type_traits>

#include "kest/Export.h"

namespace Tallowmere {

class DateTimeImpl;

/// A point in time.
///
/// The value is kept in UTC as calendar fields down to the millisecond; local time, that of the
/// computer's present time zone, appears only where a flag asks for it. Counts begin at
/// 1601-01-01 00:00:00 UTC, not at 1970:
///
///     DateTime(2000, 1, 1, 0, 0, 0, false).getSecondsSinceEpoch()   // 12591158400
///     DateTime(L"12591158400") == DateTime(2000, 1, 1, 0, 0, 0, false)
///
/// Fields are not checked when they are stored, so a value may be no time of the calendar (month 13,
/// the three constants below). Such a value can be copied and compared; what has to convert it says
/// so in its result: -1, an empty text, or no change.
///
/// A plain value without locking: distinct values may be used on distinct threads. Nothing here
/// throws but what is said below, and std::bad_alloc.
class KEST_API DateTime {
public:
    /// Now.
    DateTime();

    /// That many seconds after 1601-01-01 00:00:00 UTC. A count that the system cannot convert, a
    /// negative one or one beyond the year 30827, is not reported; the value is then s_invalid.
    DateTime(std::int64_t seconds);

    DateTime(const DateTime& other);  ///< The same time.

    /// The fields of a calendar time: month 1 to 12, day 1 to 31, hour 0 to 23.
    ///
    /// With `isLocalTime` false they are UTC and are taken as they are, possible or not. With
    /// `isLocalTime` true they are local time and are converted, with the daylight-saving rule for
    /// that date; when the system refuses, the system's text for that is written to std::wcerr and
    /// the value is s_invalid.
    DateTime(unsigned short year, unsigned short month, unsigned short day, unsigned short hour,
             unsigned short minute, unsigned short second, bool isLocalTime);

    /// The count of seconds that `text` spells, as timestampString writes it: a sign or none, then
    /// decimal digits, nothing else. Throws boost::bad_lexical_cast for any other text, and for a
    /// number that does not fit into 64 bits.
    DateTime(const std::wstring& text);

    DateTime& operator=(const DateTime& other);  ///< Takes the other time.
    ~DateTime();

    /// Moves the time forward. A value that is no time of the calendar stays as it is, and so does
    /// one that would leave it. There is no way backward.
    DateTime& operator+=(unsigned long seconds);

    /// The text for a person: the date, ", " and the time of day, as local time or as UTC, in the
    /// language of the calling thread's locale.
    ///
    /// The formats are pictures of the Windows kind, as systemTimeToStringHuman takes them; null
    /// means "dddd, MMMM d, yyyy" for the date and "h':'mm':'ss tt" for the time. With
    /// `withMilliseconds` "." and three digits are put in front of the first " PM", else of the
    /// first " AM", else of the text's last character.
    ///
    /// Empty when the conversion to local time fails; the system's text for that is then written to
    /// std::wcerr. A value that cannot be formatted gives what systemTimeToStringHuman gives.
    std::wstring toString(bool toLocalTime, const wchar_t* dateFormat, const wchar_t* timeFormat,
                          bool withMilliseconds) const;

    /// The seconds since 1601-01-01 00:00:00 UTC in decimal, empty for a value that is no time of
    /// the calendar.
    std::wstring timestampString() const;

    /// Whole seconds since 1601-01-01 00:00:00 UTC, milliseconds dropped; -1 for a value that is no
    /// time of the calendar.
    std::int64_t getSecondsSinceEpoch() const;

    /// Microseconds since 1601-01-01 00:00:00 UTC; -1 for a value that is no time of the calendar.
    std::int64_t getMicroSecondsSinceEpoch() const;

    /// Three values that are no times: s_begin < every real time < s_end < s_invalid. They exist from
    /// the loading of the library to its unloading.
    static const DateTime s_begin;
    static const DateTime s_end;      ///< Follows every real time.
    static const DateTime s_invalid;  ///< What could not be converted.

private:
    friend KEST_API bool operator==(const DateTime& left, const DateTime& right);
    friend KEST_API bool operator<(const DateTime& left, const DateTime& right);

    /// Adopts `adopted`. A template so that a plain 0 is a number of seconds and never a null pointer.
    template <class Pointer, class = std::enable_if_t<std::is_same_v<Pointer, DateTimeImpl*>>>
    explicit DateTime(Pointer adopted) : impl(adopted) {}

    /// Owned, never shared and never null.
    DateTimeImpl* impl;
};

/// Whether year, month, day, hour, minute, second and millisecond are the same. The day of the week
/// does not count, so a value built from fields equals the same time taken from the clock.
KEST_API bool operator==(const DateTime& left, const DateTime& right);
KEST_API bool operator!=(const DateTime& left, const DateTime& right);  ///< Not ==.
/// Whether `left` comes first: the first of those seven fields that differs decides.
KEST_API bool operator<(const DateTime& left, const DateTime& right);
KEST_API bool operator<=(const DateTime& left, const DateTime& right);  ///< < or ==.
KEST_API bool operator>(const DateTime& left, const DateTime& right);   ///< Not <=.
KEST_API bool operator>=(const DateTime& left, const DateTime& right);  ///< Not <.

}  // namespace Tallowmere
