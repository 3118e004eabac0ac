#include "readers/PinStructure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::SizeIs;
using namespace Vantor;

namespace {

ByteArray Hex(const char* text) {
    ByteArray bytes;
    bytes.FromHexString(text);
    return bytes;
}

PINVerifyData Data(int format) {
    PINVerifyData data;
    data.pinFormat = format;
    data.minPinLength = 6;
    data.maxPinLength = 12;
    data.pinBlockString = 0x47;
    return data;
}

// VERIFY with room for an eight-byte PIN block, CHANGE REFERENCE DATA with room for two.
const char* const verifyApdu = "00 20 00 81 08 20 ff ff ff ff ff ff ff";
const char* const changeApdu = "00 24 00 81 10 20 ff ff ff ff ff ff ff 20 ff ff ff ff ff ff ff";

} // namespace

TEST(PinStructure, ToVerifyAnAsciiPin) {
    EXPECT_EQ(BuildPinVerifyStructure(Hex(verifyApdu), Data(0)),
              Hex("3c 0a 02 47 00 0c 06 01 ff 07 04 00 00 00 00 0d 00 00 00"
                  " 00 20 00 81 08 20 ff ff ff ff ff ff ff"));
}

TEST(PinStructure, ToVerifyAFormat2PinBlock) {
    EXPECT_EQ(BuildPinVerifyStructure(Hex(verifyApdu), Data(1)),
              Hex("3c 0a 89 47 04 0c 06 01 ff 07 04 00 00 00 00 0d 00 00 00"
                  " 00 20 00 81 08 2f ff ff ff ff ff ff ff"));
}

TEST(PinStructure, ToVerifyABcdPin) {
    EXPECT_EQ(BuildPinVerifyStructure(Hex(verifyApdu), Data(2)),
              Hex("3c 0a 01 47 00 0c 06 01 ff 07 04 00 00 00 00 0d 00 00 00"
                  " 00 20 00 81 08 20 ff ff ff ff ff ff ff"));
}

TEST(PinStructure, ToChangeAnAsciiPin) {
    EXPECT_EQ(BuildPinModifyStructure(Hex(changeApdu), Data(0)),
              Hex("3c 0a 02 47 00 00 08 0c 06 03 01 ff 07 04 00 00 00 00 00 00 15 00 00 00"
                  " 00 24 00 81 10 20 ff ff ff ff ff ff ff 20 ff ff ff ff ff ff ff"));
}

TEST(PinStructure, ToChangeAFormat2PinBlock) {
    EXPECT_EQ(BuildPinModifyStructure(Hex(changeApdu), Data(1)),
              Hex("3c 0a 89 47 04 00 08 0c 06 03 01 ff 07 04 00 00 00 00 00 00 15 00 00 00"
                  " 00 24 00 81 10 2f ff ff ff ff ff ff ff 20 ff ff ff ff ff ff ff"));
}

TEST(PinStructure, ToChangeABcdPin) {
    EXPECT_EQ(BuildPinModifyStructure(Hex(changeApdu), Data(2)),
              Hex("3c 0a 01 47 00 00 08 0c 06 03 01 ff 07 04 00 00 00 00 00 00 15 00 00 00"
                  " 00 24 00 81 10 20 ff ff ff ff ff ff ff 20 ff ff ff ff ff ff ff"));
}

TEST(PinStructure, HasItsHeadersLengthMoreThanTheApdu) {
    for (const std::size_t length : {0U, 1U, 4U, 5U, 6U, 255U, 256U, 2024U}) {
        const ByteArray apdu(std::vector<unsigned char>(length, 0xAA));
        EXPECT_THAT(BuildPinVerifyStructure(apdu, Data(0)), SizeIs(length + 19));
        EXPECT_THAT(BuildPinModifyStructure(apdu, Data(0)), SizeIs(length + 24));
    }
}

TEST(PinStructure, GivesTheApdusLengthInLittleEndian) {
    const ByteArray apdu(std::vector<unsigned char>(0x07E8, 0x00));
    EXPECT_EQ(BuildPinVerifyStructure(apdu, Data(0)).SubArray(15, 4), Hex("e8 07 00 00"));
    EXPECT_EQ(BuildPinModifyStructure(apdu, Data(0)).SubArray(20, 4), Hex("e8 07 00 00"));
}

TEST(PinStructure, TakesTheLowByteOfThePinLengths) {
    PINVerifyData data = Data(0);
    data.minPinLength = 0x1234;
    data.maxPinLength = 0xFFFFFFFF;
    EXPECT_EQ(BuildPinVerifyStructure(Hex(verifyApdu), data).SubArray(5, 2), Hex("ff 34"));
    EXPECT_EQ(BuildPinModifyStructure(Hex(changeApdu), data).SubArray(7, 2), Hex("ff 34"));
}

TEST(PinStructure, OfAnApduWithoutDataHasNoControlByte) {
    EXPECT_EQ(BuildPinVerifyStructure(Hex("00 20 00 81 08"), Data(1)).SubArray(19), Hex("00 20 00 81 08"));
    EXPECT_EQ(BuildPinModifyStructure(Hex("00 24 00 81 08"), Data(1)).SubArray(24), Hex("00 24 00 81 08"));
    EXPECT_EQ(BuildPinVerifyStructure(Hex("00 20 00 81 08 20"), Data(1)).SubArray(19), Hex("00 20 00 81 08 2f"));
    EXPECT_THAT(BuildPinVerifyStructure(ByteArray(), Data(1)), SizeIs(19));
}

TEST(PinStructure, DoesNotReadTheLeadingField) {
    PINVerifyData data = Data(1);
    data.reserved = 0xDEADBEEF;
    EXPECT_EQ(BuildPinVerifyStructure(Hex(verifyApdu), data), BuildPinVerifyStructure(Hex(verifyApdu), Data(1)));
}

TEST(PinStructure, KnowsThreePinFormats) {
    EXPECT_TRUE(IsPinFormat(0));
    EXPECT_TRUE(IsPinFormat(1));
    EXPECT_TRUE(IsPinFormat(2));
    for (const int format : {-1, 3, 4, 255, 256, 0x7FFFFFFF}) {
        EXPECT_FALSE(IsPinFormat(format)) << format;
    }
}
