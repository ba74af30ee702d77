#include "Json.h"

#include <cstdint>

#include <kest/kest.h>

namespace Tallowmere::command::json {
namespace {

void appendEscape(std::uint32_t unit, std::string& out) {
    constexpr char kDigits[] = "0123456789abcdef";
    out += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) {
        out += kDigits[(unit >> shift) & 0xF];
    }
}

bool isLead(std::uint32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isTrail(std::uint32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

}  // namespace

std::string text(const std::wstring& text) {
    std::string out = "\"";
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto unit = static_cast<std::uint32_t>(text[i]);
        const bool isPair = sizeof(wchar_t) == 2 && isLead(unit) && i + 1 < text.size() &&
                            isTrail(static_cast<std::uint32_t>(text[i + 1]));
        if (unit == '"' || unit == '\\') {
            out += '\\';
            out += static_cast<char>(unit);
        } else if (unit == '\n') {
            out += "\\n";
        } else if (unit == '\t') {
            out += "\\t";
        } else if (unit == '\r') {
            out += "\\r";
        } else if (isPair) {
            out += toUtf8(text.substr(i, 2));
            ++i;
        } else if (unit < 0x20 || (unit >= 0x7F && unit < 0xA0) || isLead(unit) || isTrail(unit) ||
                   (unit >= 0xF000 && unit <= 0xF0FF)) {
            appendEscape(unit, out);
        } else {
            out += toUtf8(std::wstring(1, text[i]));
        }
    }
    return out + "\"";
}

std::string object(const std::vector<Member>& members) {
    std::string out = "{";
    for (const auto& [name, value] : members) {
        out += out.size() == 1 ? "" : ", ";
        out.append("\"").append(name).append("\": ").append(value);
    }
    return out + "}";
}

std::string list(const std::vector<std::string>& values) {
    std::string out = "[";
    for (const std::string& value : values) {
        out += out.size() == 1 ? "\n" : ",\n";
        out += value;
    }
    return out + (values.empty() ? "]\n" : "\n]\n");
}

}  // namespace Tallowmere::command::json
