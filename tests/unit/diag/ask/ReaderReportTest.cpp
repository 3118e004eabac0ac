#include "diag/ask/ReaderReport.h"

#include "tests/fakes/FakePcsc.h"
#include "tests/support/FewDescriptors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <reader.h>
#include <unistd.h>
#include <winscard.h>

#include <chrono>

using namespace Diag;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
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

TEST_F(ReaderReportTest, WhetherANameIsAPinPadsIsToldWithTheName) {
    FakePcsc::AddReader({"REINER SCT cyberJack 00 00"});
    FakePcsc::AddReader({"A"});
    const PcscFacts facts = ReaderQuestion(TimeLimits(), nullptr, true).Answer();
    ASSERT_THAT(facts.readers, SizeIs(2));
    EXPECT_TRUE(facts.readers[0].isSecureByName);
    EXPECT_FALSE(facts.readers[1].isSecureByName);
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

TEST_F(ReaderReportTest, TheListIsAwaitedAloneAndEverythingAfterIt) {
    FakePcsc::AddReader({"A"});
    ReaderQuestion question(TimeLimits(), nullptr, true);
    question.AwaitReaders();
    question.AwaitReaders();
    EXPECT_THAT(question.Answer().readers, SizeIs(1)) << "and nothing that came meanwhile is lost";
}

TEST_F(ReaderReportTest, AServiceThatGivesNoContextIsNotAwaitedLonger) {
    FakePcsc::Script(Function::EstablishContext, Answer::Failure(SCARD_E_NO_SERVICE));
    ReaderQuestion question(TimeLimits(), nullptr, true);
    question.AwaitReaders();
    EXPECT_EQ(question.Answer().contextCode, SCARD_E_NO_SERVICE);
}

TEST_F(ReaderReportTest, EachOfManyReadersIsAskedAndKeepsItsPlace) {
    for (const int count : {1, 5, 6, 16, 40}) {
        FakePcsc::Reset();
        for (int i = 0; i < count; ++i) {
            const std::string name = std::to_string(i);
            FakePcsc::AddReader({name, true, "\x3B\x80", {{SCARD_ATTR_VENDOR_NAME, "vendor of " + name}}});
        }
        const PcscFacts facts = ReaderQuestion(TimeLimits(), nullptr, true).Answer();
        ASSERT_EQ(facts.readers.size(), static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i) {
            const Reader& reader = facts.readers[static_cast<std::size_t>(i)];
            EXPECT_EQ(reader.name, std::to_string(i));
            EXPECT_TRUE(reader.asked && reader.connected && reader.featuresAsked) << i << " of " << count;
            EXPECT_EQ(reader.attributes.at(0).bytes, "vendor of " + std::to_string(i));
        }
    }
}

TEST_F(ReaderReportTest, ALogHasTheReadersInTheirOrderHoweverManyThereAre) {
    for (int i = 0; i < 16; ++i) {
        FakePcsc::AddReader({std::to_string(i)});
    }
    std::string order;
    const std::string mark = "lumodiag asks reader ";
    ReaderQuestion question(
        TimeLimits(),
        [&](bool, const std::string& text) { order += text.rfind(mark, 0) == 0 ? text.substr(mark.size()) + " " : ""; },
        true);
    static_cast<void>(question.Answer());
    EXPECT_EQ(order, "0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 ");
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
    ReaderQuestion question(TimeLimits(), nullptr, true);
    usleep(100000); // nobody takes anything out meanwhile
    const PcscFacts facts = question.Answer();
    ASSERT_THAT(facts.readers, SizeIs(64));
    for (const Reader& reader : facts.readers) {
        EXPECT_EQ(reader.features.size(), 5000U) << reader.name;
        EXPECT_EQ(reader.attributes.at(5).bytes.size(), 264U) << reader.name;
        EXPECT_EQ(reader.hangingCall, "") << reader.name;
    }
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

TEST_F(ReaderReportTest, ReadersThatDoNotAnswerAreWaitedForAllAtOnce) {
    for (int i = 0; i < 16; ++i) {
        FakePcsc::AddReader({std::to_string(i)});
        FakePcsc::Readers().back().hangs = i != 15;
    }
    TimeLimits limits;
    limits.reader = 3000ms;
    for (const LogLine& log : {LogLine(), LogLine([](bool, const std::string&) {})}) {
        const auto began = Clock::now();
        const PcscFacts facts = ReaderQuestion(limits, log, true).Answer();
        EXPECT_LT(Clock::now() - began, 9s) << "three limits, where one after another takes at least five";
        EXPECT_EQ(facts.hangingCall, "") << "it was not the service";
        ASSERT_THAT(facts.readers, SizeIs(16));
        for (const Reader& reader : facts.readers) {
            EXPECT_TRUE(reader.asked) << reader.name;
            EXPECT_EQ(reader.hangingCall, reader.name == "15" ? "" : "SCardConnect") << reader.name;
        }
    }
}

TEST_F(ReaderReportTest, AllTogetherTheyGetNoMoreThanOneLimit) {
    FakePcsc::AddReader({"A"});
    FakePcsc::Readers().back().hangs = true;
    TimeLimits limits;
    limits.reader = 60000ms;
    limits.all = 2000ms;
    const auto began = Clock::now();
    const PcscFacts facts = ReaderQuestion(limits, nullptr, true).Answer();
    EXPECT_LT(Clock::now() - began, 20s);
    EXPECT_EQ(facts.readers.at(0).hangingCall, "SCardConnect");
}

TEST_F(ReaderReportTest, WhoWaitsLongIsToldOnce) {
    FakePcsc::AddReader({"A"});
    int told = 0;
    const auto tell = [&] { ++told; };
    static_cast<void>(ReaderQuestion(TimeLimits(), nullptr, true).Answer(tell));
    EXPECT_EQ(told, 0) << "nothing to wait for";
    FakePcsc::Readers().back().hangs = true;
    TimeLimits limits;
    limits.notice = 100ms;
    limits.reader = 1000ms;
    static_cast<void>(ReaderQuestion(limits, nullptr, true).Answer(tell));
    EXPECT_EQ(told, 1);
}

TEST_F(ReaderReportTest, WhereTheSystemGivesNoProcessTheReasonIsTheAnswer) {
    FakePcsc::AddReader({"A"});
    const test::FewDescriptors tooFew(3);
    ReaderQuestion question(TimeLimits(), nullptr, true);
    question.AwaitReaders();
    const PcscFacts facts = question.Answer();
    EXPECT_EQ(facts.obstacle.call, "pipe");
    EXPECT_EQ(facts.obstacle.number, EMFILE);
    EXPECT_FALSE(facts.answered);
}

TEST_F(ReaderReportTest, WhereTheSystemGivesOneProcessThatDoesAllOfIt) {
    for (int i = 0; i < 16; ++i) {
        FakePcsc::AddReader({std::to_string(i)});
    }
    ReaderQuestion question(TimeLimits(), nullptr, true);
    const test::FewDescriptors tooFew(3);
    const PcscFacts facts = question.Answer();
    EXPECT_EQ(facts.obstacle.number, 0);
    ASSERT_THAT(facts.readers, SizeIs(16));
    for (const Reader& reader : facts.readers) {
        EXPECT_TRUE(reader.asked) << reader.name;
    }
}
