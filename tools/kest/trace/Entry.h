#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "trace/Line.h"

namespace Tallowmere::command::trace {

/// What stands in one line of a file, and what is known about it.
struct Entry {
    enum class Kind : std::uint8_t {
        line,
        /// The line that the trace writes when it has emptied its file.
        rolledOver,
        /// The empty line behind a message that ends in the line end of a text of the system's.
        blank,
        /// No line of a trace; `flaw` says why.
        unreadable,
        /// The file has begun anew while it was read: nothing that stands in it. `lost` bytes of
        /// its former text, at the least, were never read.
        restarted,
    };

    Kind kind = Kind::unreadable;
    Flaw flaw = Flaw::none;
    /// The fields of a line. A line that is cut in its message is one too.
    Line line;
    /// Everything in the line but its end.
    std::string_view bytes;
    /// The file, by its place among those that are read.
    std::size_t file = 0;
    /// The line's number in its file, from 1 on.
    std::uint64_t number = 0;
    /// When it was written, as far as it can be told: the latest time so far in its file. Lines of
    /// one file are never put in another order.
    Instant when = kNever;
    /// Whether the file ends, or was emptied, inside the line.
    bool isUnfinished = false;
    /// Whether the line is longer than is read at once; the rest follows as entries of its own.
    bool isPart = false;
    /// Whether its time is earlier than that of a line before it in its file: the clock was set, or
    /// something has written what looks like a line.
    bool runsBack = false;
    /// The severity of another line in its message, the worst of several.
    std::optional<Severity> within;
    std::uint64_t lost = 0;
};

/// Why an entry is unreadable, for a person.
std::string_view reasonOf(const Entry& entry);

}  // namespace Tallowmere::command::trace
