#pragma once

/// The seam: every operating-system call that the library makes goes through this table, so that it
/// runs, and can be watched and failed, on every system. The table is filled before any constructor
/// runs, because parts of the library work while it is still being loaded.

#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include "kest/platform/Win32.h"

namespace Tallowmere::platform {

/// One function pointer for each line of Calls.def.
struct Calls {
#define KEST_CALL(family, result, name, parameters, ...) result(*name) parameters;
#include "kest/platform/Calls.def"
};

/// Changed by tests only, while no other thread is inside the library. Not exported.
extern Calls g_calls;

/// What all code of the library calls through.
inline const Calls& os() {
    return g_calls;
}

}  // namespace Tallowmere::platform
