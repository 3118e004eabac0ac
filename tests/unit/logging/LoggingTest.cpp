#include "logging/Logging.h"

#include <thread>
#include <type_traits>

#include "tests/support/Valgrind.h"
#include "tests/unit/logging/LoggerTest.h"

using namespace Vantor;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

class LoggingTest : public test::LoggerTest {
protected:
    std::vector<std::string> Files() const { return test::Names(folder.Path()); }
    std::vector<std::string> Buffered() const {
        std::vector<std::string> texts;
        for (const LogEntry& entry : log.GetLogBuffer()) {
            texts.push_back(entry.text);
        }
        return texts;
    }
};

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

TEST_F(LoggingTest, InitCountsBytesFromZeroAgain) {
    Open();
    log.LogRotationFileSize(true, 100);
    log.IncreaseLoggedFileSize(100);
    log.Init(live, 10, false);
    LogTexts({"m"});
    EXPECT_THAT(Files(), ElementsAre("trace.log"));
}

TEST_F(LoggingTest, InitLeavesTheKindsOfRotationAndTheLargestSizeAlone) {
    log.LogRotation(false, 1);
    log.LogRotationFileSize(true, 100);
    log.Init(live, 1, false); // a line is 35 bytes
    log.Enabled(true);
    LogTexts({"1", "2", "3"});
    EXPECT_THAT(Files(), ElementsAre("trace.log"));
    LogTexts({"4"});
    EXPECT_THAT(Texts("trace_0.log"), ElementsAre("1", "2", "3"));
}

TEST_F(LoggingTest, AChangedMaximumKeepsTheCounts) {
    Open(10);
    log.LogRotationFileSize(true, 10000);
    LogTexts({"1", "2"});
    log.LogRotation(true, 2);
    LogTexts({"3"});
    ASSERT_THAT(Texts("trace_0.log"), ElementsAre("1", "2"));

    log.LogRotation(false, 2);
    log.LogRotationFileSize(true, 35);
    LogTexts({"4"});
    EXPECT_THAT(Texts("trace_1.log"), ElementsAre("3"));
}

TEST_F(LoggingTest, OpenFileAndRotateKeepsTheCountsAndTheNumberOfTheNextPart) {
    Open(2);
    log.LogRotationFileSize(true, 10000);
    LogTexts({"1", "2", "3"});
    log.OpenFileAndRotate(folder / "other.log");
    LogTexts({"4", "5"});
    EXPECT_THAT(Texts("other_1.log"), ElementsAre("4"));

    log.LogRotation(false, 0);
    log.IncreaseLoggedFileSize(10000);
    log.OpenFileAndRotate(folder / "third.log");
    LogTexts({"6"});
    EXPECT_EQ(test::ReadText(folder / "third_2.log"), "");
    EXPECT_THAT(Files(), testing::Contains("third_2.log"));
}

TEST_F(LoggingTest, WhatIsCountedFromOutsideCountsWhileLoggingIsOff) {
    Open(2);
    log.LogRotationFileSize(true, 100);
    log.Enabled(false);
    log.IncreaseLoggedEntries();
    log.IncreaseLoggedEntries();
    log.Enabled(true);
    LogTexts({"1"});
    EXPECT_THAT(Files(), ElementsAre("trace.log", "trace_0.log"));

    log.LogRotation(false, 2);
    log.Enabled(false);
    log.IncreaseLoggedFileSize(100);
    log.Enabled(true);
    LogTexts({"2"});
    EXPECT_THAT(Texts("trace_1.log"), ElementsAre("1"));
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

TEST_F(LoggingTest, FunctionsAreRememberedAndForgottenWhileLoggingIsOff) {
    Open();
    log.Enabled(false);
    log.LogFunction("outer", FUNCTION_IN);
    log.LogFunction("inner", FUNCTION_IN);
    log.LogFunction("inner", FUNCTION_OUT);
    log.Enabled(true);
    log.LogStackTrace();
    EXPECT_EQ(Live(), "2026-03-01 14:05:09   STACKTRACE outer\n");

    log.LogFunction("f", FUNCTION_IN);
    log.Enabled(false);
    log.LogStackTrace();
    log.Enabled(true);
    const std::string before = Live();
    log.LogStackTrace();
    EXPECT_EQ(Live(), before) << "a trace empties the stack even when nothing is written";
}

TEST_F(LoggingTest, TheFunctionStackIsOneForAllThreads) {
    Open();
    std::thread([&] { log.LogFunction("of a thread", FUNCTION_IN); }).join();
    log.LogStackTrace();
    EXPECT_EQ(test::Lines(Live()).back(), "2026-03-01 14:05:09   STACKTRACE of a thread");
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

TEST_F(LoggingTest, LinesPutIntoTheFileAreNotCounted) {
    Open(1);
    log.LogRotationFileSize(true, 10);
    log.LogToFile("a line longer than the largest file\n");
    LogTexts({"1"});
    EXPECT_THAT(Files(), ElementsAre("trace.log"));
}

TEST_F(LoggingTest, TheDebuggersViewChangesNothing) {
    Open();
    log.LogToWinDbgView("text");
    EXPECT_EQ(Live(), "");
}

// --- the memory buffer

TEST_F(LoggingTest, WithoutABufferEntriesGoToTheFileOnly) {
    Open();
    log.LogMessage("m");
    EXPECT_FALSE(log.IsLogToBuffer());
    EXPECT_EQ(log.GetLogBufferSize(), 0);
    EXPECT_THAT(Texts("trace.log"), ElementsAre("m"));
}

TEST_F(LoggingTest, ModeOneKeepsEntriesFromTheFile) {
    Open();
    log.LogToBuffer(LOG_BUFFER_ONLY, 10);
    log.LogMessage("m");
    EXPECT_TRUE(log.IsLogToBuffer());
    EXPECT_THAT(Buffered(), ElementsAre("m"));
    EXPECT_EQ(Live(), "");
}

TEST_F(LoggingTest, EveryOtherModeWritesToBoth) {
    for (const int mode : {2, 3, -1}) {
        Open();
        log.ClearLogBuffer();
        log.LogToBuffer(static_cast<LOG_BUFFER_MODE>(mode), 10);
        log.LogMessage("m");
        EXPECT_TRUE(log.IsLogToBuffer());
        EXPECT_THAT(Buffered(), ElementsAre("m"));
        EXPECT_THAT(Texts("trace.log"), ElementsAre("m"));
    }
}

TEST_F(LoggingTest, EntriesHoldTimeTypeAndText) {
    Open();
    log.LogToBuffer(LOG_BUFFER_ONLY, 10);
    log.LogWarning("w");
    clock.Advance(5);
    log.Log("x", static_cast<DebugLevel>(99));

    const auto buffer = log.GetLogBuffer();
    ASSERT_EQ(buffer.size(), 2u);
    EXPECT_EQ(buffer.front().time, test::marchAfternoon + 5);
    EXPECT_EQ(buffer.front().type, static_cast<DebugLevel>(99));
    EXPECT_EQ(buffer.front().text, "x");
    EXPECT_EQ(buffer.back().time, test::marchAfternoon);
    EXPECT_EQ(buffer.back().type, DEBUGLEVEL_WARNING);
    EXPECT_EQ(buffer.back().text, "w");
}

TEST_F(LoggingTest, ALimitOf200KeepsThe200NewestEntriesNewestFirst) {
    Open();
    log.LogToBuffer(LOG_BUFFER_ONLY, 200);
    std::vector<std::string> expected;
    for (int i = 0; i < 250; ++i) {
        log.LogMessage(std::to_string(i));
        if (i >= 50) {
            expected.insert(expected.begin(), std::to_string(i));
        }
    }
    EXPECT_EQ(log.GetLogBufferSize(), 200);
    EXPECT_EQ(Buffered(), expected);
}

TEST_F(LoggingTest, TheLimitIs200AtFirst) {
    Open();
    for (int i = 0; i < 201; ++i) {
        log.LogToBuffer(DEBUGLEVEL_MESSAGE, "m");
    }
    EXPECT_EQ(log.GetLogBufferSize(), 200);
    EXPECT_EQ(Live(), "") << "an entry for the buffer alone";
}

TEST_F(LoggingTest, WithALowerLimitANewEntryTakesThePlaceOfTheOldest) {
    Open();
    log.LogToBuffer(LOG_BUFFER_ONLY, 5);
    LogTexts({"1", "2", "3", "4", "5"});
    log.LogToBuffer(LOG_BUFFER_ONLY, 2);
    EXPECT_EQ(log.GetLogBufferSize(), 5);
    LogTexts({"6"});
    EXPECT_THAT(Buffered(), ElementsAre("6", "5", "4", "3", "2"));
    LogTexts({"7"});
    EXPECT_THAT(Buffered(), ElementsAre("7", "6", "5", "4", "3"));
    log.ClearLogBuffer();
    LogTexts({"8", "9", "10"});
    EXPECT_THAT(Buffered(), ElementsAre("10", "9"));
}

TEST_F(LoggingTest, ALimitOfZeroOrLessKeepsNothing) {
    Open();
    for (const int limit : {0, -1, -2147483647 - 1}) {
        log.LogToBuffer(LOG_BUFFER_AND_FILE, limit);
        LogTexts({"m"});
        EXPECT_EQ(log.GetLogBufferSize(), 0);
    }
    EXPECT_THAT(Texts("trace.log"), ElementsAre("m", "m", "m"));
}

TEST_F(LoggingTest, TheBufferIsHandedOutAsACopy) {
    Open();
    log.LogToBuffer(LOG_BUFFER_ONLY, 10);
    log.LogMessage("m");
    auto copy = log.GetLogBuffer();
    copy.clear();
    EXPECT_THAT(Buffered(), ElementsAre("m"));
}

TEST_F(LoggingTest, ClearingEmptiesTheBufferOnly) {
    Open();
    log.LogToBuffer(LOG_BUFFER_AND_FILE, 10);
    log.LogMessage("m");
    log.ClearLogBuffer();
    EXPECT_THAT(Buffered(), IsEmpty());
    EXPECT_TRUE(log.IsLogToBuffer());
    EXPECT_THAT(Texts("trace.log"), ElementsAre("m"));
}

TEST_F(LoggingTest, BufferedEntriesAreWrittenNewestFirstWithTheTimeOfNow) {
    Open();
    log.LogToBuffer(LOG_BUFFER_ONLY, 10);
    log.LogMessage("old");
    log.LogError("new");
    log.LogToBuffer(LOG_BUFFER_NONE, 10);
    clock.Advance(60);

    log.LogBufferToFile();

    EXPECT_EQ(Live(), "2026-03-01 14:06:09        ERROR new\n"
                      "2026-03-01 14:06:09      MESSAGE old\n");
    EXPECT_THAT(Buffered(), ElementsAre("new", "old")) << "the buffer stays";
}

TEST_F(LoggingTest, WritingTheBufferWhileItCollectsEndsAndAddsEachEntryOnce) {
    Open();
    log.LogToBuffer(LOG_BUFFER_AND_FILE, 3);
    LogTexts({"1", "2", "3"});
    log.LogBufferToFile();
    EXPECT_THAT(Texts("trace.log"), ElementsAre("1", "2", "3", "3", "2", "1"));
    EXPECT_THAT(Buffered(), ElementsAre("1", "2", "3"));
}

TEST_F(LoggingTest, EntriesForTheBufferOnlyAreNotCounted) {
    Open(2);
    log.LogToBuffer(LOG_BUFFER_ONLY, 10);
    LogTexts({"1", "2", "3"});
    log.LogToBuffer(LOG_BUFFER_NONE, 10);
    LogTexts({"4", "5"});
    EXPECT_THAT(test::Names(folder.Path()), ElementsAre("trace.log"));
}

TEST_F(LoggingTest, AFullFileIsSplitBeforeAnEntryForTheBufferOnly) {
    Open(2);
    LogTexts({"1", "2"});
    log.LogToBuffer(LOG_BUFFER_ONLY, 10);
    LogTexts({"3"});
    EXPECT_THAT(Texts("trace_0.log"), ElementsAre("1", "2"));
    EXPECT_EQ(Live(), "");
    EXPECT_THAT(Buffered(), ElementsAre("3"));
}

TEST_F(LoggingTest, InitKeepsTheBuffer) {
    Open();
    log.LogToBuffer(LOG_BUFFER_ONLY, 10);
    log.LogMessage("m");
    Open();
    EXPECT_THAT(Buffered(), ElementsAre("m"));
    EXPECT_TRUE(log.IsLogToBuffer());
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
