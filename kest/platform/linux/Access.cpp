// The C runtime's question whether a path may be read or written.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>

#include "kest/platform/linux/Place.h"
#include "kest/platform/linux/Standins.h"

namespace Tallowmere::platform::standin {
namespace {

constexpr int kMayWrite = 2;
constexpr int kMayRead = 4;
static_assert(kMayWrite == W_OK && kMayRead == R_OK);

/// Returns 0 or an errno value, of which Windows knows ENOENT and EACCES.
int askAccess(const wchar_t* path, int mode) {
    Place place;
    const DWORD error = findPlace(path, place);
    if (error != ERROR_SUCCESS) {
        return error == ERROR_ACCESS_DENIED ? EACCES : ENOENT;
    }
    // What stands at the path: a link is there although it may lead nowhere.
    struct stat status {};
    if (fstatat(place.base, place.rest, &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return errno == EACCES ? EACCES : ENOENT;
    }
    const bool isLink = S_ISLNK(status.st_mode);
    if (isLink && (mode != 0 || place.mustBeDirectory) &&
        fstatat(place.base, place.rest, &status, 0) != 0) {
        // Our choice: what cannot be followed may be neither read nor written, although Windows
        // looks at nothing but the link's own attributes.
        return errno == EACCES ? EACCES : ENOENT;
    }
    if (place.mustBeDirectory && !S_ISDIR(status.st_mode)) {
        return ENOENT;
    }
    if (mode == 0) {
        return 0;
    }
    // As whoever the process acts for, not as who started it.
    if (faccessat(place.base, place.rest, mode, AT_EACCESS) != 0) {
        return EACCES;
    }
    // The attribute of a read-only file counts for everybody, as on Windows; it means nothing for a
    // directory.
    const bool isReadOnly =
        !S_ISDIR(status.st_mode) && (status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
    return isReadOnly && (mode & kMayWrite) != 0 ? EACCES : 0;
}

}  // namespace

int _waccess(const wchar_t* path, int mode) {
    int error = ENOMEM;
    try {
        const bool isKnown = path != nullptr && (mode & ~(kMayWrite | kMayRead)) == 0;
        error = isKnown ? askAccess(path, mode) : EINVAL;
    } catch (const std::bad_alloc&) {
    }
    if (error == 0) {
        return 0;
    }
    errno = error;
    return -1;
}

}  // namespace Tallowmere::platform::standin
