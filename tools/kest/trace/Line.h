#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "trace/Stamp.h"

namespace Tallowmere::command::trace {

enum class Severity : std::uint8_t { info, warning, error, critical };
inline constexpr std::array<std::string_view, 4> kSeverities = {"INFO", "WARNING", "ERROR",
                                                                "CRITICAL"};

inline std::string_view nameOf(Severity severity) {
    return kSeverities[static_cast<std::size_t>(severity)];
}

/// The fields of a trace line, as views into its bytes.
struct Line {
    /// As it stands there.
    std::string_view time;
    /// Whether the time is written in English. In another language it is not told: a clock of
    /// twelve hours without AM and PM leaves open which half of the day it shows.
    bool isTimeKnown = false;
    Instant instant = 0;
    Severity severity = Severity::info;
    std::uint32_t thread = 0;
    /// The whole column, with the blanks that fill it.
    std::string_view place;
    /// What spoke: a module or a source.
    std::string_view module;
    std::int64_t number = 0;
    std::string_view message;
};

/// Which of a line's fields is not as the trace writes it, the first of them.
enum class Flaw : std::uint8_t { none, time, severity, thread, place };

/// Reads one line of a trace, its line end not among `bytes`: strictly, as docs/trace-format.md has
/// it. `line` is whole only when there is no flaw.
Flaw readLine(std::string_view bytes, Line& line);

/// The severity of a line that stands in the middle of a message, the worst of several: where a
/// text was taken for a marker, the line feed is swallowed and the next line follows in the same
/// one. Nothing without one.
std::optional<Severity> severityWithin(std::string_view message);

/// What the first line of a trace file says after a roll-over.
inline constexpr std::string_view kRolledOver = "Trace file rolled over";

}  // namespace Tallowmere::command::trace
