// In which language the program shows itself on which machine: checks, and fills, the tables of docs/languages.md.
#include "app/ClientLanguage.h"
#include "config/ClientSettings.h"
#include "util/I18N.h"

#include <wx/init.h>
#include <wx/intl.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace fs = std::filesystem;
using Vantor::I18N;

/// The C library keeps the list of folders that LOCPATH names, a new one at each change of the locale.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:argz_add_sep\n";
}

namespace {

const fs::path Document = fs::path(LUMOADMIN_SOURCE_DIR) / "docs" / "languages.md";
const std::vector<std::string> Systems = {"C", "de_DE.UTF-8", "en_US.UTF-8", "fr_FR.UTF-8"};
const std::vector<std::optional<long>> Settings = {std::nullopt, ClientSettings::GermanNumber,
                                                   ClientSettings::EnglishNumber};

class Languages : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(std::getenv("LUMOADMIN_SANDBOX"), nullptr) << "writes below /etc: run it through ctest";
        fs::create_directories("/etc/lumoclient/I18N");
        for (const char* language : {"de", "en"})
            fs::copy(fs::path(CATALOGS) / language, fs::path("/etc/lumoclient/I18N") / language,
                     fs::copy_options::recursive);
        for (const char* variable : {"LC_ALL", "LANGUAGE", "LC_MESSAGES"})
            unsetenv(variable);
        ASSERT_TRUE(toolkit.IsOk());
    }

    void TearDown() override {
        I18N::Destroy();
        fs::remove_all(locales);
    }

    /// In a folder of their own each time: the C library remembers what it did not find in a folder.
    void HaveLocales(const std::vector<std::string>& names) {
        const fs::path folder = locales / std::to_string(++machines);
        fs::create_directories(folder);
        for (const std::string& name : names) {
            const fs::path compiled = fs::path(TEST_LOCALES) / name;
            if (fs::exists(compiled) && !fs::exists(folder / name))
                fs::create_directory_symlink(compiled, folder / name);
        }
        setenv("LOCPATH", folder.c_str(), 1);
    }

    /// What a person reads on the button that closes the window.
    static std::string LanguageShown(const std::string& system, std::optional<long> setting) {
        setenv("LANG", system.c_str(), 1);
        I18N::Destroy();
        if (setting)
            I18N::GetHandle()->Initialize(ClientLanguage::ToToolkit(*setting));
        else
            I18N::GetHandle()->Initialize();
        const wxString text = wxGetTranslation(L"Abbrechen");
        return text == "Cancel" ? "English" : text == "Abbrechen" ? "German" : "?";
    }

    /// @param more  locales that the machine has beside the one that it is set to
    [[nodiscard]] std::string Table(const std::vector<std::string>& more) {
        std::ostringstream table;
        table << "| machine set to | no `Language` | `Language` 89 (German) | `Language` 58 (English) "
                 "|\n|---|---|---|---|\n";
        for (const std::string& system : Systems) {
            std::vector<std::string> present = more;
            present.push_back(system);
            HaveLocales(present);
            table << "| `" << system << "` |";
            for (const auto setting : Settings)
                table << " " << LanguageShown(system, setting) << " |";
            table << "\n";
        }
        return table.str();
    }

private:
    const fs::path locales = "/mnt/locales";
    const wxInitializer toolkit;
    int machines = 0;
};

std::string DocumentText() {
    std::ifstream stream(Document);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// The text between the lines "<!-- NAME -->" and "<!-- end of NAME -->".
std::pair<std::size_t, std::size_t> Section(const std::string& text, const std::string& name) {
    const std::string open = "<!-- " + name + " -->\n";
    const std::size_t begin = text.find(open);
    const std::size_t end = text.find("<!-- end of " + name + " -->");
    if (begin == std::string::npos || end == std::string::npos)
        return {0, 0};
    return {begin + open.size(), end};
}

void ExpectInDocument(const std::string& name, const std::string& table) {
    std::string text = DocumentText();
    const auto [begin, end] = Section(text, name);
    ASSERT_NE(begin, end) << "no section " << name;
    if (std::getenv("LUMOADMIN_FILL_DOCS") != nullptr) {
        text.replace(begin, end - begin, table);
        std::ofstream(Document) << text;
        return;
    }
    EXPECT_EQ(text.substr(begin, end - begin), table) << "LUMOADMIN_FILL_DOCS=1 ctest ... writes it into the document";
}

} // namespace

TEST_F(Languages, TableForMachinesWithTheirOwnLocaleOnly) {
    ExpectInDocument("own locale only", Table({}));
}

TEST_F(Languages, TableForMachinesWithAGermanAndAnEnglishLocaleToo) {
    ExpectInDocument("german and english too", Table({"de_DE.UTF-8", "en_US.UTF-8"}));
}
