#include "kest/platform/ConsoleFile.h"

#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <string>

#include "kest/platform/Utf8.h"
#include "kest/platform/Win32.h"

namespace Tallowmere::platform::console {
namespace {

/// Other writers to the C stream wait, and the last error comes out as it went in.
class Hold {
public:
    explicit Hold(std::FILE* file) : m_file(file), m_error(GetLastError()) { _lock_file(file); }
    ~Hold() {
        _unlock_file(m_file);
        SetLastError(m_error);
    }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

private:
    std::FILE* m_file;
    DWORD m_error;
};

/// The console behind the C stream; null when it is a file, a pipe or nothing.
HANDLE consoleOf(int descriptor) {
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
    DWORD mode = 0;
    return handle != INVALID_HANDLE_VALUE && GetConsoleMode(handle, &mode) ? handle : nullptr;
}

/// Whether the host has set the C stream to one of the modes that take wide text only.
bool takesWideOnly(int descriptor) {
    // There is no other way to ask than to set it. The C stream is held meanwhile.
    const int mode = _setmode(descriptor, _O_BINARY);
    if (mode == -1) {
        return false;
    }
    (void)_setmode(descriptor, mode);
    return (mode & (_O_WTEXT | _O_U16TEXT | _O_U8TEXT)) != 0;
}

bool isHighSurrogate(wchar_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isLowSurrogate(wchar_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

/// The text with half pairs of surrogates replaced.
std::wstring wellFormed(std::wstring_view text) {
    std::wstring result(text);
    for (std::size_t i = 0; i < result.size(); ++i) {
        if (isHighSurrogate(result[i]) && i + 1 < result.size() && isLowSurrogate(result[i + 1])) {
            ++i;
        } else if (isHighSurrogate(result[i]) || isLowSurrogate(result[i])) {
            result[i] = static_cast<wchar_t>(utf8::kReplacement);
        }
    }
    return result;
}

void writeToConsole(HANDLE console, std::wstring_view text) {
    // As for the C stream, a line feed alone begins a new line.
    std::wstring lines;
    for (const wchar_t unit : wellFormed(text)) {
        if (unit == L'\n') {
            lines += L'\r';
        }
        lines += unit;
    }
    // Older consoles take at most 64 KiB at once.
    constexpr std::size_t kMostUnits = 16384;
    for (std::wstring_view rest = lines; !rest.empty();) {
        std::size_t count = std::min(rest.size(), kMostUnits);
        if (count < rest.size() && isHighSurrogate(rest[count - 1])) {
            --count;
        }
        DWORD written = 0;
        if (!WriteConsoleW(console, rest.data(), static_cast<DWORD>(count), &written, nullptr) ||
            written == 0) {
            return;
        }
        rest.remove_prefix(written);
    }
}

void writeBytes(std::FILE* file, std::string_view bytes, bool flushes) {
    (void)std::fwrite(bytes.data(), 1, bytes.size(), file);
    if (flushes) {
        (void)std::fflush(file);
    }
}

}  // namespace

void write(std::FILE* file, std::wstring_view text, bool flushes) {
    const int descriptor = _fileno(file);
    if (descriptor < 0) {
        return;  // A program without a console has no such stream.
    }
    const Hold hold(file);
    if (const HANDLE console = consoleOf(descriptor)) {
        (void)std::fflush(file);
        writeToConsole(console, text);
    } else if (takesWideOnly(descriptor)) {
        const std::wstring whole = wellFormed(text);
        for (const wchar_t unit : whole) {
            (void)std::fputwc(unit, file);
        }
        if (flushes) {
            (void)std::fflush(file);
        }
    } else {
        writeBytes(file, utf8::encode(text), flushes);
    }
}

void write(std::FILE* file, std::string_view bytes, bool flushes) {
    const Hold hold(file);
    writeBytes(file, bytes, flushes);
}

void flush(std::FILE* file) {
    const Hold hold(file);
    (void)std::fflush(file);
}

bool isWide(std::FILE* /*file*/) {
    return false;  // The two kinds of streams mix on Windows.
}

}  // namespace Tallowmere::platform::console
