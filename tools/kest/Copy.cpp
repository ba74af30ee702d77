#include <kest/kest.h>

#include "FullPath.h"
#include "Plan.h"
#include "Terminal.h"
#include "Verbs.h"
#include "Watch.h"

namespace Tallowmere::command {

bool copyTree(const Call& call) {
    const std::wstring source = fullPath(call.operands[0]);
    const std::wstring destination = fullPath(call.operands[1]);
    if (call.has(L"--dry-run")) {
        return tellPlan(call, source, destination);
    }
    const bool isVerified = call.has(L"--verify");
    {
        Watch watch(call.trace, Watch::Operation::copy, source, destination);
        try {
            CopyDirectoryTransacted(source, destination);
        } catch (const Interrupted&) {
            watch.end(false);
            complainLine(L"interrupted: nothing was changed");
            return false;
        }
        watch.end(true);
        if (Interruption::isRequested()) {
            complainLine(isVerified
                             ? L"interrupted before the copy could be verified; it is complete"
                             : L"the interruption came too late: the copy is complete");
            return !isVerified;
        }
    }
    return !isVerified || verifyCopy(source, destination);
}

}  // namespace Tallowmere::command
