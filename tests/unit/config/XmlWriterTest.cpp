#include "config/XmlWriter.h"

#include "config/XmlDocument.h"

#include <gtest/gtest.h>

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include <iterator>
#include <random>
#include <sstream>
#include <string>

using namespace Vantor;
using Tree = boost::property_tree::ptree;

namespace {

std::string WrittenByTheLibrary(const Tree& tree) {
    std::ostringstream stream;
    boost::property_tree::write_xml(stream, tree,
                                    boost::property_tree::xml_writer_settings<std::string>(' ', 0, "utf-8"));
    return stream.str();
}

std::string Written(const Tree& tree) {
    std::string text = "what was there before";
    EXPECT_TRUE(WriteXml(tree, text));
    return text;
}

std::string RandomText(std::mt19937& random) {
    constexpr const char* Pieces[] = {"",  " ",  "  ", "text", "<",        ">",        "&",   "\"",
                                      "'", "\n", "\t", "\r",   "\xC3\xA4", "&amp;",    "]]>", "-->",
                                      "-", ";",  "#",  "\x01", "\xFF",     "&#32;\x7F"};
    std::string text;
    for (auto i = random() % 4; i > 0; --i) {
        text += Pieces[random() % std::size(Pieces)];
    }
    return text;
}

Tree RandomTree(std::mt19937& random, int depth) {
    constexpr const char* Names[] = {"a", "lumo_Client", "x:y", "b-1.c", "\xC3\xA4"};
    Tree tree(RandomText(random));
    if (random() % 3 == 0) {
        Tree& attributes = tree.push_back({"<xmlattr>", Tree()})->second;
        for (auto i = random() % 3; i > 0; --i) {
            attributes.push_back({Names[random() % std::size(Names)], Tree(RandomText(random))});
        }
    }
    for (auto i = depth > 0 ? random() % 4 : 0; i > 0; --i) {
        if (random() % 5 == 0) {
            tree.push_back({"<xmlcomment>", Tree(" - " + std::to_string(random()))});
        } else {
            tree.push_back({Names[random() % std::size(Names)], RandomTree(random, depth - 1)});
        }
    }
    return tree;
}

bool IsRefused(const Tree& tree) {
    std::string text;
    return !WriteXml(tree, text);
}

Tree With(const std::string& path, const std::string& value) {
    Tree tree;
    tree.put(path, value);
    return tree;
}

} // namespace

TEST(XmlWriter, TakesEveryTreeThatXmlCanHold) {
    std::mt19937 random(20260301);
    for (int round = 0; round < 3000; ++round) {
        Tree tree;
        tree.push_back({"<xmlcomment>", Tree("begin")});
        tree.push_back({"config", RandomTree(random, 4)});
        ASSERT_EQ(Written(tree), WrittenByTheLibrary(tree)) << round;
    }
}

TEST(XmlWriter, TakesTreesOfNothing) {
    EXPECT_EQ(Written(Tree()), WrittenByTheLibrary(Tree()));
    EXPECT_EQ(Written(With("config", "")), WrittenByTheLibrary(With("config", "")));
}

TEST(XmlWriter, RefusesANulByteWhereverItIs) {
    const std::string nul("x\0y", 3);
    EXPECT_TRUE(IsRefused(With("a", nul)));
    EXPECT_TRUE(IsRefused(With("a.b.c", nul)));
    EXPECT_TRUE(IsRefused(With("a.<xmlattr>.b", nul)));
    EXPECT_TRUE(IsRefused(With("a.<xmlcomment>", nul)));
    EXPECT_TRUE(IsRefused(With(nul, "")));
}

TEST(XmlWriter, RefusesNamesThatXmlDoesNotHave) {
    for (const char* name : {"", "0", "a b", "a<", "<xmltext>", "<"}) {
        Tree tree;
        tree.push_back({name, Tree()});
        EXPECT_TRUE(IsRefused(tree)) << name;
        Tree element;
        element.push_back({"<xmlattr>", tree});
        tree.clear();
        tree.push_back({"a", element});
        EXPECT_TRUE(IsRefused(tree)) << name;
    }
}

TEST(XmlWriter, RefusesWhatWouldBeReadAsSomethingElse) {
    EXPECT_TRUE(IsRefused(Tree("text outside the root element")));
    EXPECT_TRUE(IsRefused(With("a.<xmlcomment>", "--><b/><!--")));
    EXPECT_FALSE(IsRefused(With("a.<xmlcomment>", "-- > -")));
}
