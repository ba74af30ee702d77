#pragma once

#include <string>

namespace Tallowmere::platform {

/// Where something stands on its volume, however that is mounted: a folder that is mounted in a
/// second place (mount --bind) has two paths and one such place.
struct VolumePlace {
    std::string volume;  ///< "major:minor" of the file system
    std::string path;    ///< from the file system's own root, beginning with "/"
};

/// That of an open file or directory, whose absolute path without links is `finalPath`. `mounts` is
/// the system's list of mounts. Returns 0 or an errno value: ENOENT when the list cannot be read or
/// does not hold the mount, as in a root directory that is none.
int findVolumePlace(int descriptor, const std::string& finalPath, VolumePlace& place,
                    const char* mounts = "/proc/self/mountinfo");

}  // namespace Tallowmere::platform
