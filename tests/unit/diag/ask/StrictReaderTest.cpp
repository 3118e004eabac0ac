#include "diag/ask/StrictReader.h"

#include "config/XmlDocument.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <boost/property_tree/ptree.hpp>

#include <chrono>

using namespace Diag;

namespace {

bool IsTakenIn(const std::string& document) {
    boost::property_tree::ptree tree;
    return Vantor::ParseXml(document, tree);
}

bool IsTakenByXmllint(const std::string& document) {
    const test::TemporaryFolder folder;
    test::WriteText(folder / "file", document);
    return Support::run({"xmllint", "--noout", folder / "file"}).status == 0;
}

} // namespace

TEST(StrictReaderTest, FindsEachSlipThatTheToolForgivesAsXmllintDoes) {
    struct Case {
        std::string text;
        unsigned long line;
        std::string path;
        std::string words;
    };
    for (const auto& [text, line, path, words] : {
             Case{"<config>\n<a>1</b>\n</config>", 2, "", "ein Ende, das nicht zu seinem Anfang passt"},
             Case{"<config>\n<a><b>1\n</a></b></config>", 3, "", "ein Ende, das nicht zu seinem Anfang passt"},
             Case{"<config/>\n<config/>", 2, "", "etwas hinter dem Wurzelelement"},
             Case{"<config>\n<a b='1'\nb='2'/></config>", 3, "", "ein Attribut steht zweimal"},
             Case{"<config>\n\n<a>\x01</a></config>", 3, "\x01",
                  "ein Zeichen, das hier nicht stehen darf, oder kein UTF-8"},
             Case{"<config>\n<a>\xE4</a></config>", 2, "\xE4",
                  "ein Zeichen, das hier nicht stehen darf, oder kein UTF-8"},
             Case{"<config>\n<a b='<'/></config>", 2, "", "ein Zeichen, das hier nicht stehen darf, oder kein UTF-8"},
             Case{"<config>\n&#1;</config>", 2, "", "ein Zeichen, das hier nicht stehen darf, oder kein UTF-8"},
             Case{"<config>\n&other;</config>", 2, "", "undefined entity"},
             Case{"", 1, "", "kein Element"},
         }) {
        EXPECT_TRUE(IsTakenIn(text)) << text;
        EXPECT_FALSE(IsTakenByXmllint(text)) << text;
        const StrictVerdict verdict = AskStrictReader(text);
        ASSERT_TRUE(verdict.refusal) << text;
        EXPECT_EQ(verdict.refusal->line, line) << text;
        EXPECT_EQ(verdict.refusal->path, path) << text;
        EXPECT_EQ(verdict.refusal->text, words) << text;
    }
}

TEST(StrictReaderTest, HasNothingAgainstGoodDocuments) {
    std::string deep = "x";
    for (int i = 0; i < 256; ++i) {
        deep = "<a>" + deep + "</a>";
    }
    for (const std::string& text :
         {std::string("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<config><!-- c --><a b='1' c='2'>\xC3\xA4&#228;"
                      "<![CDATA[<]]></a><?p i?></config>\n"),
          std::string("\xEF\xBB\xBF<config/>"), deep}) {
        EXPECT_TRUE(IsTakenIn(text)) << text;
        EXPECT_TRUE(IsTakenByXmllint(text)) << text;
        const StrictVerdict verdict = AskStrictReader(text);
        EXPECT_FALSE(verdict.refusal || verdict.documentType) << text;
    }
}

TEST(StrictReaderTest, AnotherEncodingIsOneThatTheToolDoesNotRead) {
    const StrictVerdict verdict =
        AskStrictReader("<?xml version='1.0' encoding='ISO-8859-1'?>\n<config><a>\xE4</a></config>");
    ASSERT_TRUE(verdict.refusal);
    EXPECT_EQ(verdict.refusal->line, 1U);
    EXPECT_EQ(verdict.refusal->path, "ISO-8859-1");
    EXPECT_EQ(verdict.refusal->text, "nennt eine andere Kodierung als UTF-8");
}

TEST(StrictReaderTest, ADocumentTypeEndsTheReading) {
    const StrictVerdict late = AskStrictReader("<!-- c -->\n<!DOCTYPE config>\n<config></other>");
    ASSERT_TRUE(late.documentType);
    EXPECT_EQ(late.documentType->line, 2U);
    EXPECT_FALSE(late.refusal) << "nothing behind it is looked at";
    for (const char* const begin : {"<!DOCTYPE config [<!ENTITY x SYSTEM \"file:///etc/hostname\">]>",
                                    "<!DOCTYPE config SYSTEM \"file:///etc/hostname\">", "<!DOCTYPE config ["}) {
        EXPECT_TRUE(AskStrictReader(std::string(begin) + "<config>&x;</config>").documentType) << begin;
    }
}

TEST(StrictReaderTest, AnyNumberOfAttributesIsReadInNoTime) {
    std::string attributes;
    for (int i = 0; i < 250000; ++i) {
        attributes += " a" + std::to_string(i) + "=''";
    }
    const auto began = std::chrono::steady_clock::now();
    EXPECT_FALSE(AskStrictReader("<config" + attributes + "/>").refusal);
    EXPECT_TRUE(AskStrictReader("<config" + attributes + " a17=''/>").refusal);
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(15)) << "each against each takes minutes";
}
