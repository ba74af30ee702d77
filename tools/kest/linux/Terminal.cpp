#include "Terminal.h"

#include <kest/kest.h>

namespace Tallowmere::command {
namespace {

void write(const std::wstring& text, std::FILE* stream) {
    const std::string bytes = toNative(text);
    std::fwrite(bytes.data(), 1, bytes.size(), stream);
    std::fflush(stream);
}

}  // namespace

void say(const std::wstring& text) {
    write(text, stdout);
}

void complain(const std::wstring& text) {
    write(text, stderr);
}

std::FILE* openForWriting(const std::wstring& path) {
    return std::fopen(toNative(path).c_str(), "we");
}

}  // namespace Tallowmere::command
