#include <kest/kest.h>

#include "FullPath.h"
#include "Verbs.h"

namespace Tallowmere::command {

void deleteTree(const Operands& operands) {
    DeleteDirectoryTransacted(fullPath(operands[0]));
}

}  // namespace Tallowmere::command
