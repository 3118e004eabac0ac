#include "app/ClientLanguage.h"

#include <gtest/gtest.h>

#include <climits>

TEST(ClientLanguage, EnglishVariantsGetTheToolkitsEnglish) {
    for (long number = 58; number <= 73; ++number)
        EXPECT_EQ(ClientLanguage::ToToolkit(number), wxLANGUAGE_ENGLISH) << number;
}

TEST(ClientLanguage, GermanVariantsGetTheToolkitsGerman) {
    for (long number = 89; number <= 94; ++number)
        EXPECT_EQ(ClientLanguage::ToToolkit(number), wxLANGUAGE_GERMAN) << number;
}

TEST(ClientLanguage, ZeroAndOneAreTheSystemsDefault) {
    EXPECT_EQ(ClientLanguage::ToToolkit(0), wxLANGUAGE_DEFAULT);
    EXPECT_EQ(ClientLanguage::ToToolkit(1), wxLANGUAGE_DEFAULT);
}

TEST(ClientLanguage, AnyOtherNumberIsALanguageThatNoSystemHas) {
    for (const long number : {2L, 57L, 74L, 88L, 95L, 175L, 373L, -1L, LONG_MAX, LONG_MIN}) {
        const wxLanguage language = ClientLanguage::ToToolkit(number);
        EXPECT_NE(language, wxLANGUAGE_DEFAULT) << number;
        EXPECT_FALSE(wxLocale::IsAvailable(language)) << number;
    }
}
