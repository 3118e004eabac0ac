#include "util/Base64.h"
#include "tests/support/Valgrind.h"
#include "tests/unit/util/ProcessorTime.h"
#include "tests/unit/util/TurkishLocale.h"

#include <algorithm>
#include <array>
#include <climits>
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <random>
#include <string>
#include <vector>

using namespace Vantor;
using Bytes = std::vector<unsigned char>;

namespace {

const std::string LETTERS_AND_DIGITS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
const std::string LINE_BREAK = "\r\n";

/// What each variant is wanted to do.
struct Variant {
    int type;
    std::string lastDigits;
    char pad;
    std::size_t lineLength;
    bool padded;
};

const std::vector<Variant> VARIANTS = {
    {0, "+/", '=', 64, true}, {1, "+/", '=', 76, true},  {2, "+/", '=', 0, true},   {3, "+/", '=', 0, false},
    {4, "-_", '=', 0, true},  {5, "-_", '=', 0, false},  {6, "._", '-', 0, true},   {7, ".-", ' ', 0, false},
    {8, "_:", ' ', 0, false}, {9, "_-", ' ', 0, false},  {10, "._", ' ', 0, false}, {11, "!-", ' ', 0, false},
    {12, "~-", '=', 0, true}, {13, "-_", '=', 0, false},
};

Base64 Codec(int type) {
    Base64 codec;
    codec.Init(static_cast<eBase64Type>(type));
    return codec;
}

std::string Encode(int type, const Bytes& data) {
    return Codec(type).Encode(data);
}

Bytes Decode(int type, const std::string& text) {
    return Codec(type).Decode(text);
}

bool IsAccepted(int type, const std::string& text) {
    Bytes bytes(text.size());
    std::size_t size = bytes.size();
    return Codec(type).Decode(text.data(), text.size(), bytes.data(), size);
}

Bytes RandomBytes(std::size_t count) {
    std::mt19937 generator(static_cast<unsigned int>(count) + 7);
    Bytes bytes(count);
    for (auto& byte : bytes)
        byte = static_cast<unsigned char>(generator());
    return bytes;
}

Bytes AsBytes(const std::string& text) {
    return {text.begin(), text.end()};
}

/// The text that OpenSSL makes: standard alphabet, padded, one line.
std::string OpenSslEncode(const Bytes& data) {
    std::string text(data.size() / 3 * 4 + 5, '\0');
    const int length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), data.data(), static_cast<int>(data.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

/// The separator after every full line, counted character by character.
std::string BrokenIntoLines(const std::string& text, std::size_t lineLength) {
    std::string lines;
    for (std::size_t i = 0; i < text.size(); ++i) {
        lines += text[i];
        if (lineLength != 0 && (i + 1) % lineLength == 0)
            lines += LINE_BREAK;
    }
    return lines;
}

/// What the variant should write, out of OpenSSL's text.
std::string Wanted(const Variant& variant, const Bytes& data) {
    std::string text = OpenSslEncode(data);
    std::replace(text.begin(), text.end(), '=', '\0');
    std::replace(text.begin(), text.end(), '+', '\1');
    std::replace(text.begin(), text.end(), '/', '\2');
    if (!variant.padded)
        text.erase(std::remove(text.begin(), text.end(), '\0'), text.end());
    std::replace(text.begin(), text.end(), '\0', variant.pad);
    std::replace(text.begin(), text.end(), '\1', variant.lastDigits[0]);
    std::replace(text.begin(), text.end(), '\2', variant.lastDigits[1]);
    return BrokenIntoLines(text, variant.lineLength);
}

/// Opens up the block functions.
class OpenBase64 : public Base64 {
public:
    using Base64::DecodeBlock;
    using Base64::EncodeBlock;
    using Base64::Group;
};

Bytes DecodedBlock(std::array<unsigned char, 4> digits, std::size_t count) {
    OpenBase64::Group group{digits, count};
    Bytes bytes(3);
    unsigned char* const end = OpenBase64::DecodeBlock(group, bytes.data());
    EXPECT_EQ(group.count, 0U) << "the group is empty again";
    EXPECT_EQ(group.digits, (std::array<unsigned char, 4>{}));
    bytes.resize(static_cast<std::size_t>(end - bytes.data()));
    return bytes;
}

} // namespace

TEST(Base64, HasTheDigitsAndThePadCharacterOfEachAlphabet) {
    EXPECT_EQ(std::string(IndexTable_BASE64_DEFAULT), LETTERS_AND_DIGITS + "+/=");
    EXPECT_EQ(std::string(IndexTable_BASE64_URL), LETTERS_AND_DIGITS + "-_=");
    EXPECT_EQ(std::string(IndexTable_BASE64_YUI), LETTERS_AND_DIGITS + "._-");
    EXPECT_EQ(std::string(IndexTable_BASE64_XML_NAME_TOKEN), LETTERS_AND_DIGITS + ".- ");
    EXPECT_EQ(std::string(IndexTable_BASE64_XML_IDENTIFIER), LETTERS_AND_DIGITS + "_: ");
    EXPECT_EQ(std::string(IndexTable_BASE64_PROGRAM_IDENTIFIER_V1), LETTERS_AND_DIGITS + "_- ");
    EXPECT_EQ(std::string(IndexTable_BASE64_PROGRAM_IDENTIFIER_V2), LETTERS_AND_DIGITS + "._ ");
    EXPECT_EQ(std::string(IndexTable_BASE64_REGEX), LETTERS_AND_DIGITS + "!- ");
    EXPECT_EQ(std::string(IndexTable_BASE64_FREENET), LETTERS_AND_DIGITS + "~-=");
}

TEST(Base64, HasAReverseTableForEachAlphabet) {
    const std::vector<std::pair<const char*, const Base64ReverseTable*>> tables = {
        {IndexTable_BASE64_DEFAULT, &ReverseIndexTable_BASE64_DEFAULT},
        {IndexTable_BASE64_URL, &ReverseIndexTable_BASE64_URL},
        {IndexTable_BASE64_YUI, &ReverseIndexTable_BASE64_YUI},
        {IndexTable_BASE64_XML_NAME_TOKEN, &ReverseIndexTable_BASE64_XML_NAME_TOKEN},
        {IndexTable_BASE64_XML_IDENTIFIER, &ReverseIndexTable_BASE64_XML_IDENTIFIER},
        {IndexTable_BASE64_PROGRAM_IDENTIFIER_V1, &ReverseIndexTable_BASE64_PROGRAM_IDENTIFIER_V1},
        {IndexTable_BASE64_PROGRAM_IDENTIFIER_V2, &ReverseIndexTable_BASE64_PROGRAM_IDENTIFIER_V2},
        {IndexTable_BASE64_REGEX, &ReverseIndexTable_BASE64_REGEX},
        {IndexTable_BASE64_FREENET, &ReverseIndexTable_BASE64_FREENET},
    };
    for (const auto& [index, reverse] : tables) {
        const std::string digits = index;
        ASSERT_EQ(reverse->size(), 256U);
        for (std::size_t c = 0; c < 256; ++c) {
            const std::size_t value = digits.find(static_cast<char>(c));
            EXPECT_EQ((*reverse)[c], value == std::string::npos ? 255U : value) << digits << ", character " << c;
        }
    }
}

TEST(Base64, StartsWithTheStandardAlphabetPaddedOnOneLine) {
    const Base64 codec;
    EXPECT_EQ(codec.GetEncodingType(), 2);
    EXPECT_EQ(codec.Encode(Bytes(100)), OpenSslEncode(Bytes(100)));
    EXPECT_EQ(codec.Encode({0xFB, 0xFF, 0xBF, 0x00}), "+/+/AA==");
    EXPECT_TRUE(codec.Decode("QQ*").empty());
}

TEST(Base64, UsesTheAlphabetOfItsVariant) {
    EXPECT_EQ(Encode(2, {0xFB, 0xFF, 0xBF}), "+/+/");
    EXPECT_EQ(Encode(4, {0xFB, 0xFF, 0xBF}), "-_-_");
    EXPECT_EQ(Encode(7, {0xFB, 0xFF, 0xBF}), ".-.-");
    EXPECT_EQ(Encode(8, {0xFB, 0xFF, 0xBF}), "_:_:");
    EXPECT_EQ(Encode(10, {0xFB, 0xFF, 0xBF}), "._._");
    EXPECT_EQ(Encode(12, {0xFB, 0xFF, 0xBF}), "~-~-");
}

TEST(Base64, PadsAsItsVariantDoes) {
    EXPECT_EQ(Encode(2, {0x00}), "AA==");
    EXPECT_EQ(Encode(6, {0x00}), "AA--");
    EXPECT_EQ(Encode(3, {0x00}), "AA");
    EXPECT_EQ(Encode(2, {0x00, 0x00}), "AAA=");
    EXPECT_EQ(Encode(6, {0x00, 0x00}), "AAA-");
    EXPECT_EQ(Encode(3, {0x00, 0x00}), "AAA");
}

// RFC 4648, section 10.
TEST(Base64, EncodesThePublishedVectors) {
    const std::vector<std::pair<std::string, std::string>> vectors = {
        {"", ""},
        {"f", "Zg=="},
        {"fo", "Zm8="},
        {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="},
        {"fooba", "Zm9vYmE="},
        {"foobar", "Zm9vYmFy"},
    };
    for (const auto& [plain, text] : vectors) {
        EXPECT_EQ(Encode(2, AsBytes(plain)), text);
        EXPECT_EQ(Decode(2, text), AsBytes(plain));
    }
}

TEST(Base64, EncodesEveryLengthInEveryVariantAsOpenSslDoes) {
    for (const Variant& variant : VARIANTS)
        for (std::size_t length = 0; length <= 300; ++length) {
            const Bytes data = RandomBytes(length);
            ASSERT_EQ(Encode(variant.type, data), Wanted(variant, data)) << "type " << variant.type << ", " << length;
        }
}

TEST(Base64, ReadsBackEveryLengthInEveryVariant) {
    for (const Variant& variant : VARIANTS)
        for (std::size_t length = 0; length <= 300; ++length) {
            const Bytes data = RandomBytes(length);
            ASSERT_EQ(Decode(variant.type, Encode(variant.type, data)), data)
                << "type " << variant.type << ", " << length;
        }
}

TEST(Base64, ReadsWhatOpenSslWrites) {
    for (std::size_t length = 0; length <= 300; ++length) {
        const Bytes data = RandomBytes(length);
        ASSERT_EQ(Decode(2, OpenSslEncode(data)), data) << length;
    }
}

TEST(Base64, TakesAnyOtherTypeForTheStandardOne) {
    for (const int type : {-1, 14, 100, INT_MIN, INT_MAX}) {
        const Base64 codec = Codec(type);
        EXPECT_EQ(codec.GetEncodingType(), type) << "the value itself is kept";
        EXPECT_EQ(codec.Encode({0xFB, 0xFF, 0xBF, 0x00}), "+/+/AA==") << type;
        EXPECT_EQ(codec.Encode(Bytes(100)), OpenSslEncode(Bytes(100))) << type;
        EXPECT_TRUE(codec.Decode("QQ*").empty()) << type;
    }
}

TEST(Base64, BreaksLinesAfterEveryFullLineTheLastOneToo) {
    EXPECT_EQ(Encode(0, Bytes(48)), std::string(64, 'A') + "\r\n");
    EXPECT_EQ(Encode(0, Bytes(47)), std::string(63, 'A') + "=\r\n");
    EXPECT_EQ(Encode(0, Bytes(45)), std::string(60, 'A'));
    EXPECT_EQ(Encode(0, Bytes(51)), std::string(64, 'A') + "\r\nAAAA");
    EXPECT_EQ(Encode(1, Bytes(57)), std::string(76, 'A') + "\r\n");
    EXPECT_EQ(Encode(1, Bytes(60)), std::string(76, 'A') + "\r\nAAAA");
    EXPECT_EQ(Encode(1, Bytes(48)), std::string(64, 'A'));
}

TEST(Base64, BreaksLinesOfAnyLength) {
    for (const unsigned int lineLength : {1U, 2U, 3U, 4U, 5U, 7U, 10U, 64U, 400U, 401U, UINT_MAX}) {
        Base64 codec;
        codec.SetLineLength(lineLength);
        for (std::size_t length = 0; length <= 300; length += 1 + length / 10) {
            const Bytes data = RandomBytes(length);
            const std::string text = codec.Encode(data);
            ASSERT_EQ(text, BrokenIntoLines(OpenSslEncode(data), lineLength))
                << length << " bytes, line " << lineLength;
            ASSERT_EQ(codec.Decode(text), data) << length << " bytes, line " << lineLength;
        }
    }
}

TEST(Base64, EndsWithADigitWherePaddingIsOff) {
    Base64 codec = Codec(3);
    codec.SetLineLength(4);
    EXPECT_EQ(codec.Encode(Bytes(3)), "AAAA") << "the separator of the last line is stripped too";
    EXPECT_EQ(codec.Encode(Bytes(1)), "AA");
    EXPECT_EQ(codec.Encode(Bytes(4)), "AAAA\r\nAA");
    codec.SetLineLength(3);
    EXPECT_EQ(codec.Encode(Bytes(1)), "AA") << "pad characters on both sides of the separator";
}

TEST(Base64, EncodesNothingAsNothing) {
    for (const Variant& variant : VARIANTS) {
        EXPECT_EQ(Encode(variant.type, {}), "") << variant.type;
        EXPECT_TRUE(Decode(variant.type, "").empty()) << variant.type;
        EXPECT_TRUE(IsAccepted(variant.type, "")) << variant.type;
    }
}

TEST(Base64, EncodesIntoABufferWhatItEncodesToAString) {
    for (const Variant& variant : VARIANTS)
        for (std::size_t length = 0; length <= 150; ++length) {
            const Bytes data = RandomBytes(length);
            const std::string wanted = Encode(variant.type, data);
            std::string buffer(wanted.size() + 1, '?');
            std::size_t size = wanted.size();
            ASSERT_TRUE(Codec(variant.type).Encode(data.data(), length, buffer.data(), size));
            ASSERT_EQ(size, wanted.size());
            ASSERT_EQ(buffer, wanted + "?") << "type " << variant.type << ", " << length;
        }
}

TEST(Base64, TellsWhatABufferForTheTextLacks) {
    for (const Variant& variant : VARIANTS) {
        const Bytes data = RandomBytes(100);
        const std::string wanted = Encode(variant.type, data);
        std::string buffer(wanted.size(), '?');
        std::size_t size = wanted.size() - 1;
        EXPECT_FALSE(Codec(variant.type).Encode(data.data(), data.size(), buffer.data(), size));
        EXPECT_EQ(size, wanted.size());
        EXPECT_EQ(buffer, std::string(wanted.size(), '?')) << "nothing is written";
    }
}

TEST(Base64, DecodesIntoABufferWhatItDecodesToAVector) {
    for (const Variant& variant : VARIANTS)
        for (std::size_t length = 0; length <= 150; ++length) {
            const Bytes data = RandomBytes(length);
            const std::string text = Encode(variant.type, data);
            for (const std::size_t room : {length, text.size()}) { // only the second has room for all that might come
                Bytes buffer(room + 1, '?');
                std::size_t size = room;
                ASSERT_TRUE(Codec(variant.type).Decode(text.data(), text.size(), buffer.data(), size));
                ASSERT_EQ(size, length);
                ASSERT_EQ(Bytes(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(size)), data);
                ASSERT_EQ(buffer.back(), '?') << "type " << variant.type << ", " << length;
            }
        }
}

TEST(Base64, TellsWhatABufferForTheBytesLacks) {
    Bytes buffer(2, '?');
    std::size_t size = buffer.size();
    EXPECT_FALSE(Base64().Decode("QUJD\r\nQQ==", 10, buffer.data(), size));
    EXPECT_EQ(size, 4U);
    EXPECT_EQ(buffer, Bytes(2, '?'));

    size = 100;
    EXPECT_FALSE(Base64().Decode("QUJD\r\nQQ==", 10, nullptr, size)) << "no buffer has no room";
    EXPECT_EQ(size, 4U);
    EXPECT_TRUE(Base64().Decode(nullptr, 0, nullptr, size));
    EXPECT_EQ(size, 0U);
}

TEST(Base64, TellsABadTextFromASmallBufferByTheSize) {
    for (const std::size_t room : {1U, 3U, 100U}) {
        Bytes buffer(room);
        std::size_t size = room;
        EXPECT_FALSE(Base64().Decode("QUJD*", 5, buffer.data(), size));
        EXPECT_EQ(size, 0U) << room;
    }
}

TEST(Base64, SetEncodingTypeTakesEffectWithTheReset) {
    Base64 codec;
    codec.SetEncodingType(BASE64_URL_UNPADDED);
    EXPECT_EQ(codec.GetEncodingType(), BASE64_URL_UNPADDED);
    EXPECT_EQ(codec.Encode({0xFB, 0xFF, 0xBF, 0x00}), "+/+/AA==") << "the settings are the old ones";
    codec.ResetParametersToEncodingTypeDefaults();
    EXPECT_EQ(codec.Encode({0xFB, 0xFF, 0xBF, 0x00}), "-_-_AA");
}

TEST(Base64, ResetUndoesEverySetting) {
    Base64 codec = Codec(1);
    codec.SetEncodingType(BASE64_DEFAULT);
    codec.ResetParametersToEncodingTypeDefaults();
    EXPECT_EQ(codec.Encode(Bytes(100)), OpenSslEncode(Bytes(100))) << "no lines";
    EXPECT_TRUE(codec.Decode("QQ*").empty()) << "strict again";

    codec = Codec(3);
    codec.SetLineLength(4);
    codec.SetEncodingType(BASE64_DEFAULT);
    codec.ResetParametersToEncodingTypeDefaults();
    EXPECT_EQ(codec.Encode(Bytes(4)), "AAAAAA==") << "padded and on one line";
}

TEST(Base64, OnlyInitBringsTheLineSeparatorBack) {
    Base64 codec = Codec(13);
    codec.SetEncodingType(BASE64_PEM);
    codec.ResetParametersToEncodingTypeDefaults();
    EXPECT_EQ(codec.Encode(Bytes(60)), std::string(80, 'A')) << "lines of 64, parted by nothing";
    EXPECT_TRUE(codec.Decode("QQ\r\n").empty());

    codec.Init(BASE64_PEM);
    EXPECT_EQ(codec.Encode(Bytes(60)), std::string(64, 'A') + "\r\n" + std::string(16, 'A'));
    EXPECT_EQ(codec.Decode("QQ\r\n"), (Bytes{0x41}));
}

TEST(Base64, IsACopyableValue) {
    const Base64 codec = Codec(6);
    const Base64 copy = codec;
    EXPECT_EQ(copy.Encode({0x00}), "AA--");
}

TEST(Base64, DecodesWithAndWithoutPadding) {
    EXPECT_EQ(Decode(2, "QQ"), (Bytes{0x41}));
    EXPECT_EQ(Decode(2, "QQ=="), (Bytes{0x41}));
    EXPECT_EQ(Decode(2, "QUI"), (Bytes{0x41, 0x42}));
    EXPECT_EQ(Decode(2, "QUI="), (Bytes{0x41, 0x42}));
}

TEST(Base64, DecodesOneLeftOverDigitToOneByte) {
    EXPECT_EQ(Decode(2, "Q"), (Bytes{0x40}));
    EXPECT_EQ(Decode(2, "QUJDQ"), (Bytes{0x41, 0x42, 0x43, 0x40}));
}

TEST(Base64, LeftOverDigitsDoNotSeeTheGroupBefore) {
    EXPECT_EQ(Decode(2, "////A"), (Bytes{0xFF, 0xFF, 0xFF, 0x00}));
    EXPECT_EQ(Decode(2, "/\r\n///A"), (Bytes{0xFF, 0xFF, 0xFF, 0x00}));
    EXPECT_EQ(Decode(2, "/=///AA"), (Bytes{0xFF, 0xFF, 0xFF, 0x00}));
    EXPECT_EQ(Decode(2, "/=///AAA"), (Bytes{0xFF, 0xFF, 0xFF, 0x00, 0x00}));
}

TEST(Base64, SkipsTheCharactersOfTheLineSeparatorAnywhere) {
    EXPECT_EQ(Decode(2, "\r\n\nQ\rU\nJ\r\nD\n\n"), (Bytes{0x41, 0x42, 0x43}));
    EXPECT_EQ(Decode(5, "QU\r\nJD"), (Bytes{0x41, 0x42, 0x43}));
    EXPECT_EQ(Decode(7, "QU\r\nJD"), (Bytes{0x41, 0x42, 0x43}));
}

TEST(Base64, RefusesLineBreaksWhereTheSeparatorIsEmpty) {
    EXPECT_FALSE(IsAccepted(13, "QUJD\r\n"));
    EXPECT_FALSE(IsAccepted(13, "QU\nJD"));
    EXPECT_EQ(Decode(13, "QUJD"), (Bytes{0x41, 0x42, 0x43}));
}

TEST(Base64, SkipsPadCharactersWherePaddingIsOn) {
    EXPECT_EQ(Decode(2, "Q=U=J=D="), (Bytes{0x41, 0x42, 0x43}));
    EXPECT_EQ(Decode(2, "===="), Bytes{});
    EXPECT_TRUE(IsAccepted(2, "===="));
    EXPECT_EQ(Decode(6, "QQ--"), (Bytes{0x41}));
    EXPECT_FALSE(IsAccepted(6, "QQ==")) << "another alphabet's pad character is a foreign one";
}

TEST(Base64, RefusesPadCharactersWherePaddingIsOff) {
    for (const Variant& variant : VARIANTS) {
        const std::string padded = std::string("QQ") + variant.pad + variant.pad;
        EXPECT_EQ(IsAccepted(variant.type, padded), variant.padded) << variant.type;
        EXPECT_TRUE(IsAccepted(variant.type, "QQ")) << variant.type;
    }
}

TEST(Base64, RefusesEveryForeignCharacterInAllVariantsButOne) {
    for (const Variant& variant : VARIANTS) {
        const std::string digits = LETTERS_AND_DIGITS + variant.lastDigits;
        const std::string breaks = variant.type == 13 ? "" : LINE_BREAK;
        for (int value = 0; value < 256; ++value) {
            const std::string c(1, static_cast<char>(value));
            const bool pad = c[0] == variant.pad && variant.padded;
            const bool known = digits.find(c) != std::string::npos || breaks.find(c) != std::string::npos || pad;
            EXPECT_EQ(IsAccepted(variant.type, "QUJD" + c), known || variant.type == 1) << variant.type << ' ' << value;
            EXPECT_EQ(IsAccepted(variant.type, "Q" + c + "UJD"), known || variant.type == 1)
                << variant.type << ' ' << value;
        }
    }
}

TEST(Base64, DiscardsWhatItDecodedBeforeABadCharacter) {
    EXPECT_TRUE(Decode(2, "*").empty());
    EXPECT_TRUE(Decode(2, "QUJDQUJD*").empty());
    EXPECT_TRUE(Decode(2, "QUJDQUJDQUJD*QUJDQUJD").empty());

    Bytes bytes(10);
    std::size_t size = bytes.size();
    EXPECT_FALSE(Base64().Decode("QUJD*", 5, bytes.data(), size));
    EXPECT_EQ(size, 0U);
}

TEST(Base64, TakesAForeignCharacterForADigitOf255WhereItIsNotStrict) {
    EXPECT_EQ(Decode(1, "*"), (Bytes{0xFC}));
    EXPECT_EQ(Decode(1, "Q*"), (Bytes{0x43}));
    EXPECT_EQ(Decode(1, "*QQQ"), (Bytes{0xFD, 0x04, 0x10}));
    EXPECT_EQ(Decode(1, "Q*QQ"), (Bytes{0x43, 0xF4, 0x10}));
    EXPECT_EQ(Decode(1, "QQ*Q"), (Bytes{0x41, 0x0F, 0xD0}));
    EXPECT_EQ(Decode(1, "QQQ*"), (Bytes{0x41, 0x04, 0xFF}));
    EXPECT_EQ(Decode(1, "****"), (Bytes{0xFF, 0xFF, 0xBF}));
    EXPECT_EQ(Decode(1, "\xE4\xFF\x80\xC3"), (Bytes{0xFF, 0xFF, 0xBF})) << "characters above 127 as well";
}

TEST(Base64, SkipsPaddingAndLineBreaksWhereItIsNotStrict) {
    EXPECT_EQ(Decode(1, "Q=Q=\r\nQ=\r\nQ"), (Bytes{0x41, 0x04, 0x10}));
    EXPECT_EQ(Decode(1, "QUJD*QUJD\r\n"), (Bytes{0x41, 0x42, 0x43, 0xFD, 0x05, 0x09, 0x0C}));
}

TEST(Base64, EncodesABlockOfOneToThreeBytes) {
    const OpenBase64 codec;
    const unsigned char bytes[] = {0xFB, 0xFF, 0xBF, 0x00};
    const std::vector<std::string> wanted = {"????", "+w==", "+/8=", "+/+/", "????"};
    for (std::size_t count = 0; count < wanted.size(); ++count) {
        std::string text = "????";
        EXPECT_EQ(codec.EncodeBlock(bytes, count, text.data()), count >= 1 && count <= 3) << count;
        EXPECT_EQ(text, wanted[count]) << count;
    }
}

TEST(Base64, DecodesABlockOfOneToFourDigits) {
    EXPECT_EQ(DecodedBlock({0x3F, 0, 0, 0}, 1), (Bytes{0xFC}));
    EXPECT_EQ(DecodedBlock({0x10, 0x10, 0, 0}, 2), (Bytes{0x41}));
    EXPECT_EQ(DecodedBlock({0x10, 0x14, 0x09, 0}, 3), (Bytes{0x41, 0x42}));
    EXPECT_EQ(DecodedBlock({0x10, 0x14, 0x09, 0x03}, 4), (Bytes{0x41, 0x42, 0x43}));
    EXPECT_EQ(DecodedBlock({0x3F, 0x3F, 0x3F, 0x3F}, 4), (Bytes{0xFF, 0xFF, 0xFF}));
}

TEST_F(TurkishLocale, DoesNotChangeBase64) {
    const Bytes data = RandomBytes(200);
    EXPECT_EQ(Encode(2, data), OpenSslEncode(data));
    EXPECT_EQ(Decode(2, OpenSslEncode(data)), data);
    EXPECT_FALSE(IsAccepted(2, "\xDD"));
}

TEST(b64encode, BreaksLinesAsTheModeSays) {
    const Bytes data = RandomBytes(200);
    const std::vector<std::pair<unsigned int, std::size_t>> modes = {{0, 0}, {1, 64}, {2, 76}, {3, 0}, {UINT_MAX, 0}};
    for (const auto& [mode, lineLength] : modes) {
        const std::string wanted = BrokenIntoLines(OpenSslEncode(data), lineLength);
        std::string text = "old";
        b64encode(data, text, mode);
        EXPECT_EQ(text, wanted) << mode;

        Bytes bytes{1, 2};
        b64encode(data, bytes, mode);
        EXPECT_EQ(bytes, AsBytes(wanted)) << mode;
    }
}

TEST(b64encode, ReplacesAResultOfAnyLength) {
    for (const std::size_t old : {0U, 3U, 4U, 5U, 100U}) {
        std::string text(old, '?');
        b64encode({0xFB, 0xFF, 0xBF}, text, 0);
        EXPECT_EQ(text, "+/+/") << old;
    }
}

TEST(b64encode, ReplacesTheResultByNothingForNoBytes) {
    std::string text = "old";
    b64encode({}, text, 0);
    EXPECT_EQ(text, "");
}

TEST(b64encode, MayWriteOverItsInput) {
    Bytes bytes{0xFB, 0xFF, 0xBF};
    b64encode(bytes, bytes, 0);
    EXPECT_EQ(bytes, AsBytes("+/+/"));
    b64decode(bytes, bytes);
    EXPECT_EQ(bytes, (Bytes{0xFB, 0xFF, 0xBF}));
}

TEST(b64decode, ReplacesTheResult) {
    Bytes bytes{1, 2};
    b64decode(std::string("QU\r\nJD"), bytes);
    EXPECT_EQ(bytes, (Bytes{0x41, 0x42, 0x43}));

    b64decode(AsBytes("QQ=="), bytes);
    EXPECT_EQ(bytes, (Bytes{0x41}));

    b64decode(std::string(), bytes);
    EXPECT_TRUE(bytes.empty());
}

TEST(b64decode, GivesNothingForABadText) {
    Bytes bytes{1, 2};
    b64decode(std::string("QUJD*"), bytes);
    EXPECT_TRUE(bytes.empty());

    bytes = {1, 2};
    b64decode(AsBytes("QUJD*"), bytes);
    EXPECT_TRUE(bytes.empty());
}

TEST(b64encode, FillsABufferThatIsLargeEnough) {
    std::string buffer(12, '?');
    std::size_t size = buffer.size();
    ASSERT_TRUE(b64encode("\xFB\xFF\xBF", 3, buffer.data(), size, 0));
    EXPECT_EQ(size, 4U);
    EXPECT_EQ(buffer, "+/+/????????");

    size = buffer.size();
    ASSERT_TRUE(b64encode("\0\0\0\0", 4, buffer.data(), size, 6));
    EXPECT_EQ(size, 10U) << "a line break behind the sixth character";
}

TEST(b64encode, TellsTheSizeThatABufferLacks) {
    std::string buffer(12, '?');
    std::size_t size = 5;
    EXPECT_FALSE(b64encode("\0\0\0\0", 4, buffer.data(), size, 4));
    EXPECT_EQ(size, 12U);
    EXPECT_EQ(buffer, std::string(12, '?')) << "nothing is written";
    EXPECT_TRUE(b64encode("\0\0\0\0", 4, buffer.data(), size, 4));
    EXPECT_EQ(buffer, "AAAA\r\nAA==\r\n");
}

TEST(b64encode, TellsTheSizeWithoutABuffer) {
    std::size_t size = 100;
    EXPECT_FALSE(b64encode("\0\0\0\0", 4, nullptr, size, 0));
    EXPECT_EQ(size, 8U);
    EXPECT_TRUE(b64encode(nullptr, 0, nullptr, size, 0)) << "nothing fits anywhere";
    EXPECT_EQ(size, 0U);
}

TEST(b64decode, FillsABufferThatIsLargeEnough) {
    std::string buffer(5, '?');
    std::size_t size = buffer.size();
    ASSERT_TRUE(b64decode("QU\r\nJDxx", 6, buffer.data(), size));
    EXPECT_EQ(size, 3U);
    EXPECT_EQ(buffer, "ABC??");
}

TEST(b64decode, TellsTheSizeThatABufferLacks) {
    std::string buffer(5, '?');
    std::size_t size = 2;
    EXPECT_FALSE(b64decode("QUJD", 4, buffer.data(), size));
    EXPECT_EQ(size, 3U);
    EXPECT_FALSE(b64decode("QUJD", 4, nullptr, size));
    EXPECT_EQ(size, 3U);
    EXPECT_EQ(buffer, "?????") << "nothing is written";
}

TEST(b64decode, TellsABadTextFromASmallBuffer) {
    std::string buffer(5, '?');
    std::size_t size = buffer.size();
    EXPECT_FALSE(b64decode("QUJD*", 5, buffer.data(), size));
    EXPECT_EQ(size, 0U);
}

TEST(Base64, WorksOnMegabytesInOnePass) {
    NOT_UNDER_VALGRIND("too slow there");
    const Bytes data = RandomBytes(8U << 20);
    const double seconds = ProcessorSeconds([&] {
        for (const int type : {0, 1, 2, 5}) {
            const std::string text = Encode(type, data);
            ASSERT_EQ(Decode(type, text), data) << type;
        }
        Base64 narrow;
        narrow.SetLineLength(1);
        ASSERT_EQ(narrow.Decode(narrow.Encode(data)), data);
    });
    EXPECT_LT(seconds, 60);
}
