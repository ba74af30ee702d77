// A host as busy as it gets: sixteen threads that log, copy, read and reload at the same time, into
// a trace file that is looked at all the while. Above all for the thread sanitizer.

#include <gtest/gtest.h>

#include <atomic>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "kest/c_api.h"
#include "kest/config/Configurable.h"
#include "kest/diagnostics/Log.h"
#include "kest/diagnostics/SystemErrors.h"
#include "kest/diagnostics/testing/ScratchFile.h"
#include "kest/platform/testing/RegistryFixture.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/registry/InstalledPrograms.h"
#include "kest/registry/Registry.h"
#include "kest/system/FileSystem.h"
#include "kest/text/HistoryPaths.h"
#include "kest/time/DateTime.h"
#include "kest/transacted/TransactedFS.h"

namespace Tallowmere {
namespace {

using platform::testing::RegistryFixture;
using platform::testing::TempTree;

constexpr int kThreads = 16;
constexpr int kRounds = 6;

class Host : public ::testing::Test {
protected:
    Host()
        : registry(platform::testing::kRegistryHeader +
                   std::string("[HKEY_CLASSES_ROOT\\Installer\\Products\\1]\r\n"
                               "\"ProductName\"=\"Alpha Tool\"\r\n")) {
        Recorder::destroy();
        tree.write("properties", "<a>1</a>\n");
        for (int i = 0; i < kThreads; ++i) {
            tree.write("from" + std::to_string(i) + "/sub/file", "content");
        }
    }
    ~Host() override { Recorder::destroy(); }

    static void log(int thread, int round) {
        std::wstring file = L"C:\\src\\host";
        std::wstring text = L"message " + std::to_wstring(round);
        logMessage(file.data(), thread, round % 4, text.data());
        LOG_INFO(L"thread " << thread << " round " << round);
        const FunctionTrace trace("log", "HostTest", __LINE__);
    }

    void copy(int thread) {
        const std::string number = std::to_string(thread);
        wchar_t* error = nullptr;
        EXPECT_TRUE(::CopyDirectoryTransacted(tree.wide("from" + number).c_str(),
                                              tree.wide("to" + number).c_str(), &error));
        EXPECT_EQ(nullptr, error);
        // One that all of them fight for: done or refused, and whole in any case.
        (void)::CopyDirectoryTransacted(tree.wide("from" + number).c_str(),
                                        tree.wide("shared").c_str(), &error);
        deleteKESTArray(&error);
        DeleteDirectoryTransacted(tree.wide("to" + number));
    }

    void read() {
        const Configurable properties(tree.wide("properties").c_str());
        EXPECT_EQ(L"1", properties.getProperty(L"a"));
        std::wstring value;
        Registry::getKeyValue(Registry::HKCR, L"Installer\\Products\\1", L"ProductName", value);
        EXPECT_EQ(L"Alpha Tool", value);
        EXPECT_TRUE(isDirectory(tree.wide("")));
        EXPECT_FALSE(localizeHistoryTime(L"2010.05.17-08.30.00").empty());
        EXPECT_FALSE(DateTime().toString(true, nullptr, nullptr, true).empty());
        EXPECT_FALSE(getSystemErrorMessage(5, nullptr).empty());
    }

    static void reload() {
        InstalledPrograms programs;
        programs.refresh();
        EXPECT_EQ(1U, programs.numberOfObjects());
        EXPECT_TRUE(programs.isInstalled(L"Alpha"));
        (void)Program(L"Alpha", L"").isInstalled();
    }

    RegistryFixture registry;
    TempTree tree;
};

TEST_F(Host, OfSixteenThreadsThatLogCopyReadAndReload) {
    std::wstring path = tree.wide("trace");
    setRecorderFile(path.data());
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([this, i] {
            for (int round = 0; round < kRounds; ++round) {
                switch ((i + round) % 4) {
                    case 0:
                        log(i, round);
                        break;
                    case 1:
                        copy(i);
                        break;
                    case 2:
                        read();
                        break;
                    default:
                        reload();
                        break;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    Recorder::destroy();
    // No line was torn by another one: each begins with a time and has the four tabs of a line, but
    // for the rest of a system's text.
    std::istringstream trace(tree.read("trace"));
    int lines = 0;
    for (std::string line; std::getline(trace, line);) {
        const auto tabs = std::count(line.begin(), line.end(), '\t');
        EXPECT_TRUE(tabs == 4 || line.empty() || line == "\r") << line;
        lines += tabs == 4 ? 1 : 0;
    }
    EXPECT_GT(lines, 500);
    EXPECT_TRUE(tree.read("shared/sub/file") == "content");
    for (const auto& entry : std::filesystem::directory_iterator(tree.root())) {
        EXPECT_EQ(std::string::npos, entry.path().filename().string().find(".kest-"));
    }
}

}  // namespace
}  // namespace Tallowmere
