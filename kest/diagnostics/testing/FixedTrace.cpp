#include "kest/diagnostics/testing/FixedTrace.h"

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <string>

#include "kest/diagnostics/Recorder.h"

namespace Tallowmere::testing {
namespace {

thread_local DWORD t_threadId = 4711;

constexpr LCID kLocale = 0x409;

void systemTime(SYSTEMTIME* time) {
    *time = {};
    time->wYear = 2026;
    time->wMonth = 11;
    time->wDayOfWeek = 1;
    time->wDay = 16;
    time->wHour = 3;
    time->wMinute = 35;
    time->wSecond = 54;
    time->wMilliseconds = 123;
}

/// A zone two hours ahead of UTC.
BOOL localTime(const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* universal, SYSTEMTIME* local) {
    if (zone != nullptr) {
        return FALSE;
    }
    *local = *universal;
    local->wHour = static_cast<WORD>(universal->wHour + 2);
    return TRUE;
}

int give(const std::wstring& text, wchar_t* buffer, int size) {
    if (static_cast<int>(text.size()) >= size) {
        return 0;
    }
    std::copy(text.begin(), text.end() + 1, buffer);
    return static_cast<int>(text.size()) + 1;
}

/// Understands the one picture that a trace line uses.
int dateFormat(LCID locale, DWORD flags, const SYSTEMTIME* time, const wchar_t* picture,
               wchar_t* buffer, int size) {
    if (locale != kLocale || flags != 0 || time->wMonth != 11 ||
        std::wcscmp(picture, L"MMMM d, yyyy") != 0) {
        return 0;
    }
    return give(L"November " + std::to_wstring(time->wDay) + L", " + std::to_wstring(time->wYear),
                buffer, size);
}

int timeFormat(LCID locale, DWORD flags, const SYSTEMTIME* time, const wchar_t* picture,
               wchar_t* buffer, int size) {
    if (locale != kLocale || flags != 0 || std::wcscmp(picture, L"h':'mm':'ss tt") != 0) {
        return 0;
    }
    return give(std::to_wstring(time->wHour) + L':' + std::to_wstring(time->wMinute) + L':' +
                    std::to_wstring(time->wSecond) + L" AM",
                buffer, size);
}

}  // namespace

FixedTrace::FixedTrace() : m_previous(platform::g_calls) {
    Recorder::destroy();
    platform::g_calls.GetSystemTime = &systemTime;
    platform::g_calls.SystemTimeToTzSpecificLocalTime = &localTime;
    platform::g_calls.GetThreadLocale = [] { return kLocale; };
    platform::g_calls.GetDateFormatW = &dateFormat;
    platform::g_calls.GetTimeFormatW = &timeFormat;
    platform::g_calls.GetCurrentThreadId = [] { return t_threadId; };
}

FixedTrace::~FixedTrace() {
    Recorder::destroy();
    platform::g_calls = m_previous;
}

void FixedTrace::setThreadId(DWORD id) {
    t_threadId = id;
}

}  // namespace Tallowmere::testing
