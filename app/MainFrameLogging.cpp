// Log directories and services in the main window.
#include "app/MainFrame.h"

#include "config/FileSystem.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/intl.h>
#include <wx/log.h>
#include <wx/msgdlg.h>
#include <wx/textctrl.h>
#include <wx/utils.h>

#include <cstdlib>

using Vantor::FileSystem;

namespace {

constexpr wchar_t MiniDriverDownload[] = L"https://www.vantor.example/lumoclient/minidriver";

// What system() returns when the shell does not know the command: its exit status 127.
constexpr int CommandNotFound = 127 << 8;

wxString DirectoryToShow(const wxCheckBox& enabled, unsigned pathId) {
    if (!enabled.GetValue())
        return {};
    const std::string directory = FileSystem::GetHandle()->GetPath(pathId, true);
    return wxString::FromUTF8(directory.data(), directory.size());
}

// Directory names on disk are UTF-8. A C library without umlauts (LANG=C) cannot convert them and would give nothing.
std::string ShellArgument(const wxString& directory) {
    const wxScopedCharBuffer local = directory.mb_str(wxConvLibc);
    const std::string name = local.length() > 0 ? local.data() : directory.utf8_string();
    return " \"" + name + "\"";
}

bool IsMissing(const char* command, const std::string& argument) {
    // Starting the desktop's file manager is what the shell is for here.
    return std::system((command + argument).c_str()) == CommandNotFound; // NOLINT(cert-env33-c)
}

} // namespace

void MainFrame::evt_LoggingP11(wxCommandEvent& /*event*/) {
    m_Logging.p11.directory->SetValue(DirectoryToShow(*m_Logging.p11.enabled, PathId::ClientTrace));
}

void MainFrame::evt_openp11loggingdir(wxCommandEvent& /*event*/) {
    OpenDir(m_Logging.p11.directory->GetValue());
}

void MainFrame::evt_LoggingMiniTreiber(wxCommandEvent& /*event*/) {
    m_Logging.miniDriver.directory->SetValue(DirectoryToShow(*m_Logging.miniDriver.enabled, PathId::MiniDriverLog));
}

void MainFrame::evt_openMinidriverLoggingDir(wxCommandEvent& /*event*/) {
    OpenDir(m_Logging.miniDriver.directory->GetValue());
}

void MainFrame::OpenDir(wxString dir) {
    if (dir.empty())
        return;
    const std::string argument = ShellArgument(dir);
    if (!IsMissing("gnome-open", argument) || !IsMissing("nautilus", argument))
        return;
    wxMessageBox(wxGetTranslation(L"Verzeichnis konnte nicht geöffnet werden (gnome-open und/oder nautilus Befehle "
                                  L"nicht vorhanden)"),
                 wxGetTranslation(L"Fehler"), wxOK | wxICON_ERROR | wxCENTRE | wxSTAY_ON_TOP, this);
}

void MainFrame::evt_installCsp(wxCommandEvent& /*event*/) {
    const wxLogNull quiet;
    wxLaunchDefaultBrowser(MiniDriverDownload);
}

void MainFrame::evt_restartCsp(wxCommandEvent& /*event*/) {
    // The cryptographic services are the other platform's; the button stays for the sake of the same window.
}

void MainFrame::CheckBaseCspService() {
    m_Windows.installed.button->Disable();
}
