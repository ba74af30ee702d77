#include "kest/platform/windows/WindowsSecurity.h"

#include <cstddef>
#include <memory>

#include "kest/platform/windows/Handle.h"

// After Win32.h, which it needs.
#include <aclapi.h>

namespace Tallowmere::platform {
namespace {

constexpr DWORD kMostSid = SECURITY_MAX_SID_SIZE;

struct Sid {
    alignas(DWORD) std::byte bytes[kMostSid];
    PSID get() { return bytes; }
};

struct FreeLocally {
    void operator()(void* memory) const { ::LocalFree(memory); }
};
/// A descriptor as the system gives it: its parts lie in it.
using Descriptor = std::unique_ptr<void, FreeLocally>;

DWORD currentUser(Sid& user) {
    HANDLE token = nullptr;
    // A thread that acts for somebody else makes things as that user.
    if (!::OpenThreadToken(::GetCurrentThread(), TOKEN_QUERY, TRUE, &token) &&
        !::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token)) {
        return failure();
    }
    alignas(TOKEN_USER) std::byte buffer[sizeof(TOKEN_USER) + kMostSid];
    DWORD size = 0;
    DWORD error = ERROR_SUCCESS;
    if (!::GetTokenInformation(token, TokenUser, buffer, sizeof buffer, &size) ||
        !::CopySid(kMostSid, user.get(), reinterpret_cast<TOKEN_USER*>(buffer)->User.Sid)) {
        error = failure();
    }
    ::CloseHandle(token);
    return error;
}

Sid wellKnown(WELL_KNOWN_SID_TYPE type) {
    Sid sid{};
    DWORD size = kMostSid;
    (void)::CreateWellKnownSid(type, nullptr, sid.get(), &size);
    return sid;
}

DWORD securityOf(HANDLE file, PSID* owner, ACL** list, Descriptor& descriptor) {
    PSECURITY_DESCRIPTOR whole = nullptr;
    const SECURITY_INFORMATION wanted =
        (owner == nullptr ? 0 : OWNER_SECURITY_INFORMATION) | DACL_SECURITY_INFORMATION;
    const DWORD error =
        ::GetSecurityInfo(file, SE_FILE_OBJECT, wanted, owner, nullptr, list, nullptr, &whole);
    descriptor.reset(whole);
    return error;
}

/// The entries of an access list that one which is made below takes over.
constexpr BYTE kInheritable = OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE;

}  // namespace

DWORD PrivateSecurity::makeForFile() {
    return make(nullptr);
}

DWORD PrivateSecurity::makeForStage(HANDLE parent) {
    ACL* list = nullptr;
    Descriptor descriptor;
    const DWORD error = securityOf(parent, nullptr, &list, descriptor);
    return error == ERROR_SUCCESS ? make(list) : error;
}

DWORD PrivateSecurity::make(ACL* inherited) {
    Sid user{};
    DWORD error = currentUser(user);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    // The owner by name, and as such: a server may know this user under another name.
    Sid owner = wellKnown(WinCreatorOwnerRightsSid);
    const WORD count = inherited == nullptr ? WORD{0} : inherited->AceCount;
    m_list.resize(sizeof(ACL) + 2 * (sizeof(ACCESS_ALLOWED_ACE) + kMostSid) +
                  (inherited == nullptr ? 0 : inherited->AclSize));
    ACL* const list = reinterpret_cast<ACL*>(m_list.data());
    const BYTE revision = inherited == nullptr ? BYTE{ACL_REVISION} : inherited->AclRevision;
    if (!::InitializeAcl(list, static_cast<DWORD>(m_list.size()), revision) ||
        !::AddAccessAllowedAce(list, ACL_REVISION, FILE_ALL_ACCESS, user.get()) ||
        !::AddAccessAllowedAce(list, ACL_REVISION, FILE_ALL_ACCESS, owner.get())) {
        return failure();
    }
    for (DWORD at = 0; at < count; ++at) {
        void* entry = nullptr;
        if (!::GetAce(inherited, at, &entry)) {
            return failure();
        }
        auto* const head = static_cast<ACE_HEADER*>(entry);
        if ((head->AceFlags & kInheritable) == 0) {
            continue;
        }
        // For what is made below, not for the directory itself.
        head->AceFlags = static_cast<BYTE>((head->AceFlags & ~INHERITED_ACE) | INHERIT_ONLY_ACE);
        if (!::AddAce(list, revision, MAXDWORD, entry, head->AceSize)) {
            return failure();
        }
    }
    // Protected: nothing comes in from above beside what was taken over here.
    if (!::InitializeSecurityDescriptor(&m_descriptor, SECURITY_DESCRIPTOR_REVISION) ||
        !::SetSecurityDescriptorDacl(&m_descriptor, TRUE, list, FALSE) ||
        !::SetSecurityDescriptorControl(&m_descriptor, SE_DACL_PROTECTED, SE_DACL_PROTECTED)) {
        return failure();
    }
    m_attributes = {sizeof m_attributes, &m_descriptor, FALSE};
    return ERROR_SUCCESS;
}

DWORD checkPrivate(HANDLE directory, HANDLE own) {
    PSID owner = nullptr;
    PSID ourOwner = nullptr;
    ACL* list = nullptr;
    ACL* ourList = nullptr;
    Descriptor descriptor;
    Descriptor ourDescriptor;
    DWORD error = securityOf(directory, &owner, &list, descriptor);
    if (error == ERROR_SUCCESS) {
        error = securityOf(own, &ourOwner, &ourList, ourDescriptor);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (owner == nullptr || ourOwner == nullptr || !::EqualSid(owner, ourOwner)) {
        return ERROR_ACCESS_DENIED;
    }
    Sid everyone = wellKnown(WinWorldSid);
    if (::EqualSid(owner, everyone.get())) {
        // What the kernel answers for a volume that keeps none of this.
        return ERROR_SUCCESS;
    }
    Sid user{};
    error = currentUser(user);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (list == nullptr) {
        // No list lets everybody in.
        return ERROR_ACCESS_DENIED;
    }
    Sid trusted[] = {user, wellKnown(WinCreatorOwnerRightsSid), wellKnown(WinLocalSystemSid),
                     wellKnown(WinBuiltinAdministratorsSid)};
    for (DWORD at = 0; at < list->AceCount; ++at) {
        void* entry = nullptr;
        if (!::GetAce(list, at, &entry)) {
            return failure();
        }
        const auto& head = *static_cast<const ACE_HEADER*>(entry);
        if ((head.AceFlags & INHERIT_ONLY_ACE) != 0 || head.AceType == ACCESS_DENIED_ACE_TYPE) {
            continue;
        }
        if (head.AceType != ACCESS_ALLOWED_ACE_TYPE) {
            // Of a kind that we never make.
            return ERROR_ACCESS_DENIED;
        }
        const PSID sid = &static_cast<ACCESS_ALLOWED_ACE*>(entry)->SidStart;
        bool isTrusted = ::EqualSid(sid, owner) != FALSE;
        for (Sid& one : trusted) {
            isTrusted = isTrusted || ::EqualSid(sid, one.get());
        }
        if (!isTrusted) {
            return ERROR_ACCESS_DENIED;
        }
    }
    return ERROR_SUCCESS;
}

}  // namespace Tallowmere::platform
