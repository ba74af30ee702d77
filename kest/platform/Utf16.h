#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// UTF-16, in which the registry keeps all text, and wide text, which has whole characters where
/// wchar_t is wider than 16 bits. Nothing is refused: half a surrogate pair stays what it is, so a
/// text that came from units gives the same units back.
namespace Tallowmere::platform::utf16 {

inline bool isHigh(std::uint32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

inline bool isLow(std::uint32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

/// Wide text for units.
inline std::wstring widen(std::u16string_view units) {
    std::wstring wide;
    wide.reserve(units.size());
    for (std::size_t i = 0; i < units.size(); ++i) {
        std::uint32_t c = units[i];
        if constexpr (sizeof(wchar_t) > 2) {
            if (isHigh(c) && i + 1 < units.size() && isLow(units[i + 1])) {
                c = 0x10000 + ((c - 0xD800) << 10) + (units[++i] - 0xDC00U);
            }
        }
        wide.push_back(static_cast<wchar_t>(c));
    }
    return wide;
}

/// Units for wide text. What is beyond U+10FFFF becomes U+FFFD.
inline std::u16string narrow(std::wstring_view wide) {
    std::u16string units;
    units.reserve(wide.size());
    for (const wchar_t unit : wide) {
        auto c = static_cast<std::uint32_t>(unit);
        if (sizeof(wchar_t) == 2 || c <= 0xFFFF) {
            units.push_back(static_cast<char16_t>(c));
        } else if (c <= 0x10FFFF) {
            c -= 0x10000;
            units.push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
            units.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
        } else {
            units.push_back(u'\uFFFD');
        }
    }
    return units;
}

/// The units of data as the registry keeps it, two bytes each, the low one first. The last byte of
/// an odd number is the low half of a unit.
inline std::u16string fromBytes(const unsigned char* bytes, std::size_t count) {
    std::u16string units;
    units.reserve((count + 1) / 2);
    for (std::size_t i = 0; i < count; i += 2) {
        const unsigned high = i + 1 < count ? bytes[i + 1] : 0U;
        units.push_back(static_cast<char16_t>(bytes[i] | high << 8));
    }
    return units;
}

}  // namespace Tallowmere::platform::utf16
