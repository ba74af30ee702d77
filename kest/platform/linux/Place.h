#pragma once

#include <fcntl.h>

#include <new>
#include <string>

#include "kest/platform/Calls.h"
#include "kest/platform/linux/Descriptor.h"

/// What the calls that take a path have in common.
namespace Tallowmere::platform::standin {

/// Runs the part of a call that may fail. Its error becomes the last error; memory running out is
/// one of them, since these calls throw nothing.
template <class Body>
bool succeeds(Body body) {
    DWORD error = ERROR_NOT_ENOUGH_MEMORY;
    try {
        error = body();
    } catch (const std::bad_alloc&) {
    }
    if (error != ERROR_SUCCESS) {
        os().SetLastError(error);
    }
    return error == ERROR_SUCCESS;
}

/// A path as it is looked up: in `base`, under `rest`.
struct Place {
    /// Finds the way to the path. Returns 0 or an errno value.
    int find();

    std::string path;
    /// A separator stood at the end, so only a directory will do. It is not part of `path`.
    bool mustBeDirectory = false;
    int base = AT_FDCWD;
    const char* rest = nullptr;
    Descriptor opened;
};

/// Puts the native form of a wide path into `place`, which is not looked for yet. Returns 0 or the
/// error that such a path gets.
DWORD takePath(const wchar_t* wide, Place& place);

/// The same, and finds the way to it.
DWORD findPlace(const wchar_t* wide, Place& place);

/// The Windows error for `error`, an errno value, of a call on a place. Linux says ENOENT whether a
/// file is missing or the directory that it should be in, and ENOTDIR when that is none; Windows
/// tells the two apart.
DWORD errorOfPlace(int error, const Place& place);

}  // namespace Tallowmere::platform::standin
