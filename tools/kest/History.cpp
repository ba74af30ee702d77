#include <kest/kest.h>

#include "FullPath.h"
#include "Json.h"
#include "Readable.h"
#include "Terminal.h"
#include "Verbs.h"

namespace Tallowmere::command {

bool tellLivePath(const Call& call) {
    const std::wstring path = plainText(call.operands[0]);
    const std::wstring live = getCurrentPath(path);
    if (call.has(L"--json")) {
        sayBytes(json::object({{"path", json::text(path)}, {"live", json::text(live)}}) + "\n");
    } else {
        say(live + L"\n");
    }
    return true;
}

bool tellWhen(const Call& call) {
    const std::wstring path = plainText(call.operands[0]);
    const std::wstring time = getTimeFromHistoryPath(path);
    if (time.empty()) {
        complainLine(L"no time of a snapshot in " + printable(path));
        return false;
    }
    if (call.has(L"--json")) {
        sayBytes(json::object({{"path", json::text(path)},
                               {"history", isHistoryPath(path) ? "true" : "false"},
                               {"time", json::text(time)}}) +
                 "\n");
    } else {
        say(time + L"\n");
    }
    return true;
}

}  // namespace Tallowmere::command
