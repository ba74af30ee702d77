#include <gtest/gtest.h>

#include <string>

#include "kest/platform/Calls.h"
#include "kest/platform/HandleTable.h"
#include "kest/platform/linux/testing/CapturedOutput.h"
#include "kest/platform/linux/testing/FailingAllocation.h"

namespace Tallowmere::platform {
namespace {

using testing::outputOf;

TEST(LinuxProcessesMemory, WhenMemoryRunsOutNothingIsStarted) {
    std::wstring line = L"/bin/echo a";
    STARTUPINFOW startUp{};
    startUp.cb = sizeof startUp;
    // Other tests let the closing of handles fail.
    const int processes = openHandles(HandleKind::Process);
    const int threads = openHandles(HandleKind::Thread);
    bool started = false;
    for (int first = 1; !started && first < 1000; ++first) {
        PROCESS_INFORMATION process{};
        DWORD error = 0;
        const std::string written = outputOf([&] {
            const testing::FailingAllocation failing(first);
            started = os().CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                          nullptr, &startUp, &process) != FALSE;
            error = os().GetLastError();
        });
        EXPECT_EQ(started ? "a\n" : "", written);
        if (started) {
            EXPECT_TRUE(os().CloseHandle(process.hProcess));
            EXPECT_TRUE(os().CloseHandle(process.hThread));
        } else {
            EXPECT_EQ(ERROR_NOT_ENOUGH_MEMORY, error);
            EXPECT_EQ(processes, openHandles(HandleKind::Process));
            EXPECT_EQ(threads, openHandles(HandleKind::Thread));
        }
    }
    EXPECT_TRUE(started);
}

}  // namespace
}  // namespace Tallowmere::platform
