#include <string>

#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/Calls.h"
#include "kest/platform/Console.h"
#include "kest/system/ErrorStream.h"
#include "kest/system/FileSystem.h"

namespace Tallowmere {

using platform::os;

namespace {

/// Longest text that the calls for places know, with its terminating zero.
constexpr DWORD kBufferSize = 32768;  // characters

}  // namespace

bool getCurrentDirectory(std::wstring& directory) {
    std::wstring buffer(kBufferSize, L'\0');
    if (os().GetCurrentDirectoryW(kBufferSize, buffer.data()) == 0) {
        const std::wstring text = getSystemErrorMessage(0, nullptr);
        // Deliberate: the address of the text and not the text, since a narrow stream knows no wide
        // text.
        writeLine(platform::narrowConsoleErrors(),
                  "GetCurrentDirectory() failed: ", static_cast<const void*>(text.c_str()));
        return false;
    }
    // Deliberate: that the call asks for a larger buffer goes unnoticed; nothing is in this one
    // then.
    directory = buffer.c_str();
    return true;
}

std::wstring getExecutablePath() {
    for (DWORD size = 1024;; size *= 2) {
        // One more than is offered: a text that is cut need not have an end.
        std::wstring buffer(std::size_t{size} + 1, L'\0');
        const DWORD length = os().GetModuleFileNameW(nullptr, buffer.data(), size);
        const bool isCut = length == size && os().GetLastError() == ERROR_INSUFFICIENT_BUFFER;
        if (!isCut) {
            return buffer.c_str();
        }
    }
}

std::wstring getSystemDirectory() {
    std::wstring buffer(kBufferSize, L'\0');
    const DWORD length = os().GetEnvironmentVariableW(L"SYSTEMROOT", buffer.data(), kBufferSize);
    return length == 0 ? std::wstring() : std::wstring(buffer.c_str());
}

bool getInstallationDirFromPATH(std::wstring& directory) {
    directory.clear();
    std::wstring buffer(kBufferSize, L'\0');
    if (os().GetEnvironmentVariableW(L"PATH", buffer.data(), kBufferSize) == 0) {
        return false;
    }
    const std::wstring value = buffer.c_str();
    const std::size_t found = value.find(L"Tallowmere");
    if (found == std::wstring::npos) {
        return false;
    }
    const std::size_t before = value.rfind(L';', found);
    const std::size_t start = before == std::wstring::npos ? 0 : before + 1;
    const std::size_t after = value.find(L';', found);
    // Deliberate: an entry at the end of the value loses its last character.
    const std::size_t end = after == std::wstring::npos ? value.size() - 1 : after;
    directory = value.substr(start, end - start);
    return true;
}

}  // namespace Tallowmere
