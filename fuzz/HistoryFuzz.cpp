// History paths and the time in them: any path gives a text, and the right one. The zone is
// replaced by UTC and one with summer time, so that what is shown can be worked out here.

#include <algorithm>
#include <cstdint>

#include "fuzz/Input.h"
#include "kest/platform/Calls.h"
#include "kest/text/HistoryPaths.h"

namespace Tallowmere {
namespace {

DWORD universalTime(TIME_ZONE_INFORMATION* zone) {
    *zone = {};
    return TIME_ZONE_ID_UNKNOWN;
}

DWORD unknownZone(TIME_ZONE_INFORMATION* /*zone*/) {
    return TIME_ZONE_ID_INVALID;
}

/// A number as the field's own digits say it: ASCII digits at the front, nothing else.
int number(const std::wstring& digits) {
    int value = 0;
    for (const wchar_t digit : digits) {
        if (digit < L'0' || digit > L'9') {
            break;
        }
        value = value * 10 + (digit - L'0');
    }
    return value;
}

bool isLeap(int year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

int daysIn(int year, int month) {
    static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return kDays[month - 1] + (month == 2 && isLeap(year) ? 1 : 0);
}

/// Day by day from the first day of the calendar, which was a Monday.
int weekday(int year, int month, int day) {
    int days = day;
    for (int y = 1601; y < year; ++y) {
        days += isLeap(y) ? 366 : 365;
    }
    for (int m = 1; m < month; ++m) {
        days += daysIn(year, m);
    }
    return days % 7;
}

std::wstring twoDigits(int value) {
    return {static_cast<wchar_t>(L'0' + value / 10), static_cast<wchar_t>(L'0' + value % 10)};
}

/// What is shown for a stamp of ASCII digits in UTC.
std::wstring expected(const std::wstring& stamp) {
    const int year = number(stamp.substr(0, 4));
    const int month = number(stamp.substr(5, 2));
    const int day = number(stamp.substr(8, 2));
    const int hour = number(stamp.substr(11, 2));
    const int minute = number(stamp.substr(14, 2));
    const int second = number(stamp.substr(17, 2));
    if (year < 1601 || month < 1 || month > 12 || day < 1 || day > daysIn(year, month) ||
        hour > 23 || minute > 59 || second > 59) {
        return L"";
    }
    static constexpr const wchar_t* kDays[] = {L"Sunday",   L"Monday", L"Tuesday", L"Wednesday",
                                               L"Thursday", L"Friday", L"Saturday"};
    static constexpr const wchar_t* kMonths[] = {
        L"January", L"February", L"March",     L"April",   L"May",      L"June",
        L"July",    L"August",   L"September", L"October", L"November", L"December"};
    return std::wstring(kDays[weekday(year, month, day)]) + L", " + kMonths[month - 1] + L" " +
           std::to_wstring(day) + L", " + std::to_wstring(year) + L", " +
           std::to_wstring(hour % 12 == 0 ? 12 : hour % 12) + L":" + twoDigits(minute) + L":" +
           twoDigits(second) + (hour < 12 ? L" AM" : L" PM");
}

bool hasForm(const std::wstring& stamp) {
    return stamp.size() == 19 && stamp[4] == L'.' && stamp[7] == L'.' && stamp[10] == L'-' &&
           stamp[13] == L'.' && stamp[16] == L'.';
}

/// Blanks, signs and the digits of other scripts have rules that are tested elsewhere.
bool isPlain(const std::wstring& stamp) {
    return std::all_of(stamp.begin(), stamp.end(),
                       [](wchar_t c) {
                           return (c > L' ' && c < 0x80 && c != L'+' && c != L'-') || c == L'-';
                       }) &&
           std::count(stamp.begin(), stamp.end(), L'-') == 1;
}

void check(const std::wstring& stamp) {
    platform::g_calls.GetTimeZoneInformation = &universalTime;
    const std::wstring shown = localizeHistoryTime(stamp);
    if (!hasForm(stamp)) {
        KEST_LAW(shown.empty());
    } else if (isPlain(stamp)) {
        KEST_LAW(shown == expected(stamp));
    }
    // As part of a path it is the same, if a separator follows and none is in it.
    if (stamp.find_first_of(L"\\/") == std::wstring::npos) {
        KEST_LAW(getTimeFromHistoryPath(L"\\\\m\\C$\\@GMT-" + stamp + L"\\x") == shown);
        KEST_LAW(getTimeFromHistoryPath(L"\\\\m\\C$\\@GMT-" + stamp + L"/x\\y") == shown);
        KEST_LAW(getTimeFromHistoryPath(L"\\\\m\\C$\\@GMT-" + stamp).empty());
    }
    platform::g_calls.GetTimeZoneInformation = &unknownZone;
    KEST_LAW(localizeHistoryTime(stamp).empty());
}

}  // namespace
}  // namespace Tallowmere

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::wstring text = Tallowmere::fuzz::Input(data, size).text();
    const bool isHistory = text.find(L"@GMT") != std::wstring::npos;
    Tallowmere::platform::g_calls.GetTimeZoneInformation = &Tallowmere::universalTime;
    const std::wstring time = Tallowmere::getTimeFromHistoryPath(text);
    KEST_LAW(isHistory == Tallowmere::isHistoryPath(text));
    KEST_LAW(isHistory || time == L"Now");
    Tallowmere::check(text.substr(0, 19));
    return 0;
}
