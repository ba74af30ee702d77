#include "kest/time/TimeText.h"

#include <string_view>

#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/Calls.h"

namespace Tallowmere {

using platform::os;

namespace {

constexpr int kBufferUnits = 64;

/// One half of a text, as its call has written it: it lasts while the object does.
class Half {
public:
    using Format = int (*)(LCID, DWORD, const SYSTEMTIME*, const wchar_t*, wchar_t*, int);

    Half(Format format, LCID locale, const SYSTEMTIME& time, const wchar_t* picture) {
        if (format(locale, 0, &time, picture, m_text, kBufferUnits) == 0) {
            reportSystemError(0, nullptr);
            // Our choice: what a failed call leaves in its buffer is nobody's text.
            m_text[0] = L'\0';
        }
    }

    std::wstring_view text() const { return m_text; }

private:
    wchar_t m_text[kBufferUnits];
};

Half dateOf(const SYSTEMTIME& time, const wchar_t* picture) {
    return {os().GetDateFormatW, os().GetThreadLocale(), time, picture};
}

Half clockOf(const SYSTEMTIME& time, const wchar_t* picture) {
    return {os().GetTimeFormatW, os().GetThreadLocale(), time, picture};
}

std::wstring joined(const Half& date, std::wstring_view separator, const Half& clock) {
    std::wstring text;
    text.reserve(std::size_t{2} * kBufferUnits);
    return text.append(date.text()).append(separator).append(clock.text());
}

/// Whether a date begins with the year of the fields, as it does in the calendar that they belong
/// to.
bool beginsWithYear(std::wstring_view date, const SYSTEMTIME& time) {
    const std::wstring year = std::to_wstring(time.wYear);
    return date.substr(0, year.size()) == year;
}

}  // namespace

std::wstring systemTimeToStringHuman(const SYSTEMTIME& time, const wchar_t* dateFormat,
                                     const wchar_t* timeFormat) {
    const Half date = dateOf(time, dateFormat == nullptr ? L"dddd, MMMM d, yyyy" : dateFormat);
    return joined(date, L", ",
                  clockOf(time, timeFormat == nullptr ? L"h':'mm':'ss tt" : timeFormat));
}

std::wstring systemTimeToStringCoded(const SYSTEMTIME& time) {
    constexpr const wchar_t* kPicture = L"yyyy.MM.dd";
    constexpr LCID kNoLanguage = 0x007F;
    const Half date = dateOf(time, kPicture);
    const Half clock = clockOf(time, L"HH.mm.ss");
    if (date.text().empty() || beginsWithYear(date.text(), time)) {
        return joined(date, L"-", clock);
    }
    // Our choice: a thread whose language counts the years otherwise (on Windows, 2553 in Thai and
    // 1431 in Saudi Arabia for 2010) does not change a stamp that is a name for programs. The date
    // is then asked for once more, without a language.
    return joined(Half(os().GetDateFormatW, kNoLanguage, time, kPicture), L"-", clock);
}

std::wstring filetimeToString(FILETIME time, bool toLocalTime, bool human) {
    if (time.dwLowDateTime == 0 && time.dwHighDateTime == 0) {
        return L"Null";
    }
    // Deliberate: neither conversion is checked. Without the first the time stays UTC; without the
    // second the fields stay zero, which the formatting then reports.
    FILETIME shown = time;
    if (toLocalTime) {
        (void)os().FileTimeToLocalFileTime(&time, &shown);
    }
    SYSTEMTIME fields{};
    (void)os().FileTimeToSystemTime(&shown, &fields);
    return human ? systemTimeToStringHuman(fields, nullptr, nullptr)
                 : systemTimeToStringCoded(fields);
}

}  // namespace Tallowmere
