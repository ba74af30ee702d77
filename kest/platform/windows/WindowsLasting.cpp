// How what was written to a Windows disk is made to last.

#include <algorithm>
#include <vector>

#include "kest/platform/windows/Handle.h"
#include "kest/platform/windows/Patience.h"
#include "kest/platform/windows/UnixLinks.h"
#include "kest/platform/windows/WindowsDisk.h"
#include "kest/platform/windows/WindowsListing.h"
#include "kest/platform/windows/WindowsSecurity.h"

namespace Tallowmere::platform {
namespace {

using transactions::Kind;

/// Flushes a file that is open for writing.
DWORD flush(const Handle& handle) {
    return handle && ::FlushFileBuffers(handle.get()) ? DWORD{ERROR_SUCCESS} : failure();
}

/// Flushes a whole volume at once. Only administrators may; false when it was not done.
bool flushVolume(const std::wstring& path) {
    if (isWine()) {
        // There the volume is the device below, and flushing that leaves the files' data where it
        // is.
        return false;
    }
    std::wstring mounted(path.size() + 2, L'\0');
    wchar_t name[64];
    if (!::GetVolumePathNameW(path.c_str(), mounted.data(), static_cast<DWORD>(mounted.size())) ||
        !::GetVolumeNameForVolumeMountPointW(mounted.c_str(), name, 64)) {
        return false;
    }
    // "\\?\Volume{...}\" without the last separator is the volume, not its root.
    std::wstring volume = name;
    volume.pop_back();
    const Handle handle(::CreateFileW(volume.c_str(), GENERIC_WRITE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                                      nullptr));
    return flush(handle) == ERROR_SUCCESS;
}

DWORD flushFile(const std::wstring& path, DWORD attributes) {
    Handle attributed;
    const bool isReadOnly = (attributes & FILE_ATTRIBUTE_READONLY) != 0;
    const auto setAttributes = [&](DWORD value) {
        FILE_BASIC_INFO info{};
        info.FileAttributes = value;
        return ::SetFileInformationByHandle(attributed.get(), FileBasicInfo, &info, sizeof info) !=
               FALSE;
    };
    if (isReadOnly) {
        // Flushing takes a file that is open for writing, which a read-only one cannot be: it is
        // opened while it is not, and is read-only again before it is flushed.
        attributed = openEntry(path, FILE_WRITE_ATTRIBUTES);
        if (!attributed || !setAttributes((attributes & ~DWORD{FILE_ATTRIBUTE_READONLY}) |
                                          FILE_ATTRIBUTE_ARCHIVE)) {
            return failure();
        }
    }
    Handle handle;
    DWORD error = patiently(&isHeld, [&] {
        handle = openEntry(path, GENERIC_WRITE);
        return handle ? DWORD{ERROR_SUCCESS} : failure();
    });
    if (isReadOnly && !setAttributes(attributes) && error == ERROR_SUCCESS) {
        error = failure();
    }
    return error == ERROR_SUCCESS ? flush(handle) : error;
}

/// Flushes the entries of a directory.
DWORD flushDirectory(const std::wstring& path) {
    const DWORD error = patiently(&isHeld, [&] { return flush(openEntry(path, GENERIC_WRITE)); });
    switch (error) {
        case ERROR_ACCESS_DENIED:
            // Not ours to write to, although an entry of it may be ours to take away. The rename
            // itself was written through, which makes NTFS write its journal.
        case ERROR_INVALID_FUNCTION:
        case ERROR_INVALID_PARAMETER:
        case ERROR_NOT_SUPPORTED:
            // A file system, often a server's, that has nothing to flush in a directory.
            return ERROR_SUCCESS;
        default:
            return error;
    }
}

/// Flushes each file and each directory below a path, and the directory there itself.
DWORD flushTree(const std::wstring& path, const wchar_t* hidden) {
    std::vector<std::wstring> left{path};
    while (!left.empty()) {
        const std::wstring directory = std::move(left.back());
        left.pop_back();
        std::unique_ptr<transactions::Listing> listing;
        DWORD error = listDirectory(directory, directory == path ? hidden : L"", listing);
        transactions::Record record;
        while (error == ERROR_SUCCESS && (error = listing->next(record)) == ERROR_SUCCESS) {
            const std::wstring entry = directory + L'\\' + record.name;
            if (record.kind == Kind::Directory) {
                left.push_back(entry);
            } else if (record.kind == Kind::File) {
                error = flushFile(entry, record.attributes);
            }
            // A link is all in its directory.
        }
        if (error == ERROR_NO_MORE_FILES) {
            error = flushDirectory(directory);
        }
        if (error != ERROR_SUCCESS) {
            return error;
        }
    }
    return ERROR_SUCCESS;
}

}  // namespace

DWORD WindowsDisk::syncVolume(const DirectoryPtr& directory) {
    const LastErrorGuard kept;
    const WindowsDirectory& stage = windowsDirectory(directory);
    // Our choice: the volume in one call where this user may, else each file by itself. That is
    // slow, some milliseconds for each, and the only right way that needs no privilege.
    return flushVolume(stage.self()) ? DWORD{ERROR_SUCCESS}
                                     : flushTree(stage.path(), stage.isLocked ? kLockName : L"");
}

DWORD WindowsDisk::syncDirectory(const DirectoryPtr& directory) {
    const LastErrorGuard kept;
    return flushDirectory(windowsDirectory(directory).self());
}

DWORD WindowsDisk::writeFile(const DirectoryPtr& parent, const std::wstring& name,
                             const std::string& content) {
    const LastErrorGuard kept;
    PrivateSecurity security;
    const DWORD error = security.makeForFile();
    if (error != ERROR_SUCCESS) {
        return error;
    }
    const Handle file(::CreateFileW(
        windowsDirectory(parent).entry(name).c_str(), GENERIC_WRITE, 0, security.attributes(),
        CREATE_ALWAYS, FILE_FLAG_WRITE_THROUGH | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    if (!file) {
        return failure();
    }
    for (std::size_t at = 0; at < content.size();) {
        const auto piece = static_cast<DWORD>(std::min<std::size_t>(content.size() - at, 1U << 20));
        DWORD written = 0;
        if (!::WriteFile(file.get(), content.data() + at, piece, &written, nullptr)) {
            return failure();
        }
        at += written;
    }
    return flush(file);
}

DWORD WindowsDisk::readFile(const DirectoryPtr& parent, const std::wstring& name,
                            std::string& content) {
    const LastErrorGuard kept;
    const Handle file(::CreateFileW(windowsDirectory(parent).entry(name).c_str(), GENERIC_READ,
                                    kShareAll, nullptr, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT,
                                    nullptr));
    if (!file) {
        return failure();
    }
    content.clear();
    char buffer[16384];
    for (;;) {
        DWORD got = 0;
        if (!::ReadFile(file.get(), buffer, sizeof buffer, &got, nullptr)) {
            return failure();
        }
        if (got == 0) {
            return ERROR_SUCCESS;
        }
        content.append(buffer, got);
    }
}

}  // namespace Tallowmere::platform
