// What makes a directory of a Windows disk a stage: nobody else's, and held by a living owner.

#include <stdexcept>

#include "kest/platform/windows/Handle.h"
#include "kest/platform/windows/WindowsDisk.h"
#include "kest/platform/windows/WindowsSecurity.h"

// After Win32.h, which it needs.
#include <bcrypt.h>

namespace Tallowmere::platform {
namespace {

using transactions::DirectoryLock;
using transactions::DirectoryPtr;

/// The open file of a lock, which goes when it is closed or when its process ends.
class FileLock : public DirectoryLock {
public:
    FileLock(Handle file, DirectoryPtr directory)
        : m_file(std::move(file)), m_directory(std::move(directory)) {
        windowsDirectory(m_directory).isLocked = true;
    }
    ~FileLock() override {
        const LastErrorGuard kept;
        m_file.close();
        windowsDirectory(m_directory).isLocked = false;
    }

private:
    Handle m_file;
    DirectoryPtr m_directory;
};

}  // namespace

DWORD WindowsDisk::makePrivateDirectory(const DirectoryPtr& parent, const std::wstring& name) {
    const LastErrorGuard kept;
    const WindowsDirectory& where = windowsDirectory(parent);
    const Handle handle = openEntry(where.self(), READ_CONTROL);
    PrivateSecurity security;
    const DWORD error = handle ? security.makeForStage(handle.get()) : failure();
    if (error != ERROR_SUCCESS) {
        return error;
    }
    // At once with its access list, so that there is no moment in which it is open to others. Under
    // Wine the list becomes a mode of the Unix disk, in which the group keeps what the process's
    // mask leaves it.
    return ::CreateDirectoryW(where.entry(name).c_str(), security.attributes())
               ? DWORD{ERROR_SUCCESS}
               : failure();
}

DWORD WindowsDisk::lock(const DirectoryPtr& directory, std::unique_ptr<DirectoryLock>& lock) {
    const LastErrorGuard kept;
    PrivateSecurity security;
    const DWORD error = security.makeForFile();
    if (error != ERROR_SUCCESS) {
        return error;
    }
    // Made and taken in one step, and shared with nobody. After a power cut an old one may still be
    // there: it is taken over. While it is open Windows renames neither this directory nor any
    // above it.
    Handle file(::CreateFileW(windowsDirectory(directory).entry(kLockName).c_str(),
                              GENERIC_WRITE | DELETE, 0, security.attributes(), OPEN_ALWAYS,
                              FILE_FLAG_DELETE_ON_CLOSE | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    if (!file) {
        const DWORD reason = failure();
        return reason == ERROR_SHARING_VIOLATION ? DWORD{ERROR_LOCK_VIOLATION} : reason;
    }
    lock = std::make_unique<FileLock>(std::move(file), directory);
    return ERROR_SUCCESS;
}

DWORD WindowsDisk::removeLocked(const DirectoryPtr& parent, const std::wstring& name,
                                std::unique_ptr<DirectoryLock> lock) {
    // The lock's file stands in the way of the removal, so it goes first. Whoever comes by in
    // between finds an empty stage, takes its lock and removes it; then the file of that lock
    // stands in our way, or the stage is gone. Either way nothing is lost and nothing stays.
    lock.reset();
    const DWORD error = removeDirectory(parent, name);
    return error == ERROR_FILE_NOT_FOUND ? DWORD{ERROR_SUCCESS} : error;
}

DWORD WindowsDisk::checkPrivateOfOurs(const DirectoryPtr& directory) {
    const LastErrorGuard kept;
    const WindowsDirectory& stage = windowsDirectory(directory);
    const Handle handle = openEntry(stage.self(), READ_CONTROL | FILE_READ_ATTRIBUTES);
    DWORD error = handle ? checkNumber(handle.get(), stage) : failure();
    if (error != ERROR_SUCCESS) {
        return error;
    }
    // Who "we" are on this volume is seen by what we make: a server may know this user by another
    // name, and administrators may make things in the name of their group.
    PrivateSecurity security;
    error = security.makeForFile();
    if (error != ERROR_SUCCESS) {
        return error;
    }
    // Shared with nobody, a scanner for instance, so that it is gone when it is closed.
    const Handle own(::CreateFileW(stage.entry(randomName()).c_str(), READ_CONTROL | DELETE, 0,
                                   security.attributes(), CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE,
                                   nullptr));
    return own ? checkPrivate(handle.get(), own.get()) : failure();
}

std::wstring WindowsDisk::randomName() {
    const LastErrorGuard kept;
    unsigned char bytes[16];
    if (::BCryptGenRandom(nullptr, bytes, sizeof bytes, BCRYPT_USE_SYSTEM_PREFERRED_RNG) < 0) {
        throw std::runtime_error("BCryptGenRandom");
    }
    std::wstring name;
    for (const unsigned char byte : bytes) {
        constexpr wchar_t kDigits[] = L"0123456789abcdef";
        name += kDigits[byte >> 4];
        name += kDigits[byte & 15];
    }
    return name;
}

}  // namespace Tallowmere::platform
