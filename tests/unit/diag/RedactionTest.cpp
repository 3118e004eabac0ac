#include "diag/Redaction.h"

#include "tests/unit/diag/Sample.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <reader.h>
#include <winscard.h>

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
    EXPECT_EQ(redaction.Text("Reader AB123456 00 00 and AB123456"), "Reader AB… 00 00 and AB…");
}

TEST(RedactionTest, CountedZerosDoNotHideASerial) {
    const Redaction redaction(WithSerial(std::string("AB123456\0", 9)), "");
    EXPECT_EQ(redaction.Text("x AB123456 y"), "x AB… y");
}

TEST(RedactionTest, LongerSerialsGoFirst) {
    Report report = WithSerial("AB12");
    report.readers.push_back(WithSerial("AB123456").readers.front());
    EXPECT_EQ(Redaction(report, "").Text("AB123456 AB12"), "AB… A…");
}

TEST(RedactionTest, SerialsInParenthesesAreShortenedUnlearned) {
    const Redaction redaction("");
    EXPECT_EQ(redaction.Text("Cherry ST-2000 (21121745111568) 00 00"), "Cherry ST-2000 (211…) 00 00");
    EXPECT_EQ(redaction.Text("A (12345678) B (SN:99-4711)"), "A (12…) B (SN:…)");
}

TEST(RedactionTest, ResultCodesInParenthesesStay) {
    const Redaction redaction("");
    EXPECT_EQ(redaction.Text("SCARD_E_NO_SERVICE (0x8010001D)"), "SCARD_E_NO_SERVICE (0x8010001D)");
    EXPECT_EQ(redaction.Text("error in SCardConnect  (0x8010000f, 8010000f)"),
              "error in SCardConnect  (0x8010000f, 8010000f)");
    EXPECT_EQ(redaction.Text("Reader (0x8010001D5)"), "Reader (0x8…)") << "a digit more, and it is none";
}

TEST(RedactionTest, WordsInParenthesesStay) {
    const Redaction redaction("");
    for (const char* const text : {"Reader (contactless) 00 00", "Reader (v2) 00 00", "Reader () x",
                                   "Reader (open 12345", "SCARD_E_NO_SERVICE) x ("}) {
        EXPECT_EQ(redaction.Text(text), text);
    }
}

TEST(RedactionTest, TheHomeDirectoryBecomesATilde) {
    const Redaction redaction("/home/anna/");
    EXPECT_EQ(redaction.Text("/home/anna/.vantor/lumoclient/config"), "~/.vantor/lumoclient/config");
    EXPECT_EQ(redaction.Text("/home/annabell/x"), "/home/…/x") << "that is somebody else's";
    EXPECT_EQ(Redaction("/").Text("/etc/vantor"), "/etc/vantor") << "a home of / names nobody";
}

TEST(RedactionTest, HomesOfOthersLoseTheirName) {
    const Redaction redaction("/home/anna");
    EXPECT_EQ(redaction.Text("/home/berta/x.log and /home/carl"), "/home/…/x.log and /home/…");
    EXPECT_EQ(redaction.Text("/home/anna"), "~");
    EXPECT_EQ(redaction.Text("/home/"), "/home/…");
}

TEST(RedactionTest, TheHomeDirectoryItselfBecomesATildeWhereverItLies) {
    const Redaction redaction("/srv/users/anna");
    EXPECT_EQ(redaction.Text("/srv/users/anna"), "~");
    EXPECT_EQ(redaction.Text("\"/srv/users/anna\": /srv/users/anna/x"), "\"~\": ~/x");
    EXPECT_EQ(redaction.Text("/srv/users/anna-lena/x"), "/srv/users/anna-lena/x") << "another name";
}

TEST(RedactionTest, HomesOutsideOfHomeLoseTheirNameTooWhereTheClientHasItsFolder) {
    const Redaction redaction("/srv/users/anna");
    EXPECT_EQ(redaction.Text("/srv/users/berta/.vantor/lumo Client/x.log"), "/srv/users/…/.vantor/lumo Client/x.log");
    EXPECT_EQ(redaction.Text("/srv/a/.vantor/x, /srv/b/.vantor"), "/srv/…/.vantor/x, /srv/…/.vantor");
    for (const char* const text : {"~/.vantor/x", "/etc/vantor/x", "/root/.vantor/x", "/.vantor/x", ".vantor"}) {
        EXPECT_EQ(redaction.Text(text), text);
    }
}

TEST(RedactionTest, DevicesThatComeLaterAreLearned) {
    Redaction redaction("");
    EXPECT_EQ(redaction.Text("Stick AB123456"), "Stick AB123456");
    UsbReader device;
    device.serial = "AB123456";
    redaction.Learn({device});
    EXPECT_EQ(redaction.Text("Stick AB123456"), "Stick AB…");
}

TEST(RedactionTest, AccountsOfPeopleAreHiddenAndThoseOfTheSystemAreNot) {
    Report report;
    report.configuration.machine.file.owner = "anna";
    report.configuration.machine.file.ownedByPerson = true;
    report.configuration.machine.file.group = "lumoadmin";
    Redaction("").Apply(report);
    EXPECT_EQ(report.configuration.machine.file.owner, "…");
    EXPECT_EQ(report.configuration.machine.file.group, "lumoadmin");
}

TEST(RedactionTest, EveryTextOfTheConfigurationAndTheLogsIsShortened) {
    Report report = WithSerial("AB123456");
    ConfigurationState& state = report.configuration;
    state.machine.invalid = {{1, "config/lumo_Client/Reader0 \"AB123456\"", "unexpected AB123456"}};
    state.machine.malformed = FileProblem{1, "AB123456", "unexpected AB123456"};
    state.machine.unread = {"config/AB123456"};
    state.settings.readers = {{"ReaderAB123456", "AB123456", "AB123456", "AB123456", false}};
    state.settings.clientVersion = "AB123456";
    report.logs.miniDriver.files = {{"AB123456.log", 1, 1}};
    report.service.socket = "/run/AB123456";
    Redaction(report, "").Apply(report);
    EXPECT_THAT(SampleText(report, {}), Not(HasSubstr("AB123456")));
}

TEST(RedactionTest, ShortSerialsAreShortenedInTheirOwnPlaceOnly) {
    Report report = WithSerial("12");
    report.readers[0].name = "Reader 12";
    Redaction(report, "").Apply(report);
    EXPECT_EQ(report.readers[0].attributes[0].bytes, "…");
    EXPECT_EQ(report.readers[0].name, "Reader 12");
}

TEST(RedactionTest, NothingPrivateIsLeftInAReport) {
    // given: serials as attribute, in names, on USB and in the configuration, and paths below the home directory
    Report report = SampleReport();
    std::vector<Finding> findings = DeriveFindings(report);
    const std::string before = SampleText(report, findings);
    for (const std::string& secret : SampleSecrets()) {
        ASSERT_THAT(before, HasSubstr(secret)) << "the sample has to hold it, or the test proves nothing";
    }
    // when
    const Redaction redaction(report, SampleHome);
    redaction.Apply(findings);
    redaction.Apply(report);
    // then
    const std::string after = SampleText(report, findings);
    for (const std::string& secret : SampleSecrets()) {
        EXPECT_THAT(after, Not(HasSubstr(secret)));
    }
}

TEST(RedactionTest, WhoseWindowIsOpenIsLeftOut) {
    Report report;
    report.openWindow = Vantor::RunningCopy{4711, "ann", 0};
    std::vector<Finding> findings = DeriveFindings(report);
    Redaction(report, "").Apply(findings);
    ASSERT_STREQ(findings.back().kind->id, "window-open");
    EXPECT_EQ(findings.back().subject.find("ann"), std::string::npos);
}

TEST(RedactionTest, FindingsStayTheSameInNumberAndKind) {
    Report report = SampleReport();
    std::vector<Finding> findings = DeriveFindings(report);
    const std::vector<Finding> before = findings;
    Redaction(report, SampleHome).Apply(findings);
    ASSERT_EQ(findings.size(), before.size());
    for (std::size_t i = 0; i < before.size(); ++i) {
        EXPECT_EQ(findings[i].kind, before[i].kind);
    }
}
