#pragma once

#include <string>

#include "kest/platform/linux/Descriptor.h"

namespace Tallowmere::platform {

/// For a path of any length, where the system takes only PATH_MAX bytes at once: the rest of the
/// path that one call takes, which points into `path`, to be looked up from `base` (AT_FDCWD, or
/// the directory that is then opened into `opened`). Links on the way are followed. Null, with errno
/// set, when the way there cannot be gone.
const char* reach(const std::string& path, int& base, Descriptor& opened);

}  // namespace Tallowmere::platform
