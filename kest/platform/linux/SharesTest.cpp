// The list of shares as the library gets it here.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/Calls.h"
#include "kest/platform/linux/Names.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/system/System.h"
#include "kest/text/Strings.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere::platform {
namespace {

using testing::TempTree;

using Lines = std::vector<std::wstring>;
using Shares = std::map<std::wstring, std::wstring>;

class LinuxShares : public ::testing::Test {
protected:
    LinuxShares() { setenv("KEST_SMB_CONF", (tree / "smb.conf").c_str(), 1); }
    ~LinuxShares() override { unsetenv("KEST_SMB_CONF"); }

    static Shares of(const std::wstring& server) {
        Shares shares;
        getNetShares(server, shares);
        return shares;
    }

    static std::string failureOf(const std::wstring& server) {
        try {
            (void)of(server);
        } catch (const std::runtime_error& failure) {
            return failure.what();
        }
        return "nothing";
    }

    static std::string failureText(DWORD code) {
        return "NetShareEnum failed: " +
               convertToString(getSystemErrorMessage(code, nullptr).c_str());
    }

    Tallowmere::testing::TraceCapture trace;
    TempTree tree;
};

TEST_F(LinuxShares, AreThoseOfTheConfiguration) {
    tree.write("smb.conf",
               "[Data]\npath = /srv/data\n"
               "[C$]\npath = /\n"
               "[ADMIN$]\npath = /usr\n"
               "[IPC$]\n"
               "[laser]\npath = /var/spool\nprintable = yes\n"
               "[Gr\xC3\xBC\xC3\x9F"
               "e]\npath = /\xE6\x97\xA5\xFF\n");
    EXPECT_EQ((Shares{{L"Data", L"/srv/data"},
                      {L"C$", L"/"},
                      {L"ADMIN$", L"/usr"},
                      {L"Gr\u00FC\u00DFe", L"/\u65E5\xF0FF"}}),
              of(L""));
    EXPECT_EQ((Lines{L"INFO OsUtilitiesWin: Calling NetShareEnum ",
                     L"INFO OsUtilitiesWin: After calling NetShareEnum ",
                     L"INFO OsUtilitiesWin: Net shares are Data, /srv/data",
                     L"INFO OsUtilitiesWin: Net shares are C$, /",
                     L"INFO OsUtilitiesWin: Net shares are ADMIN$, /usr",
                     L"INFO OsUtilitiesWin: Net shares are IPC$, ",
                     L"INFO OsUtilitiesWin: Net shares are laser, /var/spool",
                     L"INFO OsUtilitiesWin: Net shares are Gr\u00FC\u00DFe, /\u65E5\xF0FF"}),
              trace.lines());
}

TEST_F(LinuxShares, WithoutAConfigurationThereAreNone) {
    EXPECT_EQ(Shares{}, of(L""));
    setenv("KEST_SMB_CONF", "/dev/null/none", 1);
    EXPECT_EQ(Shares{}, of(L""));
    setenv("KEST_SMB_CONF", "/dev/null", 1);
    EXPECT_EQ(Shares{}, of(L""));
}

TEST_F(LinuxShares, AConfigurationThatCannotBeReadIsAFailure) {
    tree.makeDirectory("smb.conf");
    EXPECT_EQ(failureText(ERROR_ACCESS_DENIED), failureOf(L""));
}

TEST_F(LinuxShares, ThisMachineHasManyNames) {
    tree.write("smb.conf", "[global]\nnetbios name = Box\n[Data]\npath = /srv\n");
    char host[256] = "";
    ASSERT_EQ(0, gethostname(host, sizeof host - 1));
    const Shares expected = {{L"Data", L"/srv"}};
    const std::wstring full = names::widen(host);
    for (const std::wstring& name :
         {std::wstring(), std::wstring(L"localhost"), std::wstring(L"LocalHost"),
          std::wstring(L"127.0.0.1"), std::wstring(L"::1"), std::wstring(L"BOX"), full,
          full.substr(0, full.find(L'.'))}) {
        EXPECT_EQ(expected, of(name)) << convertToString(name.c_str());
        EXPECT_EQ(expected, of(L"\\\\" + name)) << convertToString(name.c_str());
    }
}

TEST_F(LinuxShares, AnotherComputerCannotBeReached) {
    tree.write("smb.conf", "[Data]\npath = /srv\n");
    for (const wchar_t* const name : {L"\\\\Fileserver", L"\\\\Seven", L"kest-no-such-computer",
                                      L"\\localhost", L"Box", L" "}) {
        EXPECT_EQ(failureText(ERROR_BAD_NETPATH), failureOf(name));
    }
    // The trace goes on whatever the name is.
    EXPECT_EQ(12U, trace.lines().size());
    // Nor does it take a configuration to know that.
    setenv("KEST_SMB_CONF", "/none", 1);
    EXPECT_EQ(failureText(ERROR_BAD_NETPATH), failureOf(L"\\\\other"));
}

TEST_F(LinuxShares, TheRecordsAreWhole) {
    tree.write("smb.conf",
               "[Data]\npath = /srv\ncomment = All of it\nmax connections = 3\n[Other]\npath=/o\n");
    BYTE* buffer = nullptr;
    DWORD read = 0;
    DWORD total = 0;
    ASSERT_EQ(
        0U, os().NetShareEnum(nullptr, 502, &buffer, MAX_PREFERRED_LENGTH, &read, &total, nullptr));
    EXPECT_EQ(2U, read);
    EXPECT_EQ(2U, total);
    const auto* const records = reinterpret_cast<const SHARE_INFO_502*>(buffer);
    EXPECT_STREQ(L"Data", records[0].shi502_netname);
    EXPECT_STREQ(L"All of it", records[0].shi502_remark);
    EXPECT_STREQ(L"/srv", records[0].shi502_path);
    EXPECT_EQ(STYPE_DISKTREE, records[0].shi502_type);
    EXPECT_EQ(3U, records[0].shi502_max_uses);
    EXPECT_EQ(0U, records[0].shi502_current_uses);
    EXPECT_EQ(nullptr, records[0].shi502_passwd);
    EXPECT_EQ(nullptr, records[0].shi502_security_descriptor);
    EXPECT_STREQ(L"Other", records[1].shi502_netname);
    EXPECT_STREQ(L"", records[1].shi502_remark);
    EXPECT_EQ(0U, os().NetApiBufferFree(buffer));
}

TEST_F(LinuxShares, WhatTheLibraryNeverAsksForIsRefused) {
    BYTE* buffer = nullptr;
    DWORD read = 0;
    DWORD total = 0;
    EXPECT_EQ(ERROR_INVALID_LEVEL,
              os().NetShareEnum(nullptr, 2, &buffer, MAX_PREFERRED_LENGTH, &read, &total, nullptr));
    EXPECT_EQ(
        ERROR_INVALID_PARAMETER,
        os().NetShareEnum(nullptr, 502, nullptr, MAX_PREFERRED_LENGTH, &read, &total, nullptr));
    EXPECT_EQ(
        ERROR_INVALID_PARAMETER,
        os().NetShareEnum(nullptr, 502, &buffer, MAX_PREFERRED_LENGTH, nullptr, &total, nullptr));
}

}  // namespace
}  // namespace Tallowmere::platform
