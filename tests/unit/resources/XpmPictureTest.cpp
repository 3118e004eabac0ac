#include "resources/XpmPicture.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace {

using Pixel = std::tuple<int, int, int>; // red, green, blue

Pixel PixelAt(const XpmPicture& picture, std::size_t x, std::size_t y) {
    const std::uint8_t* const rgb = picture.rgb.data() + (y * picture.width + x) * 3;
    return {rgb[0], rgb[1], rgb[2]};
}

std::optional<XpmPicture> Decode(const std::vector<std::string>& rows) {
    std::vector<const char*> strings;
    for (const auto& row : rows)
        strings.push_back(row.c_str());
    strings.push_back(nullptr); // where a decoder that reads too far would notice
    return DecodeXpm(strings.data());
}

} // namespace

TEST(XpmPicture, FileIsReadAsItsStringsAre) {
    const auto picture = DecodeXpm(std::string_view("{\"2 1 1 1\", \"a c #010203\", \"aa\"}"));
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->width, 2U);
    EXPECT_EQ(picture->height, 1U);
    EXPECT_EQ(picture->rgb, (std::vector<std::uint8_t>{1, 2, 3, 1, 2, 3}));
    EXPECT_TRUE(picture->alpha.empty());
}

TEST(XpmPicture, RejectsAFileThatEndsTooEarly) {
    for (const std::string_view file :
         {"", "{\"1 2 2 1\"}", "{\"1 2 2 1\", \"a c #000000\"}", "{\"1 2 2 1\", \"a c #000000\", \"b c #000001\"}",
          "{\"1 2 2 1\", \"a c #000000\", \"b c #000001\", \"a\"}",
          "{\"1 2 2 1\", \"a c #000000\", \"b c #000001\", \"a\", \"b"})
        EXPECT_FALSE(DecodeXpm(file)) << file;
}

TEST(XpmPicture, ReadsColoursInBothLetterCases) {
    const auto picture = Decode({"2 1 2 1", "a c #0aFf80", "b c #FFFFFF", "ab"});
    ASSERT_TRUE(picture);
    EXPECT_EQ(PixelAt(*picture, 0, 0), Pixel(0x0a, 0xff, 0x80));
    EXPECT_EQ(PixelAt(*picture, 1, 0), Pixel(0xff, 0xff, 0xff));
    EXPECT_TRUE(picture->alpha.empty());
}

TEST(XpmPicture, NoneIsTransparent) {
    const auto picture = Decode({"3 1 2 1", "  c None", "# c #102030", "# #"});
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->alpha, (std::vector<std::uint8_t>{255, 0, 255}));
}

TEST(XpmPicture, ReadsOneToFourCharactersAPixel) {
    for (unsigned length = 1; length <= 4; ++length) {
        const std::string a(length, '\\');
        const std::string b = std::string(length - 1, '\\') + "\xe9"; // a character above 127 is a key as well
        const auto picture =
            Decode({"2 2 2 " + std::to_string(length), a + " c #010203", b + "\tc #040506", a + b, b + a});
        ASSERT_TRUE(picture) << length;
        EXPECT_EQ(PixelAt(*picture, 0, 0), Pixel(1, 2, 3));
        EXPECT_EQ(PixelAt(*picture, 1, 0), Pixel(4, 5, 6));
        EXPECT_EQ(PixelAt(*picture, 0, 1), Pixel(4, 5, 6));
        EXPECT_EQ(PixelAt(*picture, 1, 1), Pixel(1, 2, 3));
    }
}

TEST(XpmPicture, LastOfTwoColoursOfOneKeyCounts) {
    const auto picture = Decode({"1 1 2 1", "a c #000001", "a c #000002", "a"});
    ASSERT_TRUE(picture);
    EXPECT_EQ(PixelAt(*picture, 0, 0), Pixel(0, 0, 2));
}

TEST(XpmPicture, RejectsAHeaderThatIsNone) {
    for (const char* header : {"", "1 1 1", "x 1 1 1", "0 1 1 1", "1 0 1 1", "1 1 0 1", "1 1 1 0", "1 1 1 5",
                               "-1 1 1 1", "99999 1 1 1", "1 1 4000000000 1"})
        EXPECT_FALSE(Decode({header, "a c #000000", "a"})) << header;
}

TEST(XpmPicture, RejectsColoursThatItDoesNotKnow) {
    for (const char* colour : {"", "a", "a c", "a c ", "a c #00000", "a c #0000000", "a c #00000g", "a c red",
                               "a m #000000", "a c #", "a c none"})
        EXPECT_FALSE(Decode({"1 1 1 1", colour, "a"})) << colour;
}

TEST(XpmPicture, RejectsKeysOfTooManyCharacters) {
    std::vector<std::string> rows = {"1 1 64 4"};
    for (char c = 48; c < 48 + 64; ++c)
        rows.push_back(std::string(4, c) + " c #000000");
    rows.push_back("0000");
    EXPECT_FALSE(Decode(rows)) << "64 characters at each of four places: 16 million keys";
}

TEST(XpmPicture, TakesKeysOfManyCharacters) {
    std::vector<std::string> rows = {"2 1 45 4"};
    for (char c = 48; c < 48 + 45; ++c)
        rows.push_back(std::string(4, c) + " c #0000" + (c == '1' ? "01" : "02"));
    rows.push_back("11110000");
    const auto picture = Decode(rows);
    ASSERT_TRUE(picture);
    EXPECT_EQ(PixelAt(*picture, 0, 0), Pixel(0, 0, 1));
    EXPECT_EQ(PixelAt(*picture, 1, 0), Pixel(0, 0, 2));
}

TEST(XpmPicture, RejectsPixelsThatMixTheCharactersOfTwoColours) {
    EXPECT_FALSE(Decode({"1 1 2 2", "ab c #000000", "cd c #000000", "ad"}));
}

TEST(XpmPicture, RejectsAKeyThatIsCutOff) {
    EXPECT_FALSE(Decode({"1 1 1 3", "ab", "aba"}));
}

TEST(XpmPicture, RejectsPixelsWithoutColour) {
    EXPECT_FALSE(Decode({"2 1 1 1", "a c #000000", "ab"}));
    EXPECT_FALSE(Decode({"2 1 1 1", "a c #000000", "ba"}));
}

TEST(XpmPicture, RejectsARowThatIsTooShort) {
    EXPECT_FALSE(Decode({"3 1 1 1", "a c #000000", "aa"}));
    EXPECT_FALSE(Decode({"2 2 1 2", "aa c #000000", "aaaa", "aaa"}));
}
