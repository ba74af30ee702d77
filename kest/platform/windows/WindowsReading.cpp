// How a Windows disk is read.

#include "kest/platform/windows/Handle.h"
#include "kest/platform/windows/Patience.h"
#include "kest/platform/windows/UnixLinks.h"
#include "kest/platform/windows/WindowsDisk.h"
#include "kest/platform/windows/WindowsListing.h"
#include "kest/platform/windows/WindowsPaths.h"

// After Win32.h, which it needs.
#include <winternl.h>

namespace Tallowmere::platform {
namespace {

/// What a path stands for itself, links not followed.
struct Entry {
    DWORD attributes = 0;
    DWORD tag = 0;
    WIN32_FILE_ATTRIBUTE_DATA data{};
};

/// By a search, which asks the directory and not the entry.
DWORD search(const std::wstring& path, Entry& entry) {
    WIN32_FIND_DATAW found{};
    const HANDLE handle = ::FindFirstFileExW(path.c_str(), FindExInfoBasic, &found,
                                             FindExSearchNameMatch, nullptr, 0);
    if (handle == INVALID_HANDLE_VALUE) {
        return failure();
    }
    ::FindClose(handle);
    entry.attributes = found.dwFileAttributes;
    entry.tag =
        (entry.attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 ? found.dwReserved0 : DWORD{0};
    entry.data = {found.dwFileAttributes, found.ftCreationTime, found.ftLastAccessTime,
                  found.ftLastWriteTime,  found.nFileSizeHigh,  found.nFileSizeLow};
    return ERROR_SUCCESS;
}

DWORD inspect(const std::wstring& path, Entry& entry) {
    if (!::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &entry.data)) {
        const DWORD error = failure();
        // Open in the system's own hands (a paging file): its directory still tells about it.
        return error == ERROR_SHARING_VIOLATION ? search(path, entry) : error;
    }
    entry.attributes = entry.data.dwFileAttributes;
    if ((entry.attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        const Handle handle = openEntry(path, FILE_READ_ATTRIBUTES);
        FILE_ATTRIBUTE_TAG_INFO info{};
        // What does not tell its tag is a link (see kindOf): that errs on the side of not entering.
        if (handle && ::GetFileInformationByHandleEx(handle.get(), FileAttributeTagInfo, &info,
                                                     sizeof info)) {
            entry.tag = info.ReparseTag;
        }
    }
    return ERROR_SUCCESS;
}

/// Where an open directory really stands, in the system's form. False when the system cannot say.
bool placeOf(HANDLE directory, std::wstring& path) {
    if (unixPlaceOf(directory, path)) {
        return true;
    }
    path.resize(MAX_PATH);
    for (;;) {
        const DWORD length = ::GetFinalPathNameByHandleW(
            directory, path.data(), static_cast<DWORD>(path.size()), FILE_NAME_NORMALIZED);
        if (length == 0) {
            return false;
        }
        const bool fits = length < path.size();
        path.resize(length);
        if (fits) {
            return true;
        }
    }
}

/// Opens what a path leads to, or with Links::Refuse the entry itself, if it is a directory.
DWORD open(const std::wstring& path, transactions::Links links, Handle& handle) {
    const bool follows = links == transactions::Links::Follow;
    if (!follows) {
        Entry entry;
        const DWORD error = inspect(path, entry);
        if (error != ERROR_SUCCESS) {
            return error;
        }
        const transactions::Kind kind = kindOf(entry.attributes, entry.tag);
        if (kind == transactions::Kind::DirectoryLink || kind == transactions::Kind::FileLink) {
            return ERROR_CANT_RESOLVE_FILENAME;
        }
    }
    // Asking for no more than attributes disturbs nobody and needs no right to list it.
    handle = Handle(::CreateFileW(
        path.c_str(), FILE_READ_ATTRIBUTES, kShareAll, nullptr, OPEN_EXISTING,
        FILE_FLAG_BACKUP_SEMANTICS | (follows ? 0 : FILE_FLAG_OPEN_REPARSE_POINT), nullptr));
    if (!handle) {
        return failure();
    }
    // Asked once more, of what was opened: it may have been another entry a moment ago.
    FILE_ATTRIBUTE_TAG_INFO info{};
    if (!::GetFileInformationByHandleEx(handle.get(), FileAttributeTagInfo, &info, sizeof info)) {
        // FAT knows no such question, and no links.
        FILE_BASIC_INFO basic{};
        if (!::GetFileInformationByHandleEx(handle.get(), FileBasicInfo, &basic, sizeof basic)) {
            return failure();
        }
        info.FileAttributes = basic.FileAttributes;
    }
    const transactions::Kind kind = kindOf(info.FileAttributes, info.ReparseTag);
    if (!follows && kind == transactions::Kind::DirectoryLink) {
        return ERROR_CANT_RESOLVE_FILENAME;
    }
    return (info.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? ERROR_SUCCESS : ERROR_DIRECTORY;
}

}  // namespace

std::optional<std::uint64_t> fileNumber(HANDLE file) {
    // What GetFileInformationByHandle gives as the file index, without all else that it asks for,
    // which costs a hundred times as much where the volume has to be asked.
    FILE_INTERNAL_INFORMATION number{};
    IO_STATUS_BLOCK status{};
    const NTSTATUS result =
        ::NtQueryInformationFile(file, &status, &number, sizeof number, FileInternalInformation);
    if (result < 0) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(number.IndexNumber.QuadPart);
}

DWORD checkNumbers(std::optional<std::uint64_t> left, std::optional<std::uint64_t> right) {
    if (!left || !right) {
        return ERROR_GEN_FAILURE;
    }
    // A volume without numbers gives 0 for every file, and one whose numbers have more than 64 bits
    // all ones for each that is too large: equal, too.
    return *left == *right ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
}

DWORD WindowsDisk::normalize(const wchar_t* path, std::wstring& text) {
    const LastErrorGuard kept;
    return paths::normalize(path, text);
}

bool WindowsDisk::isMisread(std::wstring_view name) const {
    const LastErrorGuard kept;
    return paths::isMisread(name);
}

bool WindowsDisk::isRoot(std::wstring_view text) const {
    return paths::isRoot(text);
}

std::wstring WindowsDisk::fold(const std::wstring& name) const {
    const LastErrorGuard kept;
    return paths::fold(name);
}

DWORD WindowsDisk::openDirectory(const std::wstring& text, DirectoryPtr& directory,
                                 std::wstring& canonical) {
    const LastErrorGuard kept;
    const WindowsDirectory asked(paths::toSystem(text), paths::isRoot(text), 0);
    Handle handle;
    const DWORD error = open(asked.self(), Links::Follow, handle);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    std::wstring place;
    if (!placeOf(handle.get(), place)) {
        // A volume without a name of its own, or a file system that cannot tell: as it was called.
        place.clear();
    }
    canonical = paths::placeOf(text, place);
    directory = std::make_shared<WindowsDirectory>(
        paths::toSystem(canonical), paths::isRoot(canonical), fileNumber(handle.get()));
    return ERROR_SUCCESS;
}

DWORD WindowsDisk::openBelow(const DirectoryPtr& base, const std::wstring& relative, Links links,
                             DirectoryPtr& directory) {
    const LastErrorGuard kept;
    const std::wstring path = windowsDirectory(base).entry(relative);
    Handle handle;
    const DWORD error = open(path, links, handle);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    std::wstring place;
    std::wstring text;
    const bool isElsewhere =
        links == Links::Follow && placeOf(handle.get(), place) && paths::fromSystem(place, text);
    directory = std::make_shared<WindowsDirectory>(isElsewhere ? paths::toSystem(text) : path,
                                                   isElsewhere && paths::isRoot(text),
                                                   fileNumber(handle.get()));
    return ERROR_SUCCESS;
}

DWORD WindowsDisk::describe(const DirectoryPtr& parent, const std::wstring& name, Kind& kind,
                            WIN32_FILE_ATTRIBUTE_DATA* data) {
    const LastErrorGuard kept;
    Entry entry;
    const DWORD error = inspect(windowsDirectory(parent).entry(name), entry);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    kind = kindOf(entry.attributes, entry.tag);
    if (data != nullptr) {
        *data = entry.data;
    }
    return ERROR_SUCCESS;
}

DWORD WindowsDisk::list(const DirectoryPtr& directory,
                        std::unique_ptr<transactions::Listing>& listing) {
    const LastErrorGuard kept;
    const WindowsDirectory& listed = windowsDirectory(directory);
    return listDirectory(listed.path(), listed.isLocked ? kLockName : L"", listing);
}

DWORD WindowsDisk::mayRemoveFrom(const DirectoryPtr&) {
    // The right to remove an entry can come from the entry as well as from its directory, so that
    // the directory alone cannot answer (see mayRemove).
    return ERROR_SUCCESS;
}

DWORD WindowsDisk::mayRemove(const DirectoryPtr& parent, const std::wstring& name) {
    const LastErrorGuard kept;
    const std::wstring path = windowsDirectory(parent).entry(name);
    // Asks the system for the right, and for who else has it open and will not share it.
    Handle handle;
    const DWORD error = patiently(&isHeld, [&] {
        handle = openEntry(path, DELETE | FILE_READ_ATTRIBUTES);
        return handle ? DWORD{ERROR_SUCCESS} : failure();
    });
    if (error != ERROR_SUCCESS) {
        return error;
    }
    FILE_BASIC_INFO info{};
    if (!::GetFileInformationByHandleEx(handle.get(), FileBasicInfo, &info, sizeof info)) {
        return failure();
    }
    if ((info.FileAttributes & FILE_ATTRIBUTE_READONLY) != 0) {
        // As the kernel's manager answers, for directories, too.
        return ERROR_ACCESS_DENIED;
    }
    return refuseUnixLink(handle.get(), path);
}

std::wstring WindowsDisk::spelling(const DirectoryPtr& parent, const std::wstring& name) {
    const LastErrorGuard kept;
    std::wstring spelled = name;
    (void)paths::spelling(windowsDirectory(parent).entry(name), spelled);
    return spelled;
}

DWORD WindowsDisk::checkSameVolume(const DirectoryPtr& left, const DirectoryPtr& right) {
    const LastErrorGuard kept;
    // By where the volume is mounted, since the paths are those with all links resolved. A volume's
    // serial number is not unique: a cloned disk has that of its original.
    const auto ask = [](WindowsDirectory& directory) -> DWORD {
        if (!directory.volume.empty()) {
            return ERROR_SUCCESS;
        }
        const std::wstring path = directory.self();
        std::wstring volume(path.size() + 2, L'\0');
        if (!::GetVolumePathNameW(path.c_str(), volume.data(), static_cast<DWORD>(volume.size()))) {
            return failure();
        }
        volume.resize(volume.find(L'\0'));
        directory.volume = paths::fold(volume);
        return ERROR_SUCCESS;
    };
    WindowsDirectory& first = windowsDirectory(left);
    WindowsDirectory& second = windowsDirectory(right);
    DWORD error = ask(first);
    if (error == ERROR_SUCCESS) {
        error = ask(second);
    }
    return error == ERROR_SUCCESS && first.volume != second.volume ? DWORD{ERROR_NOT_SAME_DEVICE}
                                                                   : error;
}

DWORD WindowsDisk::checkEntry(const DirectoryPtr& parent, const std::wstring& name,
                              const DirectoryPtr& directory) {
    const LastErrorGuard kept;
    const Handle handle = openEntry(windowsDirectory(parent).entry(name), FILE_READ_ATTRIBUTES);
    return handle ? checkNumbers(fileNumber(handle.get()), windowsDirectory(directory).number())
                  : failure();
}

namespace transactions {

Disk& systemDisk() {
    // Never destroyed: a host may still work while the process ends.
    static WindowsDisk* const s_disk = new WindowsDisk;
    return *s_disk;
}

}  // namespace transactions
}  // namespace Tallowmere::platform
