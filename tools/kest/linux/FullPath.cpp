#include "FullPath.h"

#include <algorithm>

namespace Tallowmere::command {

std::wstring fullPath(const std::wstring& path) {
    return path;
}

std::wstring plainText(const std::wstring& argument) {
    // What an argument's backslash has become on its way here (see kest/text/NativeText.h).
    constexpr wchar_t kBackslashInName = 0xF05C;
    std::wstring text = argument;
    std::replace(text.begin(), text.end(), kBackslashInName, L'\\');
    return text;
}

}  // namespace Tallowmere::command
