#pragma once

#include "kest/platform/Calls.h"

/// The transaction manager behind the calls of the family Transactions, for volumes and systems
/// that have none. Declared for all lines of the list; only those of that family are defined.
namespace Tallowmere::platform::transactions {

#define KEST_CALL(family, result, name, parameters, ...) result name parameters;
#include "kest/platform/Calls.def"

}  // namespace Tallowmere::platform::transactions
