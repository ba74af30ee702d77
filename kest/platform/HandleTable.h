#pragma once

#include <cstdint>

#include "kest/platform/Win32.h"

namespace Tallowmere::platform {

/// What a handle of ours stands for.
enum class HandleKind : std::uint8_t {
    None = 0,
    Mutex = 1,
    File = 2,
    Transaction = 3,
    Search = 4,
    Process = 5,
    Thread = 6,
    RegistryKey = 7,
    EitherTransaction = 8,  ///< on Windows, see EitherTransaction.h
};

/// Handles that the library itself gives out, where the system has none of the kind. A handle is a
/// number, never an address: its top byte marks it as ours (no kernel handle has it), then come the
/// kind, a generation and a slot. A handle that was given back is therefore recognised as such for
/// as long as its slot has not been reused sixteen million times. All operations may run on any
/// thread; finding is lock-free.

/// A new handle for `object`, which the table does not own. INVALID_HANDLE_VALUE with
/// ERROR_NO_SYSTEM_RESOURCES when sixteen million are open.
HANDLE issueHandle(HandleKind kind, void* object);

/// The object behind an open handle of that kind, null for anything else. The last error is left
/// alone.
void* findHandle(HANDLE handle, HandleKind kind);

/// Takes the handle out of the table and gives its object to the caller, to one caller only; null
/// when it is not open or not of that kind. Needs no memory.
void* retireHandle(HANDLE handle, HandleKind kind);

/// The kind that the handle's number carries, whether it is still open or not; None for a handle
/// that is not ours.
HandleKind handleKind(HANDLE handle);

/// How many handles of that kind are open. For tests.
int openHandles(HandleKind kind);

}  // namespace Tallowmere::platform
