#include <kest/kest.h>

#include "FullPath.h"
#include "Terminal.h"
#include "Verbs.h"

namespace Tallowmere::command {

bool tellProperty(const Call& call) {
    const Configurable properties(call.operands[0].c_str());
    const std::wstring value = properties.getProperty(plainText(call.operands[1]));
    // The library gives an empty text for what is not there, and says so in the trace alone.
    if (!call.trace.lastWarning().empty()) {
        complain(L"kest: " + call.trace.lastWarning() + L"\n");
        return false;
    }
    say(value + L"\n");
    return true;
}

}  // namespace Tallowmere::command
