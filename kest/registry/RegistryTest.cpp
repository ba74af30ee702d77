#include "kest/registry/Registry.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <stdexcept>
#include <type_traits>

#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/Calls.h"
#include "kest/platform/testing/CallLog.h"
#include "kest/platform/testing/FaultSweep.h"
#include "kest/platform/testing/RegistryFixture.h"
#include "kest/platform/testing/ScopedCall.h"
#include "kest/text/Strings.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::testing::CallLog;
using platform::testing::Fault;
using platform::testing::FaultSpan;
using platform::testing::RegistryFixture;
using platform::testing::registryText;
using platform::testing::ScopedCall;
using platform::testing::sweepFaults;

using Texts = std::vector<std::wstring>;
using Hive = Registry::Hive;

constexpr const wchar_t* kProduct = L"SOFTWARE\\Tallowmere\\Orrelane";
constexpr LONG kSuccess = 0;

std::wstring systemText(unsigned long code) {
    return getSystemErrorMessage(code, nullptr);
}

/// Collects the values that it is handed; `onValue` may throw.
class Collector : public Registry::Function {
public:
    void operator()(const std::wstring& value) override {
        values.push_back(value);
        if (onValue) {
            onValue(value);
        }
    }

    Texts values;
    std::function<void(const std::wstring&)> onValue;
};

class RegistryTest : public ::testing::Test {
protected:
    /// What is thrown as wide text, "nothing" or "another type".
    static std::wstring thrownBy(const std::function<void()>& body) {
        try {
            body();
        } catch (const std::runtime_error& failure) {
            if (typeid(failure) != typeid(std::runtime_error)) {
                return L"another type";
            }
            return convertToWString(failure.what());
        }
        return L"nothing";
    }

    /// Expects the message as the exception and as the only line.
    void expectFailure(const std::wstring& message, const std::function<void()>& body) {
        trace.clear();
        EXPECT_EQ(message, thrownBy(body));
        EXPECT_EQ((Texts{L"ERROR Registry: " + message}), trace.lines());
    }

    static std::wstring value(const wchar_t* name, const wchar_t* key = kProduct,
                              Hive hive = Registry::HKLM) {
        std::wstring text = L"as it was";
        Registry::getKeyValue(hive, key, name, text);
        return text;
    }

    RegistryFixture registry{registryText("machine.reg")};
    testing::TraceCapture trace;
};

TEST_F(RegistryTest, ReadsTexts) {
    EXPECT_EQ(L"C:\\Program Files\\Tallowmere\\Orrelane", value(L"InstallDir"));
    EXPECT_EQ(L"say \"\\x\"", value(L"Quoted"));
    EXPECT_EQ(L"%A%", value(L"Expand"));
    EXPECT_EQ(
        L"\\Gr\u00FC\u00DF"
        L"e \u65E5\u672C \U0001F600",
        value(L"Wide"));
    EXPECT_EQ(L"", value(L"Empty"));
    EXPECT_EQ(Texts(), trace.lines());
}

TEST_F(RegistryTest, ReadsTheDefaultValue) {
    EXPECT_EQ(L"the default", value(nullptr));
    EXPECT_EQ(L"the default", value(L""));
}

TEST_F(RegistryTest, TakesWhateverIsThereForText) {
    // A number, a list of texts, eight bytes.
    EXPECT_EQ(L"BA", value(L"Number"));
    EXPECT_EQ(L"a", value(L"Lines"));
    EXPECT_EQ(L"CDEF", value(L"Quad"));
    // No bytes, an odd number of them, no zero at the end, one in the middle.
    EXPECT_EQ(L"", value(L"Nothing"));
    EXPECT_EQ(L"AB", value(L"Binary"));
    EXPECT_EQ(L"AB", value(L"Unterminated"));
    EXPECT_EQ(L"A", value(L"Embedded"));
}

TEST_F(RegistryTest, ReadsEveryHiveThatHoldsKeys) {
    EXPECT_EQ(L"Beta", value(L"ProductName", L"Installer\\Products\\1A", Registry::HKCR));
    EXPECT_EQ(L"Beta", value(L"ProductName", L"Software\\Classes\\Installer\\Products\\1A"));
    EXPECT_EQ(L"u", value(L"User", L"Software\\Tallowmere", Registry::HKCU));
    EXPECT_EQ(L"s", value(L"System", L"S-1-5-18", Registry::HKU));
    EXPECT_EQ(L"c", value(L"Config", L"Software", Registry::HKCC));
}

TEST_F(RegistryTest, ComparesNamesWithoutCase) {
    EXPECT_EQ(L"BA", value(L"nUMBER", L"software\\TALLOWMERE\\orrelane"));
    EXPECT_EQ(L"first", value(L"common", L"SOFTWARE\\Tallowmere\\Orrelane\\ALPHA\\"));
}

TEST_F(RegistryTest, ReadsAsMuchAsTheBufferTakes) {
    for (const DWORD size : {65535U, 65536U}) {
        ScopedCall<&Calls::RegQueryValueExW> query(
            [&](HKEY, const wchar_t*, DWORD*, DWORD*, BYTE* data, DWORD* room) -> LONG {
                EXPECT_EQ(65536U, *room);
                std::memset(data, 0x41, size);
                *room = size;
                return kSuccess;
            });
        std::wstring expected(32768, L'\u4141');
        expected.back() = size == 65535 ? L'A' : L'\u4141';
        EXPECT_EQ(expected, value(L"x"));
    }
}

TEST_F(RegistryTest, LeavesTheTextAsItWasWhenAReadFails) {
    std::wstring text = L"as it was";
    EXPECT_NE(L"nothing",
              thrownBy([&] { Registry::getKeyValue(Registry::HKLM, kProduct, L"none", text); }));
    EXPECT_EQ(L"as it was", text);
}

TEST_F(RegistryTest, ReportsAKeyThatCannotBeOpened) {
    expectFailure(L"Failed to open registry key <SOFTWARE\\None>: " + systemText(2),
                  [] { value(L"x", L"SOFTWARE\\None"); });
    expectFailure(L"Failed to open registry key <\\SOFTWARE>: " + systemText(161),
                  [] { value(L"x", L"\\SOFTWARE"); });
    ScopedCall<&Calls::RegOpenKeyExW> open(
        [](HKEY, const wchar_t*, DWORD, REGSAM, HKEY*) -> LONG { return ERROR_ACCESS_DENIED; });
    expectFailure(L"Failed to open registry key <>: " + systemText(5),
                  [] { value(L"x", nullptr); });
}

TEST_F(RegistryTest, ReportsAValueThatCannotBeRead) {
    expectFailure(L"Failed to get registry value <Removed>: " + systemText(2),
                  [] { value(L"Removed"); });
    expectFailure(L"Failed to get registry value <Default>: " + systemText(2),
                  [] { value(nullptr, L"SOFTWARE\\Tallowmere"); });
    expectFailure(L"Failed to get registry value <>: " + systemText(2),
                  [] { value(L"", L"SOFTWARE\\Tallowmere"); });
    ScopedCall<&Calls::RegQueryValueExW> query([](HKEY, const wchar_t*, DWORD*, DWORD*, BYTE*,
                                                  DWORD*) -> LONG { return ERROR_MORE_DATA; });
    expectFailure(L"Failed to get registry value <x>: " + systemText(234), [] { value(L"x"); });
}

TEST_F(RegistryTest, TakesNoNameForAMarkerOfTheTrace) {
    expectFailure(L"Failed to open registry key <\\\\Seven>: " + systemText(161),
                  [] { value(L"x", L"\\\\Seven"); });
    // A type whose name would be one is handed over in the same way.
    expectFailure(L"Failed to get registry value <!~Sev:INFO>: " + systemText(2),
                  [] { value(L"!~Sev:INFO"); });
}

TEST_F(RegistryTest, KnowsNoOtherHives) {
    for (const int number : {-1, 8, 1000}) {
        const auto hive = static_cast<Hive>(number);
        const std::wstring text = systemText(ERROR_INVALID_HANDLE);
        Texts names;
        Collector collector;
        expectFailure(L"Failed to open registry key <a>: " + text,
                      [&] { value(L"x", L"a", hive); });
        expectFailure(L"Failed to open a: " + text,
                      [&] { Registry::getSubKeys(hive, L"a", names); });
        expectFailure(L"Failed to open <\\a>: " + text,
                      [&] { Registry::getValues(hive, L"a", names); });
        expectFailure(L"Failed to open <\\a>: " + text,
                      [&] { Registry::forEachSubKey(hive, L"a", L"x", collector); });
    }
}

TEST_F(RegistryTest, NamesEveryHive) {
    const std::wstring names[] = {L"HKCR", L"HKCC", L"HKCU", L"HKLM",
                                  L"HKPD", L"HKPN", L"HKPT", L"HKU"};
    const HKEY keys[] = {
        HKEY_CLASSES_ROOT,     HKEY_CURRENT_CONFIG,      HKEY_CURRENT_USER,     HKEY_LOCAL_MACHINE,
        HKEY_PERFORMANCE_DATA, HKEY_PERFORMANCE_NLSTEXT, HKEY_PERFORMANCE_TEXT, HKEY_USERS};
    for (int number = 0; number < 8; ++number) {
        HKEY opened = nullptr;
        ScopedCall<&Calls::RegOpenKeyExW> open(
            [&](HKEY key, const wchar_t* subkey, DWORD options, REGSAM access, HKEY*) -> LONG {
                opened = key;
                EXPECT_STREQ(L"none", subkey);
                EXPECT_EQ(0U, options);
                EXPECT_EQ(0x20019U, access);
                return ERROR_FILE_NOT_FOUND;
            });
        Texts list;
        expectFailure(L"Failed to open " + names[number] + L"none: " + systemText(2),
                      [&] { Registry::getSubKeys(static_cast<Hive>(number), L"none", list); });
        EXPECT_EQ(keys[number], opened);
    }
}

TEST_F(RegistryTest, ListsSubkeys) {
    Texts names = {L"old"};
    Registry::getSubKeys(Registry::HKLM, kProduct, names);
    EXPECT_EQ((Texts{L"Alpha", L"beta", L"Gamma"}), names);
    Registry::getSubKeys(Registry::HKLM, L"SOFTWARE\\Tallowmere\\Orrelane\\Alpha", names);
    EXPECT_EQ(Texts(), names);
    Registry::getSubKeys(Registry::HKLM, L"SOFTWARE\\Tallowmere", names);
    EXPECT_EQ((Texts{L"Orrelane"}), names);
    EXPECT_EQ(Texts(), trace.lines());
}

TEST_F(RegistryTest, ListsNoSubkeysOfNoKey) {
    const CallLog log(platform::testing::Registry);
    Texts names = {L"old"};
    Registry::getSubKeys(Registry::HKLM, nullptr, names);
    EXPECT_EQ(Texts(), names);
    EXPECT_EQ(Texts(), log.calls());
}

TEST_F(RegistryTest, ReportsSubkeysThatCannotBeListed) {
    Texts names = {L"old"};
    expectFailure(L"Failed to open HKLMSOFTWARE\\None: " + systemText(2),
                  [&] { Registry::getSubKeys(Registry::HKLM, L"SOFTWARE\\None", names); });
    EXPECT_EQ(Texts(), names);

    ScopedCall<&Calls::RegCloseKey> close([&](HKEY key) { return close.original(key); });
    ScopedCall<&Calls::RegEnumKeyExW> enumerate([&](HKEY key, DWORD index, wchar_t* name,
                                                    DWORD* size, DWORD* reserved, wchar_t* text,
                                                    DWORD* textSize, FILETIME* time) -> LONG {
        EXPECT_EQ(32768U, *size);
        return index == 2
                   ? static_cast<LONG>(ERROR_MORE_DATA)
                   : enumerate.original(key, index, name, size, reserved, text, textSize, time);
    });
    // With the name that the buffer still holds.
    expectFailure(L"Failed to enumerate HKLMbeta: " + systemText(234),
                  [&] { Registry::getSubKeys(Registry::HKLM, kProduct, names); });
    EXPECT_EQ((Texts{L"Alpha", L"beta"}), names);
    EXPECT_EQ(1, close.count());
}

TEST_F(RegistryTest, ListsValues) {
    Texts names = {L"old"};
    Registry::getValues(Registry::HKLM, kProduct, names);
    EXPECT_EQ((Texts{L"", L"Binary", L"Embedded", L"Empty", L"Expand", L"InstallDir", L"Lines",
                     L"Nothing", L"Number", L"Quad", L"Quoted", L"Unterminated", L"Wide"}),
              names);
    Registry::getValues(Registry::HKLM, L"SOFTWARE\\Tallowmere\\Orrelane\\beta", names);
    EXPECT_EQ(Texts(), names);
    EXPECT_EQ(Texts(), trace.lines());
}

TEST_F(RegistryTest, ReportsValuesThatCannotBeListed) {
    Texts names = {L"old"};
    expectFailure(L"Failed to open <HKLM\\SOFTWARE\\None>: " + systemText(2),
                  [&] { Registry::getValues(Registry::HKLM, L"SOFTWARE\\None", names); });
    EXPECT_EQ(Texts(), names);
    ScopedCall<&Calls::RegOpenKeyExW> open(
        [](HKEY, const wchar_t*, DWORD, REGSAM, HKEY*) -> LONG { return ERROR_ACCESS_DENIED; });
    expectFailure(L"Failed to open <HKU\\>: " + systemText(5),
                  [&] { Registry::getValues(Registry::HKU, nullptr, names); });
}

TEST_F(RegistryTest, ReportsValuesWhoseListEndsInAFailure) {
    ScopedCall<&Calls::RegCloseKey> close([&](HKEY key) { return close.original(key); });
    ScopedCall<&Calls::RegEnumValueW> enumerate([&](HKEY key, DWORD index, wchar_t* name,
                                                    DWORD* size, DWORD* reserved, DWORD* type,
                                                    BYTE* data, DWORD* dataSize) -> LONG {
        // The longest name and its zero.
        EXPECT_EQ(13U, *size);
        return index == 2
                   ? static_cast<LONG>(ERROR_MORE_DATA)
                   : enumerate.original(key, index, name, size, reserved, type, data, dataSize);
    });
    Texts names;
    expectFailure(L"Failed to enumerate values for <HKLM\\SOFTWARE\\Tallowmere\\Orrelane>: " +
                      systemText(234),
                  [&] { Registry::getValues(Registry::HKLM, kProduct, names); });
    EXPECT_EQ((Texts{L"", L"Binary"}), names);
    EXPECT_EQ(1, close.count());
}

TEST_F(RegistryTest, GoesOnWithoutTheLongestNamesLength) {
    ScopedCall<&Calls::RegQueryInfoKeyW> info([](HKEY, wchar_t*, DWORD*, DWORD*, DWORD*, DWORD*,
                                                 DWORD*, DWORD*, DWORD* longest, DWORD*, DWORD*,
                                                 FILETIME*) -> LONG {
        EXPECT_EQ(32768U, *longest);
        *longest = 3;
        return ERROR_ACCESS_DENIED;
    });
    ScopedCall<&Calls::RegEnumValueW> enumerate([&](HKEY key, DWORD index, wchar_t* name,
                                                    DWORD* size, DWORD* reserved, DWORD* type,
                                                    BYTE* data, DWORD* dataSize) {
        EXPECT_EQ(32769U, *size);
        EXPECT_EQ(L'\0', *name);
        return enumerate.original(key, index, name, size, reserved, type, data, dataSize);
    });
    Texts names;
    Registry::getValues(Registry::HKCU, L"Software\\Tallowmere", names);
    EXPECT_EQ((Texts{L"User"}), names);
    EXPECT_EQ(
        (Texts{L"WARNING Registry: Failed to open <HKCU\\Software\\Tallowmere>: " + systemText(5)}),
        trace.lines());
}

TEST_F(RegistryTest, PerformanceDataHasNoNames) {
    // The warning and the failure from the system itself.
    Texts names;
    const std::wstring failure =
        L"Failed to enumerate values for <HKPD\\>: " + systemText(ERROR_INVALID_HANDLE);
    EXPECT_EQ(failure, thrownBy([&] { Registry::getValues(Registry::HKPD, nullptr, names); }));
    EXPECT_EQ(
        (Texts{L"WARNING Registry: Failed to open <HKPD\\>: " + systemText(ERROR_INVALID_HANDLE),
               L"ERROR Registry: " + failure}),
        trace.lines());
}

TEST_F(RegistryTest, WalksSubkeysAndGoesOnAfterABadOne) {
    Collector collector;
    Registry::forEachSubKey(Registry::HKLM, kProduct, L"Common", collector);
    EXPECT_EQ((Texts{L"first", L"third"}), collector.values);
    // With the value of the subkey before.
    EXPECT_EQ((Texts{L"ERROR Registry: Failed to get registry value <Common>: " + systemText(2),
                     L"ERROR Registry: std::runtime_error failed for value <first"}),
              trace.lines());
}

TEST_F(RegistryTest, TheFirstBadSubkeyHasNoValueYet) {
    Collector collector;
    Registry::forEachSubKey(Registry::HKLM, kProduct, nullptr, collector);
    EXPECT_EQ(Texts(), collector.values);
    const std::wstring reader =
        L"ERROR Registry: Failed to get registry value <Default>: " + systemText(2);
    const std::wstring walk = L"ERROR Registry: std::runtime_error failed for value <";
    EXPECT_EQ((Texts{reader, walk, reader, walk, reader, walk}), trace.lines());
}

TEST_F(RegistryTest, GoesOnAfterACallbackThatThrows) {
    Collector collector;
    collector.onValue = [](const std::wstring&) { throw std::out_of_range("x"); };
    Registry::forEachSubKey(Registry::HKCR, L"Installer\\Products", L"ProductName", collector);
    EXPECT_EQ((Texts{L"Beta", L"Alpha Tool"}), collector.values);
    EXPECT_EQ(
        (Texts{L"ERROR Registry: std::out_of_range failed for value <Beta",
               L"ERROR Registry: Failed to get registry value <ProductName>: " + systemText(2),
               L"ERROR Registry: std::runtime_error failed for value <Beta",
               L"ERROR Registry: std::out_of_range failed for value <Alpha Tool"}),
        trace.lines());
}

TEST_F(RegistryTest, LetsOtherExceptionsPass) {
    ScopedCall<&Calls::RegCloseKey> close([&](HKEY key) { return close.original(key); });
    Collector collector;
    collector.onValue = [](const std::wstring&) { throw 7; };
    EXPECT_THROW(Registry::forEachSubKey(Registry::HKLM, kProduct, L"Common", collector), int);
    EXPECT_EQ((Texts{L"first"}), collector.values);
    EXPECT_EQ(Texts(), trace.lines());
    // The subkey's and the key's own.
    EXPECT_EQ(2, close.count());
}

TEST_F(RegistryTest, ReportsAWalkThatCannotBegin) {
    Collector collector;
    expectFailure(L"Failed to open <HKLM\\SOFTWARE\\None>: " + systemText(2), [&] {
        Registry::forEachSubKey(Registry::HKLM, L"SOFTWARE\\None", L"x", collector);
    });
}

TEST_F(RegistryTest, ReportsAKeyThatGoesAwayDuringTheWalk) {
    Collector collector;
    collector.onValue = [&](const std::wstring&) {
        registry.removeMachineKey("SOFTWARE\\Tallowmere\\Orrelane");
    };
    expectFailure(L"Failed to enumerate subkeys for <HKLM\\SOFTWARE\\Tallowmere\\Orrelane>: " +
                      systemText(ERROR_KEY_DELETED),
                  [&] { Registry::forEachSubKey(Registry::HKLM, kProduct, L"Common", collector); });
    EXPECT_EQ((Texts{L"first"}), collector.values);
}

TEST_F(RegistryTest, ClosesWhateverItOpened) {
    const auto body = [] {
        Texts names;
        Collector collector;
        std::wstring text;
        const std::function<void()> operations[] = {
            [&] { Registry::getKeyValue(Registry::HKLM, kProduct, L"Empty", text); },
            [&] { Registry::getSubKeys(Registry::HKLM, kProduct, names); },
            [&] { Registry::getValues(Registry::HKLM, kProduct, names); },
            [&] { Registry::forEachSubKey(Registry::HKLM, kProduct, L"Common", collector); }};
        for (const auto& operation : operations) {
            (void)thrownBy(operation);
        }
    };
    int opened = 0;
    int closed = 0;
    ScopedCall<&Calls::RegOpenKeyExW> open(
        [&](HKEY key, const wchar_t* subkey, DWORD options, REGSAM access, HKEY* result) {
            const LONG code = open.original(key, subkey, options, access, result);
            opened += code == kSuccess ? 1 : 0;
            return code;
        });
    ScopedCall<&Calls::RegCloseKey> close([&](HKEY key) { return ++closed, close.original(key); });
    EXPECT_GT(sweepFaults(platform::testing::Registry, FaultSpan::Once, body,
                          [&](const Fault&) { EXPECT_EQ(opened, closed); }),
              30);
}

// Nothing but the table of its operations, which copying leaves alone.
static_assert(sizeof(Registry::Function) == sizeof(void*));
static_assert(std::is_abstract_v<Registry::Function>);
static_assert(std::has_virtual_destructor_v<Registry::Function>);
static_assert(std::is_copy_assignable_v<Registry::Function>);
static_assert(std::is_copy_constructible_v<Collector>);

}  // namespace
}  // namespace Tallowmere
