// Several loggers on one file: in one process, in several, stopped and killed wherever they stand.
#include "logging/LogFile.h"

#include <atomic>
#include <csignal>
#include <filesystem>
#include <map>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/Tracer.h"
#include "tests/support/Valgrind.h"
#include "tests/unit/logging/LoggerTest.h"

using namespace Vantor;
using Support::Action;
using testing::ElementsAre;

namespace {

class LogFileCompanyTest : public test::LoggerTest {
protected:
    std::vector<std::string> Files() const { return test::Names(folder.Path()); }
    std::string Text(const std::string& name) const { return test::ReadText(folder / name); }
    std::string Contents() const { return test::ReadText(live); }
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

    LogFile file;
    unsigned long number = 0;
};

pid_t Fork(const std::function<void()>& child) {
    std::fflush(nullptr); // or the child might print it again
    const pid_t pid = fork();
    if (pid == 0) {
        child();
        _exit(0);
    }
    return pid;
}

bool IsRename(long call) {
#ifdef SYS_rename
    if (call == SYS_rename) {
        return true;
    }
#endif
    return call == SYS_renameat || call == SYS_renameat2;
}

// --- beside another logger

TEST_F(LogFileCompanyTest, InCompanyTheFileIsNotCleared) {
    file.Open(live);
    file.Write("one\n");
    {
        LogFile other;
        other.Open(live);
        other.Clear();
        EXPECT_EQ(Contents(), "one\n");
    }
    file.Clear();
    EXPECT_EQ(Contents(), "") << "alone again";

    LogFile late;
    late.Open(live);
    late.Write("two\n");
    file.Clear();
    EXPECT_EQ(Contents(), "two\n");
}

TEST_F(LogFileCompanyTest, AFileThatWasMovedAwayIsNotCleared) {
    file.Open(live);
    file.Write("one\n");
    rename(live.c_str(), (folder / "part.log").c_str());
    file.Clear();
    EXPECT_EQ(Text("part.log"), "one\n");
    test::WriteText(live, "two\n");
    file.Clear();
    EXPECT_EQ(Text("part.log"), "one\n") << "nor when another has its name";
    EXPECT_EQ(Contents(), "two\n");
}

TEST_F(LogFileCompanyTest, TheOthersComeAfterAFileThatIsSplit) {
    file.Open(live);
    LogFile other;
    other.Open(live);
    other.Write("1\n");

    file.Split(number);
    file.Write("3\n");
    other.Write("2\n");           // has not looked yet
    EXPECT_FALSE(other.Follow()); // looks
    other.Write("4\n");

    EXPECT_EQ(Text("trace_0.log"), "1\n2\n");
    EXPECT_EQ(Contents(), "3\n4\n");
    EXPECT_TRUE(other.Follow());
}

TEST_F(LogFileCompanyTest, WhatHasJustBeenSplitIsNotSplitAgain) {
    file.Open(live);
    LogFile other;
    other.Open(live);
    file.Write("1\n");
    file.Split(number);
    number = 0;
    other.Split(number);
    EXPECT_EQ(Text("trace_0.log"), "1\n");
    EXPECT_THAT(Files(), ElementsAre("trace.log", "trace_0.log"));
    EXPECT_EQ(number, 0u);
}

TEST_F(LogFileCompanyTest, WhoHasSeenAnotherOverwritesNoPartForTheRestOfTheRun) {
    for (const bool otherFirst : {true, false}) {
        std::filesystem::remove_all(folder.Path());
        mkdir(folder.Path().c_str(), 0777);
        {
            LogFile other;
            (otherFirst ? other : file).Open(live);
            (otherFirst ? file : other).Open(live);
            unsigned long othersNumber = 0;
            other.Write("other\n");
            other.Split(othersNumber);
        }
        number = 7;
        file.Split(number); // only comes after
        file.Write("own\n");
        file.Split(number);
        EXPECT_EQ(Text("trace_0.log"), "other\n") << otherFirst;
        EXPECT_EQ(Text("trace_1.log"), "own\n") << "the first free number, other first: " << otherFirst;

        test::WriteText(folder / "trace_0.log", "of the run before\n");
        file.Open(live);
        file.Split(number = 0);
        EXPECT_EQ(Text("trace_0.log"), "") << "alone from the beginning";
    }
}

TEST_F(LogFileCompanyTest, PartsOfWhoWasThereBeforeAreNotOverwritten) {
    LogFile other;
    other.Open(live);
    other.Write("other\n");
    unsigned long othersNumber = 0;
    other.Split(othersNumber);
    file.Open(live);
    file.Write("own\n");
    file.Split(number);
    EXPECT_EQ(Text("trace_0.log"), "other\n");
    EXPECT_EQ(Text("trace_1.log"), "own\n");
}

TEST_F(LogFileCompanyTest, WhileOneMovesAFileAnotherLeavesItWhereItIs) {
    NOT_UNDER_VALGRIND("traces system calls");
    test::WriteText(live, "one\n");
    test::WriteText(folder / "trace_0.log", "of the run before\n");
    bool met = false;
    const auto split = [&] {
        LogFile own;
        own.Open(live);
        unsigned long ownNumber = 0;
        own.Split(ownNumber);
        return 0;
    };
    Support::trace(split, [&](const Support::Stop& stop) {
        if (!met && stop.entering && IsRename(stop.number)) {
            met = true;
            file.Open(live);
            file.Split(number);
            EXPECT_EQ(Text("trace_0.log"), "of the run before\n");
            file.Clear();
            EXPECT_EQ(Contents(), "one\n");
            file.OpenAnew(live);
            EXPECT_THAT(Files(), ElementsAre("trace.log", "trace_0.log"));
        }
        return Action{Action::Kind::Continue};
    });
    EXPECT_TRUE(met);
    EXPECT_EQ(number, 0u);
    EXPECT_EQ(Text("trace_0.log"), "one\n");
}

TEST_F(LogFileCompanyTest, AForkedChildDoesNotMoveTheFileThatItsParentMoves) {
    Open(1);
    log.LogRaw("one");
    const pid_t child = Fork([&] {
        log.LogRaw("two");
        log.LogRaw("three");
    });
    waitpid(child, nullptr, 0);
    log.LogRaw("four");
    log.LogRaw("five");
    EXPECT_EQ(AllLines(),
              (std::map<std::string, int>{{" one", 1}, {" two", 1}, {" three", 1}, {" four", 1}, {" five", 1}}));
}

TEST_F(LogFileCompanyTest, LoggersInCompanyDoNotOverwriteEachOthersParts) {
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

TEST_F(LogFileCompanyTest, ASecondStartWithoutRotationDoesNotEmptyAFileInUse) {
    Open();
    log.LogRaw("one");
    LibLogging other(8);
    other.Init(live, 10, false);
    other.Enabled(true);
    other.LogRaw("two");
    log.LogRaw("three");
    EXPECT_EQ(Contents(), " one\n two\n three\n");
}

TEST_F(LogFileCompanyTest, ASecondStartWithRotationArchivesAFileInUse) {
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

// --- beside a reader who locks

FileDescriptor LockAsReader(const std::string& name, off_t first, off_t length) {
    FileDescriptor reader(open(name.c_str(), O_RDONLY | O_CLOEXEC));
    struct flock lock {};
    lock.l_type = F_RDLCK;
    lock.l_start = first;
    lock.l_len = length;
    EXPECT_EQ(fcntl(reader.Get(), F_OFD_SETLK, &lock), 0);
    return reader;
}

TEST_F(LogFileCompanyTest, AReaderWhoLocksTheFileKeepsItNeitherFromASplitNorFromTheArchive) {
    Open(2);
    log.LogRaw("1");
    const FileDescriptor reader = LockAsReader(live, 0, 0);
    log.LogRaw("2");
    log.LogRaw("3");
    EXPECT_EQ(Text("trace_0.log"), " 1\n 2\n");
    const FileDescriptor again = LockAsReader(live, 0, 0);
    log.Init(live, 2, true);
    EXPECT_THAT(Files(), ElementsAre("trace.log", "trace_0_2026-03-01_13-05-09.log", "trace_2026-03-01_13-05-09.log"));
}

TEST_F(LogFileCompanyTest, WhereAReaderHidesTheMoversFromEachOtherNoPartIsReplaced) {
    test::WriteText(folder / "trace_0.log", "another's\n");
    file.Open(live);
    file.Write("own\n");
    const FileDescriptor reader = LockAsReader(live, (off_t{1} << 62) + 1, 1);
    file.Split(number);
    EXPECT_EQ(Text("trace_0.log"), "another's\n");
    EXPECT_EQ(Text("trace_1.log"), "own\n");
}

TEST_F(LogFileCompanyTest, WhereTenThousandPartsNamesAreTakenTheLinesStayInTheFile) {
    for (int part = 0; part <= 10000; ++part) {
        test::WriteText(folder / NumberedLogName("trace.log", static_cast<unsigned long>(part)), "");
    }
    LogFile other;
    other.Open(live);
    file.Open(live);
    file.Write("1\n");
    file.Split(number);
    file.Write("2\n");
    EXPECT_EQ(Contents(), "1\n2\n");
}

// --- processes

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

TEST_F(LogFileCompanyTest, ProcessesThatOpenOneFileLoseAndTearNoLine) {
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

TEST_F(LogFileCompanyTest, ProcessesThatStartWithRotationLoseAndTearNoLine) {
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

TEST_F(LogFileCompanyTest, AForkedChildAndItsParentLoseAndTearNoLine) {
    test::clockTime = 0;
    constexpr int count = 10000;
    Open(300);
    const pid_t child = Fork([&] { LogLines(log, "child", count); });
    LogLines(log, "parent", count);
    waitpid(child, nullptr, 0);
    ExpectEachLineOnce(AllLines(), {"child", "parent"}, count);
}

TEST_F(LogFileCompanyTest, AStoppedProcessDoesNotHoldTheOthersUp) {
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

class KillTest : public LogFileCompanyTest, public testing::WithParamInterface<bool> {};

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
        reached = Support::trace(run, [&](const Support::Stop& stop) {
                      other.Follow(); // stays in company wherever the file goes
                      return Action{stop.index == stops ? Action::Kind::Kill : Action::Kind::Continue};
                  }).killed;

        auto lines = AllLines();
        ASSERT_GE(lines[" of the run before"], 1) << "killed at stop " << stops << " " << inPlace;
        ASSERT_GE(lines[" part of the run before"], 1) << "killed at stop " << stops << " " << inPlace;
        for (int i = 0; i < *returned; ++i) {
            ASSERT_GE(lines[" line " + std::to_string(i)], 1) << "killed at stop " << stops << " " << inPlace;
        }
    }
    std::printf("killed at %zu stops %s\n", stops - 1, inPlace.c_str());
    EXPECT_THAT(Files(), testing::SizeIs(6)) << "the live file, two archives, three parts";
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

class MeetingTest : public LogFileCompanyTest, public testing::WithParamInterface<Meeting> {};

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
            const std::string end = std::to_string(i);
            ASSERT_EQ(lines[" own" + end], 1) << "at stop " << stops;
            ASSERT_EQ(lines[" other" + end], 1) << "at stop " << stops;
            ASSERT_EQ(lines[" early" + end], meeting.openBefore ? 1 : 0) << "at stop " << stops;
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
