// Texts in the user's language, from the same catalogues as the window's, without the window's toolkit.
#pragma once

#include "config/ClientSettings.h"

#include <string>
#include <vector>

namespace Diag {

constexpr char CatalogFolder[] = "/etc/lumoclient/I18N";

/// The text of a German message id in the chosen language; the id itself where there is no translation. UTF-8.
[[nodiscard]] const char* Translate(const char* message);

/// Puts the values in place of each "%s" of a text in their order.
[[nodiscard]] std::string Fill(const std::string& text, const std::vector<std::string>& values);

/// Chooses the language, "de" or "en" or that of another catalogue in `catalogs`.
void UseLanguage(const std::string& language, const std::string& catalogs = CatalogFolder);

/// Whether there are texts in this language.
[[nodiscard]] bool IsKnownLanguage(const std::string& language, const std::string& catalogs = CatalogFolder);

/// All languages with texts, sorted.
[[nodiscard]] std::vector<std::string> KnownLanguages(const std::string& catalogs = CatalogFolder);

/// The language of the environment (LC_ALL, LC_MESSAGES, LANG); English for "C".
[[nodiscard]] std::string SystemLanguage();

/// "de", "en", "" for the system's.
[[nodiscard]] std::string LanguageName(ClientSettings::Language language);

} // namespace Diag
