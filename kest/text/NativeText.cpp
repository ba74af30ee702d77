#include "kest/text/NativeText.h"

#include "kest/platform/NativeText.h"
#include "kest/platform/Utf8.h"

namespace Tallowmere {

std::wstring fromNative(const std::string& text) {
    return platform::widenNative(text);
}

std::string toNative(const std::wstring& text) {
    return platform::narrowNative(text);
}

std::string toUtf8(const std::wstring& text) {
    return platform::utf8::encode(text);
}

}  // namespace Tallowmere
