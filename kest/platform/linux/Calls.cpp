#include "kest/platform/Calls.h"

#include "kest/platform/linux/Standins.h"
#include "kest/platform/transactions/TransactionCalls.h"

namespace Tallowmere::platform {

// Each family's stand-ins; the transactions are the same code on every system.
#define KEST_TARGET_Errors(name) &standin::name
#define KEST_TARGET_Sync(name) &standin::name
#define KEST_TARGET_Time(name) &standin::name
#define KEST_TARGET_Files(name) &standin::name
#define KEST_TARGET_Transactions(name) &transactions::name
#define KEST_TARGET_Registry(name) &standin::name
#define KEST_TARGET_Processes(name) &standin::name
#define KEST_TARGET_Network(name) &standin::name
#define KEST_TARGET_Com(name) &standin::name
#define KEST_TARGET_Runtime(name) &standin::name

constinit Calls g_calls = {
#define KEST_CALL(family, result, name, ...) .name = KEST_TARGET_##family(name),
#include "kest/platform/Calls.def"
};

}  // namespace Tallowmere::platform
