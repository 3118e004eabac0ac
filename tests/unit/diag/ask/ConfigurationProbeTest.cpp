#include "diag/ask/ConfigurationProbe.h"

#include "config/Config.h"
#include "config/ConfigImpl_XML.h"
#include "config/XmlDocument.h"
#include "tests/support/Environment.h"
#include "tests/support/Privileges.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <thread>

#include <sys/stat.h>

using namespace Diag;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

namespace fs = std::filesystem;

constexpr char Folder[] = "/etc/vantor/lumoclient";
constexpr char File[] = "/etc/vantor/lumoclient/config";

std::string Document(const std::string& content) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<config>" + content + "</config>\n";
}

std::string Client(const std::string& content) {
    return Document("<lumo_Client>" + content + "</lumo_Client>");
}

void Store(const std::string& text) {
    fs::create_directories(Folder);
    test::WriteText(File, text);
}

ClientSettings::Record ReadSettings(const std::string& document) {
    boost::property_tree::ptree tree;
    static_cast<void>(Vantor::ParseXml(document, tree));
    return Diag::ReadSettings(tree);
}

std::optional<FileProblem> FindSyntaxProblem(const std::string& document) {
    boost::property_tree::ptree tree;
    return Diag::FindSyntaxProblem(document, tree);
}

/// Each test on a machine without a configuration.
class ConfigurationProbeTest : public testing::Test {
protected:
    ConfigurationProbeTest() {
        fs::remove_all("/etc/vantor");
        fs::remove_all(std::string(getenv("HOME")) + "/.vantor");
    }
};

std::string ReaderTree(const std::string& name, const std::string& more = "") {
    return "<Reader>PCSC Reader</Reader><ReaderName>" + name + "</ReaderName>" + more;
}

} // namespace

TEST_F(ConfigurationProbeTest, WithoutAFileNothingIsMadeOrReported) {
    const ConfigurationState state = ProbeConfiguration();
    EXPECT_EQ(state.machine.file.path, File);
    EXPECT_FALSE(state.machine.file.exists || state.machine.parsed || state.machine.putAside);
    EXPECT_TRUE(state.machine.file.writable) << "root can make it";
    EXPECT_EQ(state.user.file.path, std::string(getenv("HOME")) + "/.vantor/lumoclient/config");
    EXPECT_FALSE(fs::exists("/etc/vantor"));
    EXPECT_FALSE(fs::exists(std::string(getenv("HOME")) + "/.vantor"));
}

TEST_F(ConfigurationProbeTest, AFileIsDescribedParsedAndChecked) {
    Store(Client("<Language>58</Language><Reader0>" + ReaderTree("*") + "</Reader0>"));
    chmod(File, 0664);
    const ConfigurationState state = ProbeConfiguration();
    EXPECT_TRUE(state.machine.file.exists && state.machine.parsed && state.machine.file.writable);
    EXPECT_EQ(state.machine.file.mode, 0664U);
    EXPECT_FALSE(state.machine.malformed);
    EXPECT_THAT(state.machine.invalid, IsEmpty());
    EXPECT_THAT(state.machine.unread, IsEmpty());
    EXPECT_EQ(state.settings.language, 58);
}

TEST_F(ConfigurationProbeTest, WhatTheSchemaRefusesAndWhatNobodyReadsIsTold) {
    Store(Client("<Language>no number</Language><Lanugage>58</Lanugage>"));
    const ConfigurationState state = ProbeConfiguration();
    EXPECT_TRUE(state.machine.parsed);
    EXPECT_THAT(state.machine.invalid,
                ElementsAre(Field(&FileProblem::path, "config/lumo_Client/Language \"no number\"")));
    EXPECT_THAT(state.machine.unread, ElementsAre("config/lumo_Client/Lanugage"));
    EXPECT_EQ(state.settings.language, std::nullopt);
}

TEST_F(ConfigurationProbeTest, AnOrdinaryUserMayNotWriteRootsFile) {
    Store(Client(""));
    chmod(File, 0444);
    const test::WithoutPrivileges ordinary;
    const ConfigurationState state = ProbeConfiguration();
    EXPECT_TRUE(state.machine.parsed);
    EXPECT_FALSE(state.machine.file.writable);
    EXPECT_EQ(state.machine.file.obstacle, EACCES);
}

TEST_F(ConfigurationProbeTest, ThatTheUserMayNotReadIsNoSyntaxProblem) {
    Store(Client(""));
    chmod(File, 0000);
    const test::WithoutPrivileges ordinary;
    const ConfigurationState state = ProbeConfiguration();
    EXPECT_TRUE(state.machine.file.exists);
    EXPECT_FALSE(state.machine.file.readable || state.machine.parsed);
    EXPECT_FALSE(state.machine.malformed);
}

TEST_F(ConfigurationProbeTest, WhetherItCanBeSavedIsWhatTheRegistryFinds) {
    // A file that may not be written is not replaced, though the folder would allow it.
    Store(Client(""));
    for (const mode_t mode : {0644U, 0444U, 0000U}) {
        chmod(File, mode);
        const test::WithoutPrivileges ordinary;
        const bool announced = ProbeConfiguration().machine.file.writable;
        Vantor::Config* const config = Vantor::Config::GetHandle(Vantor::Config::Register());
        config->Init("lumoclient");
        config->AddConfig(1, Vantor::CONFIG_ALLUSERS, "Language", "lumo Client", Vantor::SYSTYPE_FIRST);
        EXPECT_EQ(config->SetInteger(1, 58), announced) << std::oct << mode;
        config->Destroy();
    }
}

TEST_F(ConfigurationProbeTest, APutAsideFileIsNoticed) {
    Store(Client(""));
    test::WriteText(std::string(File) + ".unreadable", "x");
    EXPECT_TRUE(ProbeConfiguration().machine.putAside);
}

TEST_F(ConfigurationProbeTest, BehindAClosedFolderNothingIsTakenForPutAside) {
    Store(Client(""));
    chmod(Folder, 0);
    const test::WithoutPrivileges ordinary;
    const ConfigurationState state = ProbeConfiguration();
    EXPECT_TRUE(state.machine.file.exists) << "as far as anybody can tell";
    EXPECT_FALSE(state.machine.putAside);
}

TEST_F(ConfigurationProbeTest, APipeOfThatNameDoesNotBlock) {
    fs::create_directories(Folder);
    ASSERT_EQ(mkfifo(File, 0666), 0);
    const ConfigurationState state = ProbeConfiguration();
    EXPECT_TRUE(state.machine.file.exists);
    EXPECT_FALSE(state.machine.file.isRegular || state.machine.parsed);
}

TEST_F(ConfigurationProbeTest, ATooLargeFileIsNotRead) {
    Store(Document("<!--" + std::string(Vantor::MaxXmlSize, 'x') + "-->"));
    const ConfigurationState state = ProbeConfiguration();
    ASSERT_TRUE(state.machine.malformed);
    EXPECT_EQ(state.machine.malformed->text, "größer als 4 MiB");
}

TEST_F(ConfigurationProbeTest, GoodDocumentsHaveNoSyntaxProblem) {
    EXPECT_FALSE(FindSyntaxProblem(Client("")));
    EXPECT_FALSE(FindSyntaxProblem("<config/>"));
}

TEST_F(ConfigurationProbeTest, TheLineOfASyntaxProblemIsTold) {
    const auto lineOf = [](const std::string& text) {
        const auto problem = FindSyntaxProblem(text);
        return problem ? problem->line : 0;
    };
    EXPECT_EQ(lineOf("<config>\n<a>\n</a>\n<b =>\n</config>"), 4U);
    EXPECT_EQ(lineOf("<config>\n\n"), 3U) << "the end, where something is missing";
    EXPECT_EQ(lineOf(std::string("<config>\n<a>x\0y</a></config>", 27)), 2U) << "a zero byte";
}

TEST_F(ConfigurationProbeTest, TheLineIsToldOfWhatTheParserWouldTake) {
    struct Case {
        std::string text;
        unsigned long line;
        std::string words;
    };
    std::string deep = "\n";
    for (int i = 0; i < 257; ++i) {
        deep = "<a>\n" + deep + "</a>";
    }
    std::string many = "<config>\n";
    for (int i = 0; i < 300000; ++i) {
        many += i % 1000 == 999 ? "<a/>\n" : "<a/>";
    }
    for (const auto& [text, line, words] : {
             Case{"<config>\n<1a>x</1a>\n</config>", 2, "kein Name nach den Regeln von XML"},
             Case{"<config>\n\n<a\n 0b='x'/></config>", 4, "kein Name nach den Regeln von XML"},
             Case{"<config>\n</config>\n<![CDATA[text]]>", 3, "Text außerhalb der Elemente"},
             Case{"\n<![CDATA[text]]><config>\n</config>", 2, "Text außerhalb der Elemente"},
             Case{"<config>\n</config>\ntext", 3, "expected <"},
             Case{"<config>\n<a>&#48;</a>\n<a>&#x00;</a></config>", 3, "ein Nullbyte"},
             Case{"<config>&#1;\n&#000;</config>", 2, "ein Nullbyte"},
             Case{deep, 257, "Elemente mehr als 256 Ebenen tief"},
             Case{many + "\n<b/></config>", 301, "mehr als 300.000 Elemente, Attribute und Kommentare"},
             Case{many, 301, "mehr als 300.000 Elemente, Attribute und Kommentare"},
         }) {
        const auto problem = FindSyntaxProblem(text);
        ASSERT_TRUE(problem) << text.substr(0, 60);
        EXPECT_EQ(problem->text, words) << text.substr(0, 60);
        EXPECT_EQ(problem->line, line) << text.substr(0, 60);
    }
    EXPECT_EQ(FindSyntaxProblem("<config>\n<1a>x</1a></config>")->path, "1a");
    const std::string longName = "1" + std::string(1000, 'a');
    EXPECT_EQ(FindSyntaxProblem("<" + longName + "/>")->path, longName.substr(0, 40) + "...");
}

TEST_F(ConfigurationProbeTest, EverySyntaxProblemHasWords) {
    std::string deep;
    for (int i = 0; i < 300; ++i) {
        deep = "<a>" + deep + "</a>";
    }
    for (const std::string& text : {std::string("plain"), std::string("<config"), std::string("<config></"), deep,
                                    std::string("<config>&#0;</config>"), std::string("<a b></a>")}) {
        const auto problem = FindSyntaxProblem(text);
        ASSERT_TRUE(problem) << text.substr(0, 40);
        EXPECT_NE(problem->text, "") << text.substr(0, 40);
    }
    EXPECT_EQ(FindSyntaxProblem(deep)->text, "Elemente mehr als 256 Ebenen tief");
}

TEST_F(ConfigurationProbeTest, ADeepBrokenDocumentDoesNotOverrunTheStack) {
    std::string deep;
    for (int i = 0; i < 200000; ++i) {
        deep += "<a>";
    }
    EXPECT_TRUE(FindSyntaxProblem(deep));
}

TEST_F(ConfigurationProbeTest, StoredSettingsAreRead) {
    const ClientSettings::Record settings = ReadSettings(
        Document("<lumo_Client><Version>2.0</Version><Language> 89\n</Language><Trace><LogLevel>128</LogLevel>"
                 "<LogMode>2</LogMode><Filename>/home/x/lumop11.log</Filename></Trace></lumo_Client>"
                 "<LumoMiniDriver><EnableLogging>1</EnableLogging></LumoMiniDriver>"));
    EXPECT_EQ(settings.clientVersion, "2.0");
    EXPECT_EQ(settings.language, 89);
    EXPECT_EQ(settings.traceLevel, 128);
    EXPECT_EQ(settings.traceMode, 2);
    EXPECT_EQ(settings.traceFile, "/home/x/lumop11.log");
    EXPECT_EQ(settings.miniDriverLogging, 1);
}

TEST_F(ConfigurationProbeTest, MissingAndUnreadableNumbersAreMissing) {
    for (const char* const text : {"", "x", "58x", "5 8", "99999999999999999999"}) {
        EXPECT_EQ(ReadSettings(Client(std::string("<Language>") + text + "</Language>")).language, std::nullopt)
            << text;
    }
    EXPECT_EQ(ReadSettings(Client("")).language, std::nullopt);
    EXPECT_EQ(ReadSettings("broken").language, std::nullopt);
}

TEST_F(ConfigurationProbeTest, NumbersAreReadAsTheRegistryReadsThem) {
    for (const char* const text : {"58", " 58", "58 ", "58x", "+58", "-1", "0x3a", "58.0", "", "5 8", "058"}) {
        Store(Client(std::string("<Language>") + text + "</Language>"));
        Vantor::Config* const config = Vantor::Config::GetHandle(Vantor::Config::Register());
        config->Init("lumoclient");
        config->AddConfig(1, Vantor::CONFIG_ALLUSERS, "Language", "lumo Client", Vantor::SYSTYPE_FIRST);
        long number = -77;
        const bool found = config->GetInteger(1, number);
        const std::optional<long> read = ProbeConfiguration().settings.language;
        EXPECT_EQ(read.has_value(), found) << text;
        EXPECT_EQ(read.value_or(-77), number) << text;
        config->Destroy();
    }
}

TEST_F(ConfigurationProbeTest, ReadersAreReadInTheirOrder) {
    const ClientSettings::Record settings =
        ReadSettings(Client("<Reader0>" + ReaderTree("A &amp; B", "<IsSecure>ja</IsSecure>") +
                            "</Reader0><Reader1/><Reader2> </Reader2>"
                            "<Reader_Settings><x>1</x></Reader_Settings><Reader7>" +
                            ReaderTree("C", "<CTAPI>libctapi.so</CTAPI><IsSecure>No</IsSecure>") + "</Reader7>"));
    ASSERT_THAT(settings.readers, SizeIs(2)) << "empty ones are removed readers, the settings are none";
    EXPECT_EQ(settings.readers[0].element, "Reader0");
    EXPECT_EQ(settings.readers[0].kind, "PCSC Reader");
    EXPECT_EQ(settings.readers[0].name, "A & B");
    EXPECT_TRUE(settings.readers[0].isSecure);
    EXPECT_EQ(settings.readers[1].element, "Reader7");
    EXPECT_EQ(settings.readers[1].library, "libctapi.so");
    EXPECT_FALSE(settings.readers[1].isSecure);
}

TEST_F(ConfigurationProbeTest, NoMoreReadersAreToldThanTheServiceCouldServe) {
    std::string many;
    for (int i = 0; i < 33; ++i) {
        many += "<Reader" + std::to_string(i) + ">" + ReaderTree("x") + "</Reader" + std::to_string(i) + ">";
    }
    const ClientSettings::Record settings = ReadSettings(Client(many));
    EXPECT_THAT(settings.readers, SizeIs(32));
    EXPECT_TRUE(settings.hasMoreReaders);
    EXPECT_FALSE(ReadSettings(Client("<Reader0>" + ReaderTree("x") + "</Reader0>")).hasMoreReaders);
}

TEST_F(ConfigurationProbeTest, NoTextIsToldAtAnyLength) {
    const ClientSettings::Record settings =
        ReadSettings(Client("<Version>" + std::string(100000, 'x') + "</Version><Reader0>" +
                            ReaderTree(std::string(100000, 'x')) + "</Reader0>"));
    EXPECT_LT(settings.clientVersion.size(), 5000U);
    ASSERT_THAT(settings.readers, SizeIs(1));
    EXPECT_LT(settings.readers.front().name.size(), 5000U);
}

TEST_F(ConfigurationProbeTest, AFileWithADocumentTypeIsNotChecked) {
    Store("<!DOCTYPE config [<!ENTITY x \"y\">]>\n" + Client("<Language>58</Language><Other>&x;</Other>"));
    const ConfigurationState state = ProbeConfiguration();
    ASSERT_TRUE(state.machine.parsed && state.machine.documentType);
    EXPECT_EQ(state.machine.documentType->line, 1U);
    EXPECT_FALSE(state.machine.notStrict);
    EXPECT_THAT(state.machine.invalid, IsEmpty());
    EXPECT_THAT(state.machine.unread, IsEmpty());
    EXPECT_EQ(state.settings.language, 58) << "which the client reads";
}

TEST_F(ConfigurationProbeTest, AFileThatIsTakenInThoughOthersRefuseItIsToldAsSuch) {
    Store("<config>\n<lumo_Client><Language>58</Lang></lumo_Client></config>");
    const ConfigurationState state = ProbeConfiguration();
    ASSERT_TRUE(state.machine.parsed && state.machine.notStrict);
    EXPECT_EQ(state.machine.notStrict->line, 2U);
    EXPECT_EQ(state.settings.language, 58);
}

TEST_F(ConfigurationProbeTest, AFileThatKeepsChangingIntoAPipeNeverBlocks) {
    fs::create_directories(Folder);
    std::atomic<bool> goesOn{true};
    const std::string next = std::string(File) + ".next";
    std::thread exchanger([&] {
        for (int i = 0; goesOn; ++i) {
            i % 2 == 0 ? test::WriteText(next, Client("")) : void(mkfifo(next.c_str(), 0666));
            fs::rename(next, File);
        }
    });
    for (int i = 0; i < 3000; ++i) {
        static_cast<void>(ProbeConfiguration());
    }
    goesOn = false;
    exchanger.join();
}
