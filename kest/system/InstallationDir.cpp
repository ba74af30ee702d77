#include <exception>
#include <ostream>

#include "kest/platform/Console.h"
#include "kest/platform/Win32.h"
#include "kest/registry/Registry.h"
#include "kest/system/FileSystem.h"

namespace Tallowmere {

class InstallationDirReader {
public:
    static void read(std::wstring& directory) {
        Registry::readKeyValue(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Tallowmere\\Orrelane", L"InstallDir",
                               directory);
    }
};

bool getInstallationDir(std::wstring& directory) {
    try {
        InstallationDirReader::read(directory);
        return true;
    } catch (const std::exception& failure) {
        try {
            platform::narrowConsoleErrors()
                << "getInstallationDir() failed: " << failure.what() << std::endl;
        } catch (const std::exception&) {
            // A host can tell its std::cerr to throw when writing fails. Reporting a failure must
            // not become a second one.
        }
        return false;
    }
}

}  // namespace Tallowmere
