#pragma once

#include <exception>
#include <new>

#include "kest/platform/Win32.h"

namespace Tallowmere::platform::transactions {

/// Runs a body that answers with an error code; what it throws, when memory or another resource
/// runs out, becomes one, so that the caller can go on to put things right.
template <class Body>
DWORD errorOf(Body body) {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    } catch (const std::exception&) {
        return ERROR_NO_SYSTEM_RESOURCES;
    }
}

}  // namespace Tallowmere::platform::transactions
