#include "kest/platform/linux/LongPath.h"

#include <fcntl.h>

#include <cerrno>
#include <climits>

namespace Tallowmere::platform {

const char* reach(const std::string& path, int& base, Descriptor& opened) {
    constexpr std::size_t kMost = PATH_MAX - 1;
    base = AT_FDCWD;
    std::size_t start = 0;
    while (path.size() - start > kMost) {
        const std::size_t end = path.rfind('/', start + kMost);
        if (end == std::string::npos || end <= start) {
            errno = ENAMETOOLONG;
            return nullptr;
        }
        opened = Descriptor(openat(base, path.substr(start, end - start).c_str(),
                                   O_PATH | O_DIRECTORY | O_CLOEXEC));
        if (!opened) {
            return nullptr;
        }
        base = opened.get();
        start = end + 1;
    }
    return path.c_str() + start;
}

}  // namespace Tallowmere::platform
