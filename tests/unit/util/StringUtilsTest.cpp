#include "util/StringUtils.h"
#include "tests/support/Valgrind.h"
#include "tests/unit/util/ProcessorTime.h"
#include "tests/unit/util/TurkishLocale.h"

#include <climits>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <random>
#include <set>
#include <string>

using namespace Vantor;

// At each search the sanitizer would look at all of the text, which makes many searches in a long one quadratic.
extern "C" const char* __asan_default_options();  // NOLINT(bugprone-reserved-identifier)
extern "C" const char* __asan_default_options() { // NOLINT(bugprone-reserved-identifier)
    return "intercept_memmem=0";
}

namespace {

constexpr std::size_t NONE = std::string::npos;

const std::string WHITE_SPACE = " \t\n\v\f\r";

int Sign(int value) {
    return (value > 0) - (value < 0);
}

/// Text over few letters, so that parts of it recur.
std::string RandomText(std::mt19937& generator, std::size_t length, const std::string& letters) {
    std::string text;
    for (std::size_t i = 0; i < length; ++i)
        text.push_back(letters[generator() % letters.size()]);
    return text;
}

long Memfind(const std::string& hay, const std::string& needle, long start) {
    return MyMemfind(hay.data(), static_cast<long>(hay.size()), needle.data(), static_cast<long>(needle.size()), start);
}

void ExpectOnlyAsciiLettersChangeCase() {
    for (int value = 0; value < 256; ++value) {
        const bool upper = value >= 'A' && value <= 'Z';
        const bool lower = value >= 'a' && value <= 'z';
        const std::string c(1, static_cast<char>(value));
        EXPECT_EQ(Str2Lower(c), std::string(1, static_cast<char>(upper ? value + 32 : value))) << value;
        EXPECT_EQ(Str2Upper(c), std::string(1, static_cast<char>(lower ? value - 32 : value))) << value;
    }
}

void ExpectOnlyAsciiWhiteSpaceIsTrimmed() {
    for (int value = 0; value < 256; ++value) {
        const char c = static_cast<char>(value);
        const bool blank = value != 0 && WHITE_SPACE.find(c) != NONE;
        const std::string inside = "a" + std::string(1, c) + "b";
        const std::string text = std::string(1, c) + inside + std::string(1, c);
        EXPECT_EQ(TrimSpaces(text), blank ? inside : text) << value;
        std::string end = text;
        RemoveTrailingSpaces(end);
        EXPECT_EQ(end, blank ? std::string(1, c) + inside : text) << value;
    }
}

/// A random text and the second in which it was drawn.
std::string RandomStringAt(std::time_t& second, int length) {
    for (;;) {
        second = std::time(nullptr);
        std::string text = GenerateRandomString(length);
        if (std::time(nullptr) == second)
            return text;
    }
}

} // namespace

TEST(StringUtils, nocase_cmpIgnoresCase) {
    EXPECT_EQ(nocase_cmp("ReaderName", "READERname", 0), 0);
    EXPECT_EQ(nocase_cmp("", "", 0), 0);
    EXPECT_EQ(Sign(nocase_cmp("abc", "ABD", 0)), -1);
    EXPECT_EQ(Sign(nocase_cmp("B", "a", 0)), 1);
}

TEST(StringUtils, nocase_cmpPutsAPrefixFirst) {
    EXPECT_EQ(Sign(nocase_cmp("ab", "ABC", 0)), -1);
    EXPECT_EQ(Sign(nocase_cmp("abc", "AB", 0)), 1);
    EXPECT_EQ(Sign(nocase_cmp("", "a", 0)), -1);
}

TEST(StringUtils, nocase_cmpComparesLowerCaseAsUnsignedBytes) {
    EXPECT_EQ(Sign(nocase_cmp("A", "_", 0)), 1) << "\"_\" stands between the upper and the lower letters";
    EXPECT_EQ(Sign(nocase_cmp("\xE4", "z", 0)), 1);
}

TEST(StringUtils, nocase_cmpLooksAtTheFirstCharactersOnly) {
    EXPECT_EQ(nocase_cmp("ABCx", "abcy", 3), 0);
    EXPECT_EQ(Sign(nocase_cmp("ABCx", "abcy", 4)), -1);
    EXPECT_EQ(nocase_cmp("ABC", "abc", 100), 0);
    EXPECT_EQ(Sign(nocase_cmp("ab", "ABC", 3)), -1);
}

TEST(StringUtils, nocase_cmpComparesAllWithoutAPositiveNumber) {
    for (const int n : {0, -1, INT_MIN})
        EXPECT_EQ(Sign(nocase_cmp("ABCx", "abcy", n)), -1) << n;
}

TEST(StringUtils, nocase_cmpEndsAtAZeroByte) {
    const std::string left("ab\0x", 4);
    const std::string right("AB\0y", 4);
    EXPECT_EQ(nocase_cmp(left, right, 0), 0);
    EXPECT_EQ(nocase_cmp(left, right, 4), 0);
}

TEST(StringUtils, nocase_findFindsTheFirstFromAPosition) {
    EXPECT_EQ(nocase_find("xxREADERxxreader", "Reader", 0), 2U);
    EXPECT_EQ(nocase_find("xxREADERxxreader", "Reader", 2), 2U);
    EXPECT_EQ(nocase_find("xxREADERxxreader", "Reader", 3), 10U);
    EXPECT_EQ(nocase_find("xxREADERxxreader", "Reader", 11), NONE);
}

TEST(StringUtils, nocase_findReportsWhatIsAbsent) {
    EXPECT_EQ(nocase_find("abc", "d", 0), NONE);
    EXPECT_EQ(nocase_find("abc", "abcd", 0), NONE);
    EXPECT_EQ(nocase_find("", "a", 0), NONE);
    EXPECT_EQ(nocase_find("abc", "a", 100), NONE);
    EXPECT_EQ(nocase_find("abc", "a", NONE), NONE);
}

TEST(StringUtils, nocase_findOfNothingIsThePositionItself) {
    EXPECT_EQ(nocase_find("abc", "", 0), 0U);
    EXPECT_EQ(nocase_find("abc", "", 3), 3U);
    EXPECT_EQ(nocase_find("abc", "", 4), NONE);
}

TEST(StringUtils, nocase_findAgreesWithFindingInLowerCase) {
    std::mt19937 generator(1);
    for (int i = 0; i < 20000; ++i) {
        const std::string text = RandomText(generator, generator() % 30, "aAbB");
        const std::string what = RandomText(generator, generator() % 6, "aAbB");
        const std::size_t from = generator() % 8;
        ASSERT_EQ(nocase_find(text, what, from), Str2Lower(text).find(Str2Lower(what), from))
            << what << " in " << text << " from " << from;
    }
}

TEST(StringUtils, nocase_StartsWithIgnoresCase) {
    EXPECT_TRUE(nocase_StartsWith("Reader0", "READER"));
    EXPECT_TRUE(nocase_StartsWith("Reader", "reader"));
    EXPECT_FALSE(nocase_StartsWith("Reade", "Reader"));
    EXPECT_FALSE(nocase_StartsWith("xReader", "Reader"));
}

TEST(StringUtils, nocase_EndsWithIgnoresCase) {
    EXPECT_TRUE(nocase_EndsWith("lumop11.LOG", ".log"));
    EXPECT_TRUE(nocase_EndsWith(".Log", ".lOG"));
    EXPECT_FALSE(nocase_EndsWith("log", ".log"));
    EXPECT_FALSE(nocase_EndsWith("a.logx", ".log"));
}

TEST(StringUtils, EveryTextStartsAndEndsWithNothing) {
    EXPECT_TRUE(nocase_StartsWith("abc", ""));
    EXPECT_TRUE(nocase_EndsWith("abc", ""));
    EXPECT_TRUE(nocase_StartsWith("", ""));
    EXPECT_TRUE(nocase_EndsWith("", ""));
}

TEST(StringUtils, ChangesTheCaseOfAsciiLettersOnly) {
    EXPECT_EQ(Str2Upper("aZ-9\xC3\xA4"), "AZ-9\xC3\xA4");
    EXPECT_EQ(Str2Lower("AZ-9\xC3\x84"), "az-9\xC3\x84");
    EXPECT_EQ(Str2Upper(""), "");
    EXPECT_EQ(Str2Lower(std::string("A\0B", 3)), std::string("a\0b", 3));
    ExpectOnlyAsciiLettersChangeCase();
}

TEST_F(TurkishLocale, DoesNotChangeLetterCase) {
    ExpectOnlyAsciiLettersChangeCase();
    EXPECT_EQ(nocase_cmp("TITLE", "title", 0), 0);
    EXPECT_EQ(nocase_find("xTITLE", "title", 0), 1U);
    EXPECT_TRUE(nocase_StartsWith("TITLE", "ti"));
    EXPECT_TRUE(nocase_EndsWith("XI", "xi"));
    EXPECT_NE(nocase_cmp("\xDC", "\xFC", 0), 0);
    EXPECT_FALSE(nocase_StartsWith("\xDC", "\xFC"));
}

TEST_F(TurkishLocale, DoesNotChangeWhatIsWhiteSpace) {
    ExpectOnlyAsciiWhiteSpaceIsTrimmed();
}

TEST_F(TurkishLocale, DoesNotChangeDigitsAndLetters) {
    EXPECT_FALSE(IsAlpha('\xFC'));
    EXPECT_FALSE(IsDigit('\xB2'));
}

TEST(StringUtils, stripXMLRequestKeepsFromTheFirstMarkToTheLast) {
    EXPECT_EQ(stripXMLRequest("HTTP/1.1 200\r\n\r\n<a><b/></a>\r\ntail"), "<a><b/></a>");
    EXPECT_EQ(stripXMLRequest("<a>"), "<a>");
    EXPECT_EQ(stripXMLRequest("x<a>y<b>z"), "<a>y<b>");
}

TEST(StringUtils, stripXMLRequestCutsNothingWhereAMarkIsMissing) {
    EXPECT_EQ(stripXMLRequest("plain"), "plain");
    EXPECT_EQ(stripXMLRequest("x<a"), "<a");
    EXPECT_EQ(stripXMLRequest("a>x"), "a>");
    EXPECT_EQ(stripXMLRequest(""), "");
}

TEST(StringUtils, stripXMLRequestLeavesNothingBetweenMarksInTheWrongOrder) {
    EXPECT_EQ(stripXMLRequest("a>b<c"), "");
}

TEST(StringUtils, TrimSpacesTrimsBothEnds) {
    EXPECT_EQ(TrimSpaces(" \t\n\v\f\ra b\r\f\v\n\t "), "a b");
    EXPECT_EQ(TrimSpaces("ab"), "ab");
    EXPECT_EQ(TrimSpaces(WHITE_SPACE), "");
    EXPECT_EQ(TrimSpaces(""), "");
    ExpectOnlyAsciiWhiteSpaceIsTrimmed();
}

TEST(StringUtils, RemoveTrailingSpacesWorksInPlace) {
    std::string text = " a b \t\r\n";
    RemoveTrailingSpaces(text);
    EXPECT_EQ(text, " a b");
    RemoveTrailingSpaces(text);
    EXPECT_EQ(text, " a b");

    std::string blanks = WHITE_SPACE;
    RemoveTrailingSpaces(blanks);
    EXPECT_EQ(blanks, "");
    RemoveTrailingSpaces(blanks);
    EXPECT_EQ(blanks, "");
}

TEST(StringUtils, replaceAllReplacesEveryOccurrence) {
    EXPECT_EQ(replaceAll("a\\b\\c", "\\", "/"), "a/b/c");
    EXPECT_EQ(replaceAll("abab", "ab", ""), "");
    EXPECT_EQ(replaceAll("xaby", "ab", "1234"), "x1234y");
    EXPECT_EQ(replaceAll("abc", "d", "e"), "abc");
    EXPECT_EQ(replaceAll("", "a", "b"), "");
    EXPECT_EQ(replaceAll(std::string("a\0b", 3), std::string(1, '\0'), "-"), "a-b");
}

TEST(StringUtils, replaceAllGoesFromLeftToRight) {
    EXPECT_EQ(replaceAll("aaa", "aa", "b"), "ba");
    EXPECT_EQ(replaceAll("aaaa", "aa", "a"), "aa") << "what was inserted is not searched again";
}

TEST(StringUtils, replaceAllEndsWhereTheNewTextHoldsTheOld) {
    EXPECT_EQ(replaceAll("a/b", "/", "//"), "a//b");
    EXPECT_EQ(replaceAll("xx", "x", "xx"), "xxxx");
}

TEST(StringUtils, replaceAllOfNothingReturnsTheText) {
    EXPECT_EQ(replaceAll("abc", "", "x"), "abc");
    EXPECT_EQ(replaceAll("", "", "x"), "");
}

TEST(StringUtils, replaceAllAgreesWithReplacingStepByStep) {
    std::mt19937 generator(2);
    for (int i = 0; i < 20000; ++i) {
        const std::string text = RandomText(generator, generator() % 30, "ab");
        const std::string from = RandomText(generator, 1 + generator() % 3, "ab");
        const std::string to = RandomText(generator, generator() % 4, "abc");
        std::string wanted = text;
        for (std::size_t at = 0; (at = wanted.find(from, at)) != NONE; at += to.size())
            wanted.replace(at, from.size(), to);
        ASSERT_EQ(replaceAll(text, from, to), wanted) << from << " by " << to << " in " << text;
    }
}

TEST(StringUtils, VALUESHasLettersAndTheDigitsOneToNine) {
    const std::string values = VALUES;
    EXPECT_EQ(values, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz123456789");
    EXPECT_EQ(values.size(), 61U);
    EXPECT_EQ(std::set<char>(values.begin(), values.end()).size(), 61U);
}

TEST(StringUtils, GenerateRandomStringHasTheLengthAskedFor) {
    EXPECT_EQ(GenerateRandomString(1).size(), 1U);
    EXPECT_EQ(GenerateRandomString(100).size(), 100U);
    EXPECT_EQ(GenerateRandomString().size(), 10U);
}

TEST(StringUtils, GenerateRandomStringBelowOneIsEmpty) {
    for (const int n : {0, -1, INT_MIN})
        EXPECT_EQ(GenerateRandomString(n), "") << n;
}

TEST(StringUtils, GenerateRandomStringDrawsEveryValueButNeverAZero) {
    const std::string text = GenerateRandomString(100000);
    EXPECT_EQ(text.find('0'), NONE);
    EXPECT_EQ(text.find_first_not_of(VALUES), NONE);
    EXPECT_EQ(std::set<char>(text.begin(), text.end()).size(), 61U);
}

TEST(StringUtils, GenerateRandomStringIsTheSameWithinASecond) {
    std::time_t first = 0;
    std::time_t second = 1;
    std::string one;
    std::string two;
    while (first != second) {
        one = RandomStringAt(first, 10);
        two = RandomStringAt(second, 10);
    }
    EXPECT_EQ(one, two);
}

TEST(StringUtils, GenerateRandomStringDrawsFromTheGeneratorSeededWithTheTime) {
    std::time_t second = 0;
    const std::string text = RandomStringAt(second, 50);

    std::srand(static_cast<unsigned int>(second));
    std::string wanted;
    for (int i = 0; i < 50; ++i)
        wanted.push_back(VALUES[std::rand() % 61]);
    EXPECT_EQ(text, wanted);
}

TEST(StringUtils, GenerateRandomStringWithoutALengthIsTheOneOfTen) {
    std::time_t first = 0;
    std::time_t second = 1;
    std::string text;
    std::string ten;
    while (first != second) {
        first = std::time(nullptr);
        text = GenerateRandomString();
        ten = RandomStringAt(second, 10);
    }
    EXPECT_EQ(text, ten);
}

TEST(StringUtils, MyMemfindFindsTheFirstAtOrAfterTheStart) {
    const std::string hay("ab\0cab\0c", 8);
    const std::string needle("b\0c", 3);
    EXPECT_EQ(Memfind(hay, needle, 0), 1);
    EXPECT_EQ(Memfind(hay, needle, 1), 1);
    EXPECT_EQ(Memfind(hay, needle, 2), 5);
    EXPECT_EQ(Memfind(hay, hay, 0), 0);
}

TEST(StringUtils, MyMemfindTakesBytesThatMayBeWritten) {
    char hay[] = "xyz";
    char needle[] = "z";
    EXPECT_EQ(MyMemfind(hay, 3, needle, 1, 0), 2);
}

TEST(StringUtils, MyMemfindCountsANegativeStartAsZero) {
    EXPECT_EQ(Memfind("abc", "a", -1), 0);
    EXPECT_EQ(Memfind("abc", "c", LONG_MIN), 2);
}

TEST(StringUtils, MyMemfindReportsNoMatch) {
    EXPECT_EQ(Memfind("abc", "d", 0), -1);
    EXPECT_EQ(Memfind("abc", "A", 0), -1) << "case counts";
}

TEST(StringUtils, MyMemfindReportsWhatCannotFit) {
    EXPECT_EQ(Memfind("abc", "abcd", 0), -1);
    EXPECT_EQ(Memfind("abcabc", "abc", 4), -1);
    EXPECT_EQ(Memfind("abc", "c", 3), -1) << "a start at the end";
    EXPECT_EQ(Memfind("abc", "c", LONG_MAX), -1);
    EXPECT_EQ(Memfind("", "", 0), -1) << "no start lies below a length of 0";
}

TEST(StringUtils, MyMemfindReportsNegativeLengths) {
    EXPECT_EQ(MyMemfind("abc", -1, "a", 1, 0), -1);
    EXPECT_EQ(MyMemfind("abc", 3, "a", -1, 0), -1);
    EXPECT_EQ(MyMemfind("abc", -1, "a", -2, -3), -1);
}

TEST(StringUtils, MyMemfindDoesNotReadBehindTheHaystack) {
    EXPECT_EQ(MyMemfind("abcd", 3, "d", 1, 0), -1);
    EXPECT_EQ(MyMemfind("abcd", 3, "cd", 2, 0), -1);
}

TEST(StringUtils, MyMemfindFindsNothingAtTheStart) {
    EXPECT_EQ(Memfind("abc", "", 0), 0);
    EXPECT_EQ(Memfind("abc", "", 2), 2);
    EXPECT_EQ(MyMemfind("abc", 3, nullptr, 0, 1), 1);
    EXPECT_EQ(Memfind("abc", "", 3), -1);
}

TEST(StringUtils, IsDigitAndIsAlphaKnowAsciiOnly) {
    for (int value = 0; value < 256; ++value) {
        const char c = static_cast<char>(value);
        EXPECT_EQ(IsDigit(c), value >= 48 && value <= 57) << value;
        EXPECT_EQ(IsAlpha(c), (value >= 65 && value <= 90) || (value >= 97 && value <= 122)) << value;
    }
}

TEST(StringUtils, StringContainsCharLooksAtEveryCharacter) {
    EXPECT_TRUE(StringContainsChar("abc", 'a'));
    EXPECT_TRUE(StringContainsChar("abc", 'c'));
    EXPECT_FALSE(StringContainsChar("abc", 'C'));
    EXPECT_FALSE(StringContainsChar("abc", '\0'));
    EXPECT_TRUE(StringContainsChar(std::string("a\0b", 3), 'b'));
    EXPECT_FALSE(StringContainsChar("", 'a'));
}

TEST(StringUtils, IsQuickAlsoWhereTextsNearlyMatchEverywhere) {
    NOT_UNDER_VALGRIND("measures time");
    const std::string text(4U << 20, 'a');
    const std::string what = std::string(1U << 20, 'A') + "B";
    const double seconds = ProcessorSeconds([&] {
        EXPECT_EQ(nocase_find(text, what, 0), NONE);
        EXPECT_EQ(replaceAll(text, Str2Lower(what), ""), text);
        EXPECT_EQ(replaceAll(text, "a", "bb").size(), 2 * text.size());
        EXPECT_EQ(Memfind(text, Str2Lower(what), 0), -1);
        EXPECT_EQ(TrimSpaces(std::string(text.size(), ' ')), "");
    });
    EXPECT_LT(seconds, 20);
}
