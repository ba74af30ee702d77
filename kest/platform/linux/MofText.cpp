#include "kest/platform/linux/MofText.h"

#include <charconv>
#include <cstddef>

#include "kest/platform/Utf8.h"

namespace Tallowmere::platform::mof {
namespace {

bool decodeUtf8(std::string_view bytes, std::wstring& text) {
    for (std::size_t at = 0; at < bytes.size();) {
        std::uint32_t c = 0;
        const std::size_t length = utf8::decode(bytes, at, c);
        if (length == 0) {
            return false;
        }
        text += static_cast<wchar_t>(c);
        at += length;
    }
    return true;
}

/// `low` and `high` say which byte of a unit is which.
bool decodeUtf16(std::string_view bytes, std::size_t low, std::size_t high, std::wstring& text) {
    if (bytes.size() % 2 != 0) {
        return false;
    }
    for (std::size_t at = 0; at < bytes.size(); at += 2) {
        const auto byte = [&](std::size_t which) {
            return std::uint32_t{static_cast<unsigned char>(bytes[at + which])};
        };
        appendUnit(byte(low) | byte(high) << 8, text);
    }
    return true;
}

}  // namespace

bool decode(std::string_view bytes, std::wstring& text) {
    text.clear();
    if (bytes.starts_with("\xFF\xFE")) {
        return decodeUtf16(bytes.substr(2), 0, 1, text);
    }
    if (bytes.starts_with("\xFE\xFF")) {
        return decodeUtf16(bytes.substr(2), 1, 0, text);
    }
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    return decodeUtf8(bytes.starts_with(kMark) ? bytes.substr(kMark.size()) : bytes, text);
}

void appendUnit(std::uint32_t unit, std::wstring& text) {
    const bool isSecondHalf = unit >= 0xDC00 && unit <= 0xDFFF;
    if (isSecondHalf && !text.empty()) {
        const auto first = static_cast<std::uint32_t>(text.back());
        if (first >= 0xD800 && first <= 0xDBFF) {
            text.back() =
                static_cast<wchar_t>(0x10000 + ((first - 0xD800) << 10) + (unit - 0xDC00));
            return;
        }
    }
    text += static_cast<wchar_t>(unit);
}

double realNumber(const std::string& digits) {
    const std::size_t sign = digits.starts_with('+') ? 1 : 0;
    double value = 0;
    // One that is too large or too small for the type stays 0.
    (void)std::from_chars(digits.data() + sign, digits.data() + digits.size(), value);
    return value;
}

}  // namespace Tallowmere::platform::mof
