#include "diag/tell/TextReport.h"

#include "diag/tell/Language.h"
#include "tests/support/Environment.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/diag/tell/Sample.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <winscard.h>

using namespace Diag;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

class TextReportTest : public testing::Test {
protected:
    TextReportTest() { UseLanguage("en", CATALOG_FOLDER); }

    static std::string Format(const Report& report) { return FormatText(report, DeriveFindings(report)); }

    test::Variable zone{"TZ", "UTC"};
};

Report OneReader(const Reader& reader) {
    Report report;
    report.service.state = ServiceState::Fine;
    report.readers = {reader};
    return report;
}

Reader AskedReader() {
    Reader reader;
    reader.name = "Reader";
    reader.asked = reader.connected = reader.featuresAsked = true;
    return reader;
}

} // namespace

TEST_F(TextReportTest, EverythingInEnglishIsAsInTheGoldenFile) {
    const std::string text = Format(SampleReport());
    EXPECT_EQ(text, Golden("report.en.txt", text));
}

TEST_F(TextReportTest, EverythingInGermanIsAsInTheGoldenFile) {
    UseLanguage("de", CATALOG_FOLDER);
    const std::string text = Format(SampleReport());
    EXPECT_EQ(text, Golden("report.de.txt", text));
}

TEST_F(TextReportTest, NothingWrongIsSaid) {
    Report report = OneReader(AskedReader());
    report.configuration.machine.file.exists = report.configuration.machine.file.readable = true;
    report.configuration.machine.file.isRegular = report.configuration.machine.file.writable = true;
    report.configuration.machine.parsed = true;
    report.configuration.settings.readers = {{"Reader0", "PCSC Reader", "*", "", true}};
    EXPECT_THAT(Format(report), HasSubstr("\nNothing is wrong.\n"));
}

TEST_F(TextReportTest, EachServiceStateHasItsWords) {
    const std::vector<std::pair<ServiceState, const char*>> words = {
        {ServiceState::Fine, "fine"},
        {ServiceState::NotInstalled, "not installed"},
        {ServiceState::NotRunning, "installed, not running"},
        {ServiceState::NotReachable, "not reachable, the socket is missing"},
        {ServiceState::NoPermission, "refused by the socket's permissions"},
        {ServiceState::Refused, "refused by the service"},
        {ServiceState::ProtocolMismatch, "another protocol than the library's"},
        {ServiceState::NotAnswering, "does not answer"},
        {ServiceState::Failed, "Error"}};
    for (const auto& [state, text] : words) {
        Report report;
        report.service.state = state;
        EXPECT_THAT(Format(report), HasSubstr(std::string("State                 ") + text + "\n"));
    }
}

TEST_F(TextReportTest, OfAFileBehindAClosedFolderNothingIsInvented) {
    Report report;
    report.time = 1772373909;
    FileFacts& file = report.configuration.machine.file;
    file.path = "/etc/vantor/lumoclient/config";
    file.exists = true;
    file.obstacle = EACCES;
    report.logs.miniDriver.isHidden = true;
    const std::string text = Format(report);
    EXPECT_THAT(text, AllOf(Not(HasSubstr("---------")), Not(HasSubstr("1970")), Not(HasSubstr("only root"))));
    EXPECT_THAT(text, AllOf(HasSubstr("Content           not readable\n"),
                            HasSubstr("This user         may not save (Permission denied)\n"),
                            HasSubstr("Directory         this user may not look\n")));
}

TEST_F(TextReportTest, NoDriverTextReachesTheTerminalRaw) {
    Reader reader = AskedReader();
    reader.name = "evil\x1B]0;owned\x07 reader";
    reader.attributes = {{0x00010100, 0, "\x1B[31mred"}};
    Report report = OneReader(reader);
    report.configuration.machine.parsed = true;
    report.configuration.settings.readers = {{"Reader0", "PCSC Reader", "\x1B[1mold", "", true},
                                             {"Reader\xC2\x9B\xE2\x80\xAE\xFF", "PCSC Reader", "other", "", true},
                                             {"Leser", "PCSC Reader", "third", "", true}};
    const std::string text = Format(report);
    EXPECT_THAT(text, Not(HasSubstr("\x1B")));
    EXPECT_THAT(text, Not(HasSubstr("\x07")));
    EXPECT_THAT(text, HasSubstr("evil\\x1B]0;owned\\x07 reader"));
    EXPECT_THAT(text, HasSubstr("Reader\\xC2\\x9B\\xE2\\x80\\xAE\\xFF other"));
    EXPECT_THAT(text, HasSubstr("Leser             third")) << "a name is not translated";
}

TEST_F(TextReportTest, VerdictsStandSideBySideWithTheReasonWhereTheyDiffer) {
    Reader reader = AskedReader();
    EXPECT_THAT(Format(OneReader(reader)), HasSubstr("by query no, by name no\n"));
    reader.isSecure = true;
    EXPECT_THAT(Format(OneReader(reader)), HasSubstr("by query yes, by name no (the name is not in the table)\n"));
    reader.isSecureByName = true;
    EXPECT_THAT(Format(OneReader(reader)), HasSubstr("by query yes, by name yes\n"));
    reader.isSecure = false;
    EXPECT_THAT(Format(OneReader(reader)), HasSubstr("by query no, by name yes (the driver offers no PIN entry)\n"));
    reader.features = std::string("\x06\x04\x42\x33\x00\x06", 6);
    EXPECT_THAT(Format(OneReader(reader)), HasSubstr("by name yes (the driver offers no changing of the PIN)\n"));
    reader.features = std::string("\x07\x04\x42\x33\x00\x07", 6);
    EXPECT_THAT(Format(OneReader(reader)), HasSubstr("by name yes (the driver offers no verifying of the PIN)\n"));
    reader.features.clear();
    reader.featuresCode = SCARD_E_NOT_TRANSACTED;
    EXPECT_THAT(Format(OneReader(reader)),
                HasSubstr("by name yes (the query failed: SCARD_E_NOT_TRANSACTED (0x80100016))\n"));
}

TEST_F(TextReportTest, AReaderThatCannotBeOpenedHasAVerdictByNameOnly) {
    Reader reader;
    reader.isSecureByName = true;
    reader.asked = true;
    reader.directCode = SCARD_E_READER_UNAVAILABLE;
    EXPECT_THAT(Format(OneReader(reader)), HasSubstr("PIN pad           not asked, by name yes\n"));
    reader.isSecureByName = false;
    EXPECT_THAT(Format(OneReader(reader)), HasSubstr("PIN pad           not asked, by name no\n"));
}

TEST_F(TextReportTest, FailedProbesShowTheirErrorsByNameAndNumber) {
    Reader reader = AskedReader();
    reader.state = SCARD_STATE_PRESENT;
    reader.cardCode = SCARD_W_UNRESPONSIVE_CARD;
    reader.directCode = SCARD_E_READER_UNAVAILABLE;
    reader.statusCode = SCARD_E_UNKNOWN_READER;
    reader.featuresCode = SCARD_F_COMM_ERROR;
    EXPECT_THAT(Format(OneReader(reader)),
                AllOf(HasSubstr("SCARD_W_UNRESPONSIVE_CARD (0x80100066)"),
                      HasSubstr("SCARD_E_READER_UNAVAILABLE (0x80100017)"),
                      HasSubstr("SCARD_E_UNKNOWN_READER (0x80100009)"), HasSubstr("SCARD_F_COMM_ERROR (0x80100013)")));
}

TEST_F(TextReportTest, ReadersThatWereNotAskedStayInTheList) {
    Reader reader;
    reader.name = "Last Reader";
    Report report = OneReader(reader);
    report.service.state = ServiceState::NotAnswering;
    EXPECT_THAT(Format(report), HasSubstr("  1  Last Reader\n      State             not asked\n"));
}

TEST_F(TextReportTest, TheDeviceUnitIsShownAsBytes) {
    Reader reader = AskedReader();
    reader.attributes = {{0x7FFF0001, 0, std::string("\x01\0", 2)}};
    EXPECT_THAT(Format(OneReader(reader)), HasSubstr("Device unit       01 00\n"));
}

TEST_F(TextReportTest, ADriverWithoutFeaturesIsNoFailedQuery) {
    Reader reader = AskedReader();
    reader.isSecureByName = true;
    reader.featuresCode = SCARD_E_UNSUPPORTED_FEATURE;
    EXPECT_THAT(Format(OneReader(reader)), HasSubstr("by name yes (the driver offers no PIN entry)\n"));
}

TEST_F(TextReportTest, OnlyTheNewestLogFilesAreNamed) {
    Report report;
    report.logs.client.exists = true;
    for (int i = 0; i < 12; ++i) {
        report.logs.client.files.push_back({"part" + std::to_string(i) + ".log", 1, 0});
    }
    EXPECT_THAT(Format(report), AllOf(HasSubstr("12, 12 B"), HasSubstr("part9.log"), Not(HasSubstr("part10.log"))));
}
