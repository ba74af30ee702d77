#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Text on its way to a console window, which takes UTF-16 as it is.
namespace Tallowmere::platform::console {

/// The text with each half of a pair of surrogates replaced by U+FFFD.
std::wstring wellFormed(std::wstring_view text);

/// The same with a carriage return in front of each line feed, as the C streams write it: some
/// programs tell the console that a line feed alone only goes down.
std::wstring withLineEnds(std::wstring_view text);

/// How much of a text can be written at once: older consoles take no more than 64 KiB. No pair of
/// surrogates is parted.
std::size_t firstPiece(std::wstring_view text);

}  // namespace Tallowmere::platform::console
