// After any sequence of changes a transaction shows what a plain list of paths says, the disk shows
// nothing of it before the commit and all of it afterwards, and nothing when it is abandoned.

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "kest/platform/HandleTable.h"
#include "kest/platform/testing/Laws.h"
#include "kest/platform/testing/MemoryDisk.h"
#include "kest/platform/transactions/Texts.h"
#include "kest/platform/transactions/testing/Scenario.h"
#include "kest/platform/transactions/testing/Walk.h"

namespace Tallowmere::platform::transactions::testing {
namespace {

using platform::testing::MemoryDisk;
using platform::testing::MemoryOptions;
using platform::testing::MemoryStore;

/// What a user asks for: one of a few operations on one or two of a few paths, and whether names
/// are written in other letters than they were made with.
struct Step {
    int what = 0;
    std::size_t first = 0;
    std::size_t second = 0;
    bool shouts = false;
};

void showValue(const Step& step, std::ostream& out) {
    static constexpr const char* kNames[] = {"mkdir", "copy", "link",     "dirlink",    "delete",
                                             "rmdir", "look", "copyTree", "deleteTree", "view"};
    out << kNames[step.what] << ' ' << step.first << ' ' << step.second
        << (step.shouts ? " in capitals" : "");
}

rc::Gen<Step> steps() {
    return rc::gen::apply(
        [](int what, std::size_t first, std::size_t second, bool shouts) {
            return Step{what, first, second, shouts};
        },
        rc::gen::inRange(0, 10), rc::gen::inRange<std::size_t>(0, 1000),
        rc::gen::inRange<std::size_t>(0, 1000), rc::gen::arbitrary<bool>());
}

/// The file system as a list: each path, with "/" before every name, and what is there.
class Model {
public:
    using Entries = std::map<std::wstring, std::string>;

    Model(Entries entries, bool hasDrives) : entries(std::move(entries)), m_hasDrives(hasDrives) {}

    bool has(const std::wstring& path) const { return path.empty() || entries.count(path) != 0; }
    bool is(const std::wstring& path, std::string_view what) const {
        const auto found = entries.find(path);
        return path.empty() ? what == "dir"
                            : found != entries.end() && found->second.starts_with(what);
    }
    bool isLeaf(const std::wstring& path) const { return is(path, "file") || is(path, "link"); }
    bool isFree(const std::wstring& path) const {
        return !has(path) && is(path.substr(0, path.rfind(L'/')), "dir");
    }
    /// Whether the way to a path leads through a link, to somewhere else.
    bool isBehindLink(const std::wstring& path) const {
        for (std::size_t at = path.find(L'/', 1); at != path.npos; at = path.find(L'/', at + 1)) {
            const std::wstring above = path.substr(0, at);
            if (is(above, "link") || is(above, "dirlink")) {
                return true;
            }
        }
        return false;
    }
    bool isEmpty(const std::wstring& path) const {
        const auto next = entries.upper_bound(path + L"/");
        return next == entries.end() || !next->first.starts_with(path + L"/");
    }
    void eraseTree(const std::wstring& path) {
        std::erase_if(entries, [&](const auto& entry) {
            return entry.first == path || entry.first.starts_with(path + L"/");
        });
        std::erase_if(m_made, [&](const auto& made) {
            return made.first == path || made.first.starts_with(path + L"/");
        });
    }
    /// Notes under which name this transaction has made a leaf.
    void make(const std::wstring& path, const std::wstring& spelled) {
        m_made[path] = nameOf(spelled);
    }
    /// Whether it has made one there under a name in other letters: that one is not replaced.
    bool isMadeAsAnother(const std::wstring& path, const std::wstring& spelled) const {
        const auto found = m_made.find(path);
        return found != m_made.end() && found->second != nameOf(spelled);
    }
    void copyTree(const std::wstring& from, const std::wstring& to) {
        Entries copies;
        for (const auto& [path, what] : entries) {
            if (path == from || path.starts_with(from + L"/")) {
                const bool isLink = what.starts_with("dirlink");
                const std::string resolved = m_hasDrives ? "dirlink /resolved" : "link /resolved";
                const std::wstring copy = to + path.substr(from.size());
                copies[copy] = isLink ? resolved : what;
                const auto made = m_made.find(path);
                m_made[copy] = made != m_made.end() ? made->second : nameOf(path);
            }
        }
        entries.merge(copies);
    }
    /// What a link on this machine is, given what it leads to and what it was said to be.
    std::string link(bool isDirectory) const {
        return std::string(isDirectory ? "dirlink " : "link ") + target(isDirectory);
    }
    std::string target(bool isDirectory) const {
        return std::string(m_hasDrives ? "C:" : "") + (isDirectory ? "/canary" : "/canary/bird");
    }

    Entries entries;

private:
    static std::wstring nameOf(const std::wstring& path) {
        return path.substr(path.rfind(L'/') + 1);
    }

    /// By path: the name of what this transaction has made there.
    std::map<std::wstring, std::wstring> m_made;
    bool m_hasDrives;
};

std::wstring lower(std::wstring text) {
    std::transform(text.begin(), text.end(), text.begin(), [](wchar_t c) {
        return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c;
    });
    return text;
}

std::wstring upper(std::wstring text) {
    std::transform(text.begin(), text.end(), text.begin(), [](wchar_t c) {
        return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - L'a' + L'A') : c;
    });
    return text;
}

/// Paths that a step may name: everything that is there, and every name of three in each directory.
std::vector<std::wstring> candidates(const Model& model) {
    std::vector<std::wstring> paths;
    for (const auto& [path, what] : model.entries) {
        if (path.starts_with(L"/canary")) {
            continue;
        }
        paths.push_back(path);
        if (what == "dir" && std::count(path.begin(), path.end(), L'/') < 5) {
            for (const wchar_t* const name : {L"/a", L"/b", L"/c"}) {
                paths.push_back(path + name);
            }
        }
    }
    paths.insert(paths.end(), {L"/new", L"/new/a", L"/missing/a"});
    return paths;
}

class Machine {
public:
    explicit Machine(const MemoryOptions& options)
        : store(options), m_drive(options.hasDrives ? L"C:" : L"") {
        makeDirectory(L"/canary");
        write(L"/canary/bird", "sings");
        makeDirectory(L"/top");
        write(L"/top/file", "one");
        makeDirectory(L"/top/a");
        makeDirectory(L"/top/a/b");
        write(L"/top/a/b/c", "deep");
        write(L"/top/a/file", "two");
        store.makeLink(m_drive + L"/top/a/link", m_drive + L"/canary/bird", false);
        store.makeLink(m_drive + L"/top/way", m_drive + L"/canary", true);
        makeDirectory(L"/top/empty");
    }

    std::wstring path(const std::wstring& plain) const {
        return plain.empty() ? (m_drive.empty() ? L"/" : m_drive) : m_drive + plain;
    }

    /// All that is on the disk. `links` are told apart only by the disk.
    Model::Entries onDisk() {
        Model::Entries entries;
        MemoryDisk disk(store);
        Transaction transaction(disk);
        collect(transaction, L"", entries);
        return entries;
    }

    /// What the transaction shows.
    void collect(Transaction& transaction, const std::wstring& directory, Model::Entries& entries) {
        WIN32_FIND_DATAW data{};
        HANDLE search = INVALID_HANDLE_VALUE;
        const std::wstring pattern = m_drive + directory + L"\\*";
        DWORD error = call([&] { return transaction.findFirst(pattern.c_str(), data, search); });
        ASSERT_EQ(DWORD{ERROR_SUCCESS}, error);
        auto* const found = static_cast<Search*>(findHandle(search, HandleKind::Search));
        std::vector<std::wstring> below;
        while (error == ERROR_SUCCESS) {
            const std::wstring name = data.cFileName;
            if (name != L"." && name != L"..") {
                const std::wstring child = lower(directory + L"/" + name);
                const bool isDirectory = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
                const bool isLink = (data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
                EXPECT_EQ(0U, entries.count(child)) << "told twice";
                entries[child] =
                    isLink ? (isDirectory ? "dirlink" : "link") : (isDirectory ? "dir" : "file");
                if (isDirectory && !isLink) {
                    below.push_back(child);
                }
            }
            error = call([&] { return transaction.findNext(search, *found, data); });
        }
        ASSERT_EQ(DWORD{ERROR_NO_MORE_FILES}, error);
        for (const std::wstring& child : below) {
            collect(transaction, child, entries);
        }
    }

    /// The disk as it is, contents and links' targets with it, stages left out on demand.
    Snapshot contents() const { return everything(store); }

    MemoryStore store;

private:
    void makeDirectory(const std::wstring& plain) { store.makeDirectory(m_drive + plain); }
    void write(const std::wstring& plain, const std::string& content) {
        store.write(m_drive + plain, content);
    }

    std::wstring m_drive;
};

Model::Entries furniture(bool hasDrives) {
    const std::string drive = hasDrives ? "C:" : "";
    return {{L"/canary", "dir"},
            {L"/canary/bird", "file sings"},
            {L"/top", "dir"},
            {L"/top/file", "file one"},
            {L"/top/a", "dir"},
            {L"/top/a/b", "dir"},
            {L"/top/a/b/c", "file deep"},
            {L"/top/a/file", "file two"},
            {L"/top/a/link", "link " + drive + "/canary/bird"},
            {L"/top/way", "dirlink " + drive + "/canary"},
            {L"/top/empty", "dir"}};
}

/// A model's entries as the disk's snapshot tells them, names in small letters.
Snapshot asSnapshot(const Model& model) {
    Snapshot result;
    for (const auto& [path, what] : model.entries) {
        result[std::string(path.begin() + 1, path.end())] =
            what.starts_with("dirlink") ? what.substr(3) : what;
    }
    return result;
}

Snapshot small(const Snapshot& snapshot) {
    Snapshot result;
    for (const auto& [name, what] : snapshot) {
        const std::wstring path(name.begin() + static_cast<std::ptrdiff_t>(name.find('|') + 1),
                                name.end());
        const std::wstring folded = lower(path);
        result[std::string(folded.begin(), folded.end())] = what;
    }
    return result;
}

/// The kinds alone, which is what a listing tells.
Model::Entries kinds(const Model& model) {
    Model::Entries result;
    for (const auto& [path, what] : model.entries) {
        result[path] = what.substr(0, what.find(' '));
    }
    return result;
}

/// Makes a step in both worlds and compares whether it was possible.
void perform(const Step& step, const Machine& machine, Transaction& transaction, Model& model) {
    const std::vector<std::wstring> paths = candidates(model);
    const std::wstring first = paths[step.first % paths.size()];
    const std::wstring second = paths[step.second % paths.size()];
    if (model.isBehindLink(first) || model.isBehindLink(second)) {
        return;
    }
    const bool ignoresCase = machine.store.options().ignoresCase;
    const auto spelled = [&](const std::wstring& plain) {
        return machine.path(step.shouts && ignoresCase ? upper(plain) : plain);
    };
    const std::wstring one = spelled(first);
    const std::wstring two = spelled(second);
    bool isExpected = false;
    DWORD answer = ERROR_SUCCESS;
    switch (step.what) {
        case 0:
            isExpected = model.isFree(first);
            answer = call([&] { return transaction.createDirectory(one.c_str()); });
            if (isExpected) {
                model.entries[first] = "dir";
            }
            break;
        case 1:
            if (first == second) {
                return;
            }
            isExpected = model.isLeaf(first) && (model.isFree(second) || model.isLeaf(second)) &&
                         !model.isMadeAsAnother(second, two);
            answer = call([&] {
                return transaction.copyFile(one.c_str(), two.c_str(), COPY_FILE_COPY_SYMLINK);
            });
            if (isExpected) {
                model.entries[second] = model.entries[first];
                model.make(second, two);
            }
            break;
        case 2:
        case 3: {
            const bool isDirectory = step.what == 3;
            const std::string target = model.target(isDirectory);
            isExpected = model.isFree(first);
            answer = call([&] {
                return transaction.createLink(
                    one.c_str(), std::wstring(target.begin(), target.end()).c_str(), isDirectory);
            });
            if (isExpected) {
                model.entries[first] = model.link(isDirectory);
                model.make(first, one);
            }
            break;
        }
        case 4:
            isExpected = model.isLeaf(first);
            answer = call([&] { return transaction.deleteFile(one.c_str()); });
            if (isExpected) {
                model.eraseTree(first);
            }
            break;
        case 5:
            isExpected = model.is(first, "dirlink") ||
                         (model.entries.count(first) != 0 && model.entries[first] == "dir" &&
                          model.isEmpty(first));
            answer = call([&] { return transaction.removeDirectory(one.c_str()); });
            if (isExpected) {
                model.eraseTree(first);
            }
            break;
        case 6: {
            WIN32_FILE_ATTRIBUTE_DATA data{};
            isExpected = model.has(first);
            answer = call([&] { return transaction.attributes(one.c_str(), data); });
            break;
        }
        case 7:
            if (model.entries.count(first) == 0 || model.entries[first] != "dir" ||
                !model.isFree(second) || (second + L"/").starts_with(first + L"/")) {
                return;
            }
            isExpected = true;
            answer = copyTree(transaction, one, two);
            model.copyTree(first, second);
            break;
        case 8:
            if (model.entries.count(first) == 0 || model.entries[first] != "dir") {
                return;
            }
            isExpected = true;
            answer = deleteTree(transaction, one);
            model.eraseTree(first);
            break;
        default:
            return;
    }
    RC_LOG() << std::string(first.begin(), first.end()) << " "
             << std::string(second.begin(), second.end()) << " answered " << answer << "\n";
    RC_ASSERT(isExpected == (answer == ERROR_SUCCESS));
}

void holds(const MemoryOptions& options) {
    const auto asked = *rc::gen::container<std::vector<Step>>(steps());
    const bool commits = *rc::gen::arbitrary<bool>();
    Machine machine(options);
    Model model(furniture(options.hasDrives), options.hasDrives);
    const Snapshot before = machine.contents();
    RC_ASSERT(small(before) == asSnapshot(model));
    {
        MemoryDisk disk(machine.store);
        Transaction transaction(disk);
        for (const Step& step : asked) {
            perform(step, machine, transaction, model);
            if (step.what == 9) {
                Model::Entries shown;
                machine.collect(transaction, L"", shown);
                RC_ASSERT(shown == kinds(model));
            }
            // Nobody else sees any of it.
            RC_ASSERT(withoutStages(machine.contents()) == before);
        }
        Model::Entries shown;
        machine.collect(transaction, L"", shown);
        RC_ASSERT(shown == kinds(model));
        if (commits) {
            RC_ASSERT(commit(transaction) == DWORD{ERROR_SUCCESS});
            RC_ASSERT(small(machine.contents()) == asSnapshot(model));
        }
    }
    if (!commits) {
        RC_ASSERT(machine.contents() == before);
    }
    RC_TAG(commits ? "committed" : "abandoned");
}

RC_GTEST_PROP(TransactionLaws, TheViewIsThatOfAPlainFileSystem, ()) {
    holds(MemoryOptions::linux());
}

RC_GTEST_PROP(TransactionLaws, AlsoOnADiskThatCannotExchangeEntries, ()) {
    MemoryOptions options = MemoryOptions::linux();
    options.canExchange = false;
    holds(options);
}

RC_GTEST_PROP(TransactionLaws, AlsoOnADriveThatTakesLettersOfEitherCaseForTheSame, ()) {
    holds(MemoryOptions::windows());
}

}  // namespace
}  // namespace Tallowmere::platform::transactions::testing
