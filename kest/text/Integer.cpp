#include "kest/text/Integer.h"

#include <cstddef>
#include <cstdint>
#include <limits>

#include "kest/platform/Characters.h"

namespace Tallowmere {
namespace {

/// The value of a decimal digit, -1 for other characters.
int digitValue(wchar_t c) {
    constexpr wchar_t kZeros[] = {0x0030, 0x0660, 0x06F0, 0x0966, 0x09E6, 0x0A66,
                                  0x0AE6, 0x0B66, 0x0C66, 0x0CE6, 0x0D66, 0x0E50,
                                  0x0ED0, 0x0F20, 0x1040, 0x17E0, 0x1810, 0xFF10};
    for (const wchar_t zero : kZeros) {
        if (c >= zero && c <= zero + 9) {
            return c - zero;
        }
    }
    return -1;
}

}  // namespace

int leadingInteger(std::wstring_view text) {
    std::size_t at = 0;
    while (at < text.size() && platform::isSpaceCharacter(text[at])) {
        ++at;
    }
    bool isNegative = false;
    if (at < text.size() && (text[at] == L'-' || text[at] == L'+')) {
        isNegative = text[at] == L'-';
        ++at;
    }
    using Limits = std::numeric_limits<int>;
    const std::int64_t largest =
        isNegative ? -std::int64_t{Limits::min()} : std::int64_t{Limits::max()};
    std::int64_t value = 0;
    for (; at < text.size() && digitValue(text[at]) >= 0; ++at) {
        value = value * 10 + digitValue(text[at]);
        if (value > largest) {
            value = largest;
            break;
        }
    }
    return static_cast<int>(isNegative ? -value : value);
}

}  // namespace Tallowmere
