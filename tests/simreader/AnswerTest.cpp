#include "tests/simreader/Answer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <PCSC/ifdhandler.h>

namespace SimReader {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(SimReaderHex, ReadsDigitsOfBothCasesAndSkipsSeparators) {
    EXPECT_THAT(parseHex("3b 80:01\t81\n").value(), ElementsAre(0x3B, 0x80, 0x01, 0x81));
    EXPECT_THAT(parseHex("").value(), IsEmpty());
}

TEST(SimReaderHex, RefusesOddNumbersOfDigitsAndOtherCharacters) {
    EXPECT_FALSE(parseHex("3B8").has_value());
    EXPECT_FALSE(parseHex("3B 8G").has_value());
}

TEST(SimReaderHex, WritesWhatItReads) {
    EXPECT_EQ(toHex(parseHex("00 ff 7A").value()), "00FF7A");
}

TEST(SimReaderAnswer, IsASuccessWithoutBytesWhenEmpty) {
    const auto answer = parseAnswer("  ");
    ASSERT_TRUE(answer.has_value());
    EXPECT_EQ(answer->code, IFD_SUCCESS);
    EXPECT_THAT(answer->data, IsEmpty());
    EXPECT_FALSE(answer->claimedLength.has_value());
}

TEST(SimReaderAnswer, HoldsHexadecimalBytes) {
    EXPECT_THAT(parseAnswer(" 90 00").value().data, ElementsAre(0x90, 0));
}

TEST(SimReaderAnswer, HoldsTextWithItsBlanks) {
    const auto data = parseAnswer("text  a b ").value().data;
    EXPECT_EQ(std::string(data.begin(), data.end()), " a b ");
}

TEST(SimReaderAnswer, AddsATerminatingZeroOnRequest) {
    EXPECT_THAT(parseAnswer("textz ab").value().data, ElementsAre('a', 'b', 0));
}

TEST(SimReaderAnswer, TakesDelayLengthAndErrorBeforeTheBytes) {
    const auto answer = parseAnswer("delay 20 length 5000 error NO_SUCH_DEVICE 0102").value();
    EXPECT_EQ(answer.delayMilliseconds, 20U);
    EXPECT_EQ(answer.claimedLength, 5000U);
    EXPECT_EQ(answer.code, IFD_NO_SUCH_DEVICE);
    EXPECT_THAT(answer.data, ElementsAre(1, 2));
}

TEST(SimReaderAnswer, RefusesWordsThatItDoesNotKnow) {
    for (const char* text : {"delay", "delay soon", "length -1", "error NONSENSE", "error", "hello"})
        EXPECT_FALSE(parseAnswer(text).has_value()) << text;
}

TEST(SimReaderAnswer, NamesResponseCodesInBothDirections) {
    EXPECT_EQ(responseCodeByName("IFD_ERROR_TAG"), IFD_ERROR_TAG);
    EXPECT_EQ(responseCodeByName("ERROR_TAG"), IFD_ERROR_TAG);
    EXPECT_EQ(responseCodeByName("TAG"), IFD_ERROR_TAG);
    EXPECT_EQ(responseCodeByName("NOT_SUPPORTED"), IFD_NOT_SUPPORTED);
    EXPECT_EQ(responseCodeByName("ERROR_NOT_SUPPORTED"), IFD_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(responseCodeByName("612"), IFD_COMMUNICATION_ERROR);
    EXPECT_EQ(responseCodeName(IFD_ICC_NOT_PRESENT), "IFD_ICC_NOT_PRESENT");
    EXPECT_EQ(responseCodeName(4711), "4711");
}

TEST(SimReaderKeys, AreNamesOrBytes) {
    const auto keys = parseKeys("DIGIT CORRECTION\nNONE 2b OK").value();
    EXPECT_THAT(keys, ElementsAre(Bytes{0x2B}, Bytes{0x08}, Bytes{}, Bytes{0x2B}, Bytes{0x0D}));
    EXPECT_FALSE(parseKeys("DIGIT ENTER").has_value());
}

} // namespace
} // namespace SimReader
