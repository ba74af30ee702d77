#include "Disk.h"

#include <kest/kest.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "kest/platform/Win32.h"

namespace Tallowmere::command::disk {
namespace {

struct CloseFileHandle {
    void operator()(void* handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, CloseFileHandle>;

std::wstring reasonOf(DWORD error) {
    std::wstring text = getSystemErrorMessage(error, nullptr);
    text.resize(text.find_last_not_of(L"\r\n") + 1);
    return text;
}

/// The path for calls that look at any length of path: with the prefix, when it is a full one.
std::wstring literal(const std::wstring& path) {
    if (path.size() >= 3 && path[1] == L':' && path[2] == L'\\') {
        return L"\\\\?\\" + path;
    }
    if (path.size() == 2 && path[1] == L':') {
        return L"\\\\?\\" + path + L"\\";
    }
    return path;
}

Handle openFor(const std::wstring& path, DWORD access, DWORD flags) {
    const HANDLE handle = CreateFileW(
        literal(path).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
        nullptr, OPEN_EXISTING, flags | FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    return Handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

Kind kindOf(const WIN32_FIND_DATAW& record) {
    const bool isFolder = (record.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    const bool isLink = (record.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
                        (record.dwReserved0 == IO_REPARSE_TAG_MOUNT_POINT ||
                         record.dwReserved0 == IO_REPARSE_TAG_SYMLINK);
    if (isLink) {
        return isFolder ? Kind::folderLink : Kind::fileLink;
    }
    return isFolder ? Kind::folder : Kind::file;
}

Entry entryOf(const WIN32_FIND_DATAW& record) {
    const Kind kind = kindOf(record);
    const std::uint64_t size = (std::uint64_t{record.nFileSizeHigh} << 32) + record.nFileSizeLow;
    return {record.cFileName, kind, kind == Kind::file ? size : 0};
}

struct CloseSearch {
    void operator()(void* search) const { FindClose(search); }
};

/// The record of what stands at `path`; a drive's root has none.
bool recordOf(const std::wstring& path, WIN32_FIND_DATAW& record) {
    const HANDLE search = FindFirstFileW(literal(path).c_str(), &record);
    if (search == INVALID_HANDLE_VALUE) {
        return false;
    }
    FindClose(search);
    return true;
}

std::wstring targetOf(const std::wstring& path, bool isFolder) {
    try {
        return getLinkTarget(path.c_str(), isFolder);
    } catch (const std::exception&) {
        // It leads to nothing.
        return L"";
    }
}

}  // namespace

bool list(const std::wstring& folder, std::vector<Entry>& entries, std::wstring& reason) {
    entries.clear();
    WIN32_FIND_DATAW record{};
    const HANDLE search = FindFirstFileW((join(literal(folder), L"*")).c_str(), &record);
    if (search == INVALID_HANDLE_VALUE) {
        reason = reasonOf(GetLastError());
        return false;
    }
    const std::unique_ptr<void, CloseSearch> open(search);
    do {
        if (std::wcscmp(record.cFileName, L".") != 0 && std::wcscmp(record.cFileName, L"..") != 0) {
            entries.push_back(entryOf(record));
        }
    } while (FindNextFileW(search, &record));
    const DWORD error = GetLastError();
    reason = error == ERROR_NO_MORE_FILES ? L"" : reasonOf(error);
    return reason.empty();
}

std::optional<Entry> look(const std::wstring& path, std::wstring& reason) {
    WIN32_FIND_DATAW record{};
    if (recordOf(path, record)) {
        Entry entry = entryOf(record);
        entry.name = path;
        return entry;
    }
    const DWORD error = GetLastError();
    const DWORD attributes = GetFileAttributesW(literal(path).c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        return Entry{path, Kind::folder, 0};
    }
    reason = reasonOf(error);
    return std::nullopt;
}

bool canMoveWhileListed() {
    return false;
}

std::optional<std::pair<std::uint64_t, std::uint64_t>> identityOf(const std::wstring& path) {
    // When it was made. Its number would be surer, but has to be asked of the thing itself, which
    // cannot be removed at that moment.
    WIN32_FIND_DATAW record{};
    if (!recordOf(path, record)) {
        return std::nullopt;
    }
    return std::pair<std::uint64_t, std::uint64_t>(record.ftCreationTime.dwHighDateTime,
                                                   record.ftCreationTime.dwLowDateTime);
}

bool canTellHeld() {
    return false;
}

StageState stateOf(const std::wstring& stage, std::wstring& reason) {
    // Who may look into it is as near as the answer comes without the library's own eyes.
    WIN32_FIND_DATAW record{};
    const HANDLE search = FindFirstFileW(join(literal(stage), L"*").c_str(), &record);
    if (search != INVALID_HANDLE_VALUE) {
        FindClose(search);
        // Whoever holds it would have to be disturbed to be found.
        return StageState::held;
    }
    const DWORD error = GetLastError();
    reason = reasonOf(error);
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? StageState::gone
           : error == ERROR_ACCESS_DENIED                                 ? StageState::foreign
                                                                          : StageState::unknown;
}

std::wstring join(const std::wstring& folder, const std::wstring& name) {
    const bool isEnded = !folder.empty() && (folder.back() == L'\\' || folder.back() == L'/');
    return isEnded ? folder + name : folder + L'\\' + name;
}

std::vector<std::wstring> differences(const std::wstring& original, const std::wstring& copy,
                                      Kind kind) {
    std::vector<std::wstring> found;
    if (kind == Kind::fileLink || kind == Kind::folderLink) {
        const bool isFolder = kind == Kind::folderLink;
        if (targetOf(original, isFolder) != targetOf(copy, isFolder)) {
            found.emplace_back(L"leads elsewhere");
        }
        return found;
    }
    WIN32_FIND_DATAW wanted{};
    WIN32_FIND_DATAW got{};
    if (kind != Kind::file) {
        // A folder of the copy is made anew.
        return found;
    }
    if (!recordOf(original, wanted) || !recordOf(copy, got)) {
        found.push_back(reasonOf(GetLastError()));
        return found;
    }
    if (CompareFileTime(&wanted.ftLastWriteTime, &got.ftLastWriteTime) != 0) {
        found.push_back(L"changed " + filetimeToString(got.ftLastWriteTime, true, true) +
                        L" instead of " + filetimeToString(wanted.ftLastWriteTime, true, true));
    }
    constexpr DWORD kKept = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
    if (((wanted.dwFileAttributes ^ got.dwFileAttributes) & kKept) != 0) {
        found.emplace_back(L"other attributes");
    }
    return found;
}

std::optional<bool> isSameContent(const std::wstring& first, const std::wstring& second,
                                  std::wstring& reason) {
    constexpr DWORD kBlock = 262144;
    const Handle files[] = {openFor(first, GENERIC_READ, FILE_FLAG_SEQUENTIAL_SCAN),
                            openFor(second, GENERIC_READ, FILE_FLAG_SEQUENTIAL_SCAN)};
    std::vector<char> blocks[] = {std::vector<char>(kBlock), std::vector<char>(kBlock)};
    for (;;) {
        DWORD got[] = {0, 0};
        for (int i = 0; i < 2; ++i) {
            if (!files[i] ||
                !ReadFile(files[i].get(), blocks[i].data(), kBlock, &got[i], nullptr)) {
                reason = reasonOf(GetLastError());
                return std::nullopt;
            }
        }
        if (got[0] != got[1] || std::memcmp(blocks[0].data(), blocks[1].data(), got[0]) != 0) {
            return false;
        }
        if (got[0] == 0) {
            return true;
        }
    }
}

}  // namespace Tallowmere::command::disk
