#include "app/XpmImage.h"

#include "app/CheckedXPM.h"
#include "resources/icon.xpm"
#include "resources/logo.xpm"
#include "resources/status_installed.xpm"
#include "resources/status_started.xpm"

#include <gtest/gtest.h>

#include <tuple>

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

} // namespace

TEST(XpmImage, EveryPictureOfTheProgramLooksAsTheToolkitReadsIt) {
    for (const auto* picture : {lumo_icon_xpm, lumo_status_installed_xpm, lumo_status_started_xpm, Vantor::uncheckedXpm,
                                Vantor::checkedXpm, Vantor::uncheckedDisXpm, Vantor::checkedDisXpm})
        EXPECT_TRUE(SamePixels(ImageFromXpm(picture), wxImage(picture))) << picture[0];
}

TEST(XpmImage, LogoIsThePictureInTheTree) {
    EXPECT_TRUE(SamePixels(LogoImage(), wxImage(lumo_logo_xpm)));
}

TEST(XpmImage, OnlyAPictureWithATransparentColourHasAnAlphaChannel) {
    EXPECT_TRUE(ImageFromXpm(lumo_icon_xpm).HasAlpha());
    EXPECT_FALSE(LogoImage().HasAlpha());
    const char* const opaque[] = {"1 1 1 1", "a c #000000", "a"};
    EXPECT_FALSE(ImageFromXpm(opaque).HasAlpha());
}

TEST(XpmImage, WhatIsNoPictureIsAnInvalidImage) {
    const char* const nothing[] = {""};
    EXPECT_FALSE(ImageFromXpm(nothing).IsOk());
}
