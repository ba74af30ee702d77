#include <kest/kest.h>

#include "FullPath.h"
#include "Terminal.h"
#include "Verbs.h"

namespace Tallowmere::command {

/// A line for each share: its name, a tab, its path. Without a server, those of this computer.
bool listShares(const Call& call) {
    std::map<std::wstring, std::wstring> shares;
    getNetShares(call.operands.empty() ? L"" : plainText(call.operands[0]), shares);
    std::wstring lines;
    for (const auto& [name, path] : shares) {
        lines += name + L'\t' + path + L'\n';
    }
    say(lines);
    return true;
}

}  // namespace Tallowmere::command
