#pragma once

#include <cstdint>
#include <string>

/// Texts for a person's eyes.
namespace Tallowmere::command {

/// Without characters that would direct a terminal: others choose names, and none may move the
/// cursor or begin a line. Blanks stand for them.
std::wstring printable(std::wstring text);

/// "1,234,567"
std::wstring grouped(std::uint64_t number);

/// "1 file", "2 files"
std::wstring counted(std::uint64_t number, const wchar_t* one, const wchar_t* many);

/// "999 bytes", "1.0 KiB", "12.3 MiB"
std::wstring readableSize(std::uint64_t bytes);

}  // namespace Tallowmere::command
