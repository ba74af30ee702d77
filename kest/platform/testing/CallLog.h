#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kest/platform/Calls.h"
#include "kest/platform/testing/Families.h"

namespace Tallowmere::platform::testing {

/// Records the calls of some families of the seam while it lives, in order, with their arguments as
/// text: `DeleteFileTransactedW("a\b", #1)`. Texts are quoted; numbers are in decimal; null is
/// `null`; the all-ones handle is `invalid`; any other pointer or handle is `#n`, numbered in the
/// order in which it first appears. The calls themselves are made as before. Put it in front of
/// ScopedCall objects by creating it after them.
class CallLog {
public:
    explicit CallLog(std::uint32_t families);
    ~CallLog();
    CallLog(const CallLog&) = delete;
    CallLog& operator=(const CallLog&) = delete;

    const std::vector<std::wstring>& calls() const { return m_calls; }
    /// The names alone.
    std::vector<std::wstring> names() const;
    void clear() { m_calls.clear(); }

    // For the trampolines.
    std::wstring pointerText(const void* pointer);
    void record(std::wstring call) { m_calls.push_back(std::move(call)); }

private:
    Calls m_previous;
    std::vector<const void*> m_pointers;
    std::vector<std::wstring> m_calls;
    CallLog* m_outer;
};

}  // namespace Tallowmere::platform::testing
