#pragma once

#include <cstdint>
#include <ctime>

#include "kest/platform/Win32.h"

/// The dates at which a zone's offset changes, in the form that Windows keeps them.
///
/// Year 0 stands for every year: month, day of the week, and in wDay the week 1 to 5, 5 meaning the
/// last one of the month; then the time of day on the clock that is about to be changed. A date with
/// a year happens once.
namespace Tallowmere::platform::zone {

/// The switch date for the change of offset at `change`, the first second of the new offset, in
/// seconds since 1970-01-01 UTC. Of the dates that fit this year, the one is taken that fits most of
/// the ten years around it: a change on the 28th may be on the month's fourth Sunday or on its last.
SYSTEMTIME switchDate(std::time_t change);

/// The switch date that stands for the beginning of that year.
SYSTEMTIME beginningOf(int year);

/// Whether `date` can be a switch date.
bool isSwitchDate(const SYSTEMTIME& date);

/// When, on the clock that is about to be changed, the switch happens in `year` (one with a year of
/// its own in that), in ticks since 1601-01-01.
std::int64_t switchTicks(const SYSTEMTIME& date, int year);

}  // namespace Tallowmere::platform::zone
