#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "kest/platform/Utf8.h"

/// What the targets share: the fuzzer's bytes taken apart, and the end when a law does not hold.
namespace Tallowmere::fuzz {

/// Ends the process with the law that was broken, which the fuzzer reports with the input.
#define KEST_LAW(condition)                                                              \
    do {                                                                                 \
        if (!(condition)) {                                                              \
            std::fprintf(stderr, "%s:%d: broken: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                \
        }                                                                                \
    } while (false)

/// Bytes as texts that are separated by zero bytes, so that a corpus can be read and written by
/// hand. UTF-8 gives its characters, any other byte the character of its value, and the byte 1 the
/// character 0, which no library function may stumble over.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size)
        : m_rest(reinterpret_cast<const char*>(data), size) {}

    std::wstring text() {
        const std::string_view bytes = field();
        std::wstring result;
        for (std::size_t at = 0; at < bytes.size();) {
            std::uint32_t c = 0;
            const std::size_t length = platform::utf8::decode(bytes, at, c);
            if (length == 0) {
                c = static_cast<unsigned char>(bytes[at]);
            }
            result.push_back(c == 1 ? L'\0' : static_cast<wchar_t>(c));
            at += length == 0 ? 1 : length;
        }
        return result;
    }

    /// The next byte, 0 at the end.
    std::uint8_t byte() {
        const auto value =
            m_rest.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(m_rest.front());
        m_rest.remove_prefix(m_rest.empty() ? 0 : 1);
        return value;
    }

    /// The bytes up to the next zero byte.
    std::string_view field() {
        const std::size_t end = m_rest.find('\0');
        const std::string_view result = m_rest.substr(0, end);
        m_rest.remove_prefix(end == std::string_view::npos ? m_rest.size() : end + 1);
        return result;
    }

    std::string_view rest() const { return m_rest; }

private:
    std::string_view m_rest;
};

}  // namespace Tallowmere::fuzz
