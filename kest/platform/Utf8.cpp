#include "kest/platform/Utf8.h"

namespace Tallowmere::platform::utf8 {
namespace {

bool isHighSurrogate(std::uint32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isLowSurrogate(std::uint32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

}  // namespace

std::size_t decode(std::string_view text, std::size_t at, std::uint32_t& c) {
    const auto byte = [&](std::size_t offset) -> std::uint32_t {
        return at + offset < text.size() ? static_cast<unsigned char>(text[at + offset]) : 0;
    };
    const std::uint32_t lead = byte(0);
    if (lead < 0x80) {
        c = lead;
        return 1;
    }
    std::size_t length = 0;
    std::uint32_t least = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        least = 0x80;
        c = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        least = 0x800;
        c = lead & 0x0F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        least = 0x10000;
        c = lead & 0x07;
    } else {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) {
            return 0;
        }
        c = c << 6 | (byte(i) & 0x3F);
    }
    const bool surrogate = c >= 0xD800 && c <= 0xDFFF;
    return c < least || surrogate || c > 0x10FFFF ? 0 : length;
}

void append(std::uint32_t c, std::string& out) {
    const auto put = [&](std::uint32_t value) { out.push_back(static_cast<char>(value)); };
    if (c < 0x80) {
        put(c);
    } else if (c < 0x800) {
        put(0xC0 | c >> 6);
        put(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        put(0xE0 | c >> 12);
        put(0x80 | (c >> 6 & 0x3F));
        put(0x80 | (c & 0x3F));
    } else {
        put(0xF0 | c >> 18);
        put(0x80 | (c >> 12 & 0x3F));
        put(0x80 | (c >> 6 & 0x3F));
        put(0x80 | (c & 0x3F));
    }
}

std::string encode(std::wstring_view wide) {
    std::string out;
    out.reserve(wide.size());
    for (std::size_t i = 0; i < wide.size(); ++i) {
        const auto unit = static_cast<std::uint32_t>(wide[i]);
        const std::uint32_t next =
            i + 1 < wide.size() ? static_cast<std::uint32_t>(wide[i + 1]) : 0;
        if (isHighSurrogate(unit) && isLowSurrogate(next)) {
            append(0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00), out);
            ++i;
        } else if (isHighSurrogate(unit) || isLowSurrogate(unit) || unit > 0x10FFFF) {
            append(kReplacement, out);
        } else {
            append(unit, out);
        }
    }
    return out;
}

}  // namespace Tallowmere::platform::utf8
