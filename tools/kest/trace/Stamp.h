#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace Tallowmere::command::trace {

/// A moment of a local clock: milliseconds since the beginning of 1970 on that clock.
using Instant = std::int64_t;

/// Before every moment.
inline constexpr Instant kNever = std::numeric_limits<Instant>::min();

/// A moment as a calendar and a clock show it.
struct Moment {
    int year = 1970;
    int month = 1;
    int day = 1;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;
};

Instant instantOf(const Moment& moment);
Moment momentOf(Instant instant);

/// Reads the time of a trace line written in English, "November 16, 2026, 5:35:54.123 AM", and
/// nothing else: no other spacing, no leading zeros where the trace has none, no day that its month
/// does not have.
bool readStamp(std::string_view text, Instant& instant);

/// Whether `text` has the form of a trace line's time in another language: a month's name, the day,
/// the year and a time of day with any marks.
bool isForeignStamp(std::string_view text);

/// As a trace line written in English has it.
std::string stampOf(Instant instant);

/// "2026-11-16T05:35:54.123"
std::string isoOf(Instant instant);

/// A length of time for a person: "0.123 s", "4 min 5.877 s", "2 h 0 min 1.000 s".
std::string spanOf(Instant milliseconds);

/// Reads a time that a person gives: "2026-11-16", "2026-11-16 5:35", "2026-11-16 05:35:54",
/// "2026-11-16T05:35:54.123", or as a trace line has it. What is left out makes a range, of which
/// `first` and `last` are the ends.
bool readTime(std::string_view text, Instant& first, Instant& last);

}  // namespace Tallowmere::command::trace
