#include "logging/LogFile.h"

#include <cerrno>
#include <filesystem>

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

class LogFileTest : public test::LoggerTest {
protected:
    std::vector<std::string> Files() const { return test::Names(folder.Path()); }
    std::string Text(const std::string& name) const { return test::ReadText(folder / name); }
    void Write(const std::string& name, const std::string& text) const { test::WriteText(folder / name, text); }
    std::string Contents() const { return test::ReadText(live); }
    void Rotate() {
        log.Init(live, 10000, true);
        log.Enabled(true);
    }

    /// A link that need not be the logger's: others can give second names to links of root's.
    void PlantLink(const std::string& target) const {
        symlink(target.c_str(), (folder / "planted").c_str());
        link((folder / "planted").c_str(), live.c_str());
    }
    /// Makes a file of each of the names.
    void WriteNumbered(const std::string& base, int count) const {
        for (int number = 0; number < count; ++number) {
            Write(base + "_" + std::to_string(number) + ".log", "");
        }
    }

    LogFile file;
};

// --- opening

TEST_F(LogFileTest, OpeningMakesTheFileAndKeepsWhatItHolds) {
    EXPECT_FALSE(file.IsOpen());
    ASSERT_TRUE(file.Open(live));
    file.Write("one\n");
    file.Close();
    EXPECT_FALSE(file.IsOpen());

    ASSERT_TRUE(file.Open(live));
    file.Write("two\n");
    EXPECT_EQ(Contents(), "one\ntwo\n");
}

TEST_F(LogFileTest, ANewFileHasTheModeThatTheUmaskLeaves) {
    const test::Umask mask(027);
    file.Open(live);
    struct stat status {};
    stat(live.c_str(), &status);
    EXPECT_EQ(status.st_mode & 0777, 0640u);
}

TEST_F(LogFileTest, AClosedFileTakesNothing) {
    unsigned long number = 0;
    EXPECT_FALSE(file.Write("lost\n"));
    EXPECT_TRUE(file.Follow());
    file.Clear();
    file.Split(number);
    EXPECT_THAT(Files(), IsEmpty());
    EXPECT_EQ(number, 0u);
}

TEST_F(LogFileTest, FoldersAndPipesAreNotOpened) {
    mkfifo((folder / "pipe").c_str(), 0666);
    mkfifo((folder / "read").c_str(), 0666);
    const int reader = open((folder / "read").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_FALSE(file.Open(folder.Path()));
    EXPECT_FALSE(file.Open(folder / "pipe")) << "nobody reads it: a writer would wait";
    EXPECT_FALSE(file.Open(folder / "read")) << "its reader may go away: a writer would be killed";
    EXPECT_FALSE(file.Open(folder / "missing/trace.log"));
    EXPECT_FALSE(file.IsOpen());
    close(reader);
}

TEST_F(LogFileTest, AFailedOpenClosesTheFileThatWasOpen) {
    file.Open(live);
    EXPECT_FALSE(file.Open(folder.Path()));
    EXPECT_FALSE(file.IsOpen());
}

TEST_F(LogFileTest, TheFileIsNotHandedToOtherPrograms) {
    file.Open(live);
    int found = 0;
    for (const auto& name : test::Names("/proc/self/fd")) {
        std::error_code gone; // the folder's own descriptor
        if (std::filesystem::read_symlink("/proc/self/fd/" + name, gone) == live) {
            ++found;
            EXPECT_EQ(fcntl(std::stoi(name), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
        }
    }
    EXPECT_EQ(found, 1) << "and nothing else of it stays open";
}

TEST_F(LogFileTest, ADeviceIsNotOpened) {
    EXPECT_FALSE(file.Open("/dev/null"));
    EXPECT_FALSE(CopyLogFile("/dev/null", folder / "copy.log"));
}

TEST_F(LogFileTest, ALinkThatMayBeAnothersIsNotOpenedWhereverItLeads) {
    test::WriteText(folder / "target", "kept\n");
    for (const char* target : {"target", "missing"}) {
        PlantLink(target);
        EXPECT_FALSE(file.Open(live));
        EXPECT_THAT(Files(), ElementsAre("planted", "target", "trace.log"));
        unlink(live.c_str());
        unlink((folder / "planted").c_str());
    }
    EXPECT_EQ(Text("target"), "kept\n");
}

TEST_F(LogFileTest, OnesOwnLinkLeadsTheLogItsPartsAndItsArchives) {
    mkdir((folder / "there").c_str(), 0777);
    symlink("there/kept.log", (folder / "middle").c_str());
    symlink("middle", live.c_str());
    Open(1);
    LogTexts({"1", "2"});
    EXPECT_THAT(Texts("there/kept_0.log"), ElementsAre("1"));
    EXPECT_THAT(Texts("there/kept.log"), ElementsAre("2"));
    Rotate();
    log.LogMessage("3");
    EXPECT_THAT(Texts("there/kept_2026-03-01_13-05-09.log"), ElementsAre("2"));
    EXPECT_THAT(Texts("there/kept_0_2026-03-01_13-05-09.log"), ElementsAre("1"));
    EXPECT_THAT(Texts("trace.log"), ElementsAre("3"));
    EXPECT_THAT(Files(), ElementsAre("middle", "there", "trace.log"));
    EXPECT_THAT(test::Names(folder / "there"), testing::SizeIs(3));
}

TEST_F(LogFileTest, LinksThatLeadInACircleAreNotFollowedForEver) {
    symlink("trace.log", live.c_str());
    EXPECT_FALSE(file.Open(live));
}

TEST_F(LogFileTest, AFileWithASecondNameIsNotOpened) {
    test::WriteText(folder / "target", "kept\n");
    link((folder / "target").c_str(), live.c_str());
    EXPECT_FALSE(file.Open(live));
    log.Init(live, 10, false);
    EXPECT_EQ(Text("target"), "kept\n");
}

TEST_F(LogFileTest, LinksToFoldersAreFollowed) {
    mkdir((folder / "there").c_str(), 0777);
    symlink("there", (folder / "relative").c_str());
    symlink((folder / "relative").c_str(), (folder / "absolute").c_str());
    ASSERT_TRUE(file.Open(folder / "absolute//trace.log"));
    file.Write("one\n");
    unsigned long number = 0;
    file.Split(number);
    EXPECT_EQ(Text("there/trace_0.log"), "one\n");
    symlink("loop", (folder / "loop").c_str());
    EXPECT_FALSE(file.Open(folder / "loop/trace.log"));
}

TEST_F(LogFileTest, ANameWithoutAFolderIsOneInTheFolderOfNow) {
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path());
    EXPECT_TRUE(file.Open("trace.log"));
    unsigned long number = 0;
    file.Split(number);
    std::filesystem::current_path(before);
    EXPECT_THAT(Files(), ElementsAre("trace.log", "trace_0.log"));
}

TEST_F(LogFileTest, AFileThatMayOnlyBeWrittenIsAppendedToAndSplit) {
    test::WriteText(live, "old\n");
    chmod(live.c_str(), 0200);
    {
        const test::WithoutPrivileges user;
        ASSERT_TRUE(file.Open(live));
        file.Write("new\n");
        unsigned long number = 0;
        file.Split(number);
    }
    EXPECT_EQ(Text("trace_0.log"), "old\nnew\n");
}

// --- writing

TEST_F(LogFileTest, AnInterruptedWriteIsDoneAgain) {
    file.Open(live);
    int calls = 0;
    const test::Writes interrupt([&](int fd, const void* bytes, std::size_t size) -> ssize_t {
        if (++calls == 1) {
            errno = EINTR;
            return -1;
        }
        return test::RealWrite(fd, bytes, size);
    });
    file.Write("line\n");
    EXPECT_EQ(Contents(), "line\n");
}

TEST_F(LogFileTest, AShortWriteIsCompleted) {
    file.Open(live);
    const test::Writes shorten([](int fd, const void* bytes, std::size_t size) {
        return test::RealWrite(fd, bytes, std::min<std::size_t>(size, 3));
    });
    file.Write("a longer line\n");
    EXPECT_EQ(Contents(), "a longer line\n");
}

TEST_F(LogFileTest, OfALineThatCannotBeCompletedNothingStays) {
    file.Open(live);
    file.Write("before\n");
    for (const int error : {ENOSPC, EIO, EDQUOT, EFBIG, EAGAIN}) {
        int calls = 0;
        const test::Writes fail([&](int fd, const void* bytes, std::size_t) -> ssize_t {
            if (++calls == 1) {
                return test::RealWrite(fd, bytes, 3);
            }
            errno = error;
            return -1;
        });
        EXPECT_FALSE(file.Write("lost\n"));
        EXPECT_EQ(Contents(), "before\n") << error;
    }
    EXPECT_TRUE(file.Write("after\n"));
    EXPECT_EQ(Contents(), "before\nafter\n");
}

TEST_F(LogFileTest, AFragmentInFrontOfAnothersLineIsLeftAlone) {
    file.Open(live);
    LogFile other;
    other.Open(live);
    int calls = 0;
    {
        const test::Writes fail([&](int fd, const void* bytes, std::size_t) -> ssize_t {
            if (++calls == 1) {
                const ssize_t written = test::RealWrite(fd, bytes, 3);
                const int second = open(live.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
                EXPECT_EQ(test::RealWrite(second, "other\n", 6), 6);
                close(second);
                return written;
            }
            errno = ENOSPC;
            return -1;
        });
        file.Write("lost\n");
    }
    EXPECT_EQ(Contents(), "losother\n");
}

TEST_F(LogFileTest, AFileThatAnotherTruncatesGoesOnAtItsNewEnd) {
    file.Open(live);
    file.Write("one\n");
    truncate(live.c_str(), 0);
    file.Write("two\n");
    EXPECT_EQ(Contents(), "two\n") << "no gap of NUL bytes may come";
}

// --- a file that goes away

TEST_F(LogFileTest, ARenamedFileIsFinishedAndTheNameStartsAnew) {
    Open();
    log.LogRaw("one");
    rename(live.c_str(), (folder / "trace.log.1").c_str());
    log.LogRaw("two");
    clock.Advance(1);
    log.LogRaw("three");
    EXPECT_EQ(Text("trace.log.1"), " one\n two\n");
    EXPECT_EQ(Contents(), " three\n");
}

TEST_F(LogFileTest, ARemovedFileIsMadeAgainWithinASecond) {
    Open();
    log.LogRaw("removed on purpose");
    unlink(live.c_str());
    clock.Advance(1);
    log.LogRaw("one");
    EXPECT_EQ(Contents(), " one\n");
}

TEST_F(LogFileTest, LinesPutIntoTheFileFollowItToo) {
    Open();
    log.LogToFile("one\n");
    rename(live.c_str(), (folder / "trace.log.1").c_str());
    clock.Advance(1);
    log.LogToFile("two\n");
    EXPECT_EQ(Contents(), "two\n");
}

TEST_F(LogFileTest, ALinkInItsPlaceIsNotFollowed) {
    Open();
    log.LogRaw("one");
    rename(live.c_str(), (folder / "kept.log").c_str());
    test::WriteText(folder / "target", "");
    symlink("target", live.c_str());
    clock.Advance(1);
    log.LogRaw("two");
    EXPECT_EQ(Text("kept.log"), " one\n two\n");
    EXPECT_EQ(Text("target"), "");
}

TEST_F(LogFileTest, ARemovedFileIsNotSplitButStartedAnew) {
    Open(3);
    LogTexts({"1", "2", "3"});
    unlink(live.c_str());
    LogTexts({"4"});
    EXPECT_THAT(Texts("trace.log"), ElementsAre("4"));
    EXPECT_THAT(Files(), ElementsAre("trace.log"));
}

TEST_F(LogFileTest, AFileInstalledInItsPlaceIsContinued) {
    Open();
    log.LogRaw("one");
    rename(live.c_str(), (folder / "trace.log.1").c_str());
    test::WriteText(live, "new file\n");
    clock.Advance(1);
    log.LogRaw("two");
    EXPECT_EQ(Contents(), "new file\n two\n");
}

TEST_F(LogFileTest, WithoutAUsableNameTheOpenFileIsKept) {
    Open();
    log.LogRaw("one");
    rename(live.c_str(), (folder / "kept.log").c_str());
    mkfifo(live.c_str(), 0666);
    for (int i = 0; i < 3; ++i) {
        clock.Advance(1);
        log.LogRaw("two");
    }
    EXPECT_EQ(Text("kept.log"), " one\n two\n two\n two\n");
}

TEST_F(LogFileTest, AFolderThatComesBackGetsItsLogAgain) {
    const std::string inner = folder / "inner";
    mkdir(inner.c_str(), 0777);
    live = inner + "/trace.log";
    Open();
    log.LogRaw("one");
    std::filesystem::remove_all(inner);
    clock.Advance(1);
    log.LogRaw("two");
    mkdir(inner.c_str(), 0777);
    clock.Advance(1);
    log.LogRaw("three");
    EXPECT_EQ(Contents(), " three\n");
}

// --- copies

TEST_F(LogFileTest, ABackupIsTheSameBytes) {
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

TEST_F(LogFileTest, ABackupRemovesItsSourceIfAsked) {
    Write("source", "text");
    EXPECT_TRUE(LibLogging::BackupFile(folder / "source", folder / "target", true));
    EXPECT_THAT(Files(), ElementsAre("target"));
    EXPECT_EQ(Text("target"), "text");
}

TEST_F(LogFileTest, ABackupOfAnEmptyFileIsAnEmptyFile) {
    Write("source", "");
    EXPECT_TRUE(LibLogging::BackupFile(folder / "source", folder / "target", false));
    EXPECT_THAT(Files(), ElementsAre("source", "target"));
}

TEST_F(LogFileTest, ABackupOfNothingChangesNothing) {
    Write("target", "old");
    EXPECT_FALSE(LibLogging::BackupFile(folder / "missing", folder / "target", true));
    EXPECT_FALSE(LibLogging::BackupFile(folder.Path(), folder / "target", true));
    EXPECT_EQ(Text("target"), "old");
}

TEST_F(LogFileTest, AFileIsNotBackedUpOntoItself) {
    Write("source", "text");
    symlink("source", (folder / "link").c_str());
    EXPECT_FALSE(LibLogging::BackupFile(folder / "source", folder / "source", true));
    EXPECT_FALSE(LibLogging::BackupFile(folder / "source", folder / "link", true));
    EXPECT_EQ(Text("source"), "text");
}

TEST_F(LogFileTest, AnIncompleteBackupIsRemovedAndItsSourceStays) {
    const test::TinyDisk disk("size=64k");
    Write("source", std::string(100000, 'x'));

    EXPECT_FALSE(LibLogging::BackupFile(folder / "source", disk / "target", true));

    EXPECT_THAT(test::Names(disk.Path()), IsEmpty());
    EXPECT_EQ(Text("source").size(), 100000u);
}

TEST_F(LogFileTest, ABackupIsNoMoreReadableThanItsSource) {
    Write("source", "secret");
    chmod((folder / "source").c_str(), 0600);
    ASSERT_TRUE(LibLogging::BackupFile(folder / "source", folder / "target", false));
    struct stat status {};
    stat((folder / "target").c_str(), &status);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST_F(LogFileTest, ABackupNeitherReadsNorWritesThroughALink) {
    Write("secret", "secret");
    Write("source", "text");
    symlink("secret", (folder / "link").c_str());
    link((folder / "secret").c_str(), (folder / "second").c_str());
    for (const char* name : {"link", "second"}) {
        EXPECT_FALSE(LibLogging::BackupFile(folder / name, folder / "copy", false)) << name;
    }
    EXPECT_FALSE(LibLogging::BackupFile(folder / "source", folder / "link", true));
    EXPECT_TRUE(LibLogging::BackupFile(folder / "source", folder / "second", false)) << "a name of its own from now on";
    EXPECT_EQ(Text("secret"), "secret");
    EXPECT_EQ(Text("second"), "text");
    EXPECT_THAT(Files(), ElementsAre("link", "second", "secret", "source"));
}

TEST_F(LogFileTest, APipeIsNoTargetForABackup) {
    Write("source", "text");
    mkfifo((folder / "pipe").c_str(), 0666);
    EXPECT_FALSE(LibLogging::BackupFile(folder / "source", folder / "pipe", true));
    EXPECT_THAT(Files(), ElementsAre("pipe", "source"));
}

// --- splitting

TEST_F(LogFileTest, TheFourthEntryOfThreeMovesTheThreeIntoAPart) {
    Open(3);
    LogTexts({"1", "2", "3"});
    ASSERT_THAT(Files(), ElementsAre("trace.log"));

    LogTexts({"4"});

    EXPECT_THAT(Files(), ElementsAre("trace.log", "trace_0.log"));
    EXPECT_THAT(Texts("trace_0.log"), ElementsAre("1", "2", "3"));
    EXPECT_THAT(Texts("trace.log"), ElementsAre("4"));
}

TEST_F(LogFileTest, PartsAreNumberedFromZeroOldestFirst) {
    Open(2);
    LogTexts({"1", "2", "3", "4", "5", "6", "7"});
    EXPECT_THAT(Files(), ElementsAre("trace.log", "trace_0.log", "trace_1.log", "trace_2.log"));
    EXPECT_THAT(Texts("trace_0.log"), ElementsAre("1", "2"));
    EXPECT_THAT(Texts("trace_1.log"), ElementsAre("3", "4"));
    EXPECT_THAT(Texts("trace_2.log"), ElementsAre("5", "6"));
    EXPECT_THAT(Texts("trace.log"), ElementsAre("7"));
}

TEST_F(LogFileTest, PartsOfATextFileEndInLog) {
    log.Init(folder / "trace.txt", 1, false);
    log.Enabled(true);
    LogTexts({"1", "2", "3"});
    EXPECT_THAT(Files(), ElementsAre("trace.txt", "trace_0.log", "trace_1.log"));
}

TEST_F(LogFileTest, AnExistingPartIsOverwritten) {
    Write("trace_0.log", std::string(10000, 'x'));
    Open(1);
    LogTexts({"1", "2"});
    EXPECT_THAT(Texts("trace_0.log"), ElementsAre("1"));
}

TEST_F(LogFileTest, AMaximumOfNoEntriesSplitsBeforeEach) {
    Open(0);
    LogTexts({"1", "2"});
    EXPECT_EQ(Text("trace_0.log"), "");
    EXPECT_THAT(Texts("trace_1.log"), ElementsAre("1"));
    EXPECT_THAT(Texts("trace.log"), ElementsAre("2"));
}

TEST_F(LogFileTest, WithoutRotationByEntriesTheFileIsNotSplit) {
    Open(1);
    log.LogRotation(false, 1);
    LogTexts({"1", "2", "3"});
    EXPECT_THAT(Files(), ElementsAre("trace.log"));
}

TEST_F(LogFileTest, EntriesAreCountedOnlyWhileRotationByEntriesIsOn) {
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

TEST_F(LogFileTest, EntriesMayBeCountedFromOutside) {
    Open(3);
    log.IncreaseLoggedEntries();
    log.IncreaseLoggedEntries();
    LogTexts({"1", "2"});
    EXPECT_THAT(Texts("trace_0.log"), ElementsAre("1"));
}

TEST_F(LogFileTest, AFileIsSplitWhenItsSizeIsReachedAndMayExceedItByOneEntry) {
    Open();
    log.LogRotation(false, 0);
    log.LogRotationFileSize(true, 100); // a line is 36 bytes
    LogTexts({"AB", "CD", "EF"});
    ASSERT_EQ(Live().size(), 108u);
    LogTexts({"GH"});
    EXPECT_THAT(Texts("trace_0.log"), ElementsAre("AB", "CD", "EF"));
    EXPECT_THAT(Texts("trace.log"), ElementsAre("GH"));
}

TEST_F(LogFileTest, AFileOfExactlyTheMaximumSizeIsSplit) {
    Open();
    log.LogRotation(false, 0);
    log.LogRotationFileSize(true, 72);
    LogTexts({"AB", "CD"});
    ASSERT_EQ(Live().size(), 72u);
    LogTexts({"EF"});
    EXPECT_THAT(Texts("trace.log"), ElementsAre("EF"));
}

TEST_F(LogFileTest, BytesAreCountedOnlyWhileRotationBySizeIsOn) {
    Open();
    log.IncreaseLoggedFileSize(1000);
    LogTexts({"1"});
    log.LogRotationFileSize(true, 100);
    LogTexts({"2", "3", "4"});
    ASSERT_THAT(Files(), ElementsAre("trace.log"));
    LogTexts({"5"});
    EXPECT_THAT(Texts("trace_0.log"), ElementsAre("1", "2", "3", "4"));
}

TEST_F(LogFileTest, TheByteCountStopsAtItsLargestValue) {
    Open();
    log.LogRotationFileSize(true, static_cast<unsigned long>(-1));
    log.IncreaseLoggedFileSize(static_cast<unsigned long>(-1) - 10);
    LogTexts({"1"});
    ASSERT_THAT(Files(), ElementsAre("trace.log"));
    LogTexts({"2"});
    EXPECT_THAT(Texts("trace_0.log"), ElementsAre("1")) << "the count must not start from 0 again";
}

TEST_F(LogFileTest, SplittingResetsBothCounts) {
    Open(3);
    log.LogRotationFileSize(true, 100);
    LogTexts({"1", "2"});
    log.SplitLog();
    LogTexts({"3", "4"});
    EXPECT_THAT(Files(), ElementsAre("trace.log", "trace_0.log"));
    EXPECT_THAT(Texts("trace.log"), ElementsAre("3", "4"));
}

TEST_F(LogFileTest, APartIsTheFileThatWasLiveAndItsRightsStay) {
    Open(1);
    LogTexts({"1"});
    chmod(live.c_str(), 0640);
    struct stat before {};
    stat(live.c_str(), &before);
    LogTexts({"2"});
    struct stat after {};
    stat((folder / "trace_0.log").c_str(), &after);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_mode, before.st_mode);
}

TEST_F(LogFileTest, LinesOfAPartThatCannotBeWrittenStayAndTheNextSplitTakesTheNextNumber) {
    mkdir((folder / "trace_0.log").c_str(), 0777);
    Open(2);
    LogTexts({"1", "2", "3", "4"});
    EXPECT_THAT(Texts("trace.log"), ElementsAre("1", "2", "3", "4"));
    LogTexts({"5", "6", "7"});
    EXPECT_THAT(Texts("trace_1.log"), ElementsAre("1", "2", "3", "4"));
    EXPECT_THAT(Texts("trace_2.log"), ElementsAre("5", "6"));
    EXPECT_THAT(Texts("trace.log"), ElementsAre("7"));
}

TEST_F(LogFileTest, APartTakesThePlaceOfALinkWithoutFollowingIt) {
    Write("target", "kept");
    symlink("target", (folder / "trace_0.log").c_str());
    mkfifo((folder / "trace_1.log").c_str(), 0666);
    Open(1);
    LogTexts({"1", "2", "3"});
    EXPECT_EQ(Text("target"), "kept");
    EXPECT_THAT(Texts("trace_0.log"), ElementsAre("1"));
    EXPECT_THAT(Texts("trace_1.log"), ElementsAre("2"));
}

// --- archiving at the start

TEST_F(LogFileTest, RotationArchivesTheFileUnderItsTimeStamp) {
    Write("trace.log", "old\n");
    Rotate();
    log.LogMessage("new");
    EXPECT_THAT(Files(), ElementsAre("trace.log", "trace_2026-03-01_13-05-09.log"));
    EXPECT_EQ(Text("trace_2026-03-01_13-05-09.log"), "old\n");
    EXPECT_THAT(Texts("trace.log"), ElementsAre("new"));
}

TEST_F(LogFileTest, RotationWithoutAnOldFileJustOpensANewOne) {
    Rotate();
    EXPECT_THAT(Files(), ElementsAre("trace.log"));
    log.LogMessage("new");
    EXPECT_THAT(Texts("trace.log"), ElementsAre("new"));
}

TEST_F(LogFileTest, StartsWithinOneSecondGetNumbers) {
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

TEST_F(LogFileTest, RotationMovesThePartsUpToTheFirstMissingNumber) {
    for (const char* number : {"0", "1", "3"}) {
        Write("trace_" + std::string(number) + ".log", number);
    }
    Rotate();
    EXPECT_THAT(Files(), ElementsAre("trace.log", "trace_0_2026-03-01_13-05-09.log", "trace_1_2026-03-01_13-05-09.log",
                                     "trace_3.log"));
    EXPECT_EQ(Text("trace_0_2026-03-01_13-05-09.log"), "0");
    EXPECT_EQ(Text("trace_1_2026-03-01_13-05-09.log"), "1");
}

TEST_F(LogFileTest, AStampedPartThatExistsIsKept) {
    Write("trace_0_2026-03-01_13-05-09.log", "earlier");
    Write("trace_0.log", "later");
    Rotate();
    EXPECT_THAT(Files(),
                ElementsAre("trace.log", "trace_0_2026-03-01_13-05-09.log", "trace_0_2026-03-01_13-05-09_0.log"));
    EXPECT_EQ(Text("trace_0_2026-03-01_13-05-09.log"), "earlier");
    EXPECT_EQ(Text("trace_0_2026-03-01_13-05-09_0.log"), "later");
}

TEST_F(LogFileTest, RotationOfATextFileArchivesItAsLog) {
    Write("trace.txt", "old");
    log.Init(folder / "trace.txt", 10, true);
    EXPECT_THAT(Files(), ElementsAre("trace.txt", "trace_2026-03-01_13-05-09.log"));
    EXPECT_EQ(Text("trace.txt"), "");
}

TEST_F(LogFileTest, RotationKeepsEveryOldFile) {
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

TEST_F(LogFileTest, AnEmptyFileIsArchivedToo) {
    Write("trace.log", "");
    Rotate();
    EXPECT_THAT(Files(), ElementsAre("trace.log", "trace_2026-03-01_13-05-09.log"));
}

TEST_F(LogFileTest, FilesThatMayNotBeReadAreArchivedToo) {
    for (const char* name : {"trace.log", "trace_0.log", "trace_1.log"}) {
        Write(name, name);
        chmod((folder / name).c_str(), 0200);
    }
    {
        const test::WithoutPrivileges user;
        Rotate();
    }
    EXPECT_EQ(Text("trace_2026-03-01_13-05-09.log"), "trace.log");
    EXPECT_EQ(Text("trace_0_2026-03-01_13-05-09.log"), "trace_0.log");
    EXPECT_EQ(Text("trace_1_2026-03-01_13-05-09.log"), "trace_1.log");
}

TEST_F(LogFileTest, NothingThatHasAnArchivesNameIsOverwritten) {
    const std::string archive = "trace_2026-03-01_13-05-09";
    Write(archive + ".log", "earlier");
    chmod((folder / (archive + ".log")).c_str(), 0200);
    Write("target", "kept");
    symlink("target", (folder / (archive + "_0.log")).c_str());
    symlink("missing", (folder / (archive + "_1.log")).c_str());
    mkfifo((folder / (archive + "_2.log")).c_str(), 0666);
    Write("trace.log", "old");
    {
        const test::WithoutPrivileges user;
        Rotate();
    }
    EXPECT_EQ(Text(archive + "_3.log"), "old");
    EXPECT_EQ(Text(archive + ".log"), "earlier");
    EXPECT_EQ(Text("target"), "kept");
    EXPECT_EQ(Live(), "");
}

TEST_F(LogFileTest, RotationArchivesAFileThatMayNotBeWrittenAndItsParts) {
    Write("trace.log", "old");
    Write("trace_0.log", "part");
    chmod(live.c_str(), 0400);
    {
        const test::WithoutPrivileges user;
        Rotate();
        log.LogError("logged");
    }
    EXPECT_THAT(Live(), testing::HasSubstr("logged"));
    EXPECT_EQ(Text("trace_2026-03-01_13-05-09.log"), "old");
    EXPECT_EQ(Text("trace_0_2026-03-01_13-05-09.log"), "part");
    EXPECT_THAT(Files(), testing::SizeIs(3));
}

TEST_F(LogFileTest, RotationMovesALinkAwayWithoutFollowingIt) {
    Write("secret", "secret");
    PlantLink("secret");
    Rotate();
    log.LogMessage("new");
    EXPECT_THAT(Texts("trace.log"), ElementsAre("new"));
    EXPECT_EQ(Text("secret"), "secret");
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "trace_2026-03-01_13-05-09.log"));
}

TEST_F(LogFileTest, AfterABackupByHardLinksRotationLogs) {
    Write("trace.log", "old");
    link(live.c_str(), (folder / "backup").c_str());
    Rotate();
    log.LogMessage("new");
    EXPECT_THAT(Texts("trace.log"), ElementsAre("new"));
    EXPECT_EQ(Text("trace_2026-03-01_13-05-09.log"), "old");
    EXPECT_EQ(Text("backup"), "old");
}

TEST_F(LogFileTest, APipeMakesWayForALog) {
    mkfifo(live.c_str(), 0666);
    Rotate();
    log.LogMessage("new");
    ASSERT_TRUE(std::filesystem::is_regular_file(live)) << "reading a pipe would wait";
    EXPECT_THAT(Texts("trace.log"), ElementsAre("new"));
}

TEST_F(LogFileTest, FoldersAndDevicesAreNotMovedAway) {
    mkdir(live.c_str(), 0777);
    Rotate();
    EXPECT_THAT(Files(), ElementsAre("trace.log"));
    rmdir(live.c_str());
    ASSERT_EQ(mknod(live.c_str(), S_IFCHR | 0666, 0), 0) << "the one device that everybody may make";
    Rotate();
    EXPECT_THAT(Files(), ElementsAre("trace.log"));
}

TEST_F(LogFileTest, WhereTenThousandArchivesNamesAreTakenTheFileIsKept) {
    Write("trace.log", " old\n");
    Write("trace_2026-03-01_13-05-09.log", "");
    WriteNumbered("trace_2026-03-01_13-05-09", 10000);
    const auto before = Files();
    Rotate();
    log.LogRaw("new");
    EXPECT_EQ(Live(), " old\n new\n");
    EXPECT_EQ(Files(), before);
}

TEST_F(LogFileTest, TenThousandPartsAreArchivedAtAStart) {
    WriteNumbered("trace", 10001);
    Rotate();
    EXPECT_TRUE(std::filesystem::exists(folder / "trace_9999_2026-03-01_13-05-09.log"));
    EXPECT_TRUE(std::filesystem::exists(folder / "trace_10000.log"));
}

TEST_F(LogFileTest, AllPartsTogetherTryTenThousandNames) {
    for (const std::string part : {"trace_0", "trace_1"}) {
        Write(part + ".log", "");
        Write(part + "_2026-03-01_13-05-09.log", "");
        WriteNumbered(part + "_2026-03-01_13-05-09", 6000);
    }
    Rotate();
    EXPECT_FALSE(std::filesystem::exists(folder / "trace_0.log"));
    EXPECT_TRUE(std::filesystem::exists(folder / "trace_1.log"));
}

TEST_F(LogFileTest, RotationInAMissingFolderDropsEntries) {
    log.Init(folder / "missing/trace", 10, true);
    log.Enabled(true);
    log.LogError("lost");
    EXPECT_THAT(Files(), IsEmpty());
}

TEST_F(LogFileTest, OpenFileAndRotateMakesItsFileTheLiveOne) {
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

TEST_F(FullDiskTest, ASplitNeedsNoRoomAndNoEmptyPartsFollow) {
    Fill(3);
    for (int i = 0; i < 10; ++i) {
        log.LogRaw(std::string(5000, 'a')); // never fits
    }
    EXPECT_EQ(test::ReadText(disk / "trace_0.log"), Kept());
    EXPECT_THAT(test::Names(disk.Path()), ElementsAre("filler", "trace.log", "trace_0.log"));

    disk.Free();
    for (int i = 0; i < 4; ++i) {
        log.LogRaw(std::to_string(i));
    }
    EXPECT_EQ(test::ReadText(disk / "trace_1.log"), " 0\n 1\n 2\n");
    EXPECT_EQ(test::ReadText(name), " 3\n");
}

TEST_F(FullDiskTest, AStartWithRotationNeedsNoRoom) {
    Fill(10000);
    log.Init(name, 10000, true);
    EXPECT_EQ(test::ReadText(disk / "trace_2026-03-01_13-05-09.log"), Kept());
    disk.Free();
    log.LogRaw("new");
    EXPECT_EQ(test::ReadText(name), " new\n");
}

TEST_F(FullDiskTest, AStartWithRotationArchivesPartsWithoutRoom) {
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
