#include "util/ByteArray.h"
#include "tests/support/Valgrind.h"
#include "tests/unit/util/ProcessorTime.h"
#include "tests/unit/util/TurkishLocale.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iomanip>
#include <numeric>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

using Vantor::ByteArray;
using Bytes = std::vector<unsigned char>;

namespace {

constexpr unsigned short UPPER_SPACED = ByteArray::UPPERCASE;
constexpr unsigned short UPPER_CLOSE = ByteArray::UPPERCASE | ByteArray::NOT_SPACED;

/// Bytes in an order that repeats for nobody but this test.
Bytes RandomBytes(std::size_t count) {
    std::mt19937 generator(static_cast<unsigned int>(count) + 1);
    Bytes bytes(count);
    for (auto& byte : bytes)
        byte = static_cast<unsigned char>(generator());
    return bytes;
}

ByteArray FromHex(const std::string& text) {
    ByteArray array;
    array.FromHexString(text);
    return array;
}

/// The text as a formatted stream writes it.
std::string HexByStream(const Bytes& bytes, unsigned short flags) {
    std::ostringstream text;
    text << std::hex << std::setfill('0');
    if ((flags & ByteArray::UPPERCASE) != 0)
        text << std::uppercase;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i > 0 && (flags & ByteArray::NOT_SPACED) == 0)
            text << ' ';
        text << std::setw(2) << static_cast<unsigned int>(bytes[i]);
    }
    return text.str();
}

/// A folder of its own for each test, removed afterwards.
class ByteArrayFile : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (std::filesystem::temp_directory_path() / "bytes.XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    std::string Write(const Bytes& content) const {
        const std::string path = (folder / "content").string();
        std::ofstream file(path, std::ios::binary);
        file.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
        return path;
    }

    std::filesystem::path folder;
};

} // namespace

TEST(ByteArray, IsAVectorOfBytesAndNothingMore) {
    static_assert(std::is_base_of_v<Bytes, ByteArray>);
    static_assert(sizeof(ByteArray) == sizeof(Bytes));
    static_assert(!std::is_polymorphic_v<ByteArray>);

    ByteArray array;
    array.push_back(1);
    array.resize(3);
    array[2] = 7;
    EXPECT_EQ(array.size(), 3U);
    EXPECT_EQ(std::accumulate(array.begin(), array.end(), 0), 8);
    array.clear();
    EXPECT_TRUE(array.empty());
}

TEST(ByteArray, StartsEmpty) {
    EXPECT_TRUE(ByteArray().empty());
}

TEST(ByteArray, TakesTheBytesOfAStringAsTheyAre) {
    const ByteArray array(std::string("\x00\x01", 2));

    EXPECT_EQ(array, (Bytes{0x00, 0x01}));
    EXPECT_EQ(array.ToString(), std::string("\x00\x01", 2));
}

TEST(ByteArray, DoesNotParseTheStringItIsMadeFrom) {
    EXPECT_EQ(ByteArray(std::string("0A\xFF")), (Bytes{'0', 'A', 0xFF}));
    EXPECT_TRUE(ByteArray(std::string()).empty());
}

TEST(ByteArray, TakesTwoBytesLowFirstFromEachWideCharacter) {
    EXPECT_EQ(ByteArray(std::wstring(L"\u0041\u20AC")), (Bytes{0x41, 0x00, 0xAC, 0x20}));
    EXPECT_EQ(ByteArray(std::wstring(1, L'\0')), (Bytes{0x00, 0x00}));
}

TEST(ByteArray, DropsTheBitsAboveSixteenOfAWideCharacter) {
    EXPECT_EQ(ByteArray(std::wstring(L"\U0001F600")), (Bytes{0x00, 0xF6}));
}

TEST(ByteArray, TakesTheBytesOfAVector) {
    Bytes source{1, 2, 3};
    const ByteArray array(source);
    source[0] = 9;
    EXPECT_EQ(array, (Bytes{1, 2, 3}));
}

TEST(ByteArray, CopiesTheBytesAtAPointer) {
    unsigned char source[] = {5, 6, 7};
    const ByteArray array(source, 2UL);
    source[0] = 9;
    EXPECT_EQ(array, (Bytes{5, 6}));
    EXPECT_TRUE(ByteArray(source, 0UL).empty());
    EXPECT_TRUE(ByteArray(nullptr, 0UL).empty());
}

TEST(ByteArray, HoldsAsManyZeroBytesAsAskedFor) {
    EXPECT_EQ(ByteArray(3U), (Bytes{0, 0, 0}));
    EXPECT_TRUE(ByteArray(0U).empty());
}

TEST(ByteArray, CopyHasBytesOfItsOwn) {
    ByteArray original(Bytes{1, 2});
    ByteArray copy = original;
    copy[0] = 9;
    EXPECT_EQ(original, (Bytes{1, 2}));
}

TEST(ByteArray, IsEqualOnlyWithTheSameBytesInTheSameNumber) {
    const ByteArray array(Bytes{1, 2});

    EXPECT_TRUE(array == ByteArray(Bytes{1, 2}));
    EXPECT_FALSE(array == ByteArray(Bytes{1, 3}));
    EXPECT_FALSE(array == ByteArray(Bytes{1}));
    EXPECT_FALSE(array == ByteArray(Bytes{1, 2, 0}));
    EXPECT_TRUE(ByteArray() == ByteArray());
}

TEST(ByteArray, IsUnequalWheneverItIsNotEqual) {
    const ByteArray array(Bytes{1, 2});

    EXPECT_FALSE(array != ByteArray(Bytes{1, 2}));
    EXPECT_TRUE(array != ByteArray(Bytes{1, 3}));
    EXPECT_TRUE(array != ByteArray(Bytes{1, 2, 0}));
    EXPECT_TRUE(array != (Bytes{1}));
    EXPECT_FALSE(array != (Bytes{1, 2}));
}

TEST(ByteArray, IsEqualToItselfAtOnce) {
    const ByteArray array(16U << 20);
    bool equal = true;
    const double seconds = ProcessorSeconds([&] {
        for (int i = 0; i < 100000; ++i)
            equal = equal && array == *&array;
    });
    EXPECT_TRUE(equal);
    EXPECT_LT(seconds, 5) << "the bytes were compared one by one";
}

TEST(ByteArray, ReadsHexTextInAllFormsItWrites) {
    EXPECT_EQ(FromHex("0a ff 00"), (Bytes{0x0A, 0xFF, 0x00}));
    EXPECT_EQ(FromHex("0A FF 00"), (Bytes{0x0A, 0xFF, 0x00}));
    EXPECT_EQ(FromHex("0aff00"), (Bytes{0x0A, 0xFF, 0x00}));
    EXPECT_EQ(FromHex("0AFF00"), (Bytes{0x0A, 0xFF, 0x00}));
    EXPECT_TRUE(FromHex("").empty());
}

TEST(ByteArray, AppendsWhatItReadsFromHexText) {
    ByteArray array(Bytes{0x01});
    array.FromHexString("0A ff 00");
    EXPECT_EQ(array, (Bytes{0x01, 0x0A, 0xFF, 0x00}));
}

TEST(ByteArray, TakesAnOddLastHexDigitAlone) {
    EXPECT_EQ(FromHex("abc"), (Bytes{0xAB, 0x0C}));
    EXPECT_EQ(FromHex("7"), (Bytes{0x07}));
    EXPECT_EQ(FromHex("ab c"), (Bytes{0xAB, 0x0C}));
}

TEST(ByteArray, ReadsZeroBehindABlankAtTheEndOfHexText) {
    EXPECT_EQ(FromHex("0A "), (Bytes{0x0A, 0x00}));
    EXPECT_EQ(FromHex(" "), (Bytes{0x00}));
}

TEST(ByteArray, StepsOverOneBlankBeforeAHexPairOnly) {
    EXPECT_EQ(FromHex(" 0A"), (Bytes{0x0A}));
    EXPECT_EQ(FromHex("0A  12"), (Bytes{0x0A, 0x01, 0x02})) << "the second blank belongs to the pair \" 1\"";
    EXPECT_EQ(FromHex("   5"), (Bytes{0x00, 0x05}));
}

TEST(ByteArray, RejectsNothingInHexText) {
    EXPECT_EQ(FromHex("zz"), (Bytes{0x00}));
    EXPECT_EQ(FromHex("5z"), (Bytes{0x05}));
    EXPECT_EQ(FromHex("z5"), (Bytes{0x00}));
    EXPECT_EQ(FromHex("0x1F"), (Bytes{0x00, 0x1F}));
    EXPECT_EQ(FromHex("-1"), (Bytes{0xFF}));
    EXPECT_EQ(FromHex("+1"), (Bytes{0x01}));
    EXPECT_EQ(FromHex("\t1"), (Bytes{0x01}));
    EXPECT_EQ(FromHex(std::string("\0001A", 3)), (Bytes{0x00, 0x0A})) << "a zero byte ends its pair only";
}

TEST(ByteArray, ReadsEveryPairOfCharactersAsStrtolDoes) {
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            const char pair[] = {static_cast<char>(first), static_cast<char>(second), '\0'};
            const auto wanted = static_cast<unsigned char>(std::strtol(pair, nullptr, 16));
            // A blank in front is stepped over, so that one may be the first character of the pair as well.
            const ByteArray got = FromHex(std::string(" ") + std::string(pair, 2));
            ASSERT_EQ(got, Bytes{wanted}) << "characters " << first << " and " << second;
        }
    }
}

TEST_F(TurkishLocale, LeavesHexTextAlone) {
    EXPECT_EQ(FromHex("aBiI\xDD\xFD"), (Bytes{0xAB, 0x00, 0x00}));
    EXPECT_EQ(ByteArray(Bytes{0xDD, 0x0F}).ToHexString(UPPER_SPACED), "DD 0F");
}

TEST(ByteArray, WritesHexTextInFourForms) {
    const ByteArray array(Bytes{0x0A, 0xFF, 0x00});

    EXPECT_EQ(array.ToHexString(0), "0a ff 00");
    EXPECT_EQ(array.ToHexString(1), "0A FF 00");
    EXPECT_EQ(array.ToHexString(2), "0aff00");
    EXPECT_EQ(array.ToHexString(3), "0AFF00");
}

TEST(ByteArray, NamesTheFlagsOfHexText) {
    static_assert(std::is_same_v<decltype(ByteArray::UPPERCASE), const unsigned short>);
    EXPECT_EQ(ByteArray::UPPERCASE, 1);
    EXPECT_EQ(ByteArray::NOT_SPACED, 2);
    EXPECT_EQ(ByteArray(Bytes{0xAB, 0xCD}).ToHexString(UPPER_CLOSE), "ABCD");
    EXPECT_EQ(ByteArray(Bytes{0xAB, 0xCD}).ToHexString(0xFFFC), "ab cd") << "other bits have no meaning";
}

TEST(ByteArray, WritesNoBlankAfterASingleByte) {
    EXPECT_EQ(ByteArray(Bytes{0x05}).ToHexString(0), "05");
    EXPECT_EQ(ByteArray(Bytes{0x05}).ToHexString(2), "05");
}

TEST(ByteArray, WritesHexTextAsAStreamWouldAndReadsItBack) {
    for (std::size_t size = 1; size <= 300; ++size) {
        const ByteArray array(RandomBytes(size));
        for (unsigned short flags = 0; flags < 4; ++flags) {
            const std::string text = array.ToHexString(flags);
            ASSERT_EQ(text, HexByStream(array, flags)) << size << " bytes, flags " << flags;
            ASSERT_EQ(FromHex(text), array) << size << " bytes, flags " << flags;
        }
    }
}

TEST(ByteArray, ThrowsWhenAnEmptyOneIsAskedForHexText) {
    const ByteArray empty;
    for (unsigned short flags = 0; flags < 4; ++flags)
        EXPECT_THROW(static_cast<void>(empty.ToHexString(flags)), std::out_of_range);
}

TEST(ByteArray, AddAppends) {
    ByteArray array(Bytes{1});
    array.Add(Bytes{2, 3});
    array.Add(Bytes{});
    EXPECT_EQ(array, (Bytes{1, 2, 3}));

    const unsigned char more[] = {4, 5, 6};
    array.Add(more, 2);
    array.Add(nullptr, 0);
    EXPECT_EQ(array, (Bytes{1, 2, 3, 4, 5}));
}

TEST(ByteArray, AddsItself) {
    ByteArray array(Bytes{1, 2, 3});
    array.shrink_to_fit();
    array.Add(array);
    EXPECT_EQ(array, (Bytes{1, 2, 3, 1, 2, 3}));
}

TEST(ByteArray, AddsAPartOfItself) {
    ByteArray array(Bytes{1, 2, 3});
    array.shrink_to_fit();
    array.Add(array.data() + 1, 2);
    EXPECT_EQ(array, (Bytes{1, 2, 3, 2, 3}));

    array.reserve(100);
    array.Add(array.data(), 1);
    EXPECT_EQ(array, (Bytes{1, 2, 3, 2, 3, 1}));
}

TEST(ByteArray, SubArrayEndsAtTheEndOfTheArray) {
    const ByteArray array(Bytes{1, 2, 3});

    EXPECT_EQ(array.SubArray(0, 3), array);
    EXPECT_EQ(array.SubArray(1, 1), (Bytes{2}));
    EXPECT_EQ(array.SubArray(1, 100), (Bytes{2, 3}));
}

TEST(ByteArray, SubArrayOfNothingIsEmpty) {
    const ByteArray array(Bytes{1, 2, 3});

    EXPECT_TRUE(array.SubArray(5, 2).empty());
    EXPECT_TRUE(array.SubArray(3, 1).empty());
    EXPECT_TRUE(array.SubArray(1, 0).empty());
    EXPECT_TRUE(ByteArray().SubArray(0, 1).empty());
}

TEST(ByteArray, SubArrayAddsStartAndLengthInThirtyTwoBits) {
    const ByteArray array(Bytes{1, 2, 3});

    EXPECT_TRUE(array.SubArray(1, 0xFFFFFFFF).empty());
    EXPECT_TRUE(array.SubArray(2, 0xFFFFFFFF).empty());
    EXPECT_EQ(array.SubArray(0, 0xFFFFFFFF), array);
}

TEST(ByteArray, SubArrayWithoutALengthIsTheTail) {
    const ByteArray array(Bytes{1, 2, 3});

    EXPECT_EQ(array.SubArray(0), array);
    EXPECT_EQ(array.SubArray(2), (Bytes{3}));
    EXPECT_TRUE(array.SubArray(3).empty());
    EXPECT_TRUE(array.SubArray(4).empty());
    EXPECT_TRUE(array.SubArray(0xFFFFFFFF).empty());
}

TEST(ByteArray, ToStringKeepsEveryByte) {
    Bytes all(256);
    std::iota(all.begin(), all.end(), static_cast<unsigned char>(0));
    const std::string text = ByteArray(all).ToString();

    ASSERT_EQ(text.size(), 256U);
    EXPECT_EQ(ByteArray(text), all);
    EXPECT_EQ(ByteArray().ToString(), "");
}

TEST(ByteArray, RTrimRemovesTheRunAtTheEnd) {
    ByteArray zeros(Bytes{0, 0});
    zeros.RTrim(0);
    EXPECT_TRUE(zeros.empty());

    ByteArray array(Bytes{0, 1, 0, 0});
    array.RTrim(0);
    EXPECT_EQ(array, (Bytes{0, 1}));
    array.RTrim(5);
    EXPECT_EQ(array, (Bytes{0, 1}));

    ByteArray empty;
    empty.RTrim(0);
    EXPECT_TRUE(empty.empty());
}

TEST(ByteArray, LTrimRemovesTheRunAtTheFront) {
    ByteArray array(Bytes{0, 1, 0});
    array.LTrim(0);
    EXPECT_EQ(array, (Bytes{1, 0}));
    array.LTrim(0);
    EXPECT_EQ(array, (Bytes{1, 0}));

    ByteArray zeros(Bytes{0, 0});
    zeros.LTrim(0);
    EXPECT_TRUE(zeros.empty());
    zeros.LTrim(0);
    EXPECT_TRUE(zeros.empty());
}

TEST(ByteArray, TrimRemovesBothRuns) {
    ByteArray array(Bytes{7, 7, 1, 7, 2, 7});
    array.Trim(7);
    EXPECT_EQ(array, (Bytes{1, 7, 2}));

    ByteArray sevens(Bytes{7, 7, 7});
    sevens.Trim(7);
    EXPECT_TRUE(sevens.empty());
}

TEST(ByteArray, ReverseTurnsTheOrderAround) {
    ByteArray odd(Bytes{1, 2, 3});
    odd.Reverse();
    EXPECT_EQ(odd, (Bytes{3, 2, 1}));

    ByteArray even(Bytes{1, 2});
    even.Reverse();
    EXPECT_EQ(even, (Bytes{2, 1}));

    ByteArray empty;
    empty.Reverse();
    EXPECT_TRUE(empty.empty());
}

TEST(ByteArray, PadRightFillsUpAtTheEnd) {
    ByteArray array(Bytes{1, 2});
    array.PadRight(1, 0);
    EXPECT_EQ(array, (Bytes{1, 2}));
    array.PadRight(2, 0);
    EXPECT_EQ(array, (Bytes{1, 2}));
    array.PadRight(4, 0x80);
    EXPECT_EQ(array, (Bytes{1, 2, 0x80, 0x80}));
}

TEST(ByteArray, PadleftFillsUpAtTheFront) {
    ByteArray array(Bytes{1});
    array.Padleft(4, 0xFF);
    EXPECT_EQ(array, (Bytes{0xFF, 0xFF, 0xFF, 1}));
    array.Padleft(3, 0);
    EXPECT_EQ(array, (Bytes{0xFF, 0xFF, 0xFF, 1}));

    ByteArray empty;
    empty.Padleft(2, 5);
    EXPECT_EQ(empty, (Bytes{5, 5}));
}

TEST(ByteArray, WorksOnMegabytesInOnePass) {
    NOT_UNDER_VALGRIND("too slow there");
    constexpr unsigned int SIZE = 4U << 20;
    const double seconds = ProcessorSeconds([] {
        ByteArray array;
        array.Padleft(SIZE, 1);
        ByteArray copy = FromHex(array.ToHexString(0));
        ASSERT_EQ(copy, array);
        copy.LTrim(1);
        ASSERT_TRUE(copy.empty());
        array.RTrim(1);
        ASSERT_TRUE(array.empty());
    });
    EXPECT_LT(seconds, 20);
}

TEST(ByteArray, StreamOutputIsUnformatted) {
    std::ostringstream out;
    out << std::hex << std::setw(10) << ByteArray(Bytes{0x00, 0x20, 0x0A, 0xFF}) << ByteArray();
    EXPECT_EQ(out.str(), std::string("\x00\x20\x0A\xFF", 4));
}

TEST(ByteArray, StreamInputIntoAnEmptyOneReadsNothing) {
    std::istringstream in("abc");
    ByteArray array;
    in >> array;
    EXPECT_TRUE(array.empty());
    EXPECT_EQ(in.get(), 'a') << "the stream has not moved";
}

TEST(ByteArray, StreamInputIntoAFilledOneReadsUntilExtractionFails) {
    std::istringstream in(" a b\n\tc\xE4");
    ByteArray array(Bytes{1});
    in >> array;
    EXPECT_EQ(array, (Bytes{1, 'a', 'b', 'c', 0xE4})) << "white space is skipped, the rest appended";
    EXPECT_TRUE(in.fail());
}

TEST_F(ByteArrayFile, IsLoadedWholeWhateverItsSize) {
    for (const std::size_t size : {0U, 1U, 1023U, 1024U, 1025U, 2048U, 100000U}) {
        const Bytes content = RandomBytes(size);
        ByteArray array;
        ASSERT_TRUE(LoadFromFile(Write(content), array)) << size;
        ASSERT_EQ(array, content) << size;
    }
}

TEST_F(ByteArrayFile, IsAppendedToWhatTheArrayHolds) {
    ByteArray array(Bytes{1, 2});
    ASSERT_TRUE(LoadFromFile(Write({0x00, 0x0D, 0x0A, 0x1A}), array));
    EXPECT_EQ(array, (Bytes{1, 2, 0x00, 0x0D, 0x0A, 0x1A}));
}

TEST_F(ByteArrayFile, IsReportedWhenItCannotBeOpened) {
    ByteArray array(Bytes{1, 2});
    EXPECT_FALSE(LoadFromFile((folder / "missing").string(), array));
    EXPECT_EQ(array, (Bytes{1, 2}));
}

TEST_F(ByteArrayFile, EndsWhereReadingFails) {
    // A directory opens like a file; the first read of it fails without an end of file.
    ByteArray array(Bytes{1, 2});
    EXPECT_TRUE(LoadFromFile(folder.string(), array));
    EXPECT_EQ(array, (Bytes{1, 2}));
}

TEST_F(ByteArrayFile, IsClosedAgain) {
    const std::string path = Write({1});
    const auto openFiles = [] {
        const std::filesystem::directory_iterator begin("/proc/self/fd");
        return std::distance(begin, std::filesystem::directory_iterator());
    };
    const auto before = openFiles();
    ByteArray array;
    ASSERT_TRUE(LoadFromFile(path, array));
    EXPECT_EQ(openFiles(), before);
}
