#include "readers/MultiString.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

/// Splits a text in a buffer of exactly its length, so that a read behind it is noticed.
template <std::size_t size>
std::vector<std::string> Split(const char (&literal)[size]) {
    const std::vector<char> text(literal, literal + size - 1); // the literal's own zero is not part of it
    std::vector<std::string> names;
    Vantor::AppendMultiString(text.data(), text.size(), names);
    return names;
}

} // namespace

TEST(MultiString, GivesTheNamesInTheirOrder) {
    EXPECT_THAT(Split("one\0two 00 00\0three\0\0"), ElementsAre("one", "two 00 00", "three"));
}

TEST(MultiString, EndsAtTheEmptyName) {
    EXPECT_THAT(Split("one\0\0two\0\0"), ElementsAre("one"));
}

TEST(MultiString, MayHoldNoNames) {
    EXPECT_THAT(Split("\0\0"), IsEmpty());
    EXPECT_THAT(Split("\0"), IsEmpty());
    EXPECT_THAT(Split(""), IsEmpty());
    std::vector<std::string> names;
    Vantor::AppendMultiString(nullptr, 0, names);
    EXPECT_THAT(names, IsEmpty());
}

TEST(MultiString, WithoutAnEndStopsAtTheBuffersEnd) {
    EXPECT_THAT(Split("one\0two\0"), ElementsAre("one", "two"));
    EXPECT_THAT(Split("one\0two"), ElementsAre("one", "two"));
    EXPECT_THAT(Split("x"), ElementsAre("x"));
}

TEST(MultiString, KeepsEveryByteOfAName) {
    EXPECT_THAT(Split("\xFC \xC3\xBC & < \" '\0\0"), ElementsAre("\xFC \xC3\xBC & < \" '"));
}

TEST(MultiString, NamesAreAppended) {
    std::vector<std::string> names = {"earlier"};
    Vantor::AppendMultiString("later\0", 7, names);
    EXPECT_THAT(names, ElementsAre("earlier", "later"));
}
