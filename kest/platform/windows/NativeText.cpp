#include "kest/platform/NativeText.h"

#include "kest/platform/Utf8.h"

namespace Tallowmere::platform {

// Names are wide here, so nothing has to survive that UTF-8 cannot say.

std::wstring widenNative(std::string_view text) {
    std::wstring wide;
    wide.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        std::uint32_t c = 0;
        const std::size_t length = utf8::decode(text, at, c);
        at += length == 0 ? 1 : length;
        if (length == 0) {
            c = utf8::kReplacement;
        }
        if (c >= 0x10000) {
            wide.push_back(static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10)));
            wide.push_back(static_cast<wchar_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
        } else {
            wide.push_back(static_cast<wchar_t>(c));
        }
    }
    return wide;
}

std::string narrowNative(std::wstring_view text) {
    return utf8::encode(text);
}

}  // namespace Tallowmere::platform
