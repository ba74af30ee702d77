#include "kest/platform/windows/testing/UnixSide.h"

#include <stdexcept>

#include "kest/platform/testing/TempTree.h"
#include "kest/platform/windows/Handle.h"

namespace Tallowmere::platform::testing {
namespace {

/// Tells when something changes in a directory.
class Change {
public:
    explicit Change(const std::wstring& path)
        : m_handle(
              ::FindFirstChangeNotificationW(path.c_str(), FALSE, FILE_NOTIFY_CHANGE_FILE_NAME)) {
        if (m_handle == INVALID_HANDLE_VALUE) {
            throw std::runtime_error("FindFirstChangeNotification");
        }
    }
    ~Change() { ::FindCloseChangeNotification(m_handle); }
    Change(const Change&) = delete;
    Change& operator=(const Change&) = delete;

    void wait() const {
        // A change may be told late or not at all, so it is looked again from time to time.
        (void)::WaitForSingleObject(m_handle, 20);
        (void)::FindNextChangeNotification(m_handle);
    }

private:
    HANDLE m_handle;
};

}  // namespace

std::string unixPath(const std::wstring& path) {
    using Call = char*(CDECL*)(const wchar_t*);
    const auto convert = reinterpret_cast<Call>(reinterpret_cast<void*>(
        ::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name")));
    char* const found = convert == nullptr ? nullptr : convert(path.c_str());
    if (found == nullptr) {
        throw std::runtime_error("no Unix path");
    }
    const std::string result = found;
    ::HeapFree(::GetProcessHeap(), 0, found);
    return result;
}

void runOnUnix(const std::string& program, const std::vector<std::string>& arguments) {
    // A Unix program is no process that could be waited for, and has none of our pipes. So it
    // leaves its result in a file, which appears whole.
    const TempTree place;
    const Change change(place.wide("."));
    const std::string result = unixPath(place.wide(".")) + "/result";
    std::string command = "{ " + program;
    for (const std::string& argument : arguments) {
        command += " '" + argument + "'";
    }
    command += "; echo $?; } >'" + result + ".new' 2>&1; mv '" + result + ".new' '" + result + "'";
    std::wstring line = L"sh -c \"" + std::wstring(command.begin(), command.end()) + L"\"";
    STARTUPINFOW start{};
    start.cb = sizeof start;
    PROCESS_INFORMATION process{};
    if (!::CreateProcessW(L"Z:\\bin\\sh", line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                          &start, &process)) {
        throw std::runtime_error("CreateProcess /bin/sh");
    }
    while (!place.exists("result")) {
        change.wait();
    }
    if (place.read("result") != "0\n") {
        throw std::runtime_error(program + ": " + place.read("result"));
    }
}

}  // namespace Tallowmere::platform::testing
