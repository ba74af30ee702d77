// Sessions with the management service of the system itself.

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "kest/c_api.h"
#include "kest/platform/Calls.h"
#include "kest/platform/contract/Differs.h"
#include "kest/restore/RestorePoint.h"
#include "kest/restore/WmiSession.h"
#include "kest/text/Paths.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere {
namespace {

using platform::os;
using platform::contract::runsUnderWine;
using Texts = std::vector<std::wstring>;

template <class Body>
void apart(const Body& body) {
    std::thread(body).join();
}

std::string whatIsThrown(const wchar_t* namespacePath, const wchar_t* query) {
    std::vector<wmi::Row> rows;
    try {
        wmi::getWmiInfo(namespacePath, query, {L"Name"}, rows);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "nothing";
}

class RoundTrip : public ::testing::Test {
protected:
    bool hasLine(const std::wstring& line) const {
        const Texts lines = trace.lines();
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }

    testing::TraceCapture trace;
};

TEST_F(RoundTrip, ListsTheRestorePoints) {
    std::vector<RestorePoint> points;
    apart([&] { getRestorePoints(points); });
    const Texts lines = trace.lines();
    const auto counted = std::find_if(lines.begin(), lines.end(), [](const std::wstring& line) {
        return line.find(L" restore points") != line.npos;
    });
    ASSERT_NE(lines.end(), counted);
    // Wine's one point has neither a description nor a time.
    KEST_DIFFERS_ON_WINE("gives a point of nulls",
                         *counted != L"INFO SystemRestoreWin: 1 restore points");
    KEST_DIFFERS_ON_WINE("gives a point of nulls",
                         !hasLine(L"WARNING SystemRestoreWin: Skipping a restore point"));
    EXPECT_TRUE(points.empty() || !runsUnderWine());
}

TEST_F(RoundTrip, ARestoreToANumberThatIsNotThereHarmsNobody) {
    wchar_t* error = nullptr;
    bool isRestored = false;
    apart([&] { isRestored = restoreSystem(4294967295, &error); });
    KEST_DIFFERS_ON_WINE("has no signature of the method", isRestored);
    if (!isRestored) {
        EXPECT_STREQ(L"IWbemClassObject::Put() failed. Error code = 0x80004003", error);
    }
    deleteKESTArray(&error);
}

TEST_F(RoundTrip, ReadsTextsAndIntegersOfSeveralObjects) {
    std::vector<wmi::Row> rows;
    apart([&] {
        wmi::getWmiInfo(L"ROOT\\CIMV2", L"Select * from Win32_Process", {L"Name", L"ProcessId"},
                        rows);
    });
    // This process is among them, under the name of its file.
    wchar_t path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, path, static_cast<DWORD>(MAX_PATH));
    const wmi::Row expected = {baseName(std::wstring(path, length)),
                               std::to_wstring(GetCurrentProcessId())};
    EXPECT_LT(1U, rows.size());
    EXPECT_EQ(1, std::count(rows.begin(), rows.end(), expected));
}

TEST_F(RoundTrip, APropertyThatIsNotThereMakesTheRowShorter) {
    std::vector<wmi::Row> rows;
    apart([&] {
        wmi::getWmiInfo(L"ROOT\\CIMV2", L"Select * from Win32_OperatingSystem",
                        {L"NoSuchProperty", L"Caption"}, rows);
    });
    ASSERT_EQ(1U, rows.size());
    EXPECT_EQ(1U, rows[0].size());
}

TEST_F(RoundTrip, TellsOfANamespaceThatIsNotThere) {
    apart([] {
        EXPECT_EQ("Could not connect to WMI. Error code = 0x8004100e",
                  whatIsThrown(L"ROOT\\NOSUCH", L"Select * from SystemRestore"));
    });
}

TEST_F(RoundTrip, TellsOfAQueryThatIsNone) {
    apart([] {
        EXPECT_EQ("Query for operating system name failed.  Error code = 0x80041017",
                  whatIsThrown(L"ROOT\\DEFAULT", L"nonsense"));
    });
}

TEST_F(RoundTrip, ASecondSessionWorks) {
    std::vector<RestorePoint> points;
    apart([&] { getRestorePoints(points); });
    trace.clear();
    apart([&] { getRestorePoints(points); });
    KEST_DIFFERS_ON_WINE(
        "sets security as often as it is asked",
        hasLine(L"WARNING SystemRestoreWin: CoInitializeSecurity() has already been called"));
}

TEST_F(RoundTrip, AThreadInTheOtherModeIsWarnedAndServed) {
    apart([&] {
        EXPECT_EQ(S_OK, os().CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
        std::vector<wmi::Row> rows;
        wmi::getWmiInfo(L"ROOT\\CIMV2", L"Select * from Win32_OperatingSystem", {L"Caption"}, rows);
        EXPECT_EQ(1U, rows.size());
        // The session has given back what it did not take.
        EXPECT_EQ(S_OK, os().CoInitializeEx(nullptr, COINIT_MULTITHREADED));
        os().CoUninitialize();
    });
    EXPECT_TRUE(hasLine(L"WARNING SystemRestoreWin: CoInitializeEx failed with mode change"));
}

}  // namespace
}  // namespace Tallowmere
