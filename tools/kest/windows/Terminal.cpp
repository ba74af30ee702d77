#include "Terminal.h"

#include <fcntl.h>
#include <io.h>

#include <cwchar>

namespace Tallowmere::command {
namespace {

// The run-time writes wide text to a console as it is and to a file or pipe as UTF-8.
void write(const std::wstring& text, std::FILE* stream) {
    const int before = _setmode(_fileno(stream), _O_U8TEXT);
    std::fputws(text.c_str(), stream);
    std::fflush(stream);
    _setmode(_fileno(stream), before);
}

}  // namespace

void say(const std::wstring& text) {
    write(text, stdout);
}

void complain(const std::wstring& text) {
    write(text, stderr);
}

std::FILE* openForWriting(const std::wstring& path) {
    std::FILE* const file = _wfopen(path.c_str(), L"wN");
    return file;
}

}  // namespace Tallowmere::command
