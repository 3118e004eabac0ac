// The reader code on the real PC/SC service, with drivers that do as they should and with drivers that lie.
#include "readers/EnumReaders.h"
#include "readers/Logging.h"
#include "readers/PCSCReader.h"
#include "tests/support/Pcscd.h"
#include "tests/support/SimulatedReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

using Support::SimulatedReader;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using Vantor::ByteArray;
using Vantor::LibReaderImpl;
using Vantor::ListPCSCReaders;
using Vantor::PCSCReaderConfig;

namespace Pcscd = Support::Pcscd;

constexpr auto kAllFeatures = "01 04 42 33 00 01  02 04 42 33 00 02  03 04 42 33 00 03  04 04 42 33 00 04\n"
                              "05 04 42 33 00 05  06 04 42 33 00 06  07 04 42 33 00 07\n";
constexpr auto kStartFinishFeatures = "01 04 42 33 00 01  02 04 42 33 00 02  03 04 42 33 00 03  04 04 42 33 00 04\n"
                                      "05 04 42 33 00 05\n";

std::vector<std::string>& errorLines() {
    static std::vector<std::string> lines;
    return lines;
}

// The error lines of the reader code while a test runs.
class ReaderCode : public testing::Test {
protected:
    void SetUp() override {
        LibReaderImpl::SetErrorLoggingFunc([](const char* line) { errorLines().emplace_back(line); });
    }
    void TearDown() override { LibReaderImpl::SetErrorLoggingFunc(nullptr); }
};

PCSCReaderConfig described(const std::string& name, int number) {
    return {name,
            false,
            "Vantor",
            "Simulated Reader",
            "SIM000" + std::to_string(number),
            "",
            name + std::string(1, '\0'),
            name + std::string(1, '\0')};
}

auto isReader(const PCSCReaderConfig& wanted) {
    return AllOf(Field("name", &PCSCReaderConfig::name, wanted.name),
                 Field("isSecure", &PCSCReaderConfig::isSecure, wanted.isSecure),
                 Field("vendorName", &PCSCReaderConfig::vendorName, wanted.vendorName),
                 Field("vendorIfdType", &PCSCReaderConfig::vendorIfdType, wanted.vendorIfdType),
                 Field("vendorIfdSerialNo", &PCSCReaderConfig::vendorIfdSerialNo, wanted.vendorIfdSerialNo),
                 Field("deviceUnit", &PCSCReaderConfig::deviceUnit, wanted.deviceUnit),
                 Field("systemName", &PCSCReaderConfig::systemName, wanted.systemName),
                 Field("friendlyName", &PCSCReaderConfig::friendlyName, wanted.friendlyName));
}

PCSCReaderConfig nameOnly(const std::string& name) {
    return {name, false, "", "", "", "", "", ""};
}

using ReaderList = ReaderCode;

TEST_F(ReaderList, TellsWhatEachDriverTellsAboutItself) {
    Pcscd::serve(4, "0,2,3");
    std::vector<PCSCReaderConfig> readers;
    EXPECT_TRUE(ListPCSCReaders(readers));
    EXPECT_THAT(readers, ElementsAre(isReader(described("Vantor Simulated Reader 1 00 00", 1)),
                                     isReader(nameOnly("Vantor Simulated Reader 2 01 00")),
                                     isReader(described("Vantor Simulated Reader 3 02 00", 3)),
                                     isReader(described("Vantor Simulated Reader 4 03 00", 4))));
}

TEST_F(ReaderList, HoldsSixteenReaders) {
    Pcscd::serve(16, "none");
    std::vector<PCSCReaderConfig> readers;
    EXPECT_TRUE(ListPCSCReaders(readers));
    ASSERT_THAT(readers, SizeIs(16));
    EXPECT_THAT(readers.back(), isReader(nameOnly("Vantor Simulated Reader 16 0F 00")));
}

TEST_F(ReaderList, FailsWithoutReaders) {
    Pcscd::serve(0);
    std::vector<PCSCReaderConfig> readers;
    EXPECT_FALSE(ListPCSCReaders(readers));
    EXPECT_THAT(readers, IsEmpty());
    EXPECT_THAT(errorLines(), ElementsAre("cannot list readers (1)  (0x8010002e, 8010002e)"));
}

TEST_F(ReaderList, FailsWithoutService) {
    Pcscd::stop();
    std::vector<PCSCReaderConfig> readers;
    EXPECT_FALSE(ListPCSCReaders(readers));
    EXPECT_THAT(readers, IsEmpty());
    EXPECT_THAT(errorLines(),
                ElementsAre("cannot establish scard context -> Retry with User Scope  (0x8010001d, 8010001d)",
                            "cannot establish scard context  (0x8010001d, 8010001d)"));
    Pcscd::start();
    EXPECT_TRUE(ListPCSCReaders(readers));
    EXPECT_THAT(readers, SizeIs(2));
}

TEST_F(ReaderList, KeepsNamesByteForByte) {
    Pcscd::stop();
    SimulatedReader(0).write("name", "Käse & Brot <frisch> 'x'\n");
    SimulatedReader(1).write("name", "Latin \xE4\xF6\n");
    Pcscd::start();
    std::vector<std::string> names;
    EXPECT_TRUE(ListPCSCReaders(names));
    EXPECT_THAT(names, ElementsAre("Käse & Brot <frisch> 'x' 00 00", "Latin \xE4\xF6 01 00"));
}

TEST_F(ReaderList, KeepsZeroBytesThatADriverCounts) {
    SimulatedReader(0).write("attributes", "00010100 -> textz Vantor\n7FFF0001 -> 00 01\n");
    std::vector<PCSCReaderConfig> readers;
    EXPECT_TRUE(ListPCSCReaders(readers));
    EXPECT_EQ(readers.at(0).vendorName, std::string("Vantor\0", 7));
    EXPECT_EQ(readers.at(0).deviceUnit, std::string("\0\x01", 2));
}

TEST_F(ReaderList, LeavesOutWhatADriverRefuses) {
    SimulatedReader reader(0);
    reader.write("attributes", "00010100 -> error TAG\n00010101 -> error COMMUNICATION_ERROR\n00010103 -> \n");
    std::vector<PCSCReaderConfig> readers;
    EXPECT_TRUE(ListPCSCReaders(readers));
    EXPECT_EQ(readers.at(0).vendorName, "");
    EXPECT_EQ(readers.at(0).vendorIfdType, "");
    EXPECT_EQ(readers.at(0).vendorIfdSerialNo, "");
    EXPECT_EQ(readers.at(1).vendorName, "Vantor");
}

TEST_F(ReaderList, SurvivesLengthsThatAreNotTrue) {
    SimulatedReader(0).write("attributes", "00010100 -> length 5000 41\n"
                                           "00010101 -> 41 42\n00010101 -> 41 42 43\n"
                                           "00010103 -> 41 42 43\n00010103 -> 41\n"
                                           "7FFF0001 -> length 0 41\n");
    std::vector<PCSCReaderConfig> readers;
    EXPECT_TRUE(ListPCSCReaders(readers));
    ASSERT_THAT(readers, SizeIs(2));
    EXPECT_EQ(readers[0].vendorName, "");
    EXPECT_EQ(readers[0].vendorIfdType, "") << "longer at the second call than at the first";
    EXPECT_EQ(readers[0].vendorIfdSerialNo, "A") << "shorter at the second call than at the first";
    EXPECT_EQ(readers[0].deviceUnit, "");
}

TEST_F(ReaderList, KeepsAReaderThatWasPulledMeanwhile) {
    SimulatedReader first(0);
    SimulatedReader second(1);
    first.write("hang", "IFDHGetCapabilities\n");
    first.clearLog();
    std::vector<PCSCReaderConfig> readers;
    std::thread refresh([&] { EXPECT_TRUE(ListPCSCReaders(readers)); });
    EXPECT_TRUE(first.logged("IFDHGetCapabilities hangs"));
    second.clearLog();
    second.write("unplugged", "");
    EXPECT_TRUE(second.logged("IFD_NO_SUCH_DEVICE"));
    first.remove("hang");
    refresh.join();
    EXPECT_THAT(readers, ElementsAre(isReader(described("Vantor Simulated Reader 1 00 00", 1)),
                                     isReader(nameOnly("Vantor Simulated Reader 2 01 00"))));
}

TEST_F(ReaderList, EndsWhenTheServiceIsKilledMeanwhile) {
    SimulatedReader first(0);
    first.write("hang", "IFDHGetCapabilities\n");
    first.clearLog();
    std::vector<PCSCReaderConfig> readers;
    std::thread refresh([&] { EXPECT_TRUE(ListPCSCReaders(readers)); });
    EXPECT_TRUE(first.logged("IFDHGetCapabilities hangs"));
    Pcscd::kill();
    refresh.join();
    EXPECT_THAT(readers, ElementsAre(isReader(nameOnly("Vantor Simulated Reader 1 00 00")),
                                     isReader(nameOnly("Vantor Simulated Reader 2 01 00"))));
    first.remove("hang");
    Pcscd::start();
    readers.clear();
    EXPECT_TRUE(ListPCSCReaders(readers));
    EXPECT_THAT(readers, Contains(isReader(described("Vantor Simulated Reader 2 01 00", 2))));
}

TEST_F(ReaderList, LeavesNoContextOpen) {
    Pcscd::serve(4, "0,2");
    for (int round = 0; round < 50; ++round) {
        std::vector<PCSCReaderConfig> readers;
        ASSERT_TRUE(ListPCSCReaders(readers));
        ASSERT_THAT(readers, SizeIs(4));
    }
    EXPECT_TRUE(Support::waitUntil([] { return Pcscd::openContexts() == 0; }));
}

// The first reader with its card, connected.
class PinPad : public ReaderCode {
protected:
    void SetUp() override {
        ReaderCode::SetUp();
        reader.SetReaderId("Vantor Simulated Reader 1 00 00");
        reader.SetConfig(true, true, false);
        ASSERT_TRUE(reader.ConnectReader());
        ASSERT_TRUE(reader.ConnectCard());
        simulated.clearLog();
    }
    void TearDown() override {
        reader.Disconnect();
        ReaderCode::TearDown();
    }

    SimulatedReader simulated{0};
    Vantor::PCSCReader reader;
    ByteArray response;
};

ByteArray bytes(std::initializer_list<unsigned char> list) {
    ByteArray array;
    array.assign(list.begin(), list.end());
    return array;
}

ByteArray verifyApdu() {
    return bytes({0x00, 0x20, 0x00, 0x81, 0x08, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
}

Vantor::PINVerifyData pinData(int format) {
    Vantor::PINVerifyData data;
    data.pinFormat = format;
    data.minPinLength = 6;
    data.maxPinLength = 12;
    data.pinBlockString = 0x47;
    return data;
}

TEST_F(PinPad, IsSecureWithFeaturesToVerifyAndToModify) {
    EXPECT_FALSE(reader.IsSecure());
    simulated.write("features", "06 04 42 33 00 06\n");
    EXPECT_FALSE(reader.IsSecure());
    simulated.write("features", "06 04 42 33 00 06 03 04 42 33 00 03\n");
    EXPECT_TRUE(reader.IsSecure());
}

TEST_F(PinPad, TakesWholeRecordsOfAFeatureListThatBreaksOff) {
    simulated.write("features", "06 04 42 33 00 06 07 04 42 33 00\n");
    bool canVerify = false;
    bool canModify = true;
    reader.CheckReaderCapabilities(canVerify, canModify);
    EXPECT_TRUE(canVerify);
    EXPECT_FALSE(canModify);
}

TEST_F(PinPad, SurvivesAFeatureListThatClaimsMoreThanTheBufferHolds) {
    simulated.write("controls", "42000D48 -> length 6000 06 04 42 33 00 06\n");
    EXPECT_FALSE(reader.IsSecure());
    EXPECT_THAT(errorLines(), ElementsAre("CheckReaderCapabilities, SCardControl retruns  (0x80100008, 80100008)"));
    simulated.write("controls", "42000D48 -> length 0 06 04 42 33 00 06\n");
    EXPECT_FALSE(reader.IsSecure());
}

struct Format {
    int format;
    const char* verify;
    const char* modify;
};

void PrintTo(const Format& format, std::ostream* out) {
    *out << "format " << format.format;
}

class PinFormats : public PinPad, public testing::WithParamInterface<Format> {};

TEST_P(PinFormats, ReachTheDriverByteForByte) {
    simulated.write("features", kAllFeatures);
    simulated.write("controls", "42330006 -> 90 00\n42330007 -> 90 00\n");
    const auto data = pinData(GetParam().format);
    EXPECT_EQ(reader.VerifyPin(verifyApdu(), &data, response), 0);
    EXPECT_THAT(response, ElementsAre(0x90, 0x00));
    EXPECT_EQ(reader.ChangePin(verifyApdu(), &data, response), 0);
    EXPECT_THAT(
        simulated.calls("IFDHControl"),
        ElementsAre(StartsWith("IFDHControl code=42000D48 in= result=IFD_SUCCESS"),
                    std::string("IFDHControl code=42330006 in=") + GetParam().verify + " result=IFD_SUCCESS out=9000",
                    std::string("IFDHControl code=42330007 in=") + GetParam().modify + " result=IFD_SUCCESS out=9000"));
}

INSTANTIATE_TEST_SUITE_P(
    All, PinFormats,
    testing::Values(Format{0, "3C0A0247000C0601FF0704000000000D0000000020008108FFFFFFFFFFFFFFFF",
                           "3C0A02470000080C060301FF07040000000000000D0000000020008108FFFFFFFFFFFFFFFF"},
                    Format{1, "3C0A8947040C0601FF0704000000000D00000000200081082FFFFFFFFFFFFFFF",
                           "3C0A89470400080C060301FF07040000000000000D00000000200081082FFFFFFFFFFFFFFF"},
                    Format{2, "3C0A0147000C0601FF0704000000000D0000000020008108FFFFFFFFFFFFFFFF",
                           "3C0A01470000080C060301FF07040000000000000D0000000020008108FFFFFFFFFFFFFFFF"}));

TEST_F(PinPad, IsAskedKeyByKeyWithoutADirectFeature) {
    simulated.write("features", kStartFinishFeatures);
    simulated.write("controls", "42330001 -> \n42330002 -> 90 00\n");
    simulated.write("keys", "DIGIT OK\n");
    const auto data = pinData(0);
    EXPECT_EQ(reader.VerifyPin(verifyApdu(), &data, response), 0);
    EXPECT_THAT(response, ElementsAre(0x90, 0x00));
    EXPECT_THAT(simulated.calls("IFDHControl"),
                ElementsAre(HasSubstr("42000D48"), HasSubstr("42330001 in=3C0A02"), HasSubstr("42330005 in= "),
                            HasSubstr("42330005 in= "), HasSubstr("42330002 in= ")));
}

TEST_F(PinPad, BreaksOffAtTheCancelKey) {
    simulated.write("features", kStartFinishFeatures);
    simulated.write("controls", "42330003 -> \n42330004 -> 90 00\n");
    simulated.write("keys", "CANCEL\n");
    const auto data = pinData(0);
    EXPECT_EQ(reader.ChangePin(verifyApdu(), &data, response), 1);
    EXPECT_THAT(response, IsEmpty());
    EXPECT_THAT(simulated.calls("IFDHControl"),
                ElementsAre(HasSubstr("42000D48"), HasSubstr("42330003"), HasSubstr("42330005")));
}

TEST_F(PinPad, SurvivesAnswersOfAnyClaimedLength) {
    simulated.write("features", kAllFeatures);
    simulated.write("controls", "42330006 -> length 9000 90\n42330006 -> \n42330006 -> length 0 90 00\n");
    const auto data = pinData(0);
    response = bytes({0x11});
    EXPECT_EQ(reader.VerifyPin(verifyApdu(), &data, response), 1);
    EXPECT_THAT(response, ElementsAre(0x11)) << "no byte came back";
    EXPECT_EQ(reader.VerifyPin(verifyApdu(), &data, response), 0);
    EXPECT_EQ(reader.VerifyPin(verifyApdu(), &data, response), 0);
    EXPECT_THAT(response, ElementsAre(0x11));
}

TEST_F(PinPad, KeepsTheResponseOfAReaderThatIsPulled) {
    simulated.write("features", kAllFeatures);
    EXPECT_TRUE(reader.IsSecure());
    simulated.write("unplugged", "");
    const auto data = pinData(0);
    response = bytes({0x11});
    EXPECT_EQ(reader.VerifyPin(verifyApdu(), &data, response), 1);
    EXPECT_EQ(reader.ChangePin(verifyApdu(), &data, response), 1);
    EXPECT_THAT(response, ElementsAre(0x11)) << "the driver leaves the length at the buffer's";
}

TEST_F(PinPad, SendsNoCommandThatIsLongerThanTheStructure) {
    simulated.write("features", kAllFeatures);
    const auto data = pinData(1);
    ByteArray apdu;
    apdu.assign(4096, 0xFF);
    EXPECT_EQ(reader.VerifyPin(apdu, &data, response), 1);
    EXPECT_EQ(reader.ChangePin(apdu, &data, response), 1);
    EXPECT_THAT(simulated.calls("IFDHControl"), ElementsAre(HasSubstr("42000D48"))) << "the query of the features";
}

TEST_F(PinPad, RefusesWhatItCannotDo) {
    const auto data = pinData(0);
    EXPECT_EQ(reader.VerifyPin(verifyApdu(), &data, response), 2);
    EXPECT_EQ(reader.ChangePin(verifyApdu(), &data, response), 2);
}

using Card = PinPad;

TEST_F(Card, AnswersCommands) {
    simulated.write("apdus", "00 A4 04 00 * -> 61 10\n00 B0 -> error COMMUNICATION_ERROR\n00 C0 -> length 70000 01\n");
    EXPECT_TRUE(reader.SendApdu(bytes({0x00, 0xA4, 0x04, 0x00}), response));
    EXPECT_THAT(response, ElementsAre(0x61, 0x10));
    EXPECT_FALSE(reader.SendApdu(bytes({0x00, 0xB0}), response));
    EXPECT_FALSE(reader.SendApdu(bytes({0x00, 0xC0}), response));
    EXPECT_THAT(response, ElementsAre(0x61, 0x10));
}

TEST_F(Card, LeavesTheResponseAloneWhenTheServiceIsGone) {
    response = bytes({0x01, 0x02});
    Pcscd::kill();
    EXPECT_FALSE(reader.SendApdu(bytes({0x00, 0xA4, 0x04, 0x00}), response));
    EXPECT_THAT(response, ElementsAre(0x01, 0x02));
    Pcscd::start();
    EXPECT_TRUE(reader.ConnectReader());
    EXPECT_TRUE(reader.ConnectCard());
}

TEST_F(Card, GivesItsAtrAndStatus) {
    ByteArray atr;
    EXPECT_TRUE(reader.GetAtr(atr));
    EXPECT_THAT(atr, ElementsAre(0x3B, 0x80, 0x01, 0x81));
    EXPECT_TRUE(reader.IsTokenPresent());
    EXPECT_EQ(reader.GetStatus(), 1);
    EXPECT_TRUE(reader.BeginTransaction());
    EXPECT_TRUE(reader.EndTransaction());
    EXPECT_TRUE(reader.Reconnect(true, false));
    EXPECT_TRUE(reader.Reconnect(true, true));
}

TEST_F(Card, IsOfNoUseAfterAnothersResetUntilItIsReconnected) {
    Vantor::PCSCReader other;
    other.SetReaderId(reader.VendorID());
    ASSERT_TRUE(other.ConnectReader() && other.ConnectCard());
    EXPECT_TRUE(other.Reconnect(true, false));
    EXPECT_TRUE(reader.ConnectCard()) << "the handle is believed";
    EXPECT_FALSE(reader.IsTokenPresent());
    EXPECT_FALSE(reader.SendApdu(bytes({0x00, 0xA4, 0x04, 0x00}), response));
    EXPECT_TRUE(reader.Reconnect(false, false));
    EXPECT_TRUE(reader.IsTokenPresent());
    other.Disconnect();
}

TEST_F(Card, IsFoundAgainAfterARestartOfTheServiceByConnectingTheReader) {
    Pcscd::restart();
    EXPECT_TRUE(reader.ConnectCard()) << "the handle is believed";
    EXPECT_FALSE(reader.IsTokenPresent());
    EXPECT_TRUE(reader.ConnectReader());
    EXPECT_TRUE(reader.ConnectCard());
    EXPECT_TRUE(reader.IsTokenPresent());
}

// Another card in the reader, connected.
class OtherCard : public PinPad {
protected:
    void Exchange(const std::string& atr) {
        simulated.removeCard();
        ASSERT_TRUE(Support::waitUntil([&] { return !reader.IsTokenPresent(); }));
        simulated.write("atr", atr);
        simulated.insertCard();
        ASSERT_TRUE(Support::waitUntil([&] { return reader.ConnectCard(); }));
        errorLines().clear();
    }
};

TEST_F(OtherCard, ThatSpeaksT0IsSentNoApdu) {
    Exchange("3B 00\n");
    EXPECT_TRUE(reader.IsTokenPresent());
    EXPECT_FALSE(reader.SendApdu(bytes({0x00, 0xA4, 0x04, 0x00}), response));
    EXPECT_THAT(errorLines(), ElementsAre("error in SendApdu  (0x8010000f, 8010000f)"));
}

TEST_F(OtherCard, WithTheLongestAnswerToResetIsConnectedAndNotSeen) {
    Exchange("3B FF 11 00 00 F1 01 00 00 F1 20 45 00 71 20 45 00 41 41 41 41 41 41 41 41 41 41 41 41 41 41 41 DF\n");
    EXPECT_FALSE(reader.IsTokenPresent()) << "the status queries have room for 32 bytes";
    ByteArray atr;
    EXPECT_FALSE(reader.GetAtr(atr));
    const std::string line = "SCardStatus failed  (0x80100008, 80100008)";
    EXPECT_THAT(errorLines(), ElementsAre(line, line));
}

TEST_F(Card, IsFoundAgainAfterItWasTakenOutAndPutIn) {
    simulated.removeCard();
    EXPECT_TRUE(Support::waitUntil([&] { return !reader.IsTokenPresent(); }));
    EXPECT_FALSE(reader.ConnectCard());
    simulated.insertCard();
    EXPECT_TRUE(Support::waitUntil([&] { return reader.ConnectCard(); }));
    EXPECT_TRUE(reader.IsTokenPresent());
}

} // namespace
