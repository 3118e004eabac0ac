#include "diag/tell/Text.h"

#include "tests/support/Environment.h"

#include <gtest/gtest.h>

#include <cerrno>

using namespace Diag;

TEST(TextTest, ColumnsCountCharacters) {
    EXPECT_EQ(Columns("Geräte"), 6U);
    EXPECT_EQ(Columns(""), 0U);
}

TEST(TextTest, SizesHaveOneDecimalFromAKibibyteOn) {
    EXPECT_EQ(SizeText(0), "0 B");
    EXPECT_EQ(SizeText(1023), "1023 B");
    EXPECT_EQ(SizeText(1536), "1.5 KiB");
    EXPECT_EQ(SizeText(std::int64_t{5} << 30), "5.0 GiB");
    EXPECT_EQ(SizeText(std::int64_t{5} << 50), "5120.0 TiB");
}

TEST(TextTest, AgesAreInTheLargestUnitThatComesToTwo) {
    EXPECT_EQ(AgeText(0), "0 s");
    EXPECT_EQ(AgeText(119), "119 s");
    EXPECT_EQ(AgeText(120), "2 min");
    EXPECT_EQ(AgeText(7199), "119 min");
    EXPECT_EQ(AgeText(7200), "2 h");
    EXPECT_EQ(AgeText(172799), "47 h");
    EXPECT_EQ(AgeText(172800), "2 d");
    EXPECT_EQ(AgeText(86400LL * 4000), "4000 d");
    EXPECT_EQ(AgeText(-5), "0 s") << "a clock that was wrong";
}

TEST(TextTest, TimesAreLocalWithTheirOffset) {
    const test::Variable zone("TZ", test::centralEurope);
    EXPECT_EQ(TimeText(1772373909), "2026-03-01T15:05:09+01:00");
    EXPECT_EQ(TimeText(1783000000), "2026-07-02T15:46:40+02:00");
}

TEST(TextTest, ModesLookAsInListings) {
    EXPECT_EQ(ModeText(0664), "rw-rw-r--");
    EXPECT_EQ(ModeText(0), "---------");
    EXPECT_EQ(ModeText(0777), "rwxrwxrwx");
}

TEST(TextTest, ErrorsOfTheSystemAreInItsOwnWords) {
    EXPECT_EQ(ErrorText(EROFS), "Read-only file system");
    EXPECT_EQ(ErrorText(0), "");
    EXPECT_EQ(ErrorText(99999), "99999");
    EXPECT_EQ(ErrorText({"fork", EAGAIN}), "fork: Resource temporarily unavailable");
    EXPECT_EQ(ErrorText(SystemError()), "");
}

TEST(TextTest, JoinPutsSeparatorsBetween) {
    EXPECT_EQ(Join({"a", "b", "c"}, ", "), "a, b, c");
    EXPECT_EQ(Join({"a"}, ", "), "a");
    EXPECT_EQ(Join({}, ", "), "");
}
