// The calls of the family Files that make something: directories and links.

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <string>

#include "kest/platform/linux/Errno.h"
#include "kest/platform/linux/Names.h"
#include "kest/platform/linux/Place.h"
#include "kest/platform/linux/Standins.h"

namespace Tallowmere::platform::standin {
namespace {

/// What a missing directory on the way is called: nothing can be made where there is no place.
DWORD errorOfMaking(int error, const Place& place) {
    return error == ENOENT ? ERROR_PATH_NOT_FOUND : errorOfPlace(error, place);
}

/// The prefix of a literal path without what follows it. Alone it is no name, as on Windows, and
/// must not be taken for a file with the name "?".
bool isPrefixAlone(const std::string& path) {
    return path == "//?";
}

DWORD findNewPlace(const wchar_t* path, Place& place) {
    const DWORD error = findPlace(path, place);
    return error == ERROR_SUCCESS && isPrefixAlone(place.path) ? ERROR_INVALID_NAME : error;
}

}  // namespace

BOOL CreateDirectoryW(const wchar_t* path, SECURITY_ATTRIBUTES* security) {
    return succeeds([&]() -> DWORD {
        if (security != nullptr) {
            return ERROR_NOT_SUPPORTED;
        }
        Place place;
        const DWORD error = findNewPlace(path, place);
        if (error != ERROR_SUCCESS) {
            return error;
        }
        return mkdirat(place.base, place.rest, 0777) == 0 ? ERROR_SUCCESS
                                                          : errorOfMaking(errno, place);
    });
}

BOOLEAN CreateSymbolicLinkW(const wchar_t* link, const wchar_t* target, DWORD flags) {
    return succeeds([&]() -> DWORD {
        // Linux does not tell a link to a directory from one to a file. What is more on Windows
        // asks for a privilege in another way.
        if ((flags & ~DWORD{SYMBOLIC_LINK_FLAG_DIRECTORY}) != 0 || link == nullptr ||
            target == nullptr) {
            return ERROR_INVALID_PARAMETER;
        }
        Place place;
        DWORD error = findNewPlace(link, place);
        if (error != ERROR_SUCCESS) {
            return error;
        }
        if (place.mustBeDirectory && (flags & SYMBOLIC_LINK_FLAG_DIRECTORY) == 0) {
            return ERROR_INVALID_NAME;
        }
        // On the disk stands a plain Linux path, so that the link works for every program.
        std::string to;
        error = names::toNativePath(target, to);
        if (error != ERROR_SUCCESS) {
            return error;
        }
        if (to.size() >= PATH_MAX) {
            // Said here because the same errno value stands for a name of the link's own.
            return ERROR_FILENAME_EXCED_RANGE;
        }
        return symlinkat(to.c_str(), place.base, place.rest) == 0 ? ERROR_SUCCESS
                                                                  : errorOfMaking(errno, place);
    })
               ? TRUE
               : FALSE;
}

}  // namespace Tallowmere::platform::standin
