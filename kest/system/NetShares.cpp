#define KEST_MODULE "OsUtilitiesWin"

#include <stdexcept>
#include <string>

#include "kest/diagnostics/Log.h"
#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/Calls.h"
#include "kest/system/System.h"
#include "kest/text/Strings.h"

namespace Tallowmere {

using platform::os;

namespace {

/// The list that the system made; freed also when memory runs out while it is read.
class ShareList {
public:
    ShareList() = default;
    ~ShareList() {
        if (m_records != nullptr) {
            (void)os().NetApiBufferFree(m_records);
        }
    }
    ShareList(const ShareList&) = delete;
    ShareList& operator=(const ShareList&) = delete;

    BYTE** target() { return &m_records; }
    const SHARE_INFO_502* records() const {
        return reinterpret_cast<const SHARE_INFO_502*>(m_records);
    }

private:
    BYTE* m_records = nullptr;
};

bool isFolder(const SHARE_INFO_502& share) {
    // Deliberate: exactly these two types. A folder's share that is marked in another way, as a
    // temporary one is, is left out.
    return share.shi502_type == STYPE_DISKTREE || share.shi502_type == STYPE_SPECIAL;
}

}  // namespace

void getNetShares(const std::wstring& server, std::map<std::wstring, std::wstring>& shares) {
    constexpr DWORD kWithPaths = 502;
    // The call takes a text that may be changed.
    std::wstring name(server.c_str());
    // Our choice: the list is given back after a failure too, if there is any. The call may have
    // answered with a part of it.
    ShareList list;
    DWORD count = 0;
    DWORD total = 0;
    LOG_INFO("Calling NetShareEnum ");
    const NET_API_STATUS status = os().NetShareEnum(name.data(), kWithPaths, list.target(),
                                                    MAX_PREFERRED_LENGTH, &count, &total, nullptr);
    LOG_INFO("After calling NetShareEnum ");
    if (status != ERROR_SUCCESS) {
        const std::wstring message =
            L"NetShareEnum failed: " + getSystemErrorMessage(status, nullptr);
        throw std::runtime_error(convertToString(message.c_str()));
    }
    wchar_t none[] = L"";
    for (DWORD i = 0; i < count; ++i) {
        const SHARE_INFO_502& share = list.records()[i];
        // As changeable text, which is never taken for a marker: a share may have any name, and one
        // that is called "MySeverance" would hold the trace for ever otherwise.
        wchar_t* const shareName = share.shi502_netname != nullptr ? share.shi502_netname : none;
        wchar_t* const path = share.shi502_path != nullptr ? share.shi502_path : none;
        LOG_INFO("Net shares are " << shareName << ", " << path);
        if (isFolder(share)) {
            shares.emplace(shareName, path);
        }
    }
}

}  // namespace Tallowmere
