#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/testing/CallLog.h"
#include "kest/platform/testing/ScopedCall.h"
#include "kest/system/System.h"
#include "kest/text/Strings.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::testing::CallLog;
using platform::testing::ScopedCall;

using Lines = std::vector<std::wstring>;
using Shares = std::map<std::wstring, std::wstring>;

const std::wstring kBefore = L"INFO OsUtilitiesWin: Calling NetShareEnum ";
const std::wstring kAfter = L"INFO OsUtilitiesWin: After calling NetShareEnum ";

/// Plays a computer with shares.
class Computer {
public:
    Computer()
        : m_listing([this](wchar_t* server, DWORD level, BYTE** buffer, DWORD length, DWORD* read,
                           DWORD* total, DWORD* resume) -> NET_API_STATUS {
              EXPECT_EQ(502U, level);
              EXPECT_EQ(0xFFFFFFFFU, length);
              EXPECT_EQ(nullptr, resume);
              EXPECT_EQ(nullptr, *buffer);
              asked = server;
              if (action) {
                  action();
              }
              *read = static_cast<DWORD>(m_records.size());
              *total = *read + 5;
              if (hasBuffer) {
                  *buffer = reinterpret_cast<BYTE*>(m_records.data());
              }
              return status;
          }),
          m_freeing([this](void* buffer) -> NET_API_STATUS {
              EXPECT_EQ(static_cast<void*>(m_records.data()), buffer);
              return ERROR_SUCCESS;
          }) {}

    void share(const wchar_t* name, DWORD type, const wchar_t* path) {
        SHARE_INFO_502 record{};
        record.shi502_netname = keep(name);
        record.shi502_type = type;
        record.shi502_path = keep(path);
        m_records.push_back(record);
    }

    int frees() const { return m_freeing.count(); }

    std::wstring asked;
    NET_API_STATUS status = ERROR_SUCCESS;
    bool hasBuffer = true;
    std::function<void()> action;

private:
    wchar_t* keep(const wchar_t* text) {
        return text == nullptr ? nullptr : m_texts.emplace_back(text).data();
    }

    std::deque<std::wstring> m_texts;
    std::vector<SHARE_INFO_502> m_records;
    ScopedCall<&Calls::NetShareEnum> m_listing;
    ScopedCall<&Calls::NetApiBufferFree> m_freeing;
};

class NetShares : public ::testing::Test {
protected:
    std::string failure() {
        try {
            getNetShares(L"\\\\server", shares);
        } catch (const std::runtime_error& failure) {
            return typeid(failure) == typeid(std::runtime_error) ? failure.what() : "another type";
        }
        return "nothing";
    }

    testing::TraceCapture trace;
    Computer computer;
    Shares shares;
};

TEST_F(NetShares, FoldersAndTheAdministratorsFoldersAreTaken) {
    computer.share(L"C$", STYPE_SPECIAL, L"C:\\");
    computer.share(L"ADMIN$", STYPE_SPECIAL, L"C:\\Windows");
    computer.share(L"IPC$", STYPE_SPECIAL | STYPE_IPC, L"");
    computer.share(L"Data", STYPE_DISKTREE, L"D:\\data");
    getNetShares(L"\\\\server", shares);
    EXPECT_EQ((Shares{{L"C$", L"C:\\"}, {L"ADMIN$", L"C:\\Windows"}, {L"Data", L"D:\\data"}}),
              shares);
    EXPECT_EQ(L"\\\\server", computer.asked);
    EXPECT_EQ(1, computer.frees());
    EXPECT_EQ((Lines{kBefore, kAfter, L"INFO OsUtilitiesWin: Net shares are C$, C:\\",
                     L"INFO OsUtilitiesWin: Net shares are ADMIN$, C:\\Windows",
                     L"INFO OsUtilitiesWin: Net shares are IPC$, ",
                     L"INFO OsUtilitiesWin: Net shares are Data, D:\\data"}),
              trace.lines());
}

TEST_F(NetShares, EveryOtherTypeIsTracedAndLeftOut) {
    const DWORD types[] = {STYPE_PRINTQ,
                           STYPE_DEVICE,
                           STYPE_IPC,
                           STYPE_PRINTQ | STYPE_SPECIAL,
                           STYPE_DEVICE | STYPE_SPECIAL,
                           STYPE_IPC | STYPE_SPECIAL,
                           0x40000000U,
                           0xC0000000U,
                           0x02000000U,
                           4,
                           0xFFFFFFFFU};
    Lines expected = {kBefore, kAfter};
    for (const DWORD type : types) {
        const std::wstring name = L"s" + std::to_wstring(type);
        computer.share(name.c_str(), type, L"p");
        expected.push_back(L"INFO OsUtilitiesWin: Net shares are " + name + L", p");
    }
    getNetShares(L"", shares);
    EXPECT_EQ(Shares{}, shares);
    EXPECT_EQ(expected, trace.lines());
    EXPECT_EQ(L"", computer.asked);
}

TEST_F(NetShares, WhatIsInTheListAlreadyStays) {
    shares = {{L"Data", L"old"}, {L"Other", L"x"}};
    computer.share(L"Data", STYPE_DISKTREE, L"new");
    computer.share(L"data", STYPE_DISKTREE, L"another");
    computer.share(L"Twice", STYPE_DISKTREE, L"first");
    computer.share(L"Twice", STYPE_SPECIAL, L"second");
    getNetShares(L"", shares);
    EXPECT_EQ(
        (Shares{{L"Data", L"old"}, {L"Other", L"x"}, {L"data", L"another"}, {L"Twice", L"first"}}),
        shares);
}

TEST_F(NetShares, AComputerWithoutShares) {
    computer.hasBuffer = false;
    getNetShares(L"", shares);
    EXPECT_EQ(Shares{}, shares);
    EXPECT_EQ((Lines{kBefore, kAfter}), trace.lines());
    EXPECT_EQ(0, computer.frees());
}

TEST_F(NetShares, ATextThatIsNullIsEmpty) {
    computer.share(nullptr, STYPE_DISKTREE, nullptr);
    getNetShares(L"", shares);
    EXPECT_EQ((Shares{{L"", L""}}), shares);
    EXPECT_EQ((Lines{kBefore, kAfter, L"INFO OsUtilitiesWin: Net shares are , "}), trace.lines());
}

TEST_F(NetShares, EachLineIsOutBeforeTheNextStep) {
    computer.share(L"Data", STYPE_DISKTREE, L"p");
    computer.action = [&] { EXPECT_EQ(Lines{kBefore}, trace.lines()); };
    getNetShares(L"", shares);
    EXPECT_EQ(3U, trace.lines().size());
}

TEST_F(NetShares, AnyStatusButSuccessIsAFailure) {
    computer.hasBuffer = false;
    shares = {{L"Data", L"old"}};
    computer.share(L"New", STYPE_DISKTREE, L"p");
    for (const NET_API_STATUS status :
         {NET_API_STATUS{ERROR_ACCESS_DENIED}, NET_API_STATUS{ERROR_BAD_NETPATH},
          NET_API_STATUS{ERROR_MORE_DATA}, NET_API_STATUS{ERROR_NOT_SUPPORTED}}) {
        trace.clear();
        computer.status = status;
        EXPECT_EQ("NetShareEnum failed: " +
                      convertToString(getSystemErrorMessage(status, nullptr).c_str()),
                  failure());
        EXPECT_EQ((Lines{kBefore, kAfter}), trace.lines());
        EXPECT_EQ((Shares{{L"Data", L"old"}}), shares);
        EXPECT_EQ(0, computer.frees());
    }
    computer.status = 10783;
    EXPECT_EQ("NetShareEnum failed: Unknown error code: 0x2a1f", failure());
}

TEST_F(NetShares, AListThatIsNotWholeIsGivenBackUnread) {
    computer.share(L"New", STYPE_DISKTREE, L"p");
    computer.status = ERROR_MORE_DATA;
    EXPECT_EQ("NetShareEnum failed: " +
                  convertToString(getSystemErrorMessage(ERROR_MORE_DATA, nullptr).c_str()),
              failure());
    EXPECT_EQ(Shares{}, shares);
    EXPECT_EQ((Lines{kBefore, kAfter}), trace.lines());
    EXPECT_EQ(1, computer.frees());
}

TEST_F(NetShares, NoNameIsTakenForAMarker) {
    // What the trace takes for a marker, or waits for ever after, when it is handed constant text.
    const Lines names = {L"MySeverance", L"MyFiles", L"OnLines",  L"!~Sev:ERROR",
                         L"!~Fil:",      L"!~Lin:",  L"\\\\Seven"};
    Lines expected = {kBefore, kAfter};
    Shares all;
    for (const std::wstring& name : names) {
        const std::wstring path = L"\\\\Fileserver\\" + name;
        computer.share(name.c_str(), STYPE_DISKTREE, path.c_str());
        computer.share(path.c_str(), STYPE_PRINTQ, name.c_str());
        expected.push_back(L"INFO OsUtilitiesWin: Net shares are " + name + L", " + path);
        expected.push_back(L"INFO OsUtilitiesWin: Net shares are " + path + L", " + name);
        all[name] = path;
    }
    getNetShares(L"\\\\Seven", shares);
    EXPECT_EQ(expected, trace.lines());
    EXPECT_EQ(all, shares);
}

TEST_F(NetShares, TheListIsGivenBackWhateverHappens) {
    computer.share(L"Data", STYPE_DISKTREE, L"p");
    class Stop {};
    // As when memory runs out in the midst of it.
    computer.action = [] {};
    int lines = 0;
    {
        const ScopedCall<&Calls::GetSystemTime> clock([&](SYSTEMTIME* time) {
            *time = {2026, 11, 1, 16, 10, 35, 54, 123};
            if (++lines == 3) {
                throw Stop();
            }
        });
        EXPECT_THROW(getNetShares(L"", shares), Stop);
    }
    EXPECT_EQ(1, computer.frees());
}

}  // namespace
}  // namespace Tallowmere
