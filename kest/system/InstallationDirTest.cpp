#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <sstream>
#include <string>

#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/testing/RegistryFixture.h"
#include "kest/system/FileSystem.h"
#include "kest/text/Strings.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere {
namespace {

using platform::testing::kRegistryHeader;
using platform::testing::RegistryFixture;
using platform::testing::registryText;
using Lines = std::vector<std::wstring>;

/// What `body` writes to std::cerr.
std::string narrowErrorsOf(const std::function<void()>& body) {
    std::ostringstream text;
    std::streambuf* const before = std::cerr.rdbuf(text.rdbuf());
    body();
    std::cerr.rdbuf(before);
    return text.str();
}

TEST(GetInstallationDir, ReadsTheRegistry) {
    const RegistryFixture registry(registryText("machine.reg"));
    const testing::TraceCapture trace;
    std::wstring directory = L"old";
    EXPECT_TRUE(getInstallationDir(directory));
    EXPECT_EQ(L"C:\\Program Files\\Tallowmere\\Orrelane", directory);
    EXPECT_EQ(Lines(), trace.lines());
}

TEST(GetInstallationDir, ReportsAMachineWithoutTheProduct) {
    const RegistryFixture registry(std::string(kRegistryHeader) +
                                   "[HKEY_LOCAL_MACHINE\\SOFTWARE]\r\n");
    const testing::TraceCapture trace;
    const std::wstring message = L"Failed to open registry key <SOFTWARE\\Tallowmere\\Orrelane>: " +
                                 getSystemErrorMessage(2, nullptr);
    std::wstring directory;
    bool result = true;
    const std::string said = narrowErrorsOf([&] { result = getInstallationDir(directory); });
    EXPECT_FALSE(result);
    EXPECT_EQ("getInstallationDir() failed: " + convertToString(message.c_str()) + "\n", said);
    EXPECT_EQ((Lines{L"ERROR Registry: " + message}), trace.lines());
}

TEST(GetInstallationDir, ReportsAMissingValue) {
    const RegistryFixture registry(std::string(kRegistryHeader) +
                                   "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Tallowmere\\Orrelane]\r\n");
    const testing::TraceCapture trace;
    const std::wstring message =
        L"Failed to get registry value <InstallDir>: " + getSystemErrorMessage(2, nullptr);
    std::wstring directory;
    bool result = true;
    const std::string said = narrowErrorsOf([&] { result = getInstallationDir(directory); });
    EXPECT_FALSE(result);
    EXPECT_EQ("getInstallationDir() failed: " + convertToString(message.c_str()) + "\n", said);
    EXPECT_EQ((Lines{L"ERROR Registry: " + message}), trace.lines());
}

}  // namespace
}  // namespace Tallowmere
