#include "kest/platform/transactions/testing/Scenario.h"

#include <ostream>

#include "kest/platform/transactions/Stage.h"
#include "kest/platform/transactions/testing/Walk.h"

namespace Tallowmere::platform::transactions::testing {
namespace {

using platform::testing::MemoryDisk;
using platform::testing::MemoryKeeps;
using platform::testing::MemoryOptions;
using platform::testing::MemoryStore;

MemoryKeeps labelled(const std::string& label) {
    MemoryKeeps keeps;
    keeps.label = label;
    return keeps;
}

/// A tree to copy: files, an empty folder, a folder, links of both kinds.
void addSource(MemoryStore& store, const std::wstring& top, const std::wstring& canary) {
    store.makeDirectory(top);
    store.setKeeps(top, labelled("source"));
    store.write(top + L"/one.txt", "one, new");
    store.setKeeps(top + L"/one.txt", labelled("file"));
    store.makeDirectory(top + L"/empty");
    store.makeDirectory(top + L"/sub");
    store.write(top + L"/sub/two.txt", "two");
    store.makeLink(top + L"/sub/link", canary + L"/bird", false);
    store.makeLink(top + L"/way", canary, true);
}

/// A tree that is to go, with links out of it, and with names in common with the source's.
void addOld(MemoryStore& store, const std::wstring& top, const std::wstring& canary) {
    store.makeDirectory(top);
    store.setKeeps(top, labelled("old"));
    store.write(top + L"/one.txt", "one, old");
    store.makeDirectory(top + L"/sub");
    store.write(top + L"/sub/three.txt", "three");
    store.makeLink(top + L"/out", canary, true, store.options().hasDrives);
    store.makeLink(top + L"/sub/single", canary + L"/bird", false);
}

/// What stands beside and behind everything and is nobody's business.
void addCanary(MemoryStore& store, const std::wstring& top) {
    store.makeDirectory(top);
    store.write(top + L"/bird", "sings");
    store.makeDirectory(top + L"/nest");
}

void buildFolders(MemoryStore& store) {
    store.makeDirectory(L"/home");
    addCanary(store, L"/home/canary");
    addSource(store, L"/home/from", L"/home/canary");
    addOld(store, L"/home/to", L"/home/canary");
}

void buildSourceAlone(MemoryStore& store) {
    store.makeDirectory(L"/home");
    addCanary(store, L"/home/canary");
    addSource(store, L"/home/from", L"/home/canary");
}

DWORD replaceFolder(Transaction& transaction) {
    return replaceTree(transaction, L"/home/from", L"/home/to");
}

DWORD deleteFolder(Transaction& transaction) {
    return deleteIfThere(transaction, L"/home/to");
}

void buildDriveFolders(MemoryStore& store) {
    store.makeDirectory(L"C:/Users");
    addCanary(store, L"C:/Users/Canary");
    addSource(store, L"C:/Users/From", L"C:/Users/Canary");
    addOld(store, L"C:/Users/To", L"C:/Users/Canary");
}

DWORD replaceOnDrive(Transaction& transaction) {
    return replaceTree(transaction, L"C:\\Users\\From", L"C:\\Users\\To");
}

DWORD replaceOnDriveInOtherCase(Transaction& transaction) {
    return replaceTree(transaction, L"c:\\users\\FROM", L"C:\\USERS\\to");
}

DWORD deleteOnDrive(Transaction& transaction) {
    return deleteIfThere(transaction, L"C:\\Users\\to");
}

/// Two drives: the one that is to be replaced as a whole, and the source's.
void buildDrives(MemoryStore& store) {
    store.addVolume(L"D:");
    addCanary(store, L"D:/Canary");
    addSource(store, L"D:/From", L"D:/Canary");
    store.makeDirectory(L"C:/$Recycle.Bin");
    store.write(L"C:/$Recycle.Bin/rubbish", "kept");
    store.write(L"C:/One.txt", "one, old");
    store.makeDirectory(L"C:/Sub");
    store.write(L"C:/Sub/three.txt", "three");
    store.write(L"C:/zero.txt", "zero");
    store.makeLink(L"C:/out", L"D:/Canary", true, true);
}

DWORD replaceDrive(Transaction& transaction) {
    return replaceTree(transaction, L"D:\\From", L"C:");
}

DWORD deleteDrive(Transaction& transaction) {
    return deleteIfThere(transaction, L"c:");
}

void buildMount(MemoryStore& store) {
    store.makeDirectory(L"/home");
    addCanary(store, L"/home/canary");
    addSource(store, L"/home/from", L"/home/canary");
    store.makeDirectory(L"/media");
    store.write(L"/media/beside", "stays");
    store.makeDirectory(L"/media/disk");
    store.addVolume(L"/media/disk");
    store.write(L"/media/disk/one.txt", "one, old");
    store.makeDirectory(L"/media/disk/sub");
    store.write(L"/media/disk/sub/three.txt", "three");
    store.write(L"/media/disk/zero.txt", "zero");
}

DWORD replaceMount(Transaction& transaction) {
    return replaceTree(transaction, L"/home/from", L"/media/disk");
}

/// Everything in the mounted volume but itself.
DWORD emptyMount(Transaction& transaction) {
    DWORD error = call([&] { return transaction.deleteFile(L"/media/disk/one.txt"); });
    if (error == ERROR_SUCCESS) {
        error = deleteTree(transaction, L"/media/disk/sub");
    }
    if (error == ERROR_SUCCESS) {
        error = call([&] { return transaction.deleteFile(L"/media/disk/zero.txt"); });
    }
    return error;
}

DWORD copyOver(Transaction& transaction) {
    const auto copy = [&](const wchar_t* from, const wchar_t* to) {
        return call([&] { return transaction.copyFile(from, to, COPY_FILE_COPY_SYMLINK); });
    };
    DWORD error = copy(L"/home/from/one.txt", L"/home/to/one.txt");
    if (error == ERROR_SUCCESS) {
        error = copy(L"/home/from/sub/two.txt", L"/home/to/two.txt");
    }
    if (error == ERROR_SUCCESS) {
        // Once more over what this transaction has put there itself.
        error = copy(L"/home/from/one.txt", L"/home/to/two.txt");
    }
    return error;
}

DWORD copyOverOne(Transaction& transaction) {
    return call([&] {
        return transaction.copyFile(L"/home/from/one.txt", L"/home/to/one.txt",
                                    COPY_FILE_COPY_SYMLINK);
    });
}

/// A destination that is itself a link: the link goes, what it leads to stays.
void buildLinkedDestination(MemoryStore& store) {
    buildSourceAlone(store);
    addOld(store, L"/home/real", L"/home/canary");
    store.makeLink(L"/home/to", L"/home/real", true);
}

DWORD replaceLink(Transaction& transaction) {
    DWORD error = call([&] { return transaction.removeDirectory(L"/home/to"); });
    return error == ERROR_SUCCESS ? copyTree(transaction, L"/home/from", L"/home/to") : error;
}

/// The tree is named through a link to its parent.
void buildLinkedWay(MemoryStore& store) {
    buildFolders(store);
    store.makeLink(L"/way", L"/home", true);
}

DWORD replaceThroughLink(Transaction& transaction) {
    return replaceTree(transaction, L"/way/from", L"/way/to");
}

/// Changes in several directories of a volume.
DWORD changeNested(Transaction& transaction) {
    DWORD error = call([&] { return transaction.deleteFile(L"/home/to/one.txt"); });
    if (error == ERROR_SUCCESS) {
        error = call([&] {
            return transaction.copyFile(L"/home/from/one.txt", L"/home/to/sub/three.txt",
                                        COPY_FILE_COPY_SYMLINK);
        });
    }
    if (error == ERROR_SUCCESS) {
        error = copyTree(transaction, L"/home/from", L"/home/to/sub/deep");
    }
    return error;
}

/// The stage is made in a directory that later is replaced itself.
DWORD replaceWhereTheStageStands(Transaction& transaction) {
    DWORD error = call([&] {
        return transaction.copyFile(L"/home/from/one.txt", L"/home/to/early",
                                    COPY_FILE_COPY_SYMLINK);
    });
    return error == ERROR_SUCCESS ? replaceFolder(transaction) : error;
}

DWORD deleteWhereTheStageStands(Transaction& transaction) {
    DWORD error = call([&] {
        return transaction.copyFile(L"/home/from/one.txt", L"/home/to/early",
                                    COPY_FILE_COPY_SYMLINK);
    });
    return error == ERROR_SUCCESS ? deleteFolder(transaction) : error;
}

std::vector<Scenario> makeScenarios() {
    const MemoryOptions linux = MemoryOptions::linux();
    const MemoryOptions windows = MemoryOptions::windows();
    MemoryOptions noExchange = linux;
    noExchange.canExchange = false;
    MemoryOptions exchangingDrives = windows;
    exchangingDrives.canExchange = true;
    return {
        {"Replace", linux, buildFolders, replaceFolder, {L"/home/to"}},
        {"Create", linux, buildSourceAlone, replaceFolder, {L"/home/to"}},
        {"Delete", linux, buildFolders, deleteFolder, {L"/home/to"}},
        {"ReplaceOneFile", linux, buildFolders, copyOverOne, {L"/home/to/one.txt"}},
        {"ReplaceWithoutExchange", noExchange, buildFolders, replaceFolder, {L"/home/to"}, false},
        {"ReplaceThroughLink", linux, buildLinkedWay, replaceThroughLink, {L"/way/to"}},
        {"ReplaceLink", linux, buildLinkedDestination, replaceLink, {L"/home/to"}, true, false},
        {"ReplaceFolderOfDrive",
         windows,
         buildDriveFolders,
         replaceOnDrive,
         {L"C:/Users/To"},
         false},
        {"ReplaceInOtherCase",
         windows,
         buildDriveFolders,
         replaceOnDriveInOtherCase,
         {L"c:/Users/to"},
         false},
        {"ExchangeOnDrive", exchangingDrives, buildDriveFolders, replaceOnDrive, {L"C:/Users/To"}},
        {"DeleteFolderOfDrive", windows, buildDriveFolders, deleteOnDrive, {L"C:/Users/To"}},
        {"ReplaceDrive", windows, buildDrives, replaceDrive, {L"C:"}, false},
        {"DeleteDrive", windows, buildDrives, deleteDrive, {L"C:"}, false},
        {"ReplaceMount", linux, buildMount, replaceMount, {L"/media/disk"}, false},
        {"EmptyMount", linux, buildMount, emptyMount, {L"/media/disk"}, false, false},
        {"CopyOver", linux, buildFolders, copyOver, {L"/home/to/one.txt"}, false},
        {"Nested",
         linux,
         buildFolders,
         changeNested,
         {L"/home/to/one.txt", L"/home/to/sub/deep"},
         false,
         false},
        {"ReplaceWhereTheStageStands",
         linux,
         buildFolders,
         replaceWhereTheStageStands,
         {L"/home/to", L"/home/to/one.txt"},
         true,
         false},
        {"DeleteWhereTheStageStands",
         linux,
         buildFolders,
         deleteWhereTheStageStands,
         {L"/home/to", L"/home/to/one.txt"},
         true,
         false},
    };
}

}  // namespace

const std::vector<Scenario>& scenarios() {
    static const std::vector<Scenario> s_scenarios = makeScenarios();
    return s_scenarios;
}

void PrintTo(const Scenario& scenario, std::ostream* out) {
    *out << scenario.name;
}

Snapshot everything(const MemoryStore& store) {
    Snapshot result;
    for (const std::wstring& top : store.roots()) {
        for (auto& [name, what] : store.snapshot(top)) {
            result[std::string(top.begin(), top.end()) + "|" + name] = what;
        }
    }
    return result;
}

Snapshot withoutStages(const Snapshot& snapshot) {
    Snapshot result;
    for (const auto& entry : snapshot) {
        if (entry.first.find(".kest-") == std::string::npos) {
            result.insert(entry);
        }
    }
    return result;
}

DWORD operate(const Scenario& scenario, MemoryDisk& disk) {
    Transaction transaction(disk);
    const DWORD error = scenario.run(transaction);
    return error == ERROR_SUCCESS ? commit(transaction) : error;
}

DWORD look(const Scenario& scenario, MemoryDisk& disk) {
    Transaction transaction(disk);
    DWORD result = ERROR_SUCCESS;
    for (const std::wstring& place : scenario.places) {
        WIN32_FILE_ATTRIBUTE_DATA data{};
        const DWORD error = call([&] { return transaction.attributes(place.c_str(), data); });
        if (error != ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND &&
            error != ERROR_PATH_NOT_FOUND) {
            result = error;
        }
    }
    return result;
}

namespace {

MemoryStore built(const Scenario& scenario) {
    MemoryStore store(scenario.options);
    scenario.build(store);
    return store;
}

}  // namespace

Trial::Trial(const Scenario& tried)
    : scenario(tried), start(built(tried)), before(everything(start)) {
    MemoryStore store = start;
    MemoryDisk disk(store);
    disk.clock.watch = [this](int, platform::testing::Primitive primitive) {
        steps.push_back(primitive);
    };
    answer = operate(scenario, disk);
    after = everything(store);
}

std::string difference(const Snapshot& expected, const Snapshot& found) {
    std::string result;
    for (const auto& [name, what] : expected) {
        const auto other = found.find(name);
        if (other == found.end()) {
            result += "  missing: " + name + " = " + what + '\n';
        } else if (other->second != what) {
            result += "  " + name + " = " + other->second + ", not " + what + '\n';
        }
    }
    for (const auto& [name, what] : found) {
        if (expected.count(name) == 0) {
            result += "  stray: " + name + " = " + what + '\n';
        }
    }
    return result;
}

}  // namespace Tallowmere::platform::transactions::testing
