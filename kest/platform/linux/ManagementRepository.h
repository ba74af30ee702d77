#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "kest/platform/Win32.h"
#include "kest/platform/linux/Mof.h"

/// What the management service of this system knows: the instances in the file that the environment
/// variable KEST_WMI names, read anew for each query. Without the variable there are none.
namespace Tallowmere::platform::management {

using Instances = std::vector<mof::Instance>;

/// Reads the file. On failure `instances` is null: WBEM_E_CRITICAL_ERROR for a damaged file,
/// WBEM_E_ACCESS_DENIED for one that may not be read, WBEM_E_PROVIDER_LOAD_FAILURE for any other
/// that cannot be.
HRESULT readInstances(std::shared_ptr<const Instances>& instances);

/// Asks for a restore to the point with that number. `answer` is 0, and the request a line of the
/// file beside KEST_WMI's that has ".restores" added to its name, when there is such a point;
/// ERROR_INVALID_DATA when there is none. Fails as readInstances, and with WBEM_E_PROVIDER_FAILURE,
/// nothing then being changed, when the request cannot be written down.
HRESULT requestRestore(std::uint32_t sequenceNumber, LONG& answer);

}  // namespace Tallowmere::platform::management
