#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// What text from a trace is made into before it is written somewhere. It may hold anything: names
/// come from whoever could make a file.
namespace Tallowmere::command::trace {

/// One character of UTF-8.
struct Character {
    std::uint32_t value;
    /// How many bytes it takes.
    std::size_t size;
    /// False for a byte that begins no character; `value` is then the byte and `size` 1.
    bool isValid;
};

/// The character at the beginning of `text`, which is not empty.
Character firstCharacter(std::string_view text);

/// Whether a terminal or a page could take the character for an order, or show the text around it
/// in another order: control characters, and those that set the direction of text or end lines. Or
/// show nothing at all: those of private use, which stand for bytes that are no text in names.
bool isControl(std::uint32_t character);

/// Appends `text` for a terminal: each control character but the tab, and each byte that is none of
/// a character, as an escape that shows what it is: "\x1b", "\u202e".
void appendShown(std::string& out, std::string_view text);

/// Appends `text` as a string of JSON, quotes included. Control characters are escaped, and a byte
/// that is none of a character becomes U+FFFD. With `isInPage` no character is left that means
/// something to HTML.
void appendJson(std::string& out, std::string_view text, bool isInPage = false);

/// Whether `text` is UTF-8 as it should be.
bool isUtf8(std::string_view text);

/// Appends the two digits of each byte.
void appendHex(std::string& out, std::string_view bytes);

/// Whether `part` stands somewhere in `text`, letters from A to Z being the same as small ones.
bool contains(std::string_view text, std::string_view part);

/// Whether the two are the same but for the case of letters from A to Z.
bool isSame(std::string_view left, std::string_view right);

/// How many columns a terminal needs for it, near enough: its characters.
std::size_t widthOf(std::string_view text);

/// "1,234,567"
std::string grouped(std::uint64_t number);

}  // namespace Tallowmere::command::trace
