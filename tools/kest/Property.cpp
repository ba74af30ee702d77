#include <kest/kest.h>

#include "Questions.h"
#include "Terminal.h"

namespace Tallowmere::command {

bool answerProperty(const std::vector<std::wstring>& operands, const TraceTap& trace) {
    const Configurable properties(operands[0].c_str());
    const std::wstring value = properties.getProperty(operands[1]);
    // The library gives an empty text for what is not there, and says so in the trace alone.
    if (!trace.lastWarning().empty()) {
        complain(L"kest: " + trace.lastWarning() + L"\n");
        return false;
    }
    say(value + L"\n");
    return true;
}

}  // namespace Tallowmere::command
