#include <kest/kest.h>

#include "FullPath.h"
#include "Json.h"
#include "Terminal.h"
#include "Verbs.h"

namespace Tallowmere::command {

/// A line for each share: its name, a tab, its path. Without a server, those of this computer.
bool listShares(const Call& call) {
    std::map<std::wstring, std::wstring> shares;
    getNetShares(call.operands.empty() ? L"" : plainText(call.operands[0]), shares);
    if (call.has(L"--json")) {
        std::vector<std::string> values;
        values.reserve(shares.size());
        for (const auto& [name, path] : shares) {
            values.push_back(
                json::object({{"name", json::text(name)}, {"path", json::text(path)}}));
        }
        sayBytes(json::list(values));
        return true;
    }
    std::wstring lines;
    for (const auto& [name, path] : shares) {
        lines.append(name).append(1, L'\t').append(path).append(1, L'\n');
    }
    say(lines);
    return true;
}

}  // namespace Tallowmere::command
