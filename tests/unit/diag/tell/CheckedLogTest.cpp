#include "diag/tell/CheckedLog.h"

#include "diag/tell/Language.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TinyDisk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

using Diag::CheckedLog;
using testing::HasSubstr;
using testing::Not;

TEST(CheckedLogTest, HoldsAllLinesAndIsWhole) {
    const test::TemporaryFolder folder;
    CheckedLog log(folder / "trace");
    EXPECT_TRUE(log.IsWhole());
    log.Write(false, "a note");
    log.Write(true, "an error");
    EXPECT_TRUE(log.Close());
    const std::string text = test::ReadText(folder / "trace.log");
    EXPECT_THAT(text, HasSubstr("a note"));
    EXPECT_THAT(text, HasSubstr("an error"));
}

TEST(CheckedLogTest, ThatAFullDiskCutsShortIsNotWhole) {
    const test::TinyDisk disk;
    CheckedLog log(disk / "trace.log");
    EXPECT_TRUE(log.IsWhole());
    disk.Fill();
    log.Write(false, std::string(10000, 'x'));
    disk.Free();
    log.Write(false, "later");
    EXPECT_FALSE(log.Close()) << "one line is missing, though the last ones are there";
    EXPECT_THAT(test::ReadText(disk / "trace.log"), HasSubstr("later"));
}

TEST(CheckedLogTest, ThatCannotBeMadeIsNotWhole) {
    EXPECT_FALSE(CheckedLog("/proc/none/trace.log").IsWhole());
    const test::TinyDisk disk;
    test::WriteText(disk / "trace.log", std::string(4096, 'x')); // a page of the disk
    disk.Fill();
    EXPECT_FALSE(CheckedLog(disk / "trace.log").IsWhole());
}

TEST(CheckedLogTest, ThatIsTakenAwayMeanwhileIsNotWhole) {
    const test::TemporaryFolder folder;
    CheckedLog log(folder / "trace.log");
    std::filesystem::remove(folder / "trace.log");
    log.Write(false, "lost with it");
    test::WriteText(folder / "trace.log", "a new one\n");
    EXPECT_FALSE(log.Close());
}
