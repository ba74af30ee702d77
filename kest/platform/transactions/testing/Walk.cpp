#include "kest/platform/transactions/testing/Walk.h"

#include <algorithm>
#include <cwctype>

#include "kest/platform/HandleTable.h"

namespace Tallowmere::platform::transactions::testing {
namespace {

bool isDrive(const std::wstring& path) {
    return path.size() == 2 && path[1] == L':';
}

/// The recycle bin directly below a drive.
bool isExcluded(const std::wstring& parent, std::wstring name) {
    std::transform(name.begin(), name.end(), name.begin(),
                   [](wchar_t c) { return static_cast<wchar_t>(std::towlower(c)); });
    return isDrive(parent) && name == L"$recycle.bin";
}

/// Calls `each` for the entries of a directory in the transaction's view.
template <class Each>
DWORD forEach(Transaction& transaction, const std::wstring& directory, Each each) {
    WIN32_FIND_DATAW data{};
    HANDLE search = INVALID_HANDLE_VALUE;
    DWORD error =
        call([&] { return transaction.findFirst((directory + L"\\*").c_str(), data, search); });
    if (error != ERROR_SUCCESS) {
        return error;
    }
    auto* const entries = static_cast<Search*>(findHandle(search, HandleKind::Search));
    while (error == ERROR_SUCCESS) {
        const std::wstring name = data.cFileName;
        if (name != L"." && name != L".." && !isExcluded(directory, name)) {
            const bool isDirectory = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
            const bool isLink = (data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
                                (data.dwReserved0 == IO_REPARSE_TAG_MOUNT_POINT ||
                                 data.dwReserved0 == IO_REPARSE_TAG_SYMLINK);
            error = each(name, isDirectory, isLink);
        }
        if (error == ERROR_SUCCESS) {
            error = call([&] { return transaction.findNext(search, *entries, data); });
        }
    }
    return error == ERROR_NO_MORE_FILES ? DWORD{ERROR_SUCCESS} : error;
}

/// Whatever the reason, no answer counts as "not there".
bool exists(Transaction& transaction, const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    return call([&] { return transaction.attributes(path.c_str(), data); }) == ERROR_SUCCESS;
}

}  // namespace

DWORD deleteTree(Transaction& transaction, const std::wstring& path) {
    const DWORD error = forEach(
        transaction, path, [&](const std::wstring& name, bool isDirectory, bool isLink) -> DWORD {
            const std::wstring child = path + L"\\" + name;
            if (isDirectory) {
                return isLink ? call([&] { return transaction.removeDirectory(child.c_str()); })
                              : deleteTree(transaction, child);
            }
            return call([&] { return transaction.deleteFile(child.c_str()); });
        });
    if (error != ERROR_SUCCESS || isDrive(path)) {
        return error;
    }
    return call([&] { return transaction.removeDirectory((L"\\\\?\\" + path).c_str()); });
}

DWORD copyTree(Transaction& transaction, const std::wstring& source,
               const std::wstring& destination) {
    if (!exists(transaction, destination)) {
        const DWORD error = call([&] { return transaction.createDirectory(destination.c_str()); });
        if (error != ERROR_SUCCESS) {
            return error;
        }
    }
    return forEach(
        transaction, source, [&](const std::wstring& name, bool isDirectory, bool isLink) -> DWORD {
            const std::wstring from = source + L"\\" + name;
            const std::wstring to = destination + L"\\" + name;
            if (isDirectory && isLink) {
                return call([&] { return transaction.createLink(to.c_str(), L"/resolved", true); });
            }
            return isDirectory ? copyTree(transaction, from, to) : call([&] {
                return transaction.copyFile(from.c_str(), to.c_str(), COPY_FILE_COPY_SYMLINK);
            });
        });
}

DWORD deleteIfThere(Transaction& transaction, const std::wstring& path) {
    return exists(transaction, path) ? deleteTree(transaction, path) : DWORD{ERROR_SUCCESS};
}

DWORD commit(Transaction& transaction) {
    return call([&] { return transaction.commit(); });
}

DWORD replaceTree(Transaction& transaction, const std::wstring& source,
                  const std::wstring& destination) {
    if (!exists(transaction, source)) {
        return ERROR_FILE_NOT_FOUND;
    }
    if (exists(transaction, destination)) {
        const DWORD error = deleteTree(transaction, destination);
        if (error != ERROR_SUCCESS) {
            return error;
        }
    }
    return copyTree(transaction, source, destination);
}

}  // namespace Tallowmere::platform::transactions::testing
