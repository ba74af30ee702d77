#pragma once

#include <cstddef>

#include "kest/platform/Win32.h"
#include "kest/platform/linux/TimeLanguage.h"

/// The picture language of Windows' date and time formatting.
///
/// A picture is copied unit by unit, except that
/// - in a date picture d and dd give the day, ddd and dddd its name, M to MMMM the month likewise,
///   y and yy the year's last two digits, yyyy all of them, g and gg the era;
/// - in a time picture h and hh give the hour of the 12-hour clock, H and HH that of the 24-hour
///   clock, m and mm the minute, s and ss the second, t the first letter of the day half's marker
///   and tt the marker;
/// - text between single quotes is copied, two quotes in it giving one; the last quote may be
///   missing.
/// A doubled letter gives at least two digits. More letters than the language knows are taken as its
/// longest form. No picture is wrong.
namespace Tallowmere::platform::picture {

/// Takes text into a buffer of fixed size and counts what does not fit as well.
class Text {
public:
    Text(wchar_t* buffer, std::size_t size) : m_buffer(buffer), m_size(size) {}

    void put(wchar_t unit) {
        if (m_length < m_size) {
            m_buffer[m_length] = unit;
        }
        ++m_length;
    }
    void put(const wchar_t* text) {
        for (; *text != L'\0'; ++text) {
            put(*text);
        }
    }
    void put(unsigned int number, unsigned int digits);

    /// How long the whole text is.
    std::size_t length() const { return m_length; }

private:
    wchar_t* m_buffer;
    std::size_t m_size;
    std::size_t m_length = 0;
};

/// Writes the date of `time`, which must be one of the calendar; its day of the week is worked out.
/// A month takes the form that it has beside a day when the picture has a d or dd anywhere.
void writeDate(const wchar_t* picture, const SYSTEMTIME& time, language::Language words,
               Text& text);

/// Writes the time of day of `time`.
void writeTime(const wchar_t* picture, const SYSTEMTIME& time, language::Language words,
               Text& text);

}  // namespace Tallowmere::platform::picture
