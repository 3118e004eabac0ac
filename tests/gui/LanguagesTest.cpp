// The window in every language and encoding that a machine may have.
#include "tests/gui/MessageBoxes.h"
#include "tests/gui/Seams.h"
#include "tests/gui/Window.h"
#include "tests/support/MessageCatalog.h"

#include "app/ClientLanguage.h"
#include "config/ClientSettings.h"
#include "util/I18N.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/statbox.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

class Encoding : public Window, public ::testing::WithParamInterface<const char*> {
protected:
    void SetUp() override {
        setenv("LOCPATH", TEST_LOCALES, 1);
        setenv("LANG", GetParam(), 1);
        Window::SetUp();
        Vantor::I18N::GetHandle()->Initialize();
    }
};

using Lines = std::vector<std::string>;

/// With the program's catalogues where it looks for them, in a language of the configuration.
class Translation : public Window {
protected:
    static Lines All(const OpenFrame::StatusTexts& texts) {
        Lines lines;
        for (const auto* text :
             {&texts.started, &texts.notStarted, &texts.installed, &texts.notInstalled, &texts.restart, &texts.start})
            lines.push_back(text->utf8_string());
        return lines;
    }

    Lines Pages() {
        Lines lines;
        for (std::size_t page = 0; page < Notebook().GetPageCount(); ++page) {
            lines.push_back("# " + Notebook().GetPageText(page).utf8_string());
            for (const auto& line : Describe(*Notebook().GetPage(page)))
                lines.push_back(line);
        }
        return lines;
    }
};

} // namespace

TEST_F(Translation, EnglishWindowIsEnglishThroughout) {
    Configure("<Version>2.0</Version>");
    Speak(ClientSettings::EnglishNumber);
    Open();
    EXPECT_EQ(frame->GetTitle(), "Administrative functions (2.0, x86)");
    auto lines = Pages();
    ASSERT_GT(lines.size(), 4u);
    EXPECT_EQ(lines[2], "wxStaticText: lumo Client version 2.0\nVantor GmbH");
    lines.erase(lines.begin() + 4); // the notice of OpenSSL is not translated
    EXPECT_EQ(
        lines,
        (Lines{"# Information",
               "wxStaticBitmap: 769x170",
               "wxStaticText: lumo Client version 2.0\nVantor GmbH",
               "wxStaticText: Contains OpenSSL and wxWidgets (https://www.wxwidgets.org/).",
               "# Card readers",
               "wxRadioButton 5437: Let the lumo Client use any card reader, including readers without a PIN pad.",
               "wxRadioButton 5438: Let the lumo Client use only the card readers selected below.",
               "wxPanel",
               "wxCheckedListCtrl",
               "wxButton 5432: Refresh",
               "wxStaticText: Please make sure that no card reader is used both through PC/SC and through CT-API.",
               "# Logging",
               "wxStaticBox: PKCS#11",
               "  wxCheckBox 5433: Enable logging",
               "  wxTextCtrl",
               "  wxButton 5434: Open folder",
               "wxStaticBox: Microsoft minidriver (formerly CSP)",
               "  wxCheckBox 5435: Enable logging",
               "  wxTextCtrl",
               "  wxButton 5436: Open folder",
               "# Windows",
               "wxStaticBitmap: 32x32",
               "wxStaticText: Microsoft cryptographic service installed",
               "wxButton 5442: Install service",
               "wxStaticBitmap: 32x32",
               "wxStaticText: Microsoft cryptographic services running",
               "wxButton 5443: Restart service",
               "wxCheckBox: When refreshing cards, delete all Vantor card certificates from the Windows "
               "certificate store",
               "wxCheckBox: Always keep lumo Client dialogs on top. (May cause problems with card reader displays)",
               "# Further settings",
               "wxStaticText: Language:",
               "wxComboBox: German|English"}));
    EXPECT_EQ(Describe(*frame->GetChildren().front()->GetChildren().back()),
              (Lines{"wxButton 5439: OK", "wxButton 5440: Apply", "wxButton 5441: Cancel"}));
    wxListItem column;
    column.SetMask(wxLIST_MASK_TEXT);
    List().GetColumn(0, column);
    EXPECT_EQ(column.GetText(), "Card readers");
    List().GetColumn(1, column);
    EXPECT_EQ(column.GetText(), "Interface");
    long row = 0;
    frame->AddItemToCardReaders(row, false, "", "PC/SC", false, 0);
    EXPECT_EQ(List().GetItemText(0), "Unknown card reader");
    EXPECT_EQ(List().GetItemText(0, 1), "PC/SC");
}

TEST_F(Translation, StatusTextsAreTranslatedThoughFourOfThemAreNeverShown) {
    Speak(ClientSettings::EnglishNumber);
    Open();
    EXPECT_EQ(All(frame->m_StatusTexts),
              (Lines{"Microsoft cryptographic services running", "Microsoft cryptographic services not running",
                     "Microsoft cryptographic service installed", "Microsoft cryptographic service not installed",
                     "Restart services", "Start services"}));
}

TEST_F(Translation, GermanCatalogueShowsTheProgramsOwnTexts) {
    Configure("<Version>2.0</Version>");
    Open();
    const auto withoutCatalogue = Pages();
    const wxString title = frame->GetTitle();
    Speak(ClientSettings::GermanNumber);

    Open();

    EXPECT_EQ(Pages(), withoutCatalogue);
    EXPECT_EQ(frame->GetTitle(), title);
}

TEST_F(Translation, NamesOfInterfacesAndThePackageStayWhateverACatalogueSays) {
    setenv("LOCPATH", TEST_LOCALES, 1);
    std::filesystem::create_directories("/etc/lumoclient/I18N/en");
    std::ofstream("/etc/lumoclient/I18N/en/LumoClient.mo", std::ios::binary)
        << CompiledCatalog({{"PKCS#11", "?"}, {"PC/SC", "?"}, {"CT-API", "?"}, {"x86", "?"}, {"Logging", "Logs"}});
    ASSERT_EQ(Vantor::I18N::GetHandle()->Initialize(ClientLanguage::ToToolkit(ClientSettings::EnglishNumber)), 0);
    Attach({"Reader A"});
    Seams::terminals = {{"ctrsct32.dll", 7, "Terminal B"}};

    Open();

    EXPECT_EQ(Notebook().GetPageText(LoggingPage), "Logs") << "the catalogue is in use";
    EXPECT_EQ(Nth<wxStaticBox>(0).GetLabel(), "PKCS#11");
    ASSERT_EQ(List().GetItemCount(), 2);
    EXPECT_EQ(List().GetItemText(0, 1), "PC/SC");
    EXPECT_EQ(List().GetItemText(1, 1), "CT-API");
    EXPECT_TRUE(frame->GetTitle().EndsWith("x86)")) << frame->GetTitle();
}

TEST_F(Translation, EnglishWindowFitsASmallDisplay) {
    Speak(ClientSettings::EnglishNumber);
    Present(Open());
    EXPECT_LE(frame->GetSize().x, 800);
    EXPECT_LE(frame->GetSize().y, 440) << "a title bar has room";
    ExpectNothingCutOff();
}

TEST_F(Translation, EnglishMessageBoxIsEnglish) {
    const MessageBoxes boxes;
    setenv("PATH", "/nowhere", 1);
    Speak(ClientSettings::EnglishNumber);
    Open();
    frame->OpenDir("/tmp");
    ASSERT_EQ(boxes.seen.size(), 1u);
    EXPECT_EQ(boxes.seen[0].text,
              "The folder could not be opened (neither the command gnome-open nor nautilus was found)");
    EXPECT_EQ(boxes.seen[0].caption, "Error");
}

INSTANTIATE_TEST_SUITE_P(Every, Encoding, ::testing::Values("C", "C.UTF-8", "de_DE.UTF-8", "en_GB.UTF-8"),
                         [](const auto& value) {
                             std::string name = value.param;
                             for (auto& character : name)
                                 if (!std::isalnum(static_cast<unsigned char>(character)))
                                     character = '_';
                             return name;
                         });

TEST_P(Encoding, GermanTextsAreComplete) {
    Configure("<Version>2.0 ä</Version>");
    Present(Open());
    EXPECT_EQ(Get<wxButton>(MainFrame::ID_Apply).GetLabel(), L"Übernehmen");
    EXPECT_EQ(Get<wxButton>(MainFrame::ID_OpenP11Directory).GetLabel(), L"Verzeichnis öffnen");
    EXPECT_EQ(frame->GetTitle(), L"Administrative Funktionen (2.0 ä, x86)");
    EXPECT_EQ(Nth<wxStaticText>(0).GetLabel().BeforeFirst('\n'), L"lumo Client Version 2.0 ä");
}

TEST_P(Encoding, ReadersWithUmlautsAreListedAndSaved) {
    const std::string name = "Lesegerät Größe 00 00";
    Attach({name});
    Open();
    EXPECT_EQ(List().GetItemText(0), wxString::FromUTF8(name));
    List().SetChecked(0, true);
    frame->Save();
    EXPECT_EQ(Setting("lumo_Client/Reader0/ReaderName"), name);
}

TEST_P(Encoding, NumbersAreWrittenWithoutDigitGroups) {
    Open();
    frame->WriteReader(1000, true, "a", "b", true, true, "", "libct.so", 123456, true, Vantor::SYSTYPE_FIRST);
    EXPECT_EQ(Setting("lumo_Client/Reader1000/CTPort"), "123456");
}

TEST_P(Encoding, DirectoryWithUmlautsIsOpened) {
    setenv("HOME", "/mnt/home/Jürgen", 1);
    std::filesystem::create_directory("/mnt/commands");
    std::ofstream("/mnt/commands/gnome-open") << "#!/bin/sh\nprintf '%s\\n' \"$@\" >/mnt/called\n";
    std::filesystem::permissions("/mnt/commands/gnome-open", std::filesystem::perms::owner_all);
    setenv("PATH", "/mnt/commands", 1);
    Present(Open());
    TurnTo(LoggingPage);
    Click(Get<wxCheckBox>(MainFrame::ID_LoggingP11));
    EXPECT_EQ(Nth<wxTextCtrl>(0).GetValue(), L"/mnt/home/Jürgen/.vantor/lumo Client/Trace/");

    Click(Get<wxButton>(MainFrame::ID_OpenP11Directory));

    std::ostringstream called;
    called << std::ifstream("/mnt/called").rdbuf();
    EXPECT_EQ(called.str(), "/mnt/home/Jürgen/.vantor/lumo Client/Trace/\n");
}
