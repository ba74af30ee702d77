#pragma once

#include <string>

#include "kest/Export.h"

namespace Tallowmere {

/// Stores the product's installation directory, which the registry holds, in `directory`. When it
/// cannot be read, the result is false, the reason is an ERROR line in the trace and a line on
/// std::cerr, and `directory` is not to be relied on.
KEST_API bool getInstallationDir(std::wstring& directory);

}  // namespace Tallowmere
