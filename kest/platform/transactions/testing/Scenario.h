#pragma once

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "kest/platform/testing/MemoryDisk.h"
#include "kest/platform/transactions/Transaction.h"

/// Operations on disks in memory that must be wholly done or not at all, whatever happens.
namespace Tallowmere::platform::transactions::testing {

using Snapshot = std::map<std::string, std::string>;

struct Scenario {
    std::string name;
    platform::testing::MemoryOptions options;
    void (*build)(platform::testing::MemoryStore& store);
    /// Up to the commit.
    DWORD (*run)(Transaction& transaction);
    /// Where a transaction that comes later looks.
    std::vector<std::wstring> places;
    /// Whether it is one step of the disk, so that nobody ever sees anything but old or new.
    bool isOneStep = true;
    /// Whether the operation can be made again when it is done.
    bool canRepeat = true;
};

/// All of them, by name.
const std::vector<Scenario>& scenarios();
void PrintTo(const Scenario& scenario, std::ostream* out);

/// Everything on a machine's disks.
Snapshot everything(const platform::testing::MemoryStore& store);

/// The same without stages.
Snapshot withoutStages(const Snapshot& snapshot);

/// The whole operation in one process, its transaction closed at the end. ERROR_SUCCESS is what the
/// caller is told. Throws Stopped when the process is stopped.
DWORD operate(const Scenario& scenario, platform::testing::MemoryDisk& disk);

/// What the next transaction does to what it finds: it looks. Answers with the worst answer.
DWORD look(const Scenario& scenario, platform::testing::MemoryDisk& disk);

/// A scenario with what was before and what is after.

class Trial {
public:
    explicit Trial(const Scenario& scenario);

    const Scenario& scenario;
    const platform::testing::MemoryStore start;
    const Snapshot before;
    Snapshot after;
    /// What the clean run answered, and its steps.
    DWORD answer = ERROR_SUCCESS;
    std::vector<platform::testing::Primitive> steps;

    bool isWhole(const Snapshot& snapshot) const { return snapshot == before || snapshot == after; }
};

/// For a failure's text.
std::string difference(const Snapshot& expected, const Snapshot& found);

}  // namespace Tallowmere::platform::transactions::testing
