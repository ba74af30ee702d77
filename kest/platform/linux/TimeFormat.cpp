// GetDateFormatW and GetTimeFormatW: which time, which language, which picture, which buffer.

#include <time.h>

#include <cwchar>
#include <iterator>

#include "kest/platform/linux/Calendar.h"
#include "kest/platform/linux/DateTimePicture.h"
#include "kest/platform/linux/Standins.h"
#include "kest/platform/linux/TimeLanguage.h"

namespace Tallowmere::platform::standin {
namespace {

constexpr LCID kEnglish = 0x0409;
constexpr LCID kInvariant = 0x007F;

int failWith(DWORD error) {
    SetLastError(error);
    return 0;
}

/// The language of a locale's number, null for one that is not to be had: there is English, and there
/// is the calling thread's language, under its own number and under those that mean "the user's".
language::Language languageOf(LCID locale) {
    switch (locale) {
        case kEnglish:
        case kInvariant:
            return &language::english;
        case LOCALE_NEUTRAL:
        case LOCALE_USER_DEFAULT:
        case LOCALE_SYSTEM_DEFAULT:
        case LOCALE_CUSTOM_DEFAULT:
        case LOCALE_CUSTOM_UNSPECIFIED:
            return GetThreadLocale() == kEnglish ? &language::english : &language::ofThread;
        default:
            return locale == GetThreadLocale() ? &language::ofThread : nullptr;
    }
}

SYSTEMTIME localNow() {
    SYSTEMTIME now{};
    GetSystemTime(&now);
    (void)SystemTimeToTzSpecificLocalTime(nullptr, &now, &now);
    return now;
}

/// What a locale writes when it is given no picture. The invariant locale and English have Windows'
/// own; every other language writes as the C library does.
struct Default {
    const wchar_t* english;
    const wchar_t* invariant;
    const wchar_t* conversion;
};

constexpr Default kDate = {L"M/d/yyyy", L"MM/dd/yyyy", L"%x"};
constexpr Default kTime = {L"h:mm:ss tt", L"HH:mm:ss", L"%X"};

void writeDefault(const wchar_t* conversion, const SYSTEMTIME& time, picture::Text& text) {
    tm fields{};
    if (calendar::isDate(time)) {
        const std::int64_t days = calendar::daysOf(time.wYear, time.wMonth, time.wDay);
        fields.tm_year = time.wYear - 1900;
        fields.tm_mon = time.wMonth - 1;
        fields.tm_mday = time.wDay;
        fields.tm_wday = calendar::weekdayOf(days);
        fields.tm_yday = static_cast<int>(days - calendar::daysOf(time.wYear, 1, 1));
    }
    fields.tm_hour = time.wHour;
    fields.tm_min = time.wMinute;
    fields.tm_sec = time.wSecond;
    wchar_t written[256];
    const std::size_t length = std::wcsftime(written, std::size(written), conversion, &fields);
    written[length] = L'\0';
    text.put(written);
}

using Write = void (*)(const wchar_t*, const SYSTEMTIME&, language::Language, picture::Text&);

int format(LCID locale, DWORD flags, const SYSTEMTIME* time, bool (*isValid)(const SYSTEMTIME&),
           const wchar_t* picture, const Default& standard, Write write, wchar_t* buffer,
           int size) {
    if (size < 0 || (size > 0 && buffer == nullptr)) {
        return failWith(ERROR_INVALID_PARAMETER);
    }
    const language::Language words = languageOf(locale);
    if (words == nullptr) {
        return failWith(ERROR_INVALID_PARAMETER);
    }
    if (flags != 0) {
        // The library formats by picture alone, so none of the short cuts is there.
        return failWith(ERROR_INVALID_FLAGS);
    }
    const SYSTEMTIME used = time == nullptr ? localNow() : *time;
    if (!isValid(used)) {
        return failWith(ERROR_INVALID_PARAMETER);
    }
    picture::Text text(buffer, static_cast<std::size_t>(size));
    if (picture != nullptr) {
        write(picture, used, words, text);
    } else if (words == &language::english) {
        write(locale == kInvariant ? standard.invariant : standard.english, used, words, text);
    } else {
        writeDefault(standard.conversion, used, text);
    }
    text.put(L'\0');
    if (size > 0 && text.length() > static_cast<std::size_t>(size)) {
        buffer[size - 1] = L'\0';
        return failWith(ERROR_INSUFFICIENT_BUFFER);
    }
    return static_cast<int>(text.length());
}

}  // namespace

int GetDateFormatW(LCID locale, DWORD flags, const SYSTEMTIME* time, const wchar_t* picture,
                   wchar_t* buffer, int size) {
    return format(locale, flags, time, &calendar::isDate, picture, kDate, &picture::writeDate,
                  buffer, size);
}

int GetTimeFormatW(LCID locale, DWORD flags, const SYSTEMTIME* time, const wchar_t* picture,
                   wchar_t* buffer, int size) {
    return format(locale, flags, time, &calendar::isClock, picture, kTime, &picture::writeTime,
                  buffer, size);
}

}  // namespace Tallowmere::platform::standin
