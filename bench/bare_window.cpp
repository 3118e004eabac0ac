// A window with the pages and controls of the program's and nothing behind them: no logo, no icon, no configuration, no
// readers, no translation. What the toolkit and the desktop need for it is the limit that the program's start is held
// against.

#include <wx/wx.h>

#include <wx/listctrl.h>
#include <wx/notebook.h>

#include <initializer_list>

namespace {

constexpr int Border = 12;
const wxSize LogoSize(769, 170);
const wxSize PictureSize(16, 16);

wxPanel* NewPage(wxNotebook* book, const wchar_t* title) {
    auto* page = new wxPanel(book);
    page->SetSizer(new wxBoxSizer(wxVERTICAL));
    book->AddPage(page, title);
    return page;
}

template <typename Control>
void Put(wxPanel* page, Control* control, int proportion = 0) {
    page->GetSizer()->Add(control, wxSizerFlags(proportion).Expand().Border(wxALL, Border));
}

void PutTexts(wxPanel* page, std::initializer_list<const wchar_t*> texts) {
    for (const wchar_t* text : texts)
        Put(page, new wxStaticText(page, wxID_ANY, text));
}

wxStaticBitmap* NewPicture(wxWindow* parent, const wxSize& size) {
    return new wxStaticBitmap(parent, wxID_ANY, wxBitmap(size));
}

void FillInformationPage(wxPanel* page) {
    auto* logo = new wxPanel(page);
    logo->SetMinSize(LogoSize);
    page->GetSizer()->Add(logo);
    PutTexts(page,
             {L"lumo Client Version \nVantor GmbH", L"Beeinhaltet OpenSSL und wxWidgets (https://www.wxwidgets.org/).",
              L"'This product includes software developed by the OpenSSL Project for use in the OpenSSL Toolkit\n"
              L"(https://www.openssl.org/). This product includes cryptographic software written by Eric Young\n"
              L"(eay@cryptsoft.com).'"});
}

void FillReaderPage(wxPanel* page) {
    Put(page, new wxRadioButton(page, wxID_ANY,
                                L"Der lumo Client soll beliebige Kartenleser verwenden, auch Kartenleser ohne "
                                L"Tastaturfeld.",
                                wxDefaultPosition, wxDefaultSize, wxRB_GROUP));
    Put(page,
        new wxRadioButton(page, wxID_ANY, L"Der lumo Client soll nur folgende ausgesuchte Kartenleser verwenden."));
    Put(page, new wxPanel(page));
    auto* list = new wxListCtrl(page, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxLC_REPORT | wxLC_SINGLE_SEL);
    list->InsertColumn(0, L"Kartenleser", wxLIST_FORMAT_LEFT, 320);
    list->InsertColumn(1, L"Schnittstellen", wxLIST_FORMAT_LEFT, 100);
    Put(page, list, 1);
    Put(page, new wxButton(page, wxID_ANY, L"Aktualisieren"));
    PutTexts(page,
             {L"Bitte achten Sie darauf, dass der gleiche Kartenleser nicht als PC/SC und CT-API verwendet wird."});
}

void FillLoggingPage(wxPanel* page) {
    for (const wchar_t* title : {L"PKCS#11", L"Microsoft-Minitreiber (ehemals CSP)"}) {
        auto* box = new wxStaticBox(page, wxID_ANY, title);
        auto* inside = new wxStaticBoxSizer(box, wxVERTICAL);
        inside->Add(new wxCheckBox(box, wxID_ANY, L"Logging einschalten"), wxSizerFlags().Border(wxALL, Border));
        auto* row = new wxBoxSizer(wxHORIZONTAL);
        row->Add(new wxTextCtrl(box, wxID_ANY, L"/tmp", wxDefaultPosition, wxDefaultSize, wxTE_READONLY),
                 wxSizerFlags(1));
        row->Add(new wxButton(box, wxID_ANY, L"Verzeichnis öffnen"));
        inside->Add(row, wxSizerFlags().Expand().Border(wxALL, Border));
        page->GetSizer()->Add(inside, wxSizerFlags().Expand().Border(wxALL, Border / 2));
    }
}

void FillWindowsPage(wxPanel* page) {
    for (const auto& [text, label] : {std::pair{L"Microsoft Kryptografiedienst installiert", L"Dienst installieren"},
                                      std::pair{L"Microsoft Kryptografiedienste gestartet", L"Dienst neustarten"}}) {
        auto* row = new wxBoxSizer(wxHORIZONTAL);
        row->Add(NewPicture(page, PictureSize), wxSizerFlags().Border(wxALL, Border));
        row->Add(new wxStaticText(page, wxID_ANY, text), wxSizerFlags(1).Border(wxALL, Border));
        row->Add(new wxButton(page, wxID_ANY, label), wxSizerFlags().Border(wxALL, Border));
        page->GetSizer()->Add(row, wxSizerFlags().Expand());
    }
    for (const wchar_t* text : {L"Beim Karten aktualisieren alle Vantor Karten-Zertifikate aus dem Windows "
                                L"Zertifikatsspeicher löschen",
                                L"lumo Client Dialoge immer im Vordergrund anzeigen. (Kann Probleme mit "
                                L"Kartenleseranzeige verursachen)"})
        Put(page, new wxCheckBox(page, wxID_ANY, text));
}

void FillFurtherPage(wxPanel* page) {
    PutTexts(page, {L"Sprache:"});
    const wxString choices[] = {L"Deutsch", L"Englisch"};
    Put(page, new wxComboBox(page, wxID_ANY, wxEmptyString, wxDefaultPosition, wxDefaultSize,
                             static_cast<int>(WXSIZEOF(choices)), choices, wxCB_DROPDOWN | wxCB_READONLY));
}

wxPanel* NewButtons(wxWindow* parent) {
    auto* panel = new wxPanel(parent);
    auto* sizer = new wxBoxSizer(wxHORIZONTAL);
    sizer->AddStretchSpacer();
    for (const wchar_t* label : {L"OK", L"Übernehmen", L"Abbrechen"})
        sizer->Add(new wxButton(panel, wxID_ANY, label), wxSizerFlags().Border(wxTOP | wxBOTTOM | wxRIGHT, Border));
    panel->SetSizer(sizer);
    return panel;
}

void Fill(wxFrame* frame) {
    auto* main = new wxPanel(frame);
    auto* book = new wxNotebook(main, wxID_ANY);
    FillInformationPage(NewPage(book, L"Information"));
    FillReaderPage(NewPage(book, L"Kartenleser"));
    FillLoggingPage(NewPage(book, L"Logging"));
    FillWindowsPage(NewPage(book, L"Windows"));
    FillFurtherPage(NewPage(book, L"Weitere Einstellungen"));
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(book, wxSizerFlags(1).Expand());
    sizer->Add(NewButtons(main), wxSizerFlags().Expand());
    main->SetSizer(sizer);
    auto* outer = new wxBoxSizer(wxVERTICAL);
    outer->Add(main, wxSizerFlags(1).Expand());
    frame->SetSizer(outer);
    outer->Fit(frame);
}

} // namespace

class BareApp : public wxApp {
public:
    bool OnInit() override {
        auto* frame = new wxFrame(nullptr, wxID_ANY, L"Administrative Funktionen");
        Fill(frame);
        return frame->Show();
    }
};

wxIMPLEMENT_APP(BareApp);
