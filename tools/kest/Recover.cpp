#include <kest/kest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "Disk.h"
#include "FullPath.h"
#include "Json.h"
#include "Readable.h"
#include "Terminal.h"
#include "Verbs.h"
#include "kest/platform/transactions/StageNames.h"

namespace Tallowmere::command {
namespace {

namespace stages = platform::transactions;

/// A stage that was found, and what became of it.
struct Found {
    std::wstring path;
    const wchar_t* state = L"";
    std::wstring reason;
};

struct Trouble {
    std::wstring path;
    std::wstring reason;
};

bool isThere(const std::wstring& path) {
    return exists(path.c_str());
}

/// Lets the library look at a folder, which brings what orphans there are to their end: it is asked
/// to delete what is not there. The reason why that failed; empty when it did not.
std::wstring lookAt(const std::wstring& folder, TraceTap& trace) {
    std::wstring nobody = disk::join(folder, L"kest-recover-0");
    for (int i = 1; isThere(nobody); ++i) {
        nobody = disk::join(folder, L"kest-recover-" + std::to_wstring(i));
    }
    trace.forgetMessages();
    try {
        DeleteDirectoryTransacted(nobody);
    } catch (const std::exception& error) {
        return trace.messageOf(error);
    }
    // That the name is not there is told as an error, too.
    std::wstring error = trace.lastError();
    trace.forgetMessages();
    return error;
}

/// What the library says of a name that is not there.
std::wstring usualError() {
    constexpr unsigned long kFileNotFound = 2;
    std::wstring text =
        L"GetFileAttributesTransacted failed: " + getSystemErrorMessage(kFileNotFound, nullptr);
    text.resize(text.find_last_not_of(L"\r\n") + 1);
    return text;
}

class Recovery {
public:
    explicit Recovery(TraceTap& trace) : m_trace(trace), m_usualError(usualError()) {}

    void walk(const std::wstring& root) {
        std::vector<std::wstring> waiting = {root};
        while (!waiting.empty()) {
            const std::wstring folder = std::move(waiting.back());
            waiting.pop_back();
            std::vector<disk::Entry> entries;
            std::wstring reason;
            if (!disk::list(folder, entries, reason)) {
                m_troubles.push_back({folder, reason});
            }
            std::vector<std::wstring> names;
            // The first entry is looked at first.
            std::reverse(entries.begin(), entries.end());
            for (const disk::Entry& entry : entries) {
                if (entry.kind != disk::Kind::folder) {
                    continue;
                }
                if (stages::isStageName(entry.name)) {
                    names.push_back(entry.name);
                } else {
                    waiting.push_back(disk::join(folder, entry.name));
                }
            }
            if (!names.empty()) {
                std::sort(names.begin(), names.end());
                recover(folder, names);
            }
        }
    }

    const std::vector<Found>& found() const { return m_found; }
    const std::vector<Trouble>& troubles() const { return m_troubles; }

private:
    void recover(const std::wstring& folder, const std::vector<std::wstring>& names) {
        const std::size_t first = m_found.size();
        for (const std::wstring& name : names) {
            const std::wstring path = disk::join(folder, name);
            const bool isCommitted = isThere(disk::join(path, stages::kJournalName));
            const bool isGivenUp = isThere(disk::join(path, stages::kGivenUpName));
            m_found.push_back({path,
                               !isCommitted ? L"discarded"
                               : isGivenUp  ? L"taken back"
                                            : L"finished",
                               L""});
        }
        const std::wstring error = lookAt(folder, m_trace);
        const bool isRefused = !error.empty() && error != m_usualError;
        bool isToldOf = !isRefused;
        for (std::size_t i = first; i < m_found.size(); ++i) {
            Found& found = m_found[i];
            std::wstring reason;
            switch (disk::stateOf(found.path, reason)) {
                case disk::StageState::gone:
                    continue;
                case disk::StageState::foreign:
                    found.state = L"foreign";
                    continue;
                case disk::StageState::held:
                    if (disk::canTellHeld() || !isRefused) {
                        found.state = L"in use";
                        continue;
                    }
                    break;
                case disk::StageState::left:
                    // As when an entry in it cannot be removed.
                    reason = L"it could not be cleared";
                    break;
                case disk::StageState::unknown:
                    break;
            }
            found.state = L"failed";
            found.reason = isRefused ? error : reason;
            isToldOf = true;
        }
        if (!isToldOf) {
            m_troubles.push_back({folder, error});
        }
    }

    TraceTap& m_trace;
    const std::wstring m_usualError;
    std::vector<Found> m_found;
    std::vector<Trouble> m_troubles;
};

std::string jsonOf(const Found& found) {
    std::vector<json::Member> members = {{"path", json::text(found.path)},
                                         {"state", json::text(found.state)}};
    if (!found.reason.empty()) {
        members.emplace_back("reason", json::text(found.reason));
    }
    return json::object(members);
}

}  // namespace

bool recoverTree(const Call& call) {
    const std::wstring root = fullPath(call.operands[0]);
    std::wstring reason;
    // With a separator: a link to a folder is looked into.
    const std::optional<disk::Entry> top = disk::look(disk::join(root, L""), reason);
    if (!top) {
        complainLine(printable(root) + L": " + reason);
        return false;
    }
    Recovery recovery(call.trace);
    recovery.walk(root);
    if (call.has(L"--json")) {
        std::vector<std::string> values;
        for (const Found& found : recovery.found()) {
            values.push_back(jsonOf(found));
        }
        sayBytes(json::list(values));
    } else {
        std::wstring text;
        for (const Found& found : recovery.found()) {
            text += std::wstring(found.state) + L": " + printable(found.path) +
                    (found.reason.empty() ? L"" : L" (" + found.reason + L")") + L"\n";
        }
        say(text.empty() && recovery.troubles().empty()
                ? L"nothing was left behind below " + printable(root) + L"\n"
                : text);
    }
    for (const Trouble& trouble : recovery.troubles()) {
        complainLine(L"cannot look into " + printable(trouble.path) + L": " + trouble.reason);
    }
    return recovery.troubles().empty() &&
           std::none_of(recovery.found().begin(), recovery.found().end(),
                        [](const Found& found) { return !found.reason.empty(); });
}

}  // namespace Tallowmere::command
