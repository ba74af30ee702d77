#include "kest/platform/transactions/TransactionCalls.h"

#include <memory>
#include <mutex>

#include "kest/platform/HandleTable.h"
#include "kest/platform/transactions/Guard.h"
#include "kest/platform/transactions/SystemDisk.h"
#include "kest/platform/transactions/Transaction.h"

namespace Tallowmere::platform::transactions {
namespace {

/// Runs a part of a call. Its error becomes the last error; memory or another resource running out
/// is one of them, since these calls throw nothing.
template <class Body>
bool succeeds(Body body) {
    const DWORD error = errorOf(body);
    if (error != ERROR_SUCCESS) {
        os().SetLastError(error);
    }
    return error == ERROR_SUCCESS;
}

/// The same inside the transaction that a handle stands for.
template <class Body>
bool succeedsIn(HANDLE handle, Body body) {
    auto* const transaction =
        static_cast<Transaction*>(findHandle(handle, HandleKind::Transaction));
    if (transaction == nullptr) {
        os().SetLastError(ERROR_INVALID_HANDLE);
        return false;
    }
    const std::lock_guard<std::mutex> guard(transaction->mutex());
    return succeeds([&] { return body(*transaction); });
}

}  // namespace

HANDLE CreateTransaction(SECURITY_ATTRIBUTES*, GUID*, DWORD options, DWORD isolationLevel,
                         DWORD isolationFlags, DWORD, wchar_t*) {
    HANDLE handle = INVALID_HANDLE_VALUE;
    (void)succeeds([&]() -> DWORD {
        if (options != 0 || isolationLevel != 0 || isolationFlags != 0) {
            return ERROR_INVALID_PARAMETER;
        }
        auto transaction = std::make_unique<Transaction>(currentDisk());
        handle = issueHandle(HandleKind::Transaction, transaction.get());
        if (handle == INVALID_HANDLE_VALUE) {
            return ERROR_NO_SYSTEM_RESOURCES;
        }
        (void)transaction.release();
        return ERROR_SUCCESS;
    });
    return handle;
}

BOOL CommitTransaction(HANDLE handle) {
    return succeedsIn(handle, [](Transaction& transaction) { return transaction.commit(); });
}

bool closeTransaction(HANDLE handle) {
    const std::unique_ptr<Transaction> transaction(
        static_cast<Transaction*>(retireHandle(handle, HandleKind::Transaction)));
    if (transaction == nullptr) {
        os().SetLastError(ERROR_INVALID_HANDLE);
    }
    return transaction != nullptr;
}

BOOL GetFileAttributesTransactedW(const wchar_t* path, GET_FILEEX_INFO_LEVELS level, void* data,
                                  HANDLE handle) {
    return succeedsIn(handle, [&](Transaction& transaction) -> DWORD {
        if (level != GetFileExInfoStandard || data == nullptr) {
            return ERROR_INVALID_PARAMETER;
        }
        return transaction.attributes(path, *static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data));
    });
}

HANDLE FindFirstFileTransactedW(const wchar_t* pattern, FINDEX_INFO_LEVELS level, void* data,
                                FINDEX_SEARCH_OPS operation, void* filter, DWORD flags,
                                HANDLE handle) {
    HANDLE search = INVALID_HANDLE_VALUE;
    const bool found = succeedsIn(handle, [&](Transaction& transaction) -> DWORD {
        if (level != FindExInfoStandard || operation != FindExSearchNameMatch ||
            filter != nullptr || flags != 0 || data == nullptr) {
            return ERROR_INVALID_PARAMETER;
        }
        return transaction.findFirst(pattern, *static_cast<WIN32_FIND_DATAW*>(data), search);
    });
    return found ? search : INVALID_HANDLE_VALUE;
}

BOOL FindNextFileW(HANDLE handle, WIN32_FIND_DATAW* data) {
    auto* const search = static_cast<Search*>(findHandle(handle, HandleKind::Search));
    if (search == nullptr) {
        // A search that has come to its end is forgotten, and stays at its end.
        os().SetLastError(handleKind(handle) == HandleKind::Search ? ERROR_NO_MORE_FILES
                                                                   : ERROR_INVALID_HANDLE);
        return FALSE;
    }
    Transaction& transaction = search->transaction;
    const std::lock_guard<std::mutex> guard(transaction.mutex());
    return succeeds([&] { return transaction.findNext(handle, *search, *data); });
}

BOOL CreateDirectoryTransactedW(const wchar_t* pattern, const wchar_t* path, SECURITY_ATTRIBUTES*,
                                HANDLE handle) {
    return succeedsIn(handle, [&](Transaction& transaction) -> DWORD {
        return pattern != nullptr ? ERROR_NOT_SUPPORTED : transaction.createDirectory(path);
    });
}

BOOL CopyFileTransactedW(const wchar_t* source, const wchar_t* destination,
                         LPPROGRESS_ROUTINE progress, void*, BOOL* cancel, DWORD flags,
                         HANDLE handle) {
    return succeedsIn(handle, [&](Transaction& transaction) -> DWORD {
        if (progress != nullptr || cancel != nullptr) {
            return ERROR_NOT_SUPPORTED;
        }
        return transaction.copyFile(source, destination, flags);
    });
}

BOOLEAN CreateSymbolicLinkTransactedW(const wchar_t* link, const wchar_t* target, DWORD flags,
                                      HANDLE handle) {
    return succeedsIn(handle,
                      [&](Transaction& transaction) -> DWORD {
                          if ((flags & ~SYMBOLIC_LINK_FLAG_DIRECTORY) != 0) {
                              return ERROR_INVALID_PARAMETER;
                          }
                          return transaction.createLink(link, target,
                                                        flags == SYMBOLIC_LINK_FLAG_DIRECTORY);
                      })
               ? 1
               : 0;
}

BOOL DeleteFileTransactedW(const wchar_t* path, HANDLE handle) {
    return succeedsIn(handle,
                      [&](Transaction& transaction) { return transaction.deleteFile(path); });
}

BOOL RemoveDirectoryTransactedW(const wchar_t* path, HANDLE handle) {
    return succeedsIn(handle,
                      [&](Transaction& transaction) { return transaction.removeDirectory(path); });
}

}  // namespace Tallowmere::platform::transactions
