#include "diag/tell/Language.h"

#include "util/CatalogFile.h"

#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>

namespace Diag {

namespace {

namespace fs = std::filesystem;

/// By message id. Not the C library's own translations, which follow a damaged catalogue wherever it leads.
std::map<std::string, std::string> texts;

std::string Catalog(const std::string& language, const std::string& catalogs) {
    return Vantor::ReadCatalog(catalogs + "/" + language + "/LC_MESSAGES/LumoClient.mo");
}

std::string Environment(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::string() : value;
}

} // namespace

const char* Translate(const char* message) {
    // The translation of the empty text would be the catalogue's head.
    const auto found = *message == '\0' ? texts.end() : texts.find(message);
    return found == texts.end() || found->second.empty() ? message : found->second.c_str();
}

std::string Fill(const std::string& text, const std::vector<std::string>& values) {
    std::string filled;
    std::size_t from = 0;
    for (const std::string& value : values) {
        const std::size_t place = text.find("%s", from);
        if (place == std::string::npos) {
            break;
        }
        filled += text.substr(from, place - from) + value;
        from = place + 2;
    }
    return filled + text.substr(from);
}

void UseLanguage(const std::string& language, const std::string& catalogs) {
    std::string bytes = Catalog(language, catalogs);
    if (bytes.empty()) {
        bytes = Catalog(language.substr(0, language.find('_')), catalogs);
    }
    texts = Vantor::CatalogTexts(bytes);
}

bool IsKnownLanguage(const std::string& language, const std::string& catalogs) {
    if (language == "de" || language == "en") {
        return true;
    }
    const bool isName = !language.empty() && language.find_first_of("./") == std::string::npos;
    return isName && !Catalog(language, catalogs).empty();
}

std::vector<std::string> KnownLanguages(const std::string& catalogs) {
    std::set<std::string> languages = {"de", "en"};
    std::error_code error;
    for (fs::directory_iterator entry(catalogs, error), end; !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (IsKnownLanguage(name, catalogs)) {
            languages.insert(name);
        }
    }
    return {languages.begin(), languages.end()};
}

std::string SystemLanguage() {
    std::string locale;
    for (const char* const name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (locale.empty()) {
            locale = Environment(name);
        }
    }
    const std::string language = locale.substr(0, locale.find_first_of("_.@"));
    return language.empty() || language == "C" || language == "POSIX" ? "en" : language;
}

std::string LanguageName(ClientSettings::Language language) {
    switch (language) {
    case ClientSettings::Language::English:
        return "en";
    case ClientSettings::Language::German:
        return "de";
    default:
        return std::string();
    }
}

} // namespace Diag
