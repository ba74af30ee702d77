#include "Terminal.h"

#include <fcntl.h>
#include <io.h>
#include <kest/kest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "kest/platform/Win32.h"

namespace Tallowmere::command {
namespace {

// The run-time writes wide text to a console as it is and to a file or pipe as UTF-8.
bool write(const std::wstring& text, std::FILE* stream) {
    const int before = _setmode(_fileno(stream), _O_U8TEXT);
    const bool isDone = std::fputws(text.c_str(), stream) >= 0 && std::fflush(stream) == 0;
    _setmode(_fileno(stream), before);
    return isDone;
}

OutputFailed outputFailed() {
    const std::string text = std::strerror(errno);
    return OutputFailed(std::wstring(text.begin(), text.end()));
}

}  // namespace

void say(const std::wstring& text) {
    if (!write(text, stdout)) {
        throw outputFailed();
    }
}

void sayBytes(const std::string& bytes) {
    // A console shows no bytes as they are.
    say(fromNative(bytes));
}

void complain(const std::wstring& text) {
    (void)write(text, stderr);
}

std::FILE* openForWriting(const std::wstring& path) {
    std::FILE* const file = _wfopen(path.c_str(), L"wN");
    return file;
}

bool isErrorTerminal() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != FALSE;
}

bool understandsSequences() {
    const HANDLE console = GetStdHandle(STD_ERROR_HANDLE);
    DWORD mode = 0;
    // A console that does not know them refuses to be told that it should.
    return GetConsoleMode(console, &mode) != FALSE &&
           SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != FALSE;
}

bool isInForeground() {
    return true;
}

std::size_t terminalWidth() {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    constexpr std::size_t kUsual = 80;
    return GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &info) && info.dwSize.X > 0
               ? static_cast<std::size_t>(info.dwSize.X)
               : kUsual;
}

}  // namespace Tallowmere::command
