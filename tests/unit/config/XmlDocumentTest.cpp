#include "config/XmlDocument.h"

#include <gtest/gtest.h>

#include <boost/property_tree/ptree.hpp>

#include <random>

using namespace Vantor;
using Tree = boost::property_tree::ptree;

namespace {

const std::string Declaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";

std::string Nested(std::size_t depth) {
    std::string text;
    for (std::size_t i = 0; i < depth; ++i) {
        text += "<a>";
    }
    for (std::size_t i = 0; i < depth; ++i) {
        text += "</a>";
    }
    return text;
}

/// A document that is `size` bytes long.
std::string Sized(std::size_t size) {
    return "<a>" + std::string(size - 7, 'x') + "</a>";
}

bool Parses(const std::string& text) {
    Tree tree;
    return ParseXml(text, tree);
}

std::string Rewritten(const std::string& text) {
    Tree tree;
    std::string written;
    EXPECT_TRUE(ParseXml(text, tree)) << text;
    EXPECT_TRUE(FormatXml(tree, written)) << text;
    return written;
}

} // namespace

TEST(XmlDocument, FormatsWithoutLayout) {
    Tree tree;
    tree.put("config.a.b", "text");
    tree.put("config.c", "");
    std::string text;
    EXPECT_TRUE(FormatXml(tree, text));
    EXPECT_EQ(text, Declaration + "<config><a><b>text</b></a><c/></config>");
}

TEST(XmlDocument, AnEmptyTreeIsADeclaration) {
    std::string text;
    EXPECT_TRUE(FormatXml(Tree(), text));
    EXPECT_EQ(text, Declaration);
}

TEST(XmlDocument, EscapesWhatXmlNeeds) {
    Tree tree;
    tree.put("config", "<&>\"'");
    std::string text;
    EXPECT_TRUE(FormatXml(tree, text));
    EXPECT_EQ(text, Declaration + "<config>&lt;&amp;&gt;&quot;&apos;</config>");
}

TEST(XmlDocument, CommentsAndAttributesAndWhiteSpaceSurvive) {
    const std::string text = Declaration +
                             "<!-- by hand --><config version=\"1 &lt; 2\" x=\"&#32; \"> \n<!--a-->\t<b c=\"\"/> "
                             "text </config>";
    // White space around elements is their parent's text, which stands first.
    const std::string written = Declaration +
                                "<!-- by hand --><config version=\"1 &lt; 2\" x=\"&#32; \"> \n\t text <!--a-->"
                                "<b c=\"\"/></config>";
    EXPECT_EQ(Rewritten(text), written);
    EXPECT_EQ(Rewritten(written), written);
}

TEST(XmlDocument, ADocumentOfThisFormStaysByteForByte) {
    for (const char* body :
         {"<config/>", "<config>\n</config>", "<config>&#32;  </config>", "<config>a\r\nb\tc </config>",
          "<config><a>&amp;#10;</a><!-- - --><b>\xC3\xA4\xFF</b></config>", ""}) {
        EXPECT_EQ(Rewritten(Declaration + body), Declaration + body);
    }
}

TEST(XmlDocument, EveryByteButNulSurvivesInAText) {
    std::mt19937 random(7);
    for (int round = 0; round < 3000; ++round) {
        std::string value(random() % 20, ' ');
        for (char& c : value) {
            c = static_cast<char>(round % 3 == 0 ? " \t\n\r"[random() % 4] : 1 + random() % 255);
        }
        Tree tree;
        tree.put("config.a", value);
        std::string text;
        ASSERT_TRUE(FormatXml(tree, text));
        Tree read;
        ASSERT_TRUE(ParseXml(text, read));
        ASSERT_EQ(read, tree) << text;
    }
}

TEST(XmlDocument, MalformedTextsAreRefusedAndChangeNothing) {
    Tree tree;
    tree.put("a", "old");
    for (const char* text : {"x", "<a>", "<a", "<", "</a>", "<a></a", "<a b></a>", "<a>&#x110000;</a>", "<a/>x",
                             "<a><!--</a>", "<?xml version=\"1.0\""}) {
        EXPECT_FALSE(ParseXml(text, tree)) << text;
    }
    EXPECT_EQ(tree.get<std::string>("a"), "old");
}

TEST(XmlDocument, NulBytesAreRefusedInEitherDirection) {
    EXPECT_FALSE(Parses(std::string("<a>x</a>\0<b/>", 13))) << "the parser alone would drop what follows";
    EXPECT_FALSE(Parses("<a>x&#0;y</a>")) << "could be read, but never written again";
    EXPECT_FALSE(Parses("<a b=\"&#x0;\"/>"));
    Tree tree;
    tree.put("a", std::string("x\0y", 3));
    std::string text;
    EXPECT_FALSE(FormatXml(tree, text));
}

TEST(XmlDocument, DepthIsLimitedAlikeInBothDirections) {
    EXPECT_TRUE(Parses(Nested(MaxXmlDepth)));
    EXPECT_FALSE(Parses(Nested(MaxXmlDepth + 1)));
    EXPECT_FALSE(Parses(Nested(500000)));

    Tree tree;
    Tree* node = &tree;
    for (std::size_t i = 0; i < MaxXmlDepth; ++i) {
        node = &node->push_back({"a", Tree()})->second;
    }
    std::string text;
    EXPECT_TRUE(FormatXml(tree, text));
    node->push_back({"a", Tree()});
    EXPECT_FALSE(FormatXml(tree, text));
}

TEST(XmlDocument, SizeIsLimitedAlikeInBothDirections) {
    EXPECT_TRUE(Parses(Sized(MaxXmlSize - Declaration.size())));
    EXPECT_FALSE(Parses(Sized(MaxXmlSize + 1)));

    Tree tree;
    tree.put("a", std::string(MaxXmlSize - Declaration.size() - 7, 'x'));
    std::string text;
    EXPECT_TRUE(FormatXml(tree, text));
    EXPECT_EQ(text.size(), MaxXmlSize);
    tree.put("a", std::string(MaxXmlSize - Declaration.size() - 6, 'x'));
    EXPECT_FALSE(FormatXml(tree, text));
}

TEST(XmlDocument, ATextThatWouldGrowBeyondTheLimitIsRefusedAtOnce) {
    EXPECT_FALSE(Parses("<a>" + std::string(MaxXmlSize / 2, '"') + "</a>")) << "each quote is six bytes when written";
}
