#include "diag/tell/Findings.h"

#include "diag/record/PcscNames.h"
#include "diag/tell/Language.h"
#include "diag/tell/Text.h"
#include "diag/tell/TextReport.h"
#include "readers/BaseCspReader.h"
#include "tests/fakes/FakePcsc.h"
#include "tests/unit/diag/tell/Sample.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <reader.h>
#include <winscard.h>

#include <random>
#include <set>

using namespace Diag;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

/// A machine on which nothing is wrong: two readers, any reader allowed.
class FindingsTest : public testing::Test {
protected:
    FindingsTest() {
        UseLanguage("en", CATALOG_FOLDER);
        report.service.state = ServiceState::Fine;
        report.readers = {Good("Reader A 00 00"), Good("Reader B 01 00")};
        FileFacts& file = report.configuration.machine.file;
        file.path = "/etc/vantor/lumoclient/config";
        file.exists = file.isRegular = file.readable = file.writable = true;
        report.configuration.machine.parsed = true;
        report.configuration.settings.readers = {{"Reader0", "PCSC Reader", "*", "", true}};
        report.logs.client = {"/home/anna/.vantor/lumo Client/Trace/", true, true, true, {}};
        report.logs.miniDriver = {"/etc/vantor/LumoMiniDriver/Log/", true, true, true, {}};
    }

    static Reader Good(const std::string& name) {
        Reader reader;
        reader.name = name;
        reader.asked = reader.connected = reader.featuresAsked = true;
        reader.state = SCARD_STATE_PRESENT;
        reader.featuresCode = SCARD_E_UNSUPPORTED_FEATURE;
        reader.attributes = {{SCARD_ATTR_VENDOR_NAME, 0, std::string("Vantor\0", 7)},
                             {SCARD_ATTR_DEVICE_UNIT, 0, std::string("\x01\x00\x00\xFF", 4)},
                             {SCARD_ATTR_VENDOR_IFD_TYPE, SCARD_E_UNSUPPORTED_FEATURE, ""}};
        return reader;
    }

    std::vector<std::string> Ids() const {
        std::vector<std::string> ids;
        for (const Finding& finding : DeriveFindings(report)) {
            ids.emplace_back(finding.kind->id);
        }
        return ids;
    }

    Finding Only() const {
        const auto findings = DeriveFindings(report);
        return findings.size() == 1 ? findings.front() : Finding{};
    }

    void SetFeatures(const std::string& features, bool isSecure) {
        report.readers[0].featuresCode = SCARD_S_SUCCESS;
        report.readers[0].features = features;
        report.readers[0].isSecure = isSecure;
    }

    Report report;
};

} // namespace

TEST_F(FindingsTest, AGoodMachineHasNone) {
    EXPECT_THAT(Ids(), IsEmpty());
    EXPECT_FALSE(IsAnythingWrong(DeriveFindings(report)));
}

TEST_F(FindingsTest, EachServiceStateIsAFinding) {
    const std::vector<std::pair<ServiceState, std::string>> ids = {
        {ServiceState::NotInstalled, "service-not-installed"},
        {ServiceState::NotRunning, "service-not-running"},
        {ServiceState::NotReachable, "service-not-reachable"},
        {ServiceState::NoPermission, "service-no-permission"},
        {ServiceState::Refused, "service-refused"},
        {ServiceState::ProtocolMismatch, "service-protocol-mismatch"},
        {ServiceState::NotAnswering, "service-not-answering"},
        {ServiceState::Failed, "service-failed"}};
    report.readers.clear();
    for (const auto& [state, id] : ids) {
        report.service.state = state;
        EXPECT_THAT(Ids(), ElementsAre(id));
        EXPECT_TRUE(IsAnythingWrong(DeriveFindings(report)));
    }
}

TEST_F(FindingsTest, ASuspendedServiceIsToldWithItsProcess) {
    report.readers.clear();
    report.service.state = ServiceState::NotAnswering;
    report.service.process = 4711;
    report.service.processState = 'T';
    EXPECT_STREQ(Only().kind->id, "service-frozen");
    EXPECT_THAT(Only().commands, ElementsAre("sudo kill -CONT 4711"));
}

TEST_F(FindingsTest, WithoutTheServiceMissingReadersAreNoFindingsOfTheirOwn) {
    report.readers.clear();
    report.service.state = ServiceState::NotRunning;
    report.usbReaders.resize(1);
    report.configuration.settings.readers = {{"Reader0", "PCSC Reader", "Gone", "", true}};
    EXPECT_THAT(Ids(), ElementsAre("service-not-running"));
}

TEST_F(FindingsTest, NoReadersAnywhere) {
    report.readers.clear();
    report.listCode = SCARD_E_NO_READERS_AVAILABLE;
    EXPECT_THAT(Ids(), ElementsAre("no-readers"));
    EXPECT_THAT(Only().details, ElementsAre("SCARD_E_NO_READERS_AVAILABLE (0x8010002E)"));
}

TEST_F(FindingsTest, AReaderOnUsbThatIsNotListed) {
    report.usbReaders = {{"1-1", "08e6", "3437", "Gemalto", "USB SmartCard Reader", "", "", 1, 4}};
    EXPECT_THAT(Ids(), ElementsAre("reader-not-listed"));
    EXPECT_EQ(Only().subject, "08e6:3437 Gemalto USB SmartCard Reader");
    report.readers.clear();
    EXPECT_THAT(Ids(), ElementsAre("reader-not-listed")) << "one finding is enough";
    report.usbReaders[0].driver = "usbfs";
    EXPECT_THAT(Ids(), ElementsAre("reader-not-listed")) << "the daemon has it and still does not list it";
}

TEST_F(FindingsTest, AReaderThatAKernelDriverTook) {
    report.usbReaders = {{"1-1", "072f", "2200", "ACS", "ACR122U", "", "pn533_usb", 1, 4}};
    EXPECT_THAT(Ids(), ElementsAre("reader-taken-by-kernel"));
    EXPECT_THAT(Only().commands,
                ElementsAre("echo 'blacklist pn533_usb' | sudo tee /etc/modprobe.d/lumoadmin-pn533_usb.conf",
                            "sudo modprobe --remove pn533_usb"));
}

TEST_F(FindingsTest, AReaderOnUsbThatIsListedIsFine) {
    report.usbReaders = {{"1-1", "08e6", "3437", "", "", "", "usbfs", 1, 4, true}};
    EXPECT_THAT(Ids(), IsEmpty());
}

TEST_F(FindingsTest, SixteenReadersAreTheLimit) {
    report.readers.assign(15, Good("R"));
    EXPECT_THAT(Ids(), IsEmpty());
    report.readers.assign(16, Good("R"));
    EXPECT_THAT(Ids(), ElementsAre("readers-at-limit"));
    EXPECT_FALSE(IsAnythingWrong(DeriveFindings(report))) << "a note";
}

TEST_F(FindingsTest, AHeldReader) {
    Reader& reader = report.readers[0];
    reader.connected = false;
    reader.cardCode = SCARD_E_SHARING_VIOLATION;
    EXPECT_THAT(Ids(), ElementsAre("reader-held"));
    EXPECT_EQ(Only().subject, "Reader A 00 00");
    reader.cardCode = SCARD_S_SUCCESS;
    reader.directCode = SCARD_E_SHARING_VIOLATION;
    EXPECT_THAT(Ids(), ElementsAre("reader-held")) << "without a card";
    reader.directCode = SCARD_S_SUCCESS;
    reader.state |= SCARD_STATE_EXCLUSIVE;
    EXPECT_THAT(Ids(), ElementsAre("reader-held"));
}

TEST_F(FindingsTest, AReaderThatIsSharedIsFine) {
    report.readers[0].state |= SCARD_STATE_INUSE;
    EXPECT_THAT(Ids(), IsEmpty());
}

TEST_F(FindingsTest, AnUnpluggedReader) {
    Reader& reader = report.readers[0];
    reader.connected = false;
    reader.state = SCARD_STATE_UNAVAILABLE;
    reader.directCode = SCARD_E_READER_UNAVAILABLE;
    EXPECT_THAT(Ids(), ElementsAre("reader-gone"));
    reader.state = SCARD_STATE_EMPTY;
    EXPECT_THAT(Ids(), ElementsAre("reader-gone"));
    reader.directCode = SCARD_E_UNKNOWN_READER;
    EXPECT_THAT(Ids(), ElementsAre("reader-gone")) << "gone since it was listed";
}

TEST_F(FindingsTest, AReaderThatCannotBeOpened) {
    Reader& reader = report.readers[0];
    reader.connected = false;
    reader.state = SCARD_STATE_EMPTY;
    reader.directCode = SCARD_F_COMM_ERROR;
    EXPECT_THAT(Ids(), ElementsAre("reader-failed"));
    EXPECT_THAT(Only().details, ElementsAre("SCARD_F_COMM_ERROR (0x80100013)"));
}

TEST_F(FindingsTest, AHangingReader) {
    report.readers[0].hangingCall = "SCardGetAttrib";
    EXPECT_THAT(Ids(), ElementsAre("reader-not-answering"));
    EXPECT_THAT(Only().details, ElementsAre("SCardGetAttrib"));
}

TEST_F(FindingsTest, AReaderInAnothersTransaction) {
    report.readers[0].hangingCall = "SCardConnect";
    report.readers[0].state |= SCARD_STATE_INUSE;
    EXPECT_THAT(Ids(), ElementsAre("reader-busy"));
    report.readers[0].state = SCARD_STATE_PRESENT;
    EXPECT_THAT(Ids(), ElementsAre("reader-not-answering")) << "nobody uses it";
}

TEST_F(FindingsTest, AReaderThatWasNotAskedIsNoFindingOfItsOwn) {
    report.service.state = ServiceState::NotAnswering;
    report.readers[1] = Reader();
    EXPECT_THAT(Ids(), ElementsAre("service-not-answering"));
}

TEST_F(FindingsTest, CardsThatDoNotAnswerOrConnect) {
    Reader& reader = report.readers[0];
    reader.direct = true;
    for (const long code : {SCARD_W_UNPOWERED_CARD, SCARD_W_UNRESPONSIVE_CARD}) {
        reader.cardCode = code;
        EXPECT_THAT(Ids(), ElementsAre("card-mute"));
    }
    reader.cardCode = SCARD_E_PROTO_MISMATCH;
    EXPECT_THAT(Ids(), ElementsAre("card-failed"));
    for (const long code : {SCARD_E_NO_SMARTCARD, SCARD_W_REMOVED_CARD}) {
        reader.cardCode = code;
        EXPECT_THAT(Ids(), IsEmpty()) << "taken out meanwhile";
    }
}

TEST_F(FindingsTest, AttributesThatFailAreNamed) {
    report.readers[0].attributes = {{SCARD_ATTR_VENDOR_NAME, SCARD_E_INSUFFICIENT_BUFFER, ""},
                                    {SCARD_ATTR_VENDOR_IFD_SERIAL_NO, SCARD_E_NOT_TRANSACTED, ""}};
    EXPECT_THAT(Ids(), ElementsAre("attribute-failed"));
    EXPECT_THAT(Only().details, ElementsAre("vendorName SCARD_E_INSUFFICIENT_BUFFER (0x80100008)",
                                            "vendorIfdSerialNo SCARD_E_NOT_TRANSACTED (0x80100016)"));
}

TEST_F(FindingsTest, AttributesThatAreNoTextAreANote) {
    report.readers[0].attributes = {{SCARD_ATTR_VENDOR_NAME, 0, "V\xFF"}};
    EXPECT_THAT(Ids(), ElementsAre("attribute-not-text"));
    EXPECT_FALSE(IsAnythingWrong(DeriveFindings(report)));
}

TEST_F(FindingsTest, APinPadByNameThatHasNone) {
    report.readers[0].isSecureByName = true;
    EXPECT_THAT(Ids(), ElementsAre("pinpad-by-name-only"));
}

TEST_F(FindingsTest, APinPadThatTheTableDoesNotKnow) {
    SetFeatures(FakePcsc::FeatureList({{6, 1}, {7, 2}}), true);
    EXPECT_THAT(Ids(), ElementsAre("pinpad-not-in-table"));
    report.readers[0].isSecureByName = true;
    EXPECT_THAT(Ids(), IsEmpty()) << "both say so";
}

TEST_F(FindingsTest, HalfAPinPad) {
    SetFeatures(FakePcsc::FeatureList({{6, 1}}), false);
    EXPECT_THAT(Ids(), ElementsAre("pinpad-half"));
    SetFeatures(FakePcsc::FeatureList({{3, 1}, {4, 2}}), false);
    EXPECT_THAT(Ids(), ElementsAre("pinpad-half"));
}

TEST_F(FindingsTest, OtherFeaturesMakeNoPinPad) {
    SetFeatures(FakePcsc::FeatureList({{0x12, 1}, {0x0A, 2}}), false);
    EXPECT_THAT(Ids(), IsEmpty());
}

TEST_F(FindingsTest, ABrokenFeatureListIsShown) {
    SetFeatures("\x06\x04\x42", false);
    EXPECT_THAT(Ids(), ElementsAre("pinpad-list-broken"));
    EXPECT_THAT(Only().details, ElementsAre("06 04 42"));
}

TEST_F(FindingsTest, AFeatureQueryThatFails) {
    report.readers[0].featuresCode = SCARD_F_COMM_ERROR;
    EXPECT_THAT(Ids(), ElementsAre("pinpad-query-failed"));
}

TEST_F(FindingsTest, ReadersAreNotBlamedForAServiceThatWentAway) {
    report.readers[0].featuresCode = SCARD_F_COMM_ERROR;
    report.readers[1].connected = report.readers[1].featuresAsked = false;
    report.readers[1].cardCode = report.readers[1].directCode = SCARD_E_NO_SERVICE;
    EXPECT_THAT(Ids(), ElementsAre("pinpad-query-failed", "reader-failed")) << "with a service that is there";
    report.service.state = ServiceState::Failed;
    report.service.code = SCARD_E_NO_SERVICE;
    EXPECT_EQ(std::string(Only().kind->id), "service-failed");
    EXPECT_THAT(Only().details, ElementsAre("SCARD_E_NO_SERVICE (0x8010001D)"));
}

TEST_F(FindingsTest, ReadersAreNotBlamedForAServiceThatWasSuspended) {
    report.readers[0].hangingCall = "SCardControl";
    report.readers[1].hangingCall = "SCardConnect";
    report.readers[1].state |= SCARD_STATE_INUSE;
    report.service.state = ServiceState::NotAnswering;
    EXPECT_THAT(Ids(), ElementsAre("service-not-answering", "reader-not-answering", "reader-busy"));
    report.service.processState = 'T';
    EXPECT_THAT(Ids(), ElementsAre("service-frozen"));
}

TEST_F(FindingsTest, TenThousandRandomFeatureListsAreJudgedAsTheReaderCodeJudgesThem) {
    std::mt19937 random(2026); // NOLINT(cert-msc51-cpp): the same lists in each run
    int secure = 0;
    int broken = 0;
    for (int i = 0; i < 10000; ++i) {
        // given: mostly plausible records, so that all verdicts occur
        std::string list;
        for (auto records = random() % 8; records > 0; --records) {
            const auto tag = static_cast<unsigned char>(random() % 4 == 0 ? random() : random() % 9);
            list += FakePcsc::FeatureList({{tag, random() % 8 == 0 ? 0 : static_cast<unsigned>(random())}});
        }
        if (random() % 4 == 0) {
            list.resize(random() % (list.size() + 7), static_cast<char>(random()));
        }
        FakePcsc::Reset();
        FakePcsc::Script(FakePcsc::Function::Control, FakePcsc::Answer::Bytes(list));
        Vantor::BaseCspReader code(1, 2);
        code.SetConfig(true, false, false);
        SetFeatures(list, code.IsSecure());
        // when
        const auto features = ParseFeatures(list);
        const auto ids = Ids();
        // then: the report never contradicts the reader code, and can be printed
        const bool sound = IsSoundFeatureList(list);
        EXPECT_EQ(CanVerify(features) && CanModify(features), report.readers[0].isSecure) << i;
        EXPECT_EQ(std::count(ids.begin(), ids.end(), "pinpad-list-broken"), sound ? 0 : 1) << i;
        EXPECT_EQ(std::count(ids.begin(), ids.end(), "pinpad-half"), CanVerify(features) != CanModify(features)) << i;
        EXPECT_THAT(ids, Not(Contains("pinpad-by-name-only")));
        if (i % 100 == 0) {
            EXPECT_THAT(FormatText(report, DeriveFindings(report)), HasSubstr("PIN pad"));
        }
        secure += report.readers[0].isSecure ? 1 : 0;
        broken += sound ? 0 : 1;
    }
    EXPECT_GT(secure, 1000) << "or the lists were no test";
    EXPECT_GT(broken, 1000);
    EXPECT_LT(broken, 9000);
}

TEST_F(FindingsTest, TheConfigurationFilesOwnTroubles) {
    ConfigurationFile& machine = report.configuration.machine;
    machine.file.writable = false;
    machine.file.obstacle = EACCES;
    EXPECT_THAT(Ids(), ElementsAre("configuration-read-only"));
    machine.putAside = true;
    EXPECT_THAT(Ids(), ElementsAre("configuration-put-aside", "configuration-read-only"));
    machine.putAside = false;
    machine.file.readable = machine.parsed = false;
    EXPECT_THAT(Ids(), ElementsAre("configuration-unreadable", "configuration-read-only"));
}

TEST_F(FindingsTest, WhatHelpsToSaveDependsOnTheObstacle) {
    FileFacts& file = report.configuration.machine.file;
    file.writable = false;
    file.obstacle = EACCES;
    EXPECT_THAT(Only().commands, ElementsAre("sudo usermod --append --groups lumoadmin NAME"));
    const std::string first = Only().remedy;
    report.configuration.isMember = true;
    EXPECT_THAT(Only().commands, Contains("sudo chmod 2775 /etc/vantor/lumoclient")) << "he is in the group already";
    EXPECT_NE(Only().remedy, first);
    report.configuration.isRoot = true;
    EXPECT_THAT(Only().commands, Contains("ls -la /etc/vantor/lumoclient")) << "no group helps root";
    file.obstacle = EROFS;
    EXPECT_THAT(Only().commands, Contains("findmnt --target /etc/vantor"));
    EXPECT_THAT(FormatText(report, DeriveFindings(report)), HasSubstr("The file system does not allow"));
}

TEST_F(FindingsTest, TheGroupOfTheMiniDriverIsNoHelpAtHome) {
    report.logs.client.writable = report.logs.miniDriver.writable = false;
    report.configuration.settings.traceLevel = 128;
    EXPECT_THAT(Only().commands, ElementsAre("namei --long ~/.vantor/'lumo Client'/Trace"));
    EXPECT_THAT(Translate(Only().remedy), Not(HasSubstr("group")));
    report.configuration.settings.traceLevel = 0;
    report.configuration.settings.miniDriverLogging = 1;
    EXPECT_THAT(Only().commands, ElementsAre("sudo usermod --append --groups lumoadmin NAME"));
}

TEST_F(FindingsTest, AMissingConfigurationIsANote) {
    report.configuration.machine.file.exists = report.configuration.machine.parsed = false;
    EXPECT_THAT(Ids(), ElementsAre("configuration-missing"));
    EXPECT_FALSE(IsAnythingWrong(DeriveFindings(report)));
}

TEST_F(FindingsTest, AMalformedConfigurationIsToldWithItsLine) {
    report.configuration.machine.parsed = false;
    report.configuration.machine.malformed = FileProblem{3, "", "expected >"};
    EXPECT_THAT(Ids(), ElementsAre("configuration-malformed"));
    EXPECT_THAT(Only().details, ElementsAre("line 3: expected >"));
    report.configuration.machine.malformed.reset();
    report.configuration.machine.file.isRegular = false;
    EXPECT_THAT(Ids(), ElementsAre("configuration-malformed")) << "a folder of that name";
}

TEST_F(FindingsTest, WhatOthersRefuseIsToldThoughItIsTakenIn) {
    report.configuration.machine.notStrict =
        FileProblem{3, "\xE4", "ein Zeichen, das hier nicht stehen darf, oder kein UTF-8"};
    EXPECT_THAT(Ids(), ElementsAre("configuration-not-strict-xml"));
    EXPECT_THAT(Only().details, ElementsAre("line 3: \xE4: a character that may not stand here, or no UTF-8"));
    EXPECT_THAT(FormatText(report, DeriveFindings(report)), HasSubstr("line 3: \\xE4: a character"));
    EXPECT_THAT(Only().commands, Contains("xmllint --noout /etc/vantor/lumoclient/config"));
    EXPECT_TRUE(IsAnythingWrong(DeriveFindings(report)));
}

TEST_F(FindingsTest, ADocumentTypeIsToldWithItsLineAndThatNothingWasChecked) {
    report.configuration.machine.documentType = FileProblem{1, "", "ein Dokumenttyp (DOCTYPE)"};
    EXPECT_THAT(Ids(), ElementsAre("configuration-document-type"));
    EXPECT_THAT(Only().details, ElementsAre("line 1: a document type (DOCTYPE)"));
    EXPECT_THAT(FormatText(report, DeriveFindings(report)), HasSubstr("not checked"));
}

TEST_F(FindingsTest, MoreReadersThanTheReportHas) {
    report.configuration.settings.readers = {{"Reader0", "PCSC Reader", "Reader A 00 00", "", true}};
    report.configuration.settings.hasMoreReaders = true;
    EXPECT_THAT(Ids(), ElementsAre("configuration-many-readers"));
    EXPECT_THAT(FormatText(report, DeriveFindings(report)), HasSubstr("      ...\n"));
}

TEST_F(FindingsTest, WhatCouldNotBeAskedIsToldWithTheReasonAndTheRestOfTheReport) {
    report.service.state = ServiceState::NotAsked;
    report.service.obstacle = {"fork", EAGAIN};
    report.readers.clear();
    report.configuration.settings.readers.clear();
    EXPECT_THAT(Ids(), ElementsAre("service-not-asked", "configuration-no-reader"));
    EXPECT_THAT(DeriveFindings(report).front().details, ElementsAre("fork: Resource temporarily unavailable"));
}

TEST_F(FindingsTest, WhatTheSchemaRefusesIsOneFindingWithAllLines) {
    report.configuration.machine.invalid = {{2, "config/a \"x\"", "unzulässiger Wert"},
                                            {4, "config/b", "hier nicht vorgesehen"}};
    EXPECT_THAT(Ids(), ElementsAre("configuration-invalid"));
    EXPECT_THAT(Only().details,
                ElementsAre("line 2: config/a \"x\": value not allowed", "line 4: config/b: not allowed here"));
}

TEST_F(FindingsTest, ElementsThatNobodyReadsAreANote) {
    report.configuration.machine.unread = {"config/a", "config/b"};
    EXPECT_THAT(Ids(), ElementsAre("configuration-unread-element"));
    EXPECT_THAT(Only().details, ElementsAre("config/a", "config/b"));
    EXPECT_FALSE(IsAnythingWrong(DeriveFindings(report)));
}

TEST_F(FindingsTest, AnOpenWindowIsANoteThatSaysWhoseItIsAndSinceWhen) {
    report.openWindow = Vantor::RunningCopy{4711, "ann", 0};
    EXPECT_THAT(Ids(), ElementsAre("window-open"));
    EXPECT_EQ(Only().subject, "ann");
    EXPECT_THAT(Only().details, ElementsAre("since " + TimeText(0)));
    EXPECT_THAT(Only().commands, ElementsAre("kill 4711"));
    EXPECT_FALSE(IsAnythingWrong(DeriveFindings(report)));
}

TEST_F(FindingsTest, AWindowOutOfSightIsNotToBeKilledByANumber) {
    report.openWindow = Vantor::RunningCopy{0, "ann", 0};
    EXPECT_THAT(Only().commands, IsEmpty());
}

TEST_F(FindingsTest, NoStoredReader) {
    report.configuration.settings.readers.clear();
    EXPECT_THAT(Ids(), ElementsAre("configuration-no-reader"));
}

TEST_F(FindingsTest, StoredReadersThatAreNotAttached) {
    report.configuration.settings.readers = {{"Reader0", "PCSC Reader", "Reader A 00 00", "", true},
                                             {"Reader1", "PCSC Reader", "Reader A 01 00", "", true},
                                             {"Reader2", "terminal", "terminal", "libctapi.so", true}};
    EXPECT_THAT(Ids(), ElementsAre("configuration-reader-missing"))
        << "whether a CT-API terminal is there nobody can tell";
    EXPECT_EQ(Only().subject, "Reader A 01 00");
    EXPECT_THAT(Only().details, ElementsAre("Reader1"));
}

TEST_F(FindingsTest, TheStarStandsForAnyReaderOnlyAlone) {
    report.configuration.settings.readers.push_back({"Reader1", "PCSC Reader", "Reader A 00 00", "", true});
    EXPECT_THAT(Ids(), ElementsAre("configuration-reader-missing"));
    EXPECT_EQ(Only().subject, "*");
}

TEST_F(FindingsTest, AnUnknownLanguage) {
    for (const long number : {0L, 1L, 58L, 94L}) {
        report.configuration.settings.language = number;
        EXPECT_THAT(Ids(), IsEmpty()) << number;
    }
    report.configuration.settings.language = 175;
    EXPECT_THAT(Ids(), ElementsAre("configuration-language-unknown"));
}

TEST_F(FindingsTest, LogsThatCannotBeWritten) {
    report.logs.client.writable = report.logs.miniDriver.writable = false;
    EXPECT_THAT(Ids(), IsEmpty()) << "none is switched on";
    report.configuration.settings.traceLevel = 128;
    EXPECT_THAT(Ids(), ElementsAre("log-not-writable"));
    report.configuration.settings.miniDriverLogging = 1;
    EXPECT_THAT(Ids(), ElementsAre("log-not-writable", "log-not-writable"));
    report.configuration.settings.traceLevel = 0;
    report.configuration.settings.miniDriverLogging = 0;
    EXPECT_THAT(Ids(), IsEmpty());
}

TEST_F(FindingsTest, ALogInAnothersHome) {
    report.configuration.settings.traceLevel = 128;
    report.configuration.settings.traceFile = "/home/anna/.vantor/lumo Client/Trace/lumop11.log";
    EXPECT_THAT(Ids(), IsEmpty());
    report.configuration.settings.traceFile = "/home/bert/.vantor/lumo Client/Trace/lumop11.log";
    EXPECT_THAT(Ids(), ElementsAre("log-elsewhere"));
    report.configuration.settings.traceLevel = 0;
    EXPECT_THAT(Ids(), IsEmpty()) << "the name stays when the log is switched off";
}

TEST_F(FindingsTest, ALogWithoutAPlaceOfItsOwn) {
    report.configuration.settings.traceLevel = 128;
    report.configuration.settings.traceFile = ".vantor/lumo Client/Trace/lumop11.log";
    EXPECT_THAT(Ids(), ElementsAre("log-relative"));
    EXPECT_EQ(Only().subject, ".vantor/lumo Client/Trace/lumop11.log");
    report.configuration.settings.traceLevel = 0;
    EXPECT_THAT(Ids(), IsEmpty());
}

TEST_F(FindingsTest, LargeLogs) {
    report.logs.miniDriver.files = {{"a.log", std::int64_t{60} << 20, 0}, {"b.log", std::int64_t{40} << 20, 0}};
    EXPECT_THAT(Ids(), IsEmpty());
    report.logs.miniDriver.files.push_back({"c.log", 1, 0});
    EXPECT_THAT(Ids(), ElementsAre("log-large"));
    EXPECT_EQ(Only().subject, "/etc/vantor/LumoMiniDriver/Log/");
}

TEST_F(FindingsTest, FindingsStandInTheOrderOfTheReport) {
    const auto findings = DeriveFindings(SampleReport());
    std::vector<const FindingKind*> kinds;
    for (const Finding& finding : findings) {
        ASSERT_NE(finding.kind, nullptr);
        kinds.push_back(finding.kind);
    }
    EXPECT_GT(kinds.size(), 10U);
    const auto part = [](const FindingKind* kind) {
        const std::string id = kind->id;
        return id.rfind("service", 0) == 0         ? 0
               : id.rfind("configuration", 0) == 0 ? 2
               : id.rfind("log", 0) == 0           ? 3
                                                   : 1;
    };
    EXPECT_TRUE(std::is_sorted(kinds.begin(), kinds.end(), [&](auto* a, auto* b) { return part(a) < part(b); }));
}
