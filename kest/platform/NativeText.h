#pragma once

#include <string>
#include <string_view>

/// Text between the bytes that the system hands to a program and the library's wide text: see
/// kest/text/NativeText.h, which says what hosts may rely on.
namespace Tallowmere::platform {

std::wstring widenNative(std::string_view text);
std::string narrowNative(std::wstring_view text);

}  // namespace Tallowmere::platform
