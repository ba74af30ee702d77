#include <kest/kest.h>

#include "FullPath.h"
#include "Verbs.h"

namespace Tallowmere::command {

bool deleteTree(const Call& call) {
    DeleteDirectoryTransacted(fullPath(call.operands[0]));
    return true;
}

}  // namespace Tallowmere::command
