#pragma once

#include <cstdio>
#include <string_view>

/// How text reaches a C stream behind the back of the C++ streams. The last error, and errno, are
/// left alone; what cannot be written is lost.
namespace Tallowmere::platform::console {

/// Writes `text` in one piece: as UTF-8, or in the way in which a window for text wants it.
/// `flushes`: it does not stay behind in the C stream.
void write(std::FILE* file, std::wstring_view text, bool flushes);

/// The same with bytes, which are not looked at.
void write(std::FILE* file, std::string_view bytes, bool flushes);

void flush(std::FILE* file);

/// Whether a narrow stream over this C stream is mute because a wide one has written.
bool isWide(std::FILE* file);

}  // namespace Tallowmere::platform::console
