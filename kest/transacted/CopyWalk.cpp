#define KEST_MODULE "TransactedFS"

#include "kest/transacted/CopyWalk.h"

#include "kest/diagnostics/Log.h"
#include "kest/transacted/Failure.h"
#include "kest/transacted/Links.h"

// Each trace line below is streamed as one text that begins with the name of a call. A path as a
// piece of its own would be looked at for the Recorder's markers, and one such as "\\Fileserver\x"
// (characters 2 to 4 "Fil") would be swallowed; the call's name spells no marker.

namespace Tallowmere {

using platform::os;

void CopyWalk::enter(const std::wstring&, const std::wstring& there) {
    createDirectory(there);
}

void CopyWalk::visit(const Entry& entry) {
    LOG_INFO(line(L"CopyFileTransacted ").append(entry.here).append(L" -> ").append(entry.there));
    if (!entry.isDirectory) {
        // A link to a file is copied as a link; what stands in the way is overwritten.
        if (!os().CopyFileTransactedW(entry.here.c_str(), entry.there.c_str(), nullptr, nullptr,
                                      nullptr, COPY_FILE_COPY_SYMLINK, transaction())) {
            reportFailure(L"CopyFileTransacted", true, true);
        }
    } else if (entry.isLink) {
        copyDirectoryLink(entry.here, entry.there);
    }
    // Any other directory is created when the walk enters it.
}

void CopyWalk::createDirectory(const std::wstring& path) {
    LOG_INFO(line(L"CreateDirectoryTransacted ").append(path));
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (os().GetFileAttributesTransactedW(path.c_str(), GetFileExInfoStandard, &data,
                                          transaction())) {
        return;
    }
    // Deliberate: an ERROR trace line, although a directory that is still missing is the normal
    // case here.
    reportFailure(L"GetFileAttributesTransacted", false, true);
    if (!os().CreateDirectoryTransactedW(nullptr, path.c_str(), nullptr, transaction())) {
        reportFailure(L"CreateDirectoryTransacted", true, true);
    }
}

/// Deliberate: the copy of a junction is a symbolic link, and that of a relative link points to the
/// absolute path of its target.
void CopyWalk::copyDirectoryLink(const std::wstring& source,
                                 const std::wstring& destination) const {
    const std::wstring target = getLinkTarget(source.c_str(), true);
    const std::wstring failure = L"CreateSymbolicLinkTransacted " + destination;
    if (!os().CreateSymbolicLinkTransactedW(destination.c_str(), target.c_str(),
                                            SYMBOLIC_LINK_FLAG_DIRECTORY, transaction())) {
        reportFailure(failure.c_str(), true, true);
    }
}

}  // namespace Tallowmere
