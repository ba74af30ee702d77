#include "kest/restore/WmiSession.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>

#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/testing/FaultSweep.h"
#include "kest/platform/testing/ScopedCall.h"
#include "kest/restore/MessageModule.h"
#include "kest/restore/testing/ScriptedWmi.h"
#include "kest/text/Strings.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere::wmi {
namespace {

using platform::Calls;
using platform::os;
using platform::testing::Fault;
using platform::testing::FaultSpan;
using platform::testing::ScopedCall;
using platform::testing::sweepFaults;
using testing::ScriptedWmi;
using Texts = std::vector<std::wstring>;

constexpr const wchar_t* kNamespace = L"ROOT\\DEFAULT";
constexpr const wchar_t* kQuery = L"Select * from SystemRestore";
const Texts kNames = {L"Description", L"SequenceNumber"};

std::wstring entering(const std::wstring& function) {
    return L"INFO SystemRestoreWin: <Entering `anonymous-namespace'::" + function;
}

std::wstring exiting(const std::wstring& function) {
    return L"INFO SystemRestoreWin: Exiting `anonymous-namespace'::" + function + L">";
}

/// The lines of a whole session that ends in setWmiInfo, with these ones inside.
Texts endedInSetUp(const Texts& inside) {
    Texts lines = {entering(L"getWmiInfo"), entering(L"setWmiInfo")};
    lines.insert(lines.end(), inside.begin(), inside.end());
    for (const std::wstring& line : {exiting(L"setWmiInfo"), entering(L"cleanPointers"),
                                     exiting(L"cleanPointers"), exiting(L"getWmiInfo")}) {
        lines.push_back(line);
    }
    return lines;
}

/// Of one that gets as far as getInfo, or is done.
Texts endedInReading(const Texts& inside) {
    Texts lines = {entering(L"getWmiInfo"), entering(L"setWmiInfo"), exiting(L"setWmiInfo"),
                   entering(L"getInfo")};
    lines.insert(lines.end(), inside.begin(), inside.end());
    for (const std::wstring& line : {exiting(L"getInfo"), entering(L"cleanPointers"),
                                     exiting(L"cleanPointers"), exiting(L"getWmiInfo")}) {
        lines.push_back(line);
    }
    return lines;
}

const std::vector<std::wstring> kSetUp = {
    L"CoInitializeEx(null, 0)", L"CoInitializeSecurity(null, -1, null, null, 0, 3, null, 0, null)",
    L"CoCreateInstance(4590F811-24, null, 1, DC12A687-24)",
    L"IWbemLocator_ConnectServer(locator, \"ROOT\\DEFAULT\", null, null, null, 0, null, null)",
    L"CoSetProxyBlanket(services, 10, 0, null, 3, 3, null, 0)"};

class WmiSession : public ::testing::Test {
protected:
    WmiSession() {
        wmi.points = {{{L"Description", ScriptedWmi::text(L"first")},
                       {L"SequenceNumber", ScriptedWmi::number(1)}},
                      {{L"Description", ScriptedWmi::text(L"second")},
                       {L"SequenceNumber", ScriptedWmi::number(2)}}};
    }

    void run() { getWmiInfo(kNamespace, kQuery, kNames, rows); }

    /// What a session throws; empty when it throws nothing.
    std::string failure() {
        try {
            run();
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "";
    }

    /// A session whose set-up fails with this message, having made that many calls.
    void expectFailedSetUp(const std::string& message, std::size_t calls) {
        EXPECT_EQ(message, failure());
        EXPECT_EQ(endedInSetUp({L"ERROR SystemRestoreWin: " + convertToWString(message.c_str())}),
                  trace.lines());
        Texts expected(kSetUp.begin(), kSetUp.begin() + static_cast<std::ptrdiff_t>(calls));
        if (calls > 4) {
            expected.push_back(L"IWbemServices_Release(services)");
        }
        if (calls > 3) {
            expected.push_back(L"IWbemLocator_Release(locator)");
        }
        expected.push_back(L"CoUninitialize()");
        EXPECT_EQ(expected, wmi.calls());
        EXPECT_EQ(Texts(), wmi.leftBehind());
    }

    testing::TraceCapture trace;
    ScriptedWmi wmi;
    std::vector<Row> rows;
};

TEST_F(WmiSession, MakesItsCallsInTheirOrder) {
    run();
    Texts expected = kSetUp;
    for (const wchar_t* call :
         {L"IWbemServices_ExecQuery(services, \"WQL\", \"Select * from SystemRestore\", 48, null)",
          L"IEnumWbemClassObject_Next(enumerator, -1, 1)",
          L"IWbemClassObject_Get(object1, \"Description\", 0, null, null)", L"VariantClear(8)",
          L"IWbemClassObject_Get(object1, \"SequenceNumber\", 0, null, null)", L"VariantClear(3)",
          L"IWbemClassObject_Release(object1)", L"IEnumWbemClassObject_Next(enumerator, -1, 1)",
          L"IWbemClassObject_Get(object2, \"Description\", 0, null, null)", L"VariantClear(8)",
          L"IWbemClassObject_Get(object2, \"SequenceNumber\", 0, null, null)", L"VariantClear(3)",
          L"IWbemClassObject_Release(object2)", L"IEnumWbemClassObject_Next(enumerator, -1, 1)",
          L"IWbemServices_Release(services)", L"IWbemLocator_Release(locator)",
          L"IEnumWbemClassObject_Release(enumerator)", L"CoUninitialize()"}) {
        expected.push_back(call);
    }
    EXPECT_EQ(expected, wmi.calls());
    EXPECT_EQ(Texts(), wmi.leftBehind());
    EXPECT_EQ(0, wmi.comUses());
    EXPECT_EQ((std::vector<Row>{{L"first", L"1"}, {L"second", L"2"}}), rows);
}

TEST_F(WmiSession, TracesItsFunctions) {
    run();
    EXPECT_EQ(endedInReading({}), trace.lines());
}

TEST_F(WmiSession, AsksForTheWholeIdentifiers) {
    const ScopedCall<&Calls::CoCreateInstance> create(
        [&](REFCLSID classId, IUnknown* outer, DWORD context, REFIID interfaceId, void** object) {
            const GUID locatorClass = {
                0x4590F811, 0x1D3A, 0x11D0, {0x89, 0x1F, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};
            const GUID locatorInterface = {
                0xDC12A687, 0x737F, 0x11CF, {0x88, 0x4D, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};
            EXPECT_EQ(0, std::memcmp(&locatorClass, &classId, sizeof(GUID)));
            EXPECT_EQ(0, std::memcmp(&locatorInterface, &interfaceId, sizeof(GUID)));
            return create.original(classId, outer, context, interfaceId, object);
        });
    run();
    EXPECT_EQ(1, create.count());
}

TEST_F(WmiSession, EmptiesTheRowsFirst) {
    rows = {{L"old"}};
    run();
    EXPECT_EQ(2U, rows.size());
    rows = {{L"old"}};
    wmi.restart();
    wmi.answer(L"CoInitializeEx", E_OUTOFMEMORY);
    EXPECT_NE("", failure());
    EXPECT_EQ(std::vector<Row>(), rows);
}

// --- Setting up.

TEST_F(WmiSession, WarnsWhenComIsInitialisedAlready) {
    wmi.answer(L"CoInitializeEx", S_FALSE);
    run();
    Texts expected = endedInReading({});
    expected.insert(expected.begin() + 2,
                    L"WARNING SystemRestoreWin: The COM library is already initialized");
    EXPECT_EQ(expected, trace.lines());
    EXPECT_EQ(2U, rows.size());
    EXPECT_EQ(L"CoUninitialize()", wmi.calls().back());
}

TEST_F(WmiSession, WarnsWhenComIsInitialisedInTheOtherMode) {
    wmi.answer(L"CoInitializeEx", RPC_E_CHANGED_MODE);
    run();
    Texts expected = endedInReading({});
    expected.insert(expected.begin() + 2,
                    L"WARNING SystemRestoreWin: CoInitializeEx failed with mode change");
    EXPECT_EQ(expected, trace.lines());
    EXPECT_EQ(2U, rows.size());
    // Given back all the same, although it was never taken.
    EXPECT_EQ(L"CoUninitialize()", wmi.calls().back());
    EXPECT_EQ(-1, wmi.comUses());
}

TEST_F(WmiSession, FailsOnAnyOtherResultOfTheInitialisation) {
    wmi.answer(L"CoInitializeEx", E_OUTOFMEMORY);
    expectFailedSetUp("Failed to initialize COM library. Error code = 0x8007000e", 1);
}

TEST_F(WmiSession, TakesAPositiveResultOfTheInitialisationForAFailure) {
    wmi.answer(L"CoInitializeEx", 2);
    expectFailedSetUp("Failed to initialize COM library. Error code = 0x2", 1);
}

TEST_F(WmiSession, WarnsWhenSecurityIsSetAlready) {
    wmi.answer(L"CoInitializeSecurity", RPC_E_TOO_LATE);
    run();
    Texts expected = endedInReading({});
    expected.insert(expected.begin() + 2,
                    L"WARNING SystemRestoreWin: CoInitializeSecurity() has already been called");
    EXPECT_EQ(expected, trace.lines());
    EXPECT_EQ(2U, rows.size());
}

TEST_F(WmiSession, FailsWhenSecurityCannotBeSet) {
    wmi.answer(L"CoInitializeSecurity", E_ACCESSDENIED);
    expectFailedSetUp("Failed to initialize security. Error code = 0x80070005", 2);
}

TEST_F(WmiSession, TakesAPositiveResultOfTheSecurityForASuccess) {
    wmi.answer(L"CoInitializeSecurity", S_FALSE);
    run();
    EXPECT_EQ(endedInReading({}), trace.lines());
}

TEST_F(WmiSession, FailsWithoutALocatorInAMessageOfItsOwnForm) {
    wmi.answer(L"CoCreateInstance", REGDB_E_CLASSNOTREG);
    expectFailedSetUp("Failed to create IWbemLocator object. Err code = 0x80040154\n", 3);
}

TEST_F(WmiSession, FailsWhenItCannotConnect) {
    wmi.answer(L"IWbemLocator_ConnectServer", static_cast<HRESULT>(WBEM_E_INVALID_NAMESPACE));
    expectFailedSetUp("Could not connect to WMI. Error code = 0x8004100e", 4);
}

TEST_F(WmiSession, FailsWhenTheProxyCannotBeSecured) {
    wmi.answer(L"CoSetProxyBlanket", E_NOINTERFACE);
    expectFailedSetUp("Could not set proxy blanket. Error code = 0x80004002", 5);
}

TEST_F(WmiSession, AFailedSetUpLeavesWhatWasSet) {
    IWbemLocator* locator = nullptr;
    IWbemServices* services = reinterpret_cast<IWbemServices*>(&rows);
    wmi.answer(L"IWbemLocator_ConnectServer", static_cast<HRESULT>(WBEM_E_ACCESS_DENIED));
    EXPECT_THROW(setWmiInfo(kNamespace, &locator, &services), std::runtime_error);
    EXPECT_NE(nullptr, locator);
    EXPECT_EQ(nullptr, services);
    EXPECT_EQ(Texts{L"locator"}, wmi.leftBehind());
}

TEST_F(WmiSession, AFailedLocatorIsNull) {
    IWbemLocator* locator = reinterpret_cast<IWbemLocator*>(&rows);
    IWbemServices* services = reinterpret_cast<IWbemServices*>(&rows);
    wmi.answer(L"CoCreateInstance", E_NOINTERFACE);
    EXPECT_THROW(setWmiInfo(kNamespace, &locator, &services), std::runtime_error);
    EXPECT_EQ(nullptr, locator);
}

// --- Asking.

TEST_F(WmiSession, FailsWhenTheQueryDoes) {
    wmi.answer(L"IWbemServices_ExecQuery", static_cast<HRESULT>(WBEM_E_INVALID_QUERY));
    const std::string message = "Query for operating system name failed.  Error code = 0x80041017";
    EXPECT_EQ(message, failure());
    EXPECT_EQ(
        (Texts{entering(L"getWmiInfo"), entering(L"setWmiInfo"), exiting(L"setWmiInfo"),
               L"ERROR SystemRestoreWin: " + convertToWString(message.c_str()),
               entering(L"cleanPointers"), exiting(L"cleanPointers"), exiting(L"getWmiInfo")}),
        trace.lines());
    EXPECT_EQ(Texts(), wmi.leftBehind());
    EXPECT_EQ(0, wmi.comUses());
}

TEST_F(WmiSession, AFailedQueryLeavesNoEnumerator) {
    IWbemServices* services = nullptr;
    IEnumWbemClassObject* enumerator = reinterpret_cast<IEnumWbemClassObject*>(&rows);
    wmi.answer(L"IWbemServices_ExecQuery", E_FAIL);
    EXPECT_THROW(executeQuery(kQuery, &enumerator, &services), std::runtime_error);
    EXPECT_EQ(nullptr, enumerator);
}

// --- Reading.

TEST_F(WmiSession, TellsOfAFailedEnumerationWithTheTextOfTheMessageModule) {
    wmi.answer(L"IEnumWbemClassObject_Next", static_cast<HRESULT>(WBEM_E_INVALID_CLASS), 2);
    const std::wstring text = getSystemErrorMessage(0x80041010U, s_messageModule);
    const std::wstring message = L"Wmi query <Select * from SystemRestore> failed: " + text;
    EXPECT_EQ(convertToString(message.c_str()), failure());
    EXPECT_EQ(endedInReading({L"ERROR SystemRestoreWin: " + message}), trace.lines());
    EXPECT_EQ(Texts(), wmi.leftBehind());
    EXPECT_EQ(0, wmi.comUses());
    // What was read before the failure is there.
    EXPECT_EQ((std::vector<Row>{{L"first", L"1"}}), rows);
}

TEST_F(WmiSession, AsksTheMessageModuleForTheCode) {
    wmi.answer(L"IEnumWbemClassObject_Next", static_cast<HRESULT>(WBEM_E_CRITICAL_ERROR));
    const ScopedCall<&Calls::FormatMessageW> format(
        [](DWORD flags, const void* source, DWORD code, DWORD language, wchar_t*, DWORD, va_list*) {
            EXPECT_EQ(s_messageModule != nullptr ? 0x0B00U : 0x1300U, flags);
            EXPECT_EQ(s_messageModule, source);
            EXPECT_EQ(0x8004100AU, code);
            EXPECT_EQ(0x0400U, language);
            return platform::testing::failing(DWORD{0}, DWORD{ERROR_MR_MID_NOT_FOUND});
        });
    EXPECT_EQ("Wmi query <Select * from SystemRestore> failed: Unknown error code: 0x8004100a",
              failure());
    EXPECT_EQ(1, format.count());
}

TEST_F(WmiSession, NarrowsTheMessageOfAFailedEnumeration) {
    wmi.answer(L"IEnumWbemClassObject_Next", static_cast<HRESULT>(WBEM_E_INVALID_CLASS));
    const std::wstring text = getSystemErrorMessage(0x80041010U, s_messageModule);
    try {
        getWmiInfo(kNamespace, L"Select \u0141 from \u00E9", kNames, rows);
        FAIL();
    } catch (const std::runtime_error& error) {
        // U+0141 has lost its upper byte.
        EXPECT_EQ(convertToString((L"Wmi query <Select A from \u00E9> failed: " + text).c_str()),
                  error.what());
    }
    EXPECT_EQ(
        endedInReading(
            {L"ERROR SystemRestoreWin: Wmi query <Select \u0141 from \u00E9> failed: " + text}),
        trace.lines());
}

TEST_F(WmiSession, ReadsNothingFromANullEnumerator) {
    rows = {{L"old"}};
    getInfo(nullptr, kNames, rows, kQuery);
    EXPECT_EQ((Texts{entering(L"getInfo"), exiting(L"getInfo")}), trace.lines());
    EXPECT_EQ(Texts(), wmi.calls());
    EXPECT_EQ((std::vector<Row>{{L"old"}}), rows);
}

TEST_F(WmiSession, AppendsToTheRowsThatAreThere) {
    IWbemServices* services = nullptr;
    IEnumWbemClassObject* enumerator = nullptr;
    executeQuery(kQuery, &enumerator, &services);
    rows = {{L"old"}};
    getInfo(enumerator, kNames, rows, kQuery);
    EXPECT_EQ((std::vector<Row>{{L"old"}, {L"first", L"1"}, {L"second", L"2"}}), rows);
}

TEST_F(WmiSession, TakesTheLastObjectThatComesWithTheEnd) {
    wmi.answer(L"IEnumWbemClassObject_Next", WBEM_S_FALSE, 2);
    run();
    EXPECT_EQ(2U, rows.size());
}

TEST_F(WmiSession, AMissingPropertyMakesTheRowShorter) {
    wmi.points[0].erase(L"Description");
    wmi.points[1].erase(L"SequenceNumber");
    wmi.points.push_back({});
    run();
    EXPECT_EQ((std::vector<Row>{{L"1"}, {L"second"}, {}}), rows);
    EXPECT_EQ(endedInReading({}), trace.lines());
}

TEST_F(WmiSession, WritesIntegersInDecimal) {
    wmi.points.clear();
    for (const LONG number :
         {12, 0, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        wmi.points.push_back({{L"SequenceNumber", ScriptedWmi::number(number)}});
    }
    run();
    EXPECT_EQ((std::vector<Row>{{L"12"}, {L"0"}, {L"-1"}, {L"2147483647"}, {L"-2147483648"}}),
              rows);
}

TEST_F(WmiSession, KeepsTextsAsTheyAre) {
    const std::wstring odd = L" \u0141\u65E5\t\r\n ";
    wmi.points = {{{L"Description", ScriptedWmi::text(odd)}},
                  {{L"Description", ScriptedWmi::text(L"")}},
                  {{L"Description", {VT_BSTR, L"", 0, true}}}};
    run();
    // A null text is an empty one, not a missing one.
    EXPECT_EQ((std::vector<Row>{{odd}, {L""}, {L""}}), rows);
    EXPECT_EQ(Texts(), wmi.leftBehind());
}

TEST_F(WmiSession, OtherKindsAddNothingAndAreNotCleared) {
    wmi.points.clear();
    for (const int kind : {0, 1, 2, 4, 5, 7, 9, 11, 17, 19, 20, 21, 0x2008, 0x4003}) {
        wmi.points.push_back({{L"Description", {static_cast<VARTYPE>(kind), L"", 0, false}},
                              {L"SequenceNumber", ScriptedWmi::number(7)}});
    }
    run();
    EXPECT_EQ(std::vector<Row>(14, {L"7"}), rows);
    EXPECT_EQ(14, std::count(wmi.calls().begin(), wmi.calls().end(), L"VariantClear(3)"));
    EXPECT_EQ(14, std::count_if(wmi.calls().begin(), wmi.calls().end(),
                                [](const auto& call) { return call.find(L"VariantClear") == 0; }));
}

TEST_F(WmiSession, AnEmptyResultIsNoRows) {
    wmi.points.clear();
    run();
    EXPECT_EQ(std::vector<Row>(), rows);
    EXPECT_EQ(endedInReading({}), trace.lines());
}

TEST_F(WmiSession, WithoutNamesTheRowsAreEmpty) {
    getWmiInfo(kNamespace, kQuery, {}, rows);
    EXPECT_EQ(std::vector<Row>(2), rows);
}

// --- Giving back.

TEST_F(WmiSession, ReleasesServicesThenLocatorThenEnumerator) {
    IWbemLocator* locator = nullptr;
    IWbemServices* services = nullptr;
    IEnumWbemClassObject* enumerator = nullptr;
    setWmiInfo(kNamespace, &locator, &services);
    executeQuery(kQuery, &enumerator, &services);
    trace.clear();
    cleanPointers(enumerator, locator, services);
    EXPECT_EQ((Texts{entering(L"cleanPointers"), exiting(L"cleanPointers")}), trace.lines());
    const Texts expected = {L"IWbemServices_Release(services)", L"IWbemLocator_Release(locator)",
                            L"IEnumWbemClassObject_Release(enumerator)", L"CoUninitialize()"};
    EXPECT_EQ(expected, Texts(wmi.calls().end() - 4, wmi.calls().end()));
}

TEST_F(WmiSession, EndsComWithoutAnyPointer) {
    cleanPointers(nullptr, nullptr, nullptr);
    EXPECT_EQ(Texts{L"CoUninitialize()"}, wmi.calls());
    EXPECT_EQ((Texts{entering(L"cleanPointers"), exiting(L"cleanPointers")}), trace.lines());
}

TEST_F(WmiSession, GivesBackAlsoWhenTheTraceThrows) {
    const ScopedCall<&Calls::GetSystemTime> time([](SYSTEMTIME*) { throw std::bad_alloc(); });
    cleanPointers(nullptr, nullptr, nullptr);
    EXPECT_EQ(Texts{L"CoUninitialize()"}, wmi.calls());
}

// --- Exceptions that are not the service's.

TEST_F(WmiSession, RunsOutOfMemoryForATextWithoutLeavingAnything) {
    // The namespace, the language, the query.
    for (const int which : {1, 2, 3}) {
        wmi.restart();
        trace.clear();
        wmi.failText(which);
        EXPECT_THROW(run(), std::bad_alloc) << which;
        EXPECT_EQ(Texts(), wmi.leftBehind()) << which;
        EXPECT_EQ(0, wmi.comUses()) << which;
        EXPECT_EQ(exiting(L"getWmiInfo"), trace.lines().back()) << which;
        EXPECT_EQ(exiting(L"cleanPointers"), trace.lines()[trace.lines().size() - 2]) << which;
    }
}

TEST_F(WmiSession, AnExceptionWhileReadingReleasesTheObjectAndTheValue) {
    wmi.before(
        L"IWbemClassObject_Get", [] { throw std::length_error("played"); }, 2);
    EXPECT_THROW(run(), std::length_error);
    EXPECT_EQ(Texts(), wmi.leftBehind());
    EXPECT_EQ(endedInReading({}), trace.lines());
    EXPECT_EQ(0, wmi.comUses());
}

TEST_F(WmiSession, AForeignExceptionPassesThroughWithoutGivingBack) {
    wmi.before(L"IWbemServices_ExecQuery", [] { throw 42; });
    EXPECT_THROW(run(), int);
    EXPECT_EQ((Texts{entering(L"getWmiInfo"), entering(L"setWmiInfo"), exiting(L"setWmiInfo"),
                     exiting(L"getWmiInfo")}),
              trace.lines());
    EXPECT_EQ((Texts{L"locator", L"services"}), wmi.leftBehind());
    EXPECT_EQ(1, wmi.comUses());
}

// --- Each call failed in turn.

TEST_F(WmiSession, EachCallThatFailsHasItsOutcome) {
    struct Outcome {
        std::wstring call;
        std::string message;
        std::size_t rows;
    };
    const std::string next = convertToString((L"Wmi query <Select * from SystemRestore> failed: " +
                                              getSystemErrorMessage(0x80041010U, s_messageModule))
                                                 .c_str());
    const std::string noMemory = std::bad_alloc().what();
    const std::vector<Outcome> expected = {
        {L"", "", 2},
        {L"CoInitializeEx", "Failed to initialize COM library. Error code = 0x8007000e", 0},
        {L"CoInitializeSecurity", "Failed to initialize security. Error code = 0x80070005", 0},
        {L"CoCreateInstance", "Failed to create IWbemLocator object. Err code = 0x80040154\n", 0},
        {L"SysAllocString", noMemory, 0},
        {L"IWbemLocator_ConnectServer", "Could not connect to WMI. Error code = 0x8004100e", 0},
        {L"CoSetProxyBlanket", "Could not set proxy blanket. Error code = 0x80004002", 0},
        {L"SysAllocString", noMemory, 0},
        {L"SysAllocString", noMemory, 0},
        {L"IWbemServices_ExecQuery",
         "Query for operating system name failed.  Error code = 0x80041017", 0},
        {L"IEnumWbemClassObject_Next", next, 0},
        {L"IWbemClassObject_Get", "", 2},
        {L"VariantClear", "", 2},
        {L"IWbemClassObject_Get", "", 2},
        {L"VariantClear", "", 2},
        {L"IEnumWbemClassObject_Next", next, 1},
        {L"IWbemClassObject_Get", "", 2},
        {L"VariantClear", "", 2},
        {L"IWbemClassObject_Get", "", 2},
        {L"VariantClear", "", 2},
        {L"IEnumWbemClassObject_Next", next, 2},
    };
    std::string message;
    const auto body = [&] {
        wmi.restart();
        trace.clear();
        message.clear();
        try {
            run();
        } catch (const std::exception& error) {
            message = error.what();
        }
    };
    const auto check = [&](const Fault& fault) {
        ASSERT_LT(static_cast<std::size_t>(fault.number), expected.size());
        const Outcome& outcome = expected[static_cast<std::size_t>(fault.number)];
        EXPECT_EQ(outcome.call, fault.call) << fault.number;
        EXPECT_EQ(outcome.message, message) << fault.number;
        EXPECT_EQ(outcome.rows, rows.size()) << fault.number;
        EXPECT_EQ(Texts(), wmi.leftBehind()) << fault.number;
        // Given back even where it could not be taken.
        EXPECT_EQ(fault.call == L"CoInitializeEx" ? -1 : 0, wmi.comUses()) << fault.number;
        const Texts lines = trace.lines();
        EXPECT_EQ(entering(L"getWmiInfo"), lines.front()) << fault.number;
        const Texts end = {entering(L"cleanPointers"), exiting(L"cleanPointers"),
                           exiting(L"getWmiInfo")};
        EXPECT_EQ(end, Texts(lines.end() - 3, lines.end())) << fault.number;
        const bool isTold = !message.empty() && message != noMemory;
        EXPECT_EQ(isTold ? 1 : 0, std::count_if(lines.begin(), lines.end(),
                                                [&](const auto& line) {
                                                    return line ==
                                                           L"ERROR SystemRestoreWin: " +
                                                               convertToWString(message.c_str());
                                                }))
            << fault.number;
    };
    EXPECT_EQ(20, sweepFaults(platform::testing::Com, FaultSpan::Once, body, check));
}

TEST(WmiCodeText, IsLowerCaseHexadecimalWithoutASign) {
    EXPECT_EQ("0", codeText(0));
    EXPECT_EQ("2", codeText(2));
    EXPECT_EQ("40001", codeText(0x40001));
    EXPECT_EQ("ffffffff", codeText(-1));
    EXPECT_EQ("8004100e", codeText(static_cast<HRESULT>(WBEM_E_INVALID_NAMESPACE)));
}

}  // namespace
}  // namespace Tallowmere::wmi
