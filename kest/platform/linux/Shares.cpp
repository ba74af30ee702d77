// The list of a computer's shares: those of this machine's Samba configuration. Other computers
// cannot be asked from here.

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include "kest/platform/linux/Errno.h"
#include "kest/platform/linux/Names.h"
#include "kest/platform/linux/Place.h"
#include "kest/platform/linux/SambaConfiguration.h"
#include "kest/platform/linux/Standins.h"

namespace Tallowmere::platform::standin {
namespace {

constexpr const char* kUsualPlace = "/etc/samba/smb.conf";
constexpr DWORD kWithPaths = 502;

wchar_t lowerCase(wchar_t c) {
    return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + (L'a' - L'A')) : c;
}

bool isSameName(const std::wstring& left, const std::wstring& right) {
    if (left.empty() || left.size() != right.size()) {
        return false;
    }
    for (std::size_t i = 0; i < left.size(); ++i) {
        if (lowerCase(left[i]) != lowerCase(right[i])) {
            return false;
        }
    }
    return true;
}

/// Whether a server's name, which may have two backslashes at its front, means this machine.
bool isThisComputer(const wchar_t* server, const samba::Configuration& configuration) {
    std::wstring name = server == nullptr ? L"" : server;
    if (name.compare(0, 2, L"\\\\") == 0) {
        name.erase(0, 2);
    }
    char host[256] = "";
    (void)gethostname(host, sizeof host - 1);
    const std::wstring full = names::widen(host);
    const std::wstring own[] = {L"localhost",
                                L"127.0.0.1",
                                L"::1",
                                full,
                                full.substr(0, full.find(L'.')),
                                names::widen(configuration.computerName)};
    bool isOwn = name.empty();
    for (const std::wstring& one : own) {
        isOwn = isOwn || isSameName(name, one);
    }
    return isOwn;
}

/// The texts of a share as the library takes them.
struct Texts {
    std::wstring name;
    std::wstring remark;
    std::wstring path;

    std::size_t units() const { return name.size() + remark.size() + path.size() + 3; }
};

wchar_t* put(const std::wstring& text, wchar_t*& next) {
    wchar_t* const start = next;
    std::wmemcpy(start, text.c_str(), text.size() + 1);
    next += text.size() + 1;
    return start;
}

/// All records and, behind them, their texts in one piece of memory, which NetApiBufferFree frees.
BYTE* pack(const std::vector<samba::Share>& shares) {
    std::vector<Texts> texts;
    std::size_t units = 0;
    for (const samba::Share& share : shares) {
        texts.push_back(
            {names::widen(share.name), names::widen(share.comment), names::widen(share.path)});
        units += texts.back().units();
    }
    const std::size_t records = shares.size() * sizeof(SHARE_INFO_502);
    auto* const memory = static_cast<BYTE*>(std::malloc(records + units * sizeof(wchar_t)));
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    auto* const first = reinterpret_cast<SHARE_INFO_502*>(memory);
    auto* next = reinterpret_cast<wchar_t*>(memory + records);
    for (std::size_t i = 0; i < shares.size(); ++i) {
        SHARE_INFO_502 record{};
        record.shi502_netname = put(texts[i].name, next);
        record.shi502_remark = put(texts[i].remark, next);
        record.shi502_path = put(texts[i].path, next);
        record.shi502_type = shares[i].type;
        record.shi502_max_uses = shares[i].maximum;
        std::memcpy(first + i, &record, sizeof record);
    }
    return memory;
}

DWORD listShares(const wchar_t* server, BYTE*& buffer, DWORD& count) {
    const char* const named = std::getenv("KEST_SMB_CONF");
    samba::Configuration configuration;
    const int error = samba::readConfiguration(
        named != nullptr && *named != '\0' ? named : kUsualPlace, configuration);
    if (!isThisComputer(server, configuration)) {
        // As for a computer that does not answer.
        return ERROR_BAD_NETPATH;
    }
    // A machine without a configuration shares nothing.
    if (error != 0) {
        return error == ENOENT || error == ENOTDIR ? ERROR_SUCCESS : errorFromErrno(error);
    }
    count = static_cast<DWORD>(configuration.shares.size());
    if (count != 0) {
        buffer = pack(configuration.shares);
    }
    return ERROR_SUCCESS;
}

}  // namespace

NET_API_STATUS NetShareEnum(wchar_t* server, DWORD level, BYTE** buffer, DWORD, DWORD* read,
                            DWORD* total, DWORD*) {
    if (buffer == nullptr || read == nullptr || total == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    // The one level that the library asks for.
    if (level != kWithPaths) {
        return ERROR_INVALID_LEVEL;
    }
    *buffer = nullptr;
    *read = 0;
    *total = 0;
    // These calls answer with the error itself and leave the last one alone.
    DWORD error = ERROR_NOT_ENOUGH_MEMORY;
    try {
        DWORD count = 0;
        error = listShares(server, *buffer, count);
        *read = count;
        *total = count;
    } catch (const std::bad_alloc&) {
    }
    return error;
}

NET_API_STATUS NetApiBufferFree(void* buffer) {
    std::free(buffer);
    return ERROR_SUCCESS;
}

}  // namespace Tallowmere::platform::standin
