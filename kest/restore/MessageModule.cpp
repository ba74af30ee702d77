#include "kest/restore/MessageModule.h"

#include <string>

#include "kest/platform/Calls.h"

namespace Tallowmere {

using platform::os;

HMODULE loadMessageModule() {
    wchar_t directory[MAX_PATH];
    const UINT length = os().GetSystemDirectoryW(directory, static_cast<UINT>(MAX_PATH));
    if (length == 0 || length >= MAX_PATH) {
        return nullptr;
    }
    const std::wstring path = std::wstring(directory, length) + L"\\wbem\\wmiutils.dll";
    return os().LoadLibraryW(path.c_str());
}

}  // namespace Tallowmere
