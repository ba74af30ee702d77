#include "kest/registry/InstalledPrograms.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <type_traits>

#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/Calls.h"
#include "kest/platform/testing/CallLog.h"
#include "kest/platform/testing/RegistryFixture.h"
#include "kest/platform/testing/ScopedCall.h"
#include "kest/registry/Catalogue.h"
#include "kest/registry/InstalledProgramsImpl.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::testing::kRegistryHeader;
using platform::testing::RegistryFixture;
using platform::testing::registryText;
using platform::testing::ScopedCall;
using Texts = std::vector<std::wstring>;

constexpr const char* kFolders =
    "[HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\Folders]\r\n";
constexpr const char* kProducts = "[HKEY_CLASSES_ROOT\\Installer\\Products]\r\n";

std::wstring systemText(unsigned long code) {
    return getSystemErrorMessage(code, nullptr);
}

/// A registry text with products of these names.
std::string machineWith(const std::vector<std::string>& names) {
    std::string text = std::string(kRegistryHeader) + kFolders + kProducts;
    int number = 0;
    for (const std::string& name : names) {
        text += "[HKEY_CLASSES_ROOT\\Installer\\Products\\" + std::to_string(++number) +
                "]\r\n\"ProductName\"=\"" + name + "\"\r\n";
    }
    return text;
}

template <class Catalogue>
Texts namesIn(Catalogue& programs) {
    Texts names;
    if (programs.numberOfObjects() > 0) {
        names.push_back(programs.first().getName());
        while (programs.next()) {
            names.push_back(programs.current().getName());
        }
    }
    return names;
}

class InstalledProgramsTest : public ::testing::Test {
protected:
    testing::TraceCapture trace;
    alignas(InstalledPrograms) unsigned char m_place[sizeof(InstalledPrograms)];
};

TEST_F(InstalledProgramsTest, HoldsTheProductsInTheOrderOfTheirNames) {
    const RegistryFixture registry(registryText("machine.reg"));
    InstalledPrograms programs;
    EXPECT_EQ(2U, programs.numberOfObjects());
    EXPECT_EQ((Texts{L"Alpha Tool", L"Beta"}), namesIn(programs));
    // The product without a name has no program, and lines in the trace.
    EXPECT_EQ(
        (Texts{L"ERROR Registry: Failed to get registry value <ProductName>: " + systemText(2),
               L"ERROR Registry: std::runtime_error failed for value <Beta"}),
        trace.lines());
    Program& alpha = programs.first();
    EXPECT_EQ(L"", alpha.getPath());
    EXPECT_EQ(L"", alpha.getOptions());
    EXPECT_EQ(Texts(), alpha.getExtensions());
}

TEST_F(InstalledProgramsTest, OrdersByUnitsNotByLetters) {
    const RegistryFixture registry(machineWith({"b", "A", "a", "\xC3\xA9", "B", "Z", ""}));
    InstalledPrograms programs;
    EXPECT_EQ((Texts{L"", L"A", L"B", L"Z", L"a", L"b", L"\u00E9"}), namesIn(programs));
}

TEST_F(InstalledProgramsTest, StandsAtTheFirstProductToBeginWith) {
    const RegistryFixture registry(machineWith({"b", "a", "c"}));
    InstalledPrograms programs;
    EXPECT_EQ(L"a", programs.current().getName());
    EXPECT_FALSE(programs.previous());
    EXPECT_EQ(L"a", programs.current().getName());
}

TEST_F(InstalledProgramsTest, WalksForwardsAndBackwards) {
    const RegistryFixture registry(machineWith({"a", "b", "c"}));
    InstalledPrograms programs;
    EXPECT_EQ(L"c", programs.last().getName());
    EXPECT_FALSE(programs.next());
    EXPECT_FALSE(programs.next());
    // From past the end back to the last one.
    EXPECT_TRUE(programs.previous());
    EXPECT_EQ(L"c", programs.current().getName());
    EXPECT_TRUE(programs.previous());
    EXPECT_TRUE(programs.previous());
    EXPECT_EQ(L"a", programs.current().getName());
    EXPECT_FALSE(programs.previous());
    EXPECT_EQ(L"a", programs.current().getName());
    EXPECT_TRUE(programs.next());
    EXPECT_EQ(L"b", programs.current().getName());
    EXPECT_EQ(L"a", programs.first().getName());
    EXPECT_FALSE(programs.previous());
}

TEST_F(InstalledProgramsTest, FindsANameByAnyPartOfIt) {
    const RegistryFixture registry(machineWith({"Alpha Tool", "Beta"}));
    const InstalledPrograms programs;
    EXPECT_TRUE(programs.isInstalled(L"Tool"));
    EXPECT_TRUE(programs.isInstalled(L"pha T"));
    EXPECT_TRUE(programs.isInstalled(L"Beta"));
    EXPECT_FALSE(programs.isInstalled(L"tool"));
    EXPECT_FALSE(programs.isInstalled(L"Alpha Tools"));
    EXPECT_TRUE(programs.isInstalled(L""));
}

TEST_F(InstalledProgramsTest, AnEmptyCatalogueHasNothing) {
    const RegistryFixture registry(machineWith({}));
    InstalledPrograms programs;
    EXPECT_EQ(Texts(), trace.lines());
    EXPECT_EQ(0U, programs.numberOfObjects());
    EXPECT_FALSE(programs.isInstalled(L""));
    EXPECT_FALSE(programs.isInstalled(L"x"));
    EXPECT_FALSE(programs.next());
    EXPECT_FALSE(programs.previous());
}

TEST_F(InstalledProgramsTest, TheSecondOfTwoProductsWithOneNameIsKept) {
    const RegistryFixture registry(machineWith({"a", "a", "b"}));
    InstalledPrograms programs;
    EXPECT_EQ((Texts{L"a", L"b"}), namesIn(programs));
}

TEST_F(InstalledProgramsTest, SurvivesARegistryWithoutTheInstallersKeys) {
    const RegistryFixture registry(std::string(kRegistryHeader) +
                                   "[HKEY_CURRENT_USER\\Software]\r\n");
    const InstalledPrograms programs;
    EXPECT_EQ(0U, programs.numberOfObjects());
    EXPECT_EQ(
        (Texts{L"ERROR Registry: Failed to open <HKCR\\Installer\\Products>: " + systemText(2),
               L"ERROR InstalledPrograms: InstalledPrograms failed to get the list of "
               L"products from theregistry",
               L"ERROR Registry: Failed to open "
               L"<HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\Folders>: " +
                   systemText(2),
               L"ERROR InstalledPrograms: InstalledPrograms failed to get the list of "
               L"installed programs from the the registry"}),
        trace.lines());
}

TEST_F(InstalledProgramsTest, KeepsWhatWasLoadedBeforeAFailure) {
    const RegistryFixture registry(machineWith({"a", "b", "c"}));
    ScopedCall<&Calls::RegEnumKeyExW> enumerate([&](HKEY key, DWORD index, wchar_t* name,
                                                    DWORD* size, DWORD* reserved, wchar_t* text,
                                                    DWORD* textSize, FILETIME* time) -> LONG {
        return index == 2
                   ? static_cast<LONG>(ERROR_KEY_DELETED)
                   : enumerate.original(key, index, name, size, reserved, text, textSize, time);
    });
    InstalledPrograms programs;
    EXPECT_EQ((Texts{L"a", L"b"}), namesIn(programs));
    EXPECT_EQ((Texts{L"ERROR Registry: Failed to enumerate subkeys for "
                     L"<HKCR\\Installer\\Products>: " +
                         systemText(1018),
                     L"ERROR InstalledPrograms: InstalledPrograms failed to get the list of "
                     L"products from theregistry"}),
              trace.lines());
}

TEST_F(InstalledProgramsTest, KeepsTheNamesOfTheInstallersFolders) {
    const RegistryFixture registry(registryText("machine.reg"));
    const InstalledProgramsImpl programs;
    EXPECT_EQ((Texts{L"C:\\Program Files\\Alpha\\", L"C:\\Program Files\\Beta\\"}),
              programs.installerFolders());
}

TEST_F(InstalledProgramsTest, RefreshReadsTheProductsAlone) {
    InstalledPrograms programs;
    const RegistryFixture registry(machineWith({"a", "b"}));
    trace.clear();
    {
        ScopedCall<&Calls::RegEnumValueW> values(
            [](HKEY, DWORD, wchar_t*, DWORD*, DWORD*, DWORD*, BYTE*, DWORD*) -> LONG {
                ADD_FAILURE();
                return ERROR_NO_MORE_ITEMS;
            });
        programs.refresh();
    }
    EXPECT_EQ((Texts{L"a", L"b"}), namesIn(programs));
    ScopedCall<&Calls::RegOpenKeyExW> open(
        [](HKEY, const wchar_t*, DWORD, REGSAM, HKEY*) -> LONG { return ERROR_ACCESS_DENIED; });
    programs.refresh();
    EXPECT_EQ(0U, programs.numberOfObjects());
    EXPECT_EQ(
        (Texts{L"ERROR Registry: Failed to open <HKCR\\Installer\\Products>: " + systemText(5),
               L"ERROR InstalledPrograms: InstalledPrograms failed to get the list of "
               L"products from theregistry"}),
        trace.lines());
}

TEST_F(InstalledProgramsTest, ACopySharesTheCatalogue) {
    const RegistryFixture registry(machineWith({"a", "b"}));
    InstalledPrograms programs;
    // Never destroyed, as such a copy must be.
    auto& copy = *::new (m_place) InstalledPrograms(programs);
    EXPECT_EQ(L"b", programs.last().getName());
    EXPECT_EQ(L"b", copy.current().getName());
}

TEST_F(InstalledProgramsTest, TheOneThatWasMadeAtLoadAnswersForPrograms) {
    const RegistryFixture registry(machineWith({"Alpha Tool"}));
    s_installedPrograms.refresh();
    EXPECT_TRUE(Program(L"Tool", L"").isInstalled());
    EXPECT_FALSE(Program(L"tool", L"").isInstalled());
    EXPECT_TRUE(Program(L"", L"").isInstalled());
}

/// A registry with one product, made of replaced calls alone: a process that dies leaves nothing
/// behind.
class OneProduct {
public:
    OneProduct()
        : m_open([](HKEY, const wchar_t*, DWORD, REGSAM, HKEY* result) -> LONG {
              *result = HKEY_USERS;
              return ERROR_SUCCESS;
          }),
          m_close([](HKEY) -> LONG { return ERROR_SUCCESS; }),
          m_keys([](HKEY, DWORD index, wchar_t* name, DWORD*, DWORD*, wchar_t*, DWORD*,
                    FILETIME*) -> LONG {
              name[0] = L'1';
              name[1] = L'\0';
              return static_cast<LONG>(index == 0 ? ERROR_SUCCESS : ERROR_NO_MORE_ITEMS);
          }),
          m_values([](HKEY, DWORD, wchar_t*, DWORD*, DWORD*, DWORD*, BYTE*, DWORD*) -> LONG {
              return ERROR_NO_MORE_ITEMS;
          }),
          m_data([](HKEY, const wchar_t*, DWORD*, DWORD*, BYTE* data, DWORD* size) -> LONG {
              data[0] = 'a';
              *size = 1;
              return ERROR_SUCCESS;
          }) {}

private:
    ScopedCall<&Calls::RegOpenKeyExW> m_open;
    ScopedCall<&Calls::RegCloseKey> m_close;
    ScopedCall<&Calls::RegEnumKeyExW> m_keys;
    ScopedCall<&Calls::RegEnumValueW> m_values;
    ScopedCall<&Calls::RegQueryValueExW> m_data;
};

using InstalledProgramsDeathTest = InstalledProgramsTest;

TEST_F(InstalledProgramsDeathTest, EndsTheProcessWhereThereIsNoProduct) {
    const OneProduct registry;
    InstalledPrograms programs;
    EXPECT_EQ(L"a", programs.current().getName());
    EXPECT_FALSE(programs.next());
    EXPECT_DEATH((void)programs.current(), "");
    EXPECT_EQ(L"a", programs.first().getName());
}

TEST_F(InstalledProgramsDeathTest, EndsTheProcessForAProductOfAnEmptyCatalogue) {
    ScopedCall<&Calls::RegOpenKeyExW> open(
        [](HKEY, const wchar_t*, DWORD, REGSAM, HKEY*) -> LONG { return ERROR_FILE_NOT_FOUND; });
    InstalledPrograms programs;
    EXPECT_DEATH((void)programs.first(), "");
    EXPECT_DEATH((void)programs.last(), "");
    EXPECT_DEATH((void)programs.current(), "");
}

// The interface is a private base: its operations are public all the same.
static_assert(std::is_base_of_v<Iterator<Program>, InstalledPrograms>);
static_assert(!std::is_convertible_v<InstalledPrograms*, Iterator<Program>*>);
// The table of operations and the pointer to the implementation.
static_assert(sizeof(InstalledPrograms) == 2 * sizeof(void*));

}  // namespace
}  // namespace Tallowmere
