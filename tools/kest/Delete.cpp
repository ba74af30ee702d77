#include <kest/kest.h>

#include "FullPath.h"
#include "Terminal.h"
#include "Verbs.h"
#include "Watch.h"

namespace Tallowmere::command {

bool deleteTree(const Call& call) {
    const std::wstring path = fullPath(call.operands[0]);
    Watch watch(call.trace, Watch::Operation::deletion, path, path);
    try {
        DeleteDirectoryTransacted(path);
    } catch (const Interrupted&) {
        watch.end(false);
        complainLine(L"interrupted: nothing was changed");
        return false;
    }
    watch.end(true);
    if (Interruption::isRequested()) {
        complainLine(L"the interruption came too late: the tree is gone");
    }
    return true;
}

}  // namespace Tallowmere::command
