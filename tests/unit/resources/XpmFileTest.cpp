#include "resources/XpmFile.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

std::vector<std::string> StringsOf(std::string_view text) {
    XpmFile file(text);
    std::vector<std::string> strings;
    while (const auto string = file.Next())
        strings.emplace_back(*string);
    return strings;
}

} // namespace

TEST(XpmFile, StringsAreWhatStandsBetweenTheQuotes) {
    EXPECT_EQ(StringsOf("/* XPM */\nstatic const char* const x[] = {\n\"1 1 1 1\",\n\"  c None\",\n\" \",\n};\n"),
              (std::vector<std::string>{"1 1 1 1", "  c None", " "}));
}

TEST(XpmFile, TextWithoutStringsHasNone) {
    EXPECT_TRUE(StringsOf("").empty());
    EXPECT_TRUE(StringsOf("/* XPM */\n").empty());
}

TEST(XpmFile, StringThatDoesNotEndIsNone) {
    EXPECT_EQ(StringsOf("{\"a\", \"b"), std::vector<std::string>{"a"});
}

TEST(XpmFile, StringsMayBeEmpty) {
    EXPECT_EQ(StringsOf("\"\"\"a\""), (std::vector<std::string>{"", "a"}));
}

TEST(XpmFile, AfterTheLastStringThereIsNothingEverAgain) {
    XpmFile file("\"a\", \"b");
    EXPECT_EQ(file.Next(), "a");
    EXPECT_EQ(file.Next(), std::nullopt);
    EXPECT_EQ(file.Next(), std::nullopt);
}

TEST(XpmFile, CopyGoesOnByItself) {
    XpmFile file("\"a\", \"b\"");
    XpmFile copy = file;
    EXPECT_EQ(copy.Next(), "a");
    EXPECT_EQ(copy.Next(), "b");
    EXPECT_EQ(file.Next(), "a");
}
