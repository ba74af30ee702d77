// What kind of system and processor this is.

#include <unistd.h>

#include <algorithm>
#include <iterator>

#include "kest/platform/linux/Standins.h"

namespace Tallowmere::platform::standin {
namespace {

// Our choice: the version of the oldest system that the product supports, Windows 7 with its
// service pack, which is also what a system answers on which nothing was set (a fresh Wine prefix).
// This is the one place that states it.
constexpr DWORD kMajorVersion = 6;
constexpr DWORD kMinorVersion = 1;
constexpr DWORD kBuild = 7601;
constexpr char16_t kServicePack[] = u"Service Pack 1";

/// Of the process, as on Windows, where a program for another processor is told of that one.
constexpr WORD architecture() {
#if defined(__x86_64__)
    return PROCESSOR_ARCHITECTURE_AMD64;
#elif defined(__i386__)
    return PROCESSOR_ARCHITECTURE_INTEL;
#elif defined(__ia64__)
    return PROCESSOR_ARCHITECTURE_IA64;
#elif defined(__aarch64__)
    return PROCESSOR_ARCHITECTURE_ARM64;
#elif defined(__arm__)
    return PROCESSOR_ARCHITECTURE_ARM;
#else
    return PROCESSOR_ARCHITECTURE_UNKNOWN;
#endif
}

}  // namespace

BOOL GetVersionExW(OSVERSIONINFOW* version) {
    if (version == nullptr || version->dwOSVersionInfoSize != sizeof *version) {
        os().SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    version->dwMajorVersion = kMajorVersion;
    version->dwMinorVersion = kMinorVersion;
    version->dwBuildNumber = kBuild;
    version->dwPlatformId = VER_PLATFORM_WIN32_NT;
    auto* const end = std::copy(std::begin(kServicePack), std::end(kServicePack),
                                std::begin(version->szCSDVersion));
    std::fill(end, std::end(version->szCSDVersion), u'\0');
    return TRUE;
}

void GetSystemInfo(SYSTEM_INFO* information) {
    *information = {};
    information->wProcessorArchitecture = architecture();
    information->dwPageSize = static_cast<DWORD>(sysconf(_SC_PAGESIZE));
    information->dwAllocationGranularity = information->dwPageSize;
    information->dwNumberOfProcessors =
        static_cast<DWORD>(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN)));
}

}  // namespace Tallowmere::platform::standin
