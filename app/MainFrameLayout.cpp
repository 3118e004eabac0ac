// The controls of the main window, page by page, and where they stand.
#include "app/MainFrame.h"

#include "app/XpmImage.h"
#include "app/wxCheckedListCtrl.h"
#include "resources/LogoPixels.h"
#include "resources/status_installed.xpm"
#include "resources/status_started.xpm"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/combobox.h>
#include <wx/dcclient.h>
#include <wx/display.h>
#include <wx/intl.h>
#include <wx/notebook.h>
#include <wx/panel.h>
#include <wx/radiobut.h>
#include <wx/settings.h>
#include <wx/sizer.h>
#include <wx/statbmp.h>
#include <wx/statbox.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include <algorithm>

using Vantor::wxCheckedListCtrl;

namespace {

constexpr int Border = 12;
constexpr int BoxBorder = 6;

// The licence of OpenSSL asks for these words, address included.
constexpr wchar_t OpenSslNotice[] =
    L"'This product includes software developed by the OpenSSL Project for use in the OpenSSL Toolkit "
    L"(http://www.openssl.org/). This product includes cryptographic software written by Eric Young "
    L"(eay@cryptsoft.com).'";

wxStaticBitmap* NewPicture(wxWindow* parent, const wxImage& picture) {
    return new wxStaticBitmap(parent, wxID_ANY, wxBitmap(picture));
}

wxStaticText* NewText(wxWindow* parent, const wxString& text) {
    return new wxStaticText(parent, wxID_ANY, text);
}

// This GTK shows no border around the toolkit's list, whatever its style; so the page draws the line.
void DrawBorderAround(const wxWindow& child) {
    wxWindow* page = child.GetParent();
    page->Bind(wxEVT_PAINT, [page, &child](wxPaintEvent&) {
        wxPaintDC canvas(page);
        canvas.SetPen(wxSystemSettings::GetColour(wxSYS_COLOUR_BTNSHADOW));
        canvas.SetBrush(*wxTRANSPARENT_BRUSH);
        canvas.DrawRectangle(child.GetRect().Inflate(1));
    });
}

void MakeEquallyWide(wxWindow& one, wxWindow& other) {
    const int width = std::max(one.GetBestSize().x, other.GetBestSize().x);
    one.SetMinSize({width, -1});
    other.SetMinSize({width, -1});
}

// A text whose minimum height is below its real one would be cut off: its place has the real height and no border.
wxSizer* FullHeight(wxStaticText* text) {
    auto* place = new wxBoxSizer(wxVERTICAL);
    place->Add(text, wxSizerFlags(1).Expand());
    place->SetMinSize(0, text->GetBestSize().y);
    return place;
}

// As many of the words at the front as a line of that width can hold, but at least one: where the blank after them is.
// Starts where an average letter would bring it, for each measurement takes the toolkit a while.
std::size_t EndOfLine(const wxWindow& measure, const wxString& text, int width) {
    const auto widthTo = [&](std::size_t end) { return measure.GetTextExtent(text.substr(0, end)).x; };
    const auto blankAfter = [&](std::size_t end) { return std::min(text.find(L' ', end + 1), text.length()); };
    const int whole = widthTo(text.length());
    if (whole <= width)
        return text.length();
    std::size_t end = blankAfter(text.length() * static_cast<std::size_t>(width) / static_cast<std::size_t>(whole));
    while (widthTo(end) > width) {
        const std::size_t before = text.rfind(L' ', end - 1);
        if (before == wxString::npos)
            return end;
        end = before;
    }
    for (std::size_t next = blankAfter(end); widthTo(next) <= width; next = blankAfter(end))
        end = next;
    return end;
}

wxString InLines(const wxWindow& measure, wxString rest, int width) {
    wxString lines;
    for (;;) {
        const std::size_t end = EndOfLine(measure, rest, width);
        lines += rest.substr(0, end);
        if (end == rest.length())
            return lines;
        lines += L'\n';
        rest.erase(0, end + 1);
    }
}

// Lets a text that is wider than its place go on in further lines; any other stays as it is.
void BreakInto(int width, wxControl& control) {
    const int excess = control.GetBestSize().x - width;
    if (excess <= 0)
        return;
    const wxString text = control.GetLabel();
    control.SetLabel(InLines(control, text, std::max(control.GetTextExtent(text).x - excess, 1)));
}

} // namespace

void MainFrame::CreateControls(const wxString& about) {
    m_MainPanel = new wxPanel(this);
    m_Notebook = new wxNotebook(m_MainPanel, wxID_ANY, wxDefaultPosition, wxDefaultSize, 0);
    CreateInformationPage(about);
    CreateReaderPage();
    CreateLoggingPage();
    CreateWindowsPage();
    CreateFurtherPage();
    CreateButtons();
}

// At once: controls that came into the notebook later with their page would have to be styled anew.
wxPanel* MainFrame::AddPage(const wxString& title) {
    auto* page = new wxPanel(m_Notebook);
    m_Notebook->AddPage(page, title);
    return page;
}

void MainFrame::CreateInformationPage(const wxString& about) {
    auto& page = m_Information;
    page.panel = AddPage(wxGetTranslation(L"Information"));
    page.logo = NewPicture(page.panel, LogoImage());
    page.about = NewText(page.panel, about);
    page.components =
        NewText(page.panel, wxGetTranslation(L"Beeinhaltet OpenSSL und wxWidgets (https://www.wxwidgets.org/)."));
    page.notice = NewText(page.panel, InLines(*page.panel, OpenSslNotice, LogoWidth - 2 * Border));
}

void MainFrame::CreateReaderPage() {
    auto& page = m_Readers;
    page.panel = AddPage(wxGetTranslation(L"Kartenleser"));
    page.any = new wxRadioButton(page.panel, ID_AnyReader,
                                 wxGetTranslation(L"Der lumo Client soll beliebige Kartenleser verwenden, auch "
                                                  L"Kartenleser ohne Tastaturfeld."),
                                 wxDefaultPosition, wxDefaultSize, wxRB_GROUP);
    page.selected =
        new wxRadioButton(page.panel, ID_SelectedReaders,
                          wxGetTranslation(L"Der lumo Client soll nur folgende ausgesuchte Kartenleser verwenden."));
    page.indent = new wxPanel(page.panel);
    page.list = new wxCheckedListCtrl(page.panel, wxID_ANY, wxDefaultPosition, wxDefaultSize,
                                      wxLC_REPORT | wxLC_SINGLE_SEL | wxBORDER_SUNKEN);
    DrawBorderAround(*page.list);
    page.refresh = new wxButton(page.panel, ID_Refresh, wxGetTranslation(L"Aktualisieren"));
    page.hint = NewText(page.panel, wxGetTranslation(L"Bitte achten Sie darauf, dass der gleiche Kartenleser nicht als "
                                                     L"PC/SC und CT-API verwendet wird."));
}

void MainFrame::CreateLoggingPage() {
    auto& page = m_Logging;
    page.panel = AddPage(wxGetTranslation(L"Logging"));
    const auto newBox = [&page](const wxString& title, int enabledId, int openId) {
        LoggingBox box{};
        box.box = new wxStaticBox(page.panel, wxID_ANY, title);
        box.enabled = new wxCheckBox(box.box, enabledId, wxGetTranslation(L"Logging einschalten"));
        box.directory =
            new wxTextCtrl(box.box, wxID_ANY, wxEmptyString, wxDefaultPosition, wxDefaultSize, wxTE_READONLY);
        box.open = new wxButton(box.box, openId, wxGetTranslation(L"Verzeichnis öffnen"));
        return box;
    };
    page.p11 = newBox(L"PKCS#11", ID_LoggingP11, ID_OpenP11Directory);
    page.miniDriver = newBox(wxGetTranslation(L"Microsoft-Minitreiber (ehemals CSP)"), ID_LoggingMiniDriver,
                             ID_OpenMiniDriverDirectory);
}

void MainFrame::CreateWindowsPage() {
    auto& page = m_Windows;
    page.panel = AddPage(wxGetTranslation(L"Windows"));
    const auto newRow = [&page](const char* const* picture, const wxString& text, int buttonId, const wxString& label) {
        return StatusRow{NewPicture(page.panel, ImageFromXpm(picture)), NewText(page.panel, text),
                         new wxButton(page.panel, buttonId, label)};
    };
    page.installed = newRow(lumo_status_installed_xpm, m_StatusTexts.installed, ID_InstallService,
                            wxGetTranslation(L"Dienst installieren"));
    page.started = newRow(lumo_status_started_xpm, m_StatusTexts.started, ID_RestartService,
                          wxGetTranslation(L"Dienst neustarten"));
    page.cleanCertificates =
        new wxCheckBox(page.panel, wxID_ANY,
                       wxGetTranslation(L"Beim Karten aktualisieren alle Vantor Karten-Zertifikate aus dem Windows "
                                        L"Zertifikatsspeicher löschen"));
    page.dialogsOnTop = new wxCheckBox(page.panel, wxID_ANY,
                                       wxGetTranslation(L"lumo Client Dialoge immer im Vordergrund anzeigen. (Kann "
                                                        L"Probleme mit Kartenleseranzeige verursachen)"));
}

void MainFrame::CreateFurtherPage() {
    auto& page = m_Further;
    page.panel = AddPage(wxGetTranslation(L"Weitere Einstellungen"));
    page.label = NewText(page.panel, wxGetTranslation(L"Sprache:"));
    const wxString choices[] = {wxGetTranslation(L"Deutsch"), wxGetTranslation(L"Englisch")};
    page.language = new wxComboBox(page.panel, wxID_ANY, wxEmptyString, wxDefaultPosition, wxDefaultSize,
                                   static_cast<int>(WXSIZEOF(choices)), choices, wxCB_DROPDOWN | wxCB_READONLY);
}

void MainFrame::CreateButtons() {
    auto& buttons = m_Buttons;
    buttons.panel = new wxPanel(m_MainPanel);
    buttons.ok = new wxButton(buttons.panel, ID_Ok, wxGetTranslation(L"OK"));
    buttons.apply = new wxButton(buttons.panel, ID_Apply, wxGetTranslation(L"Übernehmen"));
    buttons.cancel = new wxButton(buttons.panel, ID_Cancel, wxGetTranslation(L"Abbrechen"));
}

void MainFrame::SetProperties() {
    m_Readers.any->SetValue(true);
    m_Readers.indent->SetMinSize({24, 12});
    m_Windows.installed.text->SetMinSize({250, 13});
    m_Windows.started.text->SetMinSize({250, 13});
}

void MainFrame::DoLayout() {
    m_Information.panel->SetSizer(LayOutInformationPage());
    m_Readers.panel->SetSizer(LayOutReaderPage());
    m_Logging.panel->SetSizer(LayOutLoggingPage());
    m_Windows.panel->SetSizer(LayOutWindowsPage());
    m_Further.panel->SetSizer(LayOutFurtherPage());
    m_Buttons.panel->SetSizer(LayOutButtons());

    auto* main = new wxBoxSizer(wxVERTICAL);
    main->Add(m_Notebook, wxSizerFlags(1).Expand());
    main->Add(m_Buttons.panel, wxSizerFlags().Expand());
    m_MainPanel->SetSizer(main);

    BreakLongTexts();
    auto* frame = new wxBoxSizer(wxVERTICAL);
    frame->Add(m_MainPanel, wxSizerFlags(1).Expand());
    SetSizer(frame);
    frame->Fit(this);
    Layout();
}

// With a large font the window would not fit a small display, and be cut off at its right side.
void MainFrame::BreakLongTexts() {
    constexpr int windowFrame = 8;
    const int width = wxDisplay(this).GetClientArea().width - windowFrame - 2 * Border;
    for (wxControl* text : std::initializer_list<wxControl*>{m_Readers.any, m_Readers.selected,
                                                             m_Windows.cleanCertificates, m_Windows.dialogsOnTop})
        BreakInto(width, *text);
    BreakInto(width - m_Readers.indent->GetMinWidth(), *m_Readers.hint);
}

wxSizer* MainFrame::LayOutInformationPage() const {
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    // The logo is as wide as a small display allows: no border at its sides.
    sizer->Add(m_Information.logo, wxSizerFlags().CentreHorizontal());
    sizer->Add(m_Information.about, wxSizerFlags().Border(wxALL, Border));
    sizer->Add(m_Information.components, wxSizerFlags().Border(wxALL & ~wxTOP, Border));
    sizer->Add(m_Information.notice, wxSizerFlags().Border(wxALL & ~wxTOP, Border));
    return sizer;
}

wxSizer* MainFrame::LayOutReaderPage() const {
    auto* list = new wxBoxSizer(wxHORIZONTAL);
    list->Add(m_Readers.indent);
    list->Add(m_Readers.list, wxSizerFlags(1).Expand().Border(wxALL, Border));

    // Button and hint belong to the list: they start where it does.
    auto* below = new wxBoxSizer(wxVERTICAL);
    below->Add(m_Readers.refresh, wxSizerFlags().Border(wxALL & ~wxTOP, Border));
    below->Add(m_Readers.hint, wxSizerFlags().Border(wxALL & ~wxTOP, Border));

    auto* sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(m_Readers.any, wxSizerFlags().Border(wxALL & ~wxBOTTOM, Border));
    sizer->Add(m_Readers.selected, wxSizerFlags().Border(wxALL & ~wxBOTTOM, Border));
    sizer->Add(list, wxSizerFlags(1).Expand());
    sizer->Add(below, wxSizerFlags().Border(wxLEFT, m_Readers.indent->GetMinWidth()));
    return sizer;
}

wxSizer* MainFrame::LayOutLoggingPage() const {
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    for (const LoggingBox& box : {m_Logging.p11, m_Logging.miniDriver}) {
        auto* directory = new wxBoxSizer(wxHORIZONTAL);
        directory->Add(box.directory, wxSizerFlags(1).CentreVertical().Border(wxRIGHT, Border));
        directory->Add(box.open, wxSizerFlags().CentreVertical());

        auto* inside = new wxStaticBoxSizer(box.box, wxVERTICAL);
        inside->Add(box.enabled, wxSizerFlags().Border(wxALL, Border));
        inside->Add(directory, wxSizerFlags().Expand().Border(wxALL & ~wxTOP, Border));
        sizer->Add(inside, wxSizerFlags().Expand().Border(wxALL, BoxBorder));
    }
    return sizer;
}

wxSizer* MainFrame::LayOutWindowsPage() const {
    MakeEquallyWide(*m_Windows.installed.button, *m_Windows.started.button);
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    for (const StatusRow& status : {m_Windows.installed, m_Windows.started}) {
        auto* row = new wxBoxSizer(wxHORIZONTAL);
        row->Add(status.picture, wxSizerFlags().CentreVertical().Border(wxALL, Border));
        row->Add(FullHeight(status.text), wxSizerFlags(1).CentreVertical().Border(wxALL, Border));
        row->Add(status.button, wxSizerFlags().CentreVertical().Border(wxALL, Border));
        sizer->Add(row, wxSizerFlags().Expand());
    }
    sizer->Add(m_Windows.cleanCertificates, wxSizerFlags().Border(wxALL, Border));
    sizer->Add(m_Windows.dialogsOnTop, wxSizerFlags().Border(wxALL, Border));
    return sizer;
}

wxSizer* MainFrame::LayOutFurtherPage() const {
    auto* row = new wxBoxSizer(wxHORIZONTAL);
    row->Add(m_Further.label, wxSizerFlags().CentreVertical().Border(wxALL, Border));
    row->Add(m_Further.language, wxSizerFlags().CentreVertical().Border(wxALL, Border));
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(row);
    return sizer;
}

wxSizer* MainFrame::LayOutButtons() const {
    auto* sizer = new wxBoxSizer(wxHORIZONTAL);
    sizer->AddStretchSpacer();
    for (wxButton* button : {m_Buttons.ok, m_Buttons.apply, m_Buttons.cancel})
        sizer->Add(button, wxSizerFlags().Border(wxTOP | wxBOTTOM | wxRIGHT, Border));
    return sizer;
}
