// What lumodiag says about the configuration and the logs, as root and as somebody without rights.
#include "tests/system/DiagTest.h"

#include <sys/stat.h>

namespace {

std::string reader(int number, const std::string& name) {
    const auto element = "Reader" + std::to_string(number);
    return "    <" + element + "><Reader>PCSC Reader</Reader><ReaderName>" + name + "</ReaderName></" + element + ">\n";
}

TEST(DiagConfiguration, IsFineAndTold) {
    store(document(reader(0, "Vantor Simulated Reader 1 00 00") + "    <Language>58</Language>\n",
                   "  <LumoMiniDriver><EnableLogging>1</EnableLogging></LumoMiniDriver>\n"));
    const auto report = Lumodiag::report();
    EXPECT_EQ(report.ending.status, 0);
    EXPECT_THAT(report.findings(), IsEmpty());
    const auto& settings = report.document.at("configuration").at("settings");
    EXPECT_EQ(settings.at("language"), 58);
    EXPECT_EQ(settings.at("miniDriverLogging"), 1);
    ASSERT_THAT(settings.at("readers"), SizeIs(1));
    EXPECT_EQ(settings.at("readers").at(0).at("name"), "Vantor Simulated Reader 1 00 00");
    EXPECT_EQ(report.machineFile().at("path"), kFile);
    EXPECT_EQ(report.machineFile().at("owner"), "root");
    EXPECT_EQ(report.machineFile().at("writable"), true);
    EXPECT_EQ(report.document.at("configuration").at("user").at("path"), "/mnt/home/.vantor/lumoclient/config");
}

TEST(DiagConfiguration, CannotBeParsedAndTheLineIsTold) {
    const std::string broken = "<config>\n  <lumo_Client>\n    <Language 58</Language>\n  </lumo_Client>\n</config>\n";
    store(broken);
    const auto report = Lumodiag::report();
    EXPECT_EQ(report.ending.status, 1);
    EXPECT_EQ(report.machineFile().at("parsed"), false);
    EXPECT_EQ(report.machineFile().at("malformed").at("line"), 3);
    EXPECT_THAT(report.finding("configuration-malformed").at("details").at(0).get<std::string>(), HasSubstr("3"));
    EXPECT_EQ(test::ReadText(kFile), broken) << "asking changes nothing";
}

TEST(DiagConfiguration, WouldBeAnotherOneIfItWereWrittenAgainAndTheLineIsTold) {
    Lumodiag::installCatalogs();
    std::string many = "<config>\n<lumo_Client>";
    for (int i = 0; i < 300000; ++i)
        many += "<a/>";
    struct Case {
        std::string text;
        int line;
        std::string english;
    };
    const Case cases[] = {
        {"<config>\n<lumo_Client>\n<1st>x</1st></lumo_Client></config>", 3, "line 3: 1st: no name by the rules of XML"},
        {"<config>\n<a\x1B[2J/></config>", 2, "line 2: a\\x1B[2J: no name by the rules of XML"},
        {"<config/>\n\n<![CDATA[text]]>", 3, "line 3: text outside of the elements"},
        {many + "</lumo_Client>\n</config>", 2, "line 2: more than 300,000 elements, attributes and comments"},
    };
    for (const auto& [text, line, english] : cases) {
        store(text);
        const auto report = Lumodiag::report();
        EXPECT_EQ(report.machineFile().at("malformed").at("line"), line) << english;
        EXPECT_EQ(report.ending.status, 1);
        const auto page = Lumodiag::run({"--lang=en"}).output;
        EXPECT_THAT(page, HasSubstr(english));
        EXPECT_THAT(page, HasSubstr("configuration-malformed"));
    }
}

// With everything that the tool forgives; the second line is the one at which other readers stop.
const std::string kForgiven[] = {
    "<config><lumo_Client>\n<Language>58</Lang></lumo_Client></config>",
    "<config><lumo_Client>\n<Language>58</lumo_Client></Language></config>",
    "<config><lumo_Client><Language>58</Language></lumo_Client></config>\n<config/>",
    "<config><lumo_Client><Language>58</Language></lumo_Client>\n<x a='1' a='2'/></config>",
    "<config><lumo_Client><Language>58</Language>\n<Orrin>\x01</Orrin></lumo_Client></config>",
    "<config><lumo_Client><Language>58</Language>\n<Orrin>K\xE4se</Orrin></lumo_Client></config>"};

TEST(DiagConfiguration, IsTakenInThoughOtherReadersRefuseItAndTheLineIsTold) {
    Lumodiag::installCatalogs();
    for (const auto& text : kForgiven) {
        store(text);
        const auto report = Lumodiag::report();
        EXPECT_EQ(report.document.at("configuration").at("settings").at("language"), 58) << text;
        EXPECT_EQ(report.machineFile().at("malformed"), nullptr) << text;
        EXPECT_EQ(report.machineFile().at("notStrict").at("line"), 2) << text;
        EXPECT_THAT(report.finding("configuration-not-strict-xml").at("details").at(0).get<std::string>(),
                    HasSubstr("2"));
        EXPECT_THAT(report.findings(), Not(Contains("configuration-malformed"))) << text;
        EXPECT_EQ(report.ending.status, 1) << text;
        const auto page = Lumodiag::run({"--lang=en"}).output;
        EXPECT_THAT(page, HasSubstr("is in force, but other programs refuse it")) << text;
        EXPECT_THAT(page, HasSubstr("xmllint --noout")) << text;
    }
}

TEST(DiagConfiguration, HasADocumentTypeAndIsNotChecked) {
    store("<!DOCTYPE config [<!ENTITY x \"Maybe\">]>\n" + document("<UseGUI>&x;</UseGUI>" + std::string(kAnyReader)));
    const auto report = Lumodiag::report();
    EXPECT_THAT(report.findings(), ElementsAre("configuration-document-type"));
    EXPECT_EQ(report.machineFile().at("documentType").at("line"), 1);
    EXPECT_EQ(report.document.at("configuration").at("settings").at("anyReader"), true);
}

TEST(DiagConfiguration, WasPutAside) {
    store(document(kAnyReader));
    test::WriteText(std::string(kFile) + ".unreadable", "<config");
    const auto report = Lumodiag::report();
    EXPECT_EQ(report.ending.status, 1);
    EXPECT_EQ(report.machineFile().at("putAside"), true);
    EXPECT_EQ(report.finding("configuration-put-aside").at("subject"), std::string(kFile) + ".unreadable");
}

TEST(DiagConfiguration, NamesReadersThatAreNotAttached) {
    store(document(reader(0, "Vantor Simulated Reader 1 00 00") + reader(1, "Left At Home 01 00")));
    const auto report = Lumodiag::report();
    EXPECT_THAT(report.findings(), ElementsAre("configuration-reader-missing"));
    EXPECT_EQ(report.finding("configuration-reader-missing").at("subject"), "Left At Home 01 00");
    EXPECT_THAT(report.finding("configuration-reader-missing").at("details"), ElementsAre("Reader1"));
    EXPECT_EQ(report.ending.status, 1);
}

TEST(DiagConfiguration, HasElementsThatNobodyReadsAndValuesThatNobodyUnderstands) {
    store(document(kAnyReader + std::string("    <Lanugage>58</Lanugage>\n"
                                            "    <MakeDialogsStayOnTop>Maybe</MakeDialogsStayOnTop>\n"
                                            "    <Language>175</Language>\n")));
    const auto report = Lumodiag::report();
    EXPECT_THAT(report.finding("configuration-unread-element").at("details"),
                ElementsAre("config/lumo_Client/Lanugage"));
    EXPECT_EQ(report.machineFile().at("invalid").at(0).at("line"), 8);
    EXPECT_THAT(report.finding("configuration-invalid").at("details").dump(), HasSubstr("Maybe"));
    EXPECT_THAT(report.finding("configuration-language-unknown").at("details"), ElementsAre("175"));
    EXPECT_EQ(report.ending.status, 1);
}

TEST(DiagConfiguration, ChoosesNoReader) {
    store(document("    <Reader0/>\n"));
    EXPECT_THAT(Lumodiag::report().findings(), ElementsAre("configuration-no-reader"));
}

TEST(DiagConfiguration, MayNotBeWrittenByThisUser) {
    store(document(kAnyReader));
    ASSERT_EQ(chmod(kFile, 0444) + chmod(kFolder, 0555), 0);
    const auto report = Lumodiag::reportWithoutRights();
    EXPECT_EQ(report.ending.status, 1);
    EXPECT_EQ(report.machineFile().at("writable"), false);
    EXPECT_EQ(report.machineFile().at("mode"), "r--r--r--");
    EXPECT_THAT(report.findings(), ElementsAre("configuration-read-only"));
    EXPECT_THAT(report.finding("configuration-read-only").at("commands").dump(), HasSubstr("lsattr"))
        << "a root without rights is no candidate for a group";
    EXPECT_THAT(Lumodiag::report().findings(), IsEmpty()) << "root may";
}

TEST(DiagConfiguration, LiesOnAFileSystemThatIsMountedReadOnly) {
    store(document(kAnyReader));
    ASSERT_EQ(Support::run({"mount", "--bind", "/etc/vantor", "/etc/vantor"}).status, 0);
    ASSERT_EQ(Support::run({"mount", "-o", "remount,bind,ro", "/etc/vantor"}).status, 0);
    const auto report = Lumodiag::report();
    EXPECT_THAT(report.findings(), ElementsAre("configuration-read-only"));
    EXPECT_THAT(report.finding("configuration-read-only").at("commands").at(0), "findmnt --target /etc/vantor");
}

TEST(DiagConfiguration, LiesInAFolderThatThisUserMayNotEnter) {
    store(document(kAnyReader));
    ASSERT_EQ(chmod(kFolder, 0), 0);
    const auto report = Lumodiag::reportWithoutRights();
    EXPECT_THAT(report.findings(), Contains("configuration-unreadable"));
    EXPECT_THAT(report.findings(), Not(Contains("configuration-put-aside"))) << "nobody has seen such a file";
}

TEST(DiagConfiguration, MayNotEvenBeReadByThisUser) {
    store(document(kAnyReader));
    ASSERT_EQ(chmod(kFile, 0), 0);
    const auto report = Lumodiag::reportWithoutRights();
    EXPECT_EQ(report.ending.status, 1);
    EXPECT_EQ(report.machineFile().at("readable"), false);
    EXPECT_EQ(report.machineFile().at("exists"), true);
    EXPECT_THAT(report.findings(), Contains("configuration-unreadable"));
    EXPECT_THAT(report.findings(), Not(Contains("configuration-malformed"))) << "nobody has seen what is in it";
}

TEST(DiagLogs, AreToldWhetherTheirDirectoriesExistOrNot) {
    const auto before = Lumodiag::report();
    for (const char* const which : {"client", "miniDriver"})
        EXPECT_EQ(before.document.at("logs").at(which).at("exists"), false);
    EXPECT_FALSE(fs::exists(kClientLogs) || fs::exists(kMiniDriverLogs)) << "asking makes nothing";
    // given
    fs::create_directories(kClientLogs);
    fs::create_directories(kMiniDriverLogs);
    test::WriteText(std::string(kClientLogs) + "/lumop11.log", std::string(1500, 'x'));
    // then: size and age of what is in them
    const auto logs = Lumodiag::report().document.at("logs");
    EXPECT_EQ(logs.at("client").at("path"), std::string(kClientLogs) + "/");
    ASSERT_THAT(logs.at("client").at("files"), SizeIs(1));
    EXPECT_EQ(logs.at("client").at("files").at(0).at("name"), "lumop11.log");
    EXPECT_EQ(logs.at("client").at("files").at(0).at("size"), 1500);
    EXPECT_LT(logs.at("client").at("files").at(0).at("age"), 60);
    EXPECT_EQ(logs.at("miniDriver").at("exists"), true);
    EXPECT_THAT(logs.at("miniDriver").at("files"), IsEmpty());
}

TEST(DiagLogs, AreSwitchedOnWhereThisUserCannotWriteOrDoesNotLook) {
    store(document(kAnyReader + std::string("    <Trace><LogLevel>128</LogLevel><LogMode>2</LogMode>"
                                            "<Filename>/home/anna/lumop11.log</Filename></Trace>\n"),
                   "  <LumoMiniDriver><EnableLogging>1</EnableLogging></LumoMiniDriver>\n"));
    fs::create_directories(kMiniDriverLogs);
    ASSERT_EQ(chmod(kMiniDriverLogs, 0555), 0);
    const auto report = Lumodiag::reportWithoutRights();
    EXPECT_EQ(report.finding("log-elsewhere").at("subject"), "/home/anna/lumop11.log");
    EXPECT_EQ(report.finding("log-not-writable").at("subject"), std::string(kMiniDriverLogs) + "/");
    EXPECT_EQ(report.document.at("logs").at("miniDriver").at("writable"), false);
}

TEST(DiagLogs, AreNamedByOneWhoHadNoHome) {
    store(document(kAnyReader + std::string("    <Trace><LogLevel>128</LogLevel><LogMode>2</LogMode>"
                                            "<Filename>.vantor/lumo Client/Trace/lumop11.log</Filename></Trace>\n")));
    const auto report = Lumodiag::report();
    EXPECT_THAT(report.findings(), ElementsAre("log-relative"));
    EXPECT_EQ(report.finding("log-relative").at("subject"), ".vantor/lumo Client/Trace/lumop11.log");
    EXPECT_EQ(report.ending.status, 1);
}

TEST(DiagLogs, HaveGrownTooLarge) {
    fs::create_directories(kMiniDriverLogs);
    const auto file = std::string(kMiniDriverLogs) + "/old.log";
    test::WriteText(file, "");
    fs::resize_file(file, std::uintmax_t{101} << 20);
    EXPECT_EQ(Lumodiag::report().finding("log-large").at("subject"), std::string(kMiniDriverLogs) + "/");
}

} // namespace
