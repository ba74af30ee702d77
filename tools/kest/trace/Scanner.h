#pragma once

#include <cstddef>
#include <string_view>

namespace Tallowmere::command::trace {

/// Reads a text from its beginning, piece by piece. What does not fit is not taken.
class Scanner {
public:
    explicit Scanner(std::string_view text) : m_rest(text) {}

    bool isAtEnd() const { return m_rest.empty(); }
    std::string_view rest() const { return m_rest; }

    bool take(std::string_view expected) {
        if (!m_rest.starts_with(expected)) {
            return false;
        }
        m_rest.remove_prefix(expected.size());
        return true;
    }

    /// As many decimal digits as there are, up to `most`; false when they are fewer than `least`.
    bool number(std::size_t least, std::size_t most, int& value) {
        std::size_t digits = 0;
        int read = 0;
        while (digits < most && digits < m_rest.size() && isDigit(m_rest[digits])) {
            read = read * 10 + (m_rest[digits++] - '0');
        }
        if (digits < least) {
            return false;
        }
        m_rest.remove_prefix(digits);
        value = read;
        return true;
    }

    /// The same without a leading zero.
    bool plainNumber(std::size_t least, std::size_t most, int& value) {
        return !m_rest.starts_with('0') && number(least, most, value);
    }

    static bool isDigit(char c) { return c >= '0' && c <= '9'; }

private:
    std::string_view m_rest;
};

}  // namespace Tallowmere::command::trace
