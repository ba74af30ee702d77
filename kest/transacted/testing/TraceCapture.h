#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "kest/diagnostics/testing/FixedTrace.h"

namespace Tallowmere::testing {

/// Takes the trace while it lives, on the thread that the test runs on.
class TraceCapture {
public:
    TraceCapture();
    ~TraceCapture();
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    /// The lines so far, each as "SEVERITY Module: message". A message keeps the line end of a system
    /// text in it; the one that ends the line itself is gone. A line whose columns are not exactly as
    /// they should be, but for the number of the source line, comes whole and behind "BAD LINE: ".
    std::vector<std::wstring> lines() const;
    /// Forgets them.
    void clear() { m_stream.str(L""); }

private:
    FixedTrace m_fixed;
    std::wostringstream m_stream;
};

/// The line of a failure of which the system's text for `code` is a part.
std::wstring failureLine(const std::wstring& text, unsigned long code);

/// What `what()` of such a failure is.
std::string failureText(const std::wstring& text, unsigned long code);

}  // namespace Tallowmere::testing
