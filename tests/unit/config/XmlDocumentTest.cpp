#include "config/XmlDocument.h"

#include "tests/support/TemporaryFolder.h"
#include "tests/support/Valgrind.h"

#include <gtest/gtest.h>

#include <boost/property_tree/ptree.hpp>

#include <cstdio>
#include <fstream>
#include <iostream>
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

namespace {

constexpr int Documents = 20;
constexpr int ValuesEach = 5000;

std::string RandomBytes(std::mt19937& random) {
    std::string value(random() % 20, ' ');
    const bool blank = random() % 4 == 0;
    for (char& c : value) {
        c = static_cast<char>(blank ? " \t\n\r"[random() % 4] : 1 + random() % 255);
    }
    return value;
}

void AppendUtf8(std::string& text, unsigned long point) {
    const auto add = [&](unsigned long byte) { text += static_cast<char>(byte); };
    if (point < 0x80) {
        add(point);
    } else if (point < 0x800) {
        add(0xC0 | point >> 6);
        add(0x80 | (point & 0x3F));
    } else if (point < 0x10000) {
        add(0xE0 | point >> 12);
        add(0x80 | (point >> 6 & 0x3F));
        add(0x80 | (point & 0x3F));
    } else {
        add(0xF0 | point >> 18);
        add(0x80 | (point >> 12 & 0x3F));
        add(0x80 | (point >> 6 & 0x3F));
        add(0x80 | (point & 0x3F));
    }
}

/// Characters that XML 1.0 allows (section 2.2), but the carriage return, which readers turn into a line feed.
std::string RandomCharacters(std::mt19937& random) {
    std::string text;
    for (auto i = random() % 12; i > 0; --i) {
        switch (random() % 5) {
        case 0:
            text += "\t\n <>&\"']"[random() % 9];
            break;
        case 1:
            AppendUtf8(text, 0x20 + random() % (0xD800 - 0x20));
            break;
        case 2:
            AppendUtf8(text, 0xE000 + random() % (0xFFFE - 0xE000));
            break;
        case 3:
            AppendUtf8(text, 0x10000 + random() % 0x100000);
            break;
        default:
            AppendUtf8(text, 0x20 + random() % 0x5F);
        }
    }
    return text;
}

/// A text as Canonical XML 1.0 writes it (section 2.3).
std::string Canonical(const std::string& text) {
    std::string canonical;
    for (const char c : text) {
        switch (c) {
        case '&':
            canonical += "&amp;";
            break;
        case '<':
            canonical += "&lt;";
            break;
        case '>':
            canonical += "&gt;";
            break;
        default:
            canonical += c;
        }
    }
    return canonical;
}

/// What another XML reader makes of a document.
std::string CanonicalByXmllint(const std::string& document) {
    const test::TemporaryFolder folder;
    const std::string file = folder / "document.xml";
    std::ofstream(file, std::ios::binary) << document;
    std::string output;
    if (FILE* const pipe = popen(("xmllint --c14n " + file).c_str(), "r")) {
        char chunk[65536];
        for (std::size_t got = 0; (got = fread(chunk, 1, sizeof chunk, pipe)) > 0;) {
            output.append(chunk, got);
        }
        EXPECT_EQ(pclose(pipe), 0);
    }
    return output;
}

} // namespace

TEST(XmlDocument, EveryByteButNulSurvivesInAText) {
    NOT_UNDER_VALGRIND("too slow there");
    std::mt19937 random(7);
    for (int round = 0; round < Documents; ++round) {
        Tree tree;
        for (int i = 0; i < ValuesEach; ++i) {
            tree.add("config.a", RandomBytes(random));
        }
        std::string text;
        ASSERT_TRUE(FormatXml(tree, text));
        Tree read;
        ASSERT_TRUE(ParseXml(text, read));
        ASSERT_TRUE(read == tree);
    }
    std::cout << Documents * ValuesEach << " texts of any bytes but NUL, all identical\n";
}

TEST(XmlDocument, AnotherReaderGetsTheSameCharacters) {
    NOT_UNDER_VALGRIND("too slow there");
    std::mt19937 random(8);
    for (int round = 0; round < Documents; ++round) {
        Tree tree;
        std::string expected = "<config>";
        for (int i = 0; i < ValuesEach; ++i) {
            const std::string value = RandomCharacters(random);
            tree.add("config.a", value);
            expected += "<a>" + Canonical(value) + "</a>";
        }
        std::string text;
        ASSERT_TRUE(FormatXml(tree, text));
        ASSERT_TRUE(CanonicalByXmllint(text) == expected + "</config>") << round;
    }
    std::cout << Documents * ValuesEach << " texts of legal characters, all read alike by xmllint\n";
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
    NOT_UNDER_VALGRIND("too slow there");
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

TEST(XmlDocument, TheNumberOfElementsIsLimitedAlikeInBothDirections) {
    NOT_UNDER_VALGRIND("too slow there");
    const auto many = [](std::size_t count, const std::string& element) {
        std::string text = "<a>";
        while (count-- > 0) {
            text += element;
        }
        return text + "</a>";
    };
    EXPECT_TRUE(Parses(many(MaxXmlNodes - 2, "<a/>"))) << "the root and the declaration that is written count as well";
    EXPECT_FALSE(Parses(many(MaxXmlNodes - 1, "<a/>")));
    EXPECT_FALSE(Parses(many(MaxXmlNodes / 2, "<a b=''/>")));
    EXPECT_FALSE(Parses(many(MaxXmlNodes, "<!---->")));

    Tree tree;
    for (std::size_t i = 0; i < MaxXmlNodes; ++i) {
        tree.push_back({"a", Tree()});
    }
    std::string text;
    EXPECT_FALSE(FormatXml(tree, text)) << "with the declaration it is one too many";
    tree.pop_back();
    EXPECT_TRUE(FormatXml(tree, text));
}

TEST(XmlDocument, ATextThatWouldGrowBeyondTheLimitIsRefusedAtOnce) {
    EXPECT_FALSE(Parses("<a>" + std::string(MaxXmlSize / 2, '"') + "</a>")) << "each quote is six bytes when written";
}

TEST(XmlDocument, ClosingTagsWithoutNamesCountAsIfTheyHadThem) {
    const std::string name(MaxXmlSize / 2, 'a');
    EXPECT_FALSE(Parses("<" + name + ">x</>")) << "the name stands twice when written";
    EXPECT_TRUE(Parses("<" + name.substr(100) + ">x</>"));
}

TEST(XmlDocument, AReadTextCanAlwaysBeWritten) {
    // Each of a size at which it just can, or just cannot, be written within the limit.
    for (const auto& [piece, size] : {std::pair<std::string, std::size_t>("\"", MaxXmlSize / 6 - 50),
                                      {"\"", MaxXmlSize / 6},
                                      {">", MaxXmlSize / 4 - 50},
                                      {"&", MaxXmlSize / 5},
                                      {"<b> </b>", MaxXmlSize * 8 / 12 - 100},
                                      {"<b c=' '/>", MaxXmlSize * 10 / 14}}) {
        std::string text = "<a>";
        while (text.size() + piece.size() < size) {
            text += piece;
        }
        text += "</a>";
        Tree tree;
        std::string written;
        if (ParseXml(text, tree)) {
            EXPECT_TRUE(FormatXml(tree, written)) << piece << " " << size;
            EXPECT_TRUE(Parses(written)) << piece << " " << size;
        }
    }
}

TEST(XmlDocument, NamesThatXmlDoesNotHaveAreRefusedInEitherDirection) {
    for (const char* name : {"0", "a\"", "a<b", "-a"}) {
        EXPECT_FALSE(Parses("<" + std::string(name) + "/>")) << name;
        EXPECT_FALSE(Parses("<a><" + std::string(name) + ">x</a></a>")) << name;
        Tree tree;
        tree.push_back({name, Tree()});
        std::string text;
        EXPECT_FALSE(FormatXml(tree, text)) << name;
    }
    EXPECT_FALSE(Parses("<a 0='x'/>"));
}
