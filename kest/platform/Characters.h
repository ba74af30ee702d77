#pragma once

/// The wide character classes of the Windows C runtime, which knows all of Unicode whatever the
/// locale is. On other systems the same answers come from the system's Unicode tables.
namespace Tallowmere::platform {

/// iswspace as Windows answers it.
bool isSpaceCharacter(wchar_t c);

/// iswalpha as Windows answers it.
bool isLetter(wchar_t c);

}  // namespace Tallowmere::platform
