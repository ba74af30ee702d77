#include "kest/platform/linux/Place.h"

#include <sys/stat.h>

#include <cerrno>

#include "kest/platform/linux/Errno.h"
#include "kest/platform/linux/LongPath.h"
#include "kest/platform/linux/Names.h"

namespace Tallowmere::platform::standin {

int Place::find() {
    rest = reach(path, base, opened);
    return rest == nullptr ? errno : 0;
}

DWORD takePath(const wchar_t* wide, Place& place) {
    if (wide == nullptr) {
        return ERROR_PATH_NOT_FOUND;
    }
    const DWORD error = names::toNativePath(wide, place.path);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    // Linux would follow a link for the sake of the separator behind it.
    while (place.path.size() > 1 && place.path.back() == '/') {
        place.path.pop_back();
        place.mustBeDirectory = true;
    }
    return ERROR_SUCCESS;
}

DWORD findPlace(const wchar_t* wide, Place& place) {
    const DWORD error = takePath(wide, place);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    const int lost = place.find();
    return lost == 0 ? ERROR_SUCCESS : errorOfPlace(lost, place);
}

DWORD errorOfPlace(int error, const Place& place) {
    switch (error) {
        case ENOENT: {
            if (place.rest == nullptr) {
                return ERROR_PATH_NOT_FOUND;
            }
            std::string parent = place.rest;
            const std::size_t separator = parent.rfind('/');
            parent = separator == std::string::npos ? "."
                     : separator == 0               ? "/"
                                                    : parent.substr(0, separator);
            struct stat status {};
            const bool hasParent =
                fstatat(place.base, parent.c_str(), &status, 0) == 0 && S_ISDIR(status.st_mode);
            return hasParent ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
        }
        case ENOTDIR:
            return ERROR_PATH_NOT_FOUND;
        case ENAMETOOLONG:
            // A single name, since a path may be of any length here.
            return ERROR_INVALID_NAME;
        default:
            return errorFromErrno(error);
    }
}

}  // namespace Tallowmere::platform::standin
