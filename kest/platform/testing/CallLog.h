#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "kest/platform/Calls.h"
#include "kest/platform/testing/Families.h"

namespace Tallowmere::platform::testing {

/// Records the calls of some families of the seam while it lives, in order, with their arguments as
/// text: `DeleteFileTransactedW("a\b", #1)`. Texts are quoted; numbers are in decimal,
/// identifiers in braces; null is `null`; the all-ones handle is `invalid`; any other pointer or
/// handle is `#n`, numbered in the order in which it first appears in this log. The calls
/// themselves are made as before. Put it in front of ScopedCall objects by creating it after them.
/// Logs nest, and end in the reverse order: the outer one goes on recording. Begin and end one
/// while no other thread is inside the library; calls are recorded from any number of threads.
class CallLog {
public:
    /// An argument of a call: its text or, when there is none, the pointer that is to be numbered.
    struct Argument {
        std::wstring text;
        const void* pointer = nullptr;
    };

    explicit CallLog(std::uint32_t families);
    ~CallLog();
    CallLog(const CallLog&) = delete;
    CallLog& operator=(const CallLog&) = delete;

    const std::vector<std::wstring>& calls() const { return m_calls; }
    /// The names alone.
    std::vector<std::wstring> names() const;
    /// Forgets the calls; pointers keep their numbers.
    void clear() { m_calls.clear(); }

    // For the trampolines.
    void record(const wchar_t* name, const std::vector<Argument>& arguments);
    const Calls& previous() const { return m_previous; }

private:
    std::wstring pointerText(const void* pointer);

    Calls m_previous;
    std::mutex m_mutex;
    std::vector<const void*> m_pointers;
    std::vector<std::wstring> m_calls;
};

}  // namespace Tallowmere::platform::testing
