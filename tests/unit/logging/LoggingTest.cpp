#include "logging/Logging.h"

#include <cerrno>
#include <climits>
#include <clocale>
#include <locale>
#include <thread>
#include <type_traits>

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/Valgrind.h"
#include "tests/unit/logging/LoggerTest.h"

using namespace Vantor;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

class LoggingTest : public test::LoggerTest {};

static_assert(!std::is_copy_constructible_v<LibLogging> && !std::is_copy_assignable_v<LibLogging>);
static_assert(!std::is_polymorphic_v<LibLogging>);

// --- configuration

TEST_F(LoggingTest, AFreshLoggerHasItsDefaults) {
    EXPECT_FALSE(log.IsEnabled());
    EXPECT_FALSE(log.IsVerbose());
    EXPECT_FALSE(log.IsOutputDbgString());
    EXPECT_TRUE(log.IsLogThreadId());
    EXPECT_TRUE(log.IsLogRotationEnabled());
    EXPECT_FALSE(log.IsLogToBuffer());
    EXPECT_EQ(log.GetLogBufferSize(), 0);
}

TEST_F(LoggingTest, AFreshLoggersLevelLetsDebugEntriesPass) {
    log.OpenFileAndRotate(live); // opens the file and leaves the settings alone
    log.Enabled(true);

    log.LogDebug("d");

    EXPECT_THAT(Live(), MatchesRegex("2026-03-01 14:05:09        DEBUG \\([0-9]+\\) d\n"));
}

TEST_F(LoggingTest, AFreshLoggerSplitsAfterTenThousandEntries) {
    NOT_UNDER_VALGRIND("too slow there");
    log.OpenFileAndRotate(live);
    log.Enabled(true);

    for (int i = 0; i < 10000; ++i) {
        log.LogRaw("x");
    }
    ASSERT_THAT(test::Names(folder.Path()), ElementsAre("trace.log"));
    log.LogRaw("y");

    EXPECT_EQ(Live(), " y\n");
    EXPECT_EQ(test::Lines(test::ReadText(folder / "trace_0.log")).size(), 10000u);
}

TEST_F(LoggingTest, InitSetsLevelVerboseAndDebuggerOutputAndTurnsThreadIdsOff) {
    log.SetLoggingLevel(LOG_LEVEL_NOTHING);

    log.Init(live, 10, false);

    EXPECT_TRUE(log.IsVerbose());
    EXPECT_TRUE(log.IsOutputDbgString());
    EXPECT_FALSE(log.IsLogThreadId());
    EXPECT_FALSE(log.IsEnabled()) << "Init must not switch logging on";
    log.Enabled(true);
    log.LogDebug("d");
    EXPECT_EQ(Live(), "2026-03-01 14:05:09        DEBUG d\n") << "the level must be 5";
}

TEST_F(LoggingTest, InitLeavesAnEnabledLoggerEnabled) {
    log.Enabled(true);
    log.Init(live, 10, false);
    EXPECT_TRUE(log.IsEnabled());
}

TEST_F(LoggingTest, SettersStoreWhatTheirGettersTell) {
    for (const bool on : {true, false}) {
        log.Enabled(on);
        log.Verbose(on);
        log.OutputDbgString(on);
        log.LogThreadId(on);
        EXPECT_EQ(log.IsEnabled(), on);
        EXPECT_EQ(log.IsVerbose(), on);
        EXPECT_EQ(log.IsOutputDbgString(), on);
        EXPECT_EQ(log.IsLogThreadId(), on);
    }
}

TEST_F(LoggingTest, RotationIsEnabledWhenEitherKindIsOn) {
    log.LogRotation(false, 5);
    EXPECT_FALSE(log.IsLogRotationEnabled());
    log.LogRotationFileSize(true, 5);
    EXPECT_TRUE(log.IsLogRotationEnabled());
    log.LogRotation(true, 5);
    log.LogRotationFileSize(false, 5);
    EXPECT_TRUE(log.IsLogRotationEnabled());
}

TEST_F(LoggingTest, InitWithoutAnExtensionWritesToALogFile) {
    log.Init(folder / "trace", 10, false);
    log.Enabled(true);
    log.LogMessage("m");
    EXPECT_THAT(test::Names(folder.Path()), ElementsAre("trace.log"));
}

TEST_F(LoggingTest, InitKeepsATextFilesName) {
    log.Init(folder / "trace.txt", 10, false);
    EXPECT_THAT(test::Names(folder.Path()), ElementsAre("trace.txt"));
}

TEST_F(LoggingTest, InitWithoutRotationEmptiesTheFile) {
    test::WriteText(live, "of the run before\n");
    log.Init(live, 10, false);
    EXPECT_EQ(Live(), "");
    EXPECT_THAT(test::Names(folder.Path()), ElementsAre("trace.log"));
}

TEST_F(LoggingTest, InitOnAnOpenLoggerClosesItsFileFirst) {
    Open();
    log.LogMessage("one");

    log.Init(folder / "other", 10, false);
    log.LogMessage("two");

    EXPECT_EQ(Live(), "2026-03-01 14:05:09      MESSAGE one\n");
    EXPECT_EQ(test::ReadText(folder / "other.log"), "2026-03-01 14:05:09      MESSAGE two\n");
}

TEST_F(LoggingTest, InitOnTheSameFileAgainEmptiesIt) {
    Open();
    log.LogMessage("one");
    Open();
    log.LogMessage("two");
    EXPECT_EQ(Live(), "2026-03-01 14:05:09      MESSAGE two\n");
}

TEST_F(LoggingTest, InitCountsFromZeroAgain) {
    Open(2);
    LogTexts({"a", "b", "split", "full"});
    log.Init(live, 2, false);
    LogTexts({"c", "d"});
    EXPECT_THAT(Texts("trace.log"), ElementsAre("c", "d")) << "two entries must fit after Init";
    LogTexts({"e"});
    EXPECT_THAT(Texts("trace_0.log"), ElementsAre("c", "d")) << "parts must be numbered from 0 after Init";
    EXPECT_THAT(test::Names(folder.Path()), ElementsAre("trace.log", "trace_0.log"));
}

TEST_F(LoggingTest, AFileThatCannotBeOpenedDropsEntriesSilently) {
    log.Init(folder / "missing/trace", 10, false);
    log.Enabled(true);
    log.LogToBuffer(LOG_BUFFER_AND_FILE, 10);

    log.LogError("lost");
    log.LogToFile("lost\n");
    log.SplitLog();

    EXPECT_THAT(test::Names(folder.Path()), IsEmpty());
    EXPECT_EQ(log.GetLogBufferSize(), 0) << "nothing is buffered while no file is open";
}

// --- what is written

TEST_F(LoggingTest, ALoggerThatIsNotEnabledWritesNothing) {
    log.Init(live, 10, false);
    log.LogError("e");
    log.Log("l", DEBUGLEVEL_ERROR);
    log.LogFunction("f", FUNCTION_IN);
    log.LogStackTrace();
    EXPECT_EQ(Live(), "");
}

TEST_F(LoggingTest, ALoggerWithoutAFileWritesAndBuffersNothing) {
    log.Enabled(true);
    log.LogToBuffer(LOG_BUFFER_AND_FILE, 10);
    log.LogError("e");
    EXPECT_EQ(log.GetLogBufferSize(), 0);
}

TEST_F(LoggingTest, EachTypeHasItsNameRightAlignedInThirteenCharacters) {
    Open();
    for (const int type : {0, 1, 2, 3, 4, 5, 6, 7, 8, 99, -1, INT_MIN, INT_MAX}) {
        log.Log("text", static_cast<DebugLevel>(type));
    }
    EXPECT_EQ(Live(), "2026-03-01 14:05:09        ERROR text\n"
                      "2026-03-01 14:05:09      MESSAGE text\n"
                      "2026-03-01 14:05:09        DEBUG text\n"
                      "2026-03-01 14:05:09  IN FUNCTION text\n"
                      "2026-03-01 14:05:09 OUT FUNCTION text\n"
                      "2026-03-01 14:05:09   STACKTRACE text\n"
                      "2026-03-01 14:05:09      WARNING text\n"
                      " text\n"
                      "2026-03-01 14:05:09      MESSAGE text\n"
                      "2026-03-01 14:05:09      MESSAGE text\n"
                      "2026-03-01 14:05:09      MESSAGE text\n"
                      "2026-03-01 14:05:09      MESSAGE text\n"
                      "2026-03-01 14:05:09      MESSAGE text\n");
}

TEST_F(LoggingTest, TypesHaveTheirNames) {
    const std::vector<std::string> names = {"ERROR",        "MESSAGE",    "DEBUG",   "IN FUNCTION",
                                            "OUT FUNCTION", "STACKTRACE", "WARNING", "MESSAGE"};
    for (std::size_t type = 0; type < names.size(); ++type) {
        EXPECT_EQ(log.LogTypeToString(static_cast<DebugLevel>(type)), names[type]);
    }
    EXPECT_EQ(log.LogTypeToString(static_cast<DebugLevel>(8)), "MESSAGE");
    EXPECT_EQ(log.LogTypeToString(static_cast<DebugLevel>(-1)), "MESSAGE");
}

TEST_F(LoggingTest, TheThreadIdStandsBehindTheType) {
    Open();
    log.LogThreadId(true);
    const std::string id = std::to_string(syscall(SYS_gettid));

    log.LogError("open failed");
    log.LogRaw("raw");

    EXPECT_EQ(Live(), "2026-03-01 14:05:09        ERROR (" + id + ") open failed\n raw\n");
}

TEST_F(LoggingTest, EachThreadWritesItsOwnId) {
    Open();
    log.LogThreadId(true);
    std::string expected;
    for (int i = 0; i < 3; ++i) {
        std::thread([&] {
            log.LogError("e");
            expected += "2026-03-01 14:05:09        ERROR (" + std::to_string(syscall(SYS_gettid)) + ") e\n";
        }).join();
    }
    EXPECT_EQ(Live(), expected);
}

TEST_F(LoggingTest, AForkedChildWritesItsOwnId) {
    Open();
    log.LogThreadId(true);
    log.LogError("parent");

    const pid_t child = fork();
    if (child == 0) {
        log.LogError("child");
        _exit(0);
    }
    waitpid(child, nullptr, 0);

    EXPECT_EQ(Live(), "2026-03-01 14:05:09        ERROR (" + std::to_string(getpid()) + ") parent\n" +
                          "2026-03-01 14:05:09        ERROR (" + std::to_string(child) + ") child\n");
}

TEST_F(LoggingTest, TextsAreWrittenAsTheyAre) {
    Open();
    const std::string nul("a\0b", 3);
    const std::string texts[] = {"", "100 %s %n", "two\nlines", "Straße \xff", nul, std::string(1 << 20, 'x')};
    std::string expected;
    for (const auto& text : texts) {
        log.LogRaw(text);
        expected += " " + text + "\n";
    }
    EXPECT_EQ(Live(), expected);
}

TEST_F(LoggingTest, GetLogEntryReturnsTheLineThatLogWrites) {
    Open();
    for (const bool threadId : {false, true}) {
        log.LogThreadId(threadId);
        for (int type = 0; type < 8; ++type) {
            const std::string before = Live();
            log.Log("text", static_cast<DebugLevel>(type));
            EXPECT_EQ(Live(), before + log.GetLogEntry(static_cast<DebugLevel>(type), "text"));
        }
    }
}

TEST_F(LoggingTest, LinesDoNotDependOnTheLocale) {
    struct Grouped : std::numpunct<char> {
        std::string do_grouping() const override { return "\1"; }
    };
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Grouped));
    std::setlocale(LC_ALL, "de_DE.UTF-8");
    Open(1);
    log.LogThreadId(true);
    for (int i = 0; i < 12; ++i) {
        log.LogError("e");
    }
    std::setlocale(LC_ALL, "C");
    std::locale::global(before);

    EXPECT_EQ(Live(), "2026-03-01 14:05:09        ERROR (" + std::to_string(getpid()) + ") e\n");
    EXPECT_THAT(test::Names(folder.Path()), testing::Contains("trace_10.log"));
}

// --- levels

struct LevelCase {
    int level;
    std::vector<std::string> written;
};

TEST_F(LoggingTest, TypedCallsWriteWhatTheLevelLetsPass) {
    const LevelCase cases[] = {
        {-1, {}},
        {0, {}},
        {1, {"ERROR"}},
        {2, {"ERROR", "WARNING"}},
        {3, {"ERROR", "WARNING", "MESSAGE", "RAW"}},
        {4, {"ERROR", "WARNING", "MESSAGE", "RAW", "DEBUG", "FUNCTION", "TRACE"}},
        {5, {"ERROR", "WARNING", "MESSAGE", "RAW", "DEBUG", "FUNCTION", "TRACE"}},
        {99, {"ERROR", "WARNING", "MESSAGE", "RAW", "DEBUG", "FUNCTION", "TRACE"}},
    };
    for (const auto& [level, written] : cases) {
        Open();
        log.LogFunction("TRACE", FUNCTION_IN); // for the stack trace, at level 5
        Open();
        log.SetLoggingLevel(static_cast<LOG_LEVEL>(level));
        log.LogError("ERROR");
        log.LogWarning("WARNING");
        log.LogMessage("MESSAGE");
        log.LogRaw("RAW");
        log.LogDebug("DEBUG");
        log.LogFunction("FUNCTION", FUNCTION_IN);
        log.LogFunction("FUNCTION", FUNCTION_OUT);
        log.LogStackTrace();
        std::vector<std::string> found;
        for (const auto& line : test::Lines(Live())) {
            const std::string text = line.substr(line.rfind(' ') + 1);
            if (found.empty() || found.back() != text) {
                found.push_back(text);
            }
        }
        EXPECT_EQ(found, written) << "level " << level;
        log.SetLoggingLevel(LOG_LEVEL_ALL);
        log.LogStackTrace();
    }
}

TEST_F(LoggingTest, AtLevelTwoAWarningIsWrittenAndAMessageIsNot) {
    Open();
    log.SetLoggingLevel(LOG_LEVEL_WARNINGS);
    log.LogMessage("m");
    EXPECT_EQ(Live(), "");
    log.LogWarning("w");
    EXPECT_EQ(Live(), "2026-03-01 14:05:09      WARNING w\n");
}

TEST_F(LoggingTest, LogItselfKnowsNoLevel) {
    Open();
    log.SetLoggingLevel(LOG_LEVEL_NOTHING);
    log.Log("d", DEBUGLEVEL_DEBUG);
    EXPECT_EQ(Live(), "2026-03-01 14:05:09        DEBUG d\n");
}

// --- functions

TEST_F(LoggingTest, FunctionsAreLoggedAndTracedInnermostFirst) {
    Open();
    log.LogFunction("outer", FUNCTION_IN);
    log.LogFunction("inner", FUNCTION_IN);
    log.LogStackTrace();
    log.LogStackTrace();

    EXPECT_EQ(Live(), "2026-03-01 14:05:09  IN FUNCTION outer\n"
                      "2026-03-01 14:05:09  IN FUNCTION inner\n"
                      "2026-03-01 14:05:09   STACKTRACE inner\n"
                      "2026-03-01 14:05:09   STACKTRACE outer\n");
}

TEST_F(LoggingTest, LeavingPopsTheTopWhateverItsName) {
    Open();
    log.LogFunction("a", FUNCTION_IN);
    log.LogFunction("b", FUNCTION_IN);
    log.LogFunction("a", FUNCTION_OUT);
    log.LogStackTrace();

    EXPECT_EQ(Live(), "2026-03-01 14:05:09  IN FUNCTION a\n"
                      "2026-03-01 14:05:09  IN FUNCTION b\n"
                      "2026-03-01 14:05:09 OUT FUNCTION a\n"
                      "2026-03-01 14:05:09   STACKTRACE a\n");
}

TEST_F(LoggingTest, LeavingIsLoggedEvenWithAnEmptyStack) {
    Open();
    log.LogFunction("f", FUNCTION_OUT);
    EXPECT_EQ(Live(), "2026-03-01 14:05:09 OUT FUNCTION f\n");
}

TEST_F(LoggingTest, OtherValuesOfFunctionInOutAreIgnored) {
    Open();
    log.LogFunction("f", static_cast<FunctionInOut>(2));
    log.LogFunction("f", static_cast<FunctionInOut>(-1));
    log.LogStackTrace();
    EXPECT_EQ(Live(), "");
}

TEST_F(LoggingTest, BelowLevelFourTheFunctionStackIsLeftAlone) {
    Open();
    log.LogFunction("kept", FUNCTION_IN);
    log.SetLoggingLevel(LOG_LEVEL_MESSAGES);
    log.LogFunction("unseen", FUNCTION_IN);
    log.LogFunction("unseen", FUNCTION_OUT);
    log.LogFunction("unseen", FUNCTION_OUT);
    log.LogStackTrace();
    log.SetLoggingLevel(LOG_LEVEL_DEBUG);
    log.LogStackTrace();

    EXPECT_EQ(Live(), "2026-03-01 14:05:09  IN FUNCTION kept\n"
                      "2026-03-01 14:05:09   STACKTRACE kept\n");
}

TEST_F(LoggingTest, TheFunctionStackIsOneForAllThreads) {
    Open();
    std::thread([&] { log.LogFunction("of a thread", FUNCTION_IN); }).join();
    log.LogStackTrace();
    EXPECT_EQ(test::Lines(Live()).back(), "2026-03-01 14:05:09   STACKTRACE of a thread");
}

// --- time

TEST_F(LoggingTest, TimeTextsAreLocalTime) {
    EXPECT_EQ(log.GetTimeString(test::marchAfternoon), "2026-03-01 14:05:09");
    EXPECT_EQ(log.GetTimeString(0), "1970-01-01 01:00:00");
    EXPECT_EQ(log.GetTimeString(-3601), "1969-12-31 23:59:59");
}

TEST_F(LoggingTest, TimeTextsFollowSummerTime) {
    constexpr long spring = 1774746000; // 2026-03-29 01:00:00 UTC
    constexpr long autumn = 1792890000; // 2026-10-25 01:00:00 UTC
    EXPECT_EQ(log.GetTimeString(spring - 1), "2026-03-29 01:59:59");
    EXPECT_EQ(log.GetTimeString(spring), "2026-03-29 03:00:00");
    EXPECT_EQ(log.GetTimeString(autumn - 1), "2026-10-25 02:59:59");
    EXPECT_EQ(log.GetTimeString(autumn), "2026-10-25 02:00:00");
}

TEST_F(LoggingTest, ATimeThatNoCalendarHoldsHasNoText) {
    if (sizeof(long) < 8) {
        GTEST_SKIP() << "every 32-bit time has a date";
    }
    EXPECT_EQ(log.GetTimeString(LONG_MAX), "");
    EXPECT_EQ(log.GetTimeString(LONG_MIN), "");
}

TEST_F(LoggingTest, EachSecondHasItsOwnTimeText) {
    Open();
    log.LogMessage("a");
    log.LogMessage("b");
    clock.Advance(1);
    log.LogMessage("c");
    clock.Advance(-60); // clocks are set back, too
    log.LogMessage("d");

    EXPECT_EQ(Live(), "2026-03-01 14:05:09      MESSAGE a\n"
                      "2026-03-01 14:05:09      MESSAGE b\n"
                      "2026-03-01 14:05:10      MESSAGE c\n"
                      "2026-03-01 14:04:10      MESSAGE d\n");
}

TEST_F(LoggingTest, LinesFollowSummerTimeFromOneSecondToTheNext) {
    Open();
    clock.Set(1774745999);
    log.LogMessage("winter");
    clock.Advance(1);
    log.LogMessage("summer");
    EXPECT_EQ(Live(), "2026-03-29 01:59:59      MESSAGE winter\n"
                      "2026-03-29 03:00:00      MESSAGE summer\n");
}

TEST_F(LoggingTest, AChangeOfTheTimeZoneShowsInTheNextSecond) {
    Open();
    log.LogMessage("Berlin");
    timeZone.Set("EST5");
    clock.Advance(1);
    log.LogMessage("New York");
    EXPECT_EQ(Live(), "2026-03-01 14:05:09      MESSAGE Berlin\n"
                      "2026-03-01 08:05:10      MESSAGE New York\n");
}

TEST_F(LoggingTest, TimesAfter2038AreWritten) {
    Open();
    if (sizeof(std::time_t) < 8) {
        FAIL() << "time_t must have 64 bits";
    }
    clock.Set(static_cast<std::time_t>(4102444800LL)); // 2100-01-01 00:00:00 UTC
    log.LogMessage("m");
    EXPECT_EQ(Live(), "2100-01-01 01:00:00      MESSAGE m\n");
}

TEST_F(LoggingTest, EntryTimeAndThreadIdAreTheSystems) {
    EXPECT_EQ(log.GetEntryTime(), test::marchAfternoon);
    EXPECT_EQ(log.GetThreadId(), syscall(SYS_gettid));
    std::thread([&] { EXPECT_EQ(log.GetThreadId(), syscall(SYS_gettid)); }).join();
}

// --- the file

TEST_F(LoggingTest, EachEntryIsOneWriteBeforeItsCallReturns) {
    Open();
    std::vector<std::string> written;
    {
        const test::Writes watch([&](int fd, const void* bytes, std::size_t size) {
            written.emplace_back(static_cast<const char*>(bytes), size);
            return test::RealWrite(fd, bytes, size);
        });
        log.LogMessage("one");
        EXPECT_EQ(written.size(), 1u);
        log.LogRaw(std::string(100000, 'x'));
    }
    EXPECT_THAT(written, ElementsAre("2026-03-01 14:05:09      MESSAGE one\n", " " + std::string(100000, 'x') + "\n"));
}

TEST_F(LoggingTest, LogToFileWritesTheTextAsItStands) {
    Open();
    log.LogToFile("no line end");
    log.LogToFile("");
    log.LogToFile("|");
    EXPECT_EQ(Live(), "no line end|");
}

TEST_F(LoggingTest, TheDebuggersViewChangesNothing) {
    Open();
    log.LogToWinDbgView("text");
    EXPECT_EQ(Live(), "");
}

// --- threads

// Each line names its thread and its number in it, and has a known length.
std::string ThreadText(int thread, int number) {
    return "thread " + std::to_string(thread) + " line " + std::to_string(number) + " " +
           std::string(static_cast<std::size_t>(number % 50), '.') + "|";
}

constexpr int threadCount = 8;
constexpr int linesPerThread = 12500;

void LogFromThreads(LibLogging& log) {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&log, thread] {
            for (int number = 0; number < linesPerThread; ++number) {
                log.LogMessage(ThreadText(thread, number));
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

// Every line of every thread once, whole, and in its thread's order.
void ExpectAllLines(const std::string& text) {
    std::vector<int> next(threadCount, 0);
    for (const auto& line : test::Lines(text)) {
        int thread = -1;
        ASSERT_EQ(std::sscanf(line.c_str(), "2026-03-01 14:05:09      MESSAGE thread %d", &thread), 1) << line;
        ASSERT_TRUE(thread >= 0 && thread < threadCount) << line;
        ASSERT_EQ(line.substr(33), ThreadText(thread, next[static_cast<std::size_t>(thread)]++));
    }
    EXPECT_THAT(next, testing::Each(linesPerThread));
}

TEST_F(LoggingTest, EightThreadsLoseAndTearNoLine) {
    NOT_UNDER_VALGRIND("valgrind runs one thread at a time");
    Open();
    log.LogRotation(false, 0);
    LogFromThreads(log);
    ExpectAllLines(Live());
}

TEST_F(LoggingTest, EightThreadsLoseAndTearNoLineWhileTheFileIsSplitByEntries) {
    NOT_UNDER_VALGRIND("valgrind runs one thread at a time");
    Open(1000);
    LogFromThreads(log);

    std::string all;
    for (int part = 0; part < 99; ++part) {
        const std::string text = test::ReadText(folder / ("trace_" + std::to_string(part) + ".log"));
        EXPECT_EQ(test::Lines(text).size(), 1000u) << "part " << part;
        all += text;
    }
    ExpectAllLines(all + Live());
}

TEST_F(LoggingTest, EightThreadsLoseAndTearNoLineWhileTheFileIsSplitBySize) {
    NOT_UNDER_VALGRIND("valgrind runs one thread at a time");
    Open();
    log.LogRotation(false, 0);
    log.LogRotationFileSize(true, 100000);
    LogFromThreads(log);

    std::string all;
    const std::size_t parts = test::Names(folder.Path()).size() - 1;
    EXPECT_GT(parts, 50u);
    for (std::size_t part = 0; part < parts; ++part) {
        all += test::ReadText(folder / ("trace_" + std::to_string(part) + ".log"));
    }
    ExpectAllLines(all + Live());
}

TEST_F(LoggingTest, ThreadsMayUseEveryMemberAtOnce) {
    Open(50);
    log.LogToBuffer(LOG_BUFFER_AND_FILE, 20);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 200; ++i) {
                log.LogFunction("f", FUNCTION_IN);
                log.LogRotation(true, 50);
                log.LogRotationFileSize(i % 2 == 0, 5000);
                log.LogThreadId(i % 2 == 0);
                log.SetLoggingLevel(i % 2 == 0 ? LOG_LEVEL_ALL : LOG_LEVEL_DEBUG);
                log.LogStackTrace();
                log.LogFunction("f", FUNCTION_OUT);
                EXPECT_LE(log.GetLogBufferSize(), 20);
                if (thread == 0 && i % 50 == 0) {
                    log.LogBufferToFile();
                    log.SplitLog();
                    log.ClearLogBuffer();
                    log.Init(live, 50, i % 100 == 0);
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(log.IsEnabled());
}

} // namespace
