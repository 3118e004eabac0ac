#include "diag/record/Printable.h"

#include <gtest/gtest.h>

#include <random>

using namespace Diag;

TEST(PrintableTest, BytesAreUpperCasePairs) {
    EXPECT_EQ(HexBytes(std::string("\x00\x3B\xff", 3)), "00 3B FF");
    EXPECT_EQ(HexBytes(""), "");
}

TEST(PrintableTest, PlainAndAccentedTextStaysAsItIs) {
    for (const char* const text :
         {"REINER SCT cyberJack 00 00", "Gerät für Prüfungen", "読取装置", "€ 5", "\xF0\x9F\x92\xB3"}) {
        EXPECT_EQ(Printable(text), text);
        EXPECT_TRUE(IsPrintable(text)) << text;
    }
}

TEST(PrintableTest, TerminatingZerosAreLeftOut) {
    EXPECT_EQ(Printable(std::string("Vantor\0\0", 8)), "Vantor");
    EXPECT_TRUE(IsPrintable(std::string("Vantor\0", 7)));
    EXPECT_EQ(Printable(std::string("\0\0", 2)), "");
}

TEST(PrintableTest, WhatCouldSteerATerminalIsEscaped) {
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

TEST(PrintableTest, WhatIsNotSeenOrTurnsTheDirectionOfWritingIsEscaped) {
    for (const char* const text : {"\xC2\x85", "\xC2\xAD", "\xD8\x9C", "\xE1\xA0\x8E", "\xE2\x80\x8F", "\xE2\x80\xA8",
                                   "\xE2\x81\xA0", "\xEF\xBB\xBF", "\xEF\xBF\xB9", "\xF3\xA0\x81\x81"}) {
        EXPECT_FALSE(IsPrintable(text)) << HexBytes(text);
    }
}

TEST(PrintableTest, PunctuationBesideTheControlCharactersStays) {
    EXPECT_EQ(Printable("5 \xE2\x80\xB0 \xE2\x80\xB9x\xE2\x80\xBA \xC2\xA0"),
              "5 \xE2\x80\xB0 \xE2\x80\xB9x\xE2\x80\xBA \xC2\xA0");
    EXPECT_EQ(Printable("\xE2\x80\x93 \xE2\x80\x9E"
                        "a\xE2\x80\x9C \xE2\x80\xA6"),
              "\xE2\x80\x93 \xE2\x80\x9E"
              "a\xE2\x80\x9C \xE2\x80\xA6");
}

TEST(PrintableTest, BytesThatAreNoUtf8AreEscaped) {
    EXPECT_EQ(Printable("Ger\xE4t"), "Ger\\xE4t");
    EXPECT_EQ(Printable("\xC3"), "\\xC3") << "cut off";
    EXPECT_EQ(Printable("\xC0\xAF"), "\\xC0\\xAF") << "overlong";
    EXPECT_EQ(Printable("\xE0\x80\xAF"), "\\xE0\\x80\\xAF") << "overlong";
    EXPECT_EQ(Printable("\xED\xA0\x80"), "\\xED\\xA0\\x80") << "half of a surrogate pair";
    EXPECT_EQ(Printable("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80") << "beyond the last character";
    EXPECT_EQ(Printable("\x80"), "\\x80");
}

TEST(PrintableTest, WhateverTheBytesTheResultIsPrintable) {
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
