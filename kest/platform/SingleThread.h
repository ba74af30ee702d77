#pragma once

#ifndef _WIN32
#include <sys/single_threaded.h>
#endif

namespace Tallowmere::platform {

/// Whether the calling thread is the process's only one, as far as is known: nothing has to be
/// atomic then, which is most of what an atomic operation costs.
inline bool isSingleThreaded() {
#ifdef _WIN32
    return false;
#else
    return __libc_single_threaded != 0;
#endif
}

}  // namespace Tallowmere::platform
