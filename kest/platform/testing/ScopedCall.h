#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <functional>
#include <stdexcept>
#include <utility>

#include "kest/platform/Calls.h"

namespace Tallowmere::platform::testing {

/// Sets the last error and gives back the failure value, for a lambda that plays a failing call.
template <class R>
R failing(R value, DWORD error) {
    os().SetLastError(error);
    return value;
}

/// Replaces one call of the seam by a callable for a scope, counts how often it is made and
/// restores what was there. Scopes nest, of one call as well, and end in the reverse order. Begin
/// and end them while no other thread is inside the library; the call itself may come from any
/// number of threads.
template <auto member>
class ScopedCall;

template <class R, class... A, R (*Calls::*member)(A...)>
class ScopedCall<member> {
public:
    explicit ScopedCall(std::function<R(A...)> replacement)
        : m_replacement(std::move(replacement)), m_previous(g_calls.*member) {
        if (s_open == kLevels) {
            throw std::length_error("Too many scopes of one call");
        }
        s_scopes[s_open] = this;
        g_calls.*member = trampolines(std::make_index_sequence<kLevels>())[s_open];
        ++s_open;
    }
    ~ScopedCall() {
        --s_open;
        g_calls.*member = m_previous;
    }
    ScopedCall(const ScopedCall&) = delete;
    ScopedCall& operator=(const ScopedCall&) = delete;

    int count() const { return m_count; }

    /// What stood in the table before, so that a replacement can go on to it.
    R original(A... arguments) const { return m_previous(arguments...); }

private:
    using Call = R (*)(A...);
    static constexpr std::size_t kLevels = 8;

    /// One for each level of nesting, so that each scope has a function of its own and what stood
    /// below it stays callable at any time.
    template <std::size_t level>
    static R trampoline(A... arguments) {
        ScopedCall& scope = *s_scopes[level];
        ++scope.m_count;
        return scope.m_replacement(arguments...);
    }

    template <std::size_t... levels>
    static constexpr std::array<Call, kLevels> trampolines(std::index_sequence<levels...>) {
        return {&trampoline<levels>...};
    }

    std::function<R(A...)> m_replacement;
    Call m_previous;
    std::atomic<int> m_count = 0;

    static inline std::array<ScopedCall*, kLevels> s_scopes{};
    static inline std::size_t s_open = 0;
};

}  // namespace Tallowmere::platform::testing
