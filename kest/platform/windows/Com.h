#pragma once

#include "kest/platform/Calls.h"

/// What the calls of the family Com are forwarded to. Methods have no address that a table could
/// hold, so all of the family stand here by hand. (The other families' names are declared and no
/// more.)
namespace Tallowmere::platform::com {

#define KEST_CALL(family, result, name, parameters, ...) result name parameters;
#include "kest/platform/Calls.def"

}  // namespace Tallowmere::platform::com
