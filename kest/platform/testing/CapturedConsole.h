#pragma once

#include <functional>
#include <string>

namespace Tallowmere::platform::testing {

/// The bytes that `body` sends to the process's standard output and standard error together, in the
/// order in which they arrive there. The body finds both as a program finds them at its start, where
/// the system can do that: on Linux it runs in a process of its own, so nothing that it changes is
/// seen afterwards, and it cannot fail the test but by what it writes. What it throws becomes part
/// of the result.
std::string capturedConsole(const std::function<void()>& body);

/// What a line ends with in a captured text.
#ifdef _WIN32
inline constexpr const char* kCapturedLineEnd = "\r\n";
#else
inline constexpr const char* kCapturedLineEnd = "\n";
#endif

}  // namespace Tallowmere::platform::testing
