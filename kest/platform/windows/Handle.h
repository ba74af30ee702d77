#pragma once

#include <string>
#include <utility>

#include "kest/platform/Win32.h"

namespace Tallowmere::platform {

/// Owns a handle of the file system, which is invalid when all ones.
class Handle {
public:
    explicit Handle(HANDLE handle = INVALID_HANDLE_VALUE) : m_handle(handle) {}
    Handle(Handle&& other) noexcept
        : m_handle(std::exchange(other.m_handle, INVALID_HANDLE_VALUE)) {}
    Handle& operator=(Handle&& other) noexcept {
        std::swap(m_handle, other.m_handle);
        return *this;
    }
    ~Handle() { close(); }

    explicit operator bool() const { return m_handle != INVALID_HANDLE_VALUE; }
    HANDLE get() const { return m_handle; }
    void close() {
        if (m_handle != INVALID_HANDLE_VALUE) {
            ::CloseHandle(std::exchange(m_handle, INVALID_HANDLE_VALUE));
        }
    }

private:
    HANDLE m_handle;
};

/// Stands in the way of nobody.
inline constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

/// Opens an existing entry of any kind, a link itself and not what it leads to.
inline Handle openEntry(const std::wstring& path, DWORD access) {
    return Handle(::CreateFileW(path.c_str(), access, kShareAll, nullptr, OPEN_EXISTING,
                                FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT,
                                nullptr));
}

/// The error of a call that has just failed. One that fails without telling why must not be taken
/// for one that succeeded.
inline DWORD failure() {
    const DWORD error = ::GetLastError();
    return error != ERROR_SUCCESS ? error : DWORD{ERROR_INTERNAL_ERROR};
}

/// Whether an entry could not be opened because it was removed while somebody has it open. With
/// every right to it, that is what ERROR_ACCESS_DENIED means, too.
inline bool isDeletePending(DWORD error) {
    return error == ERROR_DELETE_PENDING || error == ERROR_ACCESS_DENIED;
}

/// Gives the thread its last error back at the end of a scope.
class LastErrorGuard {
public:
    LastErrorGuard() : m_error(::GetLastError()) {}
    ~LastErrorGuard() { ::SetLastError(m_error); }
    LastErrorGuard(const LastErrorGuard&) = delete;
    LastErrorGuard& operator=(const LastErrorGuard&) = delete;

private:
    DWORD m_error;
};

}  // namespace Tallowmere::platform
