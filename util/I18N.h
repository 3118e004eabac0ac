// The language of the user interface: the toolkit's locale and the program's message catalogue.
#pragma once

#include <memory>

class wxLocale;

namespace Vantor {

/// Process-wide choice of the user-interface language. Use it from the user-interface thread only: nothing is locked.
///
/// The message ids are German texts. Catalogues are looked up below the system's configuration directory as
/// /etc/lumoclient/I18N/LANGUAGE/LumoClient.mo or /etc/lumoclient/I18N/LANGUAGE/LC_MESSAGES/LumoClient.mo.
class I18N {
public:
    /// Domain of the catalogue; its compiled file is LumoClient.mo.
    static constexpr wchar_t CATALOG_NAME[] = L"LumoClient";

    /// An instance without locale. The program uses the one that GetHandle returns.
    I18N();
    I18N(const I18N&) = delete;
    I18N& operator=(const I18N&) = delete;
    /// Calls FreeLocale.
    ~I18N();

    /// The one instance, created without locale by the first call; it belongs to this class and lives until Destroy.
    static I18N* GetHandle();

    /// Destroys the instance, if there is one; the next GetHandle makes a fresh one.
    static void Destroy();

    /// Frees the present locale, then sets the one of `language` and loads its catalogue. Logs nothing, throws nothing.
    /// @param language  a code of the toolkit's wxLanguage; wxLANGUAGE_DEFAULT and wxLANGUAGE_UNKNOWN mean the system's
    /// @return 0: that language is in use (a missing catalogue leaves the texts untranslated, which is no error);
    ///         2: the system lacks that language, its default is in use instead;
    ///         1: no locale could be made ready, a plain default one without catalogue is set (goes before 2)
    int Initialize(long language);

    /// As Initialize(long) with the system's default language.
    int Initialize();

    /// Frees the present locale, if any; the toolkit then goes back to the locale that was set before.
    void FreeLocale();

private:
    static std::unique_ptr<I18N> m_Handle;

    std::unique_ptr<wxLocale> m_Locale;
};

} // namespace Vantor
