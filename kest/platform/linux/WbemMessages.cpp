#include "kest/platform/linux/WbemMessages.h"

#include <cstddef>
#include <iterator>

namespace Tallowmere::platform {
namespace {

/// The code of the first text; the others follow it one by one.
constexpr DWORD kFirst = 0x80041001U;

/// Our choice: the words in which the service's own programs show these codes; where those were not
/// at hand, the words of the code's name.
constexpr const char* kTexts[] = {
    "Generic failure",
    "Not found",
    "Access denied",
    "Provider failure",
    "Type mismatch",
    "Out of memory",
    "Invalid context",
    "Invalid parameter",
    "Not available",
    "Critical error",
    "Invalid stream",
    "Not supported",
    "Invalid superclass",
    "Invalid namespace",
    "Invalid object",
    "Invalid class",
    "Provider not found",
    "Invalid provider registration",
    "Provider load failure",
    "Initialization failure",
    "Transport failure",
    "Invalid operation",
    "Invalid query",
    "Invalid query type",
    "Already exists",
    "Override not allowed",
    "Propagated qualifier",
    "Propagated property",
    "Unexpected error",
    "Illegal operation",
    "Cannot be key",
    "Incomplete class",
    "Invalid syntax",
    "Nondecorated object",
    "Read only",
    "Provider not capable",
    "Class has children",
    "Class has instances",
    "Query not implemented",
    "Illegal null",
    "Invalid qualifier type",
    "Invalid property type",
    "Value out of range",
    "Cannot be singleton",
    "Invalid CIM type",
    "Invalid method",
    "Invalid method parameters",
    "System property",
    "Invalid property",
    "Call cancelled",
    "Shutting down",
    "Propagated method",
    "Unsupported parameter",
    "Missing parameter",
    "Invalid parameter ID",
    "Nonconsecutive parameter IDs",
    "Parameter ID on return value",
    "Invalid object path",
    "Out of disk space",
    "Buffer too small",
};
static_assert(kFirst + std::size(kTexts) - 1 == 0x8004103CU);

constexpr char kModule = 0;

}  // namespace

const wchar_t kSystemDirectory[] = L"C:\\Windows\\system32";
const wchar_t kWbemMessagePath[] = L"C:\\Windows\\system32\\wbem\\wmiutils.dll";

const char* wbemMessage(DWORD code) {
    const std::size_t index = static_cast<DWORD>(code - kFirst);
    return index < std::size(kTexts) ? kTexts[index] : nullptr;
}

HMODULE wbemMessageModule() {
    // Its address alone counts.
    return const_cast<char*>(&kModule);
}

}  // namespace Tallowmere::platform
