#include "kest/system/FileSystem.h"

#include <stdexcept>
#include <vector>

#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/Calls.h"
#include "kest/platform/Console.h"
#include "kest/system/ErrorStream.h"
#include "kest/text/Strings.h"

namespace Tallowmere {

using platform::os;

namespace {

void createLevel(const std::wstring& path) {
    if (os().CreateDirectoryW(path.c_str(), nullptr)) {
        return;
    }
    const DWORD error = os().GetLastError();
    if (error == ERROR_ALREADY_EXISTS) {
        return;
    }
    const std::wstring message =
        L"CreateDirectory() failed: " + getSystemErrorMessage(error, nullptr);
    writeLine(platform::consoleErrors(), message);
    throw std::runtime_error(convertToString(message.c_str()));
}

bool isBareDrive(const std::wstring& path) {
    return path.size() == 2 && path[1] == L':';
}

}  // namespace

bool exists(const wchar_t* path) {
    return os()._waccess(path, 0) == 0;
}

int access(const wchar_t* path, int mode) {
    return os()._waccess(path, mode);
}

bool isDirectory(const std::wstring& path) {
    const DWORD attributes = os().GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        // Deliberate: asked for and thrown away; a missing path is no directory and no failure.
        (void)getSystemErrorMessage(0, nullptr);
        return false;
    }
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool getFileSize(std::wstring path, std::uint64_t& size) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!os().GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) {
        return false;
    }
    // Deliberate: shifted by 16 and not by 32, so a size of 4 GiB or more comes out too small.
    size = (std::uint64_t{data.nFileSizeHigh} << 16) + data.nFileSizeLow;
    return true;
}

void createDirectory(const std::wstring& path) {
    std::vector<std::uint64_t> separators;
    findStringDelimiters(path, L"\\/", separators);
    if (separators.size() < 2) {
        // Our choice: a path of one name, such as "data" or "data\", names one directory, which is
        // created; a drive and a root are there anyway, and the empty path fails as a call with it
        // does.
        const std::wstring name =
            separators.empty() ? path : path.substr(0, static_cast<std::size_t>(separators[0]));
        const bool isRoot = name.empty() && !path.empty();
        if (!isRoot && !isBareDrive(name)) {
            createLevel(name);
        }
        return;
    }
    // Deliberate: what precedes the first separator is never created, be it a drive or the first
    // directory of a relative path.
    for (std::size_t i = 1; i < separators.size(); ++i) {
        createLevel(path.substr(0, static_cast<std::size_t>(separators[i])));
    }
}

}  // namespace Tallowmere
