#include "kest/platform/windows/KernelTransactions.h"

#include <memory>
#include <mutex>
#include <string_view>
#include <type_traits>
#include <unordered_set>

#include "kest/platform/HandleTable.h"
#include "kest/platform/transactions/Guard.h"
#include "kest/platform/transactions/SystemDisk.h"
#include "kest/platform/transactions/TransactionCalls.h"
#include "kest/platform/windows/EitherTransaction.h"
#include "kest/platform/windows/Handle.h"
#include "kest/platform/windows/WindowsPaths.h"

namespace Tallowmere::platform::kernel {
namespace {

// Found by name, so nothing else compares our declarations with the system's.
#define KEST_AS_DECLARED(name) static_assert(std::is_same_v<decltype(&::name), decltype(&name)>)
KEST_AS_DECLARED(CreateTransaction);
KEST_AS_DECLARED(CommitTransaction);
KEST_AS_DECLARED(CloseHandle);
KEST_AS_DECLARED(GetFileAttributesTransactedW);
KEST_AS_DECLARED(FindFirstFileTransactedW);
KEST_AS_DECLARED(FindNextFileW);
KEST_AS_DECLARED(CreateDirectoryTransactedW);
KEST_AS_DECLARED(CopyFileTransactedW);
KEST_AS_DECLARED(CreateSymbolicLinkTransactedW);
KEST_AS_DECLARED(DeleteFileTransactedW);
KEST_AS_DECLARED(RemoveDirectoryTransactedW);
#undef KEST_AS_DECLARED

/// Null when it is none, or was closed.
EitherTransaction* eitherOf(HANDLE transaction) {
    return static_cast<EitherTransaction*>(findHandle(transaction, HandleKind::EitherTransaction));
}

/// Where a call goes that is made with a transaction's handle.
Target targetOf(HANDLE transaction, Use use, const wchar_t* path, const wchar_t* source = nullptr) {
    Target target;
    target.transaction = transaction;
    switch (handleKind(transaction)) {
        case HandleKind::EitherTransaction:
            if (EitherTransaction* const either = eitherOf(transaction)) {
                return either->targetFor(use, path, source);
            }
            target.error = ERROR_INVALID_HANDLE;
            break;
        case HandleKind::Transaction:
            break;
        default:
            // None of ours: the kernel's manager is the one to say so, where there is one.
            target.system = systemCalls();
    }
    return target;
}

/// Makes a call of the one manager or the other. The transaction is always its last argument.
template <auto kernelsCall, auto oursCall, class Result, class... Arguments>
Result forward(const Target& target, Result failed, Arguments... arguments) {
    if (target.error != ERROR_SUCCESS) {
        ::SetLastError(target.error);
        return failed;
    }
    return target.system != nullptr
               ? (target.system->*kernelsCall)(arguments..., target.transaction)
               : oursCall(arguments..., target.transaction);
}

/// The searches of the kernel's manager that were opened by a path with "\\?\": whoever puts a name
/// behind such a path means just that name.
class PlainSearches {
public:
    void note(HANDLE search, std::wstring_view pattern) {
        const std::lock_guard<std::mutex> guard(m_mutex);
        // The number may be that of an old one which was closed.
        m_searches.erase(search);
        if (pattern.substr(0, 4) == L"\\\\?\\") {
            m_searches.insert(search);
        }
    }
    bool has(HANDLE search) {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return m_searches.count(search) != 0;
    }

private:
    std::mutex m_mutex;
    std::unordered_set<HANDLE> m_searches;
};

PlainSearches& plainSearches() {
    // Never destroyed: a host may still work while the process ends.
    static auto* const s_searches = new PlainSearches;
    return *s_searches;
}

/// Our choice: refuses a name that the kernel's manager would read as another one in the path that
/// a walk makes of it. A copy would have the other file twice, this one not at all, and be reported
/// as done.
bool isTold(HANDLE search, const WIN32_FIND_DATAW& data) {
    const std::wstring_view name = data.cFileName;
    if (name == L"." || name == L".." || !paths::isMisread(name) || plainSearches().has(search)) {
        return true;
    }
    ::SetLastError(ERROR_INVALID_NAME);
    return false;
}

#define KEST_FORWARD(name, ...) forward<&SystemCalls::name, &transactions::name>(__VA_ARGS__)

}  // namespace

HANDLE CreateTransaction(SECURITY_ATTRIBUTES* security, GUID* unitOfWork, DWORD options,
                         DWORD isolationLevel, DWORD isolationFlags, DWORD timeout,
                         wchar_t* description) {
    HANDLE handle = INVALID_HANDLE_VALUE;
    const DWORD error = transactions::errorOf([&]() -> DWORD {
        const SystemCalls* const system = systemCalls();
        auto either = system != nullptr ? std::make_unique<EitherTransaction>(*system) : nullptr;
        if (either != nullptr &&
            either->begin(system->CreateTransaction(security, unitOfWork, options, isolationLevel,
                                                    isolationFlags, timeout, description))) {
            handle = issueHandle(HandleKind::EitherTransaction, either.get());
            if (handle == INVALID_HANDLE_VALUE) {
                return ERROR_NO_SYSTEM_RESOURCES;
            }
            (void)either.release();
            return ERROR_SUCCESS;
        }
        // No kernel's manager, or one that is out of service: ours needs neither.
        handle = transactions::CreateTransaction(security, unitOfWork, options, isolationLevel,
                                                 isolationFlags, timeout, description);
        return handle == INVALID_HANDLE_VALUE ? failure() : DWORD{ERROR_SUCCESS};
    });
    if (error != ERROR_SUCCESS) {
        ::SetLastError(error);
    }
    return handle;
}

BOOL CommitTransaction(HANDLE transaction) {
    switch (handleKind(transaction)) {
        case HandleKind::EitherTransaction:
            if (EitherTransaction* const either = eitherOf(transaction)) {
                return either->commit();
            }
            ::SetLastError(ERROR_INVALID_HANDLE);
            return FALSE;
        case HandleKind::Transaction:
            break;
        default:
            if (const SystemCalls* const system = systemCalls()) {
                return system->CommitTransaction(transaction);
            }
    }
    return transactions::CommitTransaction(transaction);
}

BOOL CloseHandle(HANDLE handle) {
    switch (handleKind(handle)) {
        case HandleKind::EitherTransaction: {
            const std::unique_ptr<EitherTransaction> either(static_cast<EitherTransaction*>(
                retireHandle(handle, HandleKind::EitherTransaction)));
            if (either == nullptr) {
                ::SetLastError(ERROR_INVALID_HANDLE);
            }
            return either != nullptr;
        }
        case HandleKind::Transaction:
            return transactions::closeTransaction(handle);
        default:
            return ::CloseHandle(handle);
    }
}

BOOL GetFileAttributesTransactedW(const wchar_t* path, GET_FILEEX_INFO_LEVELS level, void* data,
                                  HANDLE transaction) {
    return KEST_FORWARD(GetFileAttributesTransactedW, targetOf(transaction, Use::Ask, path),
                        BOOL{FALSE}, path, level, data);
}

HANDLE FindFirstFileTransactedW(const wchar_t* pattern, FINDEX_INFO_LEVELS level, void* data,
                                FINDEX_SEARCH_OPS operation, void* filter, DWORD flags,
                                HANDLE transaction) {
    const Target target = targetOf(transaction, Use::Search, pattern);
    const HANDLE search =
        KEST_FORWARD(FindFirstFileTransactedW, target, HANDLE{INVALID_HANDLE_VALUE}, pattern, level,
                     data, operation, filter, flags);
    if (target.system == nullptr || search == INVALID_HANDLE_VALUE || pattern == nullptr ||
        data == nullptr) {
        return search;
    }
    {
        const LastErrorGuard kept;
        plainSearches().note(search, pattern);
    }
    return isTold(search, *static_cast<const WIN32_FIND_DATAW*>(data)) ? search
                                                                       : INVALID_HANDLE_VALUE;
}

BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW* data) {
    if (handleKind(search) == HandleKind::Search) {
        return transactions::FindNextFileW(search, data);
    }
    return ::FindNextFileW(search, data) && isTold(search, *data);
}

BOOL CreateDirectoryTransactedW(const wchar_t* pattern, const wchar_t* path,
                                SECURITY_ATTRIBUTES* security, HANDLE transaction) {
    return KEST_FORWARD(CreateDirectoryTransactedW, targetOf(transaction, Use::Change, path),
                        BOOL{FALSE}, pattern, path, security);
}

BOOL CopyFileTransactedW(const wchar_t* source, const wchar_t* destination,
                         LPPROGRESS_ROUTINE progress, void* data, BOOL* cancel, DWORD flags,
                         HANDLE transaction) {
    return KEST_FORWARD(CopyFileTransactedW,
                        targetOf(transaction, Use::Change, destination, source), BOOL{FALSE},
                        source, destination, progress, data, cancel, flags);
}

BOOLEAN CreateSymbolicLinkTransactedW(const wchar_t* link, const wchar_t* target, DWORD flags,
                                      HANDLE transaction) {
    return KEST_FORWARD(CreateSymbolicLinkTransactedW, targetOf(transaction, Use::Change, link),
                        BOOLEAN{0}, link, target, flags);
}

BOOL DeleteFileTransactedW(const wchar_t* path, HANDLE transaction) {
    return KEST_FORWARD(DeleteFileTransactedW, targetOf(transaction, Use::Change, path),
                        BOOL{FALSE}, path);
}

BOOL RemoveDirectoryTransactedW(const wchar_t* path, HANDLE transaction) {
    return KEST_FORWARD(RemoveDirectoryTransactedW, targetOf(transaction, Use::Change, path),
                        BOOL{FALSE}, path);
}

}  // namespace Tallowmere::platform::kernel
