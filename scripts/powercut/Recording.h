#pragma once

#include <cstdint>

/// What the recorded disk notes, in the order in which it happened. A recording is a sequence of
/// these, each followed by `length` bytes: what was written, or the text of a mark.
namespace powercut {

enum class Kind : std::uint32_t {
    Write = 1,  ///< `length` bytes at `offset`
    Flush = 2,  ///< all that was written before is durable; no bytes follow
    Mark = 3,   ///< a word of whoever makes the recording
};

struct Record {
    Kind kind;
    std::uint32_t length;
    std::uint64_t offset;
    std::uint64_t nanoseconds;  ///< since 1970, as the system calls of a program can be dated
};

}  // namespace powercut
