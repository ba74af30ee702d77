#include "kest/platform/windows/KernelTransactions.h"

#include <atomic>
#include <type_traits>

#include "kest/platform/HandleTable.h"
#include "kest/platform/transactions/SystemDisk.h"
#include "kest/platform/transactions/TransactionCalls.h"

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

std::atomic<const SystemCalls*> g_replaced{nullptr};

FARPROC findInKernel32(const char* name) {
    // Always loaded.
    const HMODULE module = ::GetModuleHandleW(L"kernel32.dll");
    return module == nullptr ? nullptr : ::GetProcAddress(module, name);
}

/// The kernel's manager, or null where there is none.
const SystemCalls* kernelsManager() {
    static const SystemCalls s_found = findSystemCalls(&findInKernel32);
    const SystemCalls* const replaced = g_replaced.load(std::memory_order_relaxed);
    const SystemCalls& calls = replaced != nullptr ? *replaced : s_found;
    return calls.isComplete() ? &calls : nullptr;
}

/// The kernel's manager for one of its transactions; null for one of ours, and for anything at all
/// where there is no kernel's manager.
const SystemCalls* managerOf(HANDLE transaction) {
    return handleKind(transaction) == HandleKind::Transaction ? nullptr : kernelsManager();
}

template <class Call>
void bind(Call& call, Finder find, const char* name) {
    // Through void*, since the type that a lookup gives is nobody's.
    call = reinterpret_cast<Call>(reinterpret_cast<void*>(find(name)));
}

}  // namespace

bool SystemCalls::isComplete() const {
    return GetFileAttributesTransactedW != nullptr && FindFirstFileTransactedW != nullptr &&
           CreateDirectoryTransactedW != nullptr && CopyFileTransactedW != nullptr &&
           CreateSymbolicLinkTransactedW != nullptr && DeleteFileTransactedW != nullptr &&
           RemoveDirectoryTransactedW != nullptr;
}

SystemCalls findSystemCalls(Finder find) {
    SystemCalls calls{};
    // In a library of their own, which every Windows has, as have the systems that answer them with
    // nothing behind: they tell nothing about whether there is a manager.
    calls.CreateTransaction = &::CreateTransaction;
    calls.CommitTransaction = &::CommitTransaction;
#define KEST_BIND(name) bind(calls.name, find, #name)
    KEST_BIND(GetFileAttributesTransactedW);
    KEST_BIND(FindFirstFileTransactedW);
    KEST_BIND(CreateDirectoryTransactedW);
    KEST_BIND(CopyFileTransactedW);
    KEST_BIND(CreateSymbolicLinkTransactedW);
    KEST_BIND(DeleteFileTransactedW);
    KEST_BIND(RemoveDirectoryTransactedW);
#undef KEST_BIND
    return calls;
}

void setSystemCalls(const SystemCalls* calls) {
    g_replaced.store(calls, std::memory_order_relaxed);
}

HANDLE CreateTransaction(SECURITY_ATTRIBUTES* security, GUID* unitOfWork, DWORD options,
                         DWORD isolationLevel, DWORD isolationFlags, DWORD timeout,
                         wchar_t* description) {
    const SystemCalls* const kernels = kernelsManager();
    const auto create =
        kernels != nullptr ? kernels->CreateTransaction : &transactions::CreateTransaction;
    return create(security, unitOfWork, options, isolationLevel, isolationFlags, timeout,
                  description);
}

BOOL CommitTransaction(HANDLE transaction) {
    const SystemCalls* const kernels = managerOf(transaction);
    return kernels != nullptr ? kernels->CommitTransaction(transaction)
                              : transactions::CommitTransaction(transaction);
}

BOOL CloseHandle(HANDLE handle) {
    return handleKind(handle) == HandleKind::Transaction ? transactions::closeTransaction(handle)
                                                         : ::CloseHandle(handle);
}

BOOL GetFileAttributesTransactedW(const wchar_t* path, GET_FILEEX_INFO_LEVELS level, void* data,
                                  HANDLE transaction) {
    const SystemCalls* const kernels = managerOf(transaction);
    return kernels != nullptr
               ? kernels->GetFileAttributesTransactedW(path, level, data, transaction)
               : transactions::GetFileAttributesTransactedW(path, level, data, transaction);
}

HANDLE FindFirstFileTransactedW(const wchar_t* pattern, FINDEX_INFO_LEVELS level, void* data,
                                FINDEX_SEARCH_OPS operation, void* filter, DWORD flags,
                                HANDLE transaction) {
    const SystemCalls* const kernels = managerOf(transaction);
    const auto find = kernels != nullptr ? kernels->FindFirstFileTransactedW
                                         : &transactions::FindFirstFileTransactedW;
    return find(pattern, level, data, operation, filter, flags, transaction);
}

BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW* data) {
    return handleKind(search) == HandleKind::Search ? transactions::FindNextFileW(search, data)
                                                    : ::FindNextFileW(search, data);
}

BOOL CreateDirectoryTransactedW(const wchar_t* pattern, const wchar_t* path,
                                SECURITY_ATTRIBUTES* security, HANDLE transaction) {
    const SystemCalls* const kernels = managerOf(transaction);
    return kernels != nullptr
               ? kernels->CreateDirectoryTransactedW(pattern, path, security, transaction)
               : transactions::CreateDirectoryTransactedW(pattern, path, security, transaction);
}

BOOL CopyFileTransactedW(const wchar_t* source, const wchar_t* destination,
                         LPPROGRESS_ROUTINE progress, void* data, BOOL* cancel, DWORD flags,
                         HANDLE transaction) {
    const SystemCalls* const kernels = managerOf(transaction);
    const auto copy =
        kernels != nullptr ? kernels->CopyFileTransactedW : &transactions::CopyFileTransactedW;
    return copy(source, destination, progress, data, cancel, flags, transaction);
}

BOOLEAN CreateSymbolicLinkTransactedW(const wchar_t* link, const wchar_t* target, DWORD flags,
                                      HANDLE transaction) {
    const SystemCalls* const kernels = managerOf(transaction);
    return kernels != nullptr
               ? kernels->CreateSymbolicLinkTransactedW(link, target, flags, transaction)
               : transactions::CreateSymbolicLinkTransactedW(link, target, flags, transaction);
}

BOOL DeleteFileTransactedW(const wchar_t* path, HANDLE transaction) {
    const SystemCalls* const kernels = managerOf(transaction);
    return kernels != nullptr ? kernels->DeleteFileTransactedW(path, transaction)
                              : transactions::DeleteFileTransactedW(path, transaction);
}

BOOL RemoveDirectoryTransactedW(const wchar_t* path, HANDLE transaction) {
    const SystemCalls* const kernels = managerOf(transaction);
    return kernels != nullptr ? kernels->RemoveDirectoryTransactedW(path, transaction)
                              : transactions::RemoveDirectoryTransactedW(path, transaction);
}

}  // namespace Tallowmere::platform::kernel
