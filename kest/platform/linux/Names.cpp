#include "kest/platform/linux/Names.h"

#include <cstdint>

#include "kest/platform/Win32.h"

namespace Tallowmere::platform::names {
namespace {

constexpr std::uint32_t kEscape = 0xF000;

bool isEscape(std::uint32_t c) {
    return c == kEscape + '\\' || (c >= kEscape + 0x80 && c <= kEscape + 0xFF);
}

/// Decodes the character at `at`. Its length, or 0 when the bytes there are not valid UTF-8.
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

void encode(std::uint32_t c, std::string& out) {
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

bool isSeparator(wchar_t c) {
    return c == L'\\' || c == L'/';
}

constexpr std::wstring_view kPrefix = L"\\\\?\\";

}  // namespace

std::wstring widen(std::string_view native) {
    std::wstring wide;
    wide.reserve(native.size());
    for (std::size_t at = 0; at < native.size();) {
        std::uint32_t c = 0;
        std::size_t length = decode(native, at, c);
        if (length == 0 || isEscape(c) || c == '\\') {
            // Every byte of a character that looks like an escape is escaped itself.
            for (length = length == 0 ? 1 : length; length > 0; --length, ++at) {
                wide.push_back(
                    static_cast<wchar_t>(kEscape + static_cast<unsigned char>(native[at])));
            }
            continue;
        }
        wide.push_back(static_cast<wchar_t>(c));
        at += length;
    }
    return wide;
}

bool narrow(std::wstring_view wide, std::string& native) {
    for (const wchar_t unit : wide) {
        const auto c = static_cast<std::uint32_t>(unit);
        if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
            return false;
        }
        if (isEscape(c)) {
            native.push_back(static_cast<char>(c - kEscape));
        } else {
            encode(c, native);
        }
    }
    return true;
}

unsigned int toNativePath(const wchar_t* wide, std::string& native) {
    native.clear();
    std::wstring_view rest(wide);
    if (rest.substr(0, kPrefix.size()) == kPrefix) {
        rest.remove_prefix(kPrefix.size());
        // Understood once: a second prefix names no place at all, as on Windows.
        if (rest.substr(0, kPrefix.size()) == kPrefix) {
            return ERROR_INVALID_NAME;
        }
    }
    if (rest.empty()) {
        return ERROR_PATH_NOT_FOUND;
    }
    std::wstring plain(rest);
    for (wchar_t& c : plain) {
        if (isSeparator(c)) {
            c = L'/';
        }
    }
    return narrow(plain, native) ? ERROR_SUCCESS : ERROR_INVALID_NAME;
}

}  // namespace Tallowmere::platform::names
