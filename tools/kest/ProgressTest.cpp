#include "Progress.h"

#include <gtest/gtest.h>

namespace Tallowmere::command {
namespace {

Progress sample() {
    Progress progress;
    progress.phase = L"copying";
    progress.files = 1234;
    progress.bytes = 1536;
    progress.allFiles = 5678;
    progress.allBytes = 3072;
    progress.rate = 1024;
    return progress;
}

TEST(Progress, TellsWhatIsKnown) {
    EXPECT_EQ(L"copying  50%  1,234 of 5,678 files  1.5 KiB of 3.0 KiB  1.0 KiB/s",
              progressLine(sample(), 80));
    Progress progress = sample();
    progress.allFiles.reset();
    progress.allBytes.reset();
    progress.rate.reset();
    EXPECT_EQ(L"copying  1,234 files  1.5 KiB", progressLine(progress, 80));
}

TEST(Progress, LeavesOutWhatDoesNotFit) {
    const std::wstring whole = progressLine(sample(), 80);
    EXPECT_EQ(whole, progressLine(sample(), whole.size() + 1));
    EXPECT_EQ(L"copying  50%  1,234 of 5,678 files  1.5 KiB of 3.0 KiB",
              progressLine(sample(), whole.size()));
    EXPECT_EQ(L"copying  50%  1,234 of 5,678 files", progressLine(sample(), 40));
    EXPECT_EQ(L"copying  50%", progressLine(sample(), 20));
}

TEST(Progress, FitsEveryWidthAndLeavesTheLastColumnFree) {
    for (std::size_t width = 0; width <= 100; ++width) {
        EXPECT_LE(progressLine(sample(), width).size(), width == 0 ? 0 : width - 1);
    }
    EXPECT_EQ(L"", progressLine(sample(), 0));
    EXPECT_EQ(L"", progressLine(sample(), 1));
    EXPECT_EQ(L"c", progressLine(sample(), 2));
    EXPECT_EQ(L"copying", progressLine(sample(), 8));
}

TEST(Progress, IsNeverMoreThanTheWhole) {
    Progress progress = sample();
    progress.bytes = UINT64_MAX;
    progress.allBytes = UINT64_MAX - 1;
    EXPECT_EQ(L"copying  100%", progressLine(progress, 14));
    progress.allBytes = 0;
    EXPECT_EQ(L"copying  1,234 of 5,678 files", progressLine(progress, 40));
}

TEST(Progress, CountsSecondsWhereThereIsNothingElse) {
    Progress progress;
    progress.phase = L"making durable";
    progress.seconds = 12;
    EXPECT_EQ(L"making durable  12 s", progressLine(progress, 80));
}

TEST(Rate, IsThatOfTheLastSeconds) {
    Rate rate;
    EXPECT_FALSE(rate.value().has_value());
    rate.note(0, 0);
    EXPECT_FALSE(rate.value().has_value());
    rate.note(500, 1000);
    EXPECT_EQ(2000U, rate.value());
    rate.note(1000, 1000000);
    rate.note(4000, 1003000);
    EXPECT_EQ(1000U, rate.value());
}

}  // namespace
}  // namespace Tallowmere::command
