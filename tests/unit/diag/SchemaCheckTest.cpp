#include "diag/SchemaCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

TEST(SchemaCheckTest, AnotherRootElementIsNotValid) {
    EXPECT_THAT(CheckAgainstSchema("<settings><lumo_Client/></settings>"), testing::Not(IsEmpty()));
}

TEST(SchemaCheckTest, AFileOfThousandsOfElementsIsJudgedAsAWhole) {
    std::string many = "<lumo_Client><Language>x</Language>";
    for (int i = 0; i < 2000; ++i) {
        many += "<E" + std::to_string(i) + "/>";
    }
    EXPECT_THAT(CheckAgainstSchema(Document(many + "</lumo_Client>")), testing::Not(IsEmpty()));
}

TEST(SchemaCheckTest, NoEntityReachesAnotherFile) {
    EXPECT_THAT(CheckAgainstSchema("<!DOCTYPE config [<!ENTITY x SYSTEM \"file:///etc/hostname\">]>"
                                   "<config><lumo_Client><Version>&x;</Version></lumo_Client></config>"),
                testing::Each(Field("path", &FileProblem::path, testing::Not(testing::HasSubstr("\"")))));
}

TEST(SchemaCheckTest, ABrokenDocumentHasAComplaint) {
    EXPECT_THAT(CheckAgainstSchema("<config>"), testing::Not(IsEmpty()));
    EXPECT_THAT(CheckAgainstSchema(""), testing::Not(IsEmpty()));
}
