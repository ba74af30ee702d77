// Starting programs. The command line is read by the rules of Windows (see CommandLine.h); the
// program is looked for as Linux does.

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kest/platform/HandleTable.h"
#include "kest/platform/NativeText.h"
#include "kest/platform/linux/Closing.h"
#include "kest/platform/linux/CommandLine.h"
#include "kest/platform/linux/Errno.h"
#include "kest/platform/linux/Launch.h"
#include "kest/platform/linux/Names.h"
#include "kest/platform/linux/Place.h"
#include "kest/platform/linux/Standins.h"

namespace Tallowmere::platform::standin {
namespace {

/// With its terminating zero.
constexpr std::size_t kLongestCommandLine = 32767;

/// Behind every handle of a process or a thread: there is nothing that could be done with one but
/// to close it.
char g_nothing;

/// A handle that is given back unless it was taken.
class Issued {
public:
    explicit Issued(HandleKind kind) : m_kind(kind), m_handle(issueHandle(kind, &g_nothing)) {}
    ~Issued() {
        if (isThere()) {
            (void)retireHandle(m_handle, m_kind);
        }
    }
    Issued(const Issued&) = delete;
    Issued& operator=(const Issued&) = delete;
    bool isThere() const { return m_handle != INVALID_HANDLE_VALUE; }
    HANDLE take() { return std::exchange(m_handle, INVALID_HANDLE_VALUE); }

private:
    HandleKind m_kind;
    HANDLE m_handle;
};

/// ERROR_SUCCESS when a program can be started from the file at `path`, as far as its name tells.
DWORD checkProgram(const std::string& path, bool mustBeExecutable) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return errno == EACCES ? ERROR_ACCESS_DENIED : ERROR_FILE_NOT_FOUND;
    }
    if (S_ISDIR(status.st_mode)) {
        return ERROR_ACCESS_DENIED;
    }
    return mustBeExecutable && access(path.c_str(), X_OK) != 0 ? ERROR_ACCESS_DENIED
                                                               : ERROR_SUCCESS;
}

/// The folders in which programs are looked for, separated by colons.
std::string searchPath() {
    const char* const path = std::getenv("PATH");
    if (path != nullptr) {
        return path;
    }
    char usual[256];
    const std::size_t length = confstr(_CS_PATH, usual, sizeof usual);
    return length > 0 && length <= sizeof usual ? usual : "/bin:/usr/bin";
}

/// Finds the file for a program's name. Our choice: a name without a separator is looked for in the
/// folders of the search path alone, as every Linux program does; whoever can write into the
/// current directory should not choose the programs that run. Nothing is appended to a name.
DWORD findProgram(const std::wstring& name, std::string& file) {
    std::string native;
    if (names::toNativePath(name.c_str(), native) != ERROR_SUCCESS) {
        return ERROR_FILE_NOT_FOUND;
    }
    if (native.find('/') != std::string::npos) {
        file = native;
        return checkProgram(file, false);
    }
    DWORD result = ERROR_FILE_NOT_FOUND;
    const std::string folders = searchPath();
    for (std::size_t start = 0; start <= folders.size();) {
        const std::size_t end = std::min(folders.find(':', start), folders.size());
        const std::string folder = folders.substr(start, end - start);
        file = folder.empty() ? "." : folder;
        file.append("/").append(native);
        const DWORD error = checkProgram(file, true);
        if (error == ERROR_SUCCESS) {
            return error;
        }
        if (error == ERROR_ACCESS_DENIED) {
            result = error;
        }
        start = end + 1;
    }
    return result;
}

/// The candidate whose file is there. When none is, the error is what is wrong with the first.
DWORD chooseProgram(std::wstring_view line, commandline::Candidate& chosen, std::string& file) {
    DWORD result = ERROR_SUCCESS;
    for (commandline::Candidate& candidate : commandline::candidates(line, PATH_MAX)) {
        const DWORD error = findProgram(candidate.program, file);
        if (error == ERROR_SUCCESS) {
            chosen = std::move(candidate);
            return ERROR_SUCCESS;
        }
        if (result == ERROR_SUCCESS) {
            result = error;
        }
    }
    return result == ERROR_SUCCESS ? ERROR_FILE_NOT_FOUND : result;
}

DWORD errorOfLaunch(int error) {
    switch (error) {
        case EAGAIN:
            return ERROR_NO_PROC_SLOTS;
        case ENOENT:
        case ENOTDIR:
            // Also when it is the interpreter of a script that is missing.
            return ERROR_FILE_NOT_FOUND;
        default:
            return errorFromErrno(error);
    }
}

DWORD start(std::wstring_view line, PROCESS_INFORMATION& information) {
    if (line.size() >= kLongestCommandLine) {
        return ERROR_FILENAME_EXCED_RANGE;
    }
    commandline::Candidate chosen;
    std::string file;
    const DWORD error = chooseProgram(line, chosen, file);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    std::vector<std::string> arguments = {narrowNative(chosen.name)};
    for (const std::wstring& argument :
         commandline::splitArguments(line.substr(chosen.arguments))) {
        arguments.push_back(narrowNative(argument));
    }
    // First of all what could still fail when the program already runs.
    Issued process(HandleKind::Process);
    Issued thread(HandleKind::Thread);
    if (!process.isThere() || !thread.isThere()) {
        return ERROR_NO_SYSTEM_RESOURCES;
    }
    pid_t number = 0;
    const DWORD launched = errorOfLaunch(launch(file, arguments, number));
    if (launched == ERROR_SUCCESS) {
        // A process's first thread has the process's number here.
        information = {process.take(), thread.take(), static_cast<DWORD>(number),
                       static_cast<DWORD>(number)};
    }
    return launched;
}

}  // namespace

BOOL CreateProcessW(const wchar_t* program, wchar_t* commandLine,
                    SECURITY_ATTRIBUTES* processSecurity, SECURITY_ATTRIBUTES* threadSecurity,
                    BOOL inheritHandles, DWORD flags, void* environment, const wchar_t* directory,
                    STARTUPINFOW* startUp, PROCESS_INFORMATION* process) {
    return succeeds([&]() -> DWORD {
        if (startUp == nullptr || process == nullptr || commandLine == nullptr) {
            return ERROR_INVALID_PARAMETER;
        }
        // The library starts programs in one way and in no other.
        if (program != nullptr || processSecurity != nullptr || threadSecurity != nullptr ||
            inheritHandles || (flags & ~DWORD{CREATE_NO_WINDOW}) != 0 || environment != nullptr ||
            directory != nullptr || startUp->dwFlags != 0) {
            return ERROR_NOT_SUPPORTED;
        }
        return start(commandLine, *process);
    });
}

bool closeProcess(HANDLE handle) {
    const bool closed = retireHandle(handle, handleKind(handle)) != nullptr;
    if (!closed) {
        os().SetLastError(ERROR_INVALID_HANDLE);
    }
    return closed;
}

}  // namespace Tallowmere::platform::standin
