#include <kest/kest.h>

#include "FullPath.h"
#include "Verbs.h"

namespace Tallowmere::command {

void copyLink(const Operands& operands) {
    CopyLink(fullPath(operands[0]), fullPath(operands[1]));
}

}  // namespace Tallowmere::command
