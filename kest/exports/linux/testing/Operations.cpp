#include "kest/exports/linux/testing/Operations.h"

#include <boost/lexical_cast.hpp>
#include <cstdlib>
#include <future>
#include <iomanip>
#include <memory>
#include <new>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "kest/c_api.h"
#include "kest/config/Configurable.h"
#include "kest/diagnostics/Log.h"
#include "kest/diagnostics/SystemErrors.h"
#include "kest/exports/ExportLock.h"
#include "kest/platform/Win32.h"
#include "kest/platform/linux/testing/ScopedRepository.h"
#include "kest/platform/linux/testing/ScopedZone.h"
#include "kest/platform/testing/RegistryFixture.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/registry/InstalledPrograms.h"
#include "kest/registry/Registry.h"
#include "kest/restore/RestorePoint.h"
#include "kest/sync/Lock.h"
#include "kest/system/FileSystem.h"
#include "kest/system/System.h"
#include "kest/system/testing/CapturedStreams.h"
#include "kest/text/HistoryPaths.h"
#include "kest/text/Strings.h"
#include "kest/time/DateTime.h"
#include "kest/time/TimeText.h"
#include "kest/transacted/Links.h"
#include "kest/transacted/TransactedFS.h"

namespace Tallowmere::testing {

using platform::testing::RegistryFixture;
using platform::testing::ScopedRepository;
using platform::testing::ScopedZone;
using platform::testing::TempTree;

namespace {

const char* const kRegistry =
    "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Tallowmere\\Orrelane]\r\n\"InstallDir\"=\"C:\\\\Kest\"\r\n\r\n"
    "[HKEY_CLASSES_ROOT\\Installer\\Products\\1]\r\n\"ProductName\"=\"Alpha Tool\"\r\n"
    "[HKEY_CLASSES_ROOT\\Installer\\Products\\2]\r\n\"ProductName\"=\"Beta\"\r\n"
    "[HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\Folders]\r\n"
    "\"C:\\\\Kest\\\\\"=\"\"\r\n";

/// Texts of exceptions up to their first line's end.
std::string textOf(const std::exception_ptr& thrown) {
    try {
        std::rethrow_exception(thrown);
    } catch (const boost::bad_lexical_cast&) {
        return "bad_lexical_cast";
    } catch (const std::bad_alloc&) {
        return "bad_alloc";
    } catch (const std::runtime_error& failure) {
        const std::string text = failure.what();
        return "runtime_error: " + text.substr(0, text.find_first_of("\r\n"));
    } catch (const std::exception&) {
        return "another exception";
    } catch (...) {
        return "no exception of the standard family";
    }
}

/// What a C entry point has answered.
struct Answer {
    bool result = false;
    wchar_t* error = nullptr;
};

/// The same as a text; the error's is given back. Such an entry point throws nothing.
std::string told(Answer& answer, const std::string& thrown) {
    if (thrown != "-") {
        return "THREW " + thrown;
    }
    std::string text = answer.result ? "true" : "false";
    text += answer.error == nullptr ? "" : ": " + plain(answer.error);
    deleteKESTArray(&answer.error);
    return text;
}

std::string number(std::int64_t value) {
    return std::to_string(value);
}

class Counting : public Registry::Function {
public:
    void operator()(const std::wstring& value) override {
        ++count;
        length += value.size();
    }
    int count = 0;
    std::size_t length = 0;
};

}  // namespace

void Attempt::run() noexcept {
    try {
        m_result = m_operation.run();
    } catch (...) {
        m_thrown = std::current_exception();
    }
}

std::string Attempt::outcome() const {
    const std::string result = m_result.empty() ? "-" : m_result;
    return m_operation.after(m_thrown == nullptr ? result : textOf(m_thrown));
}

std::string plain(const std::wstring& text) {
    return convertToString(text.substr(0, text.find_first_of(L"\r\n")).c_str());
}

struct World::Parts {
    Parts()
        : registry(platform::testing::kRegistryHeader + std::string(kRegistry)),
          zone("Europe/Berlin") {
        silence();
        tree.write("properties", "<a>1</a>\n<b>2</b>\n");
        tree.write("file", "content");
        tree.write("shares", "[global]\n[data]\npath = /data\n");
        ::setenv("KEST_SMB_CONF", (tree / "shares").c_str(), 1);
        std::filesystem::create_symlink(tree / "file", tree / "link");
        ::setenv("SYSTEMROOT", "/windows", 1);
    }
    ~Parts() {
        ::unsetenv("KEST_SMB_CONF");
        ::unsetenv("SYSTEMROOT");
        Recorder::destroy();
    }
    void silence() {
        Recorder::destroy();
        Recorder::instance()->setStream(&nowhere, nullptr, false);
    }

    std::wostream nowhere{nullptr};
    TempTree tree;
    RegistryFixture registry;
    ScopedZone zone;
    ScopedRepository repository{
        platform::testing::mofPoint("Point", 0, "20240131235959.000000+000", 12)};
    CapturedStreams streams;
    Lock lock;
    std::unique_ptr<InstalledPrograms> programs;
};

World::World() : m_parts(std::make_unique<Parts>()) {
    addText();
    addTime();
    addDiagnostics();
    addFiles();
    addSystem();
    addRegistry();
    addTrees();
    addRestore();
}

World::~World() = default;

bool World::isTraceFree() {
    // An operation may have left the trace to the console.
    static std::wostream s_nowhere(nullptr);
    Recorder::instance()->setStream(&s_nowhere, nullptr, false);
    auto line = std::async(std::launch::async, [] {
        LOG_INFO("free");
        wchar_t file[] = L"f";
        wchar_t text[] = L"t";
        logMessage(file, 1, 0, text);
    });
    if (line.wait_for(std::chrono::seconds(10)) == std::future_status::ready) {
        return true;
    }
    // It would wait for ever, and so would the end of this function.
    std::fputs("another thread cannot write to the trace any more\n", stderr);
    std::abort();
}

Operation& World::add(const std::string& name, std::function<std::string()> run) {
    m_operations.push_back(
        {name, [] {}, std::move(run), [](const std::string& told) { return told; }, {}, {}});
    return m_operations.back();
}

void World::addText() {
    add("allocateString", [] {
        // Given back also when there is no memory to show them.
        const auto show = [](wchar_t* text) {
            const auto giveBack = [](wchar_t* it) { deleteKESTArray(&it); };
            const std::unique_ptr<wchar_t, decltype(giveBack)> owned(text, giveBack);
            return plain(text);
        };
        std::string shown = show(allocateString(std::wstring(L"wide")));
        shown += "," + show(allocateString("narrow"));
        return shown;
    }).promises = {{"wcscpy_s", {",narrow", "wide,"}}};
    add("memcpy, wcscpy", [] {
        char bytes[4] = "";
        Tallowmere::memcpy(bytes, 4, "abc", 4);
        wchar_t text[4] = L"";
        const bool isCopied = Tallowmere::wcscpy(text, 4, L"abc") == text;
        return std::string(bytes) + (isCopied ? " and copied" : " and null");
    }).promises = {{"memcpy_s", {" and copied"}}, {"wcscpy_s", {"abc and null"}}};
    add("split and the like", [] {
        std::vector<std::wstring> fields;
        split(L" a long field, and another one that needs memory,,", L',', fields);
        return number(static_cast<std::int64_t>(fields.size())) + plain(toLower(chomp(fields[1])));
    });
    add("localizeHistoryTime", [] { return plain(localizeHistoryTime(L"2010.05.17-08.30.00")); })
        .promises = {{"GetTimeZoneInformation", {"-"}},
                     {"SystemTimeToTzSpecificLocalTime", {"-"}},
                     {"GetDateFormatW", {", 10:30:00 AM"}},
                     {"GetTimeFormatW", {"Monday, May 17, 2010, "}}};
}

void World::addTime() {
    const auto shown = [](const DateTime& time) {
        return number(time.getSecondsSinceEpoch()) +
               (time == DateTime::s_invalid ? " invalid" : "");
    };
    add("DateTime()", [] { return DateTime() > DateTime::s_begin ? "later" : "earlier"; });
    add("DateTime(seconds)", [=] { return shown(DateTime(12'591'158'400)); }).promises = {
        {"FileTimeToSystemTime", {"-1 invalid"}}, {"SystemTimeToFileTime", {"-1"}}};
    add("DateTime(fields, local)", [=] { return shown(DateTime(2010, 5, 17, 10, 30, 0, true)); })
        .promises = {{"TzSpecificLocalTimeToSystemTime", {"-1 invalid"}},
                     {"SystemTimeToFileTime", {"-1"}}};
    add("DateTime(text)", [=] { return shown(DateTime(L"12591158400")); }).promises = {
        {"FileTimeToSystemTime", {"-1 invalid"}}, {"SystemTimeToFileTime", {"-1"}}};
    add("DateTime(no number)", [=] { return shown(DateTime(L"1e3")); });
    add("DateTime::operator+=",
        [=] {
            DateTime time(2000, 2, 28, 12, 0, 0, false);
            time += 86400;
            return time == DateTime(2000, 2, 29, 12, 0, 0, false) ? "moved" : "as it was";
        })
        .promises = {{"SystemTimeToFileTime", {"as it was"}},
                     {"FileTimeToSystemTime", {"as it was"}}};
    add("DateTime::toString",
        [] {
            return plain(
                DateTime(2010, 5, 17, 8, 30, 0, false).toString(true, nullptr, nullptr, true));
        })
        .promises = {{"SystemTimeToTzSpecificLocalTime", {"-"}},
                     {"GetDateFormatW", {", 10:30:00.000 AM"}},
                     {"GetTimeFormatW", {"Monday, May 17, 2010,.000 "}}};
    add("DateTime::timestampString", [] {
        return plain(DateTime(2000, 1, 1, 0, 0, 0, false).timestampString());
    }).promises = {{"SystemTimeToFileTime", {"-"}}};
    add("DateTime::getMicroSecondsSinceEpoch", [] {
        return number(DateTime(2000, 1, 1, 0, 0, 0, false).getMicroSecondsSinceEpoch());
    }).promises = {{"SystemTimeToFileTime", {"-1"}}};
    const std::uint64_t ticks = 129185586000000000;
    const FILETIME file = {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
    add("filetimeToString", [=] { return plain(filetimeToString(file, false, false)); })
        .promises = {{"FileTimeToSystemTime", {"-00.00.00"}},
                     {"GetDateFormatW", {"-08.30.00"}},
                     {"GetTimeFormatW", {"2010.05.17-"}}};
    add("systemTimeToStringCoded", [] {
        return plain(systemTimeToStringCoded({2010, 1, 0, 2, 3, 4, 5, 0}));
    }).promises = {{"GetDateFormatW", {"-03.04.05"}}, {"GetTimeFormatW", {"2010.01.02-"}}};
}

void World::addDiagnostics() {
    Parts& parts = *m_parts;
    add("getSystemErrorMessage", [] {
        return plain(getSystemErrorMessage(2, nullptr));
    }).promises = {{"FormatMessageW", {"Unknown error code: 0x2"}}};
    add("reportSystemError", [] {
        reportSystemError(2, L"operation");
        return "written";
    });
    add("a log statement", [] {
        LOG_WARNING(L"text " << 7 << " more");
        return "written";
    });
    add("logMessage", [] {
        wchar_t file[] = L"C:\\src\\file";
        wchar_t text[] = L"a message that is longer than a short text";
        logMessage(file, 12, 1, text);
        return "written";
    }).before = [] { s_exportLock.release(); };
    // Deliberate: its lock stays held when an exception leaves it.
    Operation& file = add("setRecorderFile, ten lines", [&parts] {
        std::wstring path = parts.tree.wide("trace");
        setRecorderFile(path.data());
        for (int i = 0; i < 10; ++i) {
            LOG_INFO("line " << i);
        }
        return "written";
    });
    file.before = [&parts] {
        s_exportLock.release();
        Recorder::destroy();
        std::filesystem::remove(parts.tree / "trace");
    };
    add("Recorder::setStream", [&parts] {
        Recorder::instance()->setStream(&parts.nowhere, nullptr, false);
        return Recorder::instance()->isStreamSet() ? "set" : "not set";
    }).before = [] { Recorder::destroy(); };
    add("Lock, LockGuard",
        [&parts] {
            const bool isTaken = parts.lock.acquire(0);
            bool isTakenAgain = false;
            {
                const LockGuard guard(parts.lock, 0);
                isTakenAgain = guard.acquired();
            }
            const bool isReleased = parts.lock.release();
            return std::string(isTaken ? "taken" : "not taken") + (isTakenAgain ? " twice" : "") +
                   (isReleased ? ", released" : "");
        })
        .promises = {{"WaitForSingleObject", {"not taken twice", "taken"}},
                     {"ReleaseMutex", {"taken twice", ""}}};
}

void World::addFiles() {
    Parts& parts = *m_parts;
    const std::wstring file = parts.tree.wide("file");
    add("exists, access", [=] {
        return number(exists(file.c_str())) + number(Tallowmere::access(file.c_str(), 4));
    }).promises = {{"_waccess", {"00", "0-1", "1-1"}}};
    add("isDirectory", [&parts] {
        return isDirectory(parts.tree.wide("")) ? "a directory" : "none";
    }).promises = {{"GetFileAttributesW", {"none"}}};
    add("getFileSize", [=] {
        std::uint64_t size = 99;
        return number(getFileSize(file, size)) + " " + number(static_cast<std::int64_t>(size));
    }).promises = {{"GetFileAttributesExW", {"0 99"}}};
    add("createDirectory", [&parts] {
        createDirectory(parts.tree.wide("made/twice"));
        return parts.tree.exists("made/twice") ? "made" : "not made";
    }).promises = {{"CreateDirectoryW", {"runtime_error: CreateDirectory() failed: %E"}}};
    m_operations.back().before = [&parts] { std::filesystem::remove_all(parts.tree / "made"); };
    add("getCurrentDirectory", [] {
        std::wstring directory = L"before";
        const bool isFound = getCurrentDirectory(directory);
        return std::string(isFound ? "found" : "not found ") + (isFound ? "" : plain(directory));
    }).promises = {{"GetCurrentDirectoryW", {"not found before"}}};
    add("getExecutablePath", [] {
        return getExecutablePath().empty() ? "empty" : "found";
    }).promises = {{"GetModuleFileNameW", {"empty"}}};
    add("getSystemDirectory", [] { return plain(getSystemDirectory()); }).promises = {
        {"GetEnvironmentVariableW", {"-"}}};
    add("getInstallationDir", [] {
        std::wstring directory;
        const bool isFound = getInstallationDir(directory);
        return isFound ? plain(directory) : "not found";
    }).promises = {{"RegOpenKeyExW", {"not found"}}, {"RegQueryValueExW", {"not found"}}};
    add("getInstallationDirFromPATH", [] {
        std::wstring directory = L"before";
        const bool isFound = getInstallationDirFromPATH(directory);
        return std::string(isFound ? "found" : "not found") + plain(directory);
    });
    add("Configurable", [&parts] {
        const Configurable properties(parts.tree.wide("properties").c_str());
        return plain(properties.getProperty(L"a")) + plain(properties.getProperty(L"b"));
    }).promises = {{"fopen_s", {}}, {"fgetws", {"-", "1", "12"}}};
    m_operations.back().promises["fopen_s"] = {
        "runtime_error: fopen " + convertToString(parts.tree.wide("properties").c_str()) +
        " failed: The data is invalid."};
}

void World::addSystem() {
    add("launchProcess", [] {
        launchProcess(L"/bin/true");
        return "started";
    }).promises = {{"CreateProcessW", {"runtime_error: CreateProcess(</bin/true>): %E"}}};
    add("launchProcess, nothing there",
        [] {
            launchProcess(L"/nowhere/at all");
            return "started";
        })
        .promises = {
        {"CreateProcessW", {""}},
        {"FormatMessageW",
         {"runtime_error: CreateProcess(</nowhere/at all>): Unknown error code: 0x3",
          "runtime_error: CreateProcess(</nowhere/at all>): Unknown error code: 0x2"}}};
    add("windowsVersion", [] { return number(windowsVersion()); }).promises = {
        {"GetVersionExW", {"0"}}};
    add("getProcessorType, getOs", [] { return number(getProcessorType()) + plain(getOs()); });
    add("getNetShares", [] {
        std::map<std::wstring, std::wstring> shares;
        getNetShares(L"", shares);
        return number(static_cast<std::int64_t>(shares.size()));
    }).promises = {{"NetShareEnum", {"runtime_error: NetShareEnum failed: Access is denied."}}};
}

void World::addRegistry() {
    Parts& parts = *m_parts;
    add("Registry::getKeyValue",
        [] {
            std::wstring value;
            Registry::getKeyValue(Registry::HKLM, L"SOFTWARE\\Tallowmere\\Orrelane", L"InstallDir",
                                  value);
            return plain(value);
        })
        .promises = {
        {"RegOpenKeyExW",
         {"runtime_error: Failed to open registry key <SOFTWARE\\Tallowmere\\Orrelane>: Access is "
          "denied."}},
        {"RegQueryValueExW",
         {"runtime_error: Failed to get registry value <InstallDir>: Access is denied."}}};
    add("Registry::getSubKeys",
        [] {
            std::vector<std::wstring> names;
            Registry::getSubKeys(Registry::HKCR, L"Installer\\Products", names);
            return number(static_cast<std::int64_t>(names.size()));
        })
        .promises = {{"RegOpenKeyExW",
                      {"runtime_error: Failed to open HKCRInstaller\\Products: Access is denied."}},
                     {"RegEnumKeyExW",
                      {"runtime_error: Failed to enumerate HKCR: Access is denied.",
                       "runtime_error: Failed to enumerate HKCR1: Access is denied.",
                       "runtime_error: Failed to enumerate HKCR2: Access is denied."}}};
    const std::string folders =
        "HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\Folders";
    add("Registry::getValues",
        [] {
            std::vector<std::wstring> names;
            Registry::getValues(Registry::HKLM,
                                L"Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\Folders",
                                names);
            return number(static_cast<std::int64_t>(names.size()));
        })
        .promises = {
        {"RegOpenKeyExW", {"runtime_error: Failed to open <" + folders + ">: Access is denied."}},
        {"RegEnumValueW",
         {"runtime_error: Failed to enumerate values for <" + folders + ">: Access is denied."}}};
    add("Registry::forEachSubKey",
        [] {
            Counting counting;
            Registry::forEachSubKey(Registry::HKCR, L"Installer\\Products", L"ProductName",
                                    counting);
            return number(counting.count) + " of " +
                   number(static_cast<std::int64_t>(counting.length));
        })
        .promises = {
        {"RegOpenKeyExW",
         {"runtime_error: Failed to open <HKCR\\Installer\\Products>: Access is denied.", "1 of 10",
          "1 of 4"}},
        {"RegEnumKeyExW",
         {"runtime_error: Failed to enumerate subkeys for <HKCR\\Installer\\Products>: Access is "
          "denied."}},
        {"RegQueryValueExW", {"1 of 10", "1 of 4"}}};
    m_operations.back().withoutMemory = {"1 of 10", "1 of 4", "0 of 0"};
    const auto size = [](InstalledPrograms& programs) {
        return number(programs.numberOfObjects());
    };
    add("InstalledPrograms",
        [=] {
            InstalledPrograms programs;
            return size(programs);
        })
        .promises = {{"RegOpenKeyExW", {"", "0", "1"}},
                     {"RegEnumKeyExW", {"0", "1", "2"}},
                     {"RegQueryValueExW", {"1"}}};
    m_operations.back().withoutMemory = {"0", "1"};
    Operation& refresh = add("InstalledPrograms::refresh", [&parts, size] {
        parts.programs->refresh();
        return size(*parts.programs);
    });
    refresh.before = [&parts] { parts.programs = std::make_unique<InstalledPrograms>(); };
    refresh.promises = {{"RegOpenKeyExW", {"0", "1"}},
                        {"RegEnumKeyExW", {"0", "1", "2"}},
                        {"RegQueryValueExW", {"1"}}};
    refresh.withoutMemory = {"0", "1"};
    add("Program", [] {
        Program program(L"a name that is not short enough", L"doc, txt");
        program.setPath(L"/bin/true");
        const std::unique_ptr<Program> copy(program.clone());
        copy->execute();
        return plain(copy->getCommand()) + number(copy->isInstalled());
    }).promises = {{"CreateProcessW", {"runtime_error: CreateProcess(</bin/true >): %E"}}};
}

void World::addTrees() {
    Parts& parts = *m_parts;
    const auto build = [&parts] {
        for (const char* const name : {"from", "to", "canary"}) {
            std::filesystem::remove_all(parts.tree / name);
        }
        parts.tree.write("canary/bird", "sings");
        parts.tree.write("from/a", "new");
        parts.tree.write("from/sub/b", "new");
        std::filesystem::create_directory_symlink(parts.tree / "canary", parts.tree / "from/way");
        parts.tree.write("to/a", "old");
        parts.tree.write("to/sub/c", "old");
        std::filesystem::create_directory_symlink(parts.tree / "canary", parts.tree / "to/way");
    };
    // Which tree is there, what is left beside it, and whether the canary lives.
    const auto onDisk = [&parts](std::string answered) {
        const auto tree = parts.tree.snapshot("to");
        if (tree == std::map<std::string, std::string>{
                        {"a", "file old"},
                        {"sub", "dir"},
                        {"sub/c", "file old"},
                        {"way", "link " + (parts.tree / "canary").string()}}) {
            answered += "; old";
        } else if (tree == std::map<std::string, std::string>{
                               {"a", "file new"},
                               {"sub", "dir"},
                               {"sub/b", "file new"},
                               {"way", "link " + (parts.tree / "canary").string()}}) {
            answered += "; new";
        } else if (!parts.tree.exists("to")) {
            answered += "; gone";
        } else if (tree.count("sub/b") == 1 && tree.count("sub/c") == 1 &&
                   tree.at("a") == "file new") {
            answered += "; new laid over old";
        } else {
            answered += "; neither old nor new";
        }
        for (const auto& entry : std::filesystem::directory_iterator(parts.tree.root())) {
            if (entry.path().filename().native().rfind(".kest-", 0) == 0) {
                answered += " with a stage left";
            }
        }
        if (parts.tree.snapshot("canary") !=
            std::map<std::string, std::string>{{"bird", "file sings"}}) {
            answered += " WITH A DEAD CANARY";
        }
        return answered;
    };
    const auto answer = std::make_shared<Answer>();
    const std::wstring from = parts.tree.wide("from");
    const std::wstring to = parts.tree.wide("to");
    const auto failed = [](const std::string& what) {
        return "runtime_error: " + what + " failed: %E; old";
    };
    const auto narrow = [](const std::wstring& text) { return convertToString(text.c_str()); };

    const std::map<std::string, std::vector<std::string>> deletes = {
        {"CreateTransaction", {failed("CreateTransaction")}},
        {"CommitTransaction", {failed("CommitTransaction")}},
        {"FindFirstFileTransactedW",
         {failed("FindFirstFileTransacted " + narrow(to) + "\\*"),
          failed("FindFirstFileTransacted " + narrow(to) + "\\sub\\*")}},
        {"FindNextFileW", {failed("FindNextFile")}},
        {"DeleteFileTransactedW", {failed("DeleteFileTransacted")}},
        {"RemoveDirectoryTransactedW",
         {failed("RemoveDirectoryTransacted"),
          failed("RemoveDirectoryTransacted \\\\?\\" + narrow(to)),
          failed("RemoveDirectoryTransacted \\\\?\\" + narrow(to) + "\\sub")}}};
    auto copies = deletes;
    copies["GetFileAttributesTransactedW"] = {
        "", "runtime_error: Copy failed: " + narrow(from) + " does not exist; old",
        "done; new laid over old",
        "runtime_error: CreateSymbolicLinkTransacted " + narrow(to) +
            "\\way failed: Cannot create a file when that file already exists.; old"};
    copies["FindFirstFileTransactedW"].push_back(
        failed("FindFirstFileTransacted " + narrow(from) + "\\*"));
    copies["FindFirstFileTransactedW"].push_back(
        failed("FindFirstFileTransacted " + narrow(from) + "\\sub\\*"));
    copies["CreateDirectoryTransactedW"] = {failed("CreateDirectoryTransacted")};
    copies["CopyFileTransactedW"] = {failed("CopyFileTransacted")};
    copies["CreateSymbolicLinkTransactedW"] = {
        failed("CreateSymbolicLinkTransacted " + narrow(to) + "\\way")};
    copies["CreateFileW"] = {"", failed("CreateFile " + narrow(from) + "\\way")};
    copies["GetFinalPathNameByHandleW"] = {
        "", failed("GetFinalPathNameByHandle " + narrow(from) + "\\way")};

    Operation& copy = add("CopyDirectoryTransacted", [=] {
        CopyDirectoryTransacted(from, to);
        return "done";
    });
    copy.before = build;
    copy.after = onDisk;
    copy.promises = copies;

    Operation& copyForC = add("CopyDirectoryTransacted for C", [=] {
        answer->result = ::CopyDirectoryTransacted(from.c_str(), to.c_str(), &answer->error);
        return "";
    });
    copyForC.before = build;
    copyForC.after = [=](const std::string& thrown) { return onDisk(told(*answer, thrown)); };
    for (const auto& [call, outcomes] : copies) {
        for (const std::string& one : outcomes) {
            const std::string thrown = "runtime_error: ";
            copyForC.promises[call].push_back(one.starts_with(thrown)
                                                  ? "false: " + one.substr(thrown.size())
                                              : one.starts_with("done") ? "true" + one.substr(4)
                                                                        : one);
        }
    }
    Operation& erase = add("DeleteDirectoryTransacted", [=] {
        DeleteDirectoryTransacted(to);
        return "done";
    });
    erase.before = build;
    erase.after = onDisk;
    erase.promises = deletes;
    // Deliberate: whatever kept the path from being found, it counts as not there.
    erase.promises["GetFileAttributesTransactedW"] = {"done; old"};

    const std::wstring link = parts.tree.wide("link");
    const std::wstring made = parts.tree.wide("made link");
    const auto remove = [&parts] { std::filesystem::remove(parts.tree / "made link"); };
    const std::map<std::string, std::vector<std::string>> links = {
        {"GetFileAttributesW", {"runtime_error: " + narrow(link) + " does not exist"}},
        {"CreateFileW", {"runtime_error: CreateFile " + narrow(link) + " failed: %E"}},
        {"GetFinalPathNameByHandleW",
         {"runtime_error: GetFinalPathNameByHandle " + narrow(link) + " failed: %E"}},
        {"CreateSymbolicLinkW",
         {"runtime_error: CreateSymbolicLink " + narrow(made) + " failed: %E"}}};
    const auto stands = [&parts](const std::string& answered) {
        return answered + (parts.tree.exists("made link") ? "; made" : "");
    };
    Operation& copyLink = add("CopyLink", [=] {
        CopyLink(link, made);
        return "done";
    });
    copyLink.before = remove;
    copyLink.after = stands;
    copyLink.promises = links;
    Operation& copyLinkForC = add("CopyLink for C", [=] {
        answer->result = ::CopyLink(link.c_str(), made.c_str(), &answer->error);
        return "";
    });
    copyLinkForC.before = remove;
    copyLinkForC.after = [=](const std::string& thrown) { return stands(told(*answer, thrown)); };
    for (const auto& [call, outcomes] : links) {
        copyLinkForC.promises[call] = {"false: " + outcomes[0].substr(15)};
    }
}

void World::addRestore() {
    Operation& points = add("getRestorePoints", [] {
        std::vector<RestorePoint> found;
        getRestorePoints(found);
        return number(static_cast<std::int64_t>(found.size()));
    });
    const auto answer = std::make_shared<Answer>();
    Operation& restore = add("restoreSystem for C", [=] {
        answer->result = restoreSystem(12, &answer->error);
        return "";
    });
    restore.after = [=](const std::string& thrown) { return told(*answer, thrown); };
    const auto failed = [](const std::string& text) {
        return std::vector<std::string>{"runtime_error: " + text};
    };
    const std::map<std::string, std::vector<std::string>> session = {
        {"CoInitializeEx", failed("Failed to initialize COM library. Error code = 0x8007000e")},
        {"CoInitializeSecurity", failed("Failed to initialize security. Error code = 0x80070005")},
        {"CoCreateInstance", failed("Failed to create IWbemLocator object. Err code = 0x80040154")},
        {"IWbemLocator_ConnectServer", failed("Could not connect to WMI. Error code = 0x8004100e")},
        {"CoSetProxyBlanket", failed("Could not set proxy blanket. Error code = 0x80004002")}};
    points.promises = session;
    points.promises["SysAllocString"] = {"bad_alloc"};
    points.promises["IEnumWbemClassObject_Next"] =
        failed("Wmi query <Select * from SystemRestore> failed: Invalid class");
    // A point without all of its properties is skipped.
    points.promises["IWbemClassObject_Get"] = {"0"};
    points.promises["IWbemServices_ExecQuery"] =
        failed("Query for operating system name failed.  Error code = 0x80041017");
    for (const auto& [call, outcomes] : session) {
        restore.promises[call] = {"false: " + outcomes[0].substr(15)};
    }
    restore.promises["SysAllocString"] = {"false: std::bad_alloc"};
    const std::pair<const char*, const char*> steps[] = {
        {"IWbemServices_GetObject", "IWbemServices::GetObject() failed. Error code = 0x80041002"},
        {"IWbemClassObject_GetMethod",
         "IWbemClassObject::GetMethod() failed. Error code = 0x8004102e"},
        {"IWbemClassObject_SpawnInstance",
         "IWbemClassObject::Put() failed. Error code = 0x80004003"},
        {"IWbemClassObject_Put", "IWbemClassObject::Put() failed. Error code = 0x80041005"},
        {"IWbemServices_ExecMethod", "IWbemServices::ExecMethod() failed. Error code = 0x8004102f"},
        {"IWbemClassObject_Get", "IWbemClassObject::Get() failed. Error code = 0x80041002"}};
    for (const auto& [call, message] : steps) {
        restore.promises[call] = {std::string("false: ") + message};
    }
}

}  // namespace Tallowmere::testing
