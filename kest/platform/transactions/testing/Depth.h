#pragma once

#include <cstdlib>
#include <string_view>

namespace Tallowmere::platform::transactions::testing {

/// Whether the tests that visit every state go all the way, which takes a minute, and many of them
/// under a sanitizer: KEST_TEST_DEPTH=full in the environment. Otherwise they visit a part, always
/// the same one, which takes seconds.
inline bool isFullDepth() {
    const char* const depth = std::getenv("KEST_TEST_DEPTH");
    return depth != nullptr && std::string_view(depth) == "full";
}

}  // namespace Tallowmere::platform::transactions::testing
