#include "kest/platform/linux/FinalPath.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace Tallowmere::platform {
namespace {

/// Whether `path` still leads to what is open.
bool leadsTo(const std::string& path, const struct stat& opened) {
    struct stat found {};
    return stat(path.c_str(), &found) == 0 && found.st_dev == opened.st_dev &&
           found.st_ino == opened.st_ino;
}

/// The system puts this behind the path of a name that has been removed, and a name may end in it.
bool mayBeRemoved(const std::string& path) {
    constexpr std::string_view kMark = " (deleted)";
    return path.size() > kMark.size() &&
           path.compare(path.size() - kMark.size(), kMark.size(), kMark) == 0;
}

}  // namespace

int findFinalPath(int descriptor, const std::string& openedAs, std::string& path,
                  const char* descriptors) {
    struct stat opened {};
    if (fstat(descriptor, &opened) != 0) {
        return errno;
    }
    if (opened.st_nlink == 0) {
        return ENOENT;
    }
    const std::string link = std::string(descriptors) + "/" + std::to_string(descriptor);
    char target[PATH_MAX];
    const ssize_t length = readlink(link.c_str(), target, sizeof target);
    if (length > 0) {
        if (static_cast<std::size_t>(length) == sizeof target) {
            return ENAMETOOLONG;
        }
        if (target[0] != '/') {
            // Outside of what this process can reach by a path.
            return ENOENT;
        }
        const std::string found(target, static_cast<std::size_t>(length));
        if (mayBeRemoved(found) && !leadsTo(found, opened)) {
            return ENOENT;
        }
        path = found;
        return 0;
    }
    if (errno != ENOENT && errno != ENOTDIR && errno != EACCES) {
        return errno;
    }
    const std::unique_ptr<char, decltype(&std::free)> resolved(
        realpath(openedAs.c_str(), nullptr), &std::free);
    if (resolved == nullptr) {
        return errno;
    }
    // Another file may have taken that path, or a relative one lead elsewhere by now.
    if (!leadsTo(resolved.get(), opened)) {
        return ENOENT;
    }
    path = resolved.get();
    return 0;
}

}  // namespace Tallowmere::platform
