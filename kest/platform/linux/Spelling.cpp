#include "kest/platform/linux/Spelling.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cstring>
#include <memory>

namespace Tallowmere::platform {

bool mayFoldNames(int directory) {
    struct statfs system {};
    if (fstatfs(directory, &system) != 0) {
        return true;
    }
    switch (static_cast<unsigned long>(system.f_type)) {
        case BTRFS_SUPER_MAGIC:
        case XFS_SUPER_MAGIC:
        case OVERLAYFS_SUPER_MAGIC:
            return false;
        case EXT4_SUPER_MAGIC:
        case F2FS_SUPER_MAGIC:
        case TMPFS_MAGIC: {
            // Some can, each directory for itself.
            unsigned int flags = 0;
            return ioctl(directory, FS_IOC_GETFLAGS, &flags) == 0 && (flags & FS_CASEFOLD_FL) != 0;
        }
        default:
            return true;
    }
}

std::string spellingOf(int directory, const char* name) {
    struct stat status {};
    if (fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return name;
    }
    const int own = openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(own < 0 ? nullptr : fdopendir(own), closedir);
    if (!listing) {
        if (own >= 0) {
            close(own);
        }
        return name;
    }
    std::string found = name;
    while (const dirent* const entry = readdir(listing.get())) {
        if (std::strcmp(name, entry->d_name) == 0) {
            return name;
        }
        if (entry->d_ino == status.st_ino) {
            found = entry->d_name;
        }
    }
    return found;
}

}  // namespace Tallowmere::platform
