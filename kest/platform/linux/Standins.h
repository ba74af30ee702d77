#pragma once

#include "kest/platform/Calls.h"

/// What answers on Linux in place of Windows: one function for each line of Calls.def, with the
/// same result, the same last error and the same buffer rules. A call that succeeds leaves the last
/// error alone unless Windows is documented to set it.
namespace Tallowmere::platform::standin {

#define KEST_CALL(family, result, name, parameters, ...) result name parameters;
#include "kest/platform/Calls.def"

}  // namespace Tallowmere::platform::standin
