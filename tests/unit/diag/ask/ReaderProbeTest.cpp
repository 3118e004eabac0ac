#include "diag/ask/ReaderProbe.h"

#include "diag/record/PcscNames.h"
#include "tests/unit/readers/ReaderTest.h"

#include <algorithm>

#include <reader.h>
#include <winscard.h>

using namespace Diag;
using FakePcsc::Answer;
using FakePcsc::Function;
using testing::AllOf;
using testing::AnyOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

namespace {

/// Keeps what the probe tells.
class Ear : public ProbeListener {
public:
    void OnCall(const char* call) override { calls.emplace_back(call); }
    void OnContext(long code) override { contextCode = code; }
    void OnReaders(long code, const std::vector<Reader>& listed) override {
        listCode = code;
        readers = listed;
    }
    void OnTurn(std::size_t number) override { turns.push_back(number); }
    void OnReader(std::size_t number, const Reader& reader, bool isOver) override {
        EXPECT_EQ(turns.back(), number);
        if (number >= readers.size()) {
            readers.resize(number + 1);
        }
        readers[number] = reader;
        turnsOver += isOver ? 1 : 0;
    }

    std::vector<std::string> calls;
    long contextCode = -1;
    long listCode = -1;
    std::vector<Reader> readers;
    std::vector<std::size_t> turns;
    int turnsOver = 0;
};

/// Everybody's turn from `first` on, or every second one's, and so on.
TakeTurn From(std::size_t first, std::size_t step = 1) {
    return [next = first, step]() mutable {
        const std::size_t turn = next;
        next += step;
        return turn;
    };
}

class ReaderProbeTest : public ReaderTest {
protected:
    ~ReaderProbeTest() override {
        EXPECT_EQ(FakePcsc::OpenContexts(), 0U) << "every context is given back";
        EXPECT_EQ(FakePcsc::OpenCards(), 0U) << "every card is given back";
    }

    Ear Probe() {
        Ear ear;
        ProbeReaders(ear, {}, From(0), true);
        return ear;
    }
};

FakePcsc::Reader FullReader(const std::string& name) {
    FakePcsc::Reader reader{name};
    reader.atr = "\x3B\x80\x01\x81";
    reader.attributes = {{SCARD_ATTR_VENDOR_NAME, std::string("Vantor\0", 7)},
                         {SCARD_ATTR_VENDOR_IFD_SERIAL_NO, "4711"},
                         {SCARD_ATTR_CHANNEL_ID, std::string("\x05\x01\x20\x00", 4)}};
    reader.controls = {{CM_IOCTL_GET_FEATURE_REQUEST, FakePcsc::FeatureList({{6, 0x42330006}, {7, 0x42330007}})}};
    return reader;
}

} // namespace

TEST_F(ReaderProbeTest, AReaderWithACardTellsEverything) {
    FakePcsc::AddReader(FullReader("A"));
    const Ear ear = Probe();
    EXPECT_EQ(ear.contextCode, SCARD_S_SUCCESS);
    EXPECT_EQ(ear.listCode, SCARD_S_SUCCESS);
    ASSERT_THAT(ear.readers, SizeIs(1));
    const Reader& reader = ear.readers.front();
    EXPECT_EQ(reader.name, "A");
    EXPECT_TRUE(reader.asked && reader.connected && reader.featuresAsked && reader.isSecure);
    EXPECT_FALSE(reader.direct);
    EXPECT_EQ(reader.atr, "\x3B\x80\x01\x81");
    EXPECT_EQ(reader.protocol, static_cast<unsigned long>(SCARD_PROTOCOL_T1));
    ASSERT_THAT(reader.attributes, SizeIs(AttributeCount));
    EXPECT_EQ(reader.attributes[0].bytes, std::string("Vantor\0", 7)) << "a counted zero stays";
    EXPECT_EQ(reader.attributes[1].code, SCARD_E_UNSUPPORTED_FEATURE);
    EXPECT_EQ(reader.attributes[3].bytes, "4711");
    EXPECT_EQ(reader.channel, std::string("\x05\x01\x20\x00", 4));
    EXPECT_THAT(ParseFeatures(reader.features), SizeIs(2));
    EXPECT_EQ(reader.hangingCall, "");
}

TEST_F(ReaderProbeTest, ACardThatGetsItsPowerOnlyNowTellsItsAtr) {
    FakePcsc::Reader reader = FullReader("A");
    reader.atr.clear();
    FakePcsc::AddReader(reader);
    FakePcsc::Script(Function::Status, Answer::Bytes("\x3B\x01"));
    EXPECT_EQ(Probe().readers.at(0).atr, "\x3B\x01");
}

TEST_F(ReaderProbeTest, ItIsAGuestOfEveryCard) {
    FakePcsc::AddReader(FullReader("A"));
    FakePcsc::Reader empty = FullReader("B");
    empty.cardPresent = false;
    FakePcsc::AddReader(empty);
    Probe();
    // Shared with the card, direct without one; 0 is SCARD_LEAVE_CARD.
    EXPECT_THAT(FakePcsc::Calls(), AllOf(Contains("SCardConnect(context=101, \"A\", share=2, protocols=3)"),
                                         Contains("SCardConnect(context=101, \"B\", share=3, protocols=0)"),
                                         Contains("SCardDisconnect(card=201, disposition=0)"),
                                         Contains("SCardDisconnect(card=202, disposition=0)")));
    EXPECT_THAT(FakePcsc::Calls(),
                Each(Not(AnyOf(StartsWith("SCardReconnect"), StartsWith("SCardTransmit"),
                               StartsWith("SCardBeginTransaction"), HasSubstr("share=1,"), HasSubstr("disposition=1"),
                               HasSubstr("disposition=2"), HasSubstr("disposition=3")))));
}

TEST_F(ReaderProbeTest, TheOnlyControlCodeIsTheFeatureQuery) {
    FakePcsc::AddReader(FullReader("A"));
    Probe();
    for (const std::string& call : FakePcsc::Calls()) {
        if (call.rfind("SCardControl", 0) == 0) {
            EXPECT_THAT(call, AllOf(HasSubstr("0x42000d48"), HasSubstr("input=null length=0")));
        }
    }
}

TEST_F(ReaderProbeTest, NothingIsAskedTwice) {
    FakePcsc::AddReader(FullReader("A"));
    Probe();
    auto calls = FakePcsc::Calls();
    EXPECT_EQ(std::count_if(calls.begin(), calls.end(),
                            [](const std::string& call) { return call.rfind("SCardEstablishContext", 0) == 0; }),
              1)
        << "the list comes through the context that is there";
    // The length and then the list are two answers.
    std::sort(calls.begin(), calls.end());
    EXPECT_EQ(std::adjacent_find(calls.begin(), calls.end()), calls.end()) << testing::PrintToString(calls);
}

TEST_F(ReaderProbeTest, StatesAreAskedBeforeAnyReaderIsTouched) {
    FakePcsc::AddReader({"A"});
    FakePcsc::AddReader({"B"});
    Probe();
    const auto calls = FakePcsc::Calls();
    std::size_t lastState = 0;
    std::size_t firstConnect = calls.size();
    for (std::size_t i = 0; i < calls.size(); ++i) {
        if (calls[i].rfind("SCardGetStatusChange", 0) == 0) {
            lastState = i;
        } else if (calls[i].rfind("SCardConnect", 0) == 0 && firstConnect == calls.size()) {
            firstConnect = i;
        }
    }
    EXPECT_LT(lastState, firstConnect) << "or this program's own use would be reported";
}

TEST_F(ReaderProbeTest, AReaderWithoutACardStillTellsItsAttributes) {
    FakePcsc::Reader empty = FullReader("A");
    empty.cardPresent = false;
    FakePcsc::AddReader(empty);
    const Reader reader = Probe().readers.at(0);
    EXPECT_TRUE(reader.connected && reader.direct);
    EXPECT_EQ(reader.cardCode, SCARD_S_SUCCESS) << "no card was asked for";
    EXPECT_EQ(reader.atr, "");
    EXPECT_EQ(reader.protocol, 0UL);
    EXPECT_EQ(reader.attributes.at(3).bytes, "4711");
    EXPECT_TRUE(reader.isSecure) << "what the window cannot ask without a card";
}

TEST_F(ReaderProbeTest, ACardThatDoesNotAnswerLeavesTheReader) {
    FakePcsc::AddReader(FullReader("A"));
    FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_W_UNPOWERED_CARD));
    const Reader reader = Probe().readers.at(0);
    EXPECT_EQ(reader.cardCode, SCARD_W_UNPOWERED_CARD);
    EXPECT_TRUE(reader.connected && reader.direct);
    EXPECT_EQ(reader.attributes.at(3).bytes, "4711");
}

TEST_F(ReaderProbeTest, AReaderThatSomebodyHoldsIsAskedOnce) {
    FakePcsc::AddReader(FullReader("A"));
    FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_E_SHARING_VIOLATION));
    const Reader reader = Probe().readers.at(0);
    EXPECT_TRUE(reader.asked);
    EXPECT_FALSE(reader.connected);
    EXPECT_EQ(reader.cardCode, SCARD_E_SHARING_VIOLATION);
    EXPECT_EQ(reader.directCode, SCARD_S_SUCCESS);
    EXPECT_THAT(reader.attributes, IsEmpty());
}

TEST_F(ReaderProbeTest, AFailureNeverDropsTheReaderOrTheNext) {
    for (const char* const name : {"A", "B", "C"}) {
        FakePcsc::AddReader(FullReader(name));
    }
    FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_E_READER_UNAVAILABLE), 2);
    const Ear ear = Probe();
    ASSERT_THAT(ear.readers, SizeIs(3));
    EXPECT_EQ(ear.turnsOver, 3);
    EXPECT_EQ(ear.readers[0].directCode, SCARD_E_READER_UNAVAILABLE);
    EXPECT_TRUE(ear.readers[1].connected && ear.readers[2].connected);
}

TEST_F(ReaderProbeTest, FailingStatesAttributesAndFeaturesKeepTheirCodes) {
    FakePcsc::AddReader(FullReader("A"));
    FakePcsc::Script(Function::GetStatusChange, Answer::Failure(SCARD_E_UNKNOWN_READER), 2);
    FakePcsc::Script(Function::GetAttrib, Answer::Failure(SCARD_E_NOT_TRANSACTED));
    FakePcsc::Script(Function::Control, Answer::Failure(SCARD_F_COMM_ERROR));
    const Reader reader = Probe().readers.at(0);
    EXPECT_EQ(reader.statusCode, SCARD_E_UNKNOWN_READER);
    EXPECT_EQ(reader.attributes.at(0).code, SCARD_E_NOT_TRANSACTED);
    EXPECT_EQ(reader.featuresCode, SCARD_F_COMM_ERROR);
    EXPECT_EQ(reader.features, "");
    EXPECT_FALSE(reader.isSecure);
}

TEST_F(ReaderProbeTest, AReaderThatHasJustGoneDoesNotHideTheStatesOfTheOthers) {
    FakePcsc::AddReader(FullReader("A"));
    FakePcsc::AddReader(FullReader("B"));
    // given: the question for both fails, then that for the first
    FakePcsc::Script(Function::GetStatusChange, Answer::Failure(SCARD_E_UNKNOWN_READER), 2);
    const Ear ear = Probe();
    EXPECT_EQ(ear.readers.at(0).statusCode, SCARD_E_UNKNOWN_READER);
    EXPECT_EQ(ear.readers.at(1).statusCode, SCARD_S_SUCCESS);
    EXPECT_NE(ear.readers.at(1).state & SCARD_STATE_PRESENT, 0UL);
}

TEST_F(ReaderProbeTest, AnAttributeThatClaimsTooMuchIsCutAtTheBuffer) {
    FakePcsc::AddReader(FullReader("A"));
    Answer lie = Answer::Bytes("Vantor");
    lie.length = 100000;
    FakePcsc::Script(Function::GetAttrib, lie);
    EXPECT_EQ(Probe().readers.at(0).attributes.at(0).bytes.size(), 264U);
}

TEST_F(ReaderProbeTest, WhatIsKnownIsToldBeforeTheFeaturesAreAsked) {
    class Recorder : public Ear {
    public:
        void OnReader(std::size_t number, const Reader& reader, bool isOver) override {
            Ear::OnReader(number, reader, isOver);
            calls.push_back(isOver ? "over" : "told " + std::to_string(reader.attributes.size()));
        }
    } recorder;
    FakePcsc::AddReader(FullReader("A"));
    ProbeReaders(recorder, {}, From(0), true);
    const std::vector<std::string> end(recorder.calls.end() - 4, recorder.calls.end());
    EXPECT_THAT(end, ElementsAre("told 6", "SCardControl", "SCardDisconnect", "over"));
}

TEST_F(ReaderProbeTest, AFeatureListThatClaimsTooMuchIsCutAtTheBuffer) {
    FakePcsc::AddReader({"A"});
    Answer lie = Answer::Bytes("\x06\x04");
    lie.length = 100000;
    FakePcsc::Script(Function::Control, lie);
    EXPECT_EQ(Probe().readers.at(0).features.size(), 5012U);
}

TEST_F(ReaderProbeTest, NoReadersIsACode) {
    const Ear ear = Probe();
    EXPECT_EQ(ear.contextCode, SCARD_S_SUCCESS);
    EXPECT_EQ(ear.listCode, SCARD_E_NO_READERS_AVAILABLE);
    EXPECT_THAT(ear.readers, IsEmpty());
}

TEST_F(ReaderProbeTest, AListThatCannotBeReadIsTheCodeOfTheCallThatFailed) {
    FakePcsc::AddReader(FullReader("A"));
    FakePcsc::Script(Function::ListReaders, Answer::Bytes(std::string("A\0\0", 3)));
    FakePcsc::Script(Function::ListReaders, Answer::Failure(SCARD_F_COMM_ERROR));
    const Ear ear = Probe();
    EXPECT_EQ(ear.listCode, SCARD_F_COMM_ERROR);
    EXPECT_THAT(ear.readers, IsEmpty());
}

TEST_F(ReaderProbeTest, NoServiceIsACodeAndTheEnd) {
    FakePcsc::Script(Function::EstablishContext, Answer::Failure(SCARD_E_NO_SERVICE));
    const Ear ear = Probe();
    EXPECT_EQ(ear.contextCode, SCARD_E_NO_SERVICE);
    EXPECT_THAT(ear.calls, ElementsAre("SCardEstablishContext"));
}

TEST_F(ReaderProbeTest, ALaterProbeGoesOnWhereTheFirstStopped) {
    FakePcsc::AddReader(FullReader("A"));
    FakePcsc::AddReader(FullReader("B"));
    std::vector<Reader> known(2);
    known[0].name = "A";
    known[1].name = "B";
    Ear ear;
    ProbeReaders(ear, known, From(1), true);
    EXPECT_FALSE(ear.readers.at(0).asked);
    EXPECT_TRUE(ear.readers.at(1).asked);
    EXPECT_THAT(FakePcsc::Calls(), Each(Not(AnyOf(StartsWith("SCardListReaders"), HasSubstr("\"A\"")))));
}

TEST_F(ReaderProbeTest, OnlyThoseAreAskedWhoseTurnItIs) {
    for (const char* const name : {"A", "B", "C", "D", "E"}) {
        FakePcsc::AddReader(FullReader(name));
    }
    Ear ear;
    ProbeReaders(ear, {}, From(1, 2), true);
    EXPECT_THAT(ear.readers, SizeIs(5)) << "all are listed";
    EXPECT_THAT(ear.turns, ElementsAre(1U, 3U));
    for (std::size_t i = 0; i < ear.readers.size(); ++i) {
        EXPECT_EQ(ear.readers[i].asked, i == 1 || i == 3) << i;
    }
}

TEST_F(ReaderProbeTest, EachCallIsAnnouncedBeforeItIsMade) {
    FakePcsc::AddReader(FullReader("A"));
    const Ear ear = Probe();
    EXPECT_THAT(ear.calls,
                ElementsAre("SCardEstablishContext", "SCardListReaders", "SCardGetStatusChange", "SCardConnect",
                            "SCardGetAttrib", "SCardGetAttrib", "SCardGetAttrib", "SCardGetAttrib", "SCardGetAttrib",
                            "SCardGetAttrib", "SCardGetAttrib", "SCardControl", "SCardDisconnect"));
}

TEST_F(ReaderProbeTest, ChannelsAreAskedForOnlyWhereTheyMatter) {
    FakePcsc::AddReader(FullReader("A"));
    Ear ear;
    ProbeReaders(ear, {}, From(0), false);
    EXPECT_EQ(ear.readers.at(0).channel, "");
    EXPECT_THAT(FakePcsc::Calls(), Each(Not(HasSubstr("0x00020110"))));
}

TEST_F(ReaderProbeTest, FailuresAreLoggedLikeTheReaderCodesOwn) {
    FakePcsc::AddReader(FullReader("A"));
    FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_E_SHARING_VIOLATION));
    Probe();
    EXPECT_THAT(FakePcsc::Notes(), AllOf(Contains("message: lumodiag asks reader A"),
                                         Contains(ErrorLine("error in SCardConnect", SCARD_E_SHARING_VIOLATION))));
}
