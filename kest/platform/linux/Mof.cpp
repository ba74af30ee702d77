#include "kest/platform/linux/Mof.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <optional>
#include <utility>

#include "kest/platform/linux/MofText.h"

namespace Tallowmere::platform::mof {
namespace {

wchar_t lower(wchar_t c) {
    return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c;
}

bool isDigit(wchar_t c) {
    return c >= L'0' && c <= L'9';
}

bool isNameStart(wchar_t c) {
    return (lower(c) >= L'a' && lower(c) <= L'z') || c == L'_';
}

bool isNamePart(wchar_t c) {
    return isNameStart(c) || isDigit(c);
}

bool isSpace(wchar_t c) {
    return c == L' ' || (c >= L'\t' && c <= L'\r');
}

int digitValue(wchar_t c) {
    if (isDigit(c)) {
        return c - L'0';
    }
    const wchar_t letter = lower(c);
    return letter >= L'a' && letter <= L'f' ? letter - L'a' + 10 : -1;
}

/// The text of a value that is a word or a number, taken as an integer; nothing when it is none or
/// needs more than 64 bits.
std::optional<Integer> integer(std::wstring_view text) {
    Integer result;
    if (!text.empty() && (text[0] == L'-' || text[0] == L'+')) {
        result.isNegative = text[0] == L'-';
        text.remove_prefix(1);
    }
    unsigned base = 10;
    if (text.size() > 2 && text[0] == L'0' && lower(text[1]) == L'x') {
        base = 16;
        text.remove_prefix(2);
    } else if (text.size() > 1 && lower(text.back()) == L'b') {
        base = 2;
        text.remove_suffix(1);
    } else if (text.size() > 1 && text[0] == L'0') {
        base = 8;
    }
    if (text.empty()) {
        return std::nullopt;
    }
    const std::uint64_t largest =
        result.isNegative ? std::uint64_t{1} << 63 : std::numeric_limits<std::uint64_t>::max();
    for (const wchar_t c : text) {
        const int digit = digitValue(c);
        if (digit < 0 || static_cast<unsigned>(digit) >= base ||
            result.value > (largest - static_cast<unsigned>(digit)) / base) {
            return std::nullopt;
        }
        result.value = result.value * base + static_cast<unsigned>(digit);
    }
    return result;
}

/// A number with a point: digits on at least its right side, perhaps an exponent.
std::optional<double> real(std::wstring_view text) {
    std::string narrow;
    std::size_t at = 0;
    const auto take = [&](bool isWanted) {
        if (isWanted && at < text.size()) {
            narrow += static_cast<char>(text[at++]);
        }
    };
    const auto takeDigits = [&] {
        const std::size_t start = at;
        while (at < text.size() && isDigit(text[at])) {
            take(true);
        }
        return at > start;
    };
    const auto isOneOf = [&](std::wstring_view characters) {
        return at < text.size() && characters.find(text[at]) != characters.npos;
    };
    take(isOneOf(L"+-"));
    takeDigits();
    if (!isOneOf(L".")) {
        return std::nullopt;
    }
    take(true);
    if (!takeDigits()) {
        return std::nullopt;
    }
    if (isOneOf(L"eE")) {
        take(true);
        take(isOneOf(L"+-"));
        if (!takeDigits()) {
            return std::nullopt;
        }
    }
    if (at != text.size()) {
        return std::nullopt;
    }
    return realNumber(narrow);
}

class Reader {
public:
    explicit Reader(std::wstring_view text) : m_text(text) {}

    bool read(std::vector<Instance>& instances) {
        for (;;) {
            if (!skipBlanks()) {
                return false;
            }
            if (m_at == m_text.size()) {
                return true;
            }
            if (m_text[m_at] == L'#') {
                if (!readPragma()) {
                    return false;
                }
                continue;
            }
            Instance instance;
            if (!readInstance(instance)) {
                return false;
            }
            instances.push_back(std::move(instance));
        }
    }

private:
    /// Skips white space and comments; false within a comment that does not end.
    bool skipBlanks() {
        while (m_at < m_text.size()) {
            if (isSpace(m_text[m_at])) {
                ++m_at;
            } else if (m_text.compare(m_at, 2, L"//") == 0) {
                m_at = std::min(m_text.find_first_of(L"\r\n", m_at), m_text.size());
            } else if (m_text.compare(m_at, 2, L"/*") == 0) {
                const std::size_t end = m_text.find(L"*/", m_at + 2);
                if (end == m_text.npos) {
                    return false;
                }
                m_at = end + 2;
            } else {
                break;
            }
        }
        return true;
    }

    /// Skips blanks and takes that character, if it is next.
    bool take(wchar_t c) {
        if (!skipBlanks() || m_at == m_text.size() || m_text[m_at] != c) {
            return false;
        }
        ++m_at;
        return true;
    }

    bool isNext(wchar_t c) { return skipBlanks() && m_at < m_text.size() && m_text[m_at] == c; }

    bool takeName(std::wstring& name) {
        if (!skipBlanks() || m_at == m_text.size() || !isNameStart(m_text[m_at])) {
            return false;
        }
        const std::size_t start = m_at;
        while (m_at < m_text.size() && isNamePart(m_text[m_at])) {
            ++m_at;
        }
        name = m_text.substr(start, m_at - start);
        return true;
    }

    bool takeWord(std::wstring_view word) {
        const std::size_t start = m_at;
        std::wstring name;
        if (takeName(name) && isSameName(name, word)) {
            return true;
        }
        m_at = start;
        return false;
    }

    /// #pragma name("text")
    bool readPragma() {
        std::wstring word;
        std::wstring text;
        ++m_at;
        return takeName(word) && isSameName(word, L"pragma") && takeName(word) && take(L'(') &&
               readStrings(text) && take(L')');
    }

    /// A list in brackets, if there is one. Strings may hold a bracket.
    bool skipQualifiers() {
        if (!isNext(L'[')) {
            return true;
        }
        ++m_at;
        std::wstring text;
        while (skipBlanks() && m_at < m_text.size()) {
            if (m_text[m_at] == L'"') {
                if (!readStrings(text)) {
                    return false;
                }
            } else if (m_text[m_at++] == L']') {
                return true;
            }
        }
        return false;
    }

    bool readInstance(Instance& instance) {
        std::wstring alias;
        if (!skipQualifiers() || !takeWord(L"instance") || !takeWord(L"of") ||
            !takeName(instance.className)) {
            return false;
        }
        if (takeWord(L"as") && (!take(L'$') || !takeName(alias))) {
            return false;
        }
        if (!take(L'{')) {
            return false;
        }
        while (!take(L'}')) {
            Property property;
            if (!skipQualifiers() || !takeName(property.name) || !take(L'=') ||
                !readValue(property.value) || !take(L';') || hasProperty(instance, property.name)) {
                return false;
            }
            instance.properties.push_back(std::move(property));
        }
        return take(L';');
    }

    static bool hasProperty(const Instance& instance, const std::wstring& name) {
        return std::any_of(
            instance.properties.begin(), instance.properties.end(),
            [&](const Property& property) { return isSameName(property.name, name); });
    }

    bool readValue(Value& value) {
        if (!take(L'{')) {
            return readSingle(value);
        }
        value = Array();
        if (take(L'}')) {
            return true;
        }
        Value element;
        do {
            if (!readSingle(element)) {
                return false;
            }
        } while (take(L','));
        return take(L'}');
    }

    bool readSingle(Value& value) {
        if (isNext(L'"')) {
            std::wstring text;
            const bool isRead = readStrings(text);
            value = std::move(text);
            return isRead;
        }
        if (isNext(L'\'')) {
            std::wstring text;
            if (!readQuoted(L'\'', text) || text.size() != 1) {
                return false;
            }
            value = Character{text[0]};
            return true;
        }
        return readBare(value);
    }

    /// A word or a number: all up to what cannot be part of one.
    bool readBare(Value& value) {
        if (!skipBlanks()) {
            return false;
        }
        const std::size_t start = m_at;
        while (m_at < m_text.size() && (isNamePart(m_text[m_at]) || m_text[m_at] == L'.' ||
                                        m_text[m_at] == L'+' || m_text[m_at] == L'-')) {
            ++m_at;
        }
        const std::wstring_view text = m_text.substr(start, m_at - start);
        if (isSameName(text, L"null")) {
            value = Null();
        } else if (isSameName(text, L"true") || isSameName(text, L"false")) {
            value = isSameName(text, L"true");
        } else if (const std::optional<Integer> whole = integer(text)) {
            value = *whole;
        } else if (const std::optional<double> fraction = real(text)) {
            value = *fraction;
        } else {
            return false;
        }
        return true;
    }

    /// One string or several in a row, which are one.
    bool readStrings(std::wstring& text) {
        text.clear();
        do {
            if (!isNext(L'"') || !readQuoted(L'"', text)) {
                return false;
            }
        } while (isNext(L'"'));
        return true;
    }

    bool readQuoted(wchar_t quote, std::wstring& text) {
        ++m_at;
        while (m_at < m_text.size()) {
            const wchar_t c = m_text[m_at++];
            if (c == quote) {
                return true;
            }
            if (c == L'\n' || c == L'\r' || c == L'\0') {
                return false;
            }
            if (c != L'\\') {
                text += c;
            } else if (!readEscape(text)) {
                return false;
            }
        }
        return false;
    }

    bool readEscape(std::wstring& text) {
        if (m_at == m_text.size()) {
            return false;
        }
        constexpr std::wstring_view kLetters = L"btnfr\"'\\";
        constexpr std::wstring_view kMeanings = L"\b\t\n\f\r\"'\\";
        const wchar_t c = m_text[m_at++];
        if (const std::size_t found = kLetters.find(c); found != kLetters.npos) {
            text += kMeanings[found];
            return true;
        }
        return lower(c) == L'x' && readCode(text);
    }

    /// One to four hexadecimal digits: a UTF-16 unit, other than 0.
    bool readCode(std::wstring& text) {
        constexpr std::size_t kMostDigits = 4;
        std::uint32_t code = 0;
        const std::size_t start = m_at;
        while (m_at < m_text.size() && m_at < start + kMostDigits &&
               digitValue(m_text[m_at]) >= 0) {
            code = code * 16 + static_cast<std::uint32_t>(digitValue(m_text[m_at++]));
        }
        if (code == 0) {
            return false;
        }
        appendUnit(code, text);
        return true;
    }

    std::wstring_view m_text;
    std::size_t m_at = 0;
};

}  // namespace

bool isSameName(std::wstring_view first, std::wstring_view second) {
    return first.size() == second.size() &&
           std::equal(first.begin(), first.end(), second.begin(),
                      [](wchar_t a, wchar_t b) { return lower(a) == lower(b); });
}

bool read(std::string_view bytes, std::vector<Instance>& instances) {
    std::wstring text;
    return decode(bytes, text) && Reader(text).read(instances);
}

}  // namespace Tallowmere::platform::mof
