// The whole way from a file of instances to the caller and back, with nothing replaced but the
// clock.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "kest/c_api.h"
#include "kest/platform/Calls.h"
#include "kest/platform/linux/ManagementObjects.h"
#include "kest/platform/linux/testing/ScopedRepository.h"
#include "kest/restore/RestorePoint.h"
#include "kest/restore/WmiSession.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere {
namespace {

using platform::os;
using platform::management::liveObjects;
using platform::testing::mofPoint;
using platform::testing::ScopedRepository;
using Texts = std::vector<std::wstring>;

constexpr const char* kTime = "20240131235959.000000-000";

/// Runs on a thread of its own, which gives its COM back at its end.
template <class Body>
void apart(const Body& body) {
    std::thread(body).join();
}

std::string whatRestorePointsThrow() {
    std::vector<RestorePoint> points;
    try {
        getRestorePoints(points);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "nothing";
}

class RoundTrip : public ::testing::Test {
protected:
    ~RoundTrip() override { deleteKESTArray(&error); }

    std::vector<RestorePoint> list() {
        std::vector<RestorePoint> points;
        apart([&] { getRestorePoints(points); });
        return points;
    }

    bool restore(unsigned long number) {
        bool isRestored = false;
        deleteKESTArray(&error);
        apart([&] { isRestored = restoreSystem(number, &error); });
        return isRestored;
    }

    bool hasLine(const std::wstring& line) const {
        const Texts lines = trace.lines();
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }

    testing::TraceCapture trace;
    wchar_t* error = nullptr;
};

TEST_F(RoundTrip, ListsThePointsOfTheFile) {
    const int before = liveObjects();
    const ScopedRepository file(mofPoint("Vor dem Update \\x00E4", 0, kTime, 12) +
                                "instance of Other { X = 1; };" +
                                mofPoint("b", 7, "20231201000102.500000+060", 7));
    const std::vector<RestorePoint> points = list();
    ASSERT_EQ(2U, points.size());
    EXPECT_EQ(L"Vor dem Update \u00E4", points[0].description);
    EXPECT_EQ(L"Application installation", points[0].type);
    EXPECT_EQ(12, points[0].sequenceNumber);
    EXPECT_EQ(2024, points[0].creationTime->wYear);
    EXPECT_EQ(65535, points[0].creationTime->wDayOfWeek);
    EXPECT_EQ(L"Restore point type 7", points[1].type);
    EXPECT_EQ(7, points[1].sequenceNumber);
    EXPECT_TRUE(hasLine(L"INFO SystemRestoreWin: 2 restore points"));
    EXPECT_EQ(before, liveObjects());
}

TEST_F(RoundTrip, HasNoPointsWithoutAFile) {
    const ScopedRepository file;
    ::unsetenv("KEST_WMI");
    EXPECT_TRUE(list().empty());
    EXPECT_TRUE(hasLine(L"INFO SystemRestoreWin: 0 restore points"));
    EXPECT_TRUE(restore(12));
    EXPECT_TRUE(hasLine(L"INFO SystemRestoreWin: SystemRestore::Restore() returned13"));
    ScopedRepository::set("");
    EXPECT_TRUE(list().empty());
}

TEST_F(RoundTrip, SkipsAPointThatLacksAProperty) {
    const ScopedRepository file(
        "instance of SystemRestore { RestorePointType = 0; CreationTime = \"2024\"; "
        "SequenceNumber = 1; };"
        "instance of SystemRestore { Description = NULL; RestorePointType = 0; CreationTime = "
        "\"2024\"; SequenceNumber = 2; };"
        "instance of SystemRestore { Description = TRUE; RestorePointType = 0; CreationTime = "
        "\"2024\"; SequenceNumber = 3; };" +
        mofPoint("whole", 0, kTime, 4));
    const std::vector<RestorePoint> points = list();
    ASSERT_EQ(1U, points.size());
    EXPECT_EQ(4, points[0].sequenceNumber);
    const Texts lines = trace.lines();
    EXPECT_EQ(3, std::count(lines.begin(), lines.end(),
                            L"WARNING SystemRestoreWin: Skipping a restore point"));
}

TEST_F(RoundTrip, ListsTenThousandPoints) {
    std::string text;
    for (unsigned long number = 1; number <= 10000; ++number) {
        text += mofPoint("point " + std::to_string(number), static_cast<int>(number % 20), kTime,
                         number);
    }
    const int before = liveObjects();
    const ScopedRepository file(text);
    const std::vector<RestorePoint> points = list();
    ASSERT_EQ(10000U, points.size());
    for (int i = 0; i < 10000; ++i) {
        const RestorePoint& point = points[static_cast<std::size_t>(i)];
        ASSERT_EQ(i + 1, point.sequenceNumber);
        ASSERT_EQ(L"point " + std::to_wstring(i + 1), point.description);
    }
    EXPECT_TRUE(hasLine(L"INFO SystemRestoreWin: 10000 restore points"));
    EXPECT_EQ(before, liveObjects());
    EXPECT_TRUE(restore(10000));
    EXPECT_EQ("2026-11-16T03:35:54Z 10000\n", file.requests());
    // The instance with the number is left behind.
    EXPECT_EQ(before + 1, liveObjects());
}

TEST_F(RoundTrip, RecordsWhatWasAskedToBeRestored) {
    const ScopedRepository file(mofPoint("a", 0, kTime, 12) + mofPoint("b", 0, kTime, 4294967295));
    EXPECT_TRUE(restore(12));
    EXPECT_TRUE(hasLine(L"INFO SystemRestoreWin: SystemRestore::Restore() returned0"));
    EXPECT_TRUE(restore(4294967295));
    EXPECT_TRUE(restore(12));
    EXPECT_EQ("2026-11-16T03:35:54Z 12\n2026-11-16T03:35:54Z 4294967295\n2026-11-16T03:35:54Z 12\n",
              file.requests());
    EXPECT_FALSE(file.tree().exists("points.mof.restores.new"));
}

TEST_F(RoundTrip, ANumberThatIsNotThereIsAnsweredAndNotRecorded) {
    const ScopedRepository file(mofPoint("a", 0, kTime, 12) +
                                "instance of Other { SequenceNumber = 13; };"
                                "instance of SystemRestore { SequenceNumber = -14; };");
    for (const unsigned long number : {0UL, 11UL, 13UL, 14UL, 4294967282UL}) {
        EXPECT_TRUE(restore(number)) << number;
        EXPECT_EQ(nullptr, error);
    }
    EXPECT_TRUE(hasLine(L"INFO SystemRestoreWin: SystemRestore::Restore() returned13"));
    EXPECT_FALSE(hasLine(L"INFO SystemRestoreWin: SystemRestore::Restore() returned0"));
    EXPECT_EQ("", file.requests());
}

TEST_F(RoundTrip, ADamagedFileFailsTheQuery) {
    const int before = liveObjects();
    const ScopedRepository file(mofPoint("a", 0, kTime, 12) + "instance of");
    apart([&] {
        EXPECT_EQ("Wmi query <Select * from SystemRestore> failed: Critical error\r\n",
                  whatRestorePointsThrow());
    });
    EXPECT_TRUE(
        hasLine(L"ERROR SystemRestoreWin: Wmi query <Select * from SystemRestore> failed: Critical "
                L"error\r\n"));
    EXPECT_EQ(before, liveObjects());
}

TEST_F(RoundTrip, ADamagedFileFailsTheRestore) {
    const int before = liveObjects();
    const ScopedRepository file("instance of");
    EXPECT_FALSE(restore(12));
    EXPECT_STREQ(L"IWbemServices::ExecMethod() failed. Error code = 0x8004100a", error);
    // Locator, services, class, signature, instance.
    EXPECT_EQ(before + 5, liveObjects());
}

TEST_F(RoundTrip, AFileOfTwoGigabytesIsDamaged) {
    const ScopedRepository file(mofPoint("a", 0, kTime, 12));
    std::filesystem::resize_file(std::getenv("KEST_WMI"), std::uintmax_t{2} << 30);
    apart([&] {
        EXPECT_EQ("Wmi query <Select * from SystemRestore> failed: Critical error\r\n",
                  whatRestorePointsThrow());
    });
}

TEST_F(RoundTrip, AMissingFileFailsTheQuery) {
    const ScopedRepository file;
    apart([&] {
        EXPECT_EQ("Wmi query <Select * from SystemRestore> failed: Provider load failure\r\n",
                  whatRestorePointsThrow());
    });
    EXPECT_FALSE(restore(12));
    EXPECT_STREQ(L"IWbemServices::ExecMethod() failed. Error code = 0x80041013", error);
}

TEST_F(RoundTrip, WhatIsNoFileFailsTheQueryAtOnce) {
    const ScopedRepository file;
    const std::string pipe = (file.tree() / "points.mof").string();
    ASSERT_EQ(0, ::mkfifo(pipe.c_str(), 0600));
    for (const std::string& path : {pipe, file.tree().root().string()}) {
        ScopedRepository::set(path);
        apart([&] {
            EXPECT_EQ("Wmi query <Select * from SystemRestore> failed: Provider load failure\r\n",
                      whatRestorePointsThrow());
        });
    }
}

TEST_F(RoundTrip, ARequestThatCannotBeWrittenDownFails) {
    const ScopedRepository file(mofPoint("a", 0, kTime, 12));
    file.tree().makeDirectory("points.mof.restores");
    file.tree().write("points.mof.restores/in the way", "");
    EXPECT_FALSE(restore(12));
    EXPECT_STREQ(L"IWbemServices::ExecMethod() failed. Error code = 0x80041004", error);
    EXPECT_FALSE(file.tree().exists("points.mof.restores.new"));
}

TEST_F(RoundTrip, ARequestReplacesWhatAnEndedProcessLeft) {
    const ScopedRepository file(mofPoint("a", 0, kTime, 12));
    file.tree().write("points.mof.restores.new", "half a li");
    file.tree().write("points.mof.restores", "2026-11-15T00:00:00Z 11\n");
    EXPECT_TRUE(restore(12));
    EXPECT_EQ("2026-11-15T00:00:00Z 11\n2026-11-16T03:35:54Z 12\n", file.requests());
    EXPECT_FALSE(file.tree().exists("points.mof.restores.new"));
}

TEST_F(RoundTrip, RequestsOfSeveralThreadsAreAllThere) {
    const ScopedRepository file(mofPoint("a", 0, kTime, 12));
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([] {
            for (int n = 0; n < 5; ++n) {
                wchar_t* text = nullptr;
                EXPECT_TRUE(restoreSystem(12, &text));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::string expected;
    for (int i = 0; i < 40; ++i) {
        expected += "2026-11-16T03:35:54Z 12\n";
    }
    EXPECT_EQ(expected, file.requests());
}

TEST_F(RoundTrip, ASecondSessionFindsSecuritySet) {
    const ScopedRepository file("");
    (void)list();
    trace.clear();
    EXPECT_TRUE(list().empty());
    EXPECT_TRUE(
        hasLine(L"WARNING SystemRestoreWin: CoInitializeSecurity() has already been called"));
}

TEST_F(RoundTrip, AThreadInTheOtherModeIsWarnedServedAndEnded) {
    const ScopedRepository file(mofPoint("a", 0, kTime, 12));
    apart([&] {
        EXPECT_EQ(S_OK, os().CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
        std::vector<RestorePoint> points;
        getRestorePoints(points);
        EXPECT_EQ(1U, points.size());
        // The session has given back what it did not take: the thread may begin in any mode again.
        EXPECT_EQ(S_OK, os().CoInitializeEx(nullptr, COINIT_MULTITHREADED));
    });
    EXPECT_TRUE(hasLine(L"WARNING SystemRestoreWin: CoInitializeEx failed with mode change"));
}

TEST_F(RoundTrip, OtherNamespacesDoNotExist) {
    std::vector<wmi::Row> rows;
    apart([&] {
        try {
            wmi::getWmiInfo(L"ROOT\\NOSUCH", L"Select * from SystemRestore", {}, rows);
            FAIL();
        } catch (const std::runtime_error& failure) {
            EXPECT_STREQ("Could not connect to WMI. Error code = 0x8004100e", failure.what());
        }
    });
}

TEST_F(RoundTrip, OtherClassesCanBeAskedFor) {
    const ScopedRepository file(
        "instance of Thing { Name = \"n\"; Big = 8589934592; Small = -2147483648; Most = "
        "4294967295; Less = -2147483649; Real = 1.5; List = {1}; Letter = 'x'; };");
    std::vector<wmi::Row> rows;
    apart([&] {
        wmi::getWmiInfo(
            L"\\\\.\\root/default", L"select * from thing",
            {L"NAME", L"Big", L"Small", L"Most", L"Less", L"Real", L"List", L"Letter", L"None"},
            rows);
    });
    EXPECT_EQ((std::vector<wmi::Row>{{L"n", L"8589934592", L"-2147483648", L"-1", L"-2147483649"}}),
              rows);
}

}  // namespace
}  // namespace Tallowmere
