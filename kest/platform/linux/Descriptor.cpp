#include "kest/platform/linux/Descriptor.h"

#include <cerrno>

#include "kest/platform/linux/ThreadSanitizer.h"

namespace Tallowmere::platform {

void Descriptor::reset() {
    if (m_value >= 0) {
        const int saved = errno;
        // Not repeated after an interruption: on Linux the descriptor is gone either way.
        (void)close(std::exchange(m_value, -1));
        errno = saved;
    }
}

void Descriptor::resetBoth(Descriptor& first, Descriptor& second) {
    const int saved = errno;
#ifndef KEST_THREAD_SANITIZER
    // The sanitizer would take the numbers for open still.
    if (first && second.m_value == first.m_value + 1 &&
        close_range(static_cast<unsigned int>(first.m_value),
                    static_cast<unsigned int>(second.m_value), 0) == 0) {
        first.m_value = -1;
        second.m_value = -1;
    }
#endif
    errno = saved;
    first.reset();
    second.reset();
}

}  // namespace Tallowmere::platform
