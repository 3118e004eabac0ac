#include "readers/PCSCReader.h"

#include <winscard.h>

#include <algorithm>
#include <thread>

#include "tests/unit/readers/OpenReaders.h"
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
const char* const retrying = "message: LocalSCardConnect error, trying to get new hCtx and retrying";
const char* const noVerify = "message: Reader DOES NOT support PIN verification";
const char* const noModify = "message: Reader DOES NOT support PIN modification";

std::string Connect(int context) {
    return "SCardConnect(context=" + std::to_string(context) + ", \"Reader A\", share=2, protocols=3)";
}

std::string Release(int context) {
    return "SCardReleaseContext(context=" + std::to_string(context) + ")";
}

std::string Status(int card) {
    return "SCardStatus(card=" + std::to_string(card) + ", name=null length=0, atr=buffer length=33)";
}

std::string FeatureDump(int card) {
    return "SCardControl(card=" + std::to_string(card) + ", 0x42000d48, input=null length=0, buffer=2048)";
}

} // namespace

class PCSCReaderTest : public ReaderTest {
protected:
    PCSCReaderTest() {
        FakePcsc::AddReader({"Reader A", true, "\x3B\x80\x01\x81", {}, {}});
        reader.SetReaderId("Reader A");
    }

    /// Context 101.
    void BindReader() {
        ASSERT_TRUE(reader.ConnectReader());
        FakePcsc::ClearTrace();
    }

    /// Context 101, card 201.
    void BindCard() {
        BindReader();
        ASSERT_TRUE(reader.ConnectCard());
        FakePcsc::ClearTrace();
    }

    long LocalConnect() {
        return reader.LocalSCardConnect("Reader A", SCARD_SHARE_SHARED, &reader.hCard, &reader.activeProtocol);
    }

    OpenPCSCReader reader;
};

// ---- the object

TEST_F(PCSCReaderTest, IsUnboundAtFirst) {
    OpenPCSCReader fresh;
    EXPECT_EQ(fresh.hContext, 0);
    EXPECT_EQ(fresh.hCard, 0);
    EXPECT_EQ(fresh.activeProtocol, 0U);
    EXPECT_EQ(fresh.atrLength, 0U);
    EXPECT_THAT(fresh.atr, ::testing::Each(0));
    EXPECT_EQ(sizeof(fresh.atr), 33U);
    EXPECT_EQ(fresh.readerId, "");
    EXPECT_EQ(fresh.verifyPinDirectCode, 0U);
    EXPECT_EQ(fresh.modifyPinDirectCode, 0U);
    EXPECT_FALSE(fresh.IsOk());
}

TEST_F(PCSCReaderTest, IsKnownByItsReadersName) {
    EXPECT_EQ(reader.VendorID(), "Reader A");
    EXPECT_THAT(FakePcsc::Trace(), IsEmpty());
}

TEST_F(PCSCReaderTest, IsOkWithAContext) {
    BindReader();
    EXPECT_TRUE(reader.IsOk());
    EXPECT_EQ(reader.hCard, 0);
}

TEST_F(PCSCReaderTest, GivesNothingBackWhenItIsDestroyed) {
    {
        OpenPCSCReader other;
        other.SetReaderId("Reader A");
        EXPECT_TRUE(other.ConnectReader());
        EXPECT_TRUE(other.ConnectCard());
        FakePcsc::ClearTrace();
    }
    EXPECT_THAT(FakePcsc::Trace(), IsEmpty());
    EXPECT_EQ(FakePcsc::OpenContexts(), 1U);
    EXPECT_EQ(FakePcsc::OpenCards(), 1U);
}

TEST_F(PCSCReaderTest, KeepsItsFieldsInTheirOrder) {
    const auto* const atr = reinterpret_cast<const char*>(reader.atr);
    const std::vector<const void*> fields = {&reader.activeProtocol,      atr,
                                             &reader.atrLength,           &reader.readerId,
                                             &reader.verifyPinDirectCode, &reader.modifyPinDirectCode};
    EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end()));
}

TEST_F(PCSCReaderTest, KeepsThePinCodesOfItsReaderUntilItAsksAgain) {
    FakePcsc::Readers().front().controls[0x42000D48] = FakePcsc::FeatureList({{5, 5}, {6, 6}, {7, 7}});
    BindCard();
    EXPECT_TRUE(reader.IsSecure());
    const auto codes = [this] {
        return std::vector<unsigned>{reader.getKeyPressed, reader.verifyPinDirect, reader.modifyPinDirect};
    };

    EXPECT_TRUE(reader.Disconnect());
    EXPECT_THAT(codes(), ElementsAre(5U, 6U, 7U));
    reader.SetReaderId("Reader B");
    EXPECT_THAT(codes(), ElementsAre(5U, 6U, 7U));
    EXPECT_TRUE(reader.ConnectReader());
    EXPECT_FALSE(reader.ConnectCard());
    EXPECT_THAT(codes(), ElementsAre(5U, 6U, 7U));
    EXPECT_FALSE(reader.IsSecure());
    EXPECT_THAT(codes(), ElementsAre(0U, 0U, 0U));
}

// ---- what a class derived from it changes

class DerivedReader : public OpenPCSCReader {
public:
    bool ConnectReader() override {
        FakePcsc::Note("derived ConnectReader");
        return OpenPCSCReader::ConnectReader();
    }
    bool Disconnect() override {
        FakePcsc::Note("derived Disconnect");
        return OpenPCSCReader::Disconnect();
    }
    bool ConnectCard(bool force) override {
        FakePcsc::Note("derived ConnectCard");
        return OpenPCSCReader::ConnectCard(force);
    }
    bool IsOk() override { return isOk && OpenPCSCReader::IsOk(); }
    void CheckReaderCapabilities(bool& canVerify, bool& canModify) override {
        FakePcsc::Note("derived CheckReaderCapabilities");
        OpenPCSCReader::CheckReaderCapabilities(canVerify, canModify);
    }
    bool isOk = true;
};

class DerivedReaderTest : public PCSCReaderTest {
protected:
    DerivedReaderTest() {
        derived.SetReaderId("Reader A");
        EXPECT_TRUE(derived.ConnectReader());
        EXPECT_TRUE(derived.OpenPCSCReader::ConnectCard(false));
        LibReaderImpl::SetMessageLoggingFunc(nullptr);
        LibReaderImpl::SetErrorLoggingFunc(nullptr);
        FakePcsc::ClearTrace();
    }

    DerivedReader derived;
};

TEST_F(DerivedReaderTest, DisconnectsItsOwnWayBeforeItConnectsAnew) {
    EXPECT_TRUE(derived.ConnectReader());
    EXPECT_THAT(FakePcsc::Notes(), ElementsAre("derived ConnectReader", "derived Disconnect"));
}

TEST_F(DerivedReaderTest, RebindsItsOwnWayAfterARemovedCard) {
    FakePcsc::Script(Function::Status, Answer::Failure(SCARD_W_REMOVED_CARD));
    EXPECT_TRUE(derived.OpenPCSCReader::ConnectCard(false));
    EXPECT_THAT(FakePcsc::Notes(), ElementsAre("derived Disconnect", "derived ConnectReader"));
}

TEST_F(DerivedReaderTest, RecoversItsOwnWay) {
    FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_E_SERVICE_STOPPED), 2);
    EXPECT_TRUE(derived.OpenPCSCReader::ConnectCard(true));
    EXPECT_THAT(FakePcsc::Notes(), ElementsAre("derived Disconnect", "derived ConnectReader"));
}

TEST_F(DerivedReaderTest, JudgesItselfWhetherItIsOk) {
    derived.isOk = false;
    EXPECT_EQ(derived.GetReaderStatus(), SCARD_W_REMOVED_CARD);
    EXPECT_FALSE(derived.BaseCspReader::IsTokenPresent());
    EXPECT_THAT(FakePcsc::Calls(), IsEmpty());
}

TEST_F(DerivedReaderTest, ConnectsItsOwnWayToLookForAToken) {
    EXPECT_TRUE(derived.IsTokenPresent());
    EXPECT_THAT(FakePcsc::Notes(), ElementsAre("derived ConnectCard"));
}

TEST_F(DerivedReaderTest, AsksForItsFeaturesItsOwnWay) {
    const PINVerifyData data;
    ByteArray response;
    EXPECT_EQ(derived.VerifyPin(Bytes("\x01"), &data, response), 2);
    EXPECT_THAT(FakePcsc::Notes(), ElementsAre("derived CheckReaderCapabilities"));
}

// ---- ConnectReader

TEST_F(PCSCReaderTest, ConnectsTheReaderInTheSystemsScope) {
    EXPECT_TRUE(reader.ConnectReader());
    EXPECT_EQ(reader.hContext, 101);
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: PCSCReader::ConnectReader",
                                               "message: PCSC ConnectReader Reader A", establishSystem));
}

TEST_F(PCSCReaderTest, ConnectsNoReaderWithoutAName) {
    reader.SetReaderId("");
    EXPECT_FALSE(reader.ConnectReader());
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: PCSCReader::ConnectReader", "error: ReaderId not set"));
}

TEST_F(PCSCReaderTest, ConnectsTheReaderInTheUsersScopeOtherwise) {
    FakePcsc::Script(Function::EstablishContext, Answer::Failure(SCARD_E_NO_SERVICE));
    EXPECT_TRUE(reader.ConnectReader());
    EXPECT_TRUE(reader.IsOk());
    EXPECT_THAT(
        FakePcsc::Trace(),
        ElementsAre("message: PCSCReader::ConnectReader", "message: PCSC ConnectReader Reader A", establishSystem,
                    ErrorLine("cannot establish context -> retry in user context", SCARD_E_NO_SERVICE), establishUser));
}

TEST_F(PCSCReaderTest, ConnectsNoReaderWithoutAService) {
    FakePcsc::Script(Function::EstablishContext, Answer::Failure(SCARD_E_NO_SERVICE));
    FakePcsc::Script(Function::EstablishContext, Answer::Failure(SCARD_E_TIMEOUT));
    EXPECT_FALSE(reader.ConnectReader());
    EXPECT_FALSE(reader.IsOk());
    EXPECT_THAT(FakePcsc::Trace(),
                ElementsAre("message: PCSCReader::ConnectReader", "message: PCSC ConnectReader Reader A",
                            establishSystem,
                            ErrorLine("cannot establish context -> retry in user context", SCARD_E_NO_SERVICE),
                            establishUser, ErrorLine("cannot establish context ", SCARD_E_TIMEOUT)));
    EXPECT_EQ(FakePcsc::Trace().back(), "error: cannot establish context   (0x8010000a, 8010000a)");
}

TEST_F(PCSCReaderTest, GivesTheEarlierBindingBackWhenItConnectsAnew) {
    BindCard();
    EXPECT_TRUE(reader.ConnectReader());
    EXPECT_THAT(FakePcsc::Trace(),
                ElementsAre("message: PCSCReader::ConnectReader", "message: disconnect old reader",
                            "message: PCSCReader::Disconnect", "SCardDisconnect(card=201, disposition=2)", Release(101),
                            "message: PCSC ConnectReader Reader A", establishSystem));
    EXPECT_EQ(reader.hContext, 102);
    EXPECT_EQ(reader.hCard, 0);
}

// ---- Disconnect, Reconnect

TEST_F(PCSCReaderTest, DisconnectsCardAndContext) {
    BindCard();
    EXPECT_TRUE(reader.Disconnect());
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: PCSCReader::Disconnect",
                                               "SCardDisconnect(card=201, disposition=2)", Release(101)));
    EXPECT_EQ(reader.hCard, 0);
    EXPECT_EQ(reader.hContext, 0);
    EXPECT_EQ(FakePcsc::OpenContexts() + FakePcsc::OpenCards(), 0U);
}

TEST_F(PCSCReaderTest, DisconnectsTheContextAlone) {
    BindReader();
    EXPECT_TRUE(reader.Disconnect());
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: PCSCReader::Disconnect", Release(101)));
}

TEST_F(PCSCReaderTest, DisconnectsAnUnboundReader) {
    EXPECT_TRUE(reader.Disconnect());
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: PCSCReader::Disconnect"));
}

TEST_F(PCSCReaderTest, ForgetsItsHandlesEvenWhenTheyAreRefused) {
    BindCard();
    FakePcsc::Script(Function::Disconnect, Answer::Failure(SCARD_E_INVALID_HANDLE));
    FakePcsc::Script(Function::ReleaseContext, Answer::Failure(SCARD_E_INVALID_HANDLE));
    EXPECT_TRUE(reader.Disconnect());
    EXPECT_EQ(reader.hCard, 0);
    EXPECT_EQ(reader.hContext, 0);
}

TEST_F(PCSCReaderTest, ReconnectsWithPowerResetOrAsItIs) {
    struct Case {
        bool reset;
        bool unpower;
        const char* initialisation;
    };
    for (const auto& [reset, unpower, initialisation] :
         {Case{false, false, "0"}, Case{true, false, "1"}, Case{false, true, "2"}, Case{true, true, "2"}}) {
        BindCard();
        const unsigned long protocol = reader.activeProtocol;
        FakePcsc::Script(Function::Reconnect, Answer());
        EXPECT_TRUE(reader.Reconnect(reset, unpower));
        EXPECT_THAT(FakePcsc::Trace(), ElementsAre("SCardReconnect(card=" + std::to_string(reader.hCard) +
                                                   ", share=2, protocols=3, initialisation=" + initialisation + ")"));
        EXPECT_EQ(reader.activeProtocol, protocol) << "the new protocol is not kept";
    }
}

TEST_F(PCSCReaderTest, ReconnectsNoCardThatIsNotConnected) {
    BindReader();
    EXPECT_FALSE(reader.Reconnect(true, false));
    EXPECT_THAT(FakePcsc::Trace(), IsEmpty());
}

TEST_F(PCSCReaderTest, ReportsAReconnectThatFails) {
    BindCard();
    FakePcsc::Script(Function::Reconnect, Answer::Failure(SCARD_W_REMOVED_CARD));
    EXPECT_FALSE(reader.Reconnect(true, false));
    EXPECT_THAT(FakePcsc::Notes(), IsEmpty());
}

// ---- LocalSCardConnect

TEST_F(PCSCReaderTest, ConnectsLocallyAtTheFirstAttempt) {
    BindReader();
    long card = 0;
    unsigned long protocol = 0;
    EXPECT_EQ(reader.LocalSCardConnect("Reader A", SCARD_SHARE_EXCLUSIVE, &card, &protocol), SCARD_S_SUCCESS);
    EXPECT_EQ(card, 201);
    EXPECT_EQ(protocol, 2U);
    EXPECT_EQ(reader.hCard, 0) << "the handle goes where the caller wants it";
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: PCSCReader::LocalSCardConnect",
                                               "SCardConnect(context=101, \"Reader A\", share=1, protocols=3)"));
}

TEST_F(PCSCReaderTest, ConnectsLocallyToTheReaderOfThatName) {
    FakePcsc::AddReader({"Reader B"});
    BindReader();
    EXPECT_EQ(reader.LocalSCardConnect("Reader B", SCARD_SHARE_SHARED, &reader.hCard, &reader.activeProtocol),
              SCARD_S_SUCCESS);
    EXPECT_THAT(FakePcsc::Calls(), ElementsAre("SCardConnect(context=101, \"Reader B\", share=2, protocols=3)"));
    EXPECT_EQ(reader.readerId, "Reader A");
}

TEST_F(PCSCReaderTest, DoesNotRecoverFromOtherFailures) {
    BindReader();
    for (const long code : {SCARD_E_NO_SMARTCARD, SCARD_E_UNKNOWN_READER, SCARD_E_INVALID_HANDLE, SCARD_E_NO_SERVICE,
                            SCARD_W_RESET_CARD, SCARD_E_SHARING_VIOLATION, 5L, 7L}) {
        FakePcsc::ClearTrace();
        FakePcsc::Script(Function::Connect, Answer::Failure(code));
        EXPECT_EQ(LocalConnect(), code);
        EXPECT_THAT(FakePcsc::Trace(),
                    ElementsAre("message: PCSCReader::LocalSCardConnect", Connect(101),
                                ErrorLine("error in SCardConnect", code), "error: error in connect to card"));
    }
}

TEST_F(PCSCReaderTest, TriesOnceMoreAfterAStoppedServiceAStaleHandleOrARemovedCard) {
    for (const long code : {SCARD_E_SERVICE_STOPPED, 6L, SCARD_W_REMOVED_CARD}) {
        FakePcsc::Reset();
        FakePcsc::AddReader({"Reader A", true, "", {}, {}});
        reader.hContext = 0;
        reader.hCard = 0;
        BindReader();
        FakePcsc::Script(Function::Connect, Answer::Failure(code));

        EXPECT_EQ(LocalConnect(), SCARD_S_SUCCESS);

        EXPECT_EQ(reader.hCard, 201);
        EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: PCSCReader::LocalSCardConnect", Connect(101),
                                                   ErrorLine("error in SCardConnect", code),
                                                   "SCardDisconnect(card=0, disposition=1)", Connect(101)))
            << "the object's own handle is disconnected even when it is 0";
    }
}

TEST_F(PCSCReaderTest, ResetsItsOwnCardBeforeItTriesOnceMore) {
    BindCard();
    FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_W_REMOVED_CARD));
    long card = 0;
    unsigned long protocol = 0;
    EXPECT_EQ(reader.LocalSCardConnect("Reader A", SCARD_SHARE_SHARED, &card, &protocol), SCARD_S_SUCCESS);
    EXPECT_EQ(reader.hCard, 0);
    EXPECT_EQ(card, 202);
    EXPECT_THAT(FakePcsc::Calls(), ElementsAre(Connect(101), "SCardDisconnect(card=201, disposition=1)", Connect(101)));
}

TEST_F(PCSCReaderTest, ResetsItsOwnCardAlthoughTheFailingAttemptForgotTheHandle) {
    BindCard();
    FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_W_REMOVED_CARD));
    EXPECT_EQ(LocalConnect(), SCARD_S_SUCCESS);
    EXPECT_EQ(reader.hCard, 202);
    EXPECT_THAT(FakePcsc::Calls(), ElementsAre(Connect(101), "SCardDisconnect(card=201, disposition=1)", Connect(101)));
    EXPECT_EQ(FakePcsc::OpenCards(), 1U);
}

TEST_F(PCSCReaderTest, HasNoCardAfterAnAttemptByForceThatFails) {
    BindCard();
    FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_E_SHARING_VIOLATION));
    EXPECT_FALSE(reader.ConnectCard(true));
    EXPECT_EQ(reader.hCard, 0);
    EXPECT_TRUE(reader.Disconnect());
    EXPECT_EQ(FakePcsc::OpenCards(), 0U) << "the earlier connection ends with the context";
}

TEST_F(PCSCReaderTest, GivesUpWhenTheSecondAttemptFailsInAnotherWay) {
    BindReader();
    FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_W_REMOVED_CARD));
    FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_E_NO_SMARTCARD));
    EXPECT_EQ(LocalConnect(), SCARD_E_NO_SMARTCARD);
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: PCSCReader::LocalSCardConnect", Connect(101),
                                               ErrorLine("error in SCardConnect", SCARD_W_REMOVED_CARD),
                                               "SCardDisconnect(card=0, disposition=1)", Connect(101),
                                               ErrorLine("error in SCardConnect", SCARD_E_NO_SMARTCARD),
                                               "error: error in connect to card"));
}

TEST_F(PCSCReaderTest, TriesAgainWithANewContext) {
    BindReader();
    FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_E_SERVICE_STOPPED), 2);

    EXPECT_EQ(LocalConnect(), SCARD_S_SUCCESS);

    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: PCSCReader::LocalSCardConnect", Connect(101),
                                               ErrorLine("error in SCardConnect", SCARD_E_SERVICE_STOPPED),
                                               "SCardDisconnect(card=0, disposition=1)", Connect(101),
                                               ErrorLine("error in SCardConnect", SCARD_E_SERVICE_STOPPED), //
                                               retrying, "message: PCSCReader::Disconnect", Release(101),
                                               "message: PCSCReader::ConnectReader",
                                               "message: PCSC ConnectReader Reader A", establishSystem, Connect(102)))
        << "success needs no sleep";
    EXPECT_EQ(reader.hContext, 102);
    EXPECT_EQ(reader.hCard, 201);
}

TEST_F(PCSCReaderTest, TriesThreeTimesWithANewContextOneSecondApart) {
    BindReader();
    FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_E_SERVICE_STOPPED), 2);
    // From here on any error will do, and the last one is the result.
    FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_E_NO_SMARTCARD), 2);
    FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_E_TIMEOUT));

    EXPECT_EQ(LocalConnect(), SCARD_E_TIMEOUT);

    EXPECT_THAT(
        FakePcsc::Trace(),
        ElementsAre(
            "message: PCSCReader::LocalSCardConnect", Connect(101),
            ErrorLine("error in SCardConnect", SCARD_E_SERVICE_STOPPED), "SCardDisconnect(card=0, disposition=1)",
            Connect(101), ErrorLine("error in SCardConnect", SCARD_E_SERVICE_STOPPED), //
            retrying, "message: PCSCReader::Disconnect", Release(101), "message: PCSCReader::ConnectReader",
            "message: PCSC ConnectReader Reader A", establishSystem, Connect(102),
            ErrorLine("error in SCardConnect", SCARD_E_NO_SMARTCARD), "sleep(1)", //
            retrying, "message: PCSCReader::Disconnect", Release(102), "message: PCSCReader::ConnectReader",
            "message: PCSC ConnectReader Reader A", establishSystem, Connect(103),
            ErrorLine("error in SCardConnect", SCARD_E_NO_SMARTCARD), "sleep(1)", //
            retrying, "message: PCSCReader::Disconnect", Release(103), "message: PCSCReader::ConnectReader",
            "message: PCSC ConnectReader Reader A", establishSystem, Connect(104),
            ErrorLine("error in SCardConnect", SCARD_E_TIMEOUT), "sleep(1)", "error: error in connect to card"));
}

TEST_F(PCSCReaderTest, WaitsForAServiceThatIsAway) {
    BindReader();
    FakePcsc::Script(Function::Connect, Answer::Failure(6), 2);
    FakePcsc::Script(Function::EstablishContext, Answer::Failure(SCARD_E_NO_SERVICE), 4); // two attempts, both scopes

    EXPECT_EQ(LocalConnect(), SCARD_S_SUCCESS);

    EXPECT_THAT(FakePcsc::Calls(), ElementsAre(Connect(101), "SCardDisconnect(card=0, disposition=1)", Connect(101), //
                                               Release(101), establishSystem, establishUser, "sleep(1)",             //
                                               establishSystem, establishUser, "sleep(1)",                           //
                                               establishSystem, Connect(102)));
}

TEST_F(PCSCReaderTest, ReturnsTheLastCodeOfAConnectWhenTheServiceStaysAway) {
    BindReader();
    FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_E_SERVICE_STOPPED));
    FakePcsc::Script(Function::Connect, Answer::Failure(6));
    FakePcsc::Script(Function::EstablishContext, Answer::Failure(SCARD_E_NO_SERVICE), 6);
    EXPECT_EQ(LocalConnect(), 6);
    EXPECT_EQ(reader.hContext, 0);
    const auto calls = FakePcsc::Calls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "sleep(1)"), 3);
    EXPECT_EQ(FakePcsc::Notes().back(), "error: error in connect to card");
}

// ---- ConnectCard

TEST_F(PCSCReaderTest, ConnectsACardAndReadsItsAtr) {
    BindReader();
    EXPECT_TRUE(reader.ConnectCard(false));
    EXPECT_EQ(reader.hCard, 201);
    EXPECT_EQ(reader.activeProtocol, 2U);
    EXPECT_EQ(reader.atrLength, 4U);
    EXPECT_EQ(ByteArray(reader.atr, 4), Bytes("\x3B\x80\x01\x81"));
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: PCSCReader::ConnectCard",
                                               "message: PCSCReader::LocalSCardConnect", Connect(101), Status(201)));
}

TEST_F(PCSCReaderTest, ConnectsNoCardWithoutAContext) {
    EXPECT_FALSE(reader.ConnectCard(false));
    EXPECT_FALSE(reader.ConnectCard());
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: PCSCReader::ConnectCard", "error: reader not connected",
                                               "message: PCSCReader::ConnectCard", "error: reader not connected"));
}

TEST_F(PCSCReaderTest, AsksAConnectedCardForItsStatusAlone) {
    BindCard();
    EXPECT_TRUE(reader.ConnectCard(false));
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: PCSCReader::ConnectCard",
                                               "SCardStatus(card=201, name=null length=0, atr=buffer length=32)",
                                               "message: card already connected"));
}

TEST_F(PCSCReaderTest, KeepsAConnectedCardWhateverElseItsStatusSays) {
    BindCard();
    FakePcsc::Script(Function::Status, Answer::Failure(SCARD_W_RESET_CARD));
    EXPECT_TRUE(reader.ConnectCard(false));
    EXPECT_EQ(FakePcsc::Trace().back(), "message: card already connected");
}

TEST_F(PCSCReaderTest, ConnectsAConnectedCardAnewByForce) {
    BindCard();
    EXPECT_TRUE(reader.ConnectCard(true));
    EXPECT_EQ(reader.hCard, 202);
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: PCSCReader::ConnectCard",
                                               "SCardStatus(card=201, name=null length=0, atr=buffer length=32)",
                                               "message: PCSCReader::LocalSCardConnect", Connect(101), Status(202)));
}

TEST_F(PCSCReaderTest, BindsTheReaderAnewWhenItsCardWasRemoved) {
    BindCard();
    FakePcsc::Script(Function::Status, Answer::Failure(SCARD_W_REMOVED_CARD));
    EXPECT_TRUE(reader.ConnectCard(false));
    EXPECT_EQ(reader.hContext, 102);
    EXPECT_EQ(reader.hCard, 202);
    EXPECT_THAT(FakePcsc::Trace(),
                ElementsAre("message: PCSCReader::ConnectCard",
                            "SCardStatus(card=201, name=null length=0, atr=buffer length=32)",
                            "message: PCSCReader::Disconnect", "SCardDisconnect(card=201, disposition=2)", Release(101),
                            "message: PCSCReader::ConnectReader", "message: PCSC ConnectReader Reader A",
                            establishSystem, "message: PCSCReader::LocalSCardConnect", Connect(102), Status(202)));
}

TEST_F(PCSCReaderTest, TriesToConnectAlsoWhenTheReaderCannotBeBoundAnew) {
    BindCard();
    FakePcsc::Script(Function::Status, Answer::Failure(SCARD_W_REMOVED_CARD));
    FakePcsc::Script(Function::EstablishContext, Answer::Failure(SCARD_E_NO_SERVICE), 2);

    EXPECT_FALSE(reader.ConnectCard(false));

    EXPECT_EQ(reader.hContext, 0);
    EXPECT_EQ(reader.hCard, 0);
    EXPECT_THAT(FakePcsc::Calls(), ElementsAre("SCardStatus(card=201, name=null length=0, atr=buffer length=32)",
                                               "SCardDisconnect(card=201, disposition=2)", Release(101),
                                               establishSystem, establishUser, Connect(0), FeatureDump(0)));
    const std::vector<std::string> notes = FakePcsc::Notes();
    ASSERT_GE(notes.size(), 6U);
    EXPECT_THAT(std::vector<std::string>(notes.end() - 6, notes.end()),
                ElementsAre("message: PCSCReader::LocalSCardConnect",
                            ErrorLine("error in SCardConnect", SCARD_E_INVALID_HANDLE),
                            "error: error in connect to card",
                            ErrorLine("cannot connect card ", SCARD_E_INVALID_HANDLE), noVerify, noModify));
}

TEST_F(PCSCReaderTest, LogsThePinFeaturesWhenNoCardConnects) {
    BindReader();
    FakePcsc::Readers().front().cardPresent = false;
    EXPECT_FALSE(reader.ConnectCard(false));
    EXPECT_TRUE(reader.IsOk());
    EXPECT_THAT(FakePcsc::Trace(),
                ElementsAre("message: PCSCReader::ConnectCard", "message: PCSCReader::LocalSCardConnect", Connect(101),
                            ErrorLine("error in SCardConnect", SCARD_E_NO_SMARTCARD), "error: error in connect to card",
                            ErrorLine("cannot connect card ", SCARD_E_NO_SMARTCARD), FeatureDump(0), noVerify,
                            noModify));
    EXPECT_THAT(FakePcsc::Trace(), ::testing::Contains("error: cannot connect card   (0x8010000c, 8010000c)"));
}

TEST_F(PCSCReaderTest, LogsThePinFeaturesWhenTheCardGivesNoAtr) {
    BindReader();
    FakePcsc::Script(Function::Status, Answer::Failure(SCARD_W_UNRESPONSIVE_CARD));
    FakePcsc::Script(Function::Control,
                     Answer::Bytes(FakePcsc::FeatureList({{1, 1}, {6, 0x42330006}, {7, 0x89ABCDEF}, {8, 2}})));

    EXPECT_FALSE(reader.ConnectCard(false));

    EXPECT_EQ(reader.hCard, 201) << "handles stay as the failed call left them";
    EXPECT_EQ(reader.verifyPinDirectCode, 0x42330006U);
    EXPECT_EQ(reader.modifyPinDirectCode, 0x89ABCDEFU);
    EXPECT_THAT(FakePcsc::Trace(),
                ElementsAre("message: PCSCReader::ConnectCard", "message: PCSCReader::LocalSCardConnect", Connect(101),
                            Status(201), ErrorLine("cannot read card status ", SCARD_W_UNRESPONSIVE_CARD),
                            FeatureDump(201), "message: Reader DOES support PIN verification",
                            "message: Reader DOES support PIN modification"));
}

TEST_F(PCSCReaderTest, LogsEachPinFeatureByItself) {
    BindReader();
    for (const unsigned char tag : {'\x06', '\x07'}) {
        OpenPCSCReader other;
        other.SetReaderId("Reader A");
        ASSERT_TRUE(other.ConnectReader());
        FakePcsc::ClearTrace();
        FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_E_NO_SMARTCARD));
        FakePcsc::Script(Function::Control, Answer::Bytes(FakePcsc::FeatureList({{tag, 0x42330006}})));
        EXPECT_FALSE(other.ConnectCard(false));
        const std::vector<std::string> notes = FakePcsc::Notes();
        ASSERT_GE(notes.size(), 2U);
        EXPECT_EQ(notes[notes.size() - 2], tag == 6 ? "message: Reader DOES support PIN verification" : noVerify);
        EXPECT_EQ(notes[notes.size() - 1], tag == 7 ? "message: Reader DOES support PIN modification" : noModify);
    }
}

TEST_F(PCSCReaderTest, LogsAFeatureOfAnEarlierListThatTheNextOneLacks) {
    BindReader();
    FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_E_NO_SMARTCARD), 2);
    FakePcsc::Script(Function::Control, Answer::Bytes(FakePcsc::FeatureList({{6, 1}, {7, 2}})));
    FakePcsc::Script(Function::Control, Answer::Bytes(""));
    EXPECT_FALSE(reader.ConnectCard(false));
    FakePcsc::ClearTrace();
    EXPECT_FALSE(reader.ConnectCard(false));
    EXPECT_THAT(FakePcsc::Notes(), ::testing::Contains("message: Reader DOES support PIN verification"));
    EXPECT_THAT(FakePcsc::Notes(), ::testing::Contains("message: Reader DOES support PIN modification"));
}

TEST_F(PCSCReaderTest, IgnoresTheResultOfTheFeatureDump) {
    BindReader();
    Answer answer = Answer::Bytes(FakePcsc::FeatureList({{6, 1}}));
    answer.code = SCARD_E_NOT_TRANSACTED;
    FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_E_NO_SMARTCARD));
    FakePcsc::Script(Function::Control, answer);
    EXPECT_FALSE(reader.ConnectCard(false));
    EXPECT_EQ(reader.verifyPinDirectCode, 1U);
}

TEST_F(PCSCReaderTest, SurvivesAFeatureDumpOfAnyClaimedLength) {
    BindReader();
    for (const unsigned long length : {0UL, 5UL, 6UL, 2048UL, 2049UL, 70000UL, ~0UL}) {
        Answer answer = Answer::Bytes(FakePcsc::FeatureList({{6, 0x11}}));
        answer.length = length;
        FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_E_NO_SMARTCARD));
        FakePcsc::Script(Function::Control, answer);
        reader.verifyPinDirectCode = 0;
        EXPECT_FALSE(reader.ConnectCard(false));
        EXPECT_EQ(reader.verifyPinDirectCode, length < 6 ? 0U : 0x11U) << length;
    }
}

TEST_F(PCSCReaderTest, SurvivesAnAtrOfAnyClaimedLength) {
    for (const unsigned long length : {0UL, 33UL, 34UL, ~0UL}) {
        BindReader();
        Answer answer = Answer::Bytes(std::string(64, 'A'));
        answer.length = length;
        FakePcsc::Script(Function::Status, answer);
        EXPECT_TRUE(reader.ConnectCard(true));
        EXPECT_EQ(reader.atrLength, std::min(length, 33UL));
    }
}

// ---- a card that another program reset

TEST_F(PCSCReaderTest, FailsWithACardThatAnotherProgramReset) {
    BindCard();
    OpenPCSCReader other;
    other.SetReaderId("Reader A");
    ASSERT_TRUE(other.ConnectReader() && other.ConnectCard() && other.Reconnect(true, false));
    FakePcsc::ClearTrace();
    ByteArray bytes;
    std::string text = "earlier";

    EXPECT_EQ(reader.GetReaderStatus(), SCARD_W_RESET_CARD);
    EXPECT_FALSE(reader.GetAtr(bytes));
    EXPECT_FALSE(reader.SendApdu(Bytes("\x01"), bytes));
    EXPECT_THAT(bytes, IsEmpty());
    EXPECT_EQ(reader.MySCardGetAttrib(0x00010100, text, false), SCARD_W_RESET_CARD);
    EXPECT_EQ(text, "earlier");
    EXPECT_FALSE(reader.BeginTransaction());
    EXPECT_FALSE(reader.EndTransaction());
    EXPECT_THAT(FakePcsc::Notes(), ElementsAre(ErrorLine("SCardStatus failed", SCARD_W_RESET_CARD),
                                               ErrorLine("error in SendApdu", SCARD_W_RESET_CARD),
                                               ErrorLine("Error in BeginTransaction", SCARD_W_RESET_CARD),
                                               ErrorLine("Error in EndTransaction", SCARD_W_RESET_CARD)));
    EXPECT_TRUE(reader.ConnectCard()) << "the handle is believed";
    EXPECT_FALSE(reader.IsTokenPresent());

    EXPECT_TRUE(reader.Reconnect(false, false));

    EXPECT_TRUE(reader.IsTokenPresent());
    EXPECT_TRUE(reader.GetAtr(bytes));
}

TEST_F(PCSCReaderTest, CountsAResetCardAsAFailureOfEachCall) {
    BindCard();
    const Answer wasReset = Answer::Failure(SCARD_W_RESET_CARD);
    FakePcsc::Script(Function::Control, wasReset);
    EXPECT_FALSE(reader.IsSecure());
    FakePcsc::Script(Function::Reconnect, wasReset);
    EXPECT_FALSE(reader.Reconnect(true, false));
    FakePcsc::Script(Function::Status, Answer());
    FakePcsc::Script(Function::Status, wasReset);
    EXPECT_FALSE(reader.ConnectCard(true)) << "a card that gives no answer to reset";
    FakePcsc::Script(Function::Connect, wasReset);
    EXPECT_FALSE(reader.ConnectCard(true));
    FakePcsc::Script(Function::EstablishContext, wasReset, 2);
    EXPECT_FALSE(reader.ConnectReader());
}

// ---- transactions

TEST_F(PCSCReaderTest, BeginsAndEndsATransaction) {
    BindCard();
    EXPECT_TRUE(reader.BeginTransaction());
    EXPECT_TRUE(reader.EndTransaction());
    EXPECT_THAT(FakePcsc::Trace(),
                ElementsAre("SCardBeginTransaction(card=201)", "SCardEndTransaction(card=201, disposition=0)"));
}

TEST_F(PCSCReaderTest, HasNoTransactionWithoutACard) {
    BindReader();
    EXPECT_FALSE(reader.BeginTransaction());
    EXPECT_FALSE(reader.EndTransaction());
    EXPECT_THAT(FakePcsc::Trace(),
                ElementsAre("error: BeginTransaction hCard is NULL", "error: EndTransaction hCard is NULL"));
}

TEST_F(PCSCReaderTest, ReportsATransactionThatFails) {
    BindCard();
    FakePcsc::Script(Function::BeginTransaction, Answer::Failure(SCARD_E_SHARING_VIOLATION));
    FakePcsc::Script(Function::EndTransaction, Answer::Failure(SCARD_E_NOT_TRANSACTED));
    EXPECT_FALSE(reader.BeginTransaction());
    EXPECT_FALSE(reader.EndTransaction());
    EXPECT_THAT(FakePcsc::Notes(), ElementsAre(ErrorLine("Error in BeginTransaction", SCARD_E_SHARING_VIOLATION),
                                               ErrorLine("Error in EndTransaction", SCARD_E_NOT_TRANSACTED)));
}

// ---- the mutex

TEST_F(PCSCReaderTest, LetsGoOfTheMutexOnEveryPath) {
    const auto isFree = [] {
        const bool free = sReaderMutex.try_lock();
        if (free) {
            sReaderMutex.unlock();
        }
        return free;
    };
    EXPECT_FALSE(reader.ConnectCard(false)); // no context
    EXPECT_TRUE(isFree());
    EXPECT_FALSE(reader.BeginTransaction()); // no card
    EXPECT_TRUE(isFree());
    EXPECT_FALSE(reader.EndTransaction());
    EXPECT_TRUE(isFree());
    BindCard();
    EXPECT_TRUE(isFree());
    EXPECT_TRUE(reader.ConnectCard(false)); // connected already
    EXPECT_TRUE(isFree());
    FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_E_SERVICE_STOPPED), 5);
    EXPECT_FALSE(reader.ConnectCard(true)); // all recoveries fail
    EXPECT_TRUE(isFree());
    FakePcsc::Script(Function::BeginTransaction, Answer::Failure(SCARD_E_SHARING_VIOLATION));
    FakePcsc::Script(Function::EndTransaction, Answer::Failure(SCARD_E_NOT_TRANSACTED));
    reader.hCard = 201;
    EXPECT_FALSE(reader.BeginTransaction());
    EXPECT_TRUE(isFree());
    EXPECT_FALSE(reader.EndTransaction());
    EXPECT_TRUE(isFree());
}

TEST_F(PCSCReaderTest, HoldsTheMutexWhileItConnectsACardAndForTransactions) {
    const auto noteMutex = [](const char* text) {
        const bool free = sReaderMutex.try_lock();
        if (free) {
            sReaderMutex.unlock();
        }
        FakePcsc::Note((free ? "free: " : "held: ") + std::string(text));
    };
    LibReaderImpl::SetMessageLoggingFunc(noteMutex);
    LibReaderImpl::SetErrorLoggingFunc(noteMutex);

    EXPECT_TRUE(reader.ConnectReader());
    FakePcsc::Script(Function::Connect, Answer::Failure(SCARD_E_SERVICE_STOPPED), 2);
    EXPECT_TRUE(reader.ConnectCard(false));
    FakePcsc::Script(Function::EndTransaction, Answer::Failure(6));
    EXPECT_FALSE(reader.EndTransaction());
    EXPECT_TRUE(reader.Disconnect());
    EXPECT_FALSE(reader.BeginTransaction());

    EXPECT_THAT(FakePcsc::Notes(),
                ElementsAre("free: PCSCReader::ConnectReader", "free: PCSC ConnectReader Reader A",
                            "held: PCSCReader::ConnectCard", "held: PCSCReader::LocalSCardConnect",
                            "held: error in SCardConnect  (0x8010001e, 8010001e)",
                            "held: error in SCardConnect  (0x8010001e, 8010001e)",
                            "held: LocalSCardConnect error, trying to get new hCtx and retrying",
                            "held: PCSCReader::Disconnect", "held: PCSCReader::ConnectReader",
                            "held: PCSC ConnectReader Reader A", "held: Error in EndTransaction  (0x6, 6)",
                            "free: PCSCReader::Disconnect", "held: BeginTransaction hCard is NULL"));
}

TEST_F(PCSCReaderTest, ConnectsReadersOfManyThreadsOneAfterAnother) {
    RemoveCallbacks();
    std::vector<std::thread> threads;
    for (const char* const name : {"Thread 1", "Thread 2", "Thread 3", "Thread 4"}) {
        FakePcsc::AddReader({name}); // of its own, for Disconnect takes the power of everybody's card
        threads.emplace_back([name] {
            OpenPCSCReader own;
            own.SetReaderId(name);
            for (int round = 0; round < 50; ++round) {
                EXPECT_TRUE(own.ConnectReader());
                EXPECT_TRUE(own.ConnectCard());
                EXPECT_TRUE(own.BeginTransaction());
                EXPECT_TRUE(own.EndTransaction());
                EXPECT_TRUE(own.Disconnect());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(FakePcsc::OpenContexts() + FakePcsc::OpenCards(), 0U);
    // Between a connect and its status query no other reader connects.
    std::string last;
    for (const std::string& call : FakePcsc::Calls()) {
        if (call.rfind("SCardConnect", 0) == 0 || call.rfind("SCardStatus", 0) == 0) {
            EXPECT_NE(call.substr(0, 10), last);
            last = call.substr(0, 10);
        }
    }
}

// ---- token

TEST_F(PCSCReaderTest, ConnectsTheCardBeforeItLooksForAToken) {
    BindReader();
    EXPECT_TRUE(reader.IsTokenPresent());
    EXPECT_THAT(FakePcsc::Trace(),
                ElementsAre("message: PCSCReader::ConnectCard", "message: PCSCReader::LocalSCardConnect", Connect(101),
                            Status(201), "message: PCSC IsTokenPresent",
                            "SCardStatus(card=201, name=null length=0, atr=buffer length=32)", "message: SCARD_PRESENT",
                            "message: SCARD_POWERED", "message: SCARD_NEGOTIABLE"));
}

TEST_F(PCSCReaderTest, LooksForATokenInTheCardThatItHas) {
    BindCard();
    EXPECT_TRUE(reader.IsTokenPresent());
    const std::string status = "SCardStatus(card=201, name=null length=0, atr=buffer length=32)";
    EXPECT_THAT(FakePcsc::Calls(), ElementsAre(status, status)) << "it is not connected anew";
}

TEST_F(PCSCReaderTest, FindsNoTokenInAnEmptyReader) {
    BindReader();
    FakePcsc::Readers().front().cardPresent = false;
    EXPECT_FALSE(reader.IsTokenPresent());
    const std::vector<std::string> trace = FakePcsc::Trace();
    ASSERT_GE(trace.size(), 3U);
    EXPECT_THAT(std::vector<std::string>(trace.end() - 3, trace.end()),
                ElementsAre("message: PCSC IsTokenPresent",
                            "SCardStatus(card=0, name=null length=0, atr=buffer length=32)",
                            ErrorLine("SCardStatus failed", SCARD_E_INVALID_HANDLE)));
}

TEST_F(PCSCReaderTest, FindsNoTokenWithoutAContext) {
    EXPECT_FALSE(reader.IsTokenPresent());
    EXPECT_THAT(FakePcsc::Trace(), ElementsAre("message: PCSCReader::ConnectCard", "error: reader not connected",
                                               "message: PCSC IsTokenPresent", "error: reader not ok"));
}
