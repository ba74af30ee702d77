// What a process knows of its own surroundings: where it works, its environment, its program.

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <string>
#include <string_view>

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

char lowerCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

/// The value behind "NAME=" of an entry of the environment; null for another name.
const char* valueIn(const char* entry, std::string_view name, bool anyCase) {
    const char* const end = std::strchr(entry, '=');
    if (end == nullptr || static_cast<std::size_t>(end - entry) != name.size()) {
        return nullptr;
    }
    const bool same = std::equal(name.begin(), name.end(), entry, [&](char left, char right) {
        return anyCase ? lowerCase(left) == lowerCase(right) : left == right;
    });
    return same ? end + 1 : nullptr;
}

/// Here two names may differ in case alone, so the very name is preferred.
const char* findVariable(std::string_view name) {
    for (const bool anyCase : {false, true}) {
        for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
            if (const char* const value = valueIn(*entry, name, anyCase)) {
                return value;
            }
        }
    }
    return nullptr;
}

/// Our choice: a backslash of a value stays one, although a file name may hold it here. A value is
/// text first of all, such as "C:\\Windows;C:\\Tools".
std::wstring widenValue(const char* value) {
    std::wstring text = names::widen(value);
    std::replace(text.begin(), text.end(), L'\xF05C', L'\\');
    return text;
}

/// The file of this process's program; an errno value when the system cannot tell.
int findProgramFile(std::string& path) {
    char target[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", target, sizeof target);
    if (length < 0) {
        return errno;
    }
    if (static_cast<std::size_t>(length) == sizeof target) {
        return ENAMETOOLONG;
    }
    path.assign(target, static_cast<std::size_t>(length));
    // The system's mark of a program that has been removed or replaced since it was started. Its
    // path is still the one under which it was.
    constexpr std::string_view kMark = " (deleted)";
    if (path.size() > kMark.size() &&
        path.compare(path.size() - kMark.size(), kMark.size(), kMark) == 0 &&
        access(path.c_str(), F_OK) != 0) {
        path.resize(path.size() - kMark.size());
    }
    return 0;
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

DWORD GetEnvironmentVariableW(const wchar_t* name, wchar_t* buffer, DWORD size) {
    DWORD result = 0;
    (void)succeeds([&]() -> DWORD {
        std::string native;
        if (name == nullptr || *name == L'\0' || !names::narrow(name, native)) {
            return ERROR_ENVVAR_NOT_FOUND;
        }
        const char* const value = findVariable(native);
        if (value == nullptr) {
            return ERROR_ENVVAR_NOT_FOUND;
        }
        result = handOut(widenValue(value), buffer, size);
        if (result == 0) {
            // The only way to tell an empty value from none.
            os().SetLastError(ERROR_SUCCESS);
        }
        return ERROR_SUCCESS;
    });
    return result;
}

DWORD GetModuleFileNameW(HMODULE module, wchar_t* buffer, DWORD size) {
    DWORD result = 0;
    (void)succeeds([&]() -> DWORD {
        // The library asks for the program alone.
        if (module != nullptr) {
            return ERROR_MOD_NOT_FOUND;
        }
        std::string native;
        const int error = findProgramFile(native);
        if (error != 0) {
            return errorFromErrno(error);
        }
        const std::wstring path = names::widen(native);
        if (path.size() < size) {
            std::wmemcpy(buffer, path.c_str(), path.size() + 1);
            result = static_cast<DWORD>(path.size());
            return ERROR_SUCCESS;
        }
        // Unlike the others this call cuts the text, and tells so by the last error alone.
        if (size != 0) {
            std::wmemcpy(buffer, path.c_str(), size - 1);
            buffer[size - 1] = L'\0';
        }
        result = size;
        return ERROR_INSUFFICIENT_BUFFER;
    });
    return result;
}

}  // namespace Tallowmere::platform::standin
