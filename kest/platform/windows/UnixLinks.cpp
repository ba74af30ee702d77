#include "kest/platform/windows/UnixLinks.h"

#include <cstddef>
#include <vector>

#include "kest/platform/windows/Handle.h"
#include "kest/platform/windows/WindowsDisk.h"
#include "kest/platform/windows/WindowsPaths.h"

// After Win32.h, which it needs.
#include <winternl.h>

namespace Tallowmere::platform {

bool isWine() {
    static const bool s_isWine = [] {
        const HMODULE module = ::GetModuleHandleW(L"ntdll.dll");
        return module != nullptr && ::GetProcAddress(module, "wine_get_version") != nullptr;
    }();
    return s_isWine;
}

bool unixPlaceOf(HANDLE file, std::wstring& path) {
    if (!isWine()) {
        return false;
    }
    constexpr ULONG kMost = 0x10000 + sizeof(UNICODE_STRING);
    alignas(UNICODE_STRING) std::byte few[1024];
    std::vector<std::byte> many;
    void* buffer = few;
    ULONG size = sizeof few;
    ULONG needed = 0;
    if (::NtQueryObject(file, ObjectNameInformation, buffer, size, &needed) < 0) {
        many.resize(kMost);
        buffer = many.data();
        size = kMost;
        if (::NtQueryObject(file, ObjectNameInformation, buffer, size, &needed) < 0) {
            return false;
        }
    }
    const auto& name = *static_cast<const UNICODE_STRING*>(buffer);
    path.assign(name.Buffer, name.Length / sizeof(wchar_t));
    // The kernel's spelling of the same prefix.
    if (path.compare(0, 4, L"\\??\\") != 0) {
        return false;
    }
    path[1] = L'\\';
    return true;
}

namespace {

/// Whether an entry's place is that of its parent and its name: for a drive that is so new that
/// Wine still calls its folders by another drive's letter.
bool standsInParent(const std::wstring& place, const std::wstring& path) {
    const std::size_t end = path.find_last_of(L'\\');
    if (end == std::wstring::npos || end + 1 == path.size()) {
        return false;
    }
    // With its separator, which the root of a drive needs.
    const Handle parent(::CreateFileW(path.substr(0, end + 1).c_str(), FILE_READ_ATTRIBUTES,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    std::wstring folder;
    if (!parent || !unixPlaceOf(parent.get(), folder)) {
        return false;
    }
    if (folder.back() != L'\\') {
        folder += L'\\';
    }
    return paths::fold(place) == paths::fold(folder + path.substr(end + 1));
}

/// A path without the dots and blanks at the ends of its names, which Wine leaves away now and then
/// when it tells a place.
std::wstring shortened(const std::wstring& path) {
    std::wstring result;
    for (std::size_t at = 0; at <= path.size(); ++at) {
        if (at == path.size() || path[at] == L'\\') {
            result.resize(result.find_last_not_of(L". ") + 1);
        }
        if (at != path.size()) {
            result += path[at];
        }
    }
    return result;
}

/// Whether an entry's place is its path but for such dots and blanks.
bool isShortened(HANDLE file, const std::wstring& place, const std::wstring& path) {
    const std::wstring shorter = shortened(path);
    if (shorter == path || (paths::fold(shortened(place)) != paths::fold(shorter) &&
                            !standsInParent(place, shorter))) {
        return false;
    }
    const std::wstring sibling = path.substr(0, path.find_last_not_of(L". ") + 1);
    if (sibling == path) {
        return true;
    }
    // Unless it is a link to the entry that bears the shorter name.
    const Handle other = openEntry(sibling, FILE_READ_ATTRIBUTES);
    return !other ||
           checkNumbers(fileNumber(file), fileNumber(other.get())) == ERROR_FILE_NOT_FOUND;
}

}  // namespace

DWORD refuseUnixLink(HANDLE file, const std::wstring& path) {
    if (!isWine()) {
        return ERROR_SUCCESS;
    }
    // Asked by its path: the open file no longer knows how it was reached. The root of another file
    // system looks like a link to a directory. It could not be renamed or removed either.
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        return ERROR_NOT_SUPPORTED;
    }
    // Wine may give the folder another drive's letter between one question and the next.
    constexpr int kTries = 3;
    std::wstring place;
    for (int tries = 0; tries < kTries && unixPlaceOf(file, place); ++tries) {
        if (paths::fold(place) == paths::fold(path) || standsInParent(place, path) ||
            isShortened(file, place, path)) {
            return ERROR_SUCCESS;
        }
    }
    return ERROR_NOT_SUPPORTED;
}

}  // namespace Tallowmere::platform
