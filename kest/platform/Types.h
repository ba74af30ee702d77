#pragma once

/// The two time records of the Windows interface that appear in public signatures. On Windows they
/// are the system's own, named here without pulling its headers into a host; on other systems they
/// are declared with the same fields, names and widths.

#if defined(_WIN32)

struct _SYSTEMTIME;
typedef struct _SYSTEMTIME SYSTEMTIME;
struct _FILETIME;
typedef struct _FILETIME FILETIME;

#else

#include <cstdint>

/// A calendar time. Month 1 to 12, day of week 0 (Sunday) to 6.
struct SYSTEMTIME {
    std::uint16_t wYear;
    std::uint16_t wMonth;
    std::uint16_t wDayOfWeek;
    std::uint16_t wDay;
    std::uint16_t wHour;
    std::uint16_t wMinute;
    std::uint16_t wSecond;
    std::uint16_t wMilliseconds;
};

/// Ticks of 100 nanoseconds since 1601-01-01 00:00:00 UTC, in two halves.
struct FILETIME {
    std::uint32_t dwLowDateTime;
    std::uint32_t dwHighDateTime;
};

#endif
