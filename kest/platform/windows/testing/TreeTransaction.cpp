#include "kest/platform/windows/testing/TreeTransaction.h"

#include <cwchar>
#include <stdexcept>

#include "kest/platform/transactions/SystemDisk.h"
#include "kest/platform/transactions/TransactionCalls.h"

namespace Tallowmere::platform::testing {
namespace {

std::wstring prefixed(const std::wstring& path) {
    return path.compare(0, 4, L"\\\\?\\") == 0 ? path : L"\\\\?\\" + path;
}

template <class Result>
DWORD outcome(Result result) {
    return result ? 0 : ::GetLastError();
}

bool isLink(const WIN32_FIND_DATAW& data) {
    return (data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
           (data.dwReserved0 == IO_REPARSE_TAG_SYMLINK ||
            data.dwReserved0 == IO_REPARSE_TAG_MOUNT_POINT);
}

/// Calls `body` with each entry of a directory and stops at an error.
template <class Body>
DWORD forEach(HANDLE transaction, const std::wstring& path, Body body) {
    WIN32_FIND_DATAW data{};
    const HANDLE search = transactions::FindFirstFileTransactedW(
        prefixed(path + L"\\*").c_str(), FindExInfoStandard, &data, FindExSearchNameMatch, nullptr,
        0, transaction);
    if (search == INVALID_HANDLE_VALUE) {
        return ::GetLastError();
    }
    do {
        if (std::wcscmp(data.cFileName, L".") != 0 && std::wcscmp(data.cFileName, L"..") != 0) {
            const DWORD error = body(data);
            if (error != ERROR_SUCCESS) {
                return error;
            }
        }
    } while (transactions::FindNextFileW(search, &data));
    const DWORD error = ::GetLastError();
    return error == ERROR_NO_MORE_FILES ? DWORD{ERROR_SUCCESS} : error;
}

}  // namespace

TreeTransaction::TreeTransaction() {
    wchar_t description[] = L"test";
    m_handle = transactions::CreateTransaction(nullptr, nullptr, 0, 0, 0, 0, description);
    if (m_handle == INVALID_HANDLE_VALUE) {
        throw std::runtime_error("CreateTransaction");
    }
}

TreeTransaction::~TreeTransaction() {
    (void)transactions::closeTransaction(m_handle);
}

DWORD TreeTransaction::look(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    return outcome(transactions::GetFileAttributesTransactedW(
        prefixed(path).c_str(), GetFileExInfoStandard, &data, m_handle));
}

DWORD TreeTransaction::copyFile(const std::wstring& source, const std::wstring& destination) {
    return outcome(transactions::CopyFileTransactedW(
        prefixed(source).c_str(), prefixed(destination).c_str(), nullptr, nullptr, nullptr,
        COPY_FILE_COPY_SYMLINK, m_handle));
}

DWORD TreeTransaction::removeFile(const std::wstring& path) {
    return outcome(transactions::DeleteFileTransactedW(prefixed(path).c_str(), m_handle));
}

DWORD TreeTransaction::removeDirectory(const std::wstring& path) {
    return outcome(transactions::RemoveDirectoryTransactedW(prefixed(path).c_str(), m_handle));
}

DWORD TreeTransaction::removeTree(const std::wstring& path) {
    const DWORD error = removeEntriesOf(path);
    return error != ERROR_SUCCESS ? error : removeDirectory(path);
}

DWORD TreeTransaction::removeEntriesOf(const std::wstring& path) {
    return forEach(m_handle, path, [&](const WIN32_FIND_DATAW& data) {
        const std::wstring entry = path + L"\\" + data.cFileName;
        if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
            return removeFile(entry);
        }
        return isLink(data) ? removeDirectory(entry) : removeTree(entry);
    });
}

DWORD TreeTransaction::copyTree(const std::wstring& source, const std::wstring& destination) {
    const DWORD error = outcome(transactions::CreateDirectoryTransactedW(
        nullptr, prefixed(destination).c_str(), nullptr, m_handle));
    return error != ERROR_SUCCESS ? error : copyEntriesOf(source, destination);
}

DWORD TreeTransaction::copyEntriesOf(const std::wstring& source, const std::wstring& destination) {
    return forEach(m_handle, source, [&](const WIN32_FIND_DATAW& data) {
        const std::wstring from = source + L"\\" + data.cFileName;
        const std::wstring to = destination + L"\\" + data.cFileName;
        if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
            return copyFile(from, to);
        }
        return isLink(data) ? outcome(transactions::CreateSymbolicLinkTransactedW(
                                  prefixed(to).c_str(), from.c_str(), SYMBOLIC_LINK_FLAG_DIRECTORY,
                                  m_handle))
                            : copyTree(from, to);
    });
}

DWORD TreeTransaction::replaceTree(const std::wstring& source, const std::wstring& destination) {
    DWORD error = look(destination);
    if (error == ERROR_SUCCESS) {
        error = removeTree(destination);
    } else if (error == ERROR_FILE_NOT_FOUND) {
        error = ERROR_SUCCESS;
    }
    return error != ERROR_SUCCESS ? error : copyTree(source, destination);
}

DWORD TreeTransaction::commit() {
    return outcome(transactions::CommitTransaction(m_handle));
}

}  // namespace Tallowmere::platform::testing
