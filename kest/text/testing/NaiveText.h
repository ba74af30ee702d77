#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// The rules of the string and path functions once more, each written down as plainly as it can be
/// said and without the library's own functions: what the library does is compared with this on
/// texts that nobody has thought of. Units up to 0xFFFF and the locale "C" are meant.
namespace Tallowmere::testing::naive {

using Positions = std::vector<std::uint64_t>;
using Texts = std::vector<std::wstring>;

inline constexpr std::size_t kNone = std::wstring::npos;

inline bool isAsciiLetter(wchar_t c) {
    return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z');
}

inline wchar_t asciiUpper(wchar_t c) {
    return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - L'a' + L'A') : c;
}

inline std::wstring toLower(const std::wstring& text) {
    std::wstring result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const wchar_t c = text[i];
        result += c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c;
    }
    return result;
}

/// `isSpace` is the run-time's own test.
template <class IsSpace>
std::wstring chomp(const std::wstring& text, IsSpace isSpace) {
    std::wstring result = text;
    while (!result.empty() && isSpace(result[0])) {
        result.erase(0, 1);
    }
    while (!result.empty() && isSpace(result[result.size() - 1])) {
        result.erase(result.size() - 1, 1);
    }
    return result;
}

/// Member by member of the set, then the end of the text, then sorted.
inline Positions delimiters(const std::wstring& text, const std::wstring& set) {
    Positions positions;
    for (const wchar_t member : set) {
        for (std::size_t at = text.find(member); at != kNone; at = text.find(member, at + 1)) {
            positions.push_back(at);
        }
    }
    if (!positions.empty() && positions.back() != text.size() - 1) {
        positions.push_back(text.size());
    }
    std::sort(positions.begin(), positions.end());
    return positions;
}

template <class IsSpace>
Texts split(const std::wstring& text, wchar_t delimiter, IsSpace isSpace) {
    // What stands between delimiters, trimmed, the empty left out; what follows the last one, too.
    Texts fields;
    std::wstring field;
    for (std::size_t i = 0; i <= text.size(); ++i) {
        if (i < text.size() && text[i] != delimiter) {
            field += text[i];
            continue;
        }
        field = naive::chomp(field, isSpace);
        if (!field.empty()) {
            fields.push_back(field);
        }
        field.clear();
    }
    return fields;
}

inline std::wstring replace(std::wstring text, wchar_t from, wchar_t to) {
    for (std::size_t at = text.find(from, 0); at != kNone; at = text.find(from, at)) {
        if (to != 0) {
            text[at] = to;
        } else {
            text.erase(at, 1);
        }
    }
    return text;
}

inline std::wstring nextLine(const std::wstring& text, std::uint64_t& position) {
    std::wstring line;
    for (std::uint64_t at = position; at < text.size(); ++at) {
        if (text[at] == L'\n') {
            position = at + 1;
            return line;
        }
        line += text[at];
    }
    return L"";
}

inline bool isOctet(const std::wstring& field) {
    std::string digits;
    for (const wchar_t unit : field) {
        if (unit == 0) {
            break;
        }
        digits += static_cast<char>(unit & 0xFF);
    }
    const bool isNegative = !digits.empty() && digits[0] == '-';
    if (!digits.empty() && (digits[0] == '-' || digits[0] == '+')) {
        digits.erase(0, 1);
    }
    if (digits.empty()) {
        return false;
    }
    unsigned value = 0;
    for (const char digit : digits) {
        if (digit < '0' || digit > '9') {
            return false;
        }
        value = std::min(value * 10 + static_cast<unsigned>(digit - '0'), 100000U);
    }
    if (value > 65535) {
        return false;
    }
    return (isNegative ? (65536 - value) % 65536 : value) < 256;
}

inline bool isIpv4Address(const std::wstring& text) {
    Texts fields(1);
    for (const wchar_t c : text) {
        if (c == L'.') {
            fields.emplace_back();
        } else {
            fields.back() += c;
        }
    }
    return fields.size() >= 4 && isOctet(fields[0]) && isOctet(fields[1]) && isOctet(fields[2]);
}

// Paths.

inline bool isSeparator(wchar_t c) {
    return c == L'\\' || c == L'/';
}

inline std::wstring baseName(const std::wstring& path) {
    const Positions positions = delimiters(path, L"\\/");
    return positions.size() < 2 ? path : path.substr(positions[positions.size() - 2] + 1);
}

inline std::wstring getFileExtension(const std::wstring& path) {
    // Backwards to the dot; a separator on the way means that there is none.
    std::wstring extension;
    for (std::size_t at = path.size(); at-- > 0;) {
        if (isSeparator(path[at])) {
            return L"";
        }
        if (path[at] == L'.') {
            extension = path.substr(at + 1);
            if (!extension.empty() && extension[extension.size() - 1] == L'"') {
                extension.erase(extension.size() - 1);
            }
            return extension;
        }
    }
    return L"";
}

inline std::wstring changeExtension(const std::wstring& path, const std::wstring& extension) {
    for (std::size_t at = path.size(); at-- > 0;) {
        if (path[at] == L'.') {
            return at + 1 == path.size() ? path : path.substr(0, at + 1) + extension;
        }
    }
    return path;
}

inline std::uint64_t getPathLastComponent(const std::wstring& path) {
    for (std::size_t at = path.size(); at-- > 0;) {
        if (isSeparator(path[at])) {
            return at;
        }
    }
    return kNone;
}

inline std::wstring normalizePath(const std::wstring& path) {
    std::wstring result;
    for (const wchar_t c : naive::toLower(path)) {
        result += c == L'\\' ? L'/' : c;
    }
    return result;
}

template <class IsLetter>
bool isDriveRootedPath(const std::wstring& path, IsLetter isLetter) {
    const std::wstring plain = !path.empty() && path[0] == L'"' ? path.substr(1) : path;
    return plain.size() >= 2 && isLetter(plain[0]) && plain[1] == L':';
}

template <class IsLetter, class Upper>
wchar_t getDrive(const std::wstring& path, IsLetter isLetter, Upper upper) {
    const std::size_t stamp = path.find(L"@GMT");
    if (stamp == kNone) {
        if (!naive::isDriveRootedPath(path, isLetter)) {
            return 0;
        }
        return upper(path[0] == L'"' ? path[1] : path[0]);
    }
    for (const wchar_t separator : {L'/', L'\\'}) {
        for (std::size_t at = stamp; at-- > 0;) {
            if (path[at] == separator) {
                return at >= 2 && isLetter(path[at - 2]) ? upper(path[at - 2]) : L'\0';
            }
        }
    }
    return 0;
}

inline std::wstring getCurrentPath(const std::wstring& path) {
    if (path.size() < 2) {
        return L"";
    }
    std::wstring result = path;
    const std::size_t stamp = path.find(L"@GMT");
    if (stamp != kNone) {
        if (stamp < 3) {
            return L"";
        }
        result = path.substr(stamp - 3, 1) + L":";
        const std::wstring behind = path.substr(stamp);
        const std::size_t backslash = behind.find(L'\\');
        const std::size_t slash = behind.find(L'/');
        if (backslash != kNone) {
            result += behind.substr(backslash);
        } else if (slash != kNone) {
            result += behind.substr(slash);
        }
    } else if (path[0] == L'"') {
        result.erase(0, 1);
    }
    if (!result.empty() && result[result.size() - 1] == L'"') {
        result.erase(result.size() - 1);
    }
    return result;
}

inline std::wstring getCurrentPathNoDrive(const std::wstring& path) {
    const std::wstring current = naive::getCurrentPath(path);
    return current.size() < 2 ? current : current.substr(2);
}

}  // namespace Tallowmere::testing::naive
