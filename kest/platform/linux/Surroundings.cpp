// What a process knows of its own surroundings: where it works.

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cwchar>
#include <memory>
#include <string>

#include "kest/platform/linux/Errno.h"
#include "kest/platform/linux/Names.h"
#include "kest/platform/linux/Place.h"
#include "kest/platform/linux/Standins.h"

namespace Tallowmere::platform::standin {
namespace {

/// Hands out a text by the rule of these calls: the length without the terminating zero when it
/// fits; else the size that it needs, with it, and nothing is written.
DWORD handOut(const std::wstring& text, wchar_t* buffer, DWORD size) {
    const auto length = static_cast<DWORD>(text.size());
    if (length >= size) {
        return length + 1;
    }
    std::wmemcpy(buffer, text.c_str(), text.size() + 1);
    return length;
}

}  // namespace

DWORD GetCurrentDirectoryW(DWORD size, wchar_t* buffer) {
    DWORD result = 0;
    (void)succeeds([&]() -> DWORD {
        const std::unique_ptr<char, decltype(&std::free)> directory(getcwd(nullptr, 0), &std::free);
        if (directory == nullptr) {
            return errorFromErrno(errno);
        }
        if (directory.get()[0] != '/') {
            // Outside of what this process can reach by a path.
            return ERROR_FILE_NOT_FOUND;
        }
        result = handOut(names::widen(directory.get()), buffer, size);
        return ERROR_SUCCESS;
    });
    return result;
}

}  // namespace Tallowmere::platform::standin
