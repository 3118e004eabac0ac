#include "diag/Text.h"

#include "tests/support/Environment.h"

#include <gtest/gtest.h>

#include <random>

using namespace Diag;

TEST(TextTest, BytesAreUpperCasePairs) {
    EXPECT_EQ(HexBytes(std::string("\x00\x3B\xff", 3)), "00 3B FF");
    EXPECT_EQ(HexBytes(""), "");
}

TEST(TextTest, PlainAndAccentedTextStaysAsItIs) {
    for (const char* const text :
         {"REINER SCT cyberJack 00 00", "Gerät für Prüfungen", "読取装置", "€ 5", "\xF0\x9F\x92\xB3"}) {
        EXPECT_EQ(Printable(text), text);
        EXPECT_TRUE(IsPrintable(text)) << text;
    }
}

TEST(TextTest, TerminatingZerosAreLeftOut) {
    EXPECT_EQ(Printable(std::string("Vantor\0\0", 8)), "Vantor");
    EXPECT_TRUE(IsPrintable(std::string("Vantor\0", 7)));
    EXPECT_EQ(Printable(std::string("\0\0", 2)), "");
}

TEST(TextTest, WhatCouldSteerATerminalIsEscaped) {
    EXPECT_EQ(Printable("a\x1B[2Jb"), "a\\x1B[2Jb");
    EXPECT_EQ(Printable("a\nb\tc\x7F"), "a\\x0Ab\\x09c\\x7F");
    EXPECT_EQ(Printable(std::string("a\0b", 3)), "a\\x00b");
    EXPECT_EQ(Printable("\xC2\x9B"
                        "2J"),
              "\\xC2\\x9B2J")
        << "the eight-bit control sequence introducer";
    EXPECT_EQ(Printable("\xE2\x80\xAE"
                        "gnp"),
              "\\xE2\\x80\\xAEgnp")
        << "right-to-left override";
    EXPECT_EQ(Printable("\xE2\x81\xA6x"), "\\xE2\\x81\\xA6x") << "isolate";
    EXPECT_EQ(Printable("\xE2\x80\x8Bx"), "\\xE2\\x80\\x8Bx") << "zero width space";
    EXPECT_FALSE(IsPrintable("a\x1B[2Jb"));
}

TEST(TextTest, WhatIsNotSeenOrTurnsTheDirectionOfWritingIsEscaped) {
    for (const char* const text : {"\xC2\x85", "\xC2\xAD", "\xD8\x9C", "\xE1\xA0\x8E", "\xE2\x80\x8F", "\xE2\x80\xA8",
                                   "\xE2\x81\xA0", "\xEF\xBB\xBF", "\xEF\xBF\xB9", "\xF3\xA0\x81\x81"}) {
        EXPECT_FALSE(IsPrintable(text)) << HexBytes(text);
    }
}

TEST(TextTest, PunctuationBesideTheControlCharactersStays) {
    EXPECT_EQ(Printable("5 \xE2\x80\xB0 \xE2\x80\xB9x\xE2\x80\xBA \xC2\xA0"),
              "5 \xE2\x80\xB0 \xE2\x80\xB9x\xE2\x80\xBA \xC2\xA0");
    EXPECT_EQ(Printable("\xE2\x80\x93 \xE2\x80\x9E"
                        "a\xE2\x80\x9C \xE2\x80\xA6"),
              "\xE2\x80\x93 \xE2\x80\x9E"
              "a\xE2\x80\x9C \xE2\x80\xA6");
}

TEST(TextTest, BytesThatAreNoUtf8AreEscaped) {
    EXPECT_EQ(Printable("Ger\xE4t"), "Ger\\xE4t");
    EXPECT_EQ(Printable("\xC3"), "\\xC3") << "cut off";
    EXPECT_EQ(Printable("\xC0\xAF"), "\\xC0\\xAF") << "overlong";
    EXPECT_EQ(Printable("\xE0\x80\xAF"), "\\xE0\\x80\\xAF") << "overlong";
    EXPECT_EQ(Printable("\xED\xA0\x80"), "\\xED\\xA0\\x80") << "half of a surrogate pair";
    EXPECT_EQ(Printable("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80") << "beyond the last character";
    EXPECT_EQ(Printable("\x80"), "\\x80");
}

TEST(TextTest, WhateverTheBytesTheResultIsPrintable) {
    std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same bytes in each run
    for (int i = 0; i < 2000; ++i) {
        std::string bytes(random() % 40, ' ');
        for (char& c : bytes) {
            c = static_cast<char>(random());
        }
        const std::string text = Printable(bytes);
        EXPECT_TRUE(IsPrintable(text)) << HexBytes(bytes);
        EXPECT_EQ(Printable(text), text);
    }
}

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

TEST(TextTest, JoinPutsSeparatorsBetween) {
    EXPECT_EQ(Join({"a", "b", "c"}, ", "), "a, b, c");
    EXPECT_EQ(Join({"a"}, ", "), "a");
    EXPECT_EQ(Join({}, ", "), "");
}
