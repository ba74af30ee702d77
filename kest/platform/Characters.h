#pragma once

#include <cstddef>

/// The character classes of the Windows C runtime, which knows all of Unicode whatever the locale
/// is, and its narrow lowering, which does follow the host's locale. Elsewhere the same answers
/// come from tables of our own and the system's C library.
namespace Tallowmere::platform {

/// iswspace as Windows answers it.
bool isSpaceCharacter(wchar_t c);

/// iswalpha as Windows answers it.
bool isLetter(wchar_t c);

/// The value of `c` after the narrow `tolower`, in the host's locale. A value for which the
/// system's `tolower` has no meaning comes back as it is.
unsigned int lowerNarrow(wchar_t c);

/// The same for each of `count` units from `text` on, of which 16 bits are kept.
void lowerNarrow(wchar_t* text, std::size_t count);

}  // namespace Tallowmere::platform
