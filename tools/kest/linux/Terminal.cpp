#include "Terminal.h"

#include <kest/kest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace Tallowmere::command {
namespace {

bool write(const std::string& bytes, std::FILE* stream) {
    return std::fwrite(bytes.data(), 1, bytes.size(), stream) == bytes.size() &&
           std::fflush(stream) == 0;
}

}  // namespace

void say(const std::wstring& text) {
    sayBytes(toNative(text));
}

void sayBytes(const std::string& bytes) {
    if (!write(bytes, stdout)) {
        throw OutputFailed(fromNative(std::strerror(errno)));
    }
}

void complain(const std::wstring& text) {
    (void)write(toNative(text), stderr);
}

// GCC's analyzer takes a file for lost that is handed to the caller past a text's destructor.
#ifndef __clang__
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wanalyzer-file-leak"
#endif
std::FILE* openForWriting(const std::wstring& path) {
    return std::fopen(toNative(path).c_str(), "we");
}
#ifndef __clang__
#pragma GCC diagnostic pop
#endif

bool isErrorTerminal() {
    const char* const kind = std::getenv("TERM");
    return isatty(STDERR_FILENO) != 0 && kind != nullptr && std::strcmp(kind, "dumb") != 0;
}

bool understandsSequences() {
    return isErrorTerminal();
}

bool isInForeground() {
    return tcgetpgrp(STDERR_FILENO) == getpgrp();
}

std::size_t terminalWidth() {
    struct winsize size {};
    constexpr std::size_t kUsual = 80;
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : kUsual;
}

}  // namespace Tallowmere::command
