#include "app/XpmImage.h"

#include "app/CheckedXPM.h"
#include "resources/XpmFile.h"
#include "resources/icon.xpm"
#include "resources/logo.xpm"
#include "resources/status_installed.xpm"
#include "resources/status_started.xpm"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <vector>

namespace {

using Pixel = std::tuple<bool, int, int, int>; // transparent, red, green, blue

Pixel PixelAt(const wxImage& image, int x, int y) {
    if (image.IsTransparent(x, y))
        return {true, 0, 0, 0};
    return {false, image.GetRed(x, y), image.GetGreen(x, y), image.GetBlue(x, y)};
}

::testing::AssertionResult SamePixels(const wxImage& left, const wxImage& right) {
    if (!left.IsOk() || !right.IsOk() || left.GetSize() != right.GetSize())
        return ::testing::AssertionFailure() << "not two images of one size";
    for (int y = 0; y < left.GetHeight(); ++y)
        for (int x = 0; x < left.GetWidth(); ++x)
            if (PixelAt(left, x, y) != PixelAt(right, x, y))
                return ::testing::AssertionFailure() << "pixel " << x << "," << y << " differs";
    return ::testing::AssertionSuccess();
}

wxImage Decode(const std::vector<std::string>& rows) {
    std::vector<const char*> strings;
    for (const auto& row : rows)
        strings.push_back(row.c_str());
    strings.push_back(nullptr); // where a decoder that reads too far would notice
    return ImageFromXpm(strings.data());
}

} // namespace

TEST(XpmImage, ReadsEveryPictureOfTheProgramAsTheToolkitDoes) {
    for (const auto* picture :
         {lumo_logo_xpm, lumo_icon_xpm, lumo_status_installed_xpm, lumo_status_started_xpm, Vantor::uncheckedXpm,
          Vantor::checkedXpm, Vantor::uncheckedDisXpm, Vantor::checkedDisXpm})
        EXPECT_TRUE(SamePixels(ImageFromXpm(picture), wxImage(picture))) << picture[0];
}

TEST(XpmImage, ReadsAFileAsItReadsItsStrings) {
    EXPECT_TRUE(SamePixels(ImageFromXpm(LogoXpmText()), wxImage(lumo_logo_xpm)));
    EXPECT_TRUE(ImageFromXpm(std::string_view("{\"1 1 1 1\", \"a c #000000\", \"a\"}")).IsOk());
}

TEST(XpmImage, RejectsAFileThatEndsTooEarly) {
    for (const std::string_view file :
         {"", "{\"1 2 2 1\"}", "{\"1 2 2 1\", \"a c #000000\"}", "{\"1 2 2 1\", \"a c #000000\", \"b c #000001\"}",
          "{\"1 2 2 1\", \"a c #000000\", \"b c #000001\", \"a\"}",
          "{\"1 2 2 1\", \"a c #000000\", \"b c #000001\", \"a\", \"b"})
        EXPECT_FALSE(ImageFromXpm(file).IsOk()) << file;
}

TEST(XpmImage, ReadsColoursInBothLetterCases) {
    const wxImage image = Decode({"2 1 2 1", "a c #0aFf80", "b c #FFFFFF", "ab"});
    ASSERT_TRUE(image.IsOk());
    EXPECT_EQ(PixelAt(image, 0, 0), Pixel(false, 0x0a, 0xff, 0x80));
    EXPECT_EQ(PixelAt(image, 1, 0), Pixel(false, 0xff, 0xff, 0xff));
    EXPECT_FALSE(image.HasAlpha());
}

TEST(XpmImage, NoneIsTransparent) {
    const wxImage image = Decode({"3 1 2 1", "  c None", "# c #102030", "# #"});
    ASSERT_TRUE(image.IsOk());
    EXPECT_FALSE(image.IsTransparent(0, 0));
    EXPECT_TRUE(image.IsTransparent(1, 0));
    EXPECT_FALSE(image.IsTransparent(2, 0));
}

TEST(XpmImage, ReadsOneToFourCharactersAPixel) {
    for (unsigned length = 1; length <= 4; ++length) {
        const std::string a(length, '\\');
        const std::string b = std::string(length - 1, '\\') + "\xe9"; // a character above 127 is a key as well
        const wxImage image =
            Decode({"2 2 2 " + std::to_string(length), a + " c #010203", b + "\tc #040506", a + b, b + a});
        ASSERT_TRUE(image.IsOk()) << length;
        EXPECT_EQ(PixelAt(image, 0, 0), Pixel(false, 1, 2, 3));
        EXPECT_EQ(PixelAt(image, 1, 0), Pixel(false, 4, 5, 6));
        EXPECT_EQ(PixelAt(image, 0, 1), Pixel(false, 4, 5, 6));
        EXPECT_EQ(PixelAt(image, 1, 1), Pixel(false, 1, 2, 3));
    }
}

TEST(XpmImage, LastOfTwoColoursOfOneKeyCounts) {
    const wxImage image = Decode({"1 1 2 1", "a c #000001", "a c #000002", "a"});
    ASSERT_TRUE(image.IsOk());
    EXPECT_EQ(PixelAt(image, 0, 0), Pixel(false, 0, 0, 2));
}

TEST(XpmImage, RejectsAHeaderThatIsNone) {
    for (const char* header : {"", "1 1 1", "x 1 1 1", "0 1 1 1", "1 0 1 1", "1 1 0 1", "1 1 1 0", "1 1 1 5",
                               "-1 1 1 1", "99999 1 1 1", "1 1 4000000000 1"})
        EXPECT_FALSE(Decode({header, "a c #000000", "a"}).IsOk()) << header;
}

TEST(XpmImage, RejectsColoursThatItDoesNotKnow) {
    for (const char* colour : {"", "a", "a c", "a c ", "a c #00000", "a c #0000000", "a c #00000g", "a c red",
                               "a m #000000", "a c #", "a c none"})
        EXPECT_FALSE(Decode({"1 1 1 1", colour, "a"}).IsOk()) << colour;
}

TEST(XpmImage, RejectsKeysOfTooManyCharacters) {
    std::vector<std::string> rows = {"1 1 64 4"};
    for (char c = 48; c < 48 + 64; ++c)
        rows.push_back(std::string(4, c) + " c #000000");
    rows.push_back("0000");
    EXPECT_FALSE(Decode(rows).IsOk()) << "64 characters at each of four places: 16 million keys";
}

TEST(XpmImage, TakesKeysOfManyCharacters) {
    std::vector<std::string> rows = {"2 1 45 4"};
    for (char c = 48; c < 48 + 45; ++c)
        rows.push_back(std::string(4, c) + " c #0000" + (c == '1' ? "01" : "02"));
    rows.push_back("11110000");
    const wxImage image = Decode(rows);
    ASSERT_TRUE(image.IsOk());
    EXPECT_EQ(PixelAt(image, 0, 0), Pixel(false, 0, 0, 1));
    EXPECT_EQ(PixelAt(image, 1, 0), Pixel(false, 0, 0, 2));
}

TEST(XpmImage, RejectsPixelsThatMixTheCharactersOfTwoColours) {
    EXPECT_FALSE(Decode({"1 1 2 2", "ab c #000000", "cd c #000000", "ad"}).IsOk());
}

TEST(XpmImage, RejectsAKeyThatIsCutOff) {
    EXPECT_FALSE(Decode({"1 1 1 3", "ab", "aba"}).IsOk());
}

TEST(XpmImage, RejectsPixelsWithoutColour) {
    EXPECT_FALSE(Decode({"2 1 1 1", "a c #000000", "ab"}).IsOk());
    EXPECT_FALSE(Decode({"2 1 1 1", "a c #000000", "ba"}).IsOk());
}

TEST(XpmImage, RejectsARowThatIsTooShort) {
    EXPECT_FALSE(Decode({"3 1 1 1", "a c #000000", "aa"}).IsOk());
    EXPECT_FALSE(Decode({"2 2 1 2", "aa c #000000", "aaaa", "aaa"}).IsOk());
}
