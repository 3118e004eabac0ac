// The window in every language and encoding that a machine may have.
#include "tests/gui/Window.h"

#include "app/ClientLanguage.h"
#include "util/I18N.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/combobox.h>
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

} // namespace

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
