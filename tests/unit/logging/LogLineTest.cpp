#include "logging/LogLine.h"

#include <climits>
#include <clocale>
#include <locale>
#include <thread>

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/unit/logging/LoggerTest.h"

using namespace Vantor;

namespace {

class LogLineTest : public test::LoggerTest {};

TEST_F(LogLineTest, EachTypeHasItsNameRightAlignedInThirteenCharacters) {
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

TEST_F(LogLineTest, TypesHaveTheirNames) {
    const std::vector<std::string> names = {"ERROR",        "MESSAGE",    "DEBUG",   "IN FUNCTION",
                                            "OUT FUNCTION", "STACKTRACE", "WARNING", "MESSAGE"};
    for (std::size_t type = 0; type < names.size(); ++type) {
        EXPECT_EQ(log.LogTypeToString(static_cast<DebugLevel>(type)), names[type]);
    }
    EXPECT_EQ(log.LogTypeToString(static_cast<DebugLevel>(8)), "MESSAGE");
    EXPECT_EQ(log.LogTypeToString(static_cast<DebugLevel>(-1)), "MESSAGE");
}

TEST_F(LogLineTest, TheThreadIdStandsBehindTheType) {
    Open();
    log.LogThreadId(true);
    const std::string id = std::to_string(syscall(SYS_gettid));

    log.LogError("open failed");
    log.LogRaw("raw");

    EXPECT_EQ(Live(), "2026-03-01 14:05:09        ERROR (" + id + ") open failed\n raw\n");
}

TEST_F(LogLineTest, EachThreadWritesItsOwnId) {
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

TEST_F(LogLineTest, AForkedChildWritesItsOwnId) {
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

TEST_F(LogLineTest, TextsAreWrittenAsTheyAre) {
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

TEST_F(LogLineTest, GetLogEntryReturnsTheLineThatLogWrites) {
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

TEST_F(LogLineTest, LinesDoNotDependOnTheLocale) {
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

TEST_F(LogLineTest, TimeTextsAreLocalTime) {
    EXPECT_EQ(log.GetTimeString(test::marchAfternoon), "2026-03-01 14:05:09");
    EXPECT_EQ(log.GetTimeString(0), "1970-01-01 01:00:00");
    EXPECT_EQ(log.GetTimeString(-3601), "1969-12-31 23:59:59");
}

TEST_F(LogLineTest, TimeTextsFollowSummerTime) {
    constexpr long spring = 1774746000; // 2026-03-29 01:00:00 UTC
    constexpr long autumn = 1792890000; // 2026-10-25 01:00:00 UTC
    EXPECT_EQ(log.GetTimeString(spring - 1), "2026-03-29 01:59:59");
    EXPECT_EQ(log.GetTimeString(spring), "2026-03-29 03:00:00");
    EXPECT_EQ(log.GetTimeString(autumn - 1), "2026-10-25 02:59:59");
    EXPECT_EQ(log.GetTimeString(autumn), "2026-10-25 02:00:00");
}

TEST_F(LogLineTest, ATimeThatNoCalendarHoldsHasNoText) {
    if (sizeof(long) < 8) {
        GTEST_SKIP() << "every 32-bit time has a date";
    }
    EXPECT_EQ(log.GetTimeString(LONG_MAX), "");
    EXPECT_EQ(log.GetTimeString(LONG_MIN), "");
}

TEST_F(LogLineTest, EachSecondHasItsOwnTimeText) {
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

TEST_F(LogLineTest, LinesFollowSummerTimeFromOneSecondToTheNext) {
    Open();
    clock.Set(1774745999);
    log.LogMessage("winter");
    clock.Advance(1);
    log.LogMessage("summer");
    EXPECT_EQ(Live(), "2026-03-29 01:59:59      MESSAGE winter\n"
                      "2026-03-29 03:00:00      MESSAGE summer\n");
}

TEST_F(LogLineTest, AChangeOfTheTimeZoneShowsInTheNextSecond) {
    Open();
    log.LogMessage("Berlin");
    timeZone.Set("EST5");
    clock.Advance(1);
    log.LogMessage("New York");
    EXPECT_EQ(Live(), "2026-03-01 14:05:09      MESSAGE Berlin\n"
                      "2026-03-01 08:05:10      MESSAGE New York\n");
}

TEST_F(LogLineTest, TimesAfter2038AreWritten) {
    Open();
    if (sizeof(std::time_t) < 8) {
        FAIL() << "time_t must have 64 bits";
    }
    clock.Set(static_cast<std::time_t>(4102444800LL)); // 2100-01-01 00:00:00 UTC
    log.LogMessage("m");
    EXPECT_EQ(Live(), "2100-01-01 01:00:00      MESSAGE m\n");
}

TEST_F(LogLineTest, EntryTimeAndThreadIdAreTheSystems) {
    EXPECT_EQ(log.GetEntryTime(), test::marchAfternoon);
    EXPECT_EQ(log.GetThreadId(), syscall(SYS_gettid));
    std::thread([&] { EXPECT_EQ(log.GetThreadId(), syscall(SYS_gettid)); }).join();
}

} // namespace
