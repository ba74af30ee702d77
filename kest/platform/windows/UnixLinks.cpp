#include "kest/platform/windows/UnixLinks.h"

#include <cstddef>
#include <vector>

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
    std::wstring place;
    const bool isItself = unixPlaceOf(file, place) && paths::fold(place) == paths::fold(path);
    return isItself ? ERROR_SUCCESS : ERROR_NOT_SUPPORTED;
}

}  // namespace Tallowmere::platform
