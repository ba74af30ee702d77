#include <kest/kest.h>

#include "FullPath.h"
#include "Terminal.h"
#include "Verbs.h"

namespace Tallowmere::command {

bool listPrograms(const Call& call) {
    const std::wstring sought = call.operands.empty() ? L"" : plainText(call.operands[0]);
    // One of its own: what goes wrong while it reads the registry is then in the trace.
    InstalledPrograms programs;
    if (programs.numberOfObjects() == 0 && !call.trace.lastError().empty()) {
        complain(L"kest: " + call.trace.lastError() + L"\n");
        return false;
    }
    if (!call.operands.empty() && !programs.isInstalled(sought)) {
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
