#pragma once

#include "kest/platform/Win32.h"

namespace Tallowmere {

/// The module that holds the texts of the management service's result codes; null when it could not
/// be loaded, which is no error: the system's own texts are then asked. Loaded with the library and
/// kept for good. Deliberate: never given back, because a library that is being unloaded must not
/// unload others.
extern const HMODULE s_messageModule;

/// Loads it from the folder below the system directory where the system keeps it, so that a file of
/// that name lying about elsewhere is never taken for it.
HMODULE loadMessageModule();

}  // namespace Tallowmere
