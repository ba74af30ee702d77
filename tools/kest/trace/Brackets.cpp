#include "trace/Brackets.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace Tallowmere::command::trace {
namespace {

constexpr std::string_view kEntering = "<Entering ";
constexpr std::string_view kExiting = "Exiting ";

/// More of a name is not looked at.
constexpr std::size_t kNameAtMost = 500;

std::string_view withoutReturn(std::string_view message) {
    return message.substr(0, message.size() - (message.ends_with('\r') ? 1 : 0));
}

}  // namespace

std::optional<std::string_view> enteredFunction(std::string_view message) {
    if (!message.starts_with(kEntering)) {
        return std::nullopt;
    }
    return withoutReturn(message.substr(kEntering.size())).substr(0, kNameAtMost);
}

std::optional<std::string_view> exitedFunction(std::string_view message) {
    message = withoutReturn(message);
    if (!message.starts_with(kExiting) || !message.ends_with('>')) {
        return std::nullopt;
    }
    message.remove_suffix(1);
    return message.substr(kExiting.size()).substr(0, kNameAtMost);
}

void Brackets::enter(std::string_view function, Instant when) {
    if (m_calls.size() < kDeepest) {
        m_calls.push_back({std::string(function), when});
    }
}

std::optional<Brackets::Call> Brackets::exit(std::string_view function) {
    const auto found = std::find_if(m_calls.rbegin(), m_calls.rend(),
                                    [function](const Call& c) { return c.function == function; });
    if (found == m_calls.rend()) {
        return std::nullopt;
    }
    Call call = std::move(*found);
    m_calls.erase(std::prev(found.base()), m_calls.end());
    return call;
}

}  // namespace Tallowmere::command::trace
