// The simulated readers as a PC/SC program sees them through the machine's own client library and daemon.
#include "tests/support/Pcscd.h"
#include "tests/support/Process.h"
#include "tests/support/SimulatedReader.h"
#include "tests/system/PcscClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <reader.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

using Support::SimulatedReader;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

namespace Pcscd = Support::Pcscd;

constexpr DWORD kFeatureRequest = SCARD_CTL_CODE(3400);
constexpr DWORD kEventLimit = 10000;

std::string text(const PcscResult& result) {
    return {result.data.begin(), result.data.end()};
}

// One reader with a card, connected.
class ConnectedReader : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_FALSE(client.readers().empty());
        name = client.readers().front();
        ASSERT_EQ(client.connect(name), SCARD_S_SUCCESS);
        reader.clearLog();
    }

    // Waits until the service knows that the card is gone, or there.
    [[nodiscard]] bool noticedRemoval() const {
        return (client.stateAfter(name, SCARD_STATE_PRESENT, kEventLimit) & SCARD_STATE_EMPTY) != 0;
    }
    [[nodiscard]] bool noticedInsertion() const {
        return (client.stateAfter(name, SCARD_STATE_EMPTY, kEventLimit) & SCARD_STATE_PRESENT) != 0;
    }

    SimulatedReader reader{0};
    PcscClient client;
    std::string name;
};

class SimulatedReaders : public testing::TestWithParam<int> {};

TEST_P(SimulatedReaders, AreListedInTheirOrder) {
    Pcscd::serve(GetParam());
    PcscClient client;
    std::vector<std::string> names;
    for (int number = 0; number < GetParam(); ++number) {
        std::array<char, 64> name{};
        std::snprintf(name.data(), name.size(), "Vantor Simulated Reader %d %02X 00", number + 1, number);
        names.emplace_back(name.data());
    }
    EXPECT_THAT(client.readers(), ElementsAreArray(names));
    EXPECT_EQ(client.listReadersCode(), GetParam() > 0 ? SCARD_S_SUCCESS : SCARD_E_NO_READERS_AVAILABLE);
}

TEST_P(SimulatedReaders, ConnectExactlyWhereACardIs) {
    Pcscd::serve(GetParam(), "0,2,15");
    PcscClient client;
    const auto names = client.readers();
    ASSERT_THAT(names, SizeIs(static_cast<std::size_t>(GetParam())));
    for (std::size_t number = 0; number < names.size(); ++number) {
        const bool card = number == 0 || number == 2 || number == 15;
        EXPECT_EQ(client.connect(names[number]), card ? SCARD_S_SUCCESS : SCARD_E_NO_SMARTCARD) << names[number];
        client.disconnect();
    }
}

INSTANTIATE_TEST_SUITE_P(Counts, SimulatedReaders, testing::Values(0, 1, 4, 16));

TEST(SimulatedReaderNames, MayHoldAnyBytesThatPeopleCallReaders) {
    Pcscd::stop();
    const std::vector<std::string> names{"Käse & Brot <frisch> 'x'", "Zwei  Blanks", "Latin \xE4\xF6",
                                         std::string(200, 'n')};
    for (int number = 0; number < 4; ++number)
        SimulatedReader(number).write("name", names[static_cast<std::size_t>(number)] + "\n");
    Pcscd::start();
    PcscClient client;
    EXPECT_THAT(client.readers(), ElementsAre("Käse & Brot <frisch> 'x' 00 00", "Zwei  Blanks 01 00",
                                              "Latin \xE4\xF6 02 00", std::string(121, 'n') + " 03 00"));
}

TEST(SimulatedReaderNames, MayEndInADoubleQuoteByWayOfTheSuffix) {
    Pcscd::stop();
    ASSERT_EQ(Support::run({"sh", "-c", "printf ' \"\\047<&>' >/run/simreader/name-suffix"}).status, 0);
    Pcscd::start();
    EXPECT_EQ(PcscClient().readers().front(), "Vantor Simulated Reader 1 \"'<&> 00 00");
}

TEST_F(ConnectedReader, HasTheAtrOfItsFile) {
    EXPECT_THAT(client.atr().data, ElementsAre(0x3B, 0x80, 0x01, 0x81));
    client.disconnect();
    reader.removeCard();
    ASSERT_TRUE(noticedRemoval());
    reader.write("atr", "3B 9F 95 81 31 FE 9F 00 66 46 53 05 10 00 11 71 DF 00 00 00 00 00 02\n");
    reader.insertCard();
    ASSERT_TRUE(noticedInsertion());
    ASSERT_EQ(client.connect(name), SCARD_S_SUCCESS);
    EXPECT_THAT(client.atr().data, SizeIs(23));
    EXPECT_EQ(client.atr().data.back(), 0x02);
}

TEST_F(ConnectedReader, TellsItsIdentificationAsTheFilesHoldIt) {
    EXPECT_EQ(text(client.attribute(SCARD_ATTR_VENDOR_NAME)), "Vantor");
    EXPECT_EQ(text(client.attribute(SCARD_ATTR_VENDOR_IFD_TYPE)), "Simulated Reader");
    EXPECT_EQ(text(client.attribute(SCARD_ATTR_VENDOR_IFD_SERIAL_NO)), "SIM0001");
    reader.write("vendor-name", "Käse & Söhne\n");
    EXPECT_EQ(text(client.attribute(SCARD_ATTR_VENDOR_NAME)), "Käse & Söhne");
}

TEST_F(ConnectedReader, RefusesAttributesWithoutAFile) {
    reader.remove("serial-number");
    EXPECT_EQ(client.attribute(SCARD_ATTR_VENDOR_IFD_SERIAL_NO).code, SCARD_E_UNSUPPORTED_FEATURE);
    EXPECT_EQ(client.attribute(SCARD_ATTR_DEVICE_UNIT).code, SCARD_E_UNSUPPORTED_FEATURE);
}

TEST_F(ConnectedReader, LeavesTheFriendlyNameToTheService) {
    EXPECT_EQ(text(client.attribute(SCARD_ATTR_DEVICE_FRIENDLY_NAME_A)), name + std::string(1, '\0'));
    reader.write("friendly-name", "Freund\n");
    EXPECT_EQ(text(client.attribute(SCARD_ATTR_DEVICE_FRIENDLY_NAME_A)), "Freund");
}

TEST_F(ConnectedReader, ChangesTheLengthOfAnAttributeBetweenTwoCalls) {
    reader.write("attributes", "00010100 -> 01\n00010100 -> 010203\n");
    EXPECT_EQ(client.attribute(SCARD_ATTR_VENDOR_NAME, 0).length, 1U);
    const auto second = client.attribute(SCARD_ATTR_VENDOR_NAME, 1);
    EXPECT_EQ(second.code, SCARD_E_INSUFFICIENT_BUFFER);
    EXPECT_EQ(second.length, 3U);
}

TEST_F(ConnectedReader, ClaimsLengthsThatAreNotTrue) {
    reader.write("attributes", "00010100 -> length 5000 41\n00010101 -> length 0 41\n");
    EXPECT_EQ(client.attribute(SCARD_ATTR_VENDOR_NAME).length, 5000U);
    EXPECT_THAT(client.attribute(SCARD_ATTR_VENDOR_IFD_TYPE).data, IsEmpty());
    reader.write("controls", "42330006 -> length 9000 01\n42330007 -> length 300 0102\n");
    EXPECT_EQ(client.control(0x42330006).length, 9000U);
    EXPECT_EQ(client.control(0x42330006).code, SCARD_E_INSUFFICIENT_BUFFER);
    EXPECT_THAT(client.control(0x42330007, {}, 1000).data, SizeIs(300));
}

TEST_F(ConnectedReader, GivesItsFeatureListAsItIsWritten) {
    EXPECT_EQ(client.control(kFeatureRequest).code, SCARD_E_UNSUPPORTED_FEATURE);
    reader.write("features", "06 04 42 33 00 06  07 04 42 33\n");
    EXPECT_THAT(client.control(kFeatureRequest).data, ElementsAre(6, 4, 0x42, 0x33, 0, 6, 7, 4, 0x42, 0x33));
}

TEST_F(ConnectedReader, AnswersControlCodesByTheirInput) {
    reader.write("controls", "42330006 3C* -> 90 00\n42330006 -> 63 C2\n");
    EXPECT_THAT(client.control(0x42330006, {0x3C, 0x0A}).data, ElementsAre(0x90, 0x00));
    EXPECT_THAT(client.control(0x42330006, {0x00}).data, ElementsAre(0x63, 0xC2));
    EXPECT_THAT(client.control(0x42330006).data, ElementsAre(0x63, 0xC2));
    EXPECT_THAT(reader.calls("IFDHControl"),
                ElementsAre("IFDHControl code=42330006 in=3C0A result=IFD_SUCCESS out=9000",
                            "IFDHControl code=42330006 in=00 result=IFD_SUCCESS out=63C2",
                            "IFDHControl code=42330006 in= result=IFD_SUCCESS out=63C2"));
}

TEST_F(ConnectedReader, TellsKeysAsTheyArePressed) {
    reader.write("features", "05 04 42 33 00 05\n");
    reader.write("keys", "DIGIT NONE\n");
    EXPECT_THAT(client.control(0x42330005).data, ElementsAre(0x2B));
    EXPECT_THAT(client.control(0x42330005).data, IsEmpty());
    EXPECT_THAT(client.control(0x42330005).data, IsEmpty());
    reader.append("keys", "OK\n");
    EXPECT_THAT(client.control(0x42330005).data, ElementsAre(0x0D));
}

TEST_F(ConnectedReader, AnswersApdus) {
    EXPECT_THAT(client.transmit({0x00, 0xA4, 0x04, 0x00}).data, ElementsAre(0x6D, 0x00));
    reader.write("apdus", "00 A4 * -> 61 10\n00 B0 -> error COMMUNICATION_ERROR\n");
    EXPECT_THAT(client.transmit({0x00, 0xA4, 0x04, 0x00}).data, ElementsAre(0x61, 0x10));
    EXPECT_NE(client.transmit({0x00, 0xB0}).code, SCARD_S_SUCCESS);
}

TEST_F(ConnectedReader, TakesItsTimeWhenAsked) {
    using Clock = std::chrono::steady_clock;
    reader.write("controls", "42330006 -> delay 150 90 00\n");
    const auto start = Clock::now();
    EXPECT_THAT(client.control(0x42330006).data, ElementsAre(0x90, 0x00));
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(150));
}

TEST_F(ConnectedReader, HangsInOneFunctionUntilItIsReleased) {
    reader.write("controls", "42330006 -> 90 00\n");
    reader.write("hang", "IFDHControl\n");
    std::atomic<bool> answered = false;
    std::thread caller([&] {
        EXPECT_THAT(client.control(0x42330006).data, ElementsAre(0x90, 0x00));
        answered = true;
    });
    EXPECT_TRUE(reader.logged("IFDHControl hangs"));
    EXPECT_FALSE(answered);
    PcscClient other;
    EXPECT_THAT(other.readers(), SizeIs(2));
    reader.remove("hang");
    caller.join();
    EXPECT_TRUE(answered);
}

TEST_F(ConnectedReader, ReportsCardsThatComeAndGo) {
    reader.removeCard();
    EXPECT_TRUE(noticedRemoval());
    EXPECT_EQ(client.atr().code, SCARD_W_REMOVED_CARD);
    reader.insertCard();
    EXPECT_TRUE(noticedInsertion());
    EXPECT_EQ(client.reconnect(SCARD_RESET_CARD), SCARD_S_SUCCESS);
    EXPECT_THAT(client.atr().data, SizeIs(4));
}

TEST_F(ConnectedReader, HasCardsThatDoNotAnswer) {
    client.disconnect(SCARD_UNPOWER_CARD);
    reader.write("power", "* -> error POWER_ACTION\n");
    reader.removeCard();
    ASSERT_TRUE(noticedRemoval());
    reader.insertCard();
    ASSERT_TRUE(noticedInsertion());
    EXPECT_EQ(client.connect(name), SCARD_W_UNPOWERED_CARD);
}

TEST_F(ConnectedReader, CanBePulledWhileItIsListed) {
    client.disconnect();
    reader.write("unplugged", "");
    EXPECT_TRUE(Support::waitUntil([&] {
        const auto code = client.connect(name);
        client.disconnect();
        return code == SCARD_E_READER_UNAVAILABLE;
    }));
    reader.remove("unplugged");
    EXPECT_TRUE(Support::waitUntil([&] { return client.connect(name) == SCARD_S_SUCCESS; }));
}

TEST(PrivatePcscd, ServesSixteenReadersOfSeventeen) {
    Pcscd::serve(17);
    EXPECT_THAT(PcscClient().readers(), SizeIs(16));
}

TEST(PrivatePcscd, LeavesProgramsWithoutServiceWhenItEnds) {
    Pcscd::stop();
    EXPECT_EQ(PcscClient().contextCode(), SCARD_E_NO_SERVICE);
    Pcscd::start();
    EXPECT_THAT(PcscClient().readers(), SizeIs(2));
}

TEST(PrivatePcscd, StartsAgainAfterItWasKilled) {
    Pcscd::kill();
    EXPECT_NE(PcscClient().contextCode(), SCARD_S_SUCCESS);
    Pcscd::start();
    EXPECT_THAT(PcscClient().readers(), SizeIs(2));
}

TEST(PrivatePcscd, AnswersNothingWhileItIsFrozen) {
    Pcscd::freeze();
    std::atomic<bool> answered = false;
    std::thread caller([&] {
        EXPECT_THAT(PcscClient().readers(), SizeIs(2));
        answered = true;
    });
    EXPECT_FALSE(Support::waitUntil([&] { return answered.load(); }, Support::Milliseconds(200)));
    Pcscd::thaw();
    caller.join();
}

TEST(PrivatePcscd, TellsHowManyContextsAreOpen) {
    EXPECT_TRUE(Support::waitUntil([] { return Pcscd::openContexts() == 0; }));
    {
        PcscClient first;
        PcscClient second;
        EXPECT_TRUE(Support::waitUntil([] { return Pcscd::openContexts() == 2; }));
    }
    EXPECT_TRUE(Support::waitUntil([] { return Pcscd::openContexts() == 0; }));
}

} // namespace
