#include "FullPath.h"

#include <cstdlib>
#include <memory>

namespace Tallowmere::command {
namespace {

bool isSeparator(wchar_t c) {
    return c == L'\\' || c == L'/';
}

struct Free {
    void operator()(wchar_t* text) const { std::free(text); }
};

}  // namespace

// The library removes a directory under the prefix "\\?\", behind which the system takes a path
// literally: it must be full, with single backslashes and none at the end.
std::wstring fullPath(const std::wstring& path) {
    // A bare drive is the library's word for the drive's root; two separators begin a share or a
    // path that is literal already.
    const bool isDrive = path.size() == 2 && path[1] == L':';
    const bool isLiteral = path.size() >= 2 && isSeparator(path[0]) && isSeparator(path[1]);
    if (isDrive || isLiteral) {
        return path;
    }
    const std::unique_ptr<wchar_t, Free> buffer(_wfullpath(nullptr, path.c_str(), 0));
    if (!buffer) {
        return path;
    }
    std::wstring full = buffer.get();
    while (full.size() > 3 && isSeparator(full.back())) {
        full.pop_back();
    }
    return full;
}

std::wstring plainText(const std::wstring& argument) {
    return argument;
}

}  // namespace Tallowmere::command
