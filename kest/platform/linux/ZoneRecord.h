#pragma once

#include <cstdint>
#include <ctime>

#include "kest/platform/Win32.h"

namespace Tallowmere::platform::zone {

/// The record of a time zone, and for how long it describes that zone.
struct Record {
    TIME_ZONE_INFORMATION zone;
    /// In seconds since 1970-01-01 UTC: from `validFrom` on and before `validUntil`, deriveRecord
    /// gives the same record.
    std::time_t validFrom;
    std::time_t validUntil;
};

/// The record of the process's time zone (the environment variable TZ, else the machine's setting)
/// as it is in the local year that `now` lies in, from the C library's database.
///
/// Windows keeps one pair of switch dates for a zone and applies it to every year, so what varies
/// from year to year is that of this year. The offsets alone decide: daylight time is the one that is
/// further ahead, also where the database says that it is winter time that is special (Ireland) or
/// one month of the year (Morocco).
///
/// Our choice: where the offset changes once, the other switch is put at the beginning of the year,
/// as the records of Windows do it, so that this year is right, but for at most its first or last
/// hours. Where it changes more than twice, the record holds the changes on both sides of `now`, so
/// that the present is right.
Record deriveRecord(std::time_t now);

/// The record of now. Kept from call to call, on every thread, until the year ends, the next switch
/// comes, or TZ or the machine's setting changes.
TIME_ZONE_INFORMATION currentRecord();

}  // namespace Tallowmere::platform::zone
