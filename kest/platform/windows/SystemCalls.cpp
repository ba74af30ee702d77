#include "kest/platform/windows/SystemCalls.h"

#include <atomic>

namespace Tallowmere::platform::kernel {
namespace {

std::atomic<const SystemCalls*> g_replaced{nullptr};

FARPROC findInKernel32(const char* name) {
    // Always loaded.
    const HMODULE module = ::GetModuleHandleW(L"kernel32.dll");
    return module == nullptr ? nullptr : ::GetProcAddress(module, name);
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
    // The first two are in a library of their own, which every Windows has, as have the systems
    // that answer them with nothing behind: they tell nothing about whether there is a manager. The
    // others are older than any system that the library runs on.
    calls.CreateTransaction = &::CreateTransaction;
    calls.CommitTransaction = &::CommitTransaction;
    calls.CloseHandle = &::CloseHandle;
    calls.GetVolumePathNameW = &::GetVolumePathNameW;
    calls.GetDriveTypeW = &::GetDriveTypeW;
    calls.GetVolumeInformationW = &::GetVolumeInformationW;
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

const SystemCalls* systemCalls() {
    static const SystemCalls s_found = findSystemCalls(&findInKernel32);
    const SystemCalls* const replaced = g_replaced.load(std::memory_order_relaxed);
    const SystemCalls& calls = replaced != nullptr ? *replaced : s_found;
    return calls.isComplete() ? &calls : nullptr;
}

void setSystemCalls(const SystemCalls* calls) {
    g_replaced.store(calls, std::memory_order_relaxed);
}

}  // namespace Tallowmere::platform::kernel
