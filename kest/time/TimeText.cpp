#include "kest/time/TimeText.h"

#include <iterator>

#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/Calls.h"

namespace Tallowmere {

using platform::os;

namespace {

constexpr int kBufferUnits = 64;

/// Both halves, each in a buffer of its own.
std::wstring formatted(const SYSTEMTIME& time, const wchar_t* datePicture, const wchar_t* separator,
                       const wchar_t* timePicture) {
    wchar_t date[kBufferUnits];
    if (os().GetDateFormatW(os().GetThreadLocale(), 0, &time, datePicture, date, kBufferUnits) ==
        0) {
        reportSystemError(0, nullptr);
        // Our choice: what a failed call leaves in its buffer is nobody's text.
        date[0] = L'\0';
    }
    wchar_t clock[kBufferUnits];
    if (os().GetTimeFormatW(os().GetThreadLocale(), 0, &time, timePicture, clock, kBufferUnits) ==
        0) {
        reportSystemError(0, nullptr);
        clock[0] = L'\0';
    }
    std::wstring text;
    text.reserve(std::size_t{2} * kBufferUnits);
    return text.append(date).append(separator).append(clock);
}

}  // namespace

std::wstring systemTimeToStringHuman(const SYSTEMTIME& time, const wchar_t* dateFormat,
                                     const wchar_t* timeFormat) {
    return formatted(time, dateFormat == nullptr ? L"dddd, MMMM d, yyyy" : dateFormat, L", ",
                     timeFormat == nullptr ? L"h':'mm':'ss tt" : timeFormat);
}

std::wstring systemTimeToStringCoded(const SYSTEMTIME& time) {
    return formatted(time, L"yyyy.MM.dd", L"-", L"HH.mm.ss");
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
