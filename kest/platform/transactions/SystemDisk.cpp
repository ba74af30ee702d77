#include "kest/platform/transactions/SystemDisk.h"

namespace Tallowmere::platform::transactions {
namespace {

Disk* g_disk = nullptr;

}  // namespace

Disk& currentDisk() {
    return g_disk != nullptr ? *g_disk : systemDisk();
}

void setCurrentDisk(Disk* disk) {
    g_disk = disk;
}

}  // namespace Tallowmere::platform::transactions
