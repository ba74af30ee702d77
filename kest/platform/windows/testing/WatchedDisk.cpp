#include "kest/platform/windows/testing/WatchedDisk.h"

#include "kest/platform/transactions/SystemDisk.h"

namespace Tallowmere::platform::testing {

CurrentDisk::CurrentDisk(transactions::Disk& disk) {
    transactions::setCurrentDisk(&disk);
}

CurrentDisk::~CurrentDisk() {
    transactions::setCurrentDisk(nullptr);
}

}  // namespace Tallowmere::platform::testing
