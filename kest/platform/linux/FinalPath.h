#pragma once

#include <string>

namespace Tallowmere::platform {

/// Where an open file or directory stands now: its absolute path, every link resolved. `openedAs` is
/// the path by which it was opened; it is needed only where `descriptors`, the system's folder of a
/// process's descriptors, is not mounted. Returns 0 or an errno value, ENOENT for what has been
/// removed meanwhile.
int findFinalPath(int descriptor, const std::string& openedAs, std::string& path,
                  const char* descriptors = "/proc/self/fd");

}  // namespace Tallowmere::platform
