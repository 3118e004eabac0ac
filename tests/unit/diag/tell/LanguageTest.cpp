#include "diag/tell/Language.h"

#include "tests/support/Environment.h"
#include "tests/support/MessageCatalog.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace Diag;

namespace {

/// None of them set.
class LanguageTest : public testing::Test {
    test::Variable noAll{"LC_ALL", std::nullopt};
    test::Variable noMessages{"LC_MESSAGES", std::nullopt};
    test::Variable noLang{"LANG", std::nullopt};
    test::Variable noList{"LANGUAGE", std::nullopt};
};

} // namespace

TEST_F(LanguageTest, GermanTextsAreTheMessageIds) {
    UseLanguage("de", CATALOG_FOLDER);
    EXPECT_STREQ(Translate("PC/SC-Dienst"), "PC/SC-Dienst");
}

TEST_F(LanguageTest, EnglishTextsComeFromTheCatalogue) {
    UseLanguage("en", CATALOG_FOLDER);
    EXPECT_STREQ(Translate("PC/SC-Dienst"), "PC/SC service");
    EXPECT_STREQ(Translate("Der Leser antwortet nicht."), "The reader does not answer.");
}

TEST_F(LanguageTest, LanguageCanBeChosenInTheLocaleC) {
    const test::Variable plain("LC_ALL", "C");
    UseLanguage("en", CATALOG_FOLDER);
    EXPECT_STREQ(Translate("Leser"), "Reader");
}

TEST_F(LanguageTest, TextsAreUtf8WhateverTheLocale) {
    const test::Variable plain("LC_ALL", "C");
    UseLanguage("de", CATALOG_FOLDER);
    EXPECT_STREQ(Translate("Gerätenummer"), "Ger\xC3\xA4tenummer");
}

TEST_F(LanguageTest, TextWithoutTranslationStaysGerman) {
    UseLanguage("en", CATALOG_FOLDER);
    EXPECT_STREQ(Translate("Nie übersetzt"), "Nie übersetzt");
}

TEST_F(LanguageTest, MissingCatalogueLeavesGerman) {
    const test::TemporaryFolder empty;
    UseLanguage("en", empty.Path());
    EXPECT_STREQ(Translate("Leser"), "Leser");
}

TEST_F(LanguageTest, ARegionWithoutACatalogueTakesItsLanguages) {
    UseLanguage("en_GB", CATALOG_FOLDER);
    EXPECT_STREQ(Translate("Leser"), "Reader");
}

TEST_F(LanguageTest, TextsThatTheCatalogueLeavesEmptyStayGerman) {
    const test::TemporaryFolder catalogs;
    std::filesystem::create_directories(catalogs / "en/LC_MESSAGES");
    test::WriteText(catalogs / "en/LC_MESSAGES/LumoClient.mo", CompiledCatalog({{"Leser", ""}}));
    UseLanguage("en", catalogs.Path());
    EXPECT_STREQ(Translate("Leser"), "Leser");
}

/// A real catalogue, cut off at many lengths and with many numbers of its tables damaged in turn.
TEST_F(LanguageTest, ADamagedCatalogueCountsAsMissing) {
    const std::string whole = test::ReadText(CATALOG_FOLDER "/en/LC_MESSAGES/LumoClient.mo");
    ASSERT_GT(whole.size(), 1000U);
    const test::TemporaryFolder catalogs;
    std::filesystem::create_directories(catalogs / "en/LC_MESSAGES");
    const auto translated = [&](const std::string& bytes) {
        test::WriteText(catalogs / "en/LC_MESSAGES/LumoClient.mo", bytes);
        UseLanguage("en", catalogs.Path());
        return std::string(Translate("Leser"));
    };
    EXPECT_EQ(translated(whole), "Reader");
    for (std::size_t size = 0; size < whole.size(); size += size < 64 ? 1 : 401) {
        EXPECT_EQ(translated(whole.substr(0, size)), "Leser") << "cut off at " << size;
    }
    for (std::size_t place = 0; place < 2048; place += place < 64 ? 4 : 36) {
        for (const std::size_t number :
             {std::size_t{0}, whole.size() - 1, std::size_t{0x80000000}, std::size_t{0xffffffff}}) {
            std::string damaged = whole;
            const std::string text = translated(damaged.replace(place, 4, LittleEndian(number)));
            EXPECT_FALSE(text.empty()) << number << " at " << place;
        }
    }
}

TEST_F(LanguageTest, TheEmptyTextHasNoTranslation) {
    UseLanguage("en", CATALOG_FOLDER);
    EXPECT_STREQ(Translate(""), "") << "not the catalogue's head";
}

TEST_F(LanguageTest, FillPutsValuesInTheirOrder) {
    EXPECT_EQ(Fill("%s von %s", {"1", "2"}), "1 von 2");
    EXPECT_EQ(Fill("%s", {"%s", "x"}), "%s") << "a value is no text to fill";
    EXPECT_EQ(Fill("nichts", {"x"}), "nichts");
    EXPECT_EQ(Fill("%s bleibt %s", {"a"}), "a bleibt %s");
}

TEST_F(LanguageTest, SystemLanguageGoesByTheFirstVariableThatIsSet) {
    EXPECT_EQ(SystemLanguage(), "en");
    const test::Variable lang("LANG", "de_DE.UTF-8");
    EXPECT_EQ(SystemLanguage(), "de");
    const test::Variable messages("LC_MESSAGES", "en_GB.UTF-8");
    EXPECT_EQ(SystemLanguage(), "en");
    const test::Variable all("LC_ALL", "de_AT@euro");
    EXPECT_EQ(SystemLanguage(), "de");
    all.Set("");
    EXPECT_EQ(SystemLanguage(), "en") << "an empty one does not count";
}

TEST_F(LanguageTest, TheLocaleCCountsAsEnglish) {
    const test::Variable lang("LANG", "de_DE");
    for (const char* const locale : {"C", "POSIX", "C.UTF-8"}) {
        const test::Variable all("LC_ALL", locale);
        EXPECT_EQ(SystemLanguage(), "en") << locale;
    }
}

TEST_F(LanguageTest, ConfiguredLanguagesHaveTheNamesOfTheirCatalogues) {
    EXPECT_EQ(LanguageName(ClientSettings::Language::English), "en");
    EXPECT_EQ(LanguageName(ClientSettings::Language::German), "de");
    EXPECT_EQ(LanguageName(ClientSettings::Language::System), "");
}

TEST_F(LanguageTest, KnownLanguagesAreGermanEnglishAndThoseWithACatalogue) {
    const test::TemporaryFolder catalogs;
    std::filesystem::create_directories(catalogs / "fr/LC_MESSAGES");
    test::WriteText(catalogs / "fr/LC_MESSAGES/LumoClient.mo", CompiledCatalog({{"Leser", "Lecteur"}}));
    for (const char* const known : {"de", "en", "fr"}) {
        EXPECT_TRUE(IsKnownLanguage(known, catalogs.Path())) << known;
    }
    for (const char* const unknown : {"", "it", "..", "fr/../fr", "DE"}) {
        EXPECT_FALSE(IsKnownLanguage(unknown, catalogs.Path())) << unknown;
    }
}

TEST_F(LanguageTest, EveryLanguageWithACatalogueIsListed) {
    const test::TemporaryFolder folder;
    for (const char* const language : {"fr", "cs"}) {
        std::filesystem::create_directories(folder / (std::string(language) + "/LC_MESSAGES"));
        test::WriteText(folder / (std::string(language) + "/LC_MESSAGES/LumoClient.mo"), CompiledCatalog({}));
    }
    std::filesystem::create_directories(folder / "nothing");
    std::filesystem::create_directories(folder / "it/LC_MESSAGES");
    test::WriteText(folder / "it/LC_MESSAGES/LumoClient.mo", CompiledCatalog({}).substr(0, 40)); // damaged
    EXPECT_EQ(KnownLanguages(folder.Path()), (std::vector<std::string>{"cs", "de", "en", "fr"}));
    EXPECT_EQ(KnownLanguages(folder / "missing"), (std::vector<std::string>{"de", "en"}));
}
