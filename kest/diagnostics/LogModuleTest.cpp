// Statements of a source that names the module it belongs to.
#define KEST_MODULE "SystemRestoreWin"

#include <gtest/gtest.h>

#include "kest/diagnostics/Log.h"
#include "kest/diagnostics/testing/FixedTrace.h"

namespace Tallowmere {
namespace {

TEST(LogModule, AppearsInThePlaceOfTheFileName) {
    const testing::FixedTrace fixed;
    std::wostringstream stream;
    Recorder::instance()->setStream(&stream, nullptr, false);
#line 64
    LOG_WARNING("text");
    EXPECT_EQ(std::wstring(testing::kStamp) +
                  L"WARNING \tT4711\tSystemRestoreWin:L00064             \ttext\n",
              stream.str());
}

}  // namespace
}  // namespace Tallowmere
