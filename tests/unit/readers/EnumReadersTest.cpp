#include "readers/EnumReaders.h"

#include <winscard.h>

#include "tests/support/Valgrind.h"
#include "tests/unit/readers/ReaderTest.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using namespace Vantor;
using FakePcsc::Answer;
using FakePcsc::Function;

namespace {

const char* const establishSystem = "SCardEstablishContext(scope=2, null, null)";
const char* const establishUser = "SCardEstablishContext(scope=0, null, null)";

std::string ListReaders(const char* buffer, unsigned long length) {
    return std::string("SCardListReaders(context=101, groups=null, ") + buffer + ", length=" + std::to_string(length) +
           ")";
}

Answer Lie(std::string bytes, unsigned long length) {
    Answer answer = Answer::Bytes(std::move(bytes));
    answer.length = length;
    return answer;
}

FakePcsc::Reader ReaderWithCard(const std::string& name) {
    return {name,
            true,
            "\x3B\x80",
            {{0x00010100, std::string("Vantor GmbH\0", 12)},
             {0x00010101, "Type of " + name},
             {0x00010103, "SN-1"},
             {0x7FFF0001, std::string("\x02\x00\x00\x00", 4)},
             {0x7FFF0004, "system"},
             {0x7FFF0003, "friendly"}},
            {}};
}

} // namespace

class EnumReadersTest : public ReaderTest {
protected:
    ~EnumReadersTest() override {
        EXPECT_EQ(FakePcsc::OpenContexts(), 0U) << "every context is given back";
        EXPECT_EQ(FakePcsc::OpenCards(), 0U) << "every card is given back";
    }

    std::vector<std::string> names;
    std::vector<PCSCReaderConfig> readers;
};

// ---- names

TEST_F(EnumReadersTest, ListsTheNamesInTheResourceManagersOrder) {
    FakePcsc::AddReader({"Zebra 00 00"});
    FakePcsc::AddReader({"Alpha 01 00"});
    names = {"earlier"};

    EXPECT_TRUE(ListPCSCReaders(names));

    EXPECT_THAT(names, ElementsAre("earlier", "Zebra 00 00", "Alpha 01 00"));
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: ListPCSCReaders", establishSystem, ListReaders("null", 0),
                                               ListReaders("buffer", 25), "SCardReleaseContext(context=101)"));
}

TEST_F(EnumReadersTest, ListsTheNamesThroughAContextThatIsThere) {
    FakePcsc::AddReader({"Reader"});
    long context = 0;
    ASSERT_EQ(SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context), SCARD_S_SUCCESS);
    names = {"earlier"};

    EXPECT_EQ(ListPCSCReaderNames(context, names), SCARD_S_SUCCESS);

    EXPECT_THAT(names, ElementsAre("earlier", "Reader"));
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre(establishSystem, "message: ListPCSCReaders", ListReaders("null", 0),
                                               ListReaders("buffer", 8)));

    FakePcsc::Readers().clear();
    EXPECT_EQ(ListPCSCReaderNames(context, names), SCARD_E_NO_READERS_AVAILABLE);

    EXPECT_THAT(names, ElementsAre("earlier", "Reader"));
    SCardReleaseContext(context);
}

TEST_F(EnumReadersTest, ListsTheNamesInTheUsersScopeOtherwise) {
    FakePcsc::AddReader({"Reader"});
    FakePcsc::Script(Function::EstablishContext, Answer::Failure(SCARD_E_NO_SERVICE));

    EXPECT_TRUE(ListPCSCReaders(names));

    EXPECT_THAT(names, ElementsAre("Reader"));
    EXPECT_THAT(FakePcsc::Trace(),
                ElementsAre("message: ListPCSCReaders", establishSystem,
                            ErrorLine("cannot establish scard context -> Retry with User Scope", SCARD_E_NO_SERVICE),
                            establishUser, ListReaders("null", 0), ListReaders("buffer", 8),
                            "SCardReleaseContext(context=101)"));
}

TEST_F(EnumReadersTest, ListsNothingWithoutAService) {
    FakePcsc::Script(Function::EstablishContext, Answer::Failure(SCARD_E_NO_SERVICE), 4);
    names = {"earlier"};

    EXPECT_FALSE(ListPCSCReaders(names));
    EXPECT_FALSE(ListPCSCReaders(readers));

    EXPECT_THAT(names, ElementsAre("earlier"));
    EXPECT_THAT(readers, IsEmpty());
    const std::vector<std::string> once = {
        "message: ListPCSCReaders", establishSystem,
        ErrorLine("cannot establish scard context -> Retry with User Scope", SCARD_E_NO_SERVICE), establishUser,
        ErrorLine("cannot establish scard context", SCARD_E_NO_SERVICE)};
    std::vector<std::string> twice = once;
    twice.insert(twice.end(), once.begin(), once.end());
    EXPECT_EQ(FakePcsc::Trace(), twice);
}

TEST_F(EnumReadersTest, TellsWhyEachOfTheScopesFailed) {
    FakePcsc::Script(Function::EstablishContext, Answer::Failure(SCARD_E_NO_SERVICE));
    FakePcsc::Script(Function::EstablishContext, Answer::Failure(SCARD_E_TIMEOUT));
    EXPECT_FALSE(ListPCSCReaders(names));
    EXPECT_THAT(FakePcsc::Notes(),
                ElementsAre("message: ListPCSCReaders",
                            ErrorLine("cannot establish scard context -> Retry with User Scope", SCARD_E_NO_SERVICE),
                            ErrorLine("cannot establish scard context", SCARD_E_TIMEOUT)));
}

TEST_F(EnumReadersTest, CountsAResetCardAsAFailureOfEachCall) {
    const Answer wasReset = Answer::Failure(SCARD_W_RESET_CARD);
    FakePcsc::Script(Function::EstablishContext, wasReset, 2);
    EXPECT_FALSE(ListPCSCReaders(names));
    FakePcsc::Script(Function::ListReaders, wasReset);
    EXPECT_FALSE(ListPCSCReaders(names));
    EXPECT_EQ(FakePcsc::Notes().back(), ErrorLine("cannot list readers (1)", SCARD_W_RESET_CARD));
    FakePcsc::Script(Function::ListReaders, Lie("", 20));
    FakePcsc::Script(Function::ListReaders, wasReset);
    EXPECT_FALSE(ListPCSCReaders(names));
    EXPECT_EQ(FakePcsc::Notes().back(), ErrorLine("cannot list readers (2)", SCARD_W_RESET_CARD));
}

TEST_F(EnumReadersTest, ListsNothingWithoutReaders) {
    EXPECT_FALSE(ListPCSCReaders(readers));
    EXPECT_THAT(readers, IsEmpty());
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: ListPCSCReaders", establishSystem, ListReaders("null", 0),
                                               ErrorLine("cannot list readers (1)", SCARD_E_NO_READERS_AVAILABLE),
                                               "SCardReleaseContext(context=101)"));
}

TEST_F(EnumReadersTest, ListsNothingWhenTheNamesCannotBeRead) {
    FakePcsc::Script(Function::ListReaders, Lie("", 20));
    FakePcsc::Script(Function::ListReaders, Answer::Failure(SCARD_E_INSUFFICIENT_BUFFER));

    EXPECT_FALSE(ListPCSCReaders(names));

    EXPECT_THAT(names, IsEmpty());
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: ListPCSCReaders", establishSystem, ListReaders("null", 0),
                                               ListReaders("buffer", 20),
                                               ErrorLine("cannot list readers (2)", SCARD_E_INSUFFICIENT_BUFFER),
                                               "SCardReleaseContext(context=101)"));
}

TEST_F(EnumReadersTest, ListsNamesOfAnyBytes) {
    const std::string name = "\xC3\xBC & < \" ' \xFF";
    FakePcsc::AddReader({name});
    EXPECT_TRUE(ListPCSCReaders(names));
    EXPECT_THAT(names, ElementsAre(name));
}

TEST_F(EnumReadersTest, SucceedsWithAnEmptyList) {
    FakePcsc::Script(Function::ListReaders, Answer::Bytes(std::string("\0", 1)), 2);
    EXPECT_TRUE(ListPCSCReaders(readers));
    EXPECT_THAT(readers, IsEmpty());
}

TEST_F(EnumReadersTest, SurvivesAListWithoutAnEnd) {
    for (const unsigned long length : {7UL, 8UL, 70000UL, ~0UL}) {
        FakePcsc::Script(Function::ListReaders, Lie("", 7));
        FakePcsc::Script(Function::ListReaders, Lie(std::string("one\0two", 7), length));
        names.clear();
        EXPECT_TRUE(ListPCSCReaders(names));
        EXPECT_THAT(names, ElementsAre("one", "two")) << length;
    }
}

TEST_F(EnumReadersTest, SurvivesLengthsThatDoNotFitTheList) {
    const std::string list("one\0two\0\0", 9);
    struct Case {
        unsigned long first;
        unsigned long second;
        std::vector<std::string> names;
    };
    for (const auto& [first, second, wanted] :
         {Case{0, 0, {}}, Case{0, 9, {}}, Case{9, 0, {"one", "two"}}, Case{4, 9, {"one"}}, Case{9, 4, {"one", "two"}},
          Case{9, 5000, {"one", "two"}}, Case{9, ~0UL, {"one", "two"}}, Case{5000, 5000, {"one", "two"}}}) {
        FakePcsc::Script(Function::ListReaders, Lie("", first));
        FakePcsc::Script(Function::ListReaders, Lie(list, second));
        names.clear();
        EXPECT_TRUE(ListPCSCReaders(names));
        EXPECT_EQ(names, wanted) << first << ", then " << second;
    }
}

TEST_F(EnumReadersTest, AllocatesNoMoreThan64KibibytesForTheNames) {
    FakePcsc::Script(Function::ListReaders, Lie("", ~0UL));
    FakePcsc::Script(Function::ListReaders, Answer::Bytes(std::string("one\0\0", 5)));
    EXPECT_TRUE(ListPCSCReaders(names));
    EXPECT_THAT(names, ElementsAre("one"));
    EXPECT_EQ(FakePcsc::Calls().at(2), ListReaders("buffer", 65548));
}

// ---- records

TEST_F(EnumReadersTest, DescribesAReaderWithACard) {
    FakePcsc::AddReader(ReaderWithCard("Reader A"));

    EXPECT_TRUE(ListPCSCReaders(readers));

    ASSERT_THAT(readers, SizeIs(1));
    EXPECT_EQ(readers[0].name, "Reader A");
    EXPECT_FALSE(readers[0].isSecure);
    EXPECT_EQ(readers[0].vendorName, std::string("Vantor GmbH\0", 12)) << "bytes as the driver returned them";
    EXPECT_EQ(readers[0].vendorIfdType, "Type of Reader A");
    EXPECT_EQ(readers[0].vendorIfdSerialNo, "SN-1");
    EXPECT_EQ(readers[0].deviceUnit, std::string("\x02\x00\x00\x00", 4));
    EXPECT_EQ(readers[0].systemName, "system");
    EXPECT_EQ(readers[0].friendlyName, "friendly");
    EXPECT_THAT(FakePcsc::Trace(),
                ElementsAre("message: ListPCSCReaders", establishSystem, ListReaders("null", 0),
                            ListReaders("buffer", 10), "SCardReleaseContext(context=101)", //
                            "message: PCSCReader::ConnectReader", "message: PCSC ConnectReader Reader A",
                            establishSystem, //
                            "message: CheckReaderCapabilities start",
                            "error: CheckReaderCapabilities, error hCard is NULL", //
                            "message: PCSCReader::ConnectCard", "message: PCSCReader::LocalSCardConnect",
                            "SCardConnect(context=102, \"Reader A\", share=2, protocols=3)",
                            "SCardStatus(card=201, name=null length=0, atr=buffer length=33)", //
                            "SCardGetAttrib(card=201, 0x00010100, null, length=0)",
                            "SCardGetAttrib(card=201, 0x00010100, buffer, length=12)",
                            "SCardGetAttrib(card=201, 0x00010101, null, length=0)",
                            "SCardGetAttrib(card=201, 0x00010101, buffer, length=16)",
                            "SCardGetAttrib(card=201, 0x7fff0001, null, length=0)",
                            "SCardGetAttrib(card=201, 0x7fff0001, buffer, length=4)",
                            "SCardGetAttrib(card=201, 0x00010103, null, length=0)",
                            "SCardGetAttrib(card=201, 0x00010103, buffer, length=4)",
                            "SCardGetAttrib(card=201, 0x7fff0004, null, length=0)",
                            "SCardGetAttrib(card=201, 0x7fff0004, buffer, length=6)",
                            "SCardGetAttrib(card=201, 0x7fff0003, null, length=0)",
                            "SCardGetAttrib(card=201, 0x7fff0003, buffer, length=8)", //
                            "message: PCSCReader::Disconnect", "SCardDisconnect(card=201, disposition=2)",
                            "SCardReleaseContext(context=102)"));
}

TEST_F(EnumReadersTest, DescribesAReaderWithoutACardByItsNameAlone) {
    FakePcsc::Reader reader = ReaderWithCard("REINER SCT cyberJack 00 00");
    reader.cardPresent = false;
    FakePcsc::AddReader(reader);

    EXPECT_TRUE(ListPCSCReaders(readers));

    ASSERT_THAT(readers, SizeIs(1));
    EXPECT_EQ(readers[0].name, "REINER SCT cyberJack 00 00");
    EXPECT_FALSE(readers[0].isSecure) << "with a context the name does not count";
    for (const std::string& text : {readers[0].vendorName, readers[0].vendorIfdType, readers[0].vendorIfdSerialNo,
                                    readers[0].deviceUnit, readers[0].systemName, readers[0].friendlyName}) {
        EXPECT_EQ(text, "");
    }
    EXPECT_THAT(
        FakePcsc::Trace(),
        ElementsAre(
            "message: ListPCSCReaders", establishSystem, ListReaders("null", 0), ListReaders("buffer", 28),
            "SCardReleaseContext(context=101)", //
            "message: PCSCReader::ConnectReader", "message: PCSC ConnectReader REINER SCT cyberJack 00 00",
            establishSystem, //
            "message: CheckReaderCapabilities start",
            "error: CheckReaderCapabilities, error hCard is NULL", //
            "message: PCSCReader::ConnectCard", "message: PCSCReader::LocalSCardConnect",
            "SCardConnect(context=102, \"REINER SCT cyberJack 00 00\", share=2, protocols=3)",
            ErrorLine("error in SCardConnect", SCARD_E_NO_SMARTCARD), "error: error in connect to card",
            ErrorLine("cannot connect card ", SCARD_E_NO_SMARTCARD),
            "SCardControl(card=0, 0x42000d48, input=null length=0, buffer=2048)",
            "message: Reader DOES NOT support PIN verification",
            "message: Reader DOES NOT support PIN modification", //
            "SCardGetAttrib(card=0, 0x00010100, null, length=0)", "SCardGetAttrib(card=0, 0x00010101, null, length=0)",
            "SCardGetAttrib(card=0, 0x7fff0001, null, length=0)", "SCardGetAttrib(card=0, 0x00010103, null, length=0)",
            "SCardGetAttrib(card=0, 0x7fff0004, null, length=0)",
            "SCardGetAttrib(card=0, 0x7fff0003, null, length=0)", //
            "message: PCSCReader::Disconnect", "SCardReleaseContext(context=102)"));
}

TEST_F(EnumReadersTest, CountsNoReaderAsSecureWithAContextWhateverItCanDo) {
    FakePcsc::Reader reader = ReaderWithCard("Reader A");
    reader.controls[0x42000D48] = FakePcsc::FeatureList({{6, 1}, {7, 2}});
    FakePcsc::AddReader(reader);
    EXPECT_TRUE(ListPCSCReaders(readers));
    ASSERT_THAT(readers, SizeIs(1));
    EXPECT_FALSE(readers[0].isSecure);
}

TEST_F(EnumReadersTest, JudgesByTheNameWhenAReaderGetsNoContext) {
    FakePcsc::AddReader({"REINER SCT cyberJack RFID 01 00"});
    FakePcsc::AddReader({"Plain Reader 02 00"});
    FakePcsc::Script(Function::EstablishContext, Answer()); // for the list of names
    FakePcsc::Script(Function::EstablishContext, Answer::Failure(SCARD_E_NO_SERVICE), 4);

    EXPECT_TRUE(ListPCSCReaders(readers));

    ASSERT_THAT(readers, SizeIs(2));
    EXPECT_TRUE(readers[0].isSecure);
    EXPECT_FALSE(readers[1].isSecure);
    EXPECT_EQ(readers[1].name, "Plain Reader 02 00");
    EXPECT_EQ(readers[1].vendorName, "");
    EXPECT_THAT(FakePcsc::Notes(), ::testing::Contains("error: reader not connected").Times(2));
}

TEST_F(EnumReadersTest, AppendsARecordForEachReaderInOrder) {
    FakePcsc::AddReader(ReaderWithCard("First"));
    FakePcsc::AddReader(ReaderWithCard("Second"));
    FakePcsc::Readers()[1].attributes.erase(0x00010100);
    FakePcsc::AddReader(ReaderWithCard("Third"));
    readers.resize(1);

    EXPECT_TRUE(ListPCSCReaders(readers));

    ASSERT_THAT(readers, SizeIs(4));
    EXPECT_EQ(readers[1].name, "First");
    EXPECT_EQ(readers[2].name, "Second");
    EXPECT_EQ(readers[3].name, "Third");
    EXPECT_EQ(readers[2].vendorName, "") << "nothing is left over from the reader before";
    EXPECT_EQ(readers[3].vendorIfdType, "Type of Third");
}

TEST_F(EnumReadersTest, AsksAllReadersThroughOneObject) {
    FakePcsc::AddReader({"First"});
    FakePcsc::AddReader({"Second"});
    FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_E_NO_SMARTCARD), 2);
    FakePcsc::Script(Function::Control, Answer::Bytes(FakePcsc::FeatureList({{6, 1}})));
    FakePcsc::Script(Function::Control, Answer::Bytes(""));

    EXPECT_TRUE(ListPCSCReaders(readers));

    EXPECT_THAT(FakePcsc::Notes(), ::testing::Contains("message: Reader DOES support PIN verification").Times(2))
        << "what the log tells of a reader's features includes those of the readers before it";
}

TEST_F(EnumReadersTest, KeepsTheFieldsOfARecordInTheirOrder) {
    const PCSCReaderConfig reader = {"name", true, "vendor", "type", "serial", "unit", "system", "friendly"};
    EXPECT_EQ(reader.name, "name");
    EXPECT_TRUE(reader.isSecure);
    EXPECT_EQ(reader.vendorName, "vendor");
    EXPECT_EQ(reader.vendorIfdType, "type");
    EXPECT_EQ(reader.vendorIfdSerialNo, "serial");
    EXPECT_EQ(reader.deviceUnit, "unit");
    EXPECT_EQ(reader.systemName, "system");
    EXPECT_EQ(reader.friendlyName, "friendly");
}

TEST_F(EnumReadersTest, ListsAReaderThatIsPulledBetweenListingAndConnecting) {
    FakePcsc::AddReader(ReaderWithCard("Stays"));
    FakePcsc::Script(Function::ListReaders, Answer::Bytes(std::string("Pulled\0Stays\0\0", 14)), 2);
    EXPECT_TRUE(ListPCSCReaders(readers));
    ASSERT_THAT(readers, SizeIs(2));
    EXPECT_EQ(readers[0].name, "Pulled");
    EXPECT_EQ(readers[0].vendorName, "");
    EXPECT_EQ(readers[1].friendlyName, "friendly");
}

TEST_F(EnumReadersTest, ListsReadersWhoseServiceGoesAwayMeanwhile) {
    FakePcsc::AddReader(ReaderWithCard("Reader A"));
    FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_E_SERVICE_STOPPED), 5);
    EXPECT_TRUE(ListPCSCReaders(readers));
    ASSERT_THAT(readers, SizeIs(1));
    const auto calls = FakePcsc::Calls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "sleep(1)"), 3);
}

TEST_F(EnumReadersTest, DescribesSixteenReadersAThousandTimesAndGivesAllHandlesBack) {
    NOT_UNDER_VALGRIND("too slow there");
    RemoveCallbacks();
    for (int i = 0; i < 16; ++i) {
        FakePcsc::AddReader(ReaderWithCard("Reader " + std::to_string(i)));
        FakePcsc::Readers().back().cardPresent = i % 2 == 0;
    }
    for (int round = 0; round < 1000; ++round) {
        readers.clear();
        FakePcsc::ClearTrace();
        ASSERT_TRUE(ListPCSCReaders(readers));
        ASSERT_THAT(readers, SizeIs(16));
    }
}

// ---- PIN pads by name

TEST_F(EnumReadersTest, KnowsPinPadsByTheModelInTheirName) {
    for (const char* const model : {"OMNIKEY CardMan 3621", "OMNIKEY CardMan 3821", "OMNIKEY CardMan 8630",
                                    "Cherry SmartBoard", "REINER SCT cyberJack", "SCM Microsystems Inc. SPRx32"}) {
        EXPECT_TRUE(PCSCIsSecureByName(model));
        EXPECT_TRUE(PCSCIsSecureByName(std::string("The ") + model + " e-com(a) 00 00"));
        EXPECT_FALSE(PCSCIsSecureByName(std::string(model, std::string(model).size() - 1)));
    }
}

TEST_F(EnumReadersTest, KnowsNoPinPadByAnotherName) {
    for (const char* const name : {"", "OMNIKEY CardMan 3121", "cherry smartboard", "CHERRY SMARTBOARD",
                                   "Reiner SCT cyberJack", "SCM Microsystems Inc. SCR 3310", "OMNIKEY  CardMan 3621"}) {
        EXPECT_FALSE(PCSCIsSecureByName(name)) << name;
    }
    EXPECT_THAT(FakePcsc::Trace(), IsEmpty());
}
