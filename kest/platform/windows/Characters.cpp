#include "kest/platform/Characters.h"

#include <cctype>
#include <cwctype>

namespace Tallowmere::platform {

bool isSpaceCharacter(wchar_t c) {
    return std::iswspace(c) != 0;
}

bool isLetter(wchar_t c) {
    return std::iswalpha(c) != 0;
}

unsigned int lowerNarrow(wchar_t c) {
    // This runtime's tolower takes any 16-bit value, in its own way: under a host's locale it may
    // change more than the first 256.
    return static_cast<unsigned int>(std::tolower(static_cast<int>(c)));
}

void lowerNarrow(wchar_t* text, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        text[i] = static_cast<wchar_t>(lowerNarrow(text[i]));
    }
}

}  // namespace Tallowmere::platform
