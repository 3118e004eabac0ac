// The logger's memory buffer.
#include "tests/unit/logging/LoggerTest.h"

using namespace Vantor;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class LogBufferTest : public test::LoggerTest {
protected:
    std::vector<std::string> Buffered() const {
        std::vector<std::string> texts;
        for (const LogEntry& entry : log.GetLogBuffer()) {
            texts.push_back(entry.text);
        }
        return texts;
    }
};

TEST_F(LogBufferTest, WithoutABufferEntriesGoToTheFileOnly) {
    Open();
    log.LogMessage("m");
    EXPECT_FALSE(log.IsLogToBuffer());
    EXPECT_EQ(log.GetLogBufferSize(), 0);
    EXPECT_THAT(Texts("trace.log"), ElementsAre("m"));
}

TEST_F(LogBufferTest, ModeOneKeepsEntriesFromTheFile) {
    Open();
    log.LogToBuffer(LOG_BUFFER_ONLY, 10);
    log.LogMessage("m");
    EXPECT_TRUE(log.IsLogToBuffer());
    EXPECT_THAT(Buffered(), ElementsAre("m"));
    EXPECT_EQ(Live(), "");
}

TEST_F(LogBufferTest, EveryOtherModeWritesToBoth) {
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

TEST_F(LogBufferTest, EntriesHoldTimeTypeAndText) {
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

TEST_F(LogBufferTest, ALimitOf200KeepsThe200NewestEntriesNewestFirst) {
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

TEST_F(LogBufferTest, TheLimitIs200AtFirst) {
    Open();
    for (int i = 0; i < 201; ++i) {
        log.LogToBuffer(DEBUGLEVEL_MESSAGE, "m");
    }
    EXPECT_EQ(log.GetLogBufferSize(), 200);
    EXPECT_EQ(Live(), "") << "an entry for the buffer alone";
}

TEST_F(LogBufferTest, ALowerLimitHoldsFromTheNextEntry) {
    Open();
    log.LogToBuffer(LOG_BUFFER_ONLY, 5);
    LogTexts({"1", "2", "3", "4", "5"});
    log.LogToBuffer(LOG_BUFFER_ONLY, 2);
    LogTexts({"6"});
    EXPECT_THAT(Buffered(), ElementsAre("6", "5"));
}

TEST_F(LogBufferTest, ALimitOfZeroOrLessKeepsNothing) {
    Open();
    for (const int limit : {0, -1, -2147483647 - 1}) {
        log.LogToBuffer(LOG_BUFFER_AND_FILE, limit);
        LogTexts({"m"});
        EXPECT_EQ(log.GetLogBufferSize(), 0);
    }
    EXPECT_THAT(Texts("trace.log"), ElementsAre("m", "m", "m"));
}

TEST_F(LogBufferTest, TheBufferIsHandedOutAsACopy) {
    Open();
    log.LogToBuffer(LOG_BUFFER_ONLY, 10);
    log.LogMessage("m");
    auto copy = log.GetLogBuffer();
    copy.clear();
    EXPECT_THAT(Buffered(), ElementsAre("m"));
}

TEST_F(LogBufferTest, ClearingEmptiesTheBufferOnly) {
    Open();
    log.LogToBuffer(LOG_BUFFER_AND_FILE, 10);
    log.LogMessage("m");
    log.ClearLogBuffer();
    EXPECT_THAT(Buffered(), IsEmpty());
    EXPECT_TRUE(log.IsLogToBuffer());
    EXPECT_THAT(Texts("trace.log"), ElementsAre("m"));
}

TEST_F(LogBufferTest, BufferedEntriesAreWrittenNewestFirstWithTheTimeOfNow) {
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

TEST_F(LogBufferTest, WritingTheBufferWhileItCollectsEndsAndAddsEachEntryOnce) {
    Open();
    log.LogToBuffer(LOG_BUFFER_AND_FILE, 3);
    LogTexts({"1", "2", "3"});
    log.LogBufferToFile();
    EXPECT_THAT(Texts("trace.log"), ElementsAre("1", "2", "3", "3", "2", "1"));
    EXPECT_THAT(Buffered(), ElementsAre("1", "2", "3"));
}

TEST_F(LogBufferTest, EntriesForTheBufferOnlyAreNotCounted) {
    Open(2);
    log.LogToBuffer(LOG_BUFFER_ONLY, 10);
    LogTexts({"1", "2", "3"});
    log.LogToBuffer(LOG_BUFFER_NONE, 10);
    LogTexts({"4", "5"});
    EXPECT_THAT(test::Names(folder.Path()), ElementsAre("trace.log"));
}

TEST_F(LogBufferTest, AFullFileIsSplitBeforeAnEntryForTheBufferOnly) {
    Open(2);
    LogTexts({"1", "2"});
    log.LogToBuffer(LOG_BUFFER_ONLY, 10);
    LogTexts({"3"});
    EXPECT_THAT(Texts("trace_0.log"), ElementsAre("1", "2"));
    EXPECT_EQ(Live(), "");
    EXPECT_THAT(Buffered(), ElementsAre("3"));
}

TEST_F(LogBufferTest, InitKeepsTheBuffer) {
    Open();
    log.LogToBuffer(LOG_BUFFER_ONLY, 10);
    log.LogMessage("m");
    Open();
    EXPECT_THAT(Buffered(), ElementsAre("m"));
    EXPECT_TRUE(log.IsLogToBuffer());
}

} // namespace
