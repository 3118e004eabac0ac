#include "util/Conversion.h"
#include "tests/unit/util/TurkishLocale.h"

#include <bitset>
#include <climits>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using namespace Vantor;

namespace {

/// A code point's UTF-8 bytes, put together from patterns of binary digits: "*" takes the next bit of the value.
std::string FillPatterns(const std::vector<std::string>& patterns, unsigned int value) {
    std::size_t left = 0;
    for (const auto& pattern : patterns)
        for (const char c : pattern)
            left += c == '*' ? 1U : 0U;
    std::string bytes;
    for (std::string pattern : patterns) {
        for (char& c : pattern)
            if (c == '*')
                c = (value >> --left & 1) != 0 ? '1' : '0';
        bytes.push_back(static_cast<char>(std::bitset<8>(pattern).to_ulong()));
    }
    return bytes;
}

std::string WantedUtf8(unsigned int codepoint) {
    if (codepoint < 0x80)
        return FillPatterns({"0*******"}, codepoint);
    if (codepoint < 0x800)
        return FillPatterns({"110*****", "10******"}, codepoint);
    if (codepoint < 0x10000)
        return FillPatterns({"1110****", "10******", "10******"}, codepoint);
    return FillPatterns({"11110***", "10******", "10******", "10******"}, codepoint);
}

} // namespace

TEST(Conversion, hex2intReadsWhatStrtolReads) {
    EXPECT_EQ(hex2int("1f"), 0x1F);
    EXPECT_EQ(hex2int("1F"), 0x1F);
    EXPECT_EQ(hex2int("0x1F"), 0x1F);
    EXPECT_EQ(hex2int("-1f"), -0x1F);
    EXPECT_EQ(hex2int("+0X10"), 0x10);
    EXPECT_EQ(hex2int(" \t7fffffff"), INT_MAX);
}

TEST(Conversion, hex2intStopsAtTheFirstForeignCharacter) {
    EXPECT_EQ(hex2int("12xyz"), 0x12);
    EXPECT_EQ(hex2int("12 34"), 0x12);
    EXPECT_EQ(hex2int("0x"), 0);
}

TEST(Conversion, hex2intOfNoDigitsIsZero) {
    EXPECT_EQ(hex2int(""), 0);
    EXPECT_EQ(hex2int("xyz"), 0);
    EXPECT_EQ(hex2int("- 1"), 0);
    EXPECT_EQ(hex2int(nullptr), 0);
}

TEST(Conversion, hex2intTakesTextThatMayBeWritten) {
    char text[] = "ff";
    EXPECT_EQ(hex2int(text), 255);
}

TEST(Conversion, hex2intCutsALongToAnInt) {
    const int wanted = static_cast<int>(std::strtol("FFFFFFFF", nullptr, 16));
    EXPECT_EQ(hex2int("FFFFFFFF"), wanted);
}

TEST(Conversion, int2binHasNoLeadingZerosAndNoDigitForZero) {
    EXPECT_EQ(int2bin(0), "");
    EXPECT_EQ(int2bin(1), "1");
    EXPECT_EQ(int2bin(2), "10");
    EXPECT_EQ(int2bin(5), "101");
    EXPECT_EQ(int2bin(0x80000000), "1" + std::string(31, '0'));
    EXPECT_EQ(int2bin(0xFFFFFFFF), std::string(32, '1'));
}

TEST(Conversion, int2binIsReadBackByBothReaders) {
    for (unsigned int n = 1; n < 0x80000000 / 3; n = 3 * n + 1) {
        const std::string digits = int2bin(n);
        EXPECT_EQ(digits.front(), '1');
        EXPECT_EQ(bin2int(digits), static_cast<int>(n));
        EXPECT_EQ(bin2dec(digits.c_str()), static_cast<int>(n));
    }
}

TEST(Conversion, bin2intReadsBinaryDigits) {
    EXPECT_EQ(bin2int(""), 0);
    EXPECT_EQ(bin2int("0"), 0);
    EXPECT_EQ(bin2int("101"), 5);
    EXPECT_EQ(bin2int("000101"), 5);
    EXPECT_EQ(bin2int(std::string(31, '1')), INT_MAX);
}

TEST(Conversion, bin2intCountsHigherDigitsWithTheirValue) {
    EXPECT_EQ(bin2int("12"), 4);
    EXPECT_EQ(bin2int("102"), 6);
    EXPECT_EQ(bin2int("99"), 27);
}

TEST(Conversion, bin2intCountsOtherCharactersAsZero) {
    EXPECT_EQ(bin2int("1 1"), 5);
    EXPECT_EQ(bin2int("abc"), 0);
    EXPECT_EQ(bin2int("-1"), 1);
    EXPECT_EQ(bin2int("f1"), 1);
    EXPECT_EQ(bin2int(std::string("1\0001", 3)), 5) << "a zero byte is a character like any other";
    EXPECT_EQ(bin2int("\xB2\xB9" // superscript 2 and 1 in Latin-1
                      "1"),
              1);
}

TEST(Conversion, bin2intCountsModuloTwoToTheThirtyTwo) {
    EXPECT_EQ(bin2int("1" + std::string(32, '0')), 0);
    EXPECT_EQ(bin2int(std::string(32, '1')), -1);
    EXPECT_EQ(bin2int("1" + std::string(31, '0')), INT_MIN);
    EXPECT_EQ(bin2int(std::string(5000, '0') + "11"), 3);
    EXPECT_EQ(bin2int(std::string(5000, '1') + "00"), -4);
}

TEST(Conversion, bin2decReadsBinaryDigits) {
    EXPECT_EQ(bin2dec("0"), 0);
    EXPECT_EQ(bin2dec("101"), 5);
    EXPECT_EQ(bin2dec("000101"), 5);
    EXPECT_EQ(bin2dec(std::string(31, '1').c_str()), INT_MAX);
    char text[] = "11";
    EXPECT_EQ(bin2dec(text), 3);
}

TEST(Conversion, bin2decOfNothingIsZero) {
    EXPECT_EQ(bin2dec(""), 0);
    EXPECT_EQ(bin2dec(nullptr), 0);
}

TEST(Conversion, bin2decRejectsAllButBinaryDigits) {
    for (const char* text : {"102", "2", "1 1", " 1", "-1", "1a", "x"})
        EXPECT_EQ(bin2dec(text), -1) << text;
}

TEST(Conversion, int2strEncodesInUtf8) {
    EXPECT_EQ(int2str(65), "A");
    EXPECT_EQ(int2str(0xE9), "\xC3\xA9");
    EXPECT_EQ(int2str(0x20AC), "\xE2\x82\xAC");
    EXPECT_EQ(int2str(0x1F600), "\xF0\x9F\x98\x80");
}

TEST(Conversion, int2strChangesItsLengthWhereUtf8Does) {
    EXPECT_EQ(int2str(0x7F), "\x7F");
    EXPECT_EQ(int2str(0x80), "\xC2\x80");
    EXPECT_EQ(int2str(0x7FF), "\xDF\xBF");
    EXPECT_EQ(int2str(0x800), "\xE0\xA0\x80");
    EXPECT_EQ(int2str(0xFFFF), "\xEF\xBF\xBF");
    EXPECT_EQ(int2str(0x10000), "\xF0\x90\x80\x80");
    EXPECT_EQ(int2str(0x10FFFF), "\xF4\x8F\xBF\xBF");
}

TEST(Conversion, int2strFillsTheBitPatternsOfEveryLength) {
    for (unsigned int codepoint = 0; codepoint < 0x200000; codepoint += codepoint < 0x11000 ? 1 : 61)
        ASSERT_EQ(int2str(static_cast<int>(codepoint)), WantedUtf8(codepoint)) << codepoint;
}

TEST(Conversion, int2strOfZeroIsOneZeroByte) {
    EXPECT_EQ(int2str(0), std::string(1, '\0'));
}

TEST(Conversion, int2strOfANegativeValueIsItsLowByte) {
    EXPECT_EQ(int2str(-1), "\xFF");
    EXPECT_EQ(int2str(-191), "A");
    EXPECT_EQ(int2str(INT_MIN), std::string(1, '\0'));
}

TEST(Conversion, int2strDropsTheBitsAboveTheTwentyFirst) {
    EXPECT_EQ(int2str(0x1FFFFF), "\xF7\xBF\xBF\xBF");
    EXPECT_EQ(int2str(0x200000), "\xF0\x80\x80\x80");
    EXPECT_EQ(int2str(INT_MAX), "\xF7\xBF\xBF\xBF");
}

TEST(Conversion, int2strEncodesSurrogatesToo) {
    EXPECT_EQ(int2str(0xD800), "\xED\xA0\x80");
}

namespace {

void ExpectAsciiDigitsAndLettersOnly() {
    for (int value = 0; value < 256; ++value) {
        const char c = static_cast<char>(value);
        EXPECT_EQ(Vantor::isdigit(c), value >= 48 && value <= 57) << value;
        EXPECT_EQ(Vantor::isalpha(c), (value >= 65 && value <= 90) || (value >= 97 && value <= 122)) << value;
    }
}

} // namespace

TEST(Conversion, DigitsAndLettersAreThoseOfAscii) {
    ExpectAsciiDigitsAndLettersOnly();
}

TEST_F(TurkishLocale, HasNoOtherDigitsAndLettersThanAscii) {
    ExpectAsciiDigitsAndLettersOnly();
}

TEST_F(TurkishLocale, LeavesNumbersAlone) {
    EXPECT_EQ(hex2int(" fF"), 255);
    EXPECT_EQ(bin2int("\xA0" // a blank that does not break
                      "1"),
              1);
    EXPECT_EQ(bin2dec("\xA0"
                      "1"),
              -1);
}

TEST(Conversion, ReverseBytesTurnsTheOrderAround) {
    unsigned char bytes[] = {1, 2, 3, 4, 5};
    ReverseBytes(bytes, 4);
    EXPECT_EQ(std::vector<unsigned char>(bytes, bytes + 5), (std::vector<unsigned char>{4, 3, 2, 1, 5}));
    ReverseBytes(bytes, 3);
    EXPECT_EQ(std::vector<unsigned char>(bytes, bytes + 5), (std::vector<unsigned char>{2, 3, 4, 1, 5}));
}

TEST(Conversion, ReverseBytesOfLessThanTwoDoesNothing) {
    unsigned char bytes[] = {1, 2};
    for (const int length : {1, 0, -1, INT_MIN})
        ReverseBytes(bytes, length);
    EXPECT_EQ(bytes[0], 1);
    EXPECT_EQ(bytes[1], 2);
    ReverseBytes(nullptr, 0);
}

TEST(Conversion, SwitchEndianReversesFourBytes) {
    EXPECT_EQ(SwitchEndian(0x11223344), 0x44332211U);
    EXPECT_EQ(SwitchEndian(0xFF), 0xFF000000U);
    EXPECT_EQ(SwitchEndian(0xFF000000), 0xFFU);
    EXPECT_EQ(SwitchEndian(SwitchEndian(0x12345678)), 0x12345678U);
}

TEST(Conversion, SwitchEndianIgnoresWhatALongHasAboveThirtyTwoBits) {
    EXPECT_EQ(SwitchEndian(~0UL), 0xFFFFFFFFU);
    EXPECT_EQ(SwitchEndian(~0xFFFFFFFFUL | 0x11223344), 0x44332211U);
}
