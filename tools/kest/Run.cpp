#include <kest/kest.h>

#include "FullPath.h"
#include "Verbs.h"

namespace Tallowmere::command {

/// Starts the program and does not wait for it.
void runProgram(const Operands& operands) {
    launchProcess(plainText(operands[0]));
}

}  // namespace Tallowmere::command
