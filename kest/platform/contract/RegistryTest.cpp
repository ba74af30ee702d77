#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "kest/platform/Calls.h"
#include "kest/platform/testing/RegistryFixture.h"

// The registry calls over one registry text: what they return, what they leave in their buffers,
// and how names are compared.

namespace Tallowmere::platform {
namespace {

constexpr LONG kSuccess = 0;
constexpr const wchar_t* kProduct = L"SOFTWARE\\Tallowmere\\Orrelane";

class RegistryCalls : public ::testing::Test {
protected:
    static LONG open(HKEY root, const wchar_t* path, HKEY& key) {
        return os().RegOpenKeyExW(root, path, 0, KEY_READ, &key);
    }

    /// The code with which a path is refused; it must not be opened.
    static LONG refusal(HKEY root, const wchar_t* path) {
        HKEY key = nullptr;
        const LONG code = open(root, path, key);
        EXPECT_NE(kSuccess, code);
        return code;
    }

    static HKEY opened(HKEY root, const wchar_t* path) {
        HKEY key = nullptr;
        EXPECT_EQ(kSuccess, open(root, path, key));
        return key;
    }

    /// Type and bytes of a value.
    static std::pair<DWORD, std::string> query(HKEY key, const wchar_t* name) {
        DWORD type = 99;
        BYTE data[100];
        DWORD size = sizeof(data);
        EXPECT_EQ(kSuccess, os().RegQueryValueExW(key, name, nullptr, &type, data, &size));
        return {type, std::string(reinterpret_cast<const char*>(data), size)};
    }

    testing::RegistryFixture registry{testing::registryText("machine.reg")};
};

TEST_F(RegistryCalls, OpenWhatIsThere) {
    const HKEY parent = opened(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Tallowmere");
    const HKEY child = opened(parent, L"Orrelane\\Alpha\\");
    EXPECT_NE(parent, child);
    EXPECT_EQ(kSuccess, os().RegCloseKey(child));
    // A second handle for the same key.
    for (const wchar_t* const same : {static_cast<const wchar_t*>(nullptr), L""}) {
        const HKEY again = opened(parent, same);
        EXPECT_EQ(kSuccess, os().RegCloseKey(again));
    }
    EXPECT_EQ(kSuccess, os().RegCloseKey(parent));
    for (const HKEY root : {HKEY_CLASSES_ROOT, HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, HKEY_USERS,
                            HKEY_CURRENT_CONFIG, HKEY_PERFORMANCE_DATA}) {
        EXPECT_EQ(kSuccess, os().RegCloseKey(opened(root, nullptr)));
    }
}

TEST_F(RegistryCalls, RefuseWhatIsNotThere) {
    EXPECT_EQ(2, refusal(HKEY_LOCAL_MACHINE, L"None"));
    EXPECT_EQ(2, refusal(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Tallowmere\\Orrelane\\InstallDir"));
    EXPECT_EQ(2, refusal(HKEY_LOCAL_MACHINE, L"SOFTWARE/Tallowmere"));
    EXPECT_EQ(2, refusal(HKEY_CLASSES_ROOT, L"SOFTWARE"));
    // Removed by the text itself.
    EXPECT_EQ(2, refusal(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Tallowmere\\Gone"));
    EXPECT_EQ(2, refusal(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Tallowmere\\Gone\\Deeper"));
    EXPECT_EQ(161, refusal(HKEY_LOCAL_MACHINE, L"\\SOFTWARE"));
    EXPECT_EQ(87, refusal(HKEY_LOCAL_MACHINE, std::wstring(300, L'x').c_str()));
    for (const HKEY none : {static_cast<HKEY>(nullptr), HKEY_PERFORMANCE_NLSTEXT,
                            HKEY_PERFORMANCE_TEXT, reinterpret_cast<HKEY>(0x12344)}) {
        EXPECT_EQ(6, refusal(none, L"x"));
    }
    EXPECT_EQ(6, refusal(HKEY_PERFORMANCE_DATA, L"x"));
    EXPECT_EQ(87, os().RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE", 0, KEY_READ, nullptr));
}

TEST_F(RegistryCalls, GiveTheBytesOfAValue) {
    const HKEY key = opened(HKEY_LOCAL_MACHINE, kProduct);
    using Value = std::pair<DWORD, std::string>;
    EXPECT_EQ((Value{1, std::string("\0\0", 2)}), query(key, L"Empty"));
    EXPECT_EQ((Value{4, std::string("B\0A\0", 4)}), query(key, L"Number"));
    EXPECT_EQ((Value{3, std::string("A\0B", 3)}), query(key, L"Binary"));
    EXPECT_EQ((Value{3, std::string()}), query(key, L"Nothing"));
    EXPECT_EQ((Value{2, std::string("%\0A\0%\0\0\0", 8)}), query(key, L"Expand"));
    EXPECT_EQ((Value{7, std::string("a\0\0\0b\0\0\0\0\0", 10)}), query(key, L"Lines"));
    EXPECT_EQ((Value{11, std::string("C\0D\0E\0F\0", 8)}), query(key, L"Quad"));
    EXPECT_EQ(24U, query(key, L"").second.size());
    EXPECT_EQ(query(key, L""), query(key, nullptr));
    EXPECT_EQ(query(key, L"QUAD"), query(key, L"quad"));
    const std::string wide = query(key, L"Wide").second;
    EXPECT_EQ(std::string("\\\0G\0r\0\xFC\0\xDF\0", 10), wide.substr(0, 10));
    EXPECT_EQ(std::string("\x3D\xD8\x00\xDE\0\0", 6), wide.substr(wide.size() - 6));
    EXPECT_EQ(kSuccess, os().RegCloseKey(key));
}

TEST_F(RegistryCalls, TellHowManyBytesAValueHas) {
    const HKEY key = opened(HKEY_LOCAL_MACHINE, kProduct);
    DWORD size = 0;
    EXPECT_EQ(kSuccess, os().RegQueryValueExW(key, L"Quad", nullptr, nullptr, nullptr, &size));
    EXPECT_EQ(8U, size);
    BYTE data[8] = {7, 7, 7, 7, 7, 7, 7, 7};
    DWORD type = 0;
    size = 7;
    EXPECT_EQ(234, os().RegQueryValueExW(key, L"Quad", nullptr, &type, data, &size));
    EXPECT_EQ(8U, size);
    EXPECT_EQ(11U, type);
    EXPECT_EQ(7, data[0]);
    EXPECT_EQ(kSuccess, os().RegQueryValueExW(key, L"Quad", nullptr, nullptr, data, &size));
    EXPECT_EQ('C', data[0]);
    EXPECT_EQ(87, os().RegQueryValueExW(key, L"Quad", nullptr, nullptr, data, nullptr));
    EXPECT_EQ(2, os().RegQueryValueExW(key, L"Removed", nullptr, nullptr, nullptr, &size));
    EXPECT_EQ(kSuccess, os().RegCloseKey(key));
}

TEST_F(RegistryCalls, ListSubkeys) {
    const HKEY key = opened(HKEY_LOCAL_MACHINE, kProduct);
    wchar_t name[6];
    const auto enumerate = [&](DWORD index, DWORD& size) {
        std::memset(name, 0, sizeof(name));
        return os().RegEnumKeyExW(key, index, name, &size, nullptr, nullptr, nullptr, nullptr);
    };
    DWORD size = 6;
    EXPECT_EQ(kSuccess, enumerate(0, size));
    EXPECT_STREQ(L"Alpha", name);
    EXPECT_EQ(5U, size);
    size = 5;
    EXPECT_EQ(234, enumerate(1, size) == kSuccess ? enumerate(2, size) : 0);
    EXPECT_STREQ(L"", name);
    size = 6;
    EXPECT_EQ(kSuccess, enumerate(2, size));
    EXPECT_STREQ(L"Gamma", name);
    size = 6;
    EXPECT_EQ(259, enumerate(3, size));
    EXPECT_EQ(kSuccess, os().RegCloseKey(key));
    EXPECT_EQ(6, enumerate(0, size));
}

TEST_F(RegistryCalls, ListValues) {
    const HKEY key = opened(HKEY_LOCAL_MACHINE, kProduct);
    wchar_t name[20];
    const auto enumerate = [&](DWORD index, DWORD& size) {
        return os().RegEnumValueW(key, index, name, &size, nullptr, nullptr, nullptr, nullptr);
    };
    DWORD size = 1;
    EXPECT_EQ(kSuccess, enumerate(0, size));
    EXPECT_STREQ(L"", name);
    EXPECT_EQ(0U, size);
    size = 6;
    EXPECT_EQ(234, enumerate(1, size));
    size = 7;
    EXPECT_EQ(kSuccess, enumerate(1, size));
    EXPECT_STREQ(L"Binary", name);
    EXPECT_EQ(6U, size);
    size = 20;
    EXPECT_EQ(259, enumerate(13, size));

    BYTE data[3];
    DWORD type = 0;
    DWORD dataSize = 3;
    size = 20;
    EXPECT_EQ(kSuccess, os().RegEnumValueW(key, 1, name, &size, nullptr, &type, data, &dataSize));
    EXPECT_EQ(3U, type);
    EXPECT_EQ(3U, dataSize);
    EXPECT_EQ('B', data[2]);
    EXPECT_EQ(kSuccess, os().RegCloseKey(key));
}

TEST_F(RegistryCalls, TellTheSizesOfAKey) {
    const HKEY key = opened(HKEY_LOCAL_MACHINE, kProduct);
    DWORD subkeys = 0;
    DWORD longestSubkey = 0;
    DWORD values = 0;
    DWORD longestName = 0;
    DWORD longestData = 0;
    EXPECT_EQ(kSuccess, os().RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subkeys,
                                              &longestSubkey, nullptr, &values, &longestName,
                                              &longestData, nullptr, nullptr));
    EXPECT_EQ(3U, subkeys);
    EXPECT_EQ(5U, longestSubkey);
    EXPECT_EQ(13U, values);
    EXPECT_EQ(12U, longestName);
    EXPECT_EQ(74U, longestData);
    EXPECT_EQ(kSuccess, os().RegCloseKey(key));
}

TEST_F(RegistryCalls, PerformanceDataHasNeitherKeysNorNames) {
    wchar_t name[20];
    DWORD size = 20;
    EXPECT_EQ(6, os().RegEnumKeyExW(HKEY_PERFORMANCE_DATA, 0, name, &size, nullptr, nullptr,
                                    nullptr, nullptr));
    EXPECT_EQ(6, os().RegEnumValueW(HKEY_PERFORMANCE_DATA, 0, name, &size, nullptr, nullptr,
                                    nullptr, nullptr));
    EXPECT_EQ(
        6, os().RegQueryInfoKeyW(HKEY_PERFORMANCE_DATA, nullptr, nullptr, nullptr, nullptr, nullptr,
                                 nullptr, nullptr, &size, nullptr, nullptr, nullptr));
}

TEST_F(RegistryCalls, CloseOnce) {
    const HKEY key = opened(HKEY_LOCAL_MACHINE, kProduct);
    EXPECT_EQ(kSuccess, os().RegCloseKey(key));
    EXPECT_EQ(6, os().RegCloseKey(key));
    EXPECT_EQ(6, os().RegCloseKey(nullptr));
    EXPECT_EQ(6, refusal(key, L"Alpha"));
}

TEST_F(RegistryCalls, NoticeThatAKeyIsGone) {
    const HKEY key = opened(HKEY_LOCAL_MACHINE, kProduct);
    registry.removeMachineKey("SOFTWARE\\Tallowmere\\Orrelane");
    wchar_t name[20];
    DWORD size = 20;
    EXPECT_EQ(1018, os().RegEnumKeyExW(key, 0, name, &size, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(1018, os().RegEnumValueW(key, 0, name, &size, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(1018, os().RegQueryValueExW(key, L"Empty", nullptr, nullptr, nullptr, &size));
    EXPECT_EQ(1018, refusal(key, L"Alpha"));
    EXPECT_EQ(2, refusal(HKEY_LOCAL_MACHINE, kProduct));
    EXPECT_EQ(kSuccess, os().RegCloseKey(key));
}

}  // namespace
}  // namespace Tallowmere::platform
