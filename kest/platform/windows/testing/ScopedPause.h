#pragma once

#include <functional>
#include <utility>

#include "kest/platform/windows/Patience.h"

namespace Tallowmere::platform::testing {

/// For a scope nobody really waits: each wait calls `body` instead, and is counted.
class ScopedPause {
public:
    explicit ScopedPause(std::function<void()> body = [] {}) {
        s_body = std::move(body);
        s_count = 0;
        setPause([](DWORD) {
            ++s_count;
            s_body();
        });
    }
    ~ScopedPause() {
        setPause(nullptr);
        s_body = [] {};
    }
    ScopedPause(const ScopedPause&) = delete;
    ScopedPause& operator=(const ScopedPause&) = delete;

    static int count() { return s_count; }

private:
    static inline std::function<void()> s_body;
    static inline int s_count = 0;
};

}  // namespace Tallowmere::platform::testing
