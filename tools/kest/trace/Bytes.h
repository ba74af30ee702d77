#pragma once

#include <cstddef>
#include <cstdint>

namespace Tallowmere::command::trace {

/// Where the bytes of a trace come from.
class Bytes {
public:
    enum class State {
        /// Some were read.
        some,
        /// There are none, now or for good.
        none,
        /// The file has begun anew; what was read before belongs to its former text.
        restarted,
    };

    virtual ~Bytes() = default;

    /// Reads at most `size` bytes; `count` is how many they are, 0 for all states but `some`.
    /// Throws std::runtime_error, with a text for a person, when the system fails.
    virtual State read(char* buffer, std::size_t size, std::size_t& count) = 0;

    /// After `restarted`: how many bytes of the former text there were at the least that nobody
    /// will read.
    virtual std::uint64_t lost() const { return 0; }
};

}  // namespace Tallowmere::command::trace
