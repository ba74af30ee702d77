#include "kest/platform/Characters.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdint>
#include <iterator>

#include "kest/platform/linux/LetterRanges.h"

// The C library's own classes would not do: in its "C" locale they know ASCII only, and in every
// other one a no-break space is no space while digits and combining marks are letters.
namespace Tallowmere::platform {
namespace {

std::uint32_t value(wchar_t c) {
    return static_cast<std::uint32_t>(c);
}

}  // namespace

bool isSpaceCharacter(wchar_t c) {
    const std::uint32_t v = value(c);
    if (v > 0x20 && v < 0xA0) {
        return false;
    }
    return (v >= 0x09 && v <= 0x0D) || v == 0x20 || v == 0xA0 || v == 0x1680 ||
           (v >= 0x2000 && v <= 0x200A) || v == 0x2028 || v == 0x2029 || v == 0x202F ||
           v == 0x205F || v == 0x3000;
}

bool isLetter(wchar_t c) {
    const std::uint32_t v = value(c);
    if (v < 0x80) {
        return (v | 0x20) - 'a' <= 'z' - 'a';
    }
    // Our choice: nothing above U+FFFF is a letter. On Windows such a character is two surrogates,
    // neither of which is one, and a text should be judged alike on both systems.
    const LetterRange* const range = std::lower_bound(
        std::begin(kLetterRanges), std::end(kLetterRanges), v,
        [](const LetterRange& r, std::uint32_t sought) { return r.last < sought; });
    return range != std::end(kLetterRanges) && v >= range->first;
}

unsigned int lowerNarrow(wchar_t c) {
    const std::uint32_t v = value(c);
    // Beyond the unsigned characters this library's tolower reads outside its table.
    return v > UCHAR_MAX ? v : static_cast<unsigned int>(std::tolower(static_cast<int>(v)));
}

void lowerNarrow(wchar_t* text, std::size_t count) {
    // What tolower looks at each time: the table of the calling thread's locale.
    const std::int32_t* const table = *__ctype_tolower_loc();
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t v = value(text[i]);
        const std::uint32_t lower = v > UCHAR_MAX ? v : static_cast<std::uint32_t>(table[v]);
        text[i] = static_cast<wchar_t>(lower & 0xFFFF);
    }
}

}  // namespace Tallowmere::platform
