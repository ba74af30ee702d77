#include "kest/platform/StreamNames.h"

namespace Tallowmere::platform {

std::string streamFileName(std::string path) {
    return path;
}

}  // namespace Tallowmere::platform
