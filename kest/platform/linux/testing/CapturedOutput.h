#pragma once

#include <functional>
#include <string>

namespace Tallowmere::platform::testing {

/// What programs write that `body` starts with this process's standard output. Waits until the last
/// of them has let go of it.
std::string outputOf(const std::function<void()>& body);

}  // namespace Tallowmere::platform::testing
