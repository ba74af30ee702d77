#define KEST_MODULE "Utilities"

#include "kest/transacted/Links.h"

#include <memory>

#include "kest/platform/Calls.h"
#include "kest/transacted/Failure.h"

namespace Tallowmere {

using platform::os;

std::wstring getLinkTarget(const wchar_t* path, bool isDirectory) {
    constexpr DWORD kBufferSize = 32768;  // characters
    // All that may fail for want of memory comes before there is a handle to lose, and nothing
    // stands between a call that failed and the report of its error.
    const auto buffer = std::make_unique<wchar_t[]>(kBufferSize);
    const std::wstring openFailure = std::wstring(L"CreateFile ") + path;
    const std::wstring resolveFailure = std::wstring(L"GetFinalPathNameByHandle ") + path;

    const HANDLE file =
        os().CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                         isDirectory ? FILE_FLAG_BACKUP_SEMANTICS : FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        reportFailure(openFailure.c_str(), true, true);
    }
    const DWORD length = os().GetFinalPathNameByHandleW(file, buffer.get(), kBufferSize, 0);
    if (length == 0 || length >= kBufferSize) {
        // Our choice: a final path that does not fit is a failure too. The call then answers with
        // the size that it needs, writes nothing and need not set an error; a link to the empty
        // text would be the result.
        const DWORD error = length == 0 ? os().GetLastError() : ERROR_INSUFFICIENT_BUFFER;
        // Our choice: the handle is given back on this path as well, without letting that change
        // the error that is reported.
        (void)os().CloseHandle(file);
        os().SetLastError(error);
        reportFailure(resolveFailure.c_str(), true, true);
    }
    (void)os().CloseHandle(file);
    return buffer.get();
}

void CopyLink(const std::wstring& source, const std::wstring& destination) {
    // As above: composed before the call whose error it is to carry.
    const std::wstring failure = L"CreateSymbolicLink " + destination;

    const DWORD attributes = os().GetFileAttributesW(source.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        reportFailure((source + L" does not exist").c_str(), true, false);
    }
    // Deliberate: whatever has a reparse point passes for a link, whichever tag it has. What is
    // none at heart (a placeholder of a file in a cloud, say) is copied as a link to itself.
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
        reportFailure((source + L" is not a link").c_str(), true, false);
    }
    const std::wstring target =
        getLinkTarget(source.c_str(), (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0);
    // The bit of a directory, moved to where the flag of a link to one is.
    static_assert(FILE_ATTRIBUTE_DIRECTORY >> 4 == SYMBOLIC_LINK_FLAG_DIRECTORY);
    if (!os().CreateSymbolicLinkW(destination.c_str(), target.c_str(),
                                  (attributes & FILE_ATTRIBUTE_DIRECTORY) >> 4)) {
        reportFailure(failure.c_str(), true, true);
    }
}

}  // namespace Tallowmere
