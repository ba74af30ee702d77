#include "kest/platform/linux/Closing.h"

#include "kest/platform/HandleTable.h"
#include "kest/platform/transactions/SystemDisk.h"
#include "kest/platform/transactions/TransactionCalls.h"

namespace Tallowmere::platform::transactions {

BOOL CloseHandle(HANDLE handle) {
    switch (handleKind(handle)) {
        case HandleKind::Mutex:
            return standin::closeMutex(handle);
        case HandleKind::File:
            return standin::closeFile(handle);
        case HandleKind::Process:
        case HandleKind::Thread:
            return standin::closeProcess(handle);
        case HandleKind::Transaction:
            return closeTransaction(handle);
        default:
            // A search has a call of its own to close it, which is never made here.
            os().SetLastError(ERROR_INVALID_HANDLE);
            return FALSE;
    }
}

}  // namespace Tallowmere::platform::transactions
