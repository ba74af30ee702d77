#include "kest/platform/ConsoleFile.h"

#include <fcntl.h>
#include <io.h>

#include <string>

#include "kest/platform/Utf8.h"
#include "kest/platform/Win32.h"
#include "kest/platform/windows/ConsoleText.h"

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

void writeToConsole(HANDLE console, std::wstring_view text) {
    const std::wstring lines = withLineEnds(text);
    for (std::wstring_view rest = lines; !rest.empty();) {
        const std::size_t count = firstPiece(rest);
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
