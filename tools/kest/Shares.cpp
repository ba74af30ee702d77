#include <kest/kest.h>

#include "FullPath.h"
#include "Terminal.h"
#include "Verbs.h"

namespace Tallowmere::command {

/// A line for each share: its name, a tab, its path. Without a server, those of this computer.
void listShares(const Operands& operands) {
    std::map<std::wstring, std::wstring> shares;
    getNetShares(operands.empty() ? L"" : plainText(operands[0]), shares);
    std::wstring lines;
    for (const auto& [name, path] : shares) {
        lines += name + L'\t' + path + L'\n';
    }
    say(lines);
}

}  // namespace Tallowmere::command
