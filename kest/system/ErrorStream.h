#pragma once

#include <ios>
#include <ostream>

namespace Tallowmere {

/// Writes pieces and the end of a line to a standard error stream. A host can tell its streams to
/// throw when writing fails; reporting a failure must not become a second one.
template <class Stream, class... Pieces>
void writeLine(Stream& errors, const Pieces&... pieces) {
    try {
        (errors << ... << pieces) << std::endl;
    } catch (const std::ios_base::failure&) {
        // Lost, as everything is that cannot be written.
    }
}

}  // namespace Tallowmere
