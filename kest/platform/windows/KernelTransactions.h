#pragma once

#include "kest/platform/Calls.h"

/// The calls of the family Transactions on Windows: the kernel's own manager where the system has
/// the transacted calls, ours where it lacks them. Chosen once, at first use.
///
/// Only the creation of a transaction asks which; every other call goes where its handle comes
/// from, because a handle of ours is recognised as such (see HandleTable.h).
namespace Tallowmere::platform::kernel {

#define KEST_CALL(family, result, name, parameters, ...) result name parameters;
#include "kest/platform/Calls.def"

/// The calls of the kernel's manager. The transacted ones are null where the system lacks them:
/// they are looked up by name, because a library that imported them by name would end its host with
/// the first call on a system without them.
struct SystemCalls {
    decltype(&::CreateTransaction) CreateTransaction;
    decltype(&::CommitTransaction) CommitTransaction;
    decltype(&::GetFileAttributesTransactedW) GetFileAttributesTransactedW;
    decltype(&::FindFirstFileTransactedW) FindFirstFileTransactedW;
    decltype(&::CreateDirectoryTransactedW) CreateDirectoryTransactedW;
    decltype(&::CopyFileTransactedW) CopyFileTransactedW;
    decltype(&::CreateSymbolicLinkTransactedW) CreateSymbolicLinkTransactedW;
    decltype(&::DeleteFileTransactedW) DeleteFileTransactedW;
    decltype(&::RemoveDirectoryTransactedW) RemoveDirectoryTransactedW;

    /// Whether none is missing.
    bool isComplete() const;
};

/// Finds a function of the system by its name; null when there is none.
using Finder = FARPROC (*)(const char* name);

/// The calls that `find` finds.
SystemCalls findSystemCalls(Finder find);

/// For tests: from now on these are the calls of the system; null gives the real ones back. Use it
/// while no other thread is inside the library.
void setSystemCalls(const SystemCalls* calls);

}  // namespace Tallowmere::platform::kernel
