#include "readers/Logging.h"

#include <winscard.h>

#include <utility>
#include <vector>

#include "tests/unit/readers/ReaderTest.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Vantor::LibReaderAndCard;
using Vantor::LibReaderImpl;

using LoggingTest = ReaderTest;

TEST_F(LoggingTest, WithoutCallbacksEveryCallReturnsWithoutEffect) {
    RemoveCallbacks();

    LibReaderImpl::LogError("a");
    LibReaderImpl::LogMessage("b");
    LibReaderImpl::LogError("c", 1);
    LibReaderImpl::LogErrorSCardError("d", 2);
    LibReaderImpl::LogMessageFormat("e", 3);
    LibReaderImpl::LogErrorCardReaderCmd("f", Bytes("\x64\x01"));
    LibReaderAndCard::LogError("g");
    LibReaderAndCard::LogMessage("h");
    LibReaderAndCard::LogError("i", 4);
    LibReaderAndCard::LogErrorSCardError("j", 5);

    EXPECT_THAT(FakePcsc::Trace(), IsEmpty());
}

TEST(LoggingAtStart, HasNoCallbacksAndIsEnabled) {
    EXPECT_EQ(LibReaderImpl::pt2LogError, nullptr);
    EXPECT_EQ(LibReaderImpl::pt2LogMessage, nullptr);
    EXPECT_TRUE(LibReaderImpl::bLoggingEnabled);
    EXPECT_EQ(LibReaderAndCard::pt2LogError, nullptr);
    EXPECT_EQ(LibReaderAndCard::pt2LogMessage, nullptr);
}

TEST_F(LoggingTest, EachSinkHandsTextsToItsOwnCallbacks) {
    LibReaderImpl::LogError("one");
    LibReaderImpl::LogMessage("two");
    LibReaderAndCard::LogError("three");
    LibReaderAndCard::LogMessage("four");

    EXPECT_THAT(FakePcsc::Trace(),
                ElementsAre("error: one", "message: two", "card error: three", "card message: four"));
}

TEST_F(LoggingTest, AnErrorCallbackAloneGetsErrorsAlone) {
    LibReaderImpl::SetMessageLoggingFunc(nullptr);
    LibReaderAndCard::SetMessageLoggingFunc(nullptr);

    LibReaderImpl::LogMessage("dropped");
    LibReaderImpl::LogMessageFormat("dropped", 1);
    LibReaderImpl::LogError("kept");
    LibReaderAndCard::LogMessage("dropped");
    LibReaderAndCard::LogError("kept");

    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("error: kept", "card error: kept"));
}

TEST_F(LoggingTest, AMessageCallbackAloneGetsMessagesAlone) {
    LibReaderImpl::SetErrorLoggingFunc(nullptr);
    LibReaderAndCard::SetErrorLoggingFunc(nullptr);

    LibReaderImpl::LogError("dropped");
    LibReaderImpl::LogError("dropped", 1);
    LibReaderImpl::LogErrorSCardError("dropped", 1);
    LibReaderImpl::LogErrorCardReaderCmd("dropped", Bytes("\x64\x01"));
    LibReaderImpl::LogMessage("kept");
    LibReaderAndCard::LogErrorSCardError("dropped", 1);
    LibReaderAndCard::LogMessage("kept");

    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: kept", "card message: kept"));
}

TEST_F(LoggingTest, DisablingSilencesTheFirstSinkAndLeavesTheSecondAlone) {
    LibReaderImpl::DisableLogging();

    LibReaderImpl::LogError("a");
    LibReaderImpl::LogMessage("b");
    LibReaderImpl::LogError("c", 1);
    LibReaderImpl::LogErrorSCardError("d", 2);
    LibReaderImpl::LogMessageFormat("e", 3);
    LibReaderImpl::LogErrorCardReaderCmd("f", Bytes("\x64\x01"));
    LibReaderAndCard::LogError("g");
    LibReaderAndCard::LogMessage("h");

    EXPECT_FALSE(LibReaderImpl::bLoggingEnabled);
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("card error: g", "card message: h"));
}

TEST_F(LoggingTest, EnablingBringsTheLinesBack) {
    LibReaderImpl::DisableLogging();
    LibReaderImpl::EnableLogging();

    LibReaderImpl::LogError("a");
    LibReaderImpl::LogMessage("b");

    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("error: a", "message: b"));
}

TEST_F(LoggingTest, AMessageMayHaveTwoParts) {
    LibReaderImpl::LogMessage("one ", "two");
    LibReaderAndCard::LogMessage("three ", "four");
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: one two", "card message: three four"));
}

TEST_F(LoggingTest, ACallbackThatThrowsCostsItsLineAlone) {
    const auto fail = [](const char* text) {
        FakePcsc::Note(text);
        throw 1;
    };
    LibReaderImpl::SetErrorLoggingFunc(fail);
    LibReaderImpl::SetMessageLoggingFunc(fail);
    LibReaderAndCard::SetErrorLoggingFunc(fail);
    LibReaderAndCard::SetMessageLoggingFunc(fail);

    LibReaderImpl::LogError("a");
    LibReaderImpl::LogMessage("b");
    LibReaderImpl::LogError("c", 1);
    LibReaderImpl::LogErrorSCardError("d", 2);
    LibReaderImpl::LogMessageFormat("e", 3);
    LibReaderImpl::LogErrorCardReaderCmd("f", Bytes("\x64\x01"));
    LibReaderAndCard::LogError("g");
    LibReaderAndCard::LogMessage("h");
    LibReaderAndCard::LogError("i", 4);
    LibReaderAndCard::LogErrorSCardError("j", 5);

    EXPECT_EQ(FakePcsc::Notes().size(), 10U);
}

TEST_F(LoggingTest, ACodeFollowsTheTextAfterTwoBlanks) {
    LibReaderImpl::LogErrorSCardError("x", 0);
    LibReaderImpl::LogErrorSCardError("cannot connect", SCARD_E_NO_SMARTCARD);
    LibReaderAndCard::LogErrorSCardError("y", SCARD_E_TIMEOUT);

    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("error: x  (0x0, 0)", "error: cannot connect  (0x8010000c, 8010000c)",
                                               "card error: y  (0x8010000a, 8010000a)"));
}

TEST_F(LoggingTest, AValueFollowsTheTextInDecimal) {
    LibReaderImpl::LogError("error", -2146435068);
    LibReaderImpl::LogMessageFormat("message", 1234567);
    LibReaderAndCard::LogError("card", 0);

    EXPECT_THAT(FakePcsc::Trace(),
                ElementsAre("error: error -2146435068", "message: message 1234567", "card error: card 0"));
}

TEST_F(LoggingTest, TextIsNeverAFormat) {
    LibReaderImpl::LogError("%s%n%d", 7);
    LibReaderImpl::LogMessage("%s%n");
    LibReaderAndCard::LogErrorSCardError("%x", 1);

    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("error: %s%n%d 7", "message: %s%n", "card error: %x  (0x1, 1)"));
}

// ---- status words of PIN-pad commands

TEST_F(LoggingTest, AStatusWordIsDescribedBehindTheText) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {std::string("\x90\x00", 2), ""},
        {"", ""},
        {"\x64", ""},
        {"\x6B\x80", "invalid parameter in passed structure"},
        {std::string("\x64\x00", 2), "SPE operation timed out"},
        {"\x64\x01", "SPE operation was cancelled by the 'Cancel' button"},
        {"\x64\x02", "Modify PIN operation failed because two 'new PIN' entries do not match"},
        {"\x64\x03", "User entered too short or too long PIN regarding MIN/MAX PIN Length"},
        {"\x63\xC2", "unknown \x63 \xC2"},
        {"\x90\x01", "unknown \x90 \x01"},
        {"\x64\x04", "unknown \x64 \x04"},
        {"\x6B\x81", "unknown \x6B \x81"},
        // a zero byte ends the line as the callback sees it
        {std::string("\x69\x00", 2), "unknown \x69 "},
        // only the last two bytes count
        {"\x90\x64\x01", "SPE operation was cancelled by the 'Cancel' button"},
        {std::string("\x64\x01\x90\x00", 4), ""}};
    for (const auto& [response, description] : cases) {
        FakePcsc::ClearTrace();
        LibReaderImpl::LogErrorCardReaderCmd("y", Bytes(response));
        EXPECT_THAT(FakePcsc::Trace(), ElementsAre("error: y " + description));
    }
}

TEST_F(LoggingTest, TheNameOfACodeIsWrittenBehindWhatIsInTheStream) {
    std::stringstream out;
    out << "before ";
    LibReaderImpl::SCardErrorToString(out, SCARD_E_SERVICE_STOPPED);
    EXPECT_EQ(out.str(), "before SCARD_E_SERVICE_STOPPED");
}
