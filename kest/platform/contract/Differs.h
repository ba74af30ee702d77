#pragma once

#include <gtest/gtest.h>

#include "kest/platform/Win32.h"

namespace Tallowmere::platform::contract {

/// Whether the process runs under Wine, which then plays the system.
inline bool runsUnderWine() {
#ifdef _WIN32
    const HMODULE system = GetModuleHandleW(L"ntdll.dll");
    return system != nullptr && GetProcAddress(system, "wine_get_version") != nullptr;
#else
    return false;
#endif
}

}  // namespace Tallowmere::platform::contract

/// Expects `expression` to be true, except under Wine, where it is known to be false for `reason`.
/// It fails there as soon as it becomes true: the difference is gone then, and so should its mark
/// be.
///
///     KEST_DIFFERS_ON_WINE("takes 29 February 2011 for 1 March", !converts(2011, 2, 29));
#define KEST_DIFFERS_ON_WINE(reason, expression)                                                 \
    EXPECT_EQ(!::Tallowmere::platform::contract::runsUnderWine(), static_cast<bool>(expression)) \
        << "A known difference of Wine: " << (reason)                                            \
        << (::Tallowmere::platform::contract::runsUnderWine()                                    \
                ? ". It is gone: expect the same everywhere."                                    \
                : ". Here it must not be.")
