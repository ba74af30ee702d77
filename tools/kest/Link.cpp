#include <kest/kest.h>

#include "FullPath.h"
#include "Verbs.h"

namespace Tallowmere::command {

bool copyLink(const Call& call) {
    CopyLink(fullPath(call.operands[0]), fullPath(call.operands[1]));
    return true;
}

}  // namespace Tallowmere::command
