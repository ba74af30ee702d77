#pragma once

#include "kest/platform/transactions/Disk.h"

namespace Tallowmere::platform::transactions {

/// The disk that new transactions work on: the system's, unless a test has put another in its
/// place.
Disk& currentDisk();

/// For tests: from now on transactions work on `disk`; null gives the system's back.
void setCurrentDisk(Disk* disk);

/// Gives back a transaction's handle, rolling back what was not committed. False with
/// ERROR_INVALID_HANDLE when it is none.
bool closeTransaction(HANDLE handle);

}  // namespace Tallowmere::platform::transactions
