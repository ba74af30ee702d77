#include "kest/platform/StreamNames.h"

#include <algorithm>

namespace Tallowmere::platform {

std::string streamFileName(std::string path) {
    const std::string prefix = "\\\\?\\";
    if (path.compare(0, prefix.size(), prefix) == 0) {
        path.erase(0, prefix.size());
    }
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

}  // namespace Tallowmere::platform
