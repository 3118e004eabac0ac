// Names of log files, splitting and archiving, file by file.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/Privileges.h"
#include "tests/support/TinyDisk.h"
#include "tests/unit/logging/LoggerTest.h"

using namespace Vantor;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class LogRotationTest : public test::LoggerTest {
protected:
    std::vector<std::string> Files() const { return test::Names(folder.Path()); }
    std::string Text(const std::string& name) const { return test::ReadText(folder / name); }
    void Write(const std::string& name, const std::string& text) const { test::WriteText(folder / name, text); }
    void Rotate() {
        log.Init(live, 10000, true);
        log.Enabled(true);
    }
};

// --- names

struct NameCase {
    std::string name, base, ext;
};

TEST_F(LogRotationTest, NamesAreSplitAtTheirExtension) {
    const NameCase cases[] = {
        {"/var/log/x/trace.log", "/var/log/x/trace", "log"},
        {"trace.txt", "trace", "log"},
        {"a.log.log", "a.log", "log"},
        {"a.log.txt", "a", "log"}, // ".log" anywhere goes before ".txt"
        {"a.logs/b", "a", "log"},  // even in a folder's name
        {"a.txt.old", "a", "log"}, // ".txt" anywhere goes before another extension
        {"a.b.c", "a.b", "log"},   // the last dot counts
        {"a.", "a", "log"},
        {".", "", "log"},
        {"a.1234", "a", "log"},     // five characters with the dot
        {"a.12345", "a.12345", ""}, // one more is no extension
        {"a.d/x", "a", "log"},
        {"trace", "trace", ""},
        {"", "", ""},
        {".log", "", "log"},
    };
    for (const auto& [name, base, ext] : cases) {
        std::string foundBase = "?";
        std::string foundExt = "?";
        EXPECT_EQ(LibLogging::GetExtension(name, foundBase, foundExt), !ext.empty()) << name;
        EXPECT_EQ(foundBase, base) << name;
        EXPECT_EQ(foundExt, ext) << name;
        EXPECT_EQ(LibLogging::AppendLogExtension(name), ext.empty() ? name + ".log" : name);
    }
}

TEST_F(LogRotationTest, ANumberedNameIsTheFirstThatCannotBeRead) {
    EXPECT_EQ(LibLogging::NumberedName(live), live);
    Write("trace.log", "");
    EXPECT_EQ(LibLogging::NumberedName(live), folder / "trace_0.log");
    Write("trace_0.log", "");
    Write("trace_1.log", "");
    Write("trace_3.log", "");
    EXPECT_EQ(LibLogging::NumberedName(live), folder / "trace_2.log");
}

TEST_F(LogRotationTest, ANumberedTextFileEndsInLog) {
    Write("trace.txt", "");
    EXPECT_EQ(LibLogging::NumberedName(folder / "trace.txt"), folder / "trace_0.log");
}

TEST_F(LogRotationTest, AFileThatMayNotBeReadCountsAsAFreeName) {
    Write("trace.log", "");
    Write("trace_0.log", "");
    chmod((folder / "trace_0.log").c_str(), 0200);
    const test::WithoutPrivileges user;
    EXPECT_EQ(LibLogging::NumberedName(live), folder / "trace_0.log");
}

TEST_F(LogRotationTest, TimeStampsInNamesAreUtc) {
    EXPECT_EQ(LibLogging::NameWithTimeStamp("/var/log/x/trace.log"), "/var/log/x/trace_2026-03-01_13-05-09.log");
    EXPECT_EQ(LibLogging::NameWithTimeStamp("trace.txt"), "trace_2026-03-01_13-05-09.log");
}

// --- copies

TEST_F(LogRotationTest, ABackupIsTheSameBytes) {
    std::string bytes;
    for (int i = 0; i < 300000; ++i) {
        bytes += static_cast<char>(i * 7 % 256);
    }
    Write("source", bytes);
    Write("target", std::string(400000, 'x'));

    EXPECT_TRUE(LibLogging::BackupFile(folder / "source", folder / "target", false));

    EXPECT_EQ(Text("target"), bytes);
    EXPECT_EQ(Text("source"), bytes);
}

TEST_F(LogRotationTest, ABackupRemovesItsSourceIfAsked) {
    Write("source", "text");
    EXPECT_TRUE(LibLogging::BackupFile(folder / "source", folder / "target", true));
    EXPECT_THAT(Files(), ElementsAre("target"));
    EXPECT_EQ(Text("target"), "text");
}

TEST_F(LogRotationTest, ABackupOfAnEmptyFileIsAnEmptyFile) {
    Write("source", "");
    EXPECT_TRUE(LibLogging::BackupFile(folder / "source", folder / "target", false));
    EXPECT_THAT(Files(), ElementsAre("source", "target"));
}

TEST_F(LogRotationTest, ABackupOfNothingChangesNothing) {
    Write("target", "old");
    EXPECT_FALSE(LibLogging::BackupFile(folder / "missing", folder / "target", true));
    EXPECT_FALSE(LibLogging::BackupFile(folder.Path(), folder / "target", true));
    EXPECT_EQ(Text("target"), "old");
}

TEST_F(LogRotationTest, AFileIsNotBackedUpOntoItself) {
    Write("source", "text");
    symlink("source", (folder / "link").c_str());
    EXPECT_FALSE(LibLogging::BackupFile(folder / "source", folder / "source", true));
    EXPECT_FALSE(LibLogging::BackupFile(folder / "source", folder / "link", true));
    EXPECT_EQ(Text("source"), "text");
}

TEST_F(LogRotationTest, AnIncompleteBackupIsRemovedAndItsSourceStays) {
    const test::TinyDisk disk("size=64k");
    Write("source", std::string(100000, 'x'));

    EXPECT_FALSE(LibLogging::BackupFile(folder / "source", disk / "target", true));

    EXPECT_THAT(test::Names(disk.Path()), IsEmpty());
    EXPECT_EQ(Text("source").size(), 100000u);
}

TEST_F(LogRotationTest, ABackupIsNoMoreReadableThanItsSource) {
    Write("source", "secret");
    chmod((folder / "source").c_str(), 0600);
    ASSERT_TRUE(LibLogging::BackupFile(folder / "source", folder / "target", false));
    struct stat status {};
    stat((folder / "target").c_str(), &status);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
}

// --- splitting

TEST_F(LogRotationTest, TheFourthEntryOfThreeMovesTheThreeIntoAPart) {
    Open(3);
    LogTexts({"1", "2", "3"});
    ASSERT_THAT(Files(), ElementsAre("trace.log"));

    LogTexts({"4"});

    EXPECT_THAT(Files(), ElementsAre("trace.log", "trace_0.log"));
    EXPECT_THAT(Texts("trace_0.log"), ElementsAre("1", "2", "3"));
    EXPECT_THAT(Texts("trace.log"), ElementsAre("4"));
}

TEST_F(LogRotationTest, PartsAreNumberedFromZeroOldestFirst) {
    Open(2);
    LogTexts({"1", "2", "3", "4", "5", "6", "7"});
    EXPECT_THAT(Files(), ElementsAre("trace.log", "trace_0.log", "trace_1.log", "trace_2.log"));
    EXPECT_THAT(Texts("trace_0.log"), ElementsAre("1", "2"));
    EXPECT_THAT(Texts("trace_1.log"), ElementsAre("3", "4"));
    EXPECT_THAT(Texts("trace_2.log"), ElementsAre("5", "6"));
    EXPECT_THAT(Texts("trace.log"), ElementsAre("7"));
}

TEST_F(LogRotationTest, PartsOfATextFileEndInLog) {
    log.Init(folder / "trace.txt", 1, false);
    log.Enabled(true);
    LogTexts({"1", "2", "3"});
    EXPECT_THAT(Files(), ElementsAre("trace.txt", "trace_0.log", "trace_1.log"));
}

TEST_F(LogRotationTest, AnExistingPartIsOverwritten) {
    Write("trace_0.log", std::string(10000, 'x'));
    Open(1);
    LogTexts({"1", "2"});
    EXPECT_THAT(Texts("trace_0.log"), ElementsAre("1"));
}

TEST_F(LogRotationTest, AMaximumOfNoEntriesSplitsBeforeEach) {
    Open(0);
    LogTexts({"1", "2"});
    EXPECT_EQ(Text("trace_0.log"), "");
    EXPECT_THAT(Texts("trace_1.log"), ElementsAre("1"));
    EXPECT_THAT(Texts("trace.log"), ElementsAre("2"));
}

TEST_F(LogRotationTest, WithoutRotationByEntriesTheFileIsNotSplit) {
    Open(1);
    log.LogRotation(false, 1);
    LogTexts({"1", "2", "3"});
    EXPECT_THAT(Files(), ElementsAre("trace.log"));
}

TEST_F(LogRotationTest, EntriesAreCountedOnlyWhileRotationByEntriesIsOn) {
    Open();
    log.LogRotation(false, 2);
    LogTexts({"1", "2", "3"});
    log.IncreaseLoggedEntries();
    log.LogRotation(true, 2);
    LogTexts({"4", "5"});
    ASSERT_THAT(Files(), ElementsAre("trace.log"));
    LogTexts({"6"});
    EXPECT_THAT(Texts("trace_0.log"), ElementsAre("1", "2", "3", "4", "5"));
}

TEST_F(LogRotationTest, EntriesMayBeCountedFromOutside) {
    Open(3);
    log.IncreaseLoggedEntries();
    log.IncreaseLoggedEntries();
    LogTexts({"1", "2"});
    EXPECT_THAT(Texts("trace_0.log"), ElementsAre("1"));
}

TEST_F(LogRotationTest, AFileIsSplitWhenItsSizeIsReachedAndMayExceedItByOneEntry) {
    Open();
    log.LogRotation(false, 0);
    log.LogRotationFileSize(true, 100); // a line is 36 bytes
    LogTexts({"AB", "CD", "EF"});
    ASSERT_EQ(Live().size(), 108u);
    LogTexts({"GH"});
    EXPECT_THAT(Texts("trace_0.log"), ElementsAre("AB", "CD", "EF"));
    EXPECT_THAT(Texts("trace.log"), ElementsAre("GH"));
}

TEST_F(LogRotationTest, AFileOfExactlyTheMaximumSizeIsSplit) {
    Open();
    log.LogRotation(false, 0);
    log.LogRotationFileSize(true, 72);
    LogTexts({"AB", "CD"});
    ASSERT_EQ(Live().size(), 72u);
    LogTexts({"EF"});
    EXPECT_THAT(Texts("trace.log"), ElementsAre("EF"));
}

TEST_F(LogRotationTest, BytesAreCountedOnlyWhileRotationBySizeIsOn) {
    Open();
    log.IncreaseLoggedFileSize(1000);
    LogTexts({"1"});
    log.LogRotationFileSize(true, 100);
    LogTexts({"2", "3", "4"});
    ASSERT_THAT(Files(), ElementsAre("trace.log"));
    LogTexts({"5"});
    EXPECT_THAT(Texts("trace_0.log"), ElementsAre("1", "2", "3", "4"));
}

TEST_F(LogRotationTest, TheByteCountStopsAtItsLargestValue) {
    Open();
    log.LogRotationFileSize(true, static_cast<unsigned long>(-1));
    log.IncreaseLoggedFileSize(static_cast<unsigned long>(-1) - 10);
    LogTexts({"1"});
    ASSERT_THAT(Files(), ElementsAre("trace.log"));
    LogTexts({"2"});
    EXPECT_THAT(Texts("trace_0.log"), ElementsAre("1")) << "the count must not start from 0 again";
}

TEST_F(LogRotationTest, SplittingResetsBothCounts) {
    Open(3);
    log.LogRotationFileSize(true, 100);
    LogTexts({"1", "2"});
    log.SplitLog();
    LogTexts({"3", "4"});
    EXPECT_THAT(Files(), ElementsAre("trace.log", "trace_0.log"));
    EXPECT_THAT(Texts("trace.log"), ElementsAre("3", "4"));
}

TEST_F(LogRotationTest, WhoFollowsTheFileKeepsItThroughASplit) {
    Open(1);
    LogTexts({"1"});
    const int follower = open(live.c_str(), O_RDONLY | O_CLOEXEC);
    LogTexts({"2"});

    std::string text(100, '\0');
    text.resize(static_cast<std::size_t>(read(follower, text.data(), text.size())));
    close(follower);
    EXPECT_EQ(text, "2026-03-01 14:05:09      MESSAGE 2\n");
}

// --- archiving at the start

TEST_F(LogRotationTest, RotationArchivesTheFileUnderItsTimeStamp) {
    Write("trace.log", "old\n");
    Rotate();
    log.LogMessage("new");
    EXPECT_THAT(Files(), ElementsAre("trace.log", "trace_2026-03-01_13-05-09.log"));
    EXPECT_EQ(Text("trace_2026-03-01_13-05-09.log"), "old\n");
    EXPECT_THAT(Texts("trace.log"), ElementsAre("new"));
}

TEST_F(LogRotationTest, RotationWithoutAnOldFileJustOpensANewOne) {
    Rotate();
    EXPECT_THAT(Files(), ElementsAre("trace.log"));
    log.LogMessage("new");
    EXPECT_THAT(Texts("trace.log"), ElementsAre("new"));
}

TEST_F(LogRotationTest, StartsWithinOneSecondGetNumbers) {
    for (const char* text : {"first", "second", "third", "fourth"}) {
        Rotate();
        log.LogRaw(text);
    }
    EXPECT_THAT(Files(), ElementsAre("trace.log", "trace_2026-03-01_13-05-09.log", "trace_2026-03-01_13-05-09_0.log",
                                     "trace_2026-03-01_13-05-09_1.log"));
    EXPECT_EQ(Text("trace_2026-03-01_13-05-09.log"), " first\n");
    EXPECT_EQ(Text("trace_2026-03-01_13-05-09_0.log"), " second\n");
    EXPECT_EQ(Text("trace_2026-03-01_13-05-09_1.log"), " third\n");
    EXPECT_EQ(Live(), " fourth\n");
}

TEST_F(LogRotationTest, RotationMovesThePartsUpToTheFirstMissingNumber) {
    for (const char* number : {"0", "1", "3"}) {
        Write("trace_" + std::string(number) + ".log", number);
    }
    Rotate();
    EXPECT_THAT(Files(), ElementsAre("trace.log", "trace_0_2026-03-01_13-05-09.log", "trace_1_2026-03-01_13-05-09.log",
                                     "trace_3.log"));
    EXPECT_EQ(Text("trace_0_2026-03-01_13-05-09.log"), "0");
    EXPECT_EQ(Text("trace_1_2026-03-01_13-05-09.log"), "1");
}

TEST_F(LogRotationTest, AStampedPartThatExistsIsKept) {
    Write("trace_0_2026-03-01_13-05-09.log", "earlier");
    Write("trace_0.log", "later");
    Rotate();
    EXPECT_THAT(Files(),
                ElementsAre("trace.log", "trace_0_2026-03-01_13-05-09.log", "trace_0_2026-03-01_13-05-09_0.log"));
    EXPECT_EQ(Text("trace_0_2026-03-01_13-05-09.log"), "earlier");
    EXPECT_EQ(Text("trace_0_2026-03-01_13-05-09_0.log"), "later");
}

TEST_F(LogRotationTest, RotationOfATextFileArchivesItAsLog) {
    Write("trace.txt", "old");
    log.Init(folder / "trace.txt", 10, true);
    EXPECT_THAT(Files(), ElementsAre("trace.txt", "trace_2026-03-01_13-05-09.log"));
    EXPECT_EQ(Text("trace.txt"), "");
}

TEST_F(LogRotationTest, RotationKeepsEveryOldFile) {
    for (int run = 0; run < 5; ++run) {
        log.Init(live, 2, true);
        log.Enabled(true);
        for (int line = 0; line < 7; ++line) {
            log.LogRaw(std::to_string(run) + "." + std::to_string(line));
        }
        clock.Advance(run % 2); // some starts share a second
    }
    std::vector<std::string> lines;
    for (const auto& name : Files()) {
        for (const auto& line : test::Lines(Text(name))) {
            lines.push_back(line);
        }
    }
    std::sort(lines.begin(), lines.end());
    ASSERT_EQ(lines.size(), 35u);
    EXPECT_EQ(std::unique(lines.begin(), lines.end()), lines.end());
    EXPECT_EQ(Files().size(), 5u * 4u);
}

TEST_F(LogRotationTest, RotationThatCannotOpenTheFileStillArchivesIt) {
    Write("trace.log", "old");
    chmod(live.c_str(), 0400);
    {
        const test::WithoutPrivileges user;
        Rotate();
        log.LogError("lost");
    }
    EXPECT_EQ(Live(), "old");
    EXPECT_EQ(Text("trace_2026-03-01_13-05-09.log"), "old");
}

TEST_F(LogRotationTest, RotationInAMissingFolderDropsEntries) {
    log.Init(folder / "missing/trace", 10, true);
    log.Enabled(true);
    log.LogError("lost");
    EXPECT_THAT(Files(), IsEmpty());
}

TEST_F(LogRotationTest, OpenFileAndRotateMakesItsFileTheLiveOne) {
    Open(1);
    log.OpenFileAndRotate(folder / "other.log");
    LogTexts({"1", "2", "3"});
    EXPECT_THAT(Files(), ElementsAre("other.log", "other_0.log", "other_1.log", "trace.log"));
}

// --- a full disk

class FullDiskTest : public test::LoggerTest {
protected:
    test::TinyDisk disk{"size=64k"};
    std::string name = disk / "trace.log";

    void Fill(unsigned int maxEntries, bool rotate = false) {
        log.Init(name, maxEntries, rotate);
        log.Enabled(true);
        for (int i = 0; i < 3; ++i) {
            log.LogRaw("kept " + std::to_string(i));
        }
        disk.Fill();
    }
    static std::string Kept() { return " kept 0\n kept 1\n kept 2\n"; }
};

TEST_F(FullDiskTest, LinesAreWholeOrMissingAndGoOnWhenThereIsRoom) {
    Fill(10000);
    std::string expected = Kept();
    for (int i = 0; i < 1000; ++i) {
        log.LogRaw(std::string(90, 'a'));
    }
    const std::string full = test::ReadText(name);
    ASSERT_EQ(full.substr(0, expected.size()), expected);
    ASSERT_EQ((full.size() - expected.size()) % 92, 0u) << "no fragment may stay";
    ASSERT_LT(full.size(), 4097u);

    disk.Free();
    log.LogRaw("again");

    EXPECT_EQ(test::ReadText(name), full + " again\n");
}

TEST_F(FullDiskTest, ASplitWithoutRoomKeepsTheLinesWhereTheyAre) {
    Fill(3);
    for (int i = 0; i < 10; ++i) {
        log.LogRaw(std::string(5000, 'a')); // never fits
    }
    EXPECT_EQ(test::ReadText(name), Kept());
    EXPECT_THAT(test::Names(disk.Path()), ElementsAre("filler", "trace.log")) << "no incomplete part may stay";
}

TEST_F(FullDiskTest, ASplitIsMadeUpForWithoutAGapInTheNumbers) {
    Fill(3);
    for (int i = 0; i < 5; ++i) {
        log.LogRaw(std::string(5000, 'a'));
    }
    disk.Free();
    for (int i = 0; i < 6; ++i) {
        log.LogRaw(std::to_string(i));
    }
    EXPECT_EQ(test::ReadText(disk / "trace_0.log").substr(0, Kept().size()), Kept());
    EXPECT_FALSE(test::ReadText(disk / "trace_1.log").empty());
    EXPECT_THAT(test::Names(disk.Path()), ElementsAre("trace.log", "trace_0.log", "trace_1.log"));
}

TEST_F(FullDiskTest, AStartWithRotationGoesOnBehindTheOldLines) {
    Fill(10000);
    log.Init(name, 10000, true);
    EXPECT_EQ(test::ReadText(name), Kept());
    disk.Free();
    log.LogRaw("new");
    EXPECT_EQ(test::ReadText(name), Kept() + " new\n");
}

TEST_F(FullDiskTest, AStartWithRotationRenamesPartsThatCannotBeCopied) {
    test::WriteText(disk / "trace_0.log", "part");
    Fill(10000);
    log.Init(name, 10000, true);
    EXPECT_EQ(test::ReadText(disk / "trace_0_2026-03-01_13-05-09.log"), "part");
    EXPECT_THAT(test::Names(disk.Path()), testing::Not(testing::Contains("trace_0.log")));
}

TEST_F(FullDiskTest, AFileSystemWithoutRoomForNamesKeepsTheLines) {
    const test::TinyDisk few("nr_inodes=2"); // the folder and one file
    log.Init(few / "trace.log", 2, false);
    log.Enabled(true);
    for (int i = 0; i < 7; ++i) {
        log.LogRaw(std::to_string(i));
    }
    EXPECT_EQ(test::ReadText(few / "trace.log"), " 0\n 1\n 2\n 3\n 4\n 5\n 6\n");
}

} // namespace
