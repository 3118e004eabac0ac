#include "diag/Language.h"

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <libintl.h>
#include <set>
#include <unistd.h>

namespace Diag {

namespace {

namespace fs = std::filesystem;

constexpr char Catalog[] = "LumoClient";

std::string Environment(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::string() : value;
}

bool IsIn(long number, long first, long last) {
    return number >= first && number <= last;
}

} // namespace

const char* Translate(const char* message) {
    // The translation of the empty text would be the catalogue's head.
    return *message == '\0' ? message : dgettext(Catalog, message);
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
    // In the locale "C" gettext looks for no translation. This one is part of the C library; LANGUAGE decides.
    setlocale(LC_MESSAGES, "C"); // a change of the locale makes gettext forget another language's texts
    setlocale(LC_MESSAGES, "C.UTF-8");
    setenv("LANGUAGE", language.c_str(), 1);
    bindtextdomain(Catalog, catalogs.c_str());
    bind_textdomain_codeset(Catalog, "UTF-8");
}

bool IsKnownLanguage(const std::string& language, const std::string& catalogs) {
    if (language == "de" || language == "en") {
        return true;
    }
    const bool isName = !language.empty() && language.find_first_of("./") == std::string::npos;
    return isName && access((catalogs + "/" + language + "/LC_MESSAGES/" + Catalog + ".mo").c_str(), R_OK) == 0;
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

std::optional<std::string> LanguageOfNumber(long number) {
    // The client's numbers; the window reads them alike.
    if (IsIn(number, 0, 1)) {
        return "";
    }
    if (IsIn(number, 58, 73)) {
        return "en";
    }
    if (IsIn(number, 89, 94)) {
        return "de";
    }
    return std::nullopt;
}

} // namespace Diag
