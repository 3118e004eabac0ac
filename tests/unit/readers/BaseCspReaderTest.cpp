#include "readers/BaseCspReader.h"

#include <winscard.h>

#include <algorithm>

#include "tests/unit/readers/OpenReaders.h"
#include "tests/unit/readers/ReaderTest.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using namespace Vantor;
using FakePcsc::Answer;
using FakePcsc::Function;

namespace {

const char* const featureRequest = "SCardControl(card=201, 0x42000d48, input=null length=0, buffer=5012)";
const char* const statusQuery = "SCardStatus(card=201, name=null length=0, atr=buffer length=32)";

Answer Lie(std::string bytes, unsigned long length, long code = SCARD_S_SUCCESS) {
    Answer answer = Answer::Bytes(std::move(bytes));
    answer.length = length;
    answer.code = code;
    return answer;
}

} // namespace

class BaseCspReaderTest : public ReaderTest {
protected:
    OpenBaseReader reader{101, 201};
};

// ---- binding

TEST_F(BaseCspReaderTest, KeepsItsHandlesAndKnowsNoFeature) {
    EXPECT_EQ(reader.hContext, 101);
    EXPECT_EQ(reader.hCard, 201);
    EXPECT_EQ(reader.verifyPinDirect, 0U);
    EXPECT_EQ(reader.verifyPinStart, 0U);
    EXPECT_EQ(reader.verifyPinFinish, 0U);
    EXPECT_EQ(reader.modifyPinDirect, 0U);
    EXPECT_EQ(reader.modifyPinStart, 0U);
    EXPECT_EQ(reader.modifyPinFinish, 0U);
    EXPECT_EQ(reader.getKeyPressed, 0U);
}

TEST_F(BaseCspReaderTest, KeepsItsFieldsInTheirOrder) {
    const std::vector<const void*> fields = {&reader.secure,         &reader.useGui,          &reader.useBeep,
                                             &reader.hContext,       &reader.hCard,           &reader.verifyPinDirect,
                                             &reader.verifyPinStart, &reader.verifyPinFinish, &reader.modifyPinDirect,
                                             &reader.modifyPinStart, &reader.modifyPinFinish, &reader.getKeyPressed};
    EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end()));
}

TEST_F(BaseCspReaderTest, HasConnectionOperationsThatDoNothingAndSucceed) {
    EXPECT_TRUE(reader.ConnectReader());
    EXPECT_TRUE(reader.ConnectCard(false));
    EXPECT_TRUE(reader.ConnectCard(true));
    EXPECT_TRUE(reader.ConnectCard());
    EXPECT_TRUE(reader.BeginTransaction());
    EXPECT_TRUE(reader.EndTransaction());
    EXPECT_TRUE(reader.Reconnect(true, true));
    EXPECT_TRUE(reader.Disconnect());
    EXPECT_EQ(reader.hContext, 101);
    EXPECT_EQ(reader.hCard, 201);
    EXPECT_THAT(FakePcsc::Trace(), IsEmpty());
}

TEST_F(BaseCspReaderTest, StoresTheThreeFlags) {
    reader.SetConfig(false, true, false);
    EXPECT_FALSE(reader.secure);
    EXPECT_TRUE(reader.UseGui());
    EXPECT_FALSE(reader.UseBeep());
    reader.SetConfig(true, false, true);
    EXPECT_TRUE(reader.secure);
    EXPECT_FALSE(reader.UseGui());
    EXPECT_TRUE(reader.UseBeep());
}

TEST_F(BaseCspReaderTest, IsOkWithBothHandlesOnly) {
    EXPECT_TRUE(OpenBaseReader(1, 1).IsOk());
    EXPECT_FALSE(OpenBaseReader(0, 1).IsOk());
    EXPECT_FALSE(OpenBaseReader(1, 0).IsOk());
    EXPECT_FALSE(OpenBaseReader(0, 0).IsOk());
    EXPECT_TRUE(OpenBaseReader(-1, -2).IsOk()) << "handles may be negative";
}

// ---- capabilities

class CapabilitiesTest : public BaseCspReaderTest {
protected:
    bool canVerify = true;
    bool canModify = true;

    void CheckWith(const std::string& features) {
        FakePcsc::Script(Function::Control, Answer::Bytes(features));
        reader.CheckReaderCapabilities(canVerify, canModify);
    }
};

TEST_F(CapabilitiesTest, NeedACard) {
    reader.hCard = 0;
    reader.verifyPinDirect = 1;
    reader.getKeyPressed = 2;

    reader.CheckReaderCapabilities(canVerify, canModify);

    EXPECT_FALSE(canVerify);
    EXPECT_FALSE(canModify);
    EXPECT_EQ(reader.verifyPinDirect, 0U);
    EXPECT_EQ(reader.getKeyPressed, 0U);
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: CheckReaderCapabilities start",
                                               "error: CheckReaderCapabilities, error hCard is NULL"));
    EXPECT_EQ(reader.FeatureCode(), SCARD_E_INVALID_HANDLE) << "nobody was asked";
}

TEST_F(CapabilitiesTest, AreReadFromTheFeatureListByTag) {
    CheckWith(FakePcsc::FeatureList({{1, 0x42330001},
                                     {2, 0x42330002},
                                     {3, 0x42330003},
                                     {4, 0x42330004},
                                     {5, 0x42330005},
                                     {6, 0x42330006},
                                     {7, 0x89ABCDEF}}));

    EXPECT_TRUE(canVerify);
    EXPECT_TRUE(canModify);
    EXPECT_EQ(reader.verifyPinStart, 0x42330001U);
    EXPECT_EQ(reader.verifyPinFinish, 0x42330002U);
    EXPECT_EQ(reader.modifyPinStart, 0x42330003U);
    EXPECT_EQ(reader.modifyPinFinish, 0x42330004U);
    EXPECT_EQ(reader.getKeyPressed, 0x42330005U);
    EXPECT_EQ(reader.verifyPinDirect, 0x42330006U);
    EXPECT_EQ(reader.modifyPinDirect, 0x89ABCDEFU);
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: CheckReaderCapabilities start", featureRequest));
}

TEST_F(CapabilitiesTest, LeaveTheDriversAnswerToBeLookedAt) {
    EXPECT_EQ(reader.FeatureCode(), SCARD_E_INVALID_HANDLE) << "nothing was asked yet";
    const std::string list = FakePcsc::FeatureList({{6, 0x42330006}}) + "rest";
    CheckWith(list);
    EXPECT_EQ(reader.FeatureAnswer().ToString(), list);
    EXPECT_EQ(reader.FeatureCode(), SCARD_S_SUCCESS);

    FakePcsc::Script(Function::Control, Answer::Failure(SCARD_E_NOT_TRANSACTED));
    reader.CheckReaderCapabilities(canVerify, canModify);
    EXPECT_THAT(reader.FeatureAnswer(), testing::IsEmpty()) << "nothing of the earlier answer stays";
    EXPECT_EQ(reader.FeatureCode(), SCARD_E_NOT_TRANSACTED);
}

TEST_F(CapabilitiesTest, ComeFromDirectOrStartFeatures) {
    struct Case {
        unsigned char tag;
        bool verifies;
        bool modifies;
    };
    for (const auto& [tag, verifies, modifies] :
         {Case{1, true, false}, Case{2, false, false}, Case{3, false, true}, Case{4, false, false},
          Case{5, false, false}, Case{6, true, false}, Case{7, false, true}}) {
        CheckWith(FakePcsc::FeatureList({{tag, 0x1234}}));
        EXPECT_EQ(canVerify, verifies) << "tag " << int{tag};
        EXPECT_EQ(canModify, modifies) << "tag " << int{tag};
    }
}

TEST_F(CapabilitiesTest, OfAReaderWithStartAndFinishAreEnoughToVerifyButNotToBeSecure) {
    FakePcsc::Script(Function::Control, Answer::Bytes(FakePcsc::FeatureList({{1, 0x10}, {2, 0x11}})));
    EXPECT_FALSE(reader.IsSecure());
    EXPECT_EQ(reader.verifyPinStart, 0x10U);

    FakePcsc::Script(Function::Control, Answer::Bytes(FakePcsc::FeatureList({{1, 0x10}, {3, 0x12}})));
    EXPECT_TRUE(reader.IsSecure());
}

TEST_F(CapabilitiesTest, SkipUnknownTags) {
    CheckWith(FakePcsc::FeatureList({{0, 1}, {8, 2}, {0x12, 3}, {0xFF, 4}}));
    EXPECT_FALSE(canVerify);
    EXPECT_FALSE(canModify);
    EXPECT_EQ(reader.getKeyPressed, 0U);
}

TEST_F(CapabilitiesTest, AreForgottenBeforeEachQuery) {
    CheckWith(FakePcsc::FeatureList({{1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}, {6, 6}, {7, 7}}));
    CheckWith("");
    EXPECT_FALSE(canVerify);
    EXPECT_FALSE(canModify);
    for (const auto code :
         {reader.verifyPinDirect, reader.verifyPinStart, reader.verifyPinFinish, reader.modifyPinDirect,
          reader.modifyPinStart, reader.modifyPinFinish, reader.getKeyPressed}) {
        EXPECT_EQ(code, 0U);
    }
}

TEST_F(CapabilitiesTest, AreNoneWhenTheDriverRefuses) {
    const std::string list = FakePcsc::FeatureList({{6, 1}, {7, 2}});
    for (const long code : {SCARD_E_NOT_TRANSACTED, SCARD_W_RESET_CARD}) {
        FakePcsc::ClearTrace();
        FakePcsc::Script(Function::Control, Lie(list, list.size(), code));

        reader.CheckReaderCapabilities(canVerify, canModify);

        EXPECT_FALSE(canVerify);
        EXPECT_FALSE(canModify);
        EXPECT_EQ(reader.verifyPinDirect, 0U);
        EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: CheckReaderCapabilities start", featureRequest,
                                                   ErrorLine("CheckReaderCapabilities, SCardControl retruns", code)));
    }
}

TEST_F(CapabilitiesTest, SurviveListsThatAreNoMultipleOfSixBytes) {
    const std::string list = FakePcsc::FeatureList({{6, 0x11}, {7, 0x22}});
    for (std::size_t length = 0; length <= list.size(); ++length) {
        CheckWith(list.substr(0, length));
        EXPECT_EQ(canVerify, length >= 6) << length << " bytes";
        EXPECT_EQ(canModify, length >= 12) << length << " bytes";
    }
}

TEST_F(CapabilitiesTest, SurviveALengthAboveTheBuffer) {
    const std::string list = FakePcsc::FeatureList({{6, 0x11}});
    for (const unsigned long length : {5013UL, 6000UL, 0x7FFFFFFFUL, ~0UL}) {
        FakePcsc::Script(Function::Control, Lie(list, length));
        reader.CheckReaderCapabilities(canVerify, canModify);
        EXPECT_TRUE(canVerify);
        EXPECT_FALSE(canModify);
    }
}

TEST_F(CapabilitiesTest, SurviveAListThatFillsTheBuffer) {
    std::string list;
    while (list.size() < 6000) {
        list += FakePcsc::FeatureList({{6, 0x11}});
    }
    FakePcsc::Script(Function::Control, Answer::Bytes(list));
    reader.CheckReaderCapabilities(canVerify, canModify);
    EXPECT_TRUE(canVerify);
    EXPECT_FALSE(canModify);
}

// ---- card and status

TEST_F(BaseCspReaderTest, FindsATokenAndLogsEachStateBit) {
    Answer answer;
    answer.state = 0x7E;
    FakePcsc::Script(Function::Status, answer);

    EXPECT_TRUE(reader.IsTokenPresent());

    EXPECT_THAT(FakePcsc::Trace(),
                ElementsAre("message: PCSC IsTokenPresent", statusQuery, "message: SCARD_PRESENT",
                            "message: SCARD_ABSENT", "message: SCARD_SWALLOWED", "message: SCARD_POWERED",
                            "message: SCARD_NEGOTIABLE", "message: SCARD_SPECIFIC"));
}

TEST_F(BaseCspReaderTest, FindsATokenByThePresentBitAlone) {
    struct Case {
        unsigned long state;
        bool present;
        std::vector<std::string> names;
    };
    for (const auto& [state, present, names] :
         {Case{0x04, true, {"message: SCARD_PRESENT"}}, Case{0x02, false, {"message: SCARD_ABSENT"}},
          Case{0x08, false, {"message: SCARD_SWALLOWED"}}, Case{0x10, false, {"message: SCARD_POWERED"}},
          Case{0x20, false, {"message: SCARD_NEGOTIABLE"}}, Case{0x40, false, {"message: SCARD_SPECIFIC"}},
          Case{0x01, false, {}}, Case{0xFFFF0080, false, {}},
          Case{0x00050034, true, {"message: SCARD_PRESENT", "message: SCARD_POWERED", "message: SCARD_NEGOTIABLE"}}}) {
        FakePcsc::ClearTrace();
        Answer answer;
        answer.state = state;
        FakePcsc::Script(Function::Status, answer);
        EXPECT_EQ(reader.IsTokenPresent(), present) << std::hex << state;
        std::vector<std::string> wanted = {"message: PCSC IsTokenPresent"};
        wanted.insert(wanted.end(), names.begin(), names.end());
        EXPECT_EQ(FakePcsc::Notes(), wanted) << std::hex << state;
    }
}

TEST_F(BaseCspReaderTest, FindsNoTokenWithoutHandles) {
    reader.hCard = 0;
    EXPECT_FALSE(reader.IsTokenPresent());
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: PCSC IsTokenPresent", "error: reader not ok"));
}

TEST_F(BaseCspReaderTest, FindsNoTokenWhenTheStatusFails) {
    for (const long code : {SCARD_W_REMOVED_CARD, SCARD_W_RESET_CARD, SCARD_E_INVALID_HANDLE}) {
        FakePcsc::ClearTrace();
        FakePcsc::Script(Function::Status, Answer::Failure(code));
        EXPECT_FALSE(reader.IsTokenPresent()) << "although the state says so";
        EXPECT_THAT(FakePcsc::Trace(),
                    ElementsAre("message: PCSC IsTokenPresent", statusQuery, ErrorLine("SCardStatus failed", code)));
    }
}

TEST_F(BaseCspReaderTest, ReadsTheAtr) {
    FakePcsc::Script(Function::Status, Answer::Bytes("\x3B\x80\x01\x81"));
    ByteArray atr = Bytes("earlier");
    EXPECT_TRUE(reader.GetAtr(atr));
    EXPECT_EQ(atr, Bytes("\x3B\x80\x01\x81"));
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre(statusQuery));
}

TEST_F(BaseCspReaderTest, LeavesTheAtrAloneWhenTheStatusFails) {
    FakePcsc::Script(Function::Status, Lie("\x3B\x80", 2, SCARD_E_INVALID_HANDLE));
    ByteArray atr = Bytes("earlier");
    EXPECT_FALSE(reader.GetAtr(atr));
    EXPECT_EQ(atr, Bytes("earlier"));
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre(statusQuery, ErrorLine("SCardStatus failed", SCARD_E_INVALID_HANDLE)));
}

TEST_F(BaseCspReaderTest, ReadsAnAtrOfAnyClaimedLength) {
    ByteArray atr;
    FakePcsc::Script(Function::Status, Lie(std::string(40, 'A'), 40));
    EXPECT_TRUE(reader.GetAtr(atr));
    EXPECT_EQ(atr, Bytes(std::string(32, 'A')));
    FakePcsc::Script(Function::Status, Lie("AB", ~0UL));
    EXPECT_TRUE(reader.GetAtr(atr));
    EXPECT_THAT(atr, SizeIs(32));
    FakePcsc::Script(Function::Status, Lie("AB", 0));
    EXPECT_TRUE(reader.GetAtr(atr));
    EXPECT_THAT(atr, IsEmpty());
}

TEST_F(BaseCspReaderTest, PassesTheReaderStatusOn) {
    FakePcsc::Script(Function::Status, Answer::Failure(SCARD_W_RESET_CARD));
    FakePcsc::Script(Function::Status, Answer());
    EXPECT_EQ(reader.GetReaderStatus(), SCARD_W_RESET_CARD);
    EXPECT_EQ(reader.GetReaderStatus(), SCARD_S_SUCCESS);
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre(statusQuery, statusQuery));
}

TEST_F(BaseCspReaderTest, WithoutHandlesCountsAsARemovedCard) {
    reader.hContext = 0;
    EXPECT_EQ(reader.GetReaderStatus(), SCARD_W_REMOVED_CARD);
    EXPECT_THAT(FakePcsc::Trace(), IsEmpty());
}

TEST_F(BaseCspReaderTest, TellsTheStatusByTheCardsPresence) {
    struct Case {
        std::string value;
        int result;
        const char* line;
    };
    const std::string word(sizeof(long) - 1, '\0');
    for (const auto& [value, result, line] :
         {Case{std::string(1, '\0'), 0, "message: Status: no card present"},
          Case{"\x01", 1, "message: Status: card present but not swallowed"},
          Case{"\x02", 1, "message: Status: card present and swallowed"},
          Case{"\x03", 3, "message: Status: unknown..."}, Case{"\x04", 2, "message: Status: card confiscated"},
          Case{"\x05", 3, "message: Status: unknown..."}, Case{"\xFF", 3, "message: Status: unknown..."},
          // drivers that answer with a whole word
          Case{std::string(1, '\x02') + word, 1, "message: Status: card present and swallowed"},
          Case{std::string("\x02\x01", 2) + word.substr(1), 3, "message: Status: unknown..."},
          // no value at all
          Case{"", 3, "message: Status: unknown..."}}) {
        FakePcsc::ClearTrace();
        FakePcsc::Script(Function::GetAttrib, Answer::Bytes(value));
        EXPECT_EQ(reader.GetStatus(), result);
        EXPECT_THAT(FakePcsc::Trace(), ElementsAre("SCardGetAttrib(card=201, 0x00090300, buffer, length=" +
                                                       std::to_string(sizeof(long)) + ")",
                                                   line));
    }
}

TEST_F(BaseCspReaderTest, TellsTheStatusByTheCodeWhenTheQueryFails) {
    struct Case {
        long code;
        int result;
        const char* line;
    };
    for (const auto& [code, result, line] :
         {Case{SCARD_W_REMOVED_CARD, 0, "error: Status: SCARD_W_REMOVED_CARD"},
          Case{SCARD_E_NO_SMARTCARD, 0, "error: Status: SCARD_E_NO_SMARTCARD"},
          Case{SCARD_W_RESET_CARD, 0, "error: Status: SCARD_W_RESET_CARD"},
          Case{SCARD_E_INVALID_HANDLE, 3, "error: Status: error -2146435069"},
          Case{SCARD_E_TIMEOUT, 3, "error: Status: error -2146435062"}, Case{6, 3, "error: Status: error 6"},
          // codes are no values
          Case{1, 3, "error: Status: error 1"}, Case{4, 3, "error: Status: error 4"}}) {
        FakePcsc::ClearTrace();
        FakePcsc::Script(Function::GetAttrib, Answer::Failure(code));
        EXPECT_EQ(reader.GetStatus(), result);
        EXPECT_THAT(FakePcsc::Notes(), ElementsAre(line));
    }
}

TEST_F(BaseCspReaderTest, TellsTheStatusDespiteALengthAboveTheBuffer) {
    FakePcsc::Script(Function::GetAttrib, Lie("\x02", ~0UL));
    EXPECT_EQ(reader.GetStatus(), 1);
}

// ---- APDUs

TEST_F(BaseCspReaderTest, SendsAnApduWithTheT1Header) {
    FakePcsc::Script(Function::Transmit, Answer::Bytes(std::string("\x6F\x00\x90\x00", 4)));
    ByteArray response = Bytes("earlier");

    EXPECT_TRUE(reader.SendApdu(Bytes(std::string("\x00\xA4\x04\x00\x00", 5)), response));

    EXPECT_EQ(response, Bytes(std::string("\x6F\x00\x90\x00", 4)));
    EXPECT_THAT(FakePcsc::Trace(),
                ElementsAre("SCardTransmit(card=201, protocol=2 length=" + std::to_string(sizeof(SCARD_IO_REQUEST)) +
                            ", apdu=00 a4 04 00 00, pci=null, buffer=5012)"));
}

TEST_F(BaseCspReaderTest, SendsNoApduWithoutACard) {
    reader.hCard = 0;
    ByteArray response = Bytes("earlier");
    EXPECT_FALSE(reader.SendApdu(Bytes("\x01"), response));
    EXPECT_EQ(response, Bytes("earlier"));
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("error: SendApdu, error hCard is NULL"));
}

TEST_F(BaseCspReaderTest, LogsAnApduThatFails) {
    Answer answer = Answer::Failure(SCARD_E_NO_SERVICE);
    answer.leavesLength = true;
    FakePcsc::Script(Function::Transmit, answer);
    ByteArray response = Bytes("earlier");

    EXPECT_FALSE(reader.SendApdu(Bytes("\x01"), response));

    EXPECT_EQ(response, Bytes("earlier")) << "a call that failed early leaves the length at the buffer's";
    EXPECT_THAT(FakePcsc::Notes(), ElementsAre(ErrorLine("error in SendApdu", SCARD_E_NO_SERVICE)));
}

TEST_F(BaseCspReaderTest, KeepsWhatCameBackWithAFailedApdu) {
    FakePcsc::Script(Function::Transmit, Lie("AB", 2, SCARD_E_NOT_TRANSACTED));
    ByteArray response = Bytes("earlier");
    EXPECT_FALSE(reader.SendApdu(Bytes("\x01"), response));
    EXPECT_EQ(response, Bytes("AB"));
}

TEST_F(BaseCspReaderTest, TakesNothingFromAFailedApduWhoseAnswerWouldNotFit) {
    for (const unsigned long length : {5012UL, 5013UL, ~0UL}) {
        FakePcsc::Script(Function::Transmit, Lie("", length, SCARD_E_INSUFFICIENT_BUFFER));
        ByteArray response = Bytes("earlier");
        EXPECT_FALSE(reader.SendApdu(Bytes("\x01"), response));
        EXPECT_EQ(response, Bytes("earlier")) << length;
    }
}

TEST_F(BaseCspReaderTest, KeepsTheResponseWhenNoByteCameBack) {
    FakePcsc::Script(Function::Transmit, Answer::Bytes(""));
    ByteArray response = Bytes("earlier");
    EXPECT_TRUE(reader.SendApdu(Bytes("\x01"), response));
    EXPECT_EQ(response, Bytes("earlier"));
}

TEST_F(BaseCspReaderTest, CutsAResponseAtTheBuffersEnd) {
    for (const unsigned long length : {5012UL, 5013UL, 70000UL, ~0UL}) {
        FakePcsc::Script(Function::Transmit, Lie(std::string(6000, 'A'), length));
        ByteArray response;
        EXPECT_TRUE(reader.SendApdu(Bytes("\x01"), response));
        EXPECT_EQ(response, Bytes(std::string(5012, 'A'))) << length;
    }
}

// ---- attributes

TEST_F(BaseCspReaderTest, ReadsAnAttributeInTwoCalls) {
    FakePcsc::Script(Function::GetAttrib, Answer::Bytes("Vendor"), 2);
    std::string value = "earlier";
    EXPECT_EQ(reader.MySCardGetAttrib(0x00010100, value, true), SCARD_S_SUCCESS);
    EXPECT_EQ(value, "Vendor");
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("SCardGetAttrib(card=201, 0x00010100, null, length=0)",
                                               "SCardGetAttrib(card=201, 0x00010100, buffer, length=6)"));
}

TEST_F(BaseCspReaderTest, KeepsACountedTerminatingZeroOfAnAttribute) {
    const std::string bytes("Vendor\0", 7);
    FakePcsc::Script(Function::GetAttrib, Answer::Bytes(bytes), 2);
    std::string value;
    EXPECT_EQ(reader.MySCardGetAttrib(0x00010100, value, false), SCARD_S_SUCCESS);
    EXPECT_EQ(value, bytes);
}

TEST_F(BaseCspReaderTest, LeavesTheValueAloneWhenTheAttributesSizeIsUnknown) {
    FakePcsc::Script(Function::GetAttrib, Lie("x", 1, SCARD_E_UNSUPPORTED_FEATURE));
    std::string value = "earlier";
    EXPECT_EQ(reader.MySCardGetAttrib(0x7FFF0001, value, false), SCARD_E_UNSUPPORTED_FEATURE);
    EXPECT_EQ(value, "earlier");
    EXPECT_THAT(FakePcsc::Calls(), SizeIs(1));
}

TEST_F(BaseCspReaderTest, LeavesTheValueAloneWhenTheAttributeCannotBeRead) {
    FakePcsc::Script(Function::GetAttrib, Answer::Bytes("Vendor"));
    FakePcsc::Script(Function::GetAttrib, Lie("Vendor", 6, SCARD_E_INSUFFICIENT_BUFFER));
    std::string value = "earlier";
    EXPECT_EQ(reader.MySCardGetAttrib(0x7FFF0001, value, false), SCARD_E_INSUFFICIENT_BUFFER);
    EXPECT_EQ(value, "earlier");
    EXPECT_THAT(FakePcsc::Notes(), IsEmpty()) << "what a driver does not supply is no error";
}

TEST_F(BaseCspReaderTest, ReadsAnAttributeThatChangesItsLengthBetweenTheCalls) {
    struct Case {
        unsigned long first;
        unsigned long second;
        const char* value;
    };
    for (const auto& [first, second, wanted] :
         {Case{10, 4, "ABCD"}, Case{4, 10, "ABCD"}, Case{0, 10, ""}, Case{10, 0, ""}, Case{3, ~0UL, "ABC"}}) {
        FakePcsc::Script(Function::GetAttrib, Lie("", first));
        FakePcsc::Script(Function::GetAttrib, Lie("ABCDEFGHIJ", second));
        std::string value = "earlier";
        EXPECT_EQ(reader.MySCardGetAttrib(0x00010100, value, false), SCARD_S_SUCCESS);
        EXPECT_EQ(value, wanted) << first << ", then " << second;
    }
}

TEST_F(BaseCspReaderTest, OffersNoMoreThan64KibibytesForAnAttribute) {
    FakePcsc::Script(Function::GetAttrib, Lie("", ~0UL));
    FakePcsc::Script(Function::GetAttrib, Lie("ABC", 3));
    std::string value;
    EXPECT_EQ(reader.MySCardGetAttrib(0x00010100, value, false), SCARD_S_SUCCESS);
    EXPECT_EQ(value, "ABC");
    EXPECT_EQ(FakePcsc::Calls().back(), "SCardGetAttrib(card=201, 0x00010100, buffer, length=65548)");
}

TEST_F(BaseCspReaderTest, ReadsItsSixIdentificationAttributes) {
    for (const char* const text : {"Vendor", "Type", "Unit", "Serial", "System", "Friendly"}) {
        FakePcsc::Script(Function::GetAttrib, Answer::Bytes(text), 2);
    }
    std::string vendor = "x", type = "x", serial = "x", unit = "x", system = "x", friendly = "x";

    EXPECT_EQ(reader.GetReaderName(vendor, type, serial, unit, system, friendly), SCARD_S_SUCCESS);

    EXPECT_EQ(vendor, "Vendor");
    EXPECT_EQ(type, "Type");
    EXPECT_EQ(serial, "Serial");
    EXPECT_EQ(unit, "Unit");
    EXPECT_EQ(system, "System");
    EXPECT_EQ(friendly, "Friendly");
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("SCardGetAttrib(card=201, 0x00010100, null, length=0)",
                                               "SCardGetAttrib(card=201, 0x00010100, buffer, length=6)",
                                               "SCardGetAttrib(card=201, 0x00010101, null, length=0)",
                                               "SCardGetAttrib(card=201, 0x00010101, buffer, length=4)",
                                               "SCardGetAttrib(card=201, 0x7fff0001, null, length=0)",
                                               "SCardGetAttrib(card=201, 0x7fff0001, buffer, length=4)",
                                               "SCardGetAttrib(card=201, 0x00010103, null, length=0)",
                                               "SCardGetAttrib(card=201, 0x00010103, buffer, length=6)",
                                               "SCardGetAttrib(card=201, 0x7fff0004, null, length=0)",
                                               "SCardGetAttrib(card=201, 0x7fff0004, buffer, length=6)",
                                               "SCardGetAttrib(card=201, 0x7fff0003, null, length=0)",
                                               "SCardGetAttrib(card=201, 0x7fff0003, buffer, length=8)"));
}

TEST_F(BaseCspReaderTest, EmptiesTheAttributesThatTheDriverDoesNotSupply) {
    FakePcsc::Script(Function::GetAttrib, Answer::Failure(SCARD_E_UNSUPPORTED_FEATURE));
    FakePcsc::Script(Function::GetAttrib, Answer::Bytes("Type"), 2);
    FakePcsc::Script(Function::GetAttrib, Answer::Failure(SCARD_E_NOT_TRANSACTED), 3);
    FakePcsc::Script(Function::GetAttrib, Answer::Failure(SCARD_E_UNSUPPORTED_FEATURE));
    std::string vendor = "x", type = "x", serial = "x", unit = "x", system = "x", friendly = "x";

    EXPECT_EQ(reader.GetReaderName(vendor, type, serial, unit, system, friendly), SCARD_E_UNSUPPORTED_FEATURE)
        << "the result is that of the last attribute";

    EXPECT_EQ(type, "Type");
    for (const std::string& empty : {vendor, serial, unit, system, friendly}) {
        EXPECT_EQ(empty, "");
    }
    EXPECT_THAT(FakePcsc::Notes(), IsEmpty());
}

TEST_F(BaseCspReaderTest, SucceedsWithTheLastAttributeWhateverTheOthersDid) {
    FakePcsc::Script(Function::GetAttrib, Answer::Failure(SCARD_E_UNSUPPORTED_FEATURE), 5);
    FakePcsc::Script(Function::GetAttrib, Answer::Bytes("Friendly"), 2);
    std::string vendor, type, serial, unit, system, friendly;
    EXPECT_EQ(reader.GetReaderName(vendor, type, serial, unit, system, friendly), SCARD_S_SUCCESS);
    EXPECT_EQ(friendly, "Friendly");
}
