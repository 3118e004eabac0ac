#include "util/CatalogLoader.h"

#include "util/CatalogFile.h"

#include <algorithm>

#include <wx/intl.h>
#include <wx/stdpaths.h>
#include <wx/utils.h>

namespace Vantor {

namespace {

/// Behind a catalogue, for the toolkit's conversions: the end of a text in the widest characters, wherever it begins.
constexpr std::size_t Padding = 8;

} // namespace

CatalogLoader::CatalogLoader(const wxString& folder) {
    const wxStandardPaths& paths = wxStandardPaths::Get();
    m_folders.push_back(folder);
    m_folders.push_back(paths.GetResourcesDir());
    m_folders.push_back(paths.GetInstallPrefix() + L"/share/locale");
    wxString listed;
    if (wxGetEnv(L"LC_PATH", &listed))
        m_folders.push_back(listed);
    m_folders.push_back(wxGetInstallPrefix() + L"/share/locale");
}

std::string CatalogLoader::FindCatalog(const wxString& domain, const wxString& language) const {
    for (const wxString& folder : m_folders) {
        for (const wchar_t* const inside : {L"/LC_MESSAGES/", L"/"}) {
            const wxString file = folder + L"/" + language + inside + domain + L".mo";
            std::string bytes = ReadCatalog(file.fn_str().data());
            if (!bytes.empty())
                return bytes;
        }
    }
    return {};
}

wxMsgCatalog* CatalogLoader::LoadCatalog(const wxString& domain, const wxString& language) {
    const std::string bytes = FindCatalog(domain, language);
    if (bytes.empty())
        return nullptr;
    wxCharBuffer data(bytes.size() + Padding);
    std::fill(std::copy(bytes.begin(), bytes.end(), data.data()), data.data() + data.length(), '\0');
    return wxMsgCatalog::CreateFromData(data, domain);
}

wxArrayString CatalogLoader::GetAvailableTranslations(const wxString& domain) const {
    const wxString language = wxLocale::GetLanguageCanonicalName(wxLocale::GetSystemLanguage());
    wxArrayString available;
    for (const auto& candidate : {language, language.BeforeFirst(L'_')})
        if (!candidate.empty() && !FindCatalog(domain, candidate).empty())
            available.push_back(candidate);
    return available;
}

} // namespace Vantor
