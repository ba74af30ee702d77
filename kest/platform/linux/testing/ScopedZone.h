#pragma once

#include <stdlib.h>
#include <time.h>

#include <optional>
#include <string>

namespace Tallowmere::platform::testing {

/// Sets the environment variable TZ for a scope, or takes it away (null), and restores it.
class ScopedZone {
public:
    explicit ScopedZone(const char* name) {
        if (const char* const before = getenv("TZ")) {
            m_before = before;
        }
        set(name);
    }
    ~ScopedZone() { set(m_before ? m_before->c_str() : nullptr); }
    ScopedZone(const ScopedZone&) = delete;
    ScopedZone& operator=(const ScopedZone&) = delete;

private:
    static void set(const char* name) {
        if (name != nullptr) {
            setenv("TZ", name, 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }

    std::optional<std::string> m_before;
};

}  // namespace Tallowmere::platform::testing
