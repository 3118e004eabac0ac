// What lumodiag says about readers on the real PC/SC service: good ones, lying ones, ones that others use.
#include "tests/system/DiagTest.h"
#include "tests/system/PcscClient.h"

#include <algorithm>
#include <csignal>

#include <reader.h>

namespace {

constexpr auto kPinPad = "06 04 42 33 00 06  07 04 42 33 00 07\n";

const json& attribute(const DiagReport& report, std::size_t reader, const char* key) {
    return report.reader(reader).at("attributes").at(key);
}

// Calls that take or give a card its power or reset it, and those that talk to it.
std::vector<std::string> callsToCard(const SimulatedReader& reader) {
    auto calls = reader.calls("IFDHPowerICC");
    for (const auto& call : reader.calls("IFDHTransmitToICC"))
        calls.push_back(call);
    return calls;
}

class DiagReaders : public testing::TestWithParam<int> {};

TEST_P(DiagReaders, AreTheServicesInItsOrder) {
    Pcscd::serve(GetParam());
    const auto report = Lumodiag::report();
    const auto count = static_cast<std::size_t>(GetParam());
    ASSERT_THAT(report.document.at("readers"), SizeIs(count));
    for (std::size_t number = 0; number < count; ++number) {
        EXPECT_EQ(report.reader(number).at("name"), nameOf(static_cast<int>(number)));
        EXPECT_EQ(report.reader(number).at("connection"), "card");
    }
    EXPECT_EQ(report.ending.status, count == 0 ? 1 : 0);
    EXPECT_EQ(report.document.at("listResult").at("name"), count == 0 ? "SCARD_E_NO_READERS_AVAILABLE" : "Success");
    const auto ids = report.findings();
    EXPECT_EQ(std::count(ids.begin(), ids.end(), "no-readers"), count == 0 ? 1 : 0);
    EXPECT_EQ(std::count(ids.begin(), ids.end(), "readers-at-limit"), count == 16 ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(Counts, DiagReaders, testing::Values(0, 1, 4, 16));

TEST(DiagReader, TellsAllAboutItself) {
    SimulatedReader reader(0);
    reader.write("device-unit", "7\n");
    reader.write("features", kPinPad);
    const auto report = Lumodiag::report();
    const json& told = report.reader(0);
    EXPECT_EQ(told.at("card").at("present"), true);
    EXPECT_EQ(told.at("card").at("atr"), "3B 80 01 81");
    EXPECT_EQ(told.at("card").at("protocol"), "T=1");
    EXPECT_EQ(told.at("inUse"), false);
    EXPECT_EQ(attribute(report, 0, "vendorName").at("text"), "Vantor");
    EXPECT_EQ(attribute(report, 0, "vendorIfdType").at("text"), "Simulated Reader");
    EXPECT_EQ(attribute(report, 0, "vendorIfdSerialNo").at("text"), "SIM0001");
    EXPECT_EQ(attribute(report, 0, "deviceUnit").at("bytes"), "37");
    EXPECT_EQ(attribute(report, 0, "systemName").at("text"), nameOf(0));
    EXPECT_EQ(attribute(report, 0, "friendlyName").at("text"), nameOf(0));
    ASSERT_THAT(told.at("pinPad").at("features"), SizeIs(2));
    EXPECT_EQ(told.at("pinPad").at("features").at(0).at("name"), "VERIFY_PIN_DIRECT");
    EXPECT_EQ(told.at("pinPad").at("features").at(0).at("controlCode"), "0x42330006");
    EXPECT_EQ(told.at("pinPad").at("features").at(1).at("name"), "MODIFY_PIN_DIRECT");
}

TEST(DiagReader, TellsItsAttributesWithoutACardToo) {
    Pcscd::serve(1, "none");
    const auto report = Lumodiag::report();
    EXPECT_EQ(report.ending.status, 0) << "an empty reader is as it should be";
    EXPECT_EQ(report.reader(0).at("card").at("present"), false);
    EXPECT_EQ(report.reader(0).at("card").at("atr"), nullptr);
    EXPECT_EQ(report.reader(0).at("connection"), "reader");
    EXPECT_EQ(attribute(report, 0, "vendorIfdSerialNo").at("text"), "SIM0001");
}

TEST(DiagReader, LiesAboutItsAttributes) {
    SimulatedReader(0).write("attributes", "00010100 -> length 5000 41\n"
                                           "00010101 -> error COMMUNICATION_ERROR\n"
                                           "00010103 -> 1B 5B 32 4A FF\n"
                                           "7FFF0003 -> textz Freund\n");
    const auto report = Lumodiag::report();
    // then: each failure by name and number, and nothing that steers a terminal
    EXPECT_EQ(attribute(report, 0, "vendorName").at("result").at("name"), "SCARD_E_INSUFFICIENT_BUFFER");
    EXPECT_EQ(attribute(report, 0, "vendorName").at("result").at("code"), "0x80100008");
    EXPECT_EQ(attribute(report, 0, "vendorIfdType").at("result").at("name"), "SCARD_E_NOT_TRANSACTED");
    EXPECT_EQ(attribute(report, 0, "vendorIfdSerialNo").at("text"), "\\x1B[2J\\xFF");
    EXPECT_EQ(attribute(report, 0, "friendlyName").at("text"), "Freund");
    EXPECT_EQ(attribute(report, 0, "friendlyName").at("bytes"), "46 72 65 75 6E 64 00");
    EXPECT_THAT(report.finding("attribute-failed").at("details"),
                ElementsAre("vendorName SCARD_E_INSUFFICIENT_BUFFER (0x80100008)",
                            "vendorIfdType SCARD_E_NOT_TRANSACTED (0x80100016)"));
    EXPECT_THAT(report.finding("attribute-not-text").at("details"), ElementsAre("vendorIfdSerialNo"));
    EXPECT_EQ(report.ending.status, 1);
    // The reader stays, and so does the next.
    EXPECT_EQ(report.reader(0).at("name"), nameOf(0));
    EXPECT_EQ(attribute(report, 1, "vendorName").at("text"), "Vantor");
    EXPECT_THAT(Lumodiag::run({"--lang", "en"}).output, Not(HasSubstr("\x1B")));
}

TEST(DiagReader, HasAnyBytesForAName) {
    Pcscd::stop();
    SimulatedReader(0).write("name", "K\xC3\xA4se & <frisch> \x1B[31m\n");
    SimulatedReader(1).write("name", "Latin \xE4\xF6\n");
    Pcscd::start();
    const auto report = Lumodiag::report();
    EXPECT_EQ(report.reader(0).at("name"), "Käse & <frisch> \\x1B[31m 00 00");
    EXPECT_EQ(report.reader(1).at("name"), "Latin \\xE4\\xF6 01 00");
    EXPECT_EQ(report.reader(1).at("connection"), "card") << "the service is asked for the name as it is";
}

TEST(DiagReader, IsHeldByAnotherProgram) {
    PcscClient other;
    ASSERT_EQ(other.connect(nameOf(0), SCARD_SHARE_EXCLUSIVE), SCARD_S_SUCCESS);
    SimulatedReader(0).clearLog();
    const auto report = Lumodiag::report();
    EXPECT_EQ(report.ending.status, 1);
    EXPECT_EQ(report.reader(0).at("held"), true);
    EXPECT_EQ(report.reader(0).at("card").at("present"), true);
    EXPECT_EQ(report.reader(0).at("card").at("atr"), "3B 80 01 81");
    EXPECT_EQ(report.reader(0).at("card").at("result").at("name"), "SCARD_E_SHARING_VIOLATION");
    EXPECT_EQ(report.reader(0).at("card").at("result").at("code"), "0x8010000B");
    EXPECT_EQ(report.finding("reader-held").at("subject"), nameOf(0));
    EXPECT_EQ(report.reader(1).at("held"), false);
    EXPECT_EQ(report.reader(1).at("connection"), "card");
    EXPECT_THAT(callsToCard(SimulatedReader(0)), IsEmpty());
    EXPECT_EQ(other.transmit({0x00, 0xA4, 0x04, 0x00}).code, SCARD_S_SUCCESS);
}

TEST(DiagReader, IsSharedWithAnotherProgramWhoseCardIsLeftInPeace) {
    PcscClient other;
    ASSERT_EQ(other.connect(nameOf(0)), SCARD_S_SUCCESS);
    SimulatedReader reader(0);
    reader.clearLog();
    const auto report = Lumodiag::report();
    EXPECT_EQ(report.reader(0).at("inUse"), true);
    EXPECT_EQ(report.reader(0).at("held"), false);
    EXPECT_EQ(report.reader(0).at("connection"), "card");
    EXPECT_EQ(report.reader(1).at("inUse"), false);
    EXPECT_EQ(report.ending.status, 0) << "sharing is no fault";
    // then: nothing reached the card, and the other program notices nothing
    EXPECT_THAT(callsToCard(reader), IsEmpty());
    EXPECT_EQ(other.transmit({0x00, 0xA4, 0x04, 0x00}).code, SCARD_S_SUCCESS);
    // A reset by anybody would have been in the log.
    reader.clearLog();
    other.disconnect(SCARD_RESET_CARD);
    EXPECT_THAT(callsToCard(reader), Not(IsEmpty()));
}

// Another program uses the first reader's card; its driver hangs in the query that lumodiag makes.
class DiagCutOff : public testing::TestWithParam<int> {
protected:
    void SetUp() override {
        ASSERT_EQ(other.connect(nameOf(0)), SCARD_S_SUCCESS);
        reader.write("hang", "IFDHControl\n");
        reader.clearLog();
    }

    // lumodiag and all its children, by the name that the kernel keeps.
    static std::vector<pid_t> diagProcesses() {
        std::vector<pid_t> found;
        for (const auto& entry : fs::directory_iterator("/proc")) {
            if (test::ReadText(entry.path() / "comm") == "lumodiag\n")
                found.push_back(std::stoi(entry.path().filename()));
        }
        return found;
    }

    void expectCardInPeace() {
        reader.remove("hang");
        ASSERT_TRUE(Support::waitUntil([] { return diagProcesses().empty(); }));
        ASSERT_TRUE(Support::waitUntil([] { return Pcscd::openContexts() == 1; })) << "the service has tidied up";
        EXPECT_THAT(callsToCard(reader), IsEmpty());
        EXPECT_EQ(other.transmit({0x00, 0xA4, 0x04, 0x00}).code, SCARD_S_SUCCESS) << "and not SCARD_W_RESET_CARD";
    }

    PcscClient other;
    SimulatedReader reader{0};
};

TEST_F(DiagCutOff, ByItsTimeLimitLeavesACardThatIsInUseInPeace) {
    const auto report = Lumodiag::report();
    EXPECT_EQ(report.reader(0).at("hangingCall"), "SCardControl");
    expectCardInPeace();
}

TEST_P(DiagCutOff, LeavesACardThatIsInUseInPeace) {
    Support::Process process(Lumodiag::command({"--json"}));
    ASSERT_TRUE(reader.logged("IFDHControl hangs"));
    // As a terminal does, which sends it to all of them.
    for (const pid_t pid : diagProcesses())
        ::kill(pid, GetParam());
    const auto ending = process.wait();
    ASSERT_TRUE(ending.has_value());
    EXPECT_EQ(ending->signal, GetParam());
    expectCardInPeace();
}

INSTANTIATE_TEST_SUITE_P(Signals, DiagCutOff, testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_F(DiagCutOff, ByTheDeathOfItsMainProcessLeavesACardThatIsInUseInPeace) {
    Support::Process process(Lumodiag::command({"--json"}));
    ASSERT_TRUE(reader.logged("IFDHControl hangs"));
    process.signal(SIGKILL);
    ASSERT_TRUE(process.wait().has_value());
    expectCardInPeace();
}

TEST(DiagReader, IsInTheMiddleOfAnothersTransaction) {
    SCARDCONTEXT context = 0;
    SCARDHANDLE card = 0;
    DWORD protocol = 0;
    ASSERT_EQ(SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context), SCARD_S_SUCCESS);
    ASSERT_EQ(SCardConnect(context, nameOf(0).c_str(), SCARD_SHARE_SHARED, SCARD_PROTOCOL_T1, &card, &protocol),
              SCARD_S_SUCCESS);
    ASSERT_EQ(SCardBeginTransaction(card), SCARD_S_SUCCESS);
    SimulatedReader(0).clearLog();
    const auto report = Lumodiag::report();
    EXPECT_EQ(report.ending.status, 1);
    EXPECT_EQ(report.reader(0).at("inUse"), true);
    EXPECT_NE(report.reader(0).at("hangingCall"), nullptr);
    EXPECT_EQ(report.finding("reader-busy").at("subject"), nameOf(0));
    EXPECT_EQ(report.reader(1).at("connection"), "card") << "one that waits does not cost the others";
    // Only when the transaction is over does the service tidy up after who was cut off.
    EXPECT_EQ(SCardEndTransaction(card, SCARD_LEAVE_CARD), SCARD_S_SUCCESS);
    ASSERT_TRUE(Support::waitUntil([] { return Pcscd::openContexts() == 1; }));
    EXPECT_EQ(SCardStatus(card, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), SCARD_S_SUCCESS)
        << "and not SCARD_W_RESET_CARD";
    EXPECT_THAT(callsToCard(SimulatedReader(0)), IsEmpty());
    SCardDisconnect(card, SCARD_LEAVE_CARD);
    SCardReleaseContext(context);
}

TEST(DiagReader, HangsInItsDriver) {
    SimulatedReader reader(0);
    reader.write("hang", "IFDHControl\n");
    const auto report = Lumodiag::report();
    reader.remove("hang");
    EXPECT_EQ(report.document.at("service").at("state"), "fine");
    EXPECT_EQ(report.reader(0).at("hangingCall"), "SCardControl");
    EXPECT_EQ(attribute(report, 0, "vendorName").at("text"), "Vantor") << "what was known before stays";
    EXPECT_EQ(report.finding("reader-not-answering").at("subject"), nameOf(0));
    EXPECT_EQ(report.reader(1).at("connection"), "card");
    EXPECT_EQ(report.ending.status, 1);
}

TEST(DiagReader, HangsInItsDriverAndSoDoesAnotherWhileManyAnswer) {
    Pcscd::serve(9);
    const SimulatedReader first(1);
    const SimulatedReader second(6);
    first.write("hang", "IFDHControl\n");
    second.write("hang", "IFDHGetCapabilities\n");
    const auto report = Lumodiag::report();
    first.remove("hang");
    second.remove("hang");
    EXPECT_EQ(report.document.at("service").at("state"), "fine");
    EXPECT_EQ(report.reader(1).at("hangingCall"), "SCardControl");
    EXPECT_EQ(report.reader(6).at("hangingCall"), "SCardGetAttrib");
    for (const std::size_t number : {0, 2, 3, 4, 5, 7, 8}) {
        EXPECT_EQ(report.reader(number).at("hangingCall"), nullptr) << number;
        EXPECT_EQ(report.reader(number).at("connection"), "card") << number;
        EXPECT_EQ(attribute(report, number, "vendorName").at("text"), "Vantor") << number;
    }
    const auto ids = report.findings();
    EXPECT_EQ(std::count(ids.begin(), ids.end(), "reader-not-answering"), 2);
    EXPECT_EQ(report.ending.status, 1);
}

TEST(DiagReader, HangsTogetherWithFifteenOthersAndAllAreWaitedForAtOnce) {
    for (const std::vector<std::string>& log : {std::vector<std::string>{}, {"--log=/mnt/trace"}}) {
        const auto readers = Pcscd::serve(16);
        for (const auto& reader : readers)
            reader.write("hang", "IFDHControl\n");
        auto arguments = log;
        arguments.emplace_back("--json");
        const auto report = Lumodiag::report(Lumodiag::command(arguments));
        EXPECT_LT(report.took.count(), 15000) << "one after another takes more than a minute";
        EXPECT_EQ(report.ending.errors, "") << "which is no terminal";
        for (std::size_t number = 0; number < 16; ++number) {
            EXPECT_EQ(report.reader(number).at("hangingCall"), "SCardControl") << number;
            EXPECT_EQ(attribute(report, number, "vendorName").at("text"), "Vantor") << number;
        }
        EXPECT_EQ(report.document.at("service").at("state"), "fine");
        for (const auto& reader : readers)
            reader.remove("hang");
    }
}

TEST(DiagReader, IsWaitedForAndATerminalIsTold) {
    Lumodiag::installCatalogs();
    const SimulatedReader reader(0);
    const auto onTerminal = Lumodiag::command().front() + " --lang=en";
    EXPECT_THAT(Support::run({"script", "--quiet", "--return", "--command", onTerminal, "/dev/null"}).output,
                Not(HasSubstr("waiting")));
    reader.write("hang", "IFDHControl\n");
    const auto ending = Support::run({"script", "--quiet", "--return", "--command", onTerminal, "/dev/null"});
    reader.remove("hang");
    EXPECT_THAT(ending.output, StartsWith("lumodiag: waiting for card readers that do not answer"));
    EXPECT_EQ(ending.status, 1);
}

TEST(DiagReader, IsNotWaitedForByAllOthersWhereThereAreMany) {
    Pcscd::serve(9);
    for (int number = 0; number < 9; ++number)
        SimulatedReader(number).write("controls", "42000D48 -> delay 500 06 04 42 33 00 06\n");
    const auto report = Lumodiag::report();
    for (std::size_t number = 0; number < 9; ++number)
        EXPECT_THAT(report.reader(number).at("pinPad").at("features"), SizeIs(1)) << number;
    EXPECT_LT(report.took.count(), 9 * 500) << "one after another";
}

TEST(DiagReader, IsAskedThoughTheServiceHasRoomForOneMoreProgramOnly) {
    Pcscd::serve(16);
    // given: so many programs that the service takes no more, then one less
    std::vector<SCARDCONTEXT> others;
    SCARDCONTEXT context = 0;
    while (SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context) == SCARD_S_SUCCESS)
        others.push_back(context);
    ASSERT_THAT(others, Not(IsEmpty()));
    SCardReleaseContext(others.back());
    others.pop_back();
    const auto report = Lumodiag::report();
    for (const auto other : others)
        SCardReleaseContext(other);
    EXPECT_EQ(report.document.at("service").at("state"), "fine");
    ASSERT_THAT(report.document.at("readers"), SizeIs(16));
    for (std::size_t number = 0; number < 16; ++number)
        EXPECT_EQ(report.reader(number).at("connection"), "card") << number;
}

// Takes the card out of the first reader, and puts in one that a control file describes.
void changeCard(const char* file, const char* content) {
    const SimulatedReader reader(0);
    const PcscClient client;
    reader.removeCard();
    ASSERT_NE(client.stateAfter(nameOf(0), SCARD_STATE_PRESENT, 10000) & SCARD_STATE_EMPTY, 0U);
    reader.write(file, content);
    reader.insertCard();
    ASSERT_NE(client.stateAfter(nameOf(0), SCARD_STATE_EMPTY, 10000) & SCARD_STATE_PRESENT, 0U);
}

TEST(DiagReader, HasACardOfAnotherProtocol) {
    changeCard("atr", "3B 10 96\n");
    EXPECT_EQ(Lumodiag::report().reader(0).at("card").at("protocol"), "T=0");
    changeCard("atr", "3B 80 02\n");
    const auto report = Lumodiag::report();
    EXPECT_EQ(report.reader(0).at("card").at("protocol"), nullptr);
    EXPECT_EQ(report.finding("card-failed").at("subject"), nameOf(0));
    EXPECT_THAT(report.finding("card-failed").at("details"), ElementsAre("SCARD_E_PROTO_MISMATCH (0x8010000F)"));
    EXPECT_EQ(attribute(report, 0, "vendorName").at("text"), "Vantor") << "the reader itself answers";
}

TEST(DiagReader, HasACardThatDoesNotAnswer) {
    changeCard("power", "* -> error POWER_ACTION\n");
    const auto report = Lumodiag::report();
    EXPECT_EQ(report.finding("card-mute").at("subject"), nameOf(0));
    EXPECT_EQ(report.reader(0).at("card").at("result").at("name"), "SCARD_W_UNPOWERED_CARD");
    EXPECT_EQ(attribute(report, 0, "vendorName").at("text"), "Vantor") << "the reader itself answers";
}

TEST(DiagReader, WasPulledWhileItIsListed) {
    SimulatedReader(0).write("unplugged", "");
    PcscClient client;
    ASSERT_TRUE(Support::waitUntil([&] {
        const auto code = client.connect(nameOf(0));
        client.disconnect();
        return code == SCARD_E_READER_UNAVAILABLE;
    }));
    const auto report = Lumodiag::report();
    EXPECT_EQ(report.ending.status, 1);
    EXPECT_EQ(report.finding("reader-gone").at("subject"), nameOf(0));
    EXPECT_EQ(report.reader(1).at("connection"), "card");
}

TEST(DiagReader, IsAPinPadByQueryOrByNameAndTheReportSaysWhyTheyDiffer) {
    Pcscd::serve(0);
    Pcscd::stop();
    const std::vector<std::pair<std::string, std::string>> readers = {
        {"REINER SCT cyberJack with driver", kPinPad},
        {"Cherry SmartBoard with the wrong driver", ""},
        {"Keypad of nobody we know", kPinPad},
        {"OMNIKEY CardMan 3821 that cannot change", "06 04 42 33 00 06\n"},
        {"Broken list", "06 04 42 33 00 06  07 04 42 33\n"},
        {"Refuses to say", "error"},
    };
    for (std::size_t i = 0; i < readers.size(); ++i) {
        const SimulatedReader reader(static_cast<int>(i));
        reader.write("name", readers[i].first + "\n");
        if (readers[i].second == "error")
            reader.write("controls", "42000D48 -> error COMMUNICATION_ERROR\n");
        else if (!readers[i].second.empty())
            reader.write("features", readers[i].second);
    }
    Pcscd::start();
    const auto report = Lumodiag::report();
    const auto verdicts = [&](std::size_t number) {
        const json& pinPad = report.reader(number).at("pinPad");
        return std::make_pair(pinPad.at("byQuery").get<bool>(), pinPad.at("byName").get<bool>());
    };
    EXPECT_EQ(verdicts(0), std::make_pair(true, true));
    EXPECT_EQ(verdicts(1), std::make_pair(false, true));
    EXPECT_EQ(verdicts(2), std::make_pair(true, false));
    EXPECT_EQ(verdicts(3), std::make_pair(false, true));
    EXPECT_EQ(report.finding("pinpad-by-name-only").at("subject"), readers[1].first + " 01 00");
    EXPECT_EQ(report.finding("pinpad-not-in-table").at("subject"), readers[2].first + " 02 00");
    EXPECT_EQ(report.finding("pinpad-half").at("subject"), readers[3].first + " 03 00");
    EXPECT_THAT(report.finding("pinpad-list-broken").at("details"), ElementsAre("06 04 42 33 00 06 07 04 42 33"));
    EXPECT_THAT(report.finding("pinpad-query-failed").at("details"),
                ElementsAre("SCARD_E_NOT_TRANSACTED (0x80100016)"));
    // then: the text gives the reason beside both verdicts
    const auto text = Lumodiag::run({"--lang=de"}).output;
    EXPECT_THAT(text, HasSubstr("nach Abfrage ja, nach Namen ja\n"));
    EXPECT_THAT(text, HasSubstr("nach Abfrage nein, nach Namen ja (der Treiber bietet keine PIN-Eingabe an)"));
    EXPECT_THAT(text, HasSubstr("nach Abfrage ja, nach Namen nein (der Name steht nicht in der Tabelle)"));
    EXPECT_THAT(text, HasSubstr("nach Abfrage nein, nach Namen ja (der Treiber bietet kein Ändern der PIN an)"));
}

// A machine's USB as the kernel shows it, made up.
class DiagUsb : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(Support::run({"mount", "-t", "tmpfs", "made-up", "/sys/bus"}).status, 0);
        fs::create_directories(folder);
    }

    void plug(const std::string& port, const std::string& vendorId, const std::string& product,
              const std::string& driver, const std::string& usbClass = "0b") const {
        const auto device = folder / port;
        const auto interface = folder / (port + ":1.0");
        fs::create_directories(device);
        fs::create_directories(interface);
        test::WriteText(device / "idVendor", vendorId + "\n");
        test::WriteText(device / "idProduct", "0042\n");
        test::WriteText(device / "product", product + "\n");
        test::WriteText(device / "serial", "USB4711\n");
        test::WriteText(interface / "bInterfaceClass", usbClass + "\n");
        if (!driver.empty())
            fs::create_symlink("../drivers/" + driver, interface / "driver");
    }

    fs::path folder = "/sys/bus/usb/devices";
};

TEST_F(DiagUsb, ShowsAReaderThatPcscDoesNotList) {
    plug("1-1", "08e6", "Forgotten Reader", "");
    plug("1-2", "046d", "Mouse", "usbhid", "03");
    const auto report = Lumodiag::report();
    ASSERT_THAT(report.document.at("usbReaders"), SizeIs(1)) << "mice are no readers";
    const json& device = report.document.at("usbReaders").at(0);
    EXPECT_EQ(device.at("vendorId"), "08e6");
    EXPECT_EQ(device.at("productId"), "0042");
    EXPECT_EQ(device.at("listed"), false);
    EXPECT_EQ(report.finding("reader-not-listed").at("subject"), "08e6:0042 Forgotten Reader");
    EXPECT_EQ(report.ending.status, 1);
}

TEST_F(DiagUsb, KnowsWhichOfItsReadersPcscLists) {
    plug("1-1", "08e6", "Simulated Reader 1", "usbfs");
    const auto report = Lumodiag::report();
    EXPECT_EQ(report.document.at("usbReaders").at(0).at("listed"), true);
    EXPECT_EQ(report.ending.status, 0);
}

TEST_F(DiagUsb, TellsWhichDriverOfTheKernelTookAReader) {
    plug("1-1.4", "072f", "Contactless", "pn533_usb");
    const auto report = Lumodiag::report();
    EXPECT_THAT(report.finding("reader-taken-by-kernel").at("commands").dump(), HasSubstr("blacklist pn533_usb"));
    EXPECT_THAT(report.findings(), Not(Contains("reader-not-listed")));
}

TEST_F(DiagUsb, IsNoReasonToMissReadersTwice) {
    plug("1-1", "08e6", "Forgotten Reader", "");
    Pcscd::serve(0);
    const auto ids = Lumodiag::report().findings();
    EXPECT_THAT(ids, Contains("reader-not-listed"));
    EXPECT_THAT(ids, Not(Contains("no-readers"))) << "there is one, PC/SC does not know it";
}

} // namespace
