#include <winscard.h>

#include "readers/PinStructure.h"
#include "tests/fakes/FakeConsole.h"
#include "tests/unit/readers/OpenReaders.h"
#include "tests/unit/readers/ReaderTest.h"

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using namespace Vantor;
using FakePcsc::Answer;
using FakePcsc::Function;

namespace {

const std::string ok("\x90\x00", 2);
const std::string noFeatures;
const char* const featureRequest = "SCardControl(card=201, 0x42000d48, input=null length=0, buffer=5012)";

Answer Lie(std::string bytes, unsigned long length, long code = SCARD_S_SUCCESS) {
    Answer answer = Answer::Bytes(std::move(bytes));
    answer.length = length;
    answer.code = code;
    return answer;
}

Answer Failure(long code, std::string bytes = {}) {
    const unsigned long length = bytes.size();
    return Lie(std::move(bytes), length, code);
}

/// What the console gets for one beep.
std::string Beep(int hertz, int milliseconds) {
    return "\x1B[10;" + std::to_string(hertz) + "]\x1B[11;" + std::to_string(milliseconds) + "]\a";
}

/// The lines in which verifying and changing a PIN differ.
struct Operation {
    const char* name;
    int (BaseCspReader::*run)(const ByteArray&, const PINVerifyData*, ByteArray&);
    std::uint32_t BaseCspReader::*direct;
    std::uint32_t BaseCspReader::*start;
    std::uint32_t BaseCspReader::*finish;
    unsigned char directTag;
    unsigned char startTag;
    unsigned char otherDirectTag;
    std::size_t headerLength;
    std::string message;
    std::string noCard;
    std::string tooLong;
    std::string notSupported;
    std::string directMessage;
    std::string directError;
    std::string startMessage;
    std::string finishError;
    std::string finishStatus;
    std::string structure; ///< for `apdu` and `data` below, as the record shows it
};

const Operation verify = {
    "verify",
    &BaseCspReader::VerifyPin,
    &OpenBaseReader::verifyPinDirect,
    &OpenBaseReader::verifyPinStart,
    &OpenBaseReader::verifyPinFinish,
    6,
    1,
    7,
    19,
    "message: BaseCspReader VerifyPin",
    "error: VerifyPin hCard is NULL",
    "error: VerifyPin apdu too long",
    "SCardControl does not support external pin verify",
    "message: VerifyPinDirect",
    "error: SCardControl verify_direct error ",
    "message: VerifyPinStartFinish",
    "pcsc verify finish",
    "error: SCardControl verify_finish error ",
    "input=3c 0a 02 47 00 03 02 01 ff 07 04 00 00 00 00 06 00 00 00 00 20 00 81 08 41 length=25",
};

const Operation modify = {
    "modify",
    &BaseCspReader::ChangePin,
    &OpenBaseReader::modifyPinDirect,
    &OpenBaseReader::modifyPinStart,
    &OpenBaseReader::modifyPinFinish,
    7,
    3,
    6,
    24,
    "message: BaseCspReader ChangePin",
    "error: ChangePin hCard is NULL",
    "error: ChangePin apdu too long",
    "SCardControl does not support external pin changee",
    "message: ModifyPinDirect",
    "error: SCardControl modify_direct error ",
    "message: ModifyPinStartFinish",
    "pcsc modify finish",
    "error: SCardControl modify_finish error ",
    "input=3c 0a 02 47 00 00 08 03 02 03 01 ff 07 04 00 00 00 00 00 00 06 00 00 00 00 20 00 81 08 41 length=30",
};

} // namespace

class PinPadTest : public ReaderTest {
protected:
    PinPadTest() {
        FakeConsole::Reset(true);
        data.pinFormat = 0;
        data.minPinLength = 2;
        data.maxPinLength = 3;
        data.pinBlockString = 0x47;
    }

    int Run(const Operation& operation) { return (reader.*operation.run)(apdu, &data, response); }

    /// Fresh reader and record for the next operation of a test that goes through both.
    void Renew() {
        Forget(reader);
        FakePcsc::ClearTrace();
        FakeConsole::Reset(true);
        response = Bytes("earlier");
    }

    static void Forget(OpenBaseReader& reader) {
        reader.verifyPinDirect = reader.verifyPinStart = reader.verifyPinFinish = 0;
        reader.modifyPinDirect = reader.modifyPinStart = reader.modifyPinFinish = 0;
        reader.getKeyPressed = 0;
    }

    static std::string Control(const char* code, const std::string& input) {
        return std::string("SCardControl(card=201, ") + code + ", " + input + ", buffer=5012)";
    }
    static std::string Poll() { return Control("0x00000055", "input=null length=0"); }

    /// The answers to a start call, to one poll for each key, and to a finish call.
    static void ScriptEntry(const std::string& keys, const Answer& finish = Answer::Bytes(ok)) {
        FakePcsc::Script(Function::Control, Answer());
        for (const char key : keys) {
            FakePcsc::Script(Function::Control, Answer::Bytes(std::string(1, key)));
        }
        FakePcsc::Script(Function::Control, finish);
    }

    OpenBaseReader reader{101, 201};
    PINVerifyData data;
    ByteArray apdu = Bytes(std::string("\x00\x20\x00\x81\x08\x41", 6));
    ByteArray response = Bytes("earlier");
};

// ---- both operations, up to the control call

TEST_F(PinPadTest, NeedsACard) {
    for (const Operation& operation : {verify, modify}) {
        Renew();
        OpenBaseReader unbound(101, 0);
        EXPECT_EQ((unbound.*operation.run)(apdu, &data, response), 1);
        EXPECT_THAT(FakePcsc::Trace(), ElementsAre(operation.message, operation.noCard));
    }
}

TEST_F(PinPadTest, AsksForTheFeaturesWhenItKnowsNone) {
    for (const Operation& operation : {verify, modify}) {
        Renew();
        FakePcsc::Script(Function::Control, Answer::Bytes(FakePcsc::FeatureList({{operation.directTag, 0x42330006}})));
        FakePcsc::Script(Function::Control, Answer::Bytes(ok));

        EXPECT_EQ(Run(operation), 0);

        EXPECT_EQ(response, Bytes(ok));
        EXPECT_THAT(FakePcsc::Trace(),
                    ElementsAre(operation.message, "message: CheckReaderCapabilities start", featureRequest,
                                operation.directMessage, Control("0x42330006", operation.structure)));
    }
}

TEST_F(PinPadTest, DoesNotAskForFeaturesThatItKnows) {
    for (const Operation& operation : {verify, modify}) {
        Renew();
        reader.*operation.direct = 0x11;
        FakePcsc::Script(Function::Control, Answer::Bytes(ok));
        EXPECT_EQ(Run(operation), 0);
        EXPECT_THAT(FakePcsc::Trace(), ElementsAre(operation.message, operation.directMessage,
                                                   Control("0x00000011", operation.structure)));
    }
}

TEST_F(PinPadTest, IsNotSupportedByAReaderWithoutFeatures) {
    for (const Operation& operation : {verify, modify}) {
        Renew();
        FakePcsc::Script(Function::Control, Answer::Bytes(noFeatures));
        EXPECT_EQ(Run(operation), 2);
        EXPECT_THAT(FakePcsc::Trace(),
                    ElementsAre(operation.message, "message: CheckReaderCapabilities start", featureRequest));
        EXPECT_EQ(response, Bytes("earlier"));
    }
}

TEST_F(PinPadTest, IsNotSupportedByAReaderThatDoesOnlyTheOtherOperation) {
    for (const Operation& operation : {verify, modify}) {
        Renew();
        FakePcsc::Script(Function::Control, Answer::Bytes(FakePcsc::FeatureList({{operation.otherDirectTag, 1}})));
        EXPECT_EQ(Run(operation), 2);
        EXPECT_THAT(FakePcsc::Trace(), ElementsAre(operation.message, "message: CheckReaderCapabilities start",
                                                   featureRequest, ErrorLine(operation.notSupported, 0)));
    }
}

TEST_F(PinPadTest, RejectsAnUnknownPinFormat) {
    for (const Operation& operation : {verify, modify}) {
        for (const int format : {3, -1, 256}) {
            Renew();
            reader.*operation.direct = 0x11;
            data.pinFormat = format;
            EXPECT_EQ(Run(operation), 1);
            EXPECT_THAT(FakePcsc::Trace(), ElementsAre(operation.message, "error: invalid pin format"));
        }
    }
}

TEST_F(PinPadTest, ChecksTheFeaturesBeforeThePinFormat) {
    for (const Operation& operation : {verify, modify}) {
        Renew();
        data.pinFormat = 3;
        FakePcsc::Script(Function::Control, Answer::Bytes(noFeatures));
        EXPECT_EQ(Run(operation), 2);
        EXPECT_THAT(FakePcsc::Notes(), ElementsAre(operation.message, "message: CheckReaderCapabilities start"));
    }
}

TEST_F(PinPadTest, WithoutDataHasNoPinFormat) {
    for (const Operation& operation : {verify, modify}) {
        Renew();
        reader.*operation.direct = 0x11;
        EXPECT_EQ((reader.*operation.run)(apdu, nullptr, response), 1);
        EXPECT_THAT(FakePcsc::Trace(), ElementsAre(operation.message, "error: invalid pin format"));
    }
}

TEST_F(PinPadTest, SendsAnApduThatJustFits) {
    for (const Operation& operation : {verify, modify}) {
        Renew();
        reader.*operation.direct = 0x11;
        apdu = ByteArray(std::vector<unsigned char>(2048 - operation.headerLength, 0xAA));
        FakePcsc::Script(Function::Control, Answer::Bytes(ok));
        EXPECT_EQ(Run(operation), 0);
        EXPECT_THAT(FakePcsc::Calls().front(), ::testing::HasSubstr(" length=2048, buffer=5012)"));
    }
}

TEST_F(PinPadTest, SendsNoApduThatDoesNotFit) {
    for (const Operation& operation : {verify, modify}) {
        for (const std::size_t length : {2048 - operation.headerLength + 1, std::size_t{4096}, std::size_t{100000}}) {
            Renew();
            apdu = ByteArray(std::vector<unsigned char>(length, 0xAA));
            reader.*operation.direct = 0x11;
            EXPECT_EQ(Run(operation), 1) << length;
            EXPECT_THAT(FakePcsc::Trace(), ElementsAre(operation.message, operation.tooLong));
        }
    }
}

TEST_F(PinPadTest, ChecksFeaturesAndPinFormatBeforeTheLengthOfTheApdu) {
    apdu = ByteArray(std::vector<unsigned char>(4096, 0xAA));
    for (const Operation& operation : {verify, modify}) {
        Renew();
        FakePcsc::Script(Function::Control, Answer::Bytes(noFeatures));
        EXPECT_EQ(Run(operation), 2) << "a reader without a keypad cannot do it, whatever the APDU";
        EXPECT_THAT(FakePcsc::Notes(), ElementsAre(operation.message, "message: CheckReaderCapabilities start"));

        Renew();
        FakePcsc::Script(Function::Control, Answer::Bytes(FakePcsc::FeatureList({{operation.directTag, 0x11}})));
        EXPECT_EQ(Run(operation), 1);
        EXPECT_EQ(FakePcsc::Notes().back(), operation.tooLong);

        Renew();
        reader.*operation.direct = 0x11;
        data.pinFormat = 3;
        EXPECT_EQ(Run(operation), 1);
        EXPECT_EQ(FakePcsc::Notes().back(), "error: invalid pin format");
        data.pinFormat = 0;
    }
}

TEST_F(PinPadTest, PrefersTheDirectFeature) {
    for (const Operation& operation : {verify, modify}) {
        Renew();
        reader.*operation.direct = 0x11;
        reader.*operation.start = 0x22;
        reader.*operation.finish = 0x33;
        FakePcsc::Script(Function::Control, Answer::Bytes(ok));
        EXPECT_EQ(Run(operation), 0);
        EXPECT_THAT(FakePcsc::Calls(), ElementsAre(Control("0x00000011", operation.structure)));
    }
}

TEST_F(PinPadTest, SendsTheStructureOfEachFormat) {
    for (const Operation& operation : {verify, modify}) {
        for (const int format : {0, 1, 2}) {
            Renew();
            reader.*operation.direct = 0x11;
            data.pinFormat = format;
            FakePcsc::Script(Function::Control, Answer::Bytes(ok));
            EXPECT_EQ(Run(operation), 0);
            const ByteArray structure = operation.headerLength == 19 ? BuildPinVerifyStructure(apdu, data)
                                                                     : BuildPinModifyStructure(apdu, data);
            EXPECT_THAT(FakePcsc::Calls(),
                        ElementsAre(Control("0x00000011", "input=" + structure.ToHexString(0) +
                                                              " length=" + std::to_string(structure.size()))));
        }
    }
}

// ---- the direct call

TEST_F(PinPadTest, FailsWhenTheDirectCallFails) {
    for (const Operation& operation : {verify, modify}) {
        Renew();
        reader.*operation.direct = 0x11;
        FakePcsc::Script(Function::Control, Failure(SCARD_E_NOT_TRANSACTED, "\x64\x01"));

        EXPECT_EQ(Run(operation), 1);

        EXPECT_EQ(response, Bytes("\x64\x01"));
        EXPECT_THAT(FakePcsc::Notes(),
                    ElementsAre(operation.message, operation.directMessage,
                                operation.directError + "SPE operation was cancelled by the 'Cancel' button",
                                ErrorLine("error in SCardControl", SCARD_E_NOT_TRANSACTED)));
    }
}

TEST_F(PinPadTest, SucceedsWithAnyStatusWord) {
    reader.verifyPinDirect = 0x11;
    FakePcsc::Script(Function::Control, Answer::Bytes("\x63\xC2"));
    EXPECT_EQ(Run(verify), 0);
    EXPECT_EQ(response, Bytes("\x63\xC2"));
    EXPECT_THAT(FakePcsc::Notes(), ElementsAre(verify.message, verify.directMessage));
}

TEST_F(PinPadTest, KeepsTheResponseWhenNoByteCameBack) {
    for (const Operation& operation : {verify, modify}) {
        Renew();
        reader.*operation.direct = 0x11;
        response = Bytes(std::string("\x64\x00", 2));
        FakePcsc::Script(Function::Control, Failure(SCARD_E_INVALID_HANDLE));
        EXPECT_EQ(Run(operation), 1);
        EXPECT_EQ(response, Bytes(std::string("\x64\x00", 2)));
        EXPECT_EQ(FakePcsc::Notes().at(2), operation.directError + "SPE operation timed out");
    }
}

TEST_F(PinPadTest, TakesNothingFromAFailedCallWhoseAnswerWouldNotFit) {
    for (const Operation& operation : {verify, modify}) {
        for (const unsigned long length : {5012UL, 5013UL, ~0UL}) {
            Renew();
            reader.*operation.direct = 0x11;
            FakePcsc::Script(Function::Control, Lie("", length, SCARD_E_INSUFFICIENT_BUFFER));
            EXPECT_EQ(Run(operation), 1);
            EXPECT_EQ(response, Bytes("earlier")) << length;
        }
    }
    // What fits below that came back.
    Renew();
    reader.verifyPinDirect = 0x11;
    FakePcsc::Script(Function::Control, Lie(std::string(5011, 'A'), 5011, SCARD_E_NOT_TRANSACTED));
    EXPECT_EQ(Run(verify), 1);
    EXPECT_EQ(response, Bytes(std::string(5011, 'A')));
}

TEST_F(PinPadTest, CutsAnAnswerAtTheBuffersEnd) {
    for (const unsigned long length : {5012UL, 5013UL, 70000UL, ~0UL}) {
        reader.verifyPinDirect = 0x11;
        FakePcsc::Script(Function::Control, Lie(std::string(6000, 'A'), length));
        EXPECT_EQ(Run(verify), 0);
        EXPECT_EQ(response, Bytes(std::string(5012, 'A'))) << length;
    }
}

TEST_F(PinPadTest, RunsTheDirectCallsByThemselves) {
    reader.verifyPinDirect = 0x11;
    reader.modifyPinDirect = 0x12;
    unsigned char structure[] = {1, 2, 3};
    FakePcsc::Script(Function::Control, Answer::Bytes(ok));
    FakePcsc::Script(Function::Control, Failure(SCARD_E_TIMEOUT));

    EXPECT_EQ(reader.VerifyPinDirect(structure, 3, response), SCARD_S_SUCCESS);
    EXPECT_EQ(reader.ModifyPinDirect(structure, 2, response), SCARD_E_TIMEOUT);

    EXPECT_THAT(FakePcsc::Trace(),
                ElementsAre(verify.directMessage, Control("0x00000011", "input=01 02 03 length=3"),
                            modify.directMessage, Control("0x00000012", "input=01 02 length=2"), modify.directError));
}

// ---- start, polling, finish

TEST_F(PinPadTest, StartsPollsTheKeysAndFinishes) {
    for (const Operation& operation : {verify, modify}) {
        Renew();
        reader.*operation.start = 0x22;
        reader.*operation.finish = 0x33;
        reader.getKeyPressed = 0x55;
        ScriptEntry("\x2B\x2B\x0D");

        EXPECT_EQ(Run(operation), 0);

        EXPECT_EQ(response, Bytes(ok));
        EXPECT_THAT(FakePcsc::Trace(),
                    ElementsAre(operation.message, operation.startMessage, Control("0x00000022", operation.structure),
                                Poll(), "message: CardReader: PIN DIGIT", "sleep(1)", //
                                Poll(), "message: CardReader: PIN DIGIT", "sleep(1)", //
                                Poll(), "message: CardReader: OK", "sleep(1)",
                                Control("0x00000033", "input=null length=0")));
        EXPECT_EQ(FakeConsole::Written(), Beep(200, 100) + Beep(200, 100) + Beep(200, 100) + Beep(400, 100));
    }
}

TEST_F(PinPadTest, StopsPollingAtTheLargestPinLength) {
    for (const Operation& operation : {verify, modify}) {
        Renew();
        reader.*operation.start = 0x22;
        reader.*operation.finish = 0x33;
        reader.getKeyPressed = 0x55;
        ScriptEntry("\x2B\x2B\x2B");

        EXPECT_EQ(Run(operation), 0);

        const std::vector<std::string> trace = FakePcsc::Trace();
        ASSERT_GE(trace.size(), 3U);
        EXPECT_THAT(std::vector<std::string>(trace.end() - 3, trace.end()),
                    ElementsAre("sleep(1)", "message: max pin length reached-> OK -> finish",
                                Control("0x00000033", "input=null length=0")));
    }
}

TEST_F(PinPadTest, CountsCorrectionsAndClearing) {
    reader.verifyPinStart = 0x22;
    reader.getKeyPressed = 0x55;
    // back below zero, up to two, one back, cleared, then to the largest length of three
    FakePcsc::Script(Function::Control, Answer());
    for (const char key : std::string("\x08\x2B\x2B\x08\x2B\x0A\x2B\x2B\x2B")) {
        FakePcsc::Script(Function::Control, Answer::Bytes(std::string(1, key)));
    }
    EXPECT_EQ(Run(verify), 0);
    EXPECT_EQ(FakePcsc::Calls().back(), "sleep(1)");
    EXPECT_EQ(FakePcsc::Notes().back(), "message: max pin length reached-> OK -> finish");
}

TEST_F(PinPadTest, PollsOnceForAPinOfNoDigits) {
    reader.verifyPinStart = 0x22;
    reader.getKeyPressed = 0x55;
    data.maxPinLength = 0;
    FakePcsc::Script(Function::Control, Answer());
    FakePcsc::Script(Function::Control, Answer());
    EXPECT_EQ(Run(verify), 0);
    EXPECT_THAT(FakePcsc::Notes(),
                ElementsAre(verify.message, verify.startMessage, "message: max pin length reached-> OK -> finish"));
}

TEST_F(PinPadTest, TakesAHugeLargestLengthAsNone) {
    reader.verifyPinStart = 0x22;
    reader.getKeyPressed = 0x55;
    data.maxPinLength = 0xFFFFFFFF;
    FakePcsc::Script(Function::Control, Answer());
    FakePcsc::Script(Function::Control, Answer::Bytes("\x2B"));
    FakePcsc::Script(Function::Control, Answer::Bytes("\x0D"));
    EXPECT_EQ(Run(verify), 0);
    EXPECT_EQ(FakePcsc::Notes().back(), "message: CardReader: OK");
}

TEST_F(PinPadTest, PollsOnAfterAPollWithoutAKey) {
    reader.verifyPinStart = 0x22;
    reader.getKeyPressed = 0x55;
    FakePcsc::Script(Function::Control, Answer(), 3); // the start call and two polls
    FakePcsc::Script(Function::Control, Answer::Bytes(std::string(1, '\0')));
    FakePcsc::Script(Function::Control, Answer::Bytes("\x0D"));

    EXPECT_EQ(Run(verify), 0);

    EXPECT_THAT(FakePcsc::Trace(),
                ElementsAre(verify.message, verify.startMessage, Control("0x00000022", verify.structure), //
                            Poll(), "sleep(1)", Poll(), "sleep(1)", Poll(), "sleep(1)",                   //
                            Poll(), "message: CardReader: OK", "sleep(1)"));
    EXPECT_EQ(FakeConsole::Written(), Beep(200, 100) + Beep(400, 100));
}

TEST_F(PinPadTest, LooksAtTheFirstByteOfAPollOnly) {
    reader.verifyPinStart = 0x22;
    reader.getKeyPressed = 0x55;
    FakePcsc::Script(Function::Control, Answer());
    FakePcsc::Script(Function::Control, Answer::Bytes("\x0D\x1B"));
    EXPECT_EQ(Run(verify), 0);
    EXPECT_EQ(FakePcsc::Notes().back(), "message: CardReader: OK");
}

TEST_F(PinPadTest, FinishesAfterAPollThatFails) {
    reader.verifyPinStart = 0x22;
    reader.verifyPinFinish = 0x33;
    reader.getKeyPressed = 0x55;
    FakePcsc::Script(Function::Control, Answer());
    FakePcsc::Script(Function::Control, Failure(SCARD_E_NOT_TRANSACTED, "\x1B"));
    FakePcsc::Script(Function::Control, Answer::Bytes(ok));

    EXPECT_EQ(Run(verify), 0);

    EXPECT_EQ(response, Bytes(ok));
    EXPECT_THAT(FakePcsc::Trace(),
                ElementsAre(verify.message, verify.startMessage, Control("0x00000022", verify.structure), Poll(),
                            ErrorLine("pcsc key pressed", SCARD_E_NOT_TRANSACTED), "sleep(1)",
                            Control("0x00000033", "input=null length=0")));
    EXPECT_EQ(FakeConsole::Written(), Beep(400, 100));
}

TEST_F(PinPadTest, SkipsTheFinishCallAfterCancelOrTimeout) {
    struct Case {
        const char* key;
        const char* message;
        long code;
        std::string beeps;
    };
    for (const Operation& operation : {verify, modify}) {
        for (const auto& [key, message, code, beeps] :
             {Case{"\x1B", "message: CardReader: CANCEL KEY", SCARD_E_CANCELLED, Beep(2000, 100) + Beep(400, 100)},
              Case{"\x40", "message: CardReader: ABORT (Timeout?)", SCARD_E_TIMEOUT, Beep(400, 100)}}) {
            Renew();
            reader.*operation.start = 0x22;
            reader.*operation.finish = 0x33;
            reader.getKeyPressed = 0x55;
            FakePcsc::Script(Function::Control, Answer());
            FakePcsc::Script(Function::Control, Answer::Bytes(key));

            EXPECT_EQ(Run(operation), 1);

            EXPECT_EQ(response, Bytes("earlier"));
            EXPECT_THAT(FakePcsc::Trace(),
                        ElementsAre(operation.message, operation.startMessage,
                                    Control("0x00000022", operation.structure), Poll(), message, "sleep(1)",
                                    ErrorLine(operation.finishError, code), operation.finishStatus + "unknown e r",
                                    ErrorLine("error in SCardControl", code)));
            EXPECT_EQ(FakeConsole::Written(), beeps);
        }
    }
}

TEST_F(PinPadTest, FailsAtOnceWhenTheStartCallFails) {
    for (const Operation& operation : {verify, modify}) {
        Renew();
        reader.*operation.start = 0x22;
        reader.*operation.finish = 0x33;
        reader.getKeyPressed = 0x55;
        FakePcsc::Script(Function::Control, Failure(SCARD_E_INVALID_PARAMETER, "\x6B\x80"));

        EXPECT_EQ(Run(operation), 1);

        EXPECT_EQ(response, Bytes("\x6B\x80"));
        EXPECT_THAT(FakePcsc::Trace(),
                    ElementsAre(operation.message, operation.startMessage, Control("0x00000022", operation.structure),
                                ErrorLine("pcsc verify start", SCARD_E_INVALID_PARAMETER),
                                ErrorLine(operation.finishError, SCARD_E_INVALID_PARAMETER),
                                operation.finishStatus + "invalid parameter in passed structure",
                                ErrorLine("error in SCardControl", SCARD_E_INVALID_PARAMETER)));
        EXPECT_EQ(FakeConsole::Opened(), 0) << "no polling, no beep";
    }
}

TEST_F(PinPadTest, KeepsTheResponseWhenTheStartCallFailsWithoutBytes) {
    reader.verifyPinStart = 0x22;
    FakePcsc::Script(Function::Control, Failure(SCARD_E_INVALID_PARAMETER));
    EXPECT_EQ(Run(verify), 1);
    EXPECT_EQ(response, Bytes("earlier"));
}

TEST_F(PinPadTest, FailsWhenTheFinishCallFails) {
    for (const Operation& operation : {verify, modify}) {
        Renew();
        reader.*operation.start = 0x22;
        reader.*operation.finish = 0x33;
        reader.getKeyPressed = 0x55;
        ScriptEntry("\x0D", Failure(SCARD_E_NOT_TRANSACTED, "\x64\x02"));

        EXPECT_EQ(Run(operation), 1);

        EXPECT_EQ(response, Bytes("\x64\x02"));
        const std::vector<std::string> trace = FakePcsc::Trace();
        ASSERT_GE(trace.size(), 4U);
        EXPECT_THAT(std::vector<std::string>(trace.end() - 4, trace.end()),
                    ElementsAre(Control("0x00000033", "input=null length=0"),
                                ErrorLine(operation.finishError, SCARD_E_NOT_TRANSACTED),
                                operation.finishStatus +
                                    "Modify PIN operation failed because two 'new PIN' entries do not match",
                                ErrorLine("error in SCardControl", SCARD_E_NOT_TRANSACTED)));
    }
}

TEST_F(PinPadTest, NeitherPollsNorBeepsWithoutThatFeature) {
    for (const Operation& operation : {verify, modify}) {
        Renew();
        reader.*operation.start = 0x22;
        reader.*operation.finish = 0x33;
        FakePcsc::Script(Function::Control, Answer());
        FakePcsc::Script(Function::Control, Answer::Bytes(ok));
        EXPECT_EQ(Run(operation), 0);
        EXPECT_THAT(FakePcsc::Calls(), ElementsAre(Control("0x00000022", operation.structure),
                                                   Control("0x00000033", "input=null length=0")));
        EXPECT_EQ(FakeConsole::Opened(), 0);
    }
}

TEST_F(PinPadTest, EndsWithTheStartCallWhenThereIsNoFinishFeature) {
    for (const Operation& operation : {verify, modify}) {
        Renew();
        reader.*operation.start = 0x22;
        FakePcsc::Script(Function::Control, Answer());
        EXPECT_EQ(Run(operation), 0);
        EXPECT_THAT(FakePcsc::Calls(), ElementsAre(Control("0x00000022", operation.structure)));
        EXPECT_EQ(response, Bytes("earlier"));
    }
}

TEST_F(PinPadTest, KeepsTheResponseWhateverTheStartCallAnswers) {
    for (const Operation& operation : {verify, modify}) {
        Renew();
        reader.*operation.start = 0x22;
        FakePcsc::Script(Function::Control, Answer::Bytes("start"));
        EXPECT_EQ(Run(operation), 0);
        EXPECT_EQ(response, Bytes("earlier"));
    }
}

TEST_F(PinPadTest, TellsOfACancelledEntryAlsoWithoutAFinishFeature) {
    for (const Operation& operation : {verify, modify}) {
        Renew();
        reader.*operation.start = 0x22;
        reader.getKeyPressed = 0x55;
        FakePcsc::Script(Function::Control, Answer());
        FakePcsc::Script(Function::Control, Answer::Bytes("\x1B"));
        EXPECT_EQ(Run(operation), 1);
        EXPECT_THAT(FakePcsc::Notes(),
                    ElementsAre(operation.message, operation.startMessage, "message: CardReader: CANCEL KEY",
                                ErrorLine(operation.finishError, SCARD_E_CANCELLED),
                                operation.finishStatus + "unknown e r",
                                ErrorLine("error in SCardControl", SCARD_E_CANCELLED)));
    }
}

TEST_F(PinPadTest, TellsOfAFailedStartCallAlsoWithoutAFinishFeature) {
    for (const Operation& operation : {verify, modify}) {
        Renew();
        reader.*operation.start = 0x22;
        FakePcsc::Script(Function::Control, Failure(SCARD_W_RESET_CARD));
        EXPECT_EQ(Run(operation), 1);
        EXPECT_THAT(FakePcsc::Notes(), ElementsAre(operation.message, operation.startMessage,
                                                   ErrorLine("pcsc verify start", SCARD_W_RESET_CARD),
                                                   ErrorLine(operation.finishError, SCARD_W_RESET_CARD),
                                                   operation.finishStatus + "unknown e r",
                                                   ErrorLine("error in SCardControl", SCARD_W_RESET_CARD)));
    }
}

TEST_F(PinPadTest, CountsAResetCardAsAFailureOfEachCall) {
    for (const Operation& operation : {verify, modify}) {
        Renew();
        reader.*operation.direct = 0x11;
        FakePcsc::Script(Function::Control, Failure(SCARD_W_RESET_CARD));
        EXPECT_EQ(Run(operation), 1);

        Renew();
        reader.*operation.start = 0x22;
        reader.*operation.finish = 0x33;
        reader.getKeyPressed = 0x55;
        FakePcsc::Script(Function::Control, Answer());
        FakePcsc::Script(Function::Control, Failure(SCARD_W_RESET_CARD, "\x2B"));
        FakePcsc::Script(Function::Control, Failure(SCARD_W_RESET_CARD));
        EXPECT_EQ(Run(operation), 1);
        EXPECT_THAT(FakePcsc::Calls(), ::testing::Contains("sleep(1)").Times(1));
        EXPECT_THAT(FakePcsc::Notes(), ::testing::Contains(ErrorLine("pcsc key pressed", SCARD_W_RESET_CARD)));
    }
}

TEST_F(PinPadTest, StopsAfterOnePollWhenTheLargestLengthIsNegative) {
    reader.verifyPinStart = 0x22;
    reader.getKeyPressed = 0x55;
    unsigned char structure[] = {1};
    FakePcsc::Script(Function::Control, Answer());
    FakePcsc::Script(Function::Control, Answer::Bytes("\x2B"));
    EXPECT_EQ(reader.VerifyPinStartFinish(structure, 1, response, -1), SCARD_S_SUCCESS);
    EXPECT_EQ(FakePcsc::Notes().back(), "message: max pin length reached-> OK -> finish");
}

TEST_F(PinPadTest, RunsStartAndFinishByThemselves) {
    reader.verifyPinStart = 0x22;
    reader.modifyPinStart = 0x23;
    unsigned char structure[] = {1, 2, 3};
    FakePcsc::Script(Function::Control, Answer());
    FakePcsc::Script(Function::Control, Failure(SCARD_E_TIMEOUT));

    EXPECT_EQ(reader.VerifyPinStartFinish(structure, 3, response, 4), SCARD_S_SUCCESS);
    EXPECT_EQ(reader.ModifyPinStartFinish(structure, 1, response, 4), SCARD_E_TIMEOUT);

    EXPECT_THAT(FakePcsc::Calls(), ElementsAre(Control("0x00000022", "input=01 02 03 length=3"),
                                               Control("0x00000023", "input=01 length=1")));
}

// ---- keys

TEST_F(PinPadTest, ReactsToEachKey) {
    struct Case {
        unsigned char key;
        unsigned short digits;
        unsigned long error;
        bool finish;
        bool goesOn;
        std::vector<std::string> lines;
        std::string beep;
    };
    const std::vector<Case> cases = {
        {0x08, 4, 0, false, true, {"message: CardReader: CORRECTION"}, Beep(2000, 100)},
        {0x0A, 0, 0, false, true, {"message: CardReader: CLEAR"}, Beep(2000, 100)},
        {0x0D, 5, 0, true, false, {"message: CardReader: OK"}, Beep(200, 100)},
        {0x1B, 5, 0x80100002, false, false, {"message: CardReader: CANCEL KEY"}, Beep(2000, 100)},
        {0x2B, 6, 0, false, true, {"message: CardReader: PIN DIGIT"}, Beep(200, 100)},
        {0x40, 5, 0x8010000A, false, false, {"message: CardReader: ABORT (Timeout?)"}, ""},
    };
    for (unsigned int key = 0; key < 256; ++key) {
        const auto known = std::find_if(cases.begin(), cases.end(), [key](const Case& row) { return row.key == key; });
        const Case wanted =
            known != cases.end() ? *known : Case{static_cast<unsigned char>(key), 5, 0, false, true, {}, ""};
        SCOPED_TRACE("key " + std::to_string(key));
        FakePcsc::ClearTrace();
        FakeConsole::Reset(true);
        unsigned short digits = 5;
        unsigned long error = 0xDEAD; // cleared by every key
        bool finish = !wanted.finish;

        EXPECT_EQ(reader.OnKeyPressed(static_cast<unsigned char>(key), digits, error, finish), wanted.goesOn);

        EXPECT_EQ(digits, wanted.digits);
        EXPECT_EQ(error, wanted.error);
        EXPECT_EQ(finish, wanted.finish);
        EXPECT_THAT(FakePcsc::Trace(), ElementsAreArray(wanted.lines));
        EXPECT_EQ(FakeConsole::Written(), wanted.beep);
    }
}

TEST_F(PinPadTest, NeverCorrectsBelowNoDigits) {
    unsigned short digits = 0;
    unsigned long error = 0;
    bool finish = false;
    EXPECT_TRUE(reader.OnKeyPressed(0x08, digits, error, finish));
    EXPECT_EQ(digits, 0);
}

// ---- beeps

TEST_F(PinPadTest, BeepsThroughTheConsole) {
    reader.DoBeep(1234, 56);
    EXPECT_EQ(FakeConsole::Written(), "\x1B[10;1234]\x1B[11;56]\a");
    EXPECT_EQ(FakeConsole::Mode(), "w");
    EXPECT_EQ(FakeConsole::Closed(), 0) << "the stream stays open";
}

TEST_F(PinPadTest, DoesNotTouchTheConsoleWhenBeepsAreNotWanted) {
    reader.SetConfig(true, true, false);
    reader.DoBeep(400, 100);
    unsigned short digits = 0;
    unsigned long error = 0;
    bool finish = false;
    EXPECT_TRUE(reader.OnKeyPressed(0x2B, digits, error, finish));
    EXPECT_EQ(FakeConsole::Opened(), 0);
}

TEST_F(PinPadTest, IsSilentWithoutAConsole) {
    FakeConsole::Reset(false);
    reader.DoBeep(400, 100);
    EXPECT_EQ(FakeConsole::Opened(), 1);
    EXPECT_THAT(FakePcsc::Trace(), IsEmpty());
}
