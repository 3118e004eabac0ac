#include "logging/LogFile.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <map>
#include <thread>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/Privileges.h"
#include "tests/support/Tracer.h"
#include "tests/support/Valgrind.h"
#include "tests/unit/logging/LoggerTest.h"

using namespace Vantor;
using Support::Action;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class LogFileTest : public test::LoggerTest {
protected:
    std::vector<std::string> Files() const { return test::Names(folder.Path()); }
    std::string Text(const std::string& name) const { return test::ReadText(folder / name); }
    /// How often each whole line stands in the folder's files.
    std::map<std::string, int> AllLines() const {
        std::map<std::string, int> lines;
        for (const auto& name : Files()) {
            const std::string text = Text(name);
            for (const auto& line : test::Lines(text.substr(0, text.rfind('\n') + 1))) {
                ++lines[line];
            }
        }
        return lines;
    }
    bool MoveTo(LogFile& moved, const std::string& name) const {
        return LogFileClaim(moved).MoveContentsTo(folder / name);
    }
    std::string Contents() const { return test::ReadText(live); }

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
    file.Write("lost\n");
    EXPECT_TRUE(file.Follow());
    EXPECT_FALSE(LogFileClaim(file).IsGranted());
    EXPECT_FALSE(MoveTo(file, "part.log"));
    EXPECT_THAT(Files(), IsEmpty());
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
    const int next = dup(0);
    close(next);
    file.Open(live);
    EXPECT_EQ(fcntl(next, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST_F(LogFileTest, ADeviceMayBeALogFileButIsNeverCopied) {
    symlink("/dev/full", live.c_str()); // reads without an end, writes always fail
    ASSERT_TRUE(file.Open(live));
    file.Write("lost\n");
    LogFileClaim(file).Clear();
    EXPECT_FALSE(MoveTo(file, "part.log"));
    EXPECT_THAT(Files(), ElementsAre("trace.log"));
}

TEST_F(LogFileTest, AFileThatMayOnlyBeWrittenIsAppendedToAndNotMoved) {
    test::WriteText(live, "old\n");
    chmod(live.c_str(), 0200);
    {
        const test::WithoutPrivileges user;
        ASSERT_TRUE(file.Open(live));
        file.Write("new\n");
        EXPECT_FALSE(MoveTo(file, "part.log"));
    }
    EXPECT_EQ(Contents(), "old\nnew\n");
    EXPECT_THAT(Files(), ElementsAre("trace.log"));
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
        file.Write("lost\n");
        EXPECT_EQ(Contents(), "before\n") << error;
    }
    file.Write("after\n");
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

// --- moving and company

TEST_F(LogFileTest, AloneTheContentsAreCopiedAndTheFileStays) {
    file.Open(live);
    file.Write("one\n");
    struct stat before {};
    stat(live.c_str(), &before);

    EXPECT_TRUE(MoveTo(file, "part.log"));
    file.Write("two\n");
    EXPECT_FALSE(file.HadCompany());

    struct stat after {};
    stat(live.c_str(), &after);
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ(Text("part.log"), "one\n");
    EXPECT_EQ(Contents(), "two\n");
}

TEST_F(LogFileTest, ContentsAreNotMovedOntoThemselves) {
    file.Open(live);
    file.Write("one\n");
    link(live.c_str(), (folder / "same.log").c_str());
    EXPECT_FALSE(MoveTo(file, "trace.log"));
    EXPECT_FALSE(MoveTo(file, "same.log"));
    EXPECT_EQ(Contents(), "one\n");
}

TEST_F(LogFileTest, ContentsThatCannotBeMovedStay) {
    file.Open(live);
    file.Write("one\n");
    mkfifo((folder / "pipe").c_str(), 0666);
    EXPECT_FALSE(MoveTo(file, "missing/part.log"));
    EXPECT_FALSE(MoveTo(file, "."));
    EXPECT_FALSE(MoveTo(file, "pipe"));
    file.Write("two\n");
    EXPECT_EQ(Contents(), "one\ntwo\n");
}

TEST_F(LogFileTest, WhoHasTheFileOpenTooIsSeen) {
    file.Open(live);
    EXPECT_TRUE(LogFileClaim(file).IsGranted());
    EXPECT_FALSE(file.HadCompany());
    {
        LogFile other;
        other.Open(live);
        EXPECT_TRUE(LogFileClaim(file).IsGranted());
        EXPECT_TRUE(LogFileClaim(other).IsGranted());
        EXPECT_TRUE(file.HadCompany());
        EXPECT_TRUE(other.HadCompany());
    }
    EXPECT_TRUE(LogFileClaim(file).IsGranted());
    EXPECT_TRUE(file.HadCompany()) << "it stays careful for the rest of the run";
    file.Open(live);
    EXPECT_TRUE(LogFileClaim(file).IsGranted());
    EXPECT_FALSE(file.HadCompany());
}

TEST_F(LogFileTest, OneClaimIsGrantedAtATime) {
    LogFile other;
    file.Open(live);
    other.Open(live);
    {
        const LogFileClaim first(file);
        EXPECT_TRUE(first.IsGranted());
        EXPECT_FALSE(LogFileClaim(other).IsGranted());
    }
    EXPECT_TRUE(LogFileClaim(other).IsGranted());
}

TEST_F(LogFileTest, WhoJoinsWhileTheContentsAreCopiedLosesNothing) {
    file.Open(live);
    file.Write("one\n");
    LogFile late;
    {
        LogFileClaim claim(file);
        ASSERT_TRUE(claim.IsGranted());
        ASSERT_TRUE(late.Open(live));
        late.Write("two\n");
        EXPECT_TRUE(claim.MoveContentsTo(folder / "part.log"));
    }
    late.Write("three\n");
    file.Write("four\n");
    EXPECT_EQ(Text("part.log"), "one\ntwo\nthree\n");
    EXPECT_EQ(Contents(), "four\n");
}

TEST_F(LogFileTest, InCompanyTheFileIsNotCleared) {
    file.Open(live);
    file.Write("one\n");
    {
        LogFile other;
        other.Open(live);
        LogFileClaim(other).Clear();
        EXPECT_EQ(Contents(), "one\n");
    }
    LogFileClaim(file).Clear();
    EXPECT_EQ(Contents(), "") << "alone again";
}

TEST_F(LogFileTest, InCompanyTheFileIsMovedAndTheOthersComeAfter) {
    file.Open(live);
    LogFile other;
    other.Open(live);
    other.Write("1\n");

    EXPECT_TRUE(MoveTo(file, "part.log"));
    file.Write("3\n");
    other.Write("2\n");           // has not looked yet
    EXPECT_FALSE(other.Follow()); // looks
    other.Write("4\n");

    EXPECT_EQ(Text("part.log"), "1\n2\n");
    EXPECT_EQ(Contents(), "3\n4\n");
    EXPECT_TRUE(other.Follow());
    EXPECT_TRUE(other.HadCompany());
}

TEST_F(LogFileTest, WhatHasJustBeenMovedIsNotMovedAgain) {
    file.Open(live);
    LogFile other;
    other.Open(live);
    file.Write("1\n");
    ASSERT_TRUE(MoveTo(file, "part.log"));
    EXPECT_FALSE(MoveTo(other, "again.log"));
    EXPECT_EQ(Text("part.log"), "1\n");
}

TEST_F(LogFileTest, LoggersInCompanyDoNotOverwriteEachOthersParts) {
    LibLogging other(8);
    for (LibLogging* logger : {&log, &other}) {
        logger->Init(live, 2, false);
        logger->Enabled(true);
    }
    for (int i = 0; i < 20; ++i) {
        log.LogRaw("a" + std::to_string(i));
        other.LogRaw("b" + std::to_string(i));
    }
    const auto lines = AllLines();
    EXPECT_EQ(lines.size(), 40u);
}

TEST_F(LogFileTest, ASecondStartWithoutRotationDoesNotEmptyAFileInUse) {
    Open();
    log.LogRaw("one");
    LibLogging other(8);
    other.Init(live, 10, false);
    other.Enabled(true);
    other.LogRaw("two");
    log.LogRaw("three");
    EXPECT_EQ(Contents(), " one\n two\n three\n");
}

TEST_F(LogFileTest, ASecondStartWithRotationArchivesAFileInUse) {
    Open();
    log.LogRaw("one");
    LibLogging other(8);
    other.Init(live, 10, true);
    other.Enabled(true);
    other.LogRaw("two");
    clock.Advance(1);
    log.LogRaw("three");
    EXPECT_EQ(Contents(), " two\n three\n");
    EXPECT_EQ(Text("trace_2026-03-01_13-05-09.log"), " one\n");
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

TEST_F(LogFileTest, LinesIntoARemovedFileAreWrittenAgainWithinASecond) {
    Open();
    log.LogRaw("removed on purpose");
    clock.Advance(1);
    log.LogRaw("one");
    unlink(live.c_str());
    log.LogRaw("two");
    log.LogRaw("three");
    clock.Advance(1);
    log.LogRaw("four");
    EXPECT_EQ(Contents(), " one\n two\n three\n four\n");
}

TEST_F(LogFileTest, ARemovedFileIsNotSplitButStartedAnew) {
    Open(3);
    LogTexts({"1", "2", "3"});
    unlink(live.c_str());
    LogTexts({"4"});
    EXPECT_THAT(Texts("trace.log"), ElementsAre("1", "2", "3", "4"));
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
    EXPECT_EQ(Contents(), " one\n two\n three\n");
}

// --- processes

pid_t Fork(const std::function<void()>& child) {
    std::fflush(nullptr); // or the child might print it again
    const pid_t pid = fork();
    if (pid == 0) {
        child();
        _exit(0);
    }
    return pid;
}

void LogLines(LibLogging& log, const std::string& name, int count) {
    for (int i = 0; i < count; ++i) {
        log.LogRaw(name + std::to_string(i) + " " + std::string(static_cast<std::size_t>(i % 40), '.') + "|");
    }
}

void ExpectEachLineOnce(const std::map<std::string, int>& lines, const std::vector<std::string>& names, int count) {
    for (const auto& name : names) {
        for (int i = 0; i < count; ++i) {
            const std::string line =
                " " + name + std::to_string(i) + " " + std::string(static_cast<std::size_t>(i % 40), '.') + "|";
            const auto found = lines.find(line);
            ASSERT_TRUE(found != lines.end()) << line;
            ASSERT_EQ(found->second, 1) << line;
        }
    }
    EXPECT_EQ(lines.size(), names.size() * static_cast<std::size_t>(count)) << "no torn lines";
}

// A number in memory that the test and its processes share.
class SharedNumber {
public:
    SharedNumber()
        : m_number(static_cast<std::atomic<int>*>(
              mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {}
    ~SharedNumber() { munmap(m_number, sizeof(std::atomic<int>)); }
    SharedNumber(const SharedNumber&) = delete;
    SharedNumber& operator=(const SharedNumber&) = delete;
    std::atomic<int>& operator*() const { return *m_number; }

private:
    std::atomic<int>* m_number;
};

void WaitForAll(const std::vector<pid_t>& children) {
    for (const pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
}

TEST_F(LogFileTest, ProcessesThatOpenOneFileLoseAndTearNoLine) {
    test::clockTime = 0; // a moved file is left each second of the real time
    constexpr int count = 10000;
    const std::vector<std::string> names = {"a", "b", "c", "d"};
    const SharedNumber started;
    std::vector<pid_t> children;
    for (const auto& name : names) {
        children.push_back(Fork([&] {
            LibLogging own(1);
            own.Init(live, 300, false);
            own.Enabled(true);
            ++*started;
            while (*started < static_cast<int>(names.size())) { // a start after another's end may empty the file
                usleep(100);
            }
            LogLines(own, name, count);
        }));
    }
    WaitForAll(children);
    ExpectEachLineOnce(AllLines(), names, count);
}

TEST_F(LogFileTest, ProcessesThatStartWithRotationLoseAndTearNoLine) {
    test::clockTime = 0;
    constexpr int count = 2000;
    std::vector<std::string> names;
    std::vector<pid_t> children;
    for (int i = 0; i < 12; ++i) {
        names.emplace_back(1, static_cast<char>('a' + i));
        children.push_back(Fork([&] {
            LibLogging own(1);
            own.Init(live, 250, true);
            own.Enabled(true);
            LogLines(own, names.back(), count);
        }));
    }
    WaitForAll(children);
    ExpectEachLineOnce(AllLines(), names, count);
}

TEST_F(LogFileTest, AForkedChildAndItsParentLoseAndTearNoLine) {
    test::clockTime = 0;
    constexpr int count = 10000;
    Open(300);
    const pid_t child = Fork([&] { LogLines(log, "child", count); });
    LogLines(log, "parent", count);
    waitpid(child, nullptr, 0);
    ExpectEachLineOnce(AllLines(), {"child", "parent"}, count);
}

TEST_F(LogFileTest, AStoppedProcessDoesNotHoldTheOthersUp) {
    Open(10);
    log.LogRaw("parent");
    int ready[2] = {};
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = Fork([&] {
        LibLogging own(1);
        own.Init(live, 10, false);
        static_cast<void>(test::RealWrite(ready[1], "r", 1) == 1);
        own.Enabled(true);
        LogLines(own, "child", 1000000000);
    });
    char byte = 0;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    for (int i = 0; i < 200; ++i) { // wherever it stands
        kill(child, SIGSTOP);
        waitpid(child, nullptr, WUNTRACED);
        LogLines(log, "parent" + std::to_string(i) + ".", 25);
        kill(child, SIGCONT);
    }
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    close(ready[0]);
    close(ready[1]);

    const auto lines = AllLines();
    for (int i = 0; i < 200; ++i) {
        for (int j = 0; j < 25; ++j) {
            const std::string line = " parent" + std::to_string(i) + "." + std::to_string(j) + " " +
                                     std::string(static_cast<std::size_t>(j), '.') + "|";
            ASSERT_EQ(lines.count(line), 1u) << line;
        }
    }
}

// --- kills

bool IsRename(long call) {
#ifdef SYS_rename
    if (call == SYS_rename) {
        return true;
    }
#endif
    return call == SYS_renameat || call == SYS_renameat2;
}

class KillTest : public LogFileTest, public testing::WithParamInterface<bool> {};

TEST_P(KillTest, AtNoStopALineWhoseCallReturnedIsLost) {
    NOT_UNDER_VALGRIND("traces system calls");
    constexpr int count = 14;
    const SharedNumber returned;
    const auto run = [&] {
        LibLogging own(1);
        own.Init(live, 4, true);
        own.Enabled(true);
        for (int i = 0; i < count; ++i) {
            own.LogRaw("line " + std::to_string(i));
            *returned = i + 1;
        }
        return 0;
    };
    const std::string inPlace = GetParam() ? "in company" : "alone";
    std::size_t stops = 0;
    int renames = 0;
    for (bool reached = true; reached; ++stops) {
        std::filesystem::remove_all(folder.Path());
        mkdir(folder.Path().c_str(), 0777);
        test::WriteText(live, " of the run before\n");
        test::WriteText(folder / "trace_0.log", " part of the run before\n");
        LogFile other;
        if (GetParam()) {
            other.Open(live);
        }
        *returned = 0;
        renames = 0;
        reached = Support::trace(run, [&](const Support::Stop& stop) {
                      other.Follow(); // stays in company wherever the file goes
                      renames += stop.entering && IsRename(stop.number) ? 1 : 0;
                      return Action{stop.index == stops ? Action::Kind::Kill : Action::Kind::Continue};
                  }).killed;

        auto lines = AllLines();
        ASSERT_GE(lines[" of the run before"], 1) << "killed at stop " << stops << " " << inPlace;
        ASSERT_GE(lines[" part of the run before"], 1) << "killed at stop " << stops << " " << inPlace;
        for (int i = 0; i < *returned; ++i) {
            ASSERT_GE(lines[" line " + std::to_string(i)], 1) << "killed at stop " << stops << " " << inPlace;
        }
    }
    std::printf("killed at %zu stops %s, %d files renamed\n", stops - 1, inPlace.c_str(), renames);
    EXPECT_EQ(renames, GetParam() ? 5 : 1) << "the old part always, the old file and three new parts in company";
    EXPECT_GT(stops, 100u);
}

INSTANTIATE_TEST_SUITE_P(AloneAndInCompany, KillTest, testing::Bool());

// --- every meeting of two processes

struct Meeting {
    const char* name;
    bool openBefore; // the other has the file open before the process starts
    bool rotate;
};

// Or it would be shown byte by byte, padding included, which nobody has set.
void PrintTo(const Meeting& meeting, std::ostream* out) {
    *out << meeting.name;
}

class MeetingTest : public LogFileTest, public testing::WithParamInterface<Meeting> {};

TEST_P(MeetingTest, AtNoStopOfOneDoTheLinesOfBothLoseAnything) {
    NOT_UNDER_VALGRIND("traces system calls");
    test::clockTime = 0;
    const Meeting meeting = GetParam();
    constexpr int count = 12;
    const auto start = [&](LibLogging& logger) {
        logger.Init(live, 4, meeting.rotate);
        logger.Enabled(true);
    };
    const auto write = [&](LibLogging& logger, const std::string& name) {
        for (int i = 0; i < count; ++i) {
            logger.LogRaw(name + std::to_string(i));
        }
    };
    std::size_t stops = 0;
    for (;; ++stops) {
        std::filesystem::remove_all(folder.Path());
        mkdir(folder.Path().c_str(), 0777);
        LibLogging other(2);
        if (meeting.openBefore) {
            start(other);
            write(other, "early");
        }
        const auto run = [&] {
            LibLogging own(1);
            start(own);
            write(own, "own");
            return 0;
        };
        bool met = false;
        Support::traceTo(stops, run, [&] {
            if (!meeting.openBefore) {
                start(other);
            }
            write(other, "other");
            met = true;
            return Action{Action::Kind::Release};
        });
        if (!met) {
            break;
        }
        auto lines = AllLines();
        for (int i = 0; i < count; ++i) {
            const std::string number = std::to_string(i);
            ASSERT_EQ(lines[" own" + number], 1) << "at stop " << stops;
            ASSERT_EQ(lines[" other" + number], 1) << "at stop " << stops;
            ASSERT_EQ(lines[" early" + number], meeting.openBefore ? 1 : 0) << "at stop " << stops;
        }
    }
    std::printf("%s: met at %zu stops\n", meeting.name, stops);
    EXPECT_GT(stops, 50u);
}

INSTANTIATE_TEST_SUITE_P(OfTwo, MeetingTest,
                         testing::Values(Meeting{"OneWithRotationStartsWhileOneLogs", false, true},
                                         Meeting{"OneStartsWithRotationWhileOneLogs", true, true},
                                         Meeting{"OneStartsWhileOneLogs", true, false}),
                         [](const auto& test) { return test.param.name; });

} // namespace
