#include "util/I18N.h"

#include <wx/filename.h>
#include <wx/intl.h>
#include <wx/log.h>
#include <wx/stdpaths.h>

namespace Vantor {

namespace {

enum Result : int { Ready = 0, PlainDefault = 1, LanguageMissing = 2 };

/// The toolkit stops with an assertion when it is asked for the locale of a number that names no language.
bool SystemHas(long language) {
    const int code = static_cast<int>(language);
    return code == language && wxLocale::GetLanguageInfo(code) && wxLocale::IsAvailable(code);
}

std::unique_ptr<wxLocale> MakeLocale(int language) {
    auto locale = std::make_unique<wxLocale>();
    locale->Init(language, wxLOCALE_LOAD_DEFAULT);
    return locale;
}

wxString CatalogDirectory() {
    wxFileName directory = wxFileName::DirName(wxStandardPaths::Get().GetConfigDir());
    directory.AppendDir(L"lumoclient");
    directory.AppendDir(L"I18N");
    return directory.GetPath(wxPATH_GET_VOLUME);
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
    // The outcome is the result; a catalogue that is missing or damaged is nobody's message box.
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
    m_Locale.reset();
}

} // namespace Vantor
