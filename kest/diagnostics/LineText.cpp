#include "kest/diagnostics/LineText.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string>
#include <utility>

#include "kest/platform/Utf8.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace Tallowmere {
namespace {

using platform::utf8::kReplacement;

/// Units that are looked at and narrowed together.
constexpr std::size_t kBlock = 16;

bool isHighSurrogate(std::uint32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isLowSurrogate(std::uint32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

#if defined(__SSE2__)

template <std::size_t offset>
__m128i load(const wchar_t* block) {
    __m128i units;
    std::memcpy(&units, block + offset, sizeof(units));
    return units;
}

/// Writes a block's bytes; false, with nothing written, when it is not ASCII, or when it has a null
/// character in it that is not to be written.
template <bool stopsAtNull>
bool narrow(const wchar_t* block, char* out) {
    __m128i bytes;
    __m128i all;
    if constexpr (sizeof(wchar_t) == 4) {
        const __m128i a = load<0>(block);
        const __m128i b = load<4>(block);
        const __m128i c = load<8>(block);
        const __m128i d = load<12>(block);
        all = _mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d));
        bytes = _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d));
    } else {
        const __m128i a = load<0>(block);
        const __m128i b = load<8>(block);
        all = _mm_or_si128(a, b);
        bytes = _mm_packus_epi16(a, b);
    }
    // A unit that does not fit becomes the nearest byte that there is: a byte beyond ASCII, or zero
    // for one that counts as negative. Only where null characters are welcome must these be told
    // from them by the units themselves.
    bool isAscii = false;
    if constexpr (stopsAtNull) {
        isAscii = _mm_movemask_epi8(_mm_cmpgt_epi8(bytes, _mm_setzero_si128())) == 0xFFFF;
    } else {
        all = sizeof(wchar_t) == 4 ? _mm_srli_epi32(all, 7) : _mm_srli_epi16(all, 7);
        isAscii = _mm_movemask_epi8(_mm_cmpeq_epi8(all, _mm_setzero_si128())) == 0xFFFF;
    }
    if (!isAscii) {
        return false;
    }
    std::memcpy(out, &bytes, sizeof(bytes));
    return true;
}

#else

/// Writes a block's bytes; false, with nothing written, when it is not ASCII, or when it has a null
/// character in it that is not to be written.
template <bool stopsAtNull>
bool narrow(const wchar_t* block, char* out) {
    std::uint32_t all = 0;
    bool hasNull = false;
    for (std::size_t i = 0; i < kBlock; ++i) {
        all |= static_cast<std::uint32_t>(block[i]);
        hasNull |= block[i] == L'\0';
    }
    if (all >= 0x80 || (stopsAtNull && hasNull)) {
        return false;
    }
    for (std::size_t i = 0; i < kBlock; ++i) {
        out[i] = static_cast<char>(block[i]);
    }
    return true;
}

#endif

bool isAscii(std::string_view bytes) {
    const char* at = bytes.data();
    std::size_t left = bytes.size();
    constexpr std::uint64_t kHighBits = 0x8080808080808080U;
    for (; left >= sizeof(std::uint64_t);
         at += sizeof(std::uint64_t), left -= sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        std::memcpy(&word, at, sizeof(word));
        if ((word & kHighBits) != 0) {
            return false;
        }
    }
    unsigned int all = 0;
    for (; left != 0; ++at, --left) {
        all |= static_cast<unsigned char>(*at);
    }
    return all < 0x80;
}

/// More than any number has digits.
constexpr std::size_t kDigits = 24;

}  // namespace

void LineText::appendUnit(wchar_t unit) {
    const auto value = static_cast<std::uint32_t>(unit);
    const std::uint32_t high = m_highSurrogate;
    m_highSurrogate = 0;
    if (high != 0 && isLowSurrogate(value)) {
        appendCharacter(0x10000 + ((high - 0xD800) << 10) + (value - 0xDC00));
        return;
    }
    if (high != 0) {
        appendCharacter(kReplacement);
    }
    if (isHighSurrogate(value)) {
        m_highSurrogate = value;
    } else {
        appendCharacter(isLowSurrogate(value) || value > 0x10FFFF ? kReplacement : value);
    }
}

void LineText::append(std::wstring_view text) {
    appendText<false>(text);
}

void LineText::appendToNull(std::wstring_view text) {
    appendText<true>(text);
}

template <bool stopsAtNull>
[[gnu::hot]] void LineText::appendText(std::wstring_view text) {
    constexpr std::uint32_t kLeast = stopsAtNull ? 1 : 0;
    const wchar_t* unit = text.data();
    const wchar_t* const end = unit + text.size();
    while (unit != end) {
        // Runs of ASCII, nearly all of a trace, go over at once.
        if (m_highSurrogate == 0) {
            char* out = room(static_cast<std::size_t>(end - unit));
            const char* const begin = out;
            while (static_cast<std::size_t>(end - unit) >= kBlock &&
                   narrow<stopsAtNull>(unit, out)) {
                unit += kBlock;
                out += kBlock;
            }
            // What is left is less than a block: a block that ends where the text ends has it all,
            // and writes the units before it once more.
            const auto left = static_cast<std::size_t>(end - unit);
            if (left != 0 && left < kBlock && out != begin &&
                narrow<stopsAtNull>(end - kBlock, out + left - kBlock)) {
                unit = end;
                out += left;
            }
            while (unit != end && static_cast<std::uint32_t>(*unit) - kLeast < 0x80 - kLeast) {
                *out++ = static_cast<char>(*unit++);
            }
            m_size += static_cast<std::size_t>(out - begin);
        }
        if (unit != end) {
            if (stopsAtNull && *unit == L'\0') {
                return;
            }
            appendUnit(*unit++);
        }
    }
}

void LineText::appendBytes(std::string_view bytes) {
    if (m_highSurrogate == 0 && isAscii(bytes)) {
        put(bytes);
        return;
    }
    for (const char byte : bytes) {
        append(static_cast<wchar_t>(static_cast<unsigned char>(byte)));
    }
}

void LineText::appendNumber(std::int64_t number) {
    finish();
    char* const first = room(kDigits);
    m_size += static_cast<std::size_t>(std::to_chars(first, first + kDigits, number).ptr - first);
}

void LineText::appendNumber(std::uint64_t number) {
    finish();
    char* const first = room(kDigits);
    m_size += static_cast<std::size_t>(std::to_chars(first, first + kDigits, number).ptr - first);
}

void LineText::take(LineText& other) {
    if (other.m_size != 0) {
        finish();
        put(other.bytes());
        other.m_size = 0;
    }
    if (other.m_highSurrogate != 0) {
        finish();
        m_highSurrogate = other.m_highSurrogate;
        other.m_highSurrogate = 0;
    }
}

void LineText::prependLineFeed() {
    (void)room(1);
    std::memmove(m_bytes.get() + 1, m_bytes.get(), m_size);
    m_bytes[0] = '\n';
    ++m_size;
}

void LineText::replaceHalf() {
    m_highSurrogate = 0;
    appendCharacter(kReplacement);
}

void LineText::appendCharacter(std::uint32_t character) {
    std::string encoded;
    platform::utf8::append(character, encoded);
    put(encoded);
}

void LineText::put(std::string_view bytes) {
    if (bytes.empty()) {
        // Perhaps without an address, which not even a copy of nothing may be made from.
        return;
    }
    std::memcpy(room(bytes.size()), bytes.data(), bytes.size());
    m_size += bytes.size();
}

void LineText::grow(std::size_t count) {
    const std::size_t wanted = std::max<std::size_t>({2 * m_capacity, m_size + count, 512});
    std::unique_ptr<char[]> larger(new char[wanted]);
    if (m_size != 0) {
        std::memcpy(larger.get(), m_bytes.get(), m_size);
    }
    m_bytes = std::move(larger);
    m_capacity = wanted;
}

}  // namespace Tallowmere
