#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "trace/Stamp.h"

namespace Tallowmere::command::trace {

/// The name in a message that tells of the entry to a function, "<Entering " and the name.
std::optional<std::string_view> enteredFunction(std::string_view message);
/// The name in one that tells of the exit, "Exiting ", the name and ">".
std::optional<std::string_view> exitedFunction(std::string_view message);

/// The functions that a thread is in, the outermost first.
class Brackets {
public:
    struct Call {
        std::string function;
        Instant begin;
    };

    /// Deeper than that nothing is remembered: only a trace that is not one goes there.
    static constexpr std::size_t kDeepest = 4096;

    void enter(std::string_view function, Instant when);
    /// The call that ends there. Those inside it whose exits the trace lacks end with it. None when
    /// the trace does not have its entry.
    std::optional<Call> exit(std::string_view function);

    std::size_t depth() const { return m_calls.size(); }

private:
    std::vector<Call> m_calls;
};

}  // namespace Tallowmere::command::trace
