#include "kest/restore/RestorePoint.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <stdexcept>

#include "kest/platform/testing/ScopedCall.h"
#include "kest/restore/testing/ScriptedWmi.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::testing::ScopedCall;
using testing::ScriptedWmi;
using Texts = std::vector<std::wstring>;

constexpr const wchar_t* kTime = L"20240131235959.000000-000";

// --- The value type.

TEST(RestorePoint, HasTheCurrentTimeAndEmptyTexts) {
    const ScopedCall<&Calls::GetSystemTime> now(
        [](SYSTEMTIME* time) { *time = SYSTEMTIME{2026, 11, 1, 16, 5, 35, 54, 123}; });
    const RestorePoint point;
    EXPECT_EQ(L"", point.description);
    EXPECT_EQ(L"", point.type);
    EXPECT_EQ(2026, point.creationTime->wYear);
    EXPECT_EQ(123, point.creationTime->wMilliseconds);
    EXPECT_EQ(1, now.count());
}

TEST(RestorePoint, HasItsFieldsInOrder) {
    RestorePoint point;
    const auto* const begin = reinterpret_cast<const std::byte*>(&point);
    const auto at = [&](const void* field) { return static_cast<const std::byte*>(field) - begin; };
    EXPECT_EQ(0, at(&point.description));
    EXPECT_LT(at(&point.description), at(&point.type));
    EXPECT_LT(at(&point.type), at(&point.creationTime));
    EXPECT_LT(at(&point.creationTime), at(&point.sequenceNumber));
}

RestorePoint sample(int number) {
    RestorePoint point;
    point.description = L"point " + std::to_wstring(number);
    point.type = L"type " + std::to_wstring(number);
    *point.creationTime = SYSTEMTIME{2024, 1, 2, 3, 4, 5, 6, 7};
    point.creationTime->wDay = static_cast<unsigned short>(number);
    point.sequenceNumber = number;
    return point;
}

TEST(RestorePoint, ACopyHasATimeOfItsOwn) {
    const RestorePoint source = sample(5);
    const RestorePoint copy(source);
    EXPECT_EQ(L"point 5", copy.description);
    EXPECT_EQ(L"type 5", copy.type);
    EXPECT_EQ(5, copy.sequenceNumber);
    ASSERT_NE(source.creationTime, copy.creationTime);
    EXPECT_EQ(5, copy.creationTime->wDay);
    EXPECT_EQ(7, copy.creationTime->wMilliseconds);
    source.creationTime->wDay = 9;
    EXPECT_EQ(5, copy.creationTime->wDay);
}

TEST(RestorePoint, AnAssignmentCopiesDeeply) {
    RestorePoint source = sample(5);
    RestorePoint target = sample(6);
    EXPECT_EQ(&target, &(target = source));
    EXPECT_EQ(L"point 5", target.description);
    EXPECT_EQ(L"type 5", target.type);
    EXPECT_EQ(5, target.sequenceNumber);
    EXPECT_NE(source.creationTime, target.creationTime);
    EXPECT_EQ(5, target.creationTime->wDay);
}

TEST(RestorePoint, AnAssignmentToItselfChangesNothing) {
    RestorePoint point = sample(5);
    const SYSTEMTIME* const time = point.creationTime;
    const RestorePoint& same = point;
    point = same;
    EXPECT_EQ(L"point 5", point.description);
    EXPECT_EQ(time, point.creationTime);
    EXPECT_EQ(5, point.creationTime->wDay);
}

// --- The list.

class RestorePoints : public ::testing::Test {
protected:
    /// The lines after the session's own.
    Texts linesOfTheList() {
        const Texts all = trace.lines();
        const std::wstring last =
            L"INFO SystemRestoreWin: Exiting `anonymous-namespace'::getWmiInfo>";
        for (std::size_t i = 0; i < all.size(); ++i) {
            if (all[i] == last) {
                return Texts(all.begin() + static_cast<std::ptrdiff_t>(i) + 1, all.end());
            }
        }
        return {L"the session did not end"};
    }

    /// The name of a type that is read from this value.
    std::wstring typeOf(const ScriptedWmi::Value& type) {
        wmi.restart();
        wmi.points = {ScriptedWmi::point(L"d", 0, kTime, 1)};
        wmi.points[0][L"RestorePointType"] = type;
        points.clear();
        getRestorePoints(points);
        return points.size() == 1 ? points[0].type : L"not listed";
    }

    testing::TraceCapture trace;
    ScriptedWmi wmi;
    std::vector<RestorePoint> points;
};

TEST_F(RestorePoints, AreListedInTheServicesOrder) {
    wmi.points = {ScriptedWmi::point(L"Before the update", 0, kTime, 12),
                  ScriptedWmi::point(L"Gr\u00FC\u00DFe \u65E5", 10, L"20231201000102.5+060", 7)};
    getRestorePoints(points);
    ASSERT_EQ(2U, points.size());
    EXPECT_EQ(L"Before the update", points[0].description);
    EXPECT_EQ(L"Application installation", points[0].type);
    EXPECT_EQ(12, points[0].sequenceNumber);
    const SYSTEMTIME& time = *points[0].creationTime;
    EXPECT_EQ((std::vector<int>{2024, 1, 65535, 31, 23, 59, 59, 0}),
              (std::vector<int>{time.wYear, time.wMonth, time.wDayOfWeek, time.wDay, time.wHour,
                                time.wMinute, time.wSecond, time.wMilliseconds}));
    EXPECT_EQ(L"Gr\u00FC\u00DFe \u65E5", points[1].description);
    EXPECT_EQ(L"Device driver installation", points[1].type);
    EXPECT_EQ(7, points[1].sequenceNumber);
    EXPECT_EQ(2023, points[1].creationTime->wYear);
    EXPECT_NE(points[0].creationTime, points[1].creationTime);
    EXPECT_EQ((Texts{L"INFO SystemRestoreWin: 2 restore points",
                     L"INFO SystemRestoreWin: Before the update 0 20240131235959.000000-000 12 ",
                     L"INFO SystemRestoreWin: Gr\u00FC\u00DFe \u65E5 10 20231201000102.5+060 7 "}),
              linesOfTheList());
}

TEST_F(RestorePoints, AreAskedForInOneSession) {
    getRestorePoints(points);
    EXPECT_EQ(
        L"IWbemLocator_ConnectServer(locator, \"ROOT\\DEFAULT\", null, null, null, 0, null, "
        L"null)",
        wmi.calls()[3]);
    EXPECT_EQ(
        L"IWbemServices_ExecQuery(services, \"WQL\", \"Select * from SystemRestore\", 48, "
        L"null)",
        wmi.calls()[5]);
    EXPECT_EQ(Texts(), wmi.leftBehind());
}

TEST_F(RestorePoints, AreAskedForTheirPropertiesInOrder) {
    wmi.points = {ScriptedWmi::point(L"d", 0, kTime, 12)};
    getRestorePoints(points);
    Texts names;
    for (const std::wstring& call : wmi.calls()) {
        if (call.find(L"IWbemClassObject_Get(") == 0) {
            names.push_back(call);
        }
    }
    EXPECT_EQ((Texts{L"IWbemClassObject_Get(object1, \"Description\", 0, null, null)",
                     L"IWbemClassObject_Get(object1, \"RestorePointType\", 0, null, null)",
                     L"IWbemClassObject_Get(object1, \"CreationTime\", 0, null, null)",
                     L"IWbemClassObject_Get(object1, \"SequenceNumber\", 0, null, null)"}),
              names);
}

TEST_F(RestorePoints, NoneLeaveTheListAsItWas) {
    points.push_back(sample(5));
    getRestorePoints(points);
    ASSERT_EQ(1U, points.size());
    EXPECT_EQ(5, points[0].sequenceNumber);
    EXPECT_EQ(Texts{L"INFO SystemRestoreWin: 0 restore points"}, linesOfTheList());
}

TEST_F(RestorePoints, AreAddedToThoseThatAreThere) {
    wmi.points = {ScriptedWmi::point(L"a", 0, kTime, 1), ScriptedWmi::point(L"b", 1, kTime, 2)};
    getRestorePoints(points);
    wmi.restart();
    getRestorePoints(points);
    ASSERT_EQ(4U, points.size());
    EXPECT_EQ(L"a", points[2].description);
    EXPECT_EQ(L"b", points[3].description);
}

TEST_F(RestorePoints, HaveTypesByName) {
    EXPECT_EQ(L"Application installation", typeOf(ScriptedWmi::number(0)));
    EXPECT_EQ(L"Application uninstallation", typeOf(ScriptedWmi::number(1)));
    EXPECT_EQ(L"Device driver installation", typeOf(ScriptedWmi::number(10)));
    EXPECT_EQ(L"Settings modification", typeOf(ScriptedWmi::number(12)));
    EXPECT_EQ(L"Cancelled operation", typeOf(ScriptedWmi::number(13)));
    for (const int other : {2, 3, 6, 7, 9, 11, 14, 100, -1}) {
        EXPECT_EQ(L"Restore point type " + std::to_wstring(other),
                  typeOf(ScriptedWmi::number(other)));
    }
}

TEST_F(RestorePoints, HaveATypeAlsoWhenItIsAText) {
    EXPECT_EQ(L"Application installation", typeOf(ScriptedWmi::text(L"no number")));
    EXPECT_EQ(L"Application installation", typeOf(ScriptedWmi::text(L"")));
    EXPECT_EQ(L"Settings modification", typeOf(ScriptedWmi::text(L" 12 monkeys")));
    EXPECT_EQ(L"Restore point type  7x", typeOf(ScriptedWmi::text(L" 7x")));
}

TEST_F(RestorePoints, WithAPropertyMissingAreSkipped) {
    for (const wchar_t* name :
         {L"Description", L"RestorePointType", L"CreationTime", L"SequenceNumber"}) {
        wmi.restart();
        trace.clear();
        points.clear();
        wmi.points = {ScriptedWmi::point(L"a", 0, kTime, 1), ScriptedWmi::point(L"b", 0, kTime, 2)};
        wmi.points[0].erase(name);
        getRestorePoints(points);
        ASSERT_EQ(1U, points.size()) << name;
        EXPECT_EQ(L"b", points[0].description);
        EXPECT_EQ((Texts{L"INFO SystemRestoreWin: 2 restore points",
                         L"WARNING SystemRestoreWin: Skipping a restore point",
                         L"INFO SystemRestoreWin: b 0 20240131235959.000000-000 2 "}),
                  linesOfTheList());
    }
}

TEST_F(RestorePoints, OfNullTextsAreSkipped) {
    // What a system gives that has the class and no points.
    wmi.points = {ScriptedWmi::point(L"", 0, L"", 0)};
    wmi.points[0][L"Description"].kind = VT_NULL;
    wmi.points[0][L"CreationTime"].kind = VT_NULL;
    getRestorePoints(points);
    EXPECT_TRUE(points.empty());
    EXPECT_EQ((Texts{L"INFO SystemRestoreWin: 1 restore points",
                     L"WARNING SystemRestoreWin: Skipping a restore point"}),
              linesOfTheList());
}

TEST_F(RestorePoints, KeepOddTimesAndNumbers) {
    wmi.points = {ScriptedWmi::point(L"a", 0, L"2024", 1), ScriptedWmi::point(L"b", 0, L"", -1)};
    wmi.points[0][L"SequenceNumber"] = ScriptedWmi::text(L" 99999999999");
    getRestorePoints(points);
    ASSERT_EQ(2U, points.size());
    EXPECT_EQ(2024, points[0].creationTime->wYear);
    EXPECT_EQ(0, points[0].creationTime->wMonth);
    EXPECT_EQ(2147483647, points[0].sequenceNumber);
    EXPECT_EQ(0, points[1].creationTime->wYear);
    EXPECT_EQ(65535, points[1].creationTime->wDayOfWeek);
    EXPECT_EQ(-1, points[1].sequenceNumber);
}

TEST_F(RestorePoints, AreTracedAsTheyAreWhateverADescriptionBeginsWith) {
    // Texts that would be markers if a program's own constants began so.
    for (const wchar_t* odd : {L"!~Sev:ERROR", L"A Severe one", L"!~Fil:x", L"\\\\Sevilla"}) {
        wmi.restart();
        trace.clear();
        wmi.points = {ScriptedWmi::point(odd, 0, kTime, 1)};
        getRestorePoints(points);
        EXPECT_EQ((Texts{L"INFO SystemRestoreWin: 1 restore points",
                         L"INFO SystemRestoreWin: " + std::wstring(odd) +
                             L" 0 20240131235959.000000-000 1 "}),
                  linesOfTheList());
    }
}

TEST_F(RestorePoints, AFailedQueryReachesTheCallerUnchanged) {
    wmi.points = {ScriptedWmi::point(L"a", 0, kTime, 1)};
    wmi.answer(L"CoSetProxyBlanket", E_NOINTERFACE);
    points.push_back(sample(5));
    try {
        getRestorePoints(points);
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ("Could not set proxy blanket. Error code = 0x80004002", error.what());
    }
    EXPECT_EQ(1U, points.size());
    EXPECT_EQ(Texts(), linesOfTheList());
    EXPECT_EQ(Texts(), wmi.leftBehind());
}

}  // namespace
}  // namespace Tallowmere
