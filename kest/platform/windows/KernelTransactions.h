#pragma once

#include "kest/platform/Calls.h"

/// The calls of the family Transactions on Windows: the kernel's own manager where the system has
/// the transacted calls, ours where it lacks them. Chosen once, at first use.
namespace Tallowmere::platform::kernel {

#define KEST_CALL(family, result, name, parameters, ...) result name parameters;
#include "kest/platform/Calls.def"

}  // namespace Tallowmere::platform::kernel
