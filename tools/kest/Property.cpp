#include <kest/kest.h>

#include "FullPath.h"
#include "Json.h"
#include "Terminal.h"
#include "Verbs.h"

namespace Tallowmere::command {

bool tellProperty(const Call& call) {
    const Configurable properties(call.operands[0].c_str());
    const std::wstring name = plainText(call.operands[1]);
    const std::wstring value = properties.getProperty(name);
    // The library gives an empty text for what is not there, and says so in the trace alone.
    if (!call.trace.lastWarning().empty()) {
        complainLine(call.trace.lastWarning());
        return false;
    }
    if (call.has(L"--json")) {
        sayBytes(json::object({{"name", json::text(name)}, {"value", json::text(value)}}) + "\n");
    } else {
        say(value + L"\n");
    }
    return true;
}

}  // namespace Tallowmere::command
