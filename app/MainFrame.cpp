#include "app/MainFrame.h"

#include "app/XpmImage.h"
#include "app/wxCheckedListCtrl.h"
#include "config/ProgramConfig.h"
#include "resources/icon.xpm"

#include <wx/icon.h>
#include <wx/intl.h>

#include <algorithm>

using Vantor::Config;

wxBEGIN_EVENT_TABLE(MainFrame, wxFrame)
    EVT_BUTTON(ID_Refresh, MainFrame::evt_aktualisieren)
    EVT_CHECKBOX(ID_LoggingP11, MainFrame::evt_LoggingP11)
    EVT_BUTTON(ID_OpenP11Directory, MainFrame::evt_openp11loggingdir)
    EVT_CHECKBOX(ID_LoggingMiniDriver, MainFrame::evt_LoggingMiniTreiber)
    EVT_BUTTON(ID_OpenMiniDriverDirectory, MainFrame::evt_openMinidriverLoggingDir)
    EVT_RADIOBUTTON(ID_AnyReader, MainFrame::evt_CardReaderChange)
    EVT_RADIOBUTTON(ID_SelectedReaders, MainFrame::evt_CardReaderChange)
    EVT_BUTTON(ID_Ok, MainFrame::evt_buttonok)
    EVT_BUTTON(ID_Apply, MainFrame::evt_buttonsave)
    EVT_BUTTON(ID_Cancel, MainFrame::evt_buttonclose)
    EVT_BUTTON(ID_InstallService, MainFrame::evt_installCsp)
    EVT_BUTTON(ID_RestartService, MainFrame::evt_restartCsp)
wxEND_EVENT_TABLE()

namespace {

wxString ClientVersion() {
    std::string version;
    Config::GetHandle(0)->GetString(ConfigId::Version, version);
    return wxString::FromUTF8(version.data(), version.size());
}

wxIcon WindowIcon() {
    wxIcon icon;
    icon.CopyFromBitmap(wxBitmap(ImageFromXpm(lumo_icon_xpm)));
    return icon;
}

// As wide as the form has it; a large font may need more for the title.
void AddColumn(wxListCtrl& list, const wxString& title, int width) {
    constexpr int besideTitle = 10;
    list.AppendColumn(title, wxLIST_FORMAT_LEFT, std::max(width, list.GetTextExtent(title).x + besideTitle));
}

} // namespace

MainFrame::MainFrame(wxWindow* parent)
    : wxFrame(parent, wxID_ANY, wxEmptyString, wxDefaultPosition, wxDefaultSize, wxDEFAULT_FRAME_STYLE),
      m_StatusTexts{wxGetTranslation(L"Microsoft Kryptografiedienste gestartet"),
                    wxGetTranslation(L"Microsoft Kryptografiedienste nicht gestartet"),
                    wxGetTranslation(L"Microsoft Kryptografiedienst installiert"),
                    wxGetTranslation(L"Microsoft Kryptografiedienst nicht installiert"),
                    wxGetTranslation(L"Dienste neustarten"),
                    wxGetTranslation(L"Dienste starten")} {
    const wxString version = ClientVersion();
    // A catalogue decides on the text, so it is no format: with other placeholders it would end the program.
    wxString about = wxGetTranslation(L"lumo Client Version %s\nVantor GmbH");
    about.Replace(L"%s", version, false);
    CreateControls(about);
    SetProperties();
    DoLayout();
    SetIcon(WindowIcon());
    AddColumn(*m_Readers.list, wxGetTranslation(L"Kartenleser"), 320);
    AddColumn(*m_Readers.list, wxGetTranslation(L"Schnittstellen"), 100);
    UpdateCardReader();
    // "x86" stands for the client's installation package, on every processor.
    SetTitle(wxString::Format(L"%s (%s, %s)", wxGetTranslation(L"Administrative Funktionen"), version, L"x86"));
    SetInitialConfig();
    wxCommandEvent atStart(wxEVT_BUTTON, ID_Refresh);
    MainFrame::evt_aktualisieren(atStart); // whoever derives has no handler yet
    CheckBaseCspService();
    m_Starting = false;
}

void MainFrame::evt_CardReaderChange(wxCommandEvent& /*event*/) {
    UpdateCardReader();
}

void MainFrame::evt_buttonok(wxCommandEvent& /*event*/) {
    Save();
    Destroy();
}

void MainFrame::evt_buttonsave(wxCommandEvent& /*event*/) {
    Save();
}

void MainFrame::evt_buttonclose(wxCommandEvent& /*event*/) {
    Destroy();
}
