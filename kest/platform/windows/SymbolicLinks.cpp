#include "kest/platform/windows/SymbolicLinks.h"

#include "kest/platform/windows/UnixLinks.h"

namespace Tallowmere::platform {

BOOLEAN createSymbolicLink(const wchar_t* link, const wchar_t* target, DWORD flags) {
    const auto isThere = [&] { return ::GetFileAttributesW(link) != INVALID_FILE_ATTRIBUTES; };
    if (isWine() && isThere()) {
        ::SetLastError(ERROR_ALREADY_EXISTS);
        return FALSE;
    }
    const BOOLEAN made = ::CreateSymbolicLinkW(link, target, flags);
    if (made && isWine() && !isThere()) {
        ::SetLastError(ERROR_NOT_SUPPORTED);
        return FALSE;
    }
    return made;
}

}  // namespace Tallowmere::platform
