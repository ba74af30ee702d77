// The calls of the family Files, on Linux files. Names are as linux/Names.h says. Share modes have
// no counterpart here: nobody is ever kept out, and no call fails because of others.

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cwchar>
#include <memory>
#include <string>

#include "kest/platform/HandleTable.h"
#include "kest/platform/TimesUnread.h"
#include "kest/platform/linux/Closing.h"
#include "kest/platform/linux/Descriptor.h"
#include "kest/platform/linux/Errno.h"
#include "kest/platform/linux/FinalPath.h"
#include "kest/platform/linux/Names.h"
#include "kest/platform/linux/Place.h"
#include "kest/platform/linux/Standins.h"
#include "kest/platform/linux/VolumePlace.h"

namespace Tallowmere::platform::standin {
namespace {

/// VOLUME_NAME_GUID of GetFinalPathNameByHandleW.
constexpr DWORD kNameOnVolume = 1;

/// What a handle of the kind File stands for.
struct OpenFile {
    Descriptor descriptor;
    /// The path by which it was opened.
    std::string path;
};

FILETIME fileTime(const struct statx_timestamp& time) {
    constexpr std::int64_t kUnixEpoch = 11644473600;  // seconds from 1601 to 1970
    const auto ticks =
        static_cast<std::uint64_t>((time.tv_sec + kUnixEpoch) * 10000000 + time.tv_nsec / 100);
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

/// Our choice: a name that begins with a dot does not make a file hidden; Windows takes no notice
/// of it either, and the transaction manager shows the same. A file that nobody may write is
/// read-only, whoever asks. What is neither a file nor a directory nor a link passes for a file.
DWORD attributesOf(const struct statx& status, const Place& place) {
    DWORD attributes = FILE_ATTRIBUTE_ARCHIVE;
    switch (status.stx_mode & S_IFMT) {
        case S_IFLNK: {
            struct stat target {};
            const bool isDirectory =
                fstatat(place.base, place.rest, &target, 0) == 0 && S_ISDIR(target.st_mode);
            return FILE_ATTRIBUTE_REPARSE_POINT |
                   (isDirectory ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_ARCHIVE);
        }
        case S_IFDIR:
            attributes = FILE_ATTRIBUTE_DIRECTORY;
            break;
        default:
            break;
    }
    if ((status.stx_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0) {
        attributes |= FILE_ATTRIBUTE_READONLY;
    }
    return attributes;
}

DWORD readAttributes(const wchar_t* path, WIN32_FILE_ATTRIBUTE_DATA& data) {
    Place place;
    const DWORD error = findPlace(path, place);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    constexpr unsigned int kAll = STATX_BASIC_STATS | STATX_BTIME;
    constexpr unsigned int kChanges = STATX_MTIME | STATX_CTIME;
    const bool isTimeRead = !TimesUnread::isSo();
    struct statx status;
    if (statx(place.base, place.rest, AT_SYMLINK_NOFOLLOW, isTimeRead ? kAll : kAll & ~kChanges,
              &status) != 0) {
        return errorOfPlace(errno, place);
    }
    const DWORD attributes = attributesOf(status, place);
    if (place.mustBeDirectory && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        return ERROR_INVALID_NAME;
    }
    data = {};
    data.dwFileAttributes = attributes;
    // Where the file system does not keep the time of creation, the last change stands for it.
    const bool hasBirth = (status.stx_mask & STATX_BTIME) != 0;
    if (isTimeRead) {
        data.ftCreationTime = fileTime(hasBirth ? status.stx_btime : status.stx_mtime);
        data.ftLastAccessTime = fileTime(status.stx_atime);
        data.ftLastWriteTime = fileTime(status.stx_mtime);
    }
    if (S_ISREG(status.stx_mode)) {
        data.nFileSizeHigh = static_cast<DWORD>(status.stx_size >> 32);
        data.nFileSizeLow = static_cast<DWORD>(status.stx_size);
    }
    return ERROR_SUCCESS;
}

DWORD openFile(const wchar_t* path, DWORD access, DWORD flags, OpenFile& file) {
    Place place;
    const DWORD error = findPlace(path, place);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    // Not blocking, or a FIFO without a writer would hold the caller. Without any access asked for,
    // what may not be read, and what cannot be opened at all, can still be named.
    const int mode = access == 0 ? O_PATH : O_RDONLY | O_NONBLOCK | O_NOCTTY;
    file.descriptor = Descriptor(openat(place.base, place.rest, mode | O_CLOEXEC));
    if (!file.descriptor) {
        return errorOfPlace(errno, place);
    }
    struct stat status {};
    if (fstat(file.descriptor.get(), &status) != 0) {
        return errorFromErrno(errno);
    }
    if (S_ISDIR(status.st_mode)) {
        if ((flags & FILE_FLAG_BACKUP_SEMANTICS) == 0) {
            return ERROR_ACCESS_DENIED;
        }
    } else if (place.mustBeDirectory) {
        return ERROR_INVALID_NAME;
    }
    file.path = std::move(place.path);
    return ERROR_SUCCESS;
}

}  // namespace
}  // namespace Tallowmere::platform::standin

namespace Tallowmere::platform {

thread_local constinit unsigned int TimesUnread::s_depth = 0;

}  // namespace Tallowmere::platform

namespace Tallowmere::platform::standin {

DWORD GetFileAttributesW(const wchar_t* path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    return succeeds([&] { return readAttributes(path, data); }) ? data.dwFileAttributes
                                                                : INVALID_FILE_ATTRIBUTES;
}

BOOL GetFileAttributesExW(const wchar_t* path, GET_FILEEX_INFO_LEVELS level, void* data) {
    return succeeds([&]() -> DWORD {
        if (level != GetFileExInfoStandard || data == nullptr) {
            return ERROR_INVALID_PARAMETER;
        }
        return readAttributes(path, *static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data));
    });
}

HANDLE CreateFileW(const wchar_t* path, DWORD access, DWORD, SECURITY_ATTRIBUTES*,
                   DWORD disposition, DWORD flags, HANDLE pattern) {
    HANDLE handle = INVALID_HANDLE_VALUE;
    (void)succeeds([&]() -> DWORD {
        // The library opens what exists, to look at it, and does nothing else.
        if ((access & ~GENERIC_READ) != 0 || disposition != OPEN_EXISTING || pattern != nullptr ||
            (flags & ~(FILE_FLAG_BACKUP_SEMANTICS | FILE_ATTRIBUTE_NORMAL)) != 0) {
            return ERROR_NOT_SUPPORTED;
        }
        auto file = std::make_unique<OpenFile>();
        const DWORD error = openFile(path, access, flags, *file);
        if (error != ERROR_SUCCESS) {
            return error;
        }
        handle = issueHandle(HandleKind::File, file.get());
        if (handle == INVALID_HANDLE_VALUE) {
            return ERROR_NO_SYSTEM_RESOURCES;
        }
        (void)file.release();
        return ERROR_SUCCESS;
    });
    return handle;
}

DWORD GetFinalPathNameByHandleW(HANDLE handle, wchar_t* buffer, DWORD size, DWORD flags) {
    DWORD result = 0;
    (void)succeeds([&]() -> DWORD {
        const auto* const file = static_cast<const OpenFile*>(findHandle(handle, HandleKind::File));
        if (file == nullptr) {
            return ERROR_INVALID_HANDLE;
        }
        if ((flags != 0 && flags != kNameOnVolume) || (buffer == nullptr && size != 0)) {
            return ERROR_INVALID_PARAMETER;
        }
        std::string native;
        const int error = findFinalPath(file->descriptor.get(), file->path, native);
        if (error != 0) {
            return errorFromErrno(error);
        }
        // With the prefix that final paths have, which every one of these calls understands; what
        // follows it is the path as other programs know it.
        std::wstring path = L"\\\\?\\" + names::widen(native);
        if (flags == kNameOnVolume) {
            // Our choice: in place of the volume's own name its device numbers.
            VolumePlace place;
            if (findVolumePlace(file->descriptor.get(), native, place) != 0) {
                return ERROR_PATH_NOT_FOUND;
            }
            path = L"\\\\?\\Volume{" + names::widen(place.volume) + L"}" + names::widen(place.path);
        }
        result = static_cast<DWORD>(path.size());
        if (path.size() >= size) {
            // Too small: nothing is written, and the answer is the size that would do.
            ++result;
        } else {
            std::wmemcpy(buffer, path.c_str(), path.size() + 1);
        }
        return ERROR_SUCCESS;
    });
    return result;
}

bool closeFile(HANDLE handle) {
    const std::unique_ptr<OpenFile> file(
        static_cast<OpenFile*>(retireHandle(handle, HandleKind::File)));
    if (file == nullptr) {
        os().SetLastError(ERROR_INVALID_HANDLE);
    }
    return file != nullptr;
}

}  // namespace Tallowmere::platform::standin
