#include <kest/kest.h>

#include "FullPath.h"
#include "Json.h"
#include "Terminal.h"
#include "Verbs.h"

namespace Tallowmere::command {

bool listPrograms(const Call& call) {
    const std::wstring sought = call.operands.empty() ? L"" : plainText(call.operands[0]);
    // One of its own: what goes wrong while it reads the registry is then in the trace.
    InstalledPrograms programs;
    if (programs.numberOfObjects() == 0 && !call.trace.lastError().empty()) {
        complainLine(call.trace.lastError());
        return false;
    }
    if (!call.operands.empty() && !programs.isInstalled(sought)) {
        complainLine(L"no installed program is called " + sought);
        return false;
    }
    std::wstring list;
    std::vector<std::string> values;
    if (programs.numberOfObjects() > 0) {
        programs.first();
        do {
            const std::wstring name = programs.current().getName();
            if (name.find(sought) != std::wstring::npos) {
                list += name + L"\n";
                values.push_back(json::text(name));
            }
        } while (programs.next());
    }
    if (call.has(L"--json")) {
        sayBytes(json::list(values));
    } else {
        say(list);
    }
    return true;
}

}  // namespace Tallowmere::command
