#include "util/I18N.h"

#include "util/CatalogLoader.h"

#include <wx/filename.h>
#include <wx/intl.h>
#include <wx/log.h>
#include <wx/stdpaths.h>
#include <wx/translation.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <system_error>

namespace fs = std::filesystem;

namespace Vantor {

namespace {

enum Result : int { Ready = 0, PlainDefault = 1, LanguageMissing = 2 };

/// Whether a folder of locales can hold one for English. The C library keeps compiled locales in folders of their own
/// names; an archive of them, which only its usual folder has, is not looked into.
bool MayHoldEnglish(const fs::path& folder) {
    std::error_code error;
    for (auto entry = fs::directory_iterator(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        const std::string name = entry->path().filename();
        if (name.rfind("en", 0) == 0 || name == "locale-archive")
            return true;
    }
    return false;
}

/// The toolkit takes a system without a language of its own for English and then tries the locales of sixty countries,
/// a seventh of all work of a start. This tells the many boards that have none of them at once.
bool WouldSearchEnglishInVain() {
    if (!wxLocale::GetLanguageCanonicalName(wxLocale::GetSystemLanguage()).StartsWith(L"en"))
        return false;
    const char* const listed = std::getenv("LOCPATH");
    if (listed == nullptr || *listed == '\0')
        return !MayHoldEnglish("/usr/lib/locale");
    std::istringstream folders(listed);
    for (std::string folder; std::getline(folders, folder, ':');)
        if (MayHoldEnglish(folder))
            return false;
    return !MayHoldEnglish("/usr/lib/locale"); // asked last, after those of the list
}

/// The toolkit stops with an assertion when it is asked for the locale of a number that names no language.
bool SystemHas(long language) {
    const int code = static_cast<int>(language);
    if (code != language || !wxLocale::GetLanguageInfo(code))
        return false;
    if (code == wxLANGUAGE_DEFAULT && WouldSearchEnglishInVain())
        return false;
    return wxLocale::IsAvailable(code);
}

wxString CatalogDirectory() {
    wxFileName directory = wxFileName::DirName(wxStandardPaths::Get().GetConfigDir());
    directory.AppendDir(L"lumoclient");
    directory.AppendDir(L"I18N");
    return directory.GetPath(wxPATH_GET_VOLUME);
}

/// Has to be there before a locale, which would else bring its own.
void UseSystemLanguageLoader() {
    auto translations = std::make_unique<wxTranslations>();
    translations->SetLoader(new CatalogLoader(CatalogDirectory())); // now theirs
    wxTranslations::Set(translations.release());                    // now the toolkit's
}

std::unique_ptr<wxLocale> MakeLocale(int language) {
    UseSystemLanguageLoader();
    auto locale = std::make_unique<wxLocale>();
    locale->Init(language, wxLOCALE_LOAD_DEFAULT);
    return locale;
}

} // namespace

std::unique_ptr<I18N> I18N::m_Handle;

I18N::I18N() = default;

I18N::~I18N() {
    FreeLocale();
}

I18N* I18N::GetHandle() {
    if (!m_Handle)
        m_Handle = std::make_unique<I18N>();
    return m_Handle.get();
}

void I18N::Destroy() {
    m_Handle.reset();
}

int I18N::Initialize(long language) {
    // The outcome is the result; a catalogue that is missing or damaged is reported in no message box.
    const wxLogNull quiet;
    int code = wxLANGUAGE_DEFAULT;
    int result = Ready;
    if (language == wxLANGUAGE_UNKNOWN)
        language = wxLANGUAGE_DEFAULT;
    if (SystemHas(language))
        code = static_cast<int>(language);
    else
        result = LanguageMissing;

    FreeLocale();
    m_Locale = MakeLocale(code);
    wxFileTranslationsLoader::AddCatalogLookupPathPrefix(CatalogDirectory());
    m_Locale->AddCatalog(CATALOG_NAME);
    if (!m_Locale->IsOk()) {
        // Free first: a locale puts back what was set when it was made.
        FreeLocale();
        m_Locale = MakeLocale(wxLANGUAGE_DEFAULT);
        result = PlainDefault;
    }
    return result;
}

int I18N::Initialize() {
    return Initialize(wxLANGUAGE_UNKNOWN);
}

void I18N::FreeLocale() {
    if (!m_Locale)
        return;
    m_Locale.reset();
    wxTranslations::Set(nullptr);
}

} // namespace Vantor
