#define KEST_MODULE "Utilities"

#include "kest/transacted/Failure.h"

#include <stdexcept>
#include <string>

#include "kest/diagnostics/Log.h"
#include "kest/diagnostics/SystemErrors.h"
#include "kest/text/Strings.h"

namespace Tallowmere {

void reportFailure(const wchar_t* text, bool throwIt, bool appendSystemError) {
    // Asked for first of all: whatever is done before may make calls that change the last error.
    const std::wstring systemError =
        appendSystemError ? L" failed: " + getSystemErrorMessage(0, nullptr) : std::wstring();
    std::wstring message = text + systemError;
    // Streamed as changeable text, which is never taken for a marker: a message may begin with a
    // caller's path, and "\\Fileserver\x is not a link" would be swallowed as a file name
    // otherwise.
    LOG_ERROR(message.data());
    if (throwIt) {
        throw std::runtime_error(convertToString(message.c_str()));
    }
}

}  // namespace Tallowmere
