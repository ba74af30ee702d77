#pragma once

#include "kest/platform/Win32.h"

namespace Tallowmere::platform::kernel {

/// The calls of the kernel's transaction manager, and those that tell which volumes it serves. The
/// transacted ones are null where the system lacks them: they are looked up by name, because a
/// library that imported them by name would end its host with the first call on a system without
/// them.
struct SystemCalls {
    decltype(&::CreateTransaction) CreateTransaction;
    decltype(&::CommitTransaction) CommitTransaction;
    decltype(&::CloseHandle) CloseHandle;
    decltype(&::GetFileAttributesTransactedW) GetFileAttributesTransactedW;
    decltype(&::FindFirstFileTransactedW) FindFirstFileTransactedW;
    decltype(&::CreateDirectoryTransactedW) CreateDirectoryTransactedW;
    decltype(&::CopyFileTransactedW) CopyFileTransactedW;
    decltype(&::CreateSymbolicLinkTransactedW) CreateSymbolicLinkTransactedW;
    decltype(&::DeleteFileTransactedW) DeleteFileTransactedW;
    decltype(&::RemoveDirectoryTransactedW) RemoveDirectoryTransactedW;
    decltype(&::GetVolumePathNameW) GetVolumePathNameW;
    decltype(&::GetDriveTypeW) GetDriveTypeW;
    decltype(&::GetVolumeInformationW) GetVolumeInformationW;

    /// Whether none is missing.
    bool isComplete() const;
};

/// Finds a function of the system by its name; null when there is none.
using Finder = FARPROC (*)(const char* name);

/// The calls that `find` finds.
SystemCalls findSystemCalls(Finder find);

/// The calls of this system, or those that a test has put in their place; null when one of them is
/// missing, so that there is no kernel's manager.
const SystemCalls* systemCalls();

/// For tests: from now on these are the calls of the system; null gives the real ones back. Use it
/// while no other thread is inside the library, and no transaction is open.
void setSystemCalls(const SystemCalls* calls);

}  // namespace Tallowmere::platform::kernel
