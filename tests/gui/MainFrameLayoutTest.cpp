#include "tests/gui/Window.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/combobox.h>
#include <wx/dcscreen.h>
#include <wx/radiobut.h>
#include <wx/statbmp.h>
#include <wx/statbox.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include "app/XpmImage.h"
#include "resources/icon.xpm"
#include "resources/status_installed.xpm"
#include "resources/status_started.xpm"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

using Lines = std::vector<std::string>;

/// Notes which handler ran instead of doing its work.
class RecordingFrame : public OpenFrame {
public:
    Lines called;
    void evt_CardReaderChange(wxCommandEvent&) override { called.emplace_back("evt_CardReaderChange"); }
    void evt_aktualisieren(wxCommandEvent&) override { called.emplace_back("evt_aktualisieren"); }
    void evt_LoggingP11(wxCommandEvent&) override { called.emplace_back("evt_LoggingP11"); }
    void evt_openp11loggingdir(wxCommandEvent&) override { called.emplace_back("evt_openp11loggingdir"); }
    void evt_LoggingMiniTreiber(wxCommandEvent&) override { called.emplace_back("evt_LoggingMiniTreiber"); }
    void evt_openMinidriverLoggingDir(wxCommandEvent&) override { called.emplace_back("evt_openMinidriverLoggingDir"); }
    void evt_buttonok(wxCommandEvent&) override { called.emplace_back("evt_buttonok"); }
    void evt_buttonsave(wxCommandEvent&) override { called.emplace_back("evt_buttonsave"); }
    void evt_buttonclose(wxCommandEvent&) override { called.emplace_back("evt_buttonclose"); }
    void evt_installCsp(wxCommandEvent&) override { called.emplace_back("evt_installCsp"); }
    void evt_restartCsp(wxCommandEvent&) override { called.emplace_back("evt_restartCsp"); }
};

/// Whether each opaque pixel of the XPM picture has its colour.
bool Shows(const wxBitmap& bitmap, const char* const* xpm) {
    const wxImage shown = bitmap.ConvertToImage();
    const wxImage picture = ImageFromXpm(xpm);
    if (shown.GetSize() != picture.GetSize())
        return false;
    for (int y = 0; y < picture.GetHeight(); ++y)
        for (int x = 0; x < picture.GetWidth(); ++x)
            if (!picture.IsTransparent(x, y) &&
                (shown.GetRed(x, y) != picture.GetRed(x, y) || shown.GetGreen(x, y) != picture.GetGreen(x, y) ||
                 shown.GetBlue(x, y) != picture.GetBlue(x, y)))
                return false;
    return true;
}

/// The text without line breaks and the asterisks of a comment.
std::string OneLine(std::string text) {
    std::replace(text.begin(), text.end(), '*', ' ');
    std::istringstream words(text);
    std::string line;
    for (std::string word; words >> word;)
        line += (line.empty() ? "" : " ") + word;
    return line;
}

/// From any package of the machine that contains code under the licence, as libarchive does; empty: none does.
std::string LicenceOfOpenSsl() {
    for (const auto& package : std::filesystem::directory_iterator("/usr/share/doc")) {
        std::ostringstream text;
        text << std::ifstream(package.path() / "copyright").rdbuf();
        if (text.str().find("developed by the OpenSSL Project") != std::string::npos)
            return OneLine(text.str());
    }
    return {};
}

class Layout : public Window {
protected:
    const wxWindow& PageAt(std::size_t page) { return *Notebook().GetPage(page); }

    /// From a control to the edge of its parent.
    static int LeftOf(const wxWindow& control) { return control.GetRect().GetLeft(); }
    static int RightOf(const wxWindow& control) {
        return control.GetParent()->GetClientSize().x - 1 - control.GetRect().GetRight();
    }
    static int MiddleOf(const wxWindow& control) { return control.GetRect().y + control.GetRect().height / 2; }
};

} // namespace

TEST_F(Layout, NotebookHasNoStyleOfItsOwn) {
    Open();
    const wxNotebook plain(frame, wxID_ANY, wxDefaultPosition, wxDefaultSize, 0);
    EXPECT_EQ(Notebook().GetWindowStyleFlag(), plain.GetWindowStyleFlag());
}

TEST_F(Layout, PagesHaveTheirOrderAndTheFirstOneShows) {
    Open();
    auto& notebook = Notebook();
    ASSERT_EQ(notebook.GetPageCount(), 5u);
    Lines titles;
    for (std::size_t page = 0; page < 5; ++page)
        titles.push_back(notebook.GetPageText(page).utf8_string());
    EXPECT_EQ(titles, (Lines{"Information", "Kartenleser", "Logging", "Windows", "Weitere Einstellungen"}));
    EXPECT_EQ(notebook.GetSelection(), 0);
}

TEST_F(Layout, InformationPageHoldsLogoAndTexts) {
    Configure("<Version>2.4.1</Version>");
    Open();
    const Lines lines = Describe(PageAt(InformationPage));
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0], "wxStaticBitmap: 769x170");
    EXPECT_EQ(lines[1].rfind("wxStaticText: lumo Client Version 2.4.1\n", 0), 0u) << lines[1];
    EXPECT_GT(lines[1].size(), std::string("wxStaticText: lumo Client Version 2.4.1\n").size()) << "the maker's line";
    EXPECT_EQ(lines[2].rfind("wxStaticText: Beeinhaltet OpenSSL und wxWidgets (http", 0), 0u) << lines[2];
    EXPECT_EQ(lines[2].substr(lines[2].size() - 2), ").");
    EXPECT_EQ(lines[3].rfind("wxStaticText: 'This product includes", 0), 0u) << lines[3];
    EXPECT_EQ(lines[3].back(), '\'');
}

TEST_F(Layout, TheNoticeHasTheWordsOfTheLicenceOfOpenSsl) {
    const std::string licence = LicenceOfOpenSsl();
    ASSERT_FALSE(licence.empty()) << "no package on this machine carries the licence";
    Open();
    const std::string notice = OneLine(Describe(PageAt(InformationPage))[3]);
    std::size_t sentences = 0;
    for (std::size_t begin = notice.find("This product"); begin != std::string::npos;
         begin = notice.find("This product", begin + 1), ++sentences) {
        const std::string sentence = notice.substr(begin, notice.find(')', begin) + 1 - begin);
        EXPECT_NE(licence.find(sentence), std::string::npos) << sentence;
    }
    EXPECT_EQ(sentences, 2u);
}

TEST_F(Layout, ReaderPageHoldsChoiceListAndHint) {
    Open();
    EXPECT_EQ(Describe(PageAt(ReaderPage)),
              (Lines{"wxRadioButton 5437: Der lumo Client soll beliebige Kartenleser verwenden, auch Kartenleser ohne "
                     "Tastaturfeld.",
                     "wxRadioButton 5438: Der lumo Client soll nur folgende ausgesuchte Kartenleser verwenden.",
                     "wxPanel", "wxCheckedListCtrl", "wxButton 5432: Aktualisieren",
                     "wxStaticText: Bitte achten Sie darauf, dass der gleiche Kartenleser nicht als PC/SC und CT-API "
                     "verwendet wird."}));
}

TEST_F(Layout, LoggingPageHoldsTwoBoxes) {
    Open();
    EXPECT_EQ(Describe(PageAt(LoggingPage)),
              (Lines{"wxStaticBox: PKCS#11", "  wxCheckBox 5433: Logging einschalten", "  wxTextCtrl",
                     "  wxButton 5434: Verzeichnis öffnen", "wxStaticBox: Microsoft-Minitreiber (ehemals CSP)",
                     "  wxCheckBox 5435: Logging einschalten", "  wxTextCtrl", "  wxButton 5436: Verzeichnis öffnen"}));
}

TEST_F(Layout, WindowsPageHoldsTwoRowsAndTwoSwitches) {
    Open();
    EXPECT_EQ(Describe(PageAt(WindowsPage)),
              (Lines{"wxStaticBitmap: 32x32", "wxStaticText: Microsoft Kryptografiedienst installiert",
                     "wxButton 5442: Dienst installieren", "wxStaticBitmap: 32x32",
                     "wxStaticText: Microsoft Kryptografiedienste gestartet", "wxButton 5443: Dienst neustarten",
                     "wxCheckBox: Beim Karten aktualisieren alle Vantor Karten-Zertifikate aus dem Windows "
                     "Zertifikatsspeicher löschen",
                     "wxCheckBox: lumo Client Dialoge immer im Vordergrund anzeigen. (Kann Probleme mit "
                     "Kartenleseranzeige verursachen)"}));
}

TEST_F(Layout, StatusTextsAreHeldThoughFourOfThemAreNeverShown) {
    Open();
    const auto& texts = frame->m_StatusTexts;
    EXPECT_EQ(texts.started, "Microsoft Kryptografiedienste gestartet");
    EXPECT_EQ(texts.notStarted, "Microsoft Kryptografiedienste nicht gestartet");
    EXPECT_EQ(texts.installed, "Microsoft Kryptografiedienst installiert");
    EXPECT_EQ(texts.notInstalled, "Microsoft Kryptografiedienst nicht installiert");
    EXPECT_EQ(texts.restart, "Dienste neustarten");
    EXPECT_EQ(texts.start, "Dienste starten");
}

TEST_F(Layout, FurtherPageHoldsTheLanguage) {
    Open();
    EXPECT_EQ(Describe(PageAt(FurtherPage)), (Lines{"wxStaticText: Sprache:", "wxComboBox: Deutsch|Englisch"}));
    const auto& choice = Nth<wxComboBox>(0);
    EXPECT_EQ(choice.GetCount(), 2u);
    EXPECT_TRUE(choice.HasFlag(wxCB_READONLY));
    EXPECT_FALSE(choice.IsEditable());
}

TEST_F(Layout, ButtonsStandBelowTheNotebook) {
    Open();
    ASSERT_EQ(frame->GetChildren().size(), 1u);
    const auto* main = frame->GetChildren().front();
    ASSERT_EQ(main->GetChildren().size(), 2u);
    EXPECT_EQ(main->GetChildren().front(), &Notebook());
    EXPECT_EQ(Describe(*main->GetChildren().back()),
              (Lines{"wxButton 5439: OK", "wxButton 5440: Übernehmen", "wxButton 5441: Abbrechen"}));
}

TEST_F(Layout, ListHasItsStylesAndColumns) {
    Open();
    EXPECT_TRUE(List().HasFlag(wxLC_REPORT));
    EXPECT_TRUE(List().HasFlag(wxLC_SINGLE_SEL));
    EXPECT_TRUE(List().HasFlag(wxBORDER_SUNKEN));
    ASSERT_EQ(List().GetColumnCount(), 2);
    const auto column = [this](int index) {
        wxListItem item;
        item.SetMask(wxLIST_MASK_TEXT | wxLIST_MASK_FORMAT);
        List().GetColumn(index, item);
        EXPECT_EQ(item.GetAlign(), wxLIST_FORMAT_LEFT);
        return item.GetText().utf8_string() + " " + std::to_string(List().GetColumnWidth(index));
    };
    EXPECT_EQ(column(0), "Kartenleser 320");
    EXPECT_EQ(column(1), "Schnittstellen 100");
}

TEST_F(Layout, TitleHoldsVersionAndX86) {
    Configure("<Version>2.4.1</Version>");
    Open();
    EXPECT_EQ(frame->GetTitle(), "Administrative Funktionen (2.4.1, x86)");
}

TEST_F(Layout, WithoutVersionTheTitleStillEndsWithX86) {
    Open();
    EXPECT_EQ(frame->GetTitle(), "Administrative Funktionen (, x86)");
    EXPECT_EQ(Nth<wxStaticText>(0).GetLabel().BeforeFirst('\n'), "lumo Client Version ");
}

TEST_F(Layout, VersionIsUtf8AndNoFormat) {
    Configure("<Version>2.0 ä %s %n</Version>");
    Open();
    EXPECT_EQ(frame->GetTitle(), wxString::FromUTF8("Administrative Funktionen (2.0 ä %s %n, x86)"));
    EXPECT_EQ(Nth<wxStaticText>(0).GetLabel().BeforeFirst('\n'), wxString::FromUTF8("lumo Client Version 2.0 ä %s %n"));
}

TEST_F(Layout, FrameHasTheDefaultStyleAndTheIcon) {
    Open();
    EXPECT_EQ(frame->GetParent(), nullptr);
    EXPECT_EQ(frame->GetWindowStyle() & wxDEFAULT_FRAME_STYLE, wxDEFAULT_FRAME_STYLE);
    EXPECT_TRUE(Shows(frame->GetIcon(), lumo_icon_xpm));
}

TEST_F(Layout, EachStatusRowShowsItsOwnPicture) {
    Open();
    const auto pictureAt = [this](std::size_t index) {
        return dynamic_cast<const wxStaticBitmap&>(*PageAt(WindowsPage).GetChildren()[index]).GetBitmap();
    };
    EXPECT_TRUE(Shows(pictureAt(0), lumo_status_installed_xpm));
    EXPECT_TRUE(Shows(pictureAt(3), lumo_status_started_xpm));
}

TEST_F(Layout, MinimumSizesAreThoseOfTheForm) {
    Open();
    EXPECT_EQ(PageAt(ReaderPage).GetChildren()[2]->GetMinSize(), wxSize(24, 12));
    EXPECT_EQ(PageAt(WindowsPage).GetChildren()[1]->GetMinSize(), wxSize(250, 13));
    EXPECT_EQ(PageAt(WindowsPage).GetChildren()[4]->GetMinSize(), wxSize(250, 13));
}

TEST_F(Layout, PropertiesSelectAnyReader) {
    Open();
    ASSERT_FALSE(Get<wxRadioButton>(MainFrame::ID_AnyReader).GetValue());
    frame->SetProperties();
    EXPECT_TRUE(Get<wxRadioButton>(MainFrame::ID_AnyReader).GetValue());
    EXPECT_FALSE(Get<wxRadioButton>(MainFrame::ID_SelectedReaders).GetValue());
}

TEST_F(Layout, ListIsEnabledExactlyWhenReadersAreSelected) {
    Present(Open());
    TurnTo(ReaderPage);
    Click(Get<wxRadioButton>(MainFrame::ID_AnyReader));
    EXPECT_TRUE(Get<wxRadioButton>(MainFrame::ID_AnyReader).GetValue());
    EXPECT_FALSE(List().IsEnabled());
    Click(Get<wxRadioButton>(MainFrame::ID_SelectedReaders));
    EXPECT_FALSE(Get<wxRadioButton>(MainFrame::ID_AnyReader).GetValue());
    EXPECT_TRUE(List().IsEnabled());
}

TEST_F(Layout, ChangingTheReaderModeKeepsTheMarks) {
    Attach({"Reader A", "Reader B"});
    Present(Open());
    TurnTo(ReaderPage);
    List().SetChecked(1, true);
    Click(Get<wxRadioButton>(MainFrame::ID_AnyReader));
    Click(Get<wxRadioButton>(MainFrame::ID_SelectedReaders));
    EXPECT_FALSE(List().IsChecked(0));
    EXPECT_TRUE(List().IsChecked(1));
}

TEST_F(Layout, MarksOfTheReaderListAreSetByClicks) {
    Attach({"Reader A", "Reader B"});
    Present(Open());
    TurnTo(ReaderPage);
    ClickAt(CheckBoxOf(List(), 1));
    EXPECT_TRUE(List().IsChecked(1));
    ClickAt(LabelOf(List(), 0));
    EXPECT_FALSE(List().IsChecked(0));

    Click(Get<wxRadioButton>(MainFrame::ID_AnyReader));
    ClickAt(CheckBoxOf(List(), 0));
    EXPECT_FALSE(List().IsChecked(0)) << "the list is disabled";
}

TEST_F(Layout, EachControlCallsItsHandler) {
    auto& recording = Open<RecordingFrame>();
    Present(recording);
    Get<wxButton>(MainFrame::ID_InstallService).Enable();
    recording.called.clear();

    TurnTo(ReaderPage);
    for (const auto id : {MainFrame::ID_AnyReader, MainFrame::ID_SelectedReaders, MainFrame::ID_Refresh})
        Click(Get<wxControl>(id));
    TurnTo(LoggingPage);
    for (const auto id : {MainFrame::ID_LoggingP11, MainFrame::ID_OpenP11Directory, MainFrame::ID_LoggingMiniDriver,
                          MainFrame::ID_OpenMiniDriverDirectory})
        Click(Get<wxControl>(id));
    TurnTo(WindowsPage);
    for (const auto id : {MainFrame::ID_InstallService, MainFrame::ID_RestartService, MainFrame::ID_Ok,
                          MainFrame::ID_Apply, MainFrame::ID_Cancel})
        Click(Get<wxControl>(id));

    EXPECT_EQ(recording.called,
              (Lines{"evt_CardReaderChange", "evt_CardReaderChange", "evt_aktualisieren", "evt_LoggingP11",
                     "evt_openp11loggingdir", "evt_LoggingMiniTreiber", "evt_openMinidriverLoggingDir",
                     "evt_installCsp", "evt_restartCsp", "evt_buttonok", "evt_buttonsave", "evt_buttonclose"}));
}

TEST_F(Layout, OtherControlsHaveNoNumberOfTheirOwn) {
    Open();
    std::vector<wxWindow*> all;
    Collect(*frame, all);
    std::vector<int> numbers;
    for (const auto* window : all)
        if (window->GetId() >= 0)
            numbers.push_back(window->GetId());
    std::sort(numbers.begin(), numbers.end());
    EXPECT_EQ(numbers, (std::vector<int>{5432, 5433, 5434, 5435, 5436, 5437, 5438, 5439, 5440, 5441, 5442, 5443}));
}

TEST_F(Layout, OtherControlsHaveNoHandler) {
    auto& recording = Open<RecordingFrame>();
    Present(recording);
    recording.called.clear();
    TurnTo(WindowsPage);
    Click(Nth<wxCheckBox>(2));
    Click(Nth<wxCheckBox>(3));
    EXPECT_TRUE(Nth<wxCheckBox>(2).GetValue());
    EXPECT_TRUE(Nth<wxCheckBox>(3).GetValue());
    EXPECT_TRUE(recording.called.empty());
}

TEST_F(Layout, FitsASmallDisplayWithItsTitleBar) {
    Present(Open());
    constexpr int titleBar = 40;
    EXPECT_LE(frame->GetSize().x, 800);
    EXPECT_LE(frame->GetSize().y, 480 - titleBar);
}

TEST_F(Layout, NothingIsCutOffOnAnyPage) {
    Present(Open());
    ExpectNothingCutOff();
}

TEST_F(Layout, BordersLineUp) {
    Present(Open());
    TurnTo(ReaderPage);
    EXPECT_EQ(LeftOf(Get<wxRadioButton>(MainFrame::ID_AnyReader)), 12);
    EXPECT_EQ(LeftOf(Get<wxRadioButton>(MainFrame::ID_SelectedReaders)), 12);
    EXPECT_EQ(LeftOf(List()), 36);
    EXPECT_EQ(RightOf(List()), 12);
    EXPECT_EQ(LeftOf(Get<wxButton>(MainFrame::ID_Refresh)), 36);
    TurnTo(LoggingPage);
    EXPECT_EQ(LeftOf(Nth<wxStaticBox>(0)), 6);
    EXPECT_EQ(RightOf(Nth<wxStaticBox>(0)), 6);
    EXPECT_EQ(Nth<wxTextCtrl>(0).GetSize(), Nth<wxTextCtrl>(1).GetSize());
    TurnTo(WindowsPage);
    EXPECT_EQ(LeftOf(Nth<wxCheckBox>(2)), 12);
    EXPECT_EQ(LeftOf(Nth<wxCheckBox>(3)), 12);
    EXPECT_EQ(RightOf(Get<wxButton>(MainFrame::ID_InstallService)), 12);
    EXPECT_EQ(RightOf(Get<wxButton>(MainFrame::ID_RestartService)), 12);
    EXPECT_EQ(LeftOf(Get<wxButton>(MainFrame::ID_InstallService)), LeftOf(Get<wxButton>(MainFrame::ID_RestartService)));
    EXPECT_EQ(RightOf(Get<wxButton>(MainFrame::ID_Cancel)), 12);
}

TEST_F(Layout, StatusTextsShowInFullThoughTheirMinimumIsLower) {
    Present(Open());
    TurnTo(WindowsPage);
    for (const auto& label : {"Microsoft Kryptografiedienst installiert", "Microsoft Kryptografiedienste gestartet"}) {
        auto& text = Get<wxStaticText>(label);
        int width = 0;
        int height = 0;
        text.GetTextExtent(label, &width, &height);
        EXPECT_GE(text.GetSize().x, width) << label;
        EXPECT_GE(text.GetSize().y, height) << label;
    }
}

TEST_F(Layout, RowsOfTheWindowsPageAreCentred) {
    Present(Open());
    TurnTo(WindowsPage);
    const auto& children = PageAt(WindowsPage).GetChildren();
    for (const std::size_t row : {0u, 3u}) {
        EXPECT_NEAR(MiddleOf(*children[row + 1]), MiddleOf(*children[row]), 1);
        EXPECT_NEAR(MiddleOf(*children[row + 2]), MiddleOf(*children[row]), 1);
    }
}

TEST_F(Layout, LanguageStandsCentredBesideItsLabel) {
    Present(Open());
    TurnTo(FurtherPage);
    const auto& label = Get<wxStaticText>("Sprache:");
    const auto& choice = Nth<wxComboBox>(0);
    EXPECT_NEAR(MiddleOf(choice), MiddleOf(label), 1);
    EXPECT_EQ(LeftOf(choice), label.GetRect().GetRight() + 1 + 12 + 12) << "a border each";
    EXPECT_EQ(choice.GetRect().y, 12);
}

TEST_F(Layout, PagesStackTheirControlsInTheirOrder) {
    Present(Open());
    for (const auto page : {InformationPage, ReaderPage, LoggingPage}) {
        TurnTo(page);
        int bottom = -1;
        for (const auto* control : PageAt(page).GetChildren()) {
            if (control == PageAt(ReaderPage).GetChildren()[2])
                continue; // the indent stands beside the list
            EXPECT_GT(control->GetRect().y, bottom) << control->GetLabel();
            bottom = control->GetRect().GetBottom();
        }
    }
}

TEST_F(Layout, ButtonsStandSideBySideBelowThePages) {
    Present(Open());
    const auto& ok = Get<wxButton>(MainFrame::ID_Ok);
    const auto& apply = Get<wxButton>(MainFrame::ID_Apply);
    const auto& cancel = Get<wxButton>(MainFrame::ID_Cancel);
    EXPECT_GT(ok.GetScreenRect().y, Notebook().GetScreenRect().GetBottom());
    EXPECT_EQ(MiddleOf(apply), MiddleOf(ok));
    EXPECT_EQ(MiddleOf(cancel), MiddleOf(ok));
    EXPECT_LT(ok.GetRect().GetRight(), LeftOf(apply));
    EXPECT_LT(apply.GetRect().GetRight(), LeftOf(cancel));
}

TEST_F(Layout, ListTakesTheSpaceThatAGrownWindowHas) {
    Present(Open());
    TurnTo(ReaderPage);
    const wxSize before = List().GetSize();
    frame->SetSize(frame->GetSize() + wxSize(100, 60));
    Settle();
    EXPECT_EQ(List().GetSize(), before + wxSize(100, 60));
}

TEST_F(Layout, ListHasAVisibleBorder) {
    Present(Open());
    TurnTo(ReaderPage);
    wxScreenDC screen;
    const wxRect list = List().GetScreenRect();
    wxColour border;
    wxColour page;
    const int row = list.y + list.height / 2;
    ASSERT_TRUE(screen.GetPixel(list.x - 1, row, &border));
    ASSERT_TRUE(screen.GetPixel(list.x - 4, row, &page));
    EXPECT_NE(border, page);
}

namespace {

class DenseLayout : public Layout {
protected:
    void SetUp() override {
        setenv("GDK_SCALE", "2", 1);
        Layout::SetUp();
    }
};

} // namespace

TEST_F(DenseLayout, ShowsTwiceAsLargeOnADenseDisplay) {
    Present(Open());
    EXPECT_EQ(frame->GetContentScaleFactor(), 2.0);
    EXPECT_LE(frame->GetSize().x, 800);
    EXPECT_LE(frame->GetSize().y, 440);
    ExpectNothingCutOff();
    EXPECT_GE(Nth<wxStaticBitmap>(0).GetSize().x, 769);
}
