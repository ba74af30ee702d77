#include <kest/kest.h>

#include "FullPath.h"
#include "Verbs.h"

namespace Tallowmere::command {

void copyTree(const Operands& operands) {
    CopyDirectoryTransacted(fullPath(operands[0]), fullPath(operands[1]));
}

}  // namespace Tallowmere::command
