#pragma once

#include <functional>
#include <type_traits>
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
/// restores what was there. Scopes of one call nest. Use it while no other thread is inside the
/// library.
template <auto member>
class ScopedCall;

template <class R, class... A, R (*Calls::*member)(A...)>
class ScopedCall<member> {
public:
    explicit ScopedCall(std::function<R(A...)> replacement)
        : m_replacement(std::move(replacement)),
          m_previous(g_calls.*member),
          m_outer(std::exchange(s_current, this)) {
        g_calls.*member = &trampoline;
    }
    ~ScopedCall() {
        g_calls.*member = m_previous;
        s_current = m_outer;
    }
    ScopedCall(const ScopedCall&) = delete;
    ScopedCall& operator=(const ScopedCall&) = delete;

    int count() const { return m_count; }

    /// What stood in the table before, so that a replacement can go on to it.
    R original(A... arguments) const {
        // An outer scope of the same call shares the trampoline, so it must be current meanwhile.
        ScopedCall* const inner = std::exchange(s_current, m_outer);
        struct Restore {
            ScopedCall* scope;
            ~Restore() { s_current = scope; }
        } restore{inner};
        return m_previous(arguments...);
    }

private:
    static R trampoline(A... arguments) {
        ++s_current->m_count;
        return s_current->m_replacement(arguments...);
    }

    std::function<R(A...)> m_replacement;
    R (*m_previous)(A...);
    ScopedCall* m_outer;
    int m_count = 0;
    static inline ScopedCall* s_current = nullptr;
};

}  // namespace Tallowmere::platform::testing
