#include "kest/platform/NativeText.h"

#include "kest/platform/Utf8.h"
#include "kest/platform/linux/Names.h"

namespace Tallowmere::platform {

std::wstring widenNative(std::string_view text) {
    return names::widen(text);
}

std::string narrowNative(std::wstring_view text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (!names::narrow(text.substr(i, 1), bytes)) {
            utf8::append(utf8::kReplacement, bytes);
        }
    }
    return bytes;
}

}  // namespace Tallowmere::platform
