#include "kest/platform/linux/Descriptor.h"

#include <cerrno>

namespace Tallowmere::platform {

void Descriptor::reset() {
    if (m_value >= 0) {
        const int saved = errno;
        // Not repeated after an interruption: on Linux the descriptor is gone either way.
        (void)close(std::exchange(m_value, -1));
        errno = saved;
    }
}

}  // namespace Tallowmere::platform
