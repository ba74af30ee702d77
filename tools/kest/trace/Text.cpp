#include "trace/Text.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace Tallowmere::command::trace {
namespace {

constexpr char kDigits[] = "0123456789abcdef";

unsigned char byteAt(std::string_view text, std::size_t i) {
    return static_cast<unsigned char>(text[i]);
}

char small(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isSameLetter(char left, char right) {
    return small(left) == small(right);
}

void appendFourDigits(std::string& out, std::uint32_t unit) {
    out += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) {
        out += kDigits[(unit >> shift) & 0xFU];
    }
}

bool isMarkup(std::uint32_t character) {
    return character == '<' || character == '>' || character == '&';
}

/// A character that stands in a string of JSON as it is.
bool isPlain(char c, bool isInPage) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 0x20 && byte < 0x7F && c != '"' && c != '\\' && !(isInPage && isMarkup(byte));
}

}  // namespace

Character firstCharacter(std::string_view text) {
    const std::uint32_t lead = byteAt(text, 0);
    if (lead < 0x80) {
        return {lead, 1, true};
    }
    const std::size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    const Character none{lead, 1, false};
    if (lead < 0xC2 || lead > 0xF4 || text.size() < size) {
        return none;
    }
    std::uint32_t value = lead & (0x7FU >> size);
    for (std::size_t i = 1; i < size; ++i) {
        if ((byteAt(text, i) & 0xC0U) != 0x80) {
            return none;
        }
        value = (value << 6) | (byteAt(text, i) & 0x3FU);
    }
    constexpr std::array<std::uint32_t, 5> kLeast = {0, 0, 0x80, 0x800, 0x10000};
    const bool isSurrogate = value >= 0xD800 && value <= 0xDFFF;
    return value < kLeast[size] || isSurrogate || value > 0x10FFFF ? none
                                                                   : Character{value, size, true};
}

bool isControl(std::uint32_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0x061C ||
           character == 0x200E || character == 0x200F ||
           (character >= 0x2028 && character <= 0x202E) ||
           (character >= 0x2066 && character <= 0x2069) || character == 0xFEFF ||
           (character >= 0xE000 && character <= 0xF8FF);
}

void appendShown(std::string& out, std::string_view text) {
    while (!text.empty()) {
        std::size_t plain = 0;
        while (plain < text.size() && byteAt(text, plain) < 0x7F &&
               (byteAt(text, plain) >= 0x20 || text[plain] == '\t')) {
            ++plain;
        }
        out.append(text.substr(0, plain));
        text.remove_prefix(plain);
        if (text.empty()) {
            return;
        }
        const Character next = firstCharacter(text);
        if (next.isValid && !isControl(next.value)) {
            out.append(text.substr(0, next.size));
        } else if (!next.isValid || next.value < 0x80) {
            out += "\\x";
            appendHex(out, text.substr(0, 1));
        } else {
            appendFourDigits(out, next.value);
        }
        text.remove_prefix(next.size);
    }
}

void appendJson(std::string& out, std::string_view text, bool isInPage) {
    out += '"';
    while (!text.empty()) {
        std::size_t plain = 0;
        while (plain < text.size() && isPlain(text[plain], isInPage)) {
            ++plain;
        }
        out.append(text.substr(0, plain));
        text.remove_prefix(plain);
        if (text.empty()) {
            break;
        }
        const Character next = firstCharacter(text);
        if (!next.isValid) {
            out += "\xEF\xBF\xBD";
        } else if (next.value == '"' || next.value == '\\') {
            out += '\\';
            out += text[0];
        } else if (next.value == '\n') {
            out += "\\n";
        } else if (next.value == '\t') {
            out += "\\t";
        } else if (next.value == '\r') {
            out += "\\r";
        } else if (isControl(next.value) || (isInPage && isMarkup(next.value))) {
            appendFourDigits(out, next.value);
        } else {
            out.append(text.substr(0, next.size));
        }
        text.remove_prefix(next.size);
    }
    out += '"';
}

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        const Character next = firstCharacter(text);
        if (!next.isValid) {
            return false;
        }
        text.remove_prefix(next.size);
    }
    return true;
}

void appendHex(std::string& out, std::string_view bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        out += kDigits[byteAt(bytes, i) >> 4];
        out += kDigits[byteAt(bytes, i) & 0xFU];
    }
}

bool contains(std::string_view text, std::string_view part) {
    return std::search(text.begin(), text.end(), part.begin(), part.end(), isSameLetter) !=
               text.end() ||
           part.empty();
}

bool isSame(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), isSameLetter);
}

std::size_t widthOf(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0U) != 0x80;
    }));
}

std::string grouped(std::uint64_t number) {
    std::string text = std::to_string(number);
    for (std::size_t place = text.size(); place > 3; place -= 3) {
        text.insert(place - 3, 1, ',');
    }
    return text;
}

}  // namespace Tallowmere::command::trace
