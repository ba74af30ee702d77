#pragma once

#include <locale>

namespace Tallowmere {

/// The classic locale, except that narrow text is widened byte by byte: the byte 0xE9 becomes
/// U+00E9 on every system. (The classic locale of some systems has no wide character for a byte
/// beyond ASCII; there a wide stream would go bad at such a byte and stay so.) Numbers are never
/// grouped, whatever locale the host has made the global one.
const std::locale& traceLocale();

}  // namespace Tallowmere
