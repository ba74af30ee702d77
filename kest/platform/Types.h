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
    std::uint16_t wYear;          ///< 1601 to 30827.
    std::uint16_t wMonth;         ///< 1 to 12.
    std::uint16_t wDayOfWeek;     ///< 0, Sunday, to 6.
    std::uint16_t wDay;           ///< 1 to 31.
    std::uint16_t wHour;          ///< 0 to 23.
    std::uint16_t wMinute;        ///< 0 to 59.
    std::uint16_t wSecond;        ///< 0 to 59.
    std::uint16_t wMilliseconds;  ///< 0 to 999.
};

/// Ticks of 100 nanoseconds since 1601-01-01 00:00:00 UTC, in two halves.
struct FILETIME {
    std::uint32_t dwLowDateTime;   ///< The lower 32 bits.
    std::uint32_t dwHighDateTime;  ///< The upper 32 bits.
};

#endif
