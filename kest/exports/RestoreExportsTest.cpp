#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <string>
#include <vector>

#include "kest/c_api.h"
#include "kest/platform/testing/FaultSweep.h"
#include "kest/platform/testing/ScopedCall.h"
#include "kest/restore/testing/ScriptedWmi.h"
#include "kest/text/Strings.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::testing::Fault;
using platform::testing::FaultSpan;
using platform::testing::ScopedCall;
using platform::testing::sweepFaults;
using testing::ScriptedWmi;
using Texts = std::vector<std::wstring>;

const std::wstring kEntering = L"INFO SystemRestoreWin: <Entering Tallowmere::restoreSystem";
const std::wstring kExiting = L"INFO SystemRestoreWin: Exiting Tallowmere::restoreSystem>";
const Texts kSetUp = {L"INFO SystemRestoreWin: <Entering `anonymous-namespace'::setWmiInfo",
                      L"INFO SystemRestoreWin: Exiting `anonymous-namespace'::setWmiInfo>"};
const Texts kCleanUp = {L"INFO SystemRestoreWin: <Entering `anonymous-namespace'::cleanPointers",
                        L"INFO SystemRestoreWin: Exiting `anonymous-namespace'::cleanPointers>"};

Texts operator+(Texts first, const Texts& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

class RestoreSystem : public ::testing::Test {
protected:
    ~RestoreSystem() override { deleteKESTArray(&error); }

    bool run(unsigned long number = 12) {
        deleteKESTArray(&error);
        return restoreSystem(number, &error);
    }

    /// The service fails in one of the steps.
    void expectFailure(const std::wstring& message, const Texts& before, const Texts& left) {
        EXPECT_FALSE(run());
        ASSERT_NE(nullptr, error);
        EXPECT_EQ(message, error);
        const Texts end = {L"ERROR SystemRestoreWin: " + message, kExiting};
        EXPECT_EQ(Texts{kEntering} + kSetUp + before + end, trace.lines());
        EXPECT_EQ(Texts({L"locator", L"services", L"text SystemRestore", L"text Restore"}) + left,
                  wmi.leftBehind());
        EXPECT_EQ(1, wmi.comUses());
        EXPECT_EQ(wmi.calls().end(),
                  std::find_if(wmi.calls().begin(), wmi.calls().end(), [](const auto& call) {
                      return call.find(L"_Release") != call.npos ||
                             call.find(L"VariantClear") != call.npos ||
                             call.find(L"CoUninitialize") != call.npos;
                  }));
    }

    testing::TraceCapture trace;
    ScriptedWmi wmi;
    wchar_t* error = nullptr;
};

TEST_F(RestoreSystem, MakesItsCallsInTheirOrder) {
    EXPECT_TRUE(run());
    EXPECT_EQ(
        (Texts{
            L"CoInitializeEx(null, 0)",
            L"CoInitializeSecurity(null, -1, null, null, 0, 3, null, 0, null)",
            L"CoCreateInstance(4590F811-24, null, 1, DC12A687-24)",
            L"IWbemLocator_ConnectServer(locator, \"ROOT\\DEFAULT\", null, null, null, 0, null, "
            L"null)",
            L"CoSetProxyBlanket(services, 10, 0, null, 3, 3, null, 0)",
            L"IWbemServices_GetObject(services, \"SystemRestore\", 0, null, null)",
            L"IWbemClassObject_GetMethod(class, \"Restore\", 0, null)",
            L"IWbemClassObject_SpawnInstance(signature, 0)",
            L"IWbemClassObject_Put(input, \"SequenceNumber\", 0, 3 12, 0)",
            L"IWbemServices_ExecMethod(services, \"SystemRestore\", \"Restore\", 0, null, input, "
            L"null)",
            L"IWbemClassObject_Get(output, \"ReturnValue\", 0, null, null)", L"VariantClear(3)",
            L"VariantClear(3)", L"IWbemClassObject_Release(class)",
            L"IWbemClassObject_Release(signature)", L"IWbemClassObject_Release(output)",
            L"IWbemServices_Release(services)", L"IWbemLocator_Release(locator)",
            L"CoUninitialize()"}),
        wmi.calls());
}

TEST_F(RestoreSystem, SucceedsWithoutAText) {
    wchar_t left[] = L"left from before";
    wchar_t* result = left;
    EXPECT_TRUE(restoreSystem(12, &result));
    EXPECT_EQ(nullptr, result);
    EXPECT_EQ(1U, sizeof(restoreSystem(12, &error)));
    // Deliberate: the instance with the number is the one thing that is not given back.
    EXPECT_EQ(Texts{L"input"}, wmi.leftBehind());
    EXPECT_EQ(0, wmi.comUses());
}

TEST_F(RestoreSystem, TracesItsSteps) {
    EXPECT_TRUE(run());
    const Texts steps = {L"INFO SystemRestoreWin: Put worked",
                         L"INFO SystemRestoreWin: SystemRestore::Restore() returned0"};
    EXPECT_EQ(Texts{kEntering} + kSetUp + steps + kCleanUp + Texts{kExiting}, trace.lines());
}

TEST_F(RestoreSystem, AnAnswerOtherThanZeroIsNoFailure) {
    for (const LONG answer : {13, -1, -2147024809}) {
        wmi.restart();
        trace.clear();
        wmi.returnValue = ScriptedWmi::number(answer);
        EXPECT_TRUE(run());
        EXPECT_EQ(nullptr, error);
        EXPECT_EQ(
            L"INFO SystemRestoreWin: SystemRestore::Restore() returned" + std::to_wstring(answer),
            trace.lines()[4]);
    }
}

TEST_F(RestoreSystem, AnAnswerThatIsNoIntegerCountsAsZero) {
    for (const ScriptedWmi::Value& value :
         {ScriptedWmi::text(L"7"), ScriptedWmi::Value{VT_NULL, L"", 7, false}}) {
        wmi.restart();
        trace.clear();
        wmi.returnValue = value;
        EXPECT_TRUE(run());
        EXPECT_EQ(L"INFO SystemRestoreWin: SystemRestore::Restore() returned0", trace.lines()[4]);
        // Cleared all the same.
        EXPECT_EQ(Texts{L"input"}, wmi.leftBehind());
    }
}

TEST_F(RestoreSystem, PassesTheNumberOnAsThirtyTwoBits) {
    const auto put = [&](unsigned long number) {
        wmi.restart();
        EXPECT_TRUE(run(number));
        return wmi.calls()[8];
    };
    EXPECT_EQ(L"IWbemClassObject_Put(input, \"SequenceNumber\", 0, 3 0, 0)", put(0));
    EXPECT_EQ(L"IWbemClassObject_Put(input, \"SequenceNumber\", 0, 3 2147483647, 0)",
              put(2147483647));
    EXPECT_EQ(L"IWbemClassObject_Put(input, \"SequenceNumber\", 0, 3 -2147483648, 0)",
              put(2147483648));
    EXPECT_EQ(L"IWbemClassObject_Put(input, \"SequenceNumber\", 0, 3 -1, 0)", put(4294967295));
}

// --- The service fails: nothing is given back.

TEST_F(RestoreSystem, LeavesAllWhenThereIsNoClass) {
    wmi.answer(L"IWbemServices_GetObject", static_cast<HRESULT>(WBEM_E_NOT_FOUND));
    expectFailure(L"IWbemServices::GetObject() failed. Error code = 0x80041002", {}, {});
}

TEST_F(RestoreSystem, LeavesAllWhenThereIsNoMethod) {
    wmi.answer(L"IWbemClassObject_GetMethod", static_cast<HRESULT>(WBEM_E_INVALID_METHOD));
    expectFailure(L"IWbemClassObject::GetMethod() failed. Error code = 0x8004102e", {}, {L"class"});
}

TEST_F(RestoreSystem, LeavesAllWhenTheNumberIsRefused) {
    wmi.answer(L"IWbemClassObject_Put", static_cast<HRESULT>(WBEM_E_TYPE_MISMATCH));
    expectFailure(L"IWbemClassObject::Put() failed. Error code = 0x80041005", {},
                  {L"class", L"signature", L"input"});
}

TEST_F(RestoreSystem, LeavesAllWhenTheMethodFails) {
    wmi.answer(L"IWbemServices_ExecMethod", E_ACCESSDENIED);
    expectFailure(L"IWbemServices::ExecMethod() failed. Error code = 0x80070005",
                  {L"INFO SystemRestoreWin: Put worked"}, {L"class", L"signature", L"input"});
}

TEST_F(RestoreSystem, LeavesAllWhenThereIsNoAnswer) {
    wmi.answer(L"IWbemClassObject_Get", static_cast<HRESULT>(WBEM_E_NOT_FOUND));
    expectFailure(L"IWbemClassObject::Get() failed. Error code = 0x80041002",
                  {L"INFO SystemRestoreWin: Put worked"},
                  {L"class", L"signature", L"input", L"output"});
}

// --- Success without an object.

TEST_F(RestoreSystem, TakesANullClassForAFailure) {
    wmi.givesClass = false;
    expectFailure(L"IWbemClassObject::GetMethod() failed. Error code = 0x80004003", {}, {});
}

TEST_F(RestoreSystem, TakesANullSignatureForAFailure) {
    wmi.givesSignature = false;
    expectFailure(L"IWbemClassObject::Put() failed. Error code = 0x80004003", {}, {L"class"});
}

TEST_F(RestoreSystem, TakesANullInstanceForAFailure) {
    wmi.answer(L"IWbemClassObject_SpawnInstance", static_cast<HRESULT>(WBEM_E_INCOMPLETE_CLASS));
    expectFailure(L"IWbemClassObject::Put() failed. Error code = 0x80004003", {},
                  {L"class", L"signature"});
}

TEST_F(RestoreSystem, TakesANullAnswerForAFailure) {
    wmi.givesOutput = false;
    expectFailure(L"IWbemClassObject::Get() failed. Error code = 0x80004003",
                  {L"INFO SystemRestoreWin: Put worked"}, {L"class", L"signature", L"input"});
}

// --- Exceptions.

TEST_F(RestoreSystem, GivesBackWhenTheSetUpFails) {
    wmi.answer(L"CoSetProxyBlanket", E_NOINTERFACE);
    EXPECT_FALSE(run());
    EXPECT_STREQ(L"Could not set proxy blanket. Error code = 0x80004002", error);
    EXPECT_EQ(
        (Texts{kEntering, kSetUp[0],
               L"ERROR SystemRestoreWin: Could not set proxy blanket. Error code = 0x80004002",
               kSetUp[1], kCleanUp[0], kCleanUp[1], kExiting}),
        trace.lines());
    EXPECT_EQ(Texts(), wmi.leftBehind());
    EXPECT_EQ(0, wmi.comUses());
    EXPECT_EQ((Texts{L"IWbemServices_Release(services)", L"IWbemLocator_Release(locator)",
                     L"CoUninitialize()"}),
              Texts(wmi.calls().end() - 3, wmi.calls().end()));
}

TEST_F(RestoreSystem, TheTextKeepsTheLineEndOfTheOneMessageThatHasIt) {
    wmi.answer(L"CoCreateInstance", REGDB_E_CLASSNOTREG);
    EXPECT_FALSE(run());
    EXPECT_STREQ(L"Failed to create IWbemLocator object. Err code = 0x80040154\n", error);
}

TEST_F(RestoreSystem, GivesBackWhenAnythingElseThrows) {
    wmi.before(L"IWbemServices_ExecMethod", [] { throw std::bad_alloc(); });
    EXPECT_FALSE(run());
    EXPECT_EQ(convertToWString(std::bad_alloc().what()), error);
    EXPECT_EQ(Texts{kEntering} + kSetUp + Texts{L"INFO SystemRestoreWin: Put worked"} + kCleanUp +
                  Texts{kExiting},
              trace.lines());
    EXPECT_EQ(Texts{L"input"}, wmi.leftBehind());
    EXPECT_EQ(0, wmi.comUses());
}

TEST_F(RestoreSystem, GivesBackWhenThereIsNoMemoryForItsTexts) {
    for (const int which : {1, 2, 3}) {
        wmi.restart();
        wmi.failText(which);
        EXPECT_FALSE(run());
        EXPECT_EQ(convertToWString(std::bad_alloc().what()), error);
        EXPECT_EQ(Texts(), wmi.leftBehind());
        EXPECT_EQ(0, wmi.comUses());
    }
}

TEST_F(RestoreSystem, ReportsThatTheTraceThrowsAtItsFirstLine) {
    wchar_t left[] = L"left from before";
    wchar_t* result = left;
    const ScopedCall<&Calls::GetSystemTime> time([&](SYSTEMTIME* now) {
        if (time.count() == 1) {
            throw std::bad_alloc();
        }
        time.original(now);
    });
    EXPECT_FALSE(restoreSystem(12, &result));
    ASSERT_NE(nullptr, result);
    EXPECT_NE(left, result);
    EXPECT_EQ(convertToWString(std::bad_alloc().what()), result);
    deleteKESTArray(&result);
    // As after any exception: there is nothing to give back, and COM is ended all the same.
    EXPECT_EQ(Texts{L"CoUninitialize()"}, wmi.calls());
    EXPECT_EQ(kCleanUp, trace.lines());
}

TEST_F(RestoreSystem, AForeignExceptionPassesThrough) {
    wmi.before(L"IWbemClassObject_Put", [] { throw 42; });
    wchar_t left[] = L"left from before";
    wchar_t* result = left;
    EXPECT_THROW(restoreSystem(12, &result), int);
    EXPECT_EQ(nullptr, result);
    EXPECT_EQ(Texts{kEntering} + kSetUp + Texts{kExiting}, trace.lines());
    EXPECT_EQ(1, wmi.comUses());
}

TEST_F(RestoreSystem, TheTextIsNullAlreadyWhileItRuns) {
    wchar_t left[] = L"left from before";
    wchar_t* result = left;
    wmi.before(L"CoInitializeEx", [&] {
        EXPECT_EQ(nullptr, result);
        EXPECT_EQ(Texts({kEntering, kSetUp[0]}), trace.lines());
    });
    EXPECT_TRUE(restoreSystem(12, &result));
}

// --- Each call failed in turn.

TEST_F(RestoreSystem, EachCallThatFailsHasItsOutcome) {
    struct Outcome {
        std::wstring call;
        std::wstring message;
        int left;
        int comUses;
    };
    const std::wstring noMemory = convertToWString(std::bad_alloc().what());
    // What is left: the instance on success, all of it after a failure of the service.
    const std::vector<Outcome> expected = {
        {L"", L"", 1, 0},
        {L"CoInitializeEx", L"Failed to initialize COM library. Error code = 0x8007000e", 0, -1},
        {L"CoInitializeSecurity", L"Failed to initialize security. Error code = 0x80070005", 0, 0},
        {L"CoCreateInstance", L"Failed to create IWbemLocator object. Err code = 0x80040154\n", 0,
         0},
        {L"SysAllocString", noMemory, 0, 0},
        {L"IWbemLocator_ConnectServer", L"Could not connect to WMI. Error code = 0x8004100e", 0, 0},
        {L"CoSetProxyBlanket", L"Could not set proxy blanket. Error code = 0x80004002", 0, 0},
        {L"SysAllocString", noMemory, 0, 0},
        {L"SysAllocString", noMemory, 0, 0},
        {L"IWbemServices_GetObject", L"IWbemServices::GetObject() failed. Error code = 0x80041002",
         4, 1},
        {L"IWbemClassObject_GetMethod",
         L"IWbemClassObject::GetMethod() failed. Error code = 0x8004102e", 5, 1},
        {L"IWbemClassObject_SpawnInstance",
         L"IWbemClassObject::Put() failed. Error code = 0x80004003", 6, 1},
        {L"IWbemClassObject_Put", L"IWbemClassObject::Put() failed. Error code = 0x80041005", 7, 1},
        {L"IWbemServices_ExecMethod",
         L"IWbemServices::ExecMethod() failed. Error code = 0x8004102f", 7, 1},
        {L"IWbemClassObject_Get", L"IWbemClassObject::Get() failed. Error code = 0x80041002", 8, 1},
        {L"VariantClear", L"", 1, 0},
        {L"VariantClear", L"", 1, 0},
    };
    bool isRestored = false;
    const auto body = [&] {
        wmi.restart();
        trace.clear();
        isRestored = run();
    };
    const auto check = [&](const Fault& fault) {
        ASSERT_LT(static_cast<std::size_t>(fault.number), expected.size());
        const Outcome& outcome = expected[static_cast<std::size_t>(fault.number)];
        EXPECT_EQ(outcome.call, fault.call) << fault.number;
        EXPECT_EQ(outcome.message, error != nullptr ? error : L"") << fault.number;
        EXPECT_EQ(outcome.message.empty(), isRestored) << fault.number;
        EXPECT_EQ(outcome.left, static_cast<int>(wmi.leftBehind().size())) << fault.number;
        EXPECT_EQ(outcome.comUses, wmi.comUses()) << fault.number;
        const Texts lines = trace.lines();
        EXPECT_EQ(kEntering, lines.front()) << fault.number;
        EXPECT_EQ(kExiting, lines.back()) << fault.number;
        EXPECT_EQ(
            isRestored || error == noMemory ? 0 : 1,
            std::count(lines.begin(), lines.end(), L"ERROR SystemRestoreWin: " + outcome.message))
            << fault.number;
        // The service's own failure ends without a clean-up, everything else with it.
        EXPECT_EQ(outcome.comUses == 1 ? 0 : 1, std::count(lines.begin(), lines.end(), kCleanUp[0]))
            << fault.number;
    };
    EXPECT_EQ(16, sweepFaults(platform::testing::Com, FaultSpan::Once, body, check));
}

}  // namespace
}  // namespace Tallowmere
