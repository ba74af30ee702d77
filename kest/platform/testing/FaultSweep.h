#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "kest/platform/Calls.h"
#include "kest/platform/testing/Families.h"

namespace Tallowmere::platform::testing {

/// What one run of a sweep did.
struct Fault {
    /// Which call of the run failed, from 1; 0 for the clean run.
    int number = 0;
    /// Its name, empty for the clean run.
    std::wstring call;
    /// The last error that it was given.
    DWORD error = 0;
};

/// How long a fault lasts: one call, or that call and all that follow.
enum class FaultSpan { Once, FromThereOn };

/// Runs `body` once clean, then once for each call of the named families that it made, failing the
/// 1st, the 2nd, the 3rd and so on with the failure value and the error that Calls.def gives. After
/// each run `check` is told what had been failed. A failed call is not made, except one that gives
/// something back (CloseHandle, LocalFree, ReleaseMutex), which is made and then reported as
/// failed. Calls that `body` replaces for itself are not seen, `check` runs with the table as it
/// was, and what either throws passes through. The body makes its calls on one thread; a sweep
/// inside a body is a std::logic_error. Returns how many faults were tried.
int sweepFaults(std::uint32_t families, FaultSpan span, const std::function<void()>& body,
                const std::function<void(const Fault&)>& check);

}  // namespace Tallowmere::platform::testing
