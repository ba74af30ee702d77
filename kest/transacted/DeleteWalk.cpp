#define KEST_MODULE "TransactedFS"

#include "kest/transacted/DeleteWalk.h"

#include <string_view>

#include "kest/diagnostics/Log.h"
#include "kest/transacted/ExcludedPaths.h"
#include "kest/transacted/Failure.h"

// As in CopyWalk.cpp, a trace line is one text that begins with the name of a call, so that no path
// in it can be taken for a marker.

namespace Tallowmere {

using platform::os;

void DeleteWalk::visit(const Entry& entry) {
    if (!entry.isDirectory) {
        LOG_INFO(line(L"DeleteFileTransacted ").append(entry.here));
        if (!os().DeleteFileTransactedW(entry.here.c_str(), transaction())) {
            reportFailure(L"DeleteFileTransacted", true, true);
        }
    } else if (entry.isLink) {
        LOG_INFO(line(L"RemoveDirectoryTransacted ").append(entry.here));
        if (!os().RemoveDirectoryTransactedW(entry.here.c_str(), transaction())) {
            reportFailure(L"RemoveDirectoryTransacted", true, true);
        }
    }
    // Any other directory is removed when the walk leaves it.
}

void DeleteWalk::leave(const std::wstring& here) {
    if (isBareDrive(here)) {
        return;
    }
    // Deliberate: the prefix is put in front unconditionally. A path that already begins with it
    // gets it twice, which names nothing, so that deleting a tree by such a path fails at the very
    // end and is rolled back as a whole.
    constexpr std::wstring_view kCall = L"RemoveDirectoryTransacted ";
    std::wstring text;
    text.append(kCall).append(L"\\\\?\\").append(here);
    const wchar_t* const prefixed = text.c_str() + kCall.size();
    LOG_INFO(text);
    if (!os().RemoveDirectoryTransactedW(prefixed, transaction())) {
        reportFailure(text.c_str(), true, true);
    }
}

}  // namespace Tallowmere
