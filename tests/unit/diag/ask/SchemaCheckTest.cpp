#include "diag/ask/SchemaCheck.h"

#include "config/Config.h"
#include "config/ProgramConfig.h"
#include "config/XmlDocument.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/property_tree/ptree.hpp>

#include <filesystem>
#include <regex>
#include <set>

using namespace Diag;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

std::string Document(const std::string& content) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<config>" + content + "</config>\n";
}

std::string ReaderTree(const std::string& more = "") {
    return "<Reader>PCSC Reader</Reader><ReaderName>*</ReaderName>" + more;
}

ElementProblems Check(const std::string& document) {
    boost::property_tree::ptree tree;
    EXPECT_TRUE(Vantor::ParseXml(document, tree)) << document.substr(0, 200);
    return CheckElements(tree, document);
}

std::vector<FileProblem> CheckAgainstSchema(const std::string& document) {
    return Check(document).invalid;
}

std::vector<std::string> FindUnreadElements(const std::string& document) {
    return Check(document).unread;
}

auto Problem(unsigned long line, const std::string& path, const std::string& text) {
    return AllOf(Field("line", &FileProblem::line, line), Field("path", &FileProblem::path, path),
                 Field("text", &FileProblem::text, text));
}

} // namespace

TEST(SchemaCheckTest, WhatTheProgramWritesIsValid) {
    EXPECT_THAT(CheckAgainstSchema(Document("<lumo_Client><Trace><LogMode>2</LogMode><LogLevel>128</LogLevel>"
                                            "<Filename>/x/lumop11.log</Filename></Trace>"
                                            "<CleanCertsOnRefresh>false</CleanCertsOnRefresh>"
                                            "<MakeDialogsStayOnTop>NO</MakeDialogsStayOnTop><Language>89</Language>"
                                            "<Reader0>" +
                                            ReaderTree("<IsSecure>Yes</IsSecure><UserMessage/>") +
                                            "</Reader0><Reader1/></lumo_Client>"
                                            "<LumoMiniDriver><EnableLogging>1</EnableLogging></LumoMiniDriver>")),
                IsEmpty());
}

TEST(SchemaCheckTest, AnEmptyConfigurationIsValid) {
    EXPECT_THAT(CheckAgainstSchema(Document("")), IsEmpty());
}

TEST(SchemaCheckTest, AWrongValueIsNamedWithItsLine) {
    EXPECT_THAT(CheckAgainstSchema(Document("<lumo_Client>\n<Version>2</Version>\n<Language>deutsch</Language>\n"
                                            "</lumo_Client>")),
                ElementsAre(Problem(4, "config/lumo_Client/Language \"deutsch\"", "unzulässiger Wert")));
}

TEST(SchemaCheckTest, SeveralWrongValuesAreAllNamed) {
    EXPECT_THAT(CheckAgainstSchema(Document("<LumoMiniDriver><EnableLogging>on</EnableLogging></LumoMiniDriver>\n"
                                            "<lumo_Client><Reader3>" +
                                            ReaderTree("<UseGUI>1</UseGUI>") + "</Reader3></lumo_Client>")),
                ElementsAre(Problem(2, "config/LumoMiniDriver/EnableLogging \"on\"", "unzulässiger Wert"),
                            Problem(3, "config/lumo_Client/Reader3/UseGUI \"1\"", "unzulässiger Wert")));
}

TEST(SchemaCheckTest, MarkupInAValueIsNoReasonToBlameOthers) {
    EXPECT_THAT(CheckAgainstSchema(Document("<lumo_Client><Version>a &amp; b &lt;c&gt;</Version>"
                                            "<Language>x</Language></lumo_Client>")),
                ElementsAre(Problem(2, "config/lumo_Client/Language \"x\"", "unzulässiger Wert")));
}

TEST(SchemaCheckTest, ALongValueIsCutInTheReport) {
    const auto problems =
        CheckAgainstSchema(Document("<lumo_Client><Language>" + std::string(5000, 'x') + "</Language></lumo_Client>"));
    ASSERT_THAT(problems, SizeIs(1));
    EXPECT_LT(problems.front().path.size(), 100U);
}

TEST(SchemaCheckTest, AStrangeElementInAReaderIsNamed) {
    EXPECT_THAT(CheckAgainstSchema(Document("<lumo_Client><Reader0>\n" + ReaderTree("<UseGui>Yes</UseGui>") +
                                            "</Reader0></lumo_Client>")),
                ElementsAre(Problem(3, "config/lumo_Client/Reader0/UseGui", "hier nicht vorgesehen")));
}

TEST(SchemaCheckTest, AnIncompleteReaderIsNamed) {
    EXPECT_THAT(
        CheckAgainstSchema(Document("<lumo_Client><Reader0>" + ReaderTree() +
                                    "</Reader0>\n<Reader1><Reader>PCSC Reader</Reader></Reader1></lumo_Client>")),
        ElementsAre(Problem(3, "config/lumo_Client/Reader1", "fehlende oder überzählige Elemente")));
}

TEST(SchemaCheckTest, FaultsInTwoReadersAreBothNamed) {
    EXPECT_THAT(
        CheckAgainstSchema(Document("<lumo_Client><Reader0>" + ReaderTree("<A>1</A>") + "</Reader0>\n<Reader1>" +
                                    ReaderTree("<B>1</B>") + "</Reader1></lumo_Client>")),
        ElementsAre(Problem(2, "config/lumo_Client/Reader0/A", "hier nicht vorgesehen"),
                    Problem(3, "config/lumo_Client/Reader1/B", "hier nicht vorgesehen")));
}

TEST(SchemaCheckTest, TwinsAreBothNamed) {
    EXPECT_THAT(
        CheckAgainstSchema(Document("<lumo_Client><Language>58</Language>\n<Language>89</Language></lumo_Client>")),
        ElementsAre(Problem(2, "config/lumo_Client/Language", "steht mehr als einmal"),
                    Problem(3, "config/lumo_Client/Language", "steht mehr als einmal")));
}

TEST(SchemaCheckTest, AnotherRootElementIsNamed) {
    EXPECT_THAT(CheckAgainstSchema("<settings><lumo_Client/></settings>"),
                ElementsAre(Problem(1, "settings", "das Wurzelelement heißt nicht \"config\"")));
}

TEST(SchemaCheckTest, AttributesAndStrayTextsAreNamed) {
    EXPECT_THAT(CheckAgainstSchema(Document("\n<LumoMiniDriver x='1'>stray</LumoMiniDriver>"
                                            "<lumo_Client>text\n<Version lang='de'>2</Version></lumo_Client>")),
                ElementsAre(Problem(3, "config/LumoMiniDriver/@x", "hier nicht vorgesehen"),
                            Problem(3, "config/LumoMiniDriver \"stray\"", "unzulässiger Wert"),
                            Problem(4, "config/lumo_Client/Version/@lang", "hier nicht vorgesehen")));
}

TEST(SchemaCheckTest, AFileThatIsNoStrictXmlIsCheckedAsItIsTakenIn) {
    EXPECT_THAT(CheckAgainstSchema("<config>\n<lumo_Client>\n<Language>deutsch</Lang></config></lumo_Client>"),
                ElementsAre(Problem(3, "config/lumo_Client/Language \"deutsch\"", "unzulässiger Wert")));
}

TEST(SchemaCheckTest, OfVeryManyProblemsTheFirstAreNamed) {
    std::string many = "<lumo_Client>\n";
    for (int i = 0; i < 100000; ++i) {
        many += "<Language/>\n<E>1</E>\n";
    }
    const ElementProblems problems = Check(Document(many + "</lumo_Client>"));
    ASSERT_THAT(problems.invalid, SizeIs(MostProblems + 1));
    EXPECT_EQ(problems.invalid[MostProblems - 1].line, 3 + 2 * (MostProblems - 1));
    EXPECT_THAT(problems.invalid.back(), Problem(0, "", "..."));
    ASSERT_THAT(problems.unread, SizeIs(MostProblems + 1));
    EXPECT_EQ(problems.unread.back(), "...");
}

TEST(SchemaCheckTest, OneWrongElementAmongThousandsIsNamed) {
    std::string many = "<lumo_Client>";
    for (int i = 0; i < 100000; ++i) {
        many += "<E><F/></E>";
    }
    EXPECT_THAT(CheckAgainstSchema(Document(many + "\n<Language>x</Language></lumo_Client>")),
                ElementsAre(Problem(3, "config/lumo_Client/Language \"x\"", "unzulässiger Wert")));
}

TEST(SchemaCheckTest, UnknownElementsWithContentAreNamedByTheirPaths) {
    EXPECT_THAT(FindUnreadElements(Document(
                    "<lumo_client><Language>58</Language></lumo_client>"
                    "<lumo_Client><Langauge>58</Langauge><Trace><Loglevel>1</Loglevel></Trace>"
                    "<Reader0>" +
                    ReaderTree("<UseGui>Yes</UseGui>") + "</Reader0><ReaderX>" + ReaderTree("<UseGui>Yes</UseGui>") +
                    "</ReaderX></lumo_Client><LumoMiniDriver><enableLogging>1</enableLogging>"
                    "</LumoMiniDriver><Kundendienste_Online><Dir>/x</Dir></Kundendienste_Online>")),
                ElementsAre("config/lumo_client", "config/lumo_Client/Langauge", "config/lumo_Client/Trace/Loglevel",
                            "config/lumo_Client/Reader0/UseGui", "config/lumo_Client/ReaderX/UseGui",
                            "config/LumoMiniDriver/enableLogging", "config/Kundendienste_Online/Dir"));
}

TEST(SchemaCheckTest, EmptyUnknownElementsAndCommentsAreNothing) {
    EXPECT_THAT(FindUnreadElements(Document("<!-- note --><lumo_Client><!-- more --><Old/><Older>  </Older>"
                                            "<Reader_Settings><Anything>1</Anything></Reader_Settings></lumo_Client>")),
                IsEmpty());
}

TEST(SchemaCheckTest, EveryRegisteredSettingIsKnown) {
    // given: a file with all settings that the program registers
    std::filesystem::remove_all("/etc/vantor");
    GenerateConfig();
    Vantor::Config* const config = Vantor::Config::GetHandle(0);
    for (unsigned id = 2; id <= 60; ++id) {
        ASSERT_TRUE(config->SetString(id, "1")) << id;
    }
    config->Destroy();
    // then
    EXPECT_THAT(FindUnreadElements(test::ReadText("/etc/vantor/lumoclient/config")), IsEmpty());
}

namespace {

/// Documents with each name that the schema has, in each place where there can be one, with each kind of content.
std::vector<std::string> Variants() {
    const std::string schema = test::ReadText(SOURCE_FOLDER "/docs/configuration.rng");
    const std::regex pattern("<element name=\"([^\"]+)\"|<name>([^<]+)</name>");
    std::set<std::string> names{"Unknown", "Reader01", "Reader32", "ReaderX"};
    for (auto match = std::sregex_iterator(schema.begin(), schema.end(), pattern); match != std::sregex_iterator();
         ++match) {
        names.insert((*match)[1].str() + (*match)[2].str());
    }
    const std::pair<std::string, std::string> places[] = {
        {"", ""},
        {"<lumo_Client>", "</lumo_Client>"},
        {"<lumo_Client><Trace>", "</Trace></lumo_Client>"},
        {"<lumo_Client><Reader7>" + ReaderTree(), "</Reader7></lumo_Client>"},
        {"<lumo_Client><Reader_Settings>", "</Reader_Settings></lumo_Client>"},
        {"<LumoMiniDriver>", "</LumoMiniDriver>"},
        {"<Kundendienste_Online>", "</Kundendienste_Online>"}};
    std::vector<std::string> documents;
    for (const auto& [before, after] : places) {
        for (const std::string& name : names) {
            for (const char* const content : {">", "> \n", ">x", ">Yes", ">1", "><y/>", " a='b'>"}) {
                const std::string element = "<" + name + content + "</" + name + ">";
                documents.push_back(Document(before + element + after));
            }
            documents.push_back(Document(before + "<" + name + "/><" + name + "/>" + after));
        }
        documents.push_back(Document(before + "stray text" + after));
    }
    return documents;
}

std::vector<std::string> Values() {
    std::vector<std::string> documents;
    for (const char* const name : {"Language", "CleanCertsOnRefresh", "MakeDialogsStayOnTop", "Version"}) {
        for (const char* const value :
             {"2147483647", "2147483648", "-2147483648", "-2147483649", "+5",   "-",    "+",
              "0",          "007",        "0x5",         " 5\n",        "5 5",  "5.0",  "99999999999999999999",
              "true",       " true ",     "TRUE",        "false",       "1",    "0",    "2",
              "yes",        "jA",         "y",           " yes",        "no",   "Nein", "n",
              "False",      "f",          "&#32;",       "<!-- c -->",  "&lt;", "&amp;"}) {
            documents.push_back(
                Document(std::string("<lumo_Client><") + name + ">" + value + "</" + name + "></lumo_Client>"));
        }
    }
    for (const char* const reader : {"", " ", "<!-- c -->", "<Reader>x</Reader>", "<ReaderName>x</ReaderName>", "text",
                                     "<Other/>", "<IsSecure/>"}) {
        documents.push_back(Document(std::string("<lumo_Client><Reader7>") + reader + "</Reader7></lumo_Client>"));
    }
    return documents;
}

} // namespace

TEST(SchemaCheckTest, RefusesWhatTheSchemaRefusesAndNothingElse) {
    const test::TemporaryFolder folder;
    std::vector<std::string> documents = Variants();
    for (const std::string& document : Values()) {
        documents.push_back(document);
    }
    ASSERT_GT(documents.size(), 1000U);
    std::vector<std::string> command{"xmllint", "--noout", "--relaxng", SOURCE_FOLDER "/docs/configuration.rng"};
    for (std::size_t i = 0; i < documents.size(); ++i) {
        command.push_back(folder / std::to_string(i));
        test::WriteText(command.back(), documents[i]);
    }
    const std::string verdicts = "\n" + Support::run(command).errors;
    std::size_t refused = 0;
    for (std::size_t i = 0; i < documents.size(); ++i) {
        const std::string file = folder / std::to_string(i);
        const bool isValid = verdicts.find("\n" + file + " validates\n") != std::string::npos;
        ASSERT_NE(isValid, verdicts.find("\n" + file + " fails to validate\n") != std::string::npos) << documents[i];
        EXPECT_EQ(CheckAgainstSchema(documents[i]).empty(), isValid) << documents[i];
        refused += isValid ? 0 : 1;
    }
    EXPECT_GT(refused, 300U);
    EXPECT_LT(refused, documents.size() - 300);
}
