#include <kest/kest.h>

#include "Questions.h"
#include "Terminal.h"

namespace Tallowmere::command {

bool answerPrograms(const std::vector<std::wstring>& operands, const TraceTap& trace) {
    const std::wstring sought = operands.empty() ? L"" : operands[0];
    // One of its own: what goes wrong while it reads the registry is then in the trace.
    InstalledPrograms programs;
    if (programs.numberOfObjects() == 0 && !trace.lastError().empty()) {
        complain(L"kest: " + trace.lastError() + L"\n");
        return false;
    }
    if (!operands.empty() && !programs.isInstalled(sought)) {
        complain(L"kest: no installed program is called " + sought + L"\n");
        return false;
    }
    std::wstring list;
    if (programs.numberOfObjects() > 0) {
        programs.first();
        do {
            const std::wstring name = programs.current().getName();
            if (name.find(sought) != std::wstring::npos) {
                list += name + L"\n";
            }
        } while (programs.next());
    }
    say(list);
    return true;
}

}  // namespace Tallowmere::command
