#include <kest/kest.h>

#include "FullPath.h"
#include "Verbs.h"

namespace Tallowmere::command {

/// Starts the program and does not wait for it.
bool runProgram(const Call& call) {
    launchProcess(plainText(call.operands[0]));
    return true;
}

}  // namespace Tallowmere::command
