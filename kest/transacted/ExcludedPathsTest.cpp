#include "kest/transacted/ExcludedPaths.h"

#include <gtest/gtest.h>

namespace Tallowmere {
namespace {

TEST(ExcludedPaths, TheSystemFoldersAtTheRootOfADrive) {
    EXPECT_TRUE(isExcludedPath(L"C:\\$RECYCLE.BIN"));
    EXPECT_TRUE(isExcludedPath(L"C:\\$recycle.bin"));
    EXPECT_TRUE(isExcludedPath(L"c:\\$Recycle.Bin"));
    EXPECT_TRUE(isExcludedPath(L"C:/$RECYCLE.BIN"));
    EXPECT_TRUE(isExcludedPath(L"D:\\System Volume Information"));
    EXPECT_TRUE(isExcludedPath(L"D:\\SYSTEM VOLUME INFORMATION"));
}

TEST(ExcludedPaths, OnlyTheWholeName) {
    EXPECT_FALSE(isExcludedPath(L"C:\\$RECYCLE.BIN2"));
    EXPECT_FALSE(isExcludedPath(L"C:\\x$RECYCLE.BIN"));
    EXPECT_FALSE(isExcludedPath(L"C:\\$RECYCLE"));
    EXPECT_FALSE(isExcludedPath(L"C:\\System Volume"));
    EXPECT_FALSE(isExcludedPath(L"C:\\RECYCLER"));
    EXPECT_FALSE(isExcludedPath(L"C:\\"));
    EXPECT_FALSE(isExcludedPath(L""));
}

TEST(ExcludedPaths, OnlyTheLastOfExactlyTwoComponents) {
    EXPECT_FALSE(isExcludedPath(L"$RECYCLE.BIN"));
    EXPECT_FALSE(isExcludedPath(L"C:\\x\\$RECYCLE.BIN"));
    EXPECT_FALSE(isExcludedPath(L"C:\\$RECYCLE.BIN\\x"));
    EXPECT_FALSE(isExcludedPath(L"$RECYCLE.BIN\\x"));
    EXPECT_FALSE(isExcludedPath(L"\\\\?\\C:\\$RECYCLE.BIN"));
    // The first may be anything.
    EXPECT_TRUE(isExcludedPath(L"anything\\$RECYCLE.BIN"));
    EXPECT_TRUE(isExcludedPath(L"/home/$recycle.bin"));
}

TEST(ExcludedPaths, EmptyComponentsAndOuterBlanksDoNotCount) {
    EXPECT_TRUE(isExcludedPath(L"C:\\\\$RECYCLE.BIN"));
    EXPECT_TRUE(isExcludedPath(L"C:\\$RECYCLE.BIN\\"));
    EXPECT_TRUE(isExcludedPath(L"C:\\ $RECYCLE.BIN "));
    EXPECT_TRUE(isExcludedPath(L"C:\\ \\$RECYCLE.BIN"));
}

TEST(ExcludedPaths, TheSystemFoldersAtTheRootOfASnapshotThreeLevelsBelow) {
    EXPECT_TRUE(isExcludedPath(L"C:\\a\\b\\@GMT-2010.05.17-08.30.00\\$RECYCLE.BIN"));
    EXPECT_TRUE(isExcludedPath(L"C:\\a\\b\\@gmt-2099\\system volume information"));
    // The mark may stand anywhere in the fourth component.
    EXPECT_TRUE(isExcludedPath(L"C:\\a\\b\\x@Gmt-20y\\$recycle.bin"));
    EXPECT_TRUE(isExcludedPath(L"\\\\?\\machine\\C$\\@GMT-2010.05.17-08.30.00\\$RECYCLE.BIN"));
}

TEST(ExcludedPaths, OnlyWithTheMarkInTheFourthOfExactlyFive) {
    EXPECT_FALSE(isExcludedPath(L"C:\\a\\b\\c\\$RECYCLE.BIN"));
    EXPECT_FALSE(isExcludedPath(L"C:\\a\\b\\@GMT-1999.05.17-08.30.00\\$RECYCLE.BIN"));
    EXPECT_FALSE(isExcludedPath(L"C:\\a\\@GMT-2010\\c\\$RECYCLE.BIN"));
    EXPECT_FALSE(isExcludedPath(L"C:\\a\\b\\c\\@GMT-2010\\$RECYCLE.BIN"));
    EXPECT_FALSE(isExcludedPath(L"C:\\a\\@GMT-2010\\$RECYCLE.BIN"));
    EXPECT_FALSE(isExcludedPath(L"C:\\a\\b\\@GMT-2010\\x"));
    EXPECT_FALSE(isExcludedPath(L"C:\\a\\b\\@GMT-2010\\$RECYCLE.BIN\\x"));
    // The usual path of a snapshot on a share has four.
    EXPECT_FALSE(isExcludedPath(L"\\\\machine\\C$\\@GMT-2010.05.17-08.30.00\\$RECYCLE.BIN"));
}

TEST(BareDrive, IsALetterAndAColonAlone) {
    EXPECT_TRUE(isBareDrive(L"C:"));
    EXPECT_TRUE(isBareDrive(L"z:"));
    EXPECT_TRUE(isBareDrive(L"C:\\"));
    EXPECT_TRUE(isBareDrive(L"C:/"));
    EXPECT_TRUE(isBareDrive(L"\\C:\\\\"));
    EXPECT_TRUE(isBareDrive(L" C: "));
    EXPECT_TRUE(isBareDrive(L"\u00C4:"));
}

TEST(BareDrive, TakesWhateverFollowsTheColonInTheSameComponent) {
    EXPECT_TRUE(isBareDrive(L"C:folder"));
    EXPECT_TRUE(isBareDrive(L"C::"));
}

TEST(BareDrive, IsNothingElse) {
    EXPECT_FALSE(isBareDrive(L""));
    EXPECT_FALSE(isBareDrive(L" "));
    EXPECT_FALSE(isBareDrive(L"\\"));
    EXPECT_FALSE(isBareDrive(L"C"));
    EXPECT_FALSE(isBareDrive(L"1:"));
    EXPECT_FALSE(isBareDrive(L":C"));
    EXPECT_FALSE(isBareDrive(L"CC:"));
    EXPECT_FALSE(isBareDrive(L"C:\\x"));
    EXPECT_FALSE(isBareDrive(L"\\\\?\\C:"));
}

}  // namespace
}  // namespace Tallowmere
