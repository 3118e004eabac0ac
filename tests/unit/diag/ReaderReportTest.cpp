#include "diag/ReaderReport.h"

#include "tests/fakes/FakePcsc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <reader.h>
#include <winscard.h>

using namespace Diag;
using FakePcsc::Answer;
using FakePcsc::Function;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// The child inherits the stand-in for the PC/SC library as it was prepared here. What a service that hangs does to all
// this is tested on a real one.

namespace {

class ReaderReportTest : public testing::Test {
protected:
    ReaderReportTest() { FakePcsc::Reset(); }
};

} // namespace

TEST_F(ReaderReportTest, EveryByteOfARecordArrives) {
    FakePcsc::Reader strange{std::string("Ger\xE4t \xFF 00 00")};
    strange.atr = std::string("\x00\x3B\xFF", 3);
    strange.attributes = {{0x00010100, std::string("\x80\x00\xC0\xFE\x0A", 5)}};
    FakePcsc::AddReader(strange);
    const PcscFacts facts = ReaderQuestion(TimeLimits(), nullptr, true).Answer();
    ASSERT_THAT(facts.readers, SizeIs(1));
    EXPECT_EQ(facts.readers[0].name, strange.name);
    EXPECT_EQ(facts.readers[0].atr, strange.atr);
    EXPECT_EQ(facts.readers[0].attributes.at(0).bytes, strange.attributes[0x00010100]);
    EXPECT_TRUE(facts.readers[0].asked);
}

TEST_F(ReaderReportTest, CodesArrive) {
    FakePcsc::Script(Function::EstablishContext, Answer::Failure(SCARD_E_NO_SERVICE));
    const PcscFacts facts = ReaderQuestion(TimeLimits(), nullptr, true).Answer();
    EXPECT_TRUE(facts.answered);
    EXPECT_EQ(facts.contextCode, SCARD_E_NO_SERVICE);
    EXPECT_EQ(facts.hangingCall, "");
    EXPECT_THAT(facts.readers, IsEmpty());
}

TEST_F(ReaderReportTest, NoReadersIsAnAnswer) {
    const PcscFacts facts = ReaderQuestion(TimeLimits(), nullptr, true).Answer();
    EXPECT_TRUE(facts.answered);
    EXPECT_EQ(facts.contextCode, SCARD_S_SUCCESS);
    EXPECT_EQ(facts.listCode, SCARD_E_NO_READERS_AVAILABLE);
}

TEST_F(ReaderReportTest, TheServiceIsAwaitedAloneAndEverythingAfterIt) {
    FakePcsc::AddReader({"A"});
    ReaderQuestion question(TimeLimits(), nullptr, true);
    question.AwaitService();
    question.AwaitService();
    EXPECT_THAT(question.Answer().readers, SizeIs(1)) << "and nothing that came meanwhile is lost";
}

TEST_F(ReaderReportTest, AServiceThatGivesNoContextIsNotAwaitedLonger) {
    FakePcsc::Script(Function::EstablishContext, Answer::Failure(SCARD_E_NO_SERVICE));
    ReaderQuestion question(TimeLimits(), nullptr, true);
    question.AwaitService();
    EXPECT_EQ(question.Answer().contextCode, SCARD_E_NO_SERVICE);
}

TEST_F(ReaderReportTest, MoreThanAPipeHoldsArrives) {
    FakePcsc::Reader talkative{"0"};
    for (const unsigned long tag :
         {0x00010100UL, 0x00010101UL, 0x00010103UL, 0x7FFF0001UL, 0x7FFF0003UL, 0x7FFF0004UL}) {
        talkative.attributes[tag] = std::string(264, 'x');
    }
    talkative.controls = {{CM_IOCTL_GET_FEATURE_REQUEST, std::string(5000, '\x06')}};
    for (int i = 0; i < 64; ++i) {
        talkative.name = std::to_string(i);
        FakePcsc::AddReader(talkative);
    }
    std::size_t lines = 0;
    ReaderQuestion question(
        TimeLimits(), [&](bool, const std::string&) { ++lines; }, true);
    const PcscFacts facts = question.Answer();
    ASSERT_THAT(facts.readers, SizeIs(64));
    for (const Reader& reader : facts.readers) {
        EXPECT_EQ(reader.features.size(), 5000U) << reader.name;
        EXPECT_EQ(reader.attributes.at(5).bytes.size(), 264U) << reader.name;
        EXPECT_EQ(reader.hangingCall, "") << reader.name;
    }
    EXPECT_GE(lines, 2U * 64);
}

TEST_F(ReaderReportTest, LogLinesArriveWithTheirKind) {
    FakePcsc::AddReader({"A"});
    FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_E_PROTO_MISMATCH));
    std::vector<std::string> lines;
    ReaderQuestion question(
        TimeLimits(),
        [&](bool isError, const std::string& text) { lines.push_back((isError ? "error " : "message ") + text); },
        true);
    static_cast<void>(question.Answer());
    EXPECT_THAT(lines, Contains("message lumodiag asks reader A"));
    EXPECT_THAT(lines, Contains("error error in SCardConnect  (0x8010000f, 8010000f)"));
}

TEST_F(ReaderReportTest, TheCallersOwnProcessMakesNoCalls) {
    FakePcsc::AddReader({"A"});
    static_cast<void>(ReaderQuestion(TimeLimits(), nullptr, true).Answer());
    EXPECT_THAT(FakePcsc::Calls(), IsEmpty()) << "a call that blocks would block the program";
}
