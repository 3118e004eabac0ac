// How the toolkit comes by its message catalogues: from its usual folders, but sound ones only, and with a shorter
// search.
#pragma once

#include <wx/arrstr.h>
#include <wx/translation.h>

#include <string>

namespace Vantor {

/// Finds catalogues where the toolkit's own loader would, after those in a folder of the program's. A damaged one
/// counts as missing: what is used is what was checked, whatever happens to the file meanwhile.
class CatalogLoader : public wxFileTranslationsLoader {
public:
    /// @param folder  searched first
    explicit CatalogLoader(const wxString& folder);

    /// Null where there is no sound catalogue; the caller owns it.
    wxMsgCatalog* LoadCatalog(const wxString& domain, const wxString& language) override;

    /// The toolkit's search looks into the folder of every language of the machine, for each catalogue anew, which
    /// costs more than all other work of a start. Whatever it finds, the toolkit then chooses the system's language,
    /// with or without its region; so only these are looked for.
    wxArrayString GetAvailableTranslations(const wxString& domain) const override;

private:
    std::string FindCatalog(const wxString& domain, const wxString& language) const;

    wxArrayString m_folders;
};

} // namespace Vantor
