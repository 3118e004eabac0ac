#include "util/I18N.h"

#include "tests/support/MessageCatalog.h"

#include <wx/init.h>
#include <wx/intl.h>
#include <wx/log.h>

#include <array>
#include <climits>
#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <sys/stat.h>

#include <gtest/gtest.h>

namespace fs = std::filesystem;
using Vantor::I18N;

/// The C library keeps the list of folders that LOCPATH names, a new one at each change of the locale.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:argz_add_sep\n";
}

namespace {

const fs::path Catalogs = "/etc/lumoclient/I18N";

void Write(const fs::path& file, const std::string& content) {
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
}

std::string Shown(const char* text) {
    return wxGetTranslation(wxString::FromUTF8(text)).utf8_string();
}

/// Everything that the toolkit would have told the user.
class LogCatcher : public wxLog {
public:
    LogCatcher() : previous(SetActiveTarget(this)) {}
    ~LogCatcher() override { SetActiveTarget(previous); }

    std::vector<std::string> messages;

private:
    void DoLogRecord(wxLogLevel, const wxString& message, const wxLogRecordInfo&) override {
        messages.push_back(message.utf8_string());
    }

    wxLog* previous;
};

/// Runs on a machine with exactly the locales that a test asks for, and C, POSIX and C.UTF-8, which are always there.
class I18NTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(std::getenv("LUMOADMIN_SANDBOX"), nullptr) << "writes below /etc: run it through ctest";
        fs::remove_all(locales);
        fs::create_directories(locales);
        setenv("LOCPATH", locales.c_str(), 1);
        UseSystemLanguage("C.UTF-8");
        ASSERT_TRUE(toolkit.IsOk());
    }

    void TearDown() override {
        I18N::Destroy();
        fs::remove_all(locales);
    }

    void InstallLocale(const std::string& name) {
        const fs::path compiled = fs::path(TEST_LOCALES) / (name + ".UTF-8");
        ASSERT_TRUE(fs::is_directory(compiled)) << compiled;
        fs::create_directory_symlink(compiled, locales / compiled.filename());
    }

    static void UseSystemLanguage(const std::string& name) {
        for (const char* variable : {"LC_ALL", "LANGUAGE", "LC_MESSAGES"})
            unsetenv(variable);
        setenv("LANG", name.c_str(), 1);
    }

    static void InstallCatalog(const std::string& language, const Messages& messages) {
        Write(Catalogs / language / "LC_MESSAGES" / "LumoClient.mo", CompiledCatalog(messages));
    }

    /// German, English and French, each with a catalogue of its own.
    void InstallThreeLanguages() {
        for (const char* name : {"de_DE", "en_GB", "fr_FR"})
            InstallLocale(name);
        InstallCatalog("de", {{"Abbrechen", "Abbrechen (de)"}});
        InstallCatalog("en", {{"Abbrechen", "Cancel"}});
        InstallCatalog("fr", {{"Abbrechen", "Annuler"}});
    }

private:
    const fs::path locales = "/mnt/locales";
    const wxInitializer toolkit;
};

/// Initialises and checks that nobody was told anything.
int InitializeQuietly(long language) {
    LogCatcher log;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int result = I18N::GetHandle()->Initialize(language);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_TRUE(log.messages.empty()) << log.messages.front();
    return result;
}

} // namespace

TEST_F(I18NTest, CatalogIsNamedAfterTheClient) {
    EXPECT_STREQ(I18N::CATALOG_NAME, L"LumoClient");
}

TEST_F(I18NTest, GetHandleReturnsOneInstanceWithoutLocale) {
    I18N* const handle = I18N::GetHandle();
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(I18N::GetHandle(), handle);
    EXPECT_EQ(wxGetLocale(), nullptr);
}

TEST_F(I18NTest, DestroyWithoutInstanceDoesNothing) {
    I18N::Destroy();
    I18N::Destroy();
    EXPECT_EQ(wxGetLocale(), nullptr);
}

TEST_F(I18NTest, GetHandleAfterDestroyMakesAFreshInstance) {
    // given
    InstallThreeLanguages();
    I18N::GetHandle()->Initialize(wxLANGUAGE_ENGLISH);
    ASSERT_EQ(Shown("Abbrechen"), "Cancel");

    // when
    I18N::Destroy();

    // then
    EXPECT_EQ(wxGetLocale(), nullptr) << "Destroy frees the locale";
    ASSERT_NE(I18N::GetHandle(), nullptr);
    EXPECT_EQ(wxGetLocale(), nullptr);
    EXPECT_EQ(Shown("Abbrechen"), "Abbrechen");
    EXPECT_EQ(I18N::GetHandle()->Initialize(wxLANGUAGE_ENGLISH), 0);
    EXPECT_EQ(Shown("Abbrechen"), "Cancel");
}

TEST_F(I18NTest, InitializeSetsTheLanguageAskedFor) {
    InstallThreeLanguages();
    EXPECT_EQ(InitializeQuietly(wxLANGUAGE_FRENCH), 0);
    EXPECT_EQ(Shown("Abbrechen"), "Annuler");
    EXPECT_EQ(wxGetLocale()->GetLanguage(), wxLANGUAGE_FRENCH);
    EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "fr_FR.UTF-8");
}

TEST_F(I18NTest, CatalogMayLieInTheLanguageFolderItself) {
    InstallLocale("de_DE");
    Write(Catalogs / "de" / "LumoClient.mo", CompiledCatalog({{"Abbrechen", "Abbrechen (de)"}}));
    EXPECT_EQ(InitializeQuietly(wxLANGUAGE_GERMAN), 0);
    EXPECT_EQ(Shown("Abbrechen"), "Abbrechen (de)");
}

TEST_F(I18NTest, CatalogMayLieInTheFolderForMessages) {
    InstallLocale("de_DE");
    InstallCatalog("de", {{"Abbrechen", "Abbrechen (de)"}});
    EXPECT_EQ(InitializeQuietly(wxLANGUAGE_GERMAN), 0);
    EXPECT_EQ(Shown("Abbrechen"), "Abbrechen (de)");
}

TEST_F(I18NTest, CatalogOfTheRegionGoesBeforeTheOneOfTheLanguage) {
    InstallLocale("de_DE");
    InstallCatalog("de", {{"Abbrechen", "language"}});
    InstallCatalog("de_DE", {{"Abbrechen", "region"}});
    EXPECT_EQ(InitializeQuietly(wxLANGUAGE_GERMAN), 0);
    EXPECT_EQ(Shown("Abbrechen"), "region");
}

TEST_F(I18NTest, UmlautsSurviveInIdsAndTranslations) {
    InstallThreeLanguages();
    InstallCatalog("en", {{"Übernehmen", "Apply – naïvely"}});
    EXPECT_EQ(InitializeQuietly(wxLANGUAGE_ENGLISH), 0);
    EXPECT_EQ(Shown("Übernehmen"), "Apply – naïvely");
}

TEST_F(I18NTest, TextsWithoutTranslationStayAsTheyAre) {
    InstallThreeLanguages();
    EXPECT_EQ(InitializeQuietly(wxLANGUAGE_ENGLISH), 0);
    EXPECT_EQ(Shown("Kartenleser"), "Kartenleser");
}

TEST_F(I18NTest, MissingCatalogIsNoError) {
    InstallLocale("fr_FR");
    EXPECT_EQ(InitializeQuietly(wxLANGUAGE_FRENCH), 0);
    EXPECT_EQ(Shown("Abbrechen"), "Abbrechen");
    EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "fr_FR.UTF-8");
}

TEST_F(I18NTest, SystemLanguageWithoutCatalogShowsUntranslatedTexts) {
    InstallLocale("fr_FR");
    UseSystemLanguage("fr_FR.UTF-8");
    EXPECT_EQ(I18N::GetHandle()->Initialize(), 0);
    EXPECT_EQ(Shown("Abbrechen"), "Abbrechen");
    EXPECT_EQ(wxGetLocale()->GetCanonicalName(), "fr_FR");
}

TEST_F(I18NTest, DefaultAndUnknownAndNoArgumentMeanTheSystemLanguage) {
    InstallThreeLanguages();
    UseSystemLanguage("fr_FR.UTF-8");
    EXPECT_EQ(InitializeQuietly(wxLANGUAGE_DEFAULT), 0);
    EXPECT_EQ(Shown("Abbrechen"), "Annuler");
    I18N::Destroy();
    EXPECT_EQ(InitializeQuietly(wxLANGUAGE_UNKNOWN), 0);
    EXPECT_EQ(Shown("Abbrechen"), "Annuler");
    I18N::Destroy();
    EXPECT_EQ(I18N::GetHandle()->Initialize(), 0);
    EXPECT_EQ(Shown("Abbrechen"), "Annuler");
}

TEST_F(I18NTest, LanguageThatTheSystemLacksGives2AndTheSystemLanguage) {
    // given
    InstallLocale("de_DE");
    UseSystemLanguage("de_DE.UTF-8");
    InstallCatalog("de", {{"Abbrechen", "Abbrechen (de)"}});
    InstallCatalog("fr", {{"Abbrechen", "Annuler"}});

    // when
    const int result = InitializeQuietly(wxLANGUAGE_FRENCH);

    // then
    EXPECT_EQ(result, 2);
    EXPECT_EQ(Shown("Abbrechen"), "Abbrechen (de)");
    EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "de_DE.UTF-8");
}

TEST_F(I18NTest, NumbersThatNameNoLanguageCountAsLanguagesThatTheSystemLacks) {
    InstallThreeLanguages();
    UseSystemLanguage("de_DE.UTF-8");
    for (const long number : {-1L, 9999L, 100000L, LONG_MAX, LONG_MIN}) {
        EXPECT_EQ(InitializeQuietly(number), 2) << number;
        EXPECT_EQ(Shown("Abbrechen"), "Abbrechen (de)") << number;
    }
}

TEST_F(I18NTest, NumbersAreNotCutToThirtyTwoBits) {
    if (sizeof(long) == sizeof(int))
        GTEST_SKIP() << "long has 32 bits here";
    InstallThreeLanguages();
    UseSystemLanguage("de_DE.UTF-8");
    EXPECT_EQ(InitializeQuietly(static_cast<long>((std::int64_t{1} << 32) + wxLANGUAGE_FRENCH)), 2);
}

TEST_F(I18NTest, SystemLanguageThatCannotBeSetGives1AndNoCatalog) {
    // given: a system set to German whose German locale was never made
    UseSystemLanguage("de_DE.UTF-8");
    InstallCatalog("de", {{"Abbrechen", "Abbrechen (de)"}});

    // when
    const int result = InitializeQuietly(wxLANGUAGE_DEFAULT);

    // then
    EXPECT_EQ(result, 1);
    EXPECT_EQ(Shown("Abbrechen"), "Abbrechen") << "the plain locale comes without the catalogue";
    EXPECT_NE(wxGetLocale(), nullptr);
}

TEST_F(I18NTest, OneGoesBeforeTwo) {
    UseSystemLanguage("de_DE.UTF-8");
    InstallCatalog("fr", {{"Abbrechen", "Annuler"}});
    EXPECT_EQ(InitializeQuietly(wxLANGUAGE_FRENCH), 1);
    EXPECT_EQ(Shown("Abbrechen"), "Abbrechen");
    EXPECT_EQ(InitializeQuietly(9999), 1);
}

TEST_F(I18NTest, SystemWithoutLanguageCountsAsEnglish) {
    InstallThreeLanguages();
    for (const char* name : {"C", "C.UTF-8", "POSIX"}) {
        UseSystemLanguage(name);
        EXPECT_EQ(InitializeQuietly(wxLANGUAGE_DEFAULT), 0) << name;
        EXPECT_EQ(Shown("Abbrechen"), "Cancel") << name;
    }
}

TEST_F(I18NTest, SystemWithoutLanguageAndWithoutEnglishLocaleGives2AndEnglishTexts) {
    InstallCatalog("en", {{"Abbrechen", "Cancel"}});
    for (const char* name : {"C", "C.UTF-8"}) {
        UseSystemLanguage(name);
        EXPECT_EQ(InitializeQuietly(wxLANGUAGE_DEFAULT), 2) << name;
        EXPECT_EQ(Shown("Abbrechen"), "Cancel") << name;
    }
}

TEST_F(I18NTest, SystemWithoutLanguageFindsAnyEnglishLocaleInAnyFolder) {
    InstallLocale("en_US");
    for (const char* folders : {"/mnt/none:/mnt/locales", "/mnt/locales:/mnt/none", ":/mnt/locales"}) {
        setenv("LOCPATH", folders, 1);
        UseSystemLanguage("C.UTF-8");
        EXPECT_EQ(InitializeQuietly(wxLANGUAGE_DEFAULT), 0) << folders;
    }
}

TEST_F(I18NTest, EveryLanguageWorksOnEverySystem) {
    InstallThreeLanguages();
    InstallCatalog("de", {{"Abbrechen", "Schließen (ä)"}});
    for (const char* name : {"C", "C.UTF-8", "de_DE.UTF-8", "en_GB.UTF-8", "fr_FR.UTF-8"}) {
        UseSystemLanguage(name);
        EXPECT_EQ(InitializeQuietly(wxLANGUAGE_GERMAN), 0) << name;
        EXPECT_EQ(Shown("Abbrechen"), "Schließen (ä)") << name;
        EXPECT_EQ(InitializeQuietly(wxLANGUAGE_ENGLISH), 0) << name;
        EXPECT_EQ(Shown("Abbrechen"), "Cancel") << name;
        I18N::Destroy();
    }
}

TEST_F(I18NTest, EnglishWorksWhereOnlyAmericanEnglishIsInstalled) {
    InstallLocale("en_US");
    InstallCatalog("en", {{"Abbrechen", "Cancel"}});
    EXPECT_EQ(InitializeQuietly(wxLANGUAGE_ENGLISH), 0);
    EXPECT_EQ(Shown("Abbrechen"), "Cancel");
}

TEST_F(I18NTest, AmericanSystemsShowTheEnglishCatalog) {
    InstallLocale("en_US");
    UseSystemLanguage("en_US.UTF-8");
    InstallCatalog("en", {{"Abbrechen", "Cancel"}});
    EXPECT_EQ(InitializeQuietly(wxLANGUAGE_DEFAULT), 0);
    EXPECT_EQ(Shown("Abbrechen"), "Cancel");
}

TEST_F(I18NTest, InitializeAgainSwitchesTheLanguage) {
    InstallThreeLanguages();
    const std::array<std::pair<wxLanguage, const char*>, 4> switches = {{{wxLANGUAGE_GERMAN, "Abbrechen (de)"},
                                                                         {wxLANGUAGE_ENGLISH, "Cancel"},
                                                                         {wxLANGUAGE_FRENCH, "Annuler"},
                                                                         {wxLANGUAGE_GERMAN, "Abbrechen (de)"}}};
    for (const auto& [language, text] : switches) {
        EXPECT_EQ(InitializeQuietly(language), 0);
        EXPECT_EQ(Shown("Abbrechen"), text);
    }
}

TEST_F(I18NTest, FailingAfterASuccessLeavesNothingOfTheFirstLanguage) {
    InstallThreeLanguages();
    ASSERT_EQ(InitializeQuietly(wxLANGUAGE_FRENCH), 0);
    UseSystemLanguage("xx_YY.UTF-8");
    EXPECT_EQ(InitializeQuietly(wxLANGUAGE_DEFAULT), 1);
    EXPECT_EQ(Shown("Abbrechen"), "Abbrechen");
}

TEST_F(I18NTest, FreeLocaleGoesBackToTheLocaleOfBefore) {
    // given
    InstallThreeLanguages();
    const std::string before = std::setlocale(LC_ALL, nullptr);
    ASSERT_EQ(InitializeQuietly(wxLANGUAGE_GERMAN), 0);
    ASSERT_EQ(InitializeQuietly(wxLANGUAGE_FRENCH), 0);

    // when
    I18N::GetHandle()->FreeLocale();

    // then
    EXPECT_EQ(wxGetLocale(), nullptr);
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
    EXPECT_EQ(Shown("Abbrechen"), "Abbrechen");
    I18N::GetHandle()->FreeLocale(); // nothing is left to free
}

TEST_F(I18NTest, ToolkitsOwnCatalogIsLoadedToo) {
    InstallLocale("de_DE");
    const wxString domain = wxString::Format("wxstd-%d.%d", wxMAJOR_VERSION, wxMINOR_VERSION);
    Write(Catalogs / "de" / "LC_MESSAGES" / (domain.utf8_string() + ".mo"), CompiledCatalog({{"Help", "Hilfe"}}));
    // The first call registers the folder, in which the second one then finds what stands for the toolkit's catalogue.
    ASSERT_EQ(InitializeQuietly(wxLANGUAGE_GERMAN), 0);
    ASSERT_EQ(InitializeQuietly(wxLANGUAGE_GERMAN), 0);
    EXPECT_EQ(Shown("Help"), "Hilfe");
}

TEST_F(I18NTest, DamagedCatalogsAreAsMissingOnes) {
    const std::string whole = CompiledCatalog({{"Abbrechen", "Cancel"}});
    const std::string garbled = LittleEndian(0x950412de) + LittleEndian(0) + LittleEndian(0x10000000) +
                                LittleEndian(0x7ffffff0) + LittleEndian(0xfffffff0) + LittleEndian(0) + LittleEndian(0);
    const std::string damaged[] = {"",
                                   "x",
                                   "This is no catalogue, but it is long enough to hold a header of one.\n",
                                   whole.substr(0, 20),
                                   whole.substr(0, 40),
                                   whole.substr(0, whole.size() / 2),
                                   garbled};
    InstallLocale("en_GB");
    for (const std::string& content : damaged) {
        Write(Catalogs / "en" / "LC_MESSAGES" / "LumoClient.mo", content);
        EXPECT_EQ(InitializeQuietly(wxLANGUAGE_ENGLISH), 0) << content.size();
        EXPECT_EQ(Shown("Kartenleser"), "Kartenleser") << content.size();
    }
}

TEST_F(I18NTest, DamagedCatalogLeavesTheSearchToTheNextFolder) {
    InstallLocale("en_GB");
    Write(Catalogs / "en" / "LC_MESSAGES" / "LumoClient.mo", CompiledCatalog({{"Abbrechen", "Cancel"}}).substr(0, 40));
    Write(Catalogs / "en" / "LumoClient.mo", CompiledCatalog({{"Abbrechen", "Cancel"}}));
    EXPECT_EQ(InitializeQuietly(wxLANGUAGE_ENGLISH), 0);
    EXPECT_EQ(Shown("Abbrechen"), "Cancel");
}

TEST_F(I18NTest, NoDamageToACatalogIsFollowed) {
    const std::string whole = CompiledCatalog({{"Abbrechen", "Cancel"}, {"Kartenleser", "Card readers"}});
    InstallLocale("en_GB");
    const auto show = [&](const std::string& content) {
        Write(Catalogs / "en" / "LC_MESSAGES" / "LumoClient.mo", content);
        EXPECT_EQ(InitializeQuietly(wxLANGUAGE_ENGLISH), 0);
        EXPECT_FALSE(Shown("Abbrechen").empty());
    };
    for (std::size_t size = 0; size < whole.size(); ++size)
        show(whole.substr(0, size));
    for (std::size_t place = 0; place < 28 + 3 * 16; place += 4)
        for (const std::size_t number :
             {std::size_t{1}, whole.size() - 1, std::size_t{0x80000000}, std::size_t{0xfffffffc}})
            show(std::string(whole).replace(place, 4, LittleEndian(number)));
}

TEST_F(I18NTest, HeadThatNamesWideCharactersOrDeepPluralsIsSurvived) {
    InstallLocale("en_GB");
    for (const std::string& type :
         {std::string("charset=UTF-16\n"), std::string("charset=UCS-4LE\n"), std::string("charset=\n"),
          "charset=UTF-8\nPlural-Forms: nplurals=2; plural=" + std::string(1000000, '(') + "n;\n"}) {
        std::string content = CompiledCatalog({{"Abbrechen", "Cancel"}});
        const std::string head = "Content-Type: text/plain; " + type;
        // In place of the head, which is the first translation; its texts then end with the file.
        const std::size_t place = content.size();
        content.replace(28 + 2 * 8, 8, LittleEndian(head.size()) + LittleEndian(place));
        Write(Catalogs / "en" / "LC_MESSAGES" / "LumoClient.mo", content + head + '\0');
        EXPECT_EQ(InitializeQuietly(wxLANGUAGE_ENGLISH), 0) << type.substr(0, 20);
    }
}

TEST_F(I18NTest, DamagedCatalogOfTheToolkitIsAsAMissingOne) {
    InstallLocale("de_DE");
    const wxString domain = wxString::Format("wxstd-%d.%d", wxMAJOR_VERSION, wxMINOR_VERSION);
    const std::string whole = CompiledCatalog({{"Help", "Hilfe"}});
    for (std::size_t size = 0; size < whole.size(); size += 3) {
        Write(Catalogs / "de" / "LC_MESSAGES" / (domain.utf8_string() + ".mo"), whole.substr(0, size));
        EXPECT_EQ(InitializeQuietly(wxLANGUAGE_GERMAN), 0);
        EXPECT_EQ(Shown("Help"), "Help");
    }
}

TEST_F(I18NTest, CatalogThatIsAPipeHoldsNothingUp) {
    InstallLocale("en_GB");
    fs::create_directories(Catalogs / "en" / "LC_MESSAGES");
    ASSERT_EQ(mkfifo((Catalogs / "en" / "LC_MESSAGES" / "LumoClient.mo").c_str(), 0644), 0);
    EXPECT_EQ(InitializeQuietly(wxLANGUAGE_ENGLISH), 0);
    EXPECT_EQ(Shown("Abbrechen"), "Abbrechen");
}

TEST_F(I18NTest, CatalogThatIsAFolderIsAsAMissingOne) {
    InstallLocale("en_GB");
    fs::create_directories(Catalogs / "en" / "LC_MESSAGES" / "LumoClient.mo");
    EXPECT_EQ(InitializeQuietly(wxLANGUAGE_ENGLISH), 0);
    EXPECT_EQ(Shown("Abbrechen"), "Abbrechen");
}

TEST_F(I18NTest, ToolkitSpeaksAgainAfterInitialize) {
    LogCatcher log;
    UseSystemLanguage("xx_YY.UTF-8");
    EXPECT_EQ(I18N::GetHandle()->Initialize(), 1);
    EXPECT_TRUE(log.messages.empty());
    wxLogError("heard");
    EXPECT_EQ(log.messages, std::vector<std::string>{"heard"});
}
