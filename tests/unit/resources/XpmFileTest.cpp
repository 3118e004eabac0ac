#include "resources/XpmFile.h"
#include "resources/logo.xpm"

#include <algorithm>
#include <cstring>
#include <iterator>

#include <gtest/gtest.h>

namespace {

std::vector<std::string> RowsOf(const char* text) {
    const XpmFile file(text);
    return {file.Rows().begin(), file.Rows().end()};
}

} // namespace

TEST(XpmFile, RowsAreWhatStandsBetweenTheQuotes) {
    EXPECT_EQ(RowsOf("/* XPM */\nstatic const char* const x[] = {\n\"1 1 1 1\",\n\"  c None\",\n\" \",\n};\n"),
              (std::vector<std::string>{"1 1 1 1", "  c None", " "}));
}

TEST(XpmFile, TextWithoutStringsHasNoRows) {
    EXPECT_TRUE(RowsOf("").empty());
    EXPECT_TRUE(RowsOf("/* XPM */\n").empty());
}

TEST(XpmFile, StringThatDoesNotEndIsNoRow) {
    EXPECT_EQ(RowsOf("{\"a\", \"b"), std::vector<std::string>{"a"});
}

TEST(XpmFile, LogoInTheProgramIsTheOneInTheTree) {
    // given
    const XpmFile logo(LogoXpmText());

    // then
    ASSERT_EQ(logo.Rows().size(), std::size(lumo_logo_xpm));
    EXPECT_TRUE(std::equal(logo.Rows().begin(), logo.Rows().end(), lumo_logo_xpm,
                           [](const char* a, const char* b) { return std::strcmp(a, b) == 0; }));
}
