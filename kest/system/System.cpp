#include "kest/system/System.h"

#include <stdexcept>

#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/Calls.h"
#include "kest/platform/Console.h"
#include "kest/system/ErrorStream.h"
#include "kest/text/Strings.h"

namespace Tallowmere {

using platform::os;

void launchProcess(const std::wstring& commandLine) {
    // The system may write into the text that it is given.
    std::wstring buffer = commandLine;
    STARTUPINFOW startUp{};
    startUp.cb = sizeof startUp;
    PROCESS_INFORMATION process{};
    if (!os().CreateProcessW(nullptr, buffer.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW,
                             nullptr, nullptr, &startUp, &process)) {
        const std::wstring text = getSystemErrorMessage(0, nullptr);
        throw std::runtime_error("CreateProcess(<" + convertToString(commandLine.c_str()) +
                                 ">): " + convertToString(text.c_str()));
    }
    // Deliberate: the two handles are not closed, here or anywhere; the new process keeps its
    // number for as long as this one lives.
}

WindowsVersion windowsVersion() {
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof version;
    if (!os().GetVersionExW(&version)) {
        const std::wstring text = getSystemErrorMessage(0, nullptr);
        // Deliberate: the address of the text and not the text, since a narrow stream knows no wide
        // text.
        writeLine(platform::narrowConsoleErrors(),
                  "GetVersionEx() failed: ", static_cast<const void*>(text.c_str()));
        return WindowsUnknown;
    }
    const struct {
        DWORD major;
        DWORD minor;
        WindowsVersion release;
    } kReleases[] = {{5, 0, Windows2000},
                     {5, 1, WindowsXP},
                     {5, 2, Windows2003},
                     {6, 0, WindowsVista},
                     {6, 1, Windows7}};
    for (const auto& one : kReleases) {
        if (version.dwMajorVersion == one.major && version.dwMinorVersion == one.minor) {
            return one.release;
        }
    }
    return WindowsUnknown;
}

ProcessorType getProcessorType() {
    SYSTEM_INFO information{};
    os().GetSystemInfo(&information);
    switch (information.wProcessorArchitecture) {
        case PROCESSOR_ARCHITECTURE_AMD64:
            return ProcessorAmd64;
        case PROCESSOR_ARCHITECTURE_IA64:
            return ProcessorIa64;
        case PROCESSOR_ARCHITECTURE_INTEL:
            return ProcessorX86;
        default:
            return ProcessorUnknown;
    }
}

std::wstring getOs() {
    return L"Windows";
}

}  // namespace Tallowmere
