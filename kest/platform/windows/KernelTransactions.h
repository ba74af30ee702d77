#pragma once

#include "kest/platform/Calls.h"

/// The calls of the family Transactions on Windows. Where the system has the transacted calls, each
/// transaction is answered by the kernel's manager or by ours as the volume that it changes needs
/// (see EitherTransaction.h); where the system lacks them, by ours.
///
/// Only the creation of a transaction asks whether the system has them; every other call goes where
/// its handle comes from, because a handle of ours is recognised as such (see HandleTable.h).
namespace Tallowmere::platform::kernel {

#define KEST_CALL(family, result, name, parameters, ...) result name parameters;
#include "kest/platform/Calls.def"

}  // namespace Tallowmere::platform::kernel
