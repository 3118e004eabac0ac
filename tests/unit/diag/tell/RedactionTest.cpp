#include "diag/tell/Redaction.h"

#include "tests/unit/diag/tell/Sample.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <reader.h>
#include <winscard.h>

#include <map>

using namespace Diag;
using testing::HasSubstr;
using testing::Not;

namespace {

Report WithSerial(const std::string& serial) {
    Report report;
    Reader reader;
    reader.name = "Reader";
    reader.attributes = {{SCARD_ATTR_VENDOR_IFD_SERIAL_NO, 0, serial}};
    report.readers = {reader};
    return report;
}

} // namespace

TEST(RedactionTest, SerialsKeepAtMostAThirdAndThreeCharacters) {
    EXPECT_EQ(Shortened("21121745111568"), "211…");
    EXPECT_EQ(Shortened("SIM0001"), "SI…");
    EXPECT_EQ(Shortened("1234"), "1…");
    EXPECT_EQ(Shortened("12"), "…");
    EXPECT_EQ(Shortened(""), "…");
}

TEST(RedactionTest, SerialsAreShortenedWhereverTheyStand) {
    const Redaction redaction(WithSerial("AB123456"), "");
    EXPECT_EQ(redaction.Device("Reader AB123456 00 00"), "Reader AB… 00 00");
    EXPECT_EQ(redaction.Line("asks Reader AB123456 and AB123456"), "asks Reader AB… and AB…");
}

TEST(RedactionTest, SerialsAreFoundHoweverTheyAreWritten) {
    const Redaction redaction(WithSerial("AB123456"), "");
    for (const std::string written :
         {"ab123456", "AB-12-34-56", "AB 12 34 56", "4142313233343536", "41 42 31 32 33 34 35 36"}) {
        EXPECT_EQ(redaction.Line("x " + written + " y"), "x AB… y");
        EXPECT_EQ(redaction.Device("Reader (" + written + ") 00 00"), "Reader (AB…) 00 00");
    }
    EXPECT_EQ(redaction.Line("\\x41\\x42\\x31\\x32\\x33\\x34\\x35\\x36 y"), "\\xAB… y");
    EXPECT_EQ(redaction.Line("\\u0041\\u0042\\u0031\\u0032\\u0033\\u0034\\u0035\\u0036 y"), "\\u00AB… y");
    EXPECT_EQ(Redaction(WithSerial("00012345678"), "").Line("12345678"), "000…");
    EXPECT_EQ(Redaction(WithSerial("AB-12:34"), "").Line("ab1234"), "AB…");
}

TEST(RedactionTest, BytesThatAreASerialAreReplacedInAnAnswerToReset) {
    Report report = WithSerial("3B7F96AB");
    report.readers[0].atr = "\x3B\x7F\x96\xAB\x01";
    Redaction(report, "").Apply(report);
    EXPECT_EQ(report.readers[0].atr, "3B…\x01");
}

TEST(RedactionTest, CountedZerosDoNotHideASerial) {
    const Redaction redaction(WithSerial(std::string("AB123456\0", 9)), "");
    EXPECT_EQ(redaction.Line("x AB123456 y"), "x AB… y");
}

TEST(RedactionTest, LongerSerialsGoFirst) {
    Report report = WithSerial("AB12");
    report.readers.push_back(WithSerial("AB123456").readers.front());
    EXPECT_EQ(Redaction(report, "").Line("AB123456 AB12"), "AB… A…");
}

TEST(RedactionTest, OfNamesOnlyKnownWordsAndTheServicesNumbersStay) {
    const Redaction redaction("");
    EXPECT_EQ(redaction.Device("Cherry Reader (21121745111568) 00 0A"), "Cherry Reader (…) 00 0A");
    EXPECT_EQ(redaction.Device("Annas eigener Reader"), "… Reader");
    EXPECT_EQ(redaction.Device("Reader 12 34 56 78 00 00"), "Reader … 00 00");
    EXPECT_EQ(redaction.Device("Käse & Söhne 00 00"), "… 00 00");
    EXPECT_EQ(redaction.Device("Away (5550001) 04 00"), "… (…) 04 00");
    EXPECT_EQ(redaction.Device("*"), "*");
    EXPECT_EQ(redaction.Device(""), "");
}

TEST(RedactionTest, KnownModelsKeepTheNameByWhichTheyAreJudged) {
    const Redaction redaction("");
    for (const char* const name : {"OMNIKEY CardMan 3621 00 00",
                                   "OMNIKEY CardMan 3821 00 00",
                                   "OMNIKEY CardMan 8630 00 00",
                                   "Cherry SmartBoard XX44 00 00",
                                   "REINER SCT cyberJack RFID standard 00 00",
                                   "SCM Microsystems Inc. SPRx32 00 00",
                                   "KOBIL KAAN Professional",
                                   "KOBIL KAAN Standard plus",
                                   "KOBIL B1 S",
                                   "KOBIL B1 PCMCIA",
                                   "Cardman 8630",
                                   "cyberJack e-com plus",
                                   "cyberJack pinpad",
                                   "cyberJack Secoder",
                                   "cyberJack kb",
                                   "Cherry G83-67xx",
                                   "SCM SCR241",
                                   "SCM SPR532",
                                   "Siemens Signator",
                                   "PCSC Reader"}) {
        EXPECT_EQ(redaction.Device(name), name);
    }
}

TEST(RedactionTest, TheHomeDirectoryBecomesATilde) {
    const Redaction redaction("/home/annabell/");
    EXPECT_EQ(redaction.Path("/home/annabell/.vantor/lumoclient/config"), "~/.vantor/lumoclient/config");
    EXPECT_EQ(redaction.Path("/home/annabell"), "~");
    EXPECT_EQ(redaction.Path("/home/annabella/.vantor"), "/home/…/.vantor") << "that is somebody else's";
    EXPECT_EQ(redaction.Line("in /home/annabell/x of annabell"), "in ~/x of …");
    EXPECT_EQ(Redaction("/").Path("/etc/vantor"), "/etc/vantor") << "a home of / names nobody";
}

TEST(RedactionTest, OfPathsOnlyKnownPartsStay) {
    const Redaction redaction("");
    EXPECT_EQ(redaction.Path("/home/berta/.vantor/lumo Client/Trace/lumop11.log"),
              "/home/…/.vantor/lumo Client/Trace/lumop11.log");
    EXPECT_EQ(redaction.Path("/srv/people/berta"), "/srv/…/…");
    EXPECT_EQ(redaction.Path("/run/pcscd/pcscd.comm"), "/run/pcscd/pcscd.comm");
    EXPECT_EQ(redaction.Path("lumop11_12.log"), "lumop11_12.log");
    EXPECT_EQ(redaction.Path("lumop11_2026-03-01_14-05-09.log"), "lumop11_2026-03-01_14-05-09.log");
    EXPECT_EQ(redaction.Path("lumop11 (LOG4441).log"), "….log");
    EXPECT_EQ(redaction.Path("C:\\Users\\berta\\libct.so"), "…\\…\\…\\libct.so");
}

TEST(RedactionTest, DevicesThatComeLaterAreLearned) {
    Redaction redaction("");
    EXPECT_EQ(redaction.Device("Reader AB123456"), "Reader …");
    UsbReader device;
    device.serial = "AB123456";
    redaction.Learn({device});
    EXPECT_EQ(redaction.Device("Reader AB123456"), "Reader AB…");
}

TEST(RedactionTest, AccountsAreHiddenButForThoseThatMachinesHave) {
    Report report;
    report.configuration.machine.file.owner = "anna";
    report.configuration.machine.file.group = "lumoadmin";
    report.configuration.user.file.owner = "54321";
    Redaction("").Apply(report);
    EXPECT_EQ(report.configuration.machine.file.owner, "…");
    EXPECT_EQ(report.configuration.machine.file.group, "lumoadmin");
    EXPECT_EQ(report.configuration.user.file.owner, "…");
}

TEST(RedactionTest, WhatNamesHaveDecidedIsKnownWithoutThem) {
    Report report;
    report.usbReaders.resize(2);
    report.usbReaders[0].isListed = true;
    report.readers = WithSerial("").readers;
    report.readers[0].name = "Maker's own Reader 00 00";
    report.readers[0].isSecureByName = true;
    Redaction("").Apply(report);
    EXPECT_TRUE(report.usbReaders[0].isListed);
    EXPECT_FALSE(report.usbReaders[1].isListed);
    EXPECT_TRUE(report.readers[0].isSecureByName);
}

TEST(RedactionTest, ALogLineOfAReaderThatIsNotInTheReportPassesKnownWordsOnly) {
    EXPECT_EQ(Redaction(Report(), "").Line("lumodiag asks reader Cherry Unbekannt 47110815 01 00"),
              "lumodiag asks reader Cherry … 01 00");
}

TEST(RedactionTest, ADeviceUnitIsNoPlaceForASecretHoweverShort) {
    const std::string number("\x01\0\0\0", 4);
    for (const auto& [unit, shown] :
         std::map<std::string, std::string>{{"4711", "4…"}, {"anna", "…"}, {number, number}}) {
        Report report = WithSerial("4711");
        report.readers[0].attributes.push_back({SCARD_ATTR_DEVICE_UNIT, 0, unit});
        Redaction(report, "/home/anna").Apply(report);
        EXPECT_EQ(report.readers[0].attributes[1].bytes, shown);
    }
}

TEST(RedactionTest, ShortSerialsAreShortenedInTheirOwnPlaceOnly) {
    Report report = WithSerial("12");
    report.readers[0].name = "Reader 12 00 00";
    Redaction(report, "").Apply(report);
    EXPECT_EQ(report.readers[0].attributes[0].bytes, "…");
}

TEST(RedactionTest, NothingPrivateIsLeftInAReport) {
    // given: serials as attribute, in names, on USB and in the configuration, and paths below the home directory
    const Report report = SampleReport();
    const std::string before = SampleText(report, DeriveFindings(report));
    for (const std::string& secret : SampleSecrets()) {
        ASSERT_THAT(before, HasSubstr(secret)) << "the sample has to hold it, or the test proves nothing";
    }
    // when
    Report shown = report;
    Redaction(report, SampleHome).Apply(shown);
    // then
    const std::string after = SampleText(shown, DeriveFindings(report, shown));
    for (const std::string& secret : SampleSecrets()) {
        EXPECT_THAT(after, Not(HasSubstr(secret)));
    }
}

TEST(RedactionTest, WhoseWindowIsOpenIsLeftOut) {
    Report report;
    report.openWindow = Vantor::RunningCopy{4711, "ann", 0};
    Report shown = report;
    Redaction(report, "").Apply(shown);
    const std::vector<Finding> findings = DeriveFindings(report, shown);
    ASSERT_STREQ(findings.back().kind->id, "window-open");
    EXPECT_EQ(findings.back().subject.find("ann"), std::string::npos);
}

TEST(RedactionTest, FindingsStayTheSameInNumberAndKind) {
    const Report report = SampleReport();
    Report shown = report;
    Redaction(report, SampleHome).Apply(shown);
    const std::vector<Finding> before = DeriveFindings(report);
    const std::vector<Finding> after = DeriveFindings(report, shown);
    ASSERT_EQ(after.size(), before.size());
    for (std::size_t i = 0; i < before.size(); ++i) {
        EXPECT_EQ(after[i].kind, before[i].kind);
    }
}
