// How a Windows disk is changed.

#include "kest/platform/windows/Handle.h"
#include "kest/platform/windows/Patience.h"
#include "kest/platform/windows/UnixLinks.h"
#include "kest/platform/windows/WindowsDisk.h"
#include "kest/platform/windows/WindowsPaths.h"

namespace Tallowmere::platform {
namespace {

/// ERROR_SUCCESS after a call that answered so, its error otherwise.
DWORD answer(BOOL isDone) {
    return isDone ? DWORD{ERROR_SUCCESS} : failure();
}

/// What exists already has one code here, whatever kind it is.
DWORD answerOfNew(BOOL isDone) {
    const DWORD error = answer(isDone);
    return error == ERROR_FILE_EXISTS ? DWORD{ERROR_ALREADY_EXISTS} : error;
}

/// Sets the attributes of an open file and nothing else.
bool setAttributes(HANDLE file, DWORD attributes) {
    FILE_BASIC_INFO info{};
    info.FileAttributes = attributes;
    return ::SetFileInformationByHandle(file, FileBasicInfo, &info, sizeof info) != FALSE;
}

/// Removes an open entry. `isGone` tells whether its name is gone at once; otherwise it goes with
/// the last handle on the entry, which may be another program's.
DWORD dispose(HANDLE file, const std::wstring& path, DWORD attributes, bool& isGone) {
    // Newer systems take the name away at once, whoever else has the entry open. Values of newer
    // headers than ours.
    constexpr auto kDispositionEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(21);
    constexpr DWORD kDelete = 0x1;
    constexpr DWORD kPosixSemantics = 0x2;
    constexpr DWORD kIgnoreReadOnly = 0x10;
    DWORD flags = kDelete | kPosixSemantics | kIgnoreReadOnly;
    isGone = ::SetFileInformationByHandle(file, kDispositionEx, &flags, sizeof flags) != FALSE;
    if (isGone) {
        return ERROR_SUCCESS;
    }
    Handle writable;
    const bool isReadOnly = (attributes & FILE_ATTRIBUTE_READONLY) != 0;
    if (isReadOnly) {
        // Opened apart: not everybody who may remove it may change its attributes.
        writable = openEntry(path, FILE_WRITE_ATTRIBUTES);
        const DWORD others = attributes & ~DWORD{FILE_ATTRIBUTE_READONLY};
        if (!writable ||
            !setAttributes(writable.get(), others != 0 ? others : FILE_ATTRIBUTE_NORMAL)) {
            return failure();
        }
    }
    FILE_DISPOSITION_INFO info{TRUE};
    const DWORD error =
        answer(::SetFileInformationByHandle(file, FileDispositionInfo, &info, sizeof info));
    if (error != ERROR_SUCCESS && isReadOnly) {
        (void)setAttributes(writable.get(), attributes);
    }
    return error;
}

/// Whether an entry that was removed is still there, because somebody has it open. Under Wine it
/// can even be opened until then.
bool isStillThere(const std::wstring& path) {
    return openEntry(path, FILE_READ_ATTRIBUTES) || isDeletePending(::GetLastError());
}

/// Removes the entry at a path through one open file, so that what was looked at is what is
/// removed. ERROR_SHARING_VIOLATION when it is going to go only when somebody else closes it: until
/// then its name is taken and a power cut brings it back, so it must not count as gone.
DWORD remove(const std::wstring& path, bool isDirectory) {
    Handle handle = openEntry(path, DELETE | FILE_READ_ATTRIBUTES);
    if (!handle) {
        return failure();
    }
    FILE_BASIC_INFO info{};
    if (!::GetFileInformationByHandleEx(handle.get(), FileBasicInfo, &info, sizeof info)) {
        return failure();
    }
    if (((info.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) != isDirectory) {
        return isDirectory ? ERROR_DIRECTORY : ERROR_ACCESS_DENIED;
    }
    DWORD error = refuseUnixLink(handle.get(), path);
    bool isGone = false;
    if (error == ERROR_SUCCESS) {
        error = dispose(handle.get(), path, info.FileAttributes, isGone);
    }
    if (error != ERROR_SUCCESS || isGone) {
        return error;
    }
    handle.close();
    return isStillThere(path) ? ERROR_SHARING_VIOLATION : ERROR_SUCCESS;
}

/// Under Wine, ERROR_NOT_SUPPORTED for an entry that is a link of the Unix disk.
DWORD refuseUnixLinkAt(const std::wstring& path) {
    if (!isWine()) {
        return ERROR_SUCCESS;
    }
    const Handle handle = openEntry(path, FILE_READ_ATTRIBUTES);
    return handle ? refuseUnixLink(handle.get(), path) : failure();
}

/// Whether a copy lacks a part. Wine takes an error in reading for the end of the file and reports
/// success.
bool isShorter(const std::wstring& copy, const std::wstring& original) {
    const auto sizeOf = [](const std::wstring& path) {
        WIN32_FILE_ATTRIBUTE_DATA data{};
        return ::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)
                   ? std::uint64_t{data.nFileSizeHigh} << 32 | data.nFileSizeLow
                   : std::uint64_t{0};
    };
    return sizeOf(copy) < sizeOf(original);
}

}  // namespace

DWORD WindowsDisk::makeDirectory(const DirectoryPtr& parent, const std::wstring& name) {
    const LastErrorGuard kept;
    return answerOfNew(::CreateDirectoryW(windowsDirectory(parent).entry(name).c_str(), nullptr));
}

DWORD WindowsDisk::copyFile(const DirectoryPtr& sourceParent, const std::wstring& sourceName,
                            const DirectoryPtr& parent, const std::wstring& name, Links links,
                            const Kind*) {
    const LastErrorGuard kept;
    const std::wstring source = windowsDirectory(sourceParent).entry(sourceName);
    const std::wstring target = windowsDirectory(parent).entry(name);
    DWORD error = ERROR_SUCCESS;
    if (links == Links::Refuse && (error = refuseUnixLinkAt(source)) != ERROR_SUCCESS) {
        // The copy would be one of what the link leads to.
        return error;
    }
    const DWORD flags = links == Links::Refuse ? DWORD{COPY_FILE_COPY_SYMLINK} : DWORD{0};
    error = answer(::CopyFileExW(source.c_str(), target.c_str(), nullptr, nullptr, nullptr,
                                 flags | COPY_FILE_FAIL_IF_EXISTS));
    if (error == ERROR_SUCCESS && isWine() && isShorter(target, source)) {
        error = ERROR_READ_FAULT;
    }
    if (error == ERROR_SUCCESS) {
        return ERROR_SUCCESS;
    }
    if (error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS) {
        return ERROR_ALREADY_EXISTS;
    }
    // A part of the file may be left, but only where the source could be opened: before that
    // nothing is made, and what stands there then is not ours.
    const Handle readable(
        ::CreateFileW(source.c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING,
                      links == Links::Refuse ? FILE_FLAG_OPEN_REPARSE_POINT : 0, nullptr));
    if (readable) {
        (void)remove(target, false);
    }
    return error;
}

DWORD WindowsDisk::makeLink(const DirectoryPtr& parent, const std::wstring& name,
                            const wchar_t* target, bool isDirectory) {
    const LastErrorGuard kept;
    const std::wstring path = windowsDirectory(parent).entry(name);
    const auto isThere = [&] {
        return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
    };
    if (isThere()) {
        return ERROR_ALREADY_EXISTS;
    }
    // The privilege is needed, as with the kernel's manager.
    if (!::CreateSymbolicLinkW(path.c_str(), target,
                               isDirectory ? SYMBOLIC_LINK_FLAG_DIRECTORY : 0)) {
        return answerOfNew(FALSE);
    }
    // Wine answers yes and makes nothing.
    return isThere() ? ERROR_SUCCESS : ERROR_NOT_SUPPORTED;
}

DWORD WindowsDisk::adopt(const DirectoryPtr&, const DirectoryPtr&) {
    // Our choice: nothing, as with the kernel's manager, where a directory that is created without
    // a template takes nothing over from the one that it is filled from: it inherits its access
    // list from where it comes to stand, and its times are its own.
    return ERROR_SUCCESS;
}

DWORD WindowsDisk::removeFile(const DirectoryPtr& parent, const std::wstring& name) {
    const LastErrorGuard kept;
    return remove(windowsDirectory(parent).entry(name), false);
}

DWORD WindowsDisk::removeDirectory(const DirectoryPtr& parent, const std::wstring& name) {
    const LastErrorGuard kept;
    return remove(windowsDirectory(parent).entry(name), true);
}

DWORD WindowsDisk::rename(const DirectoryPtr& from, const std::wstring& fromName,
                          const DirectoryPtr& to, const std::wstring& toName) {
    const LastErrorGuard kept;
    const std::wstring source = windowsDirectory(from).entry(fromName);
    const std::wstring target = windowsDirectory(to).entry(toName);
    const DWORD error = refuseUnixLinkAt(source);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    // Neither replacing nor copying, and written through: where the directory cannot be flushed
    // (see syncDirectory), this is what makes the change last.
    return patiently(&isHeldOrDenied, [&] {
        return answerOfNew(::MoveFileExW(source.c_str(), target.c_str(), MOVEFILE_WRITE_THROUGH));
    });
}

DWORD WindowsDisk::exchange(const DirectoryPtr&, const std::wstring&, const DirectoryPtr&,
                            const std::wstring&) {
    // Windows has no such call.
    return ERROR_NOT_SUPPORTED;
}

}  // namespace Tallowmere::platform
