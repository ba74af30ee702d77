#pragma once

#include <unistd.h>

#include <utility>

namespace Tallowmere::platform {

/// Owns a file descriptor; -1 is none. Closing leaves errno alone.
class Descriptor {
public:
    explicit Descriptor(int value = -1) : m_value(value) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept : m_value(std::exchange(other.m_value, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            reset();
            m_value = std::exchange(other.m_value, -1);
        }
        return *this;
    }

    int get() const { return m_value; }
    explicit operator bool() const { return m_value >= 0; }

    void reset();

    /// The same for two, in one call to the system where the second is the first one's neighbour.
    static void resetBoth(Descriptor& first, Descriptor& second);

private:
    int m_value;
};

}  // namespace Tallowmere::platform
