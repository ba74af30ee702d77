#pragma once

#include <memory>

#include "kest/platform/Win32.h"
#include "kest/platform/linux/RegistryTree.h"

namespace Tallowmere::platform {

/// The machine's registry as it is now.
struct RegistryState {
    /// What every call answers while the registry cannot be read; 0 when it can.
    DWORD error;
    /// Null when it cannot.
    std::shared_ptr<const RegistryTree> tree;
};

/// The registry in the file that the environment variable KEST_REGISTRY names; without the variable
/// that of a machine on which nothing is installed. The file is read when it is first asked for and
/// after each change of it. A file that is no registry text counts as a damaged registry.
RegistryState currentRegistry();

}  // namespace Tallowmere::platform
