#pragma once

#include "kest/platform/Calls.h"

namespace Tallowmere::testing {

/// What every trace line begins with under FixedTrace.
inline constexpr const wchar_t* kStamp = L"November 16, 2026, 5:35:54.123 AM\t";

/// A fresh Recorder for a test, in a process whose clock, zone, locale and thread identifier stand
/// still. The replacements are plain functions, so that threads of a test may log at the same time.
class FixedTrace {
public:
    FixedTrace();
    ~FixedTrace();
    FixedTrace(const FixedTrace&) = delete;
    FixedTrace& operator=(const FixedTrace&) = delete;

    /// The calling thread's identifier from now on; 4711 if never set.
    static void setThreadId(DWORD id);

private:
    platform::Calls m_previous;
};

}  // namespace Tallowmere::testing
