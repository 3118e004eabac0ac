#include "tests/gui/MessageBoxes.h"
#include "tests/gui/Window.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/msgdlg.h>
#include <wx/textctrl.h>
#include <wx/utils.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

namespace fs = std::filesystem;

constexpr char P11Directory[] = "/mnt/home/.vantor/lumo Client/Trace/";
constexpr char MiniDriverDirectory[] = "/etc/vantor/LumoMiniDriver/Log/";

class LogDirectories : public Window {
protected:
    void SetUp() override {
        Window::SetUp();
        fs::create_directory("/mnt/commands");
        // Scripts need a shell's own commands only; nothing else of the machine is on the path.
        setenv("PATH", "/mnt/commands", 1);
    }

    /// A command that notes its name and arguments, one a line, and ends with a status.
    static void Install(const std::string& name, int status = 0) {
        const fs::path script = "/mnt/commands/" + name;
        std::ofstream(script) << "#!/bin/sh\nprintf '%s\\n' " << name << " \"$@\" >>/mnt/called\nexit " << status
                              << "\n";
        fs::permissions(script, fs::perms::owner_all);
    }

    static std::string Called() {
        std::ostringstream text;
        text << std::ifstream("/mnt/called").rdbuf();
        return text.str();
    }

    void SwitchP11(bool on) {
        Get<wxCheckBox>(MainFrame::ID_LoggingP11).SetValue(on);
        wxCommandEvent event;
        frame->evt_LoggingP11(event);
    }

    wxTextCtrl& P11Field() { return Nth<wxTextCtrl>(0); }
    wxTextCtrl& MiniDriverField() { return Nth<wxTextCtrl>(1); }

    MessageBoxes boxes;
};

} // namespace

TEST_F(LogDirectories, P11SwitchShowsAndMakesItsDirectory) {
    Present(Open());
    TurnTo(LoggingPage);
    Click(Get<wxCheckBox>(MainFrame::ID_LoggingP11));
    EXPECT_EQ(P11Field().GetValue(), P11Directory);
    EXPECT_TRUE(MiniDriverField().GetValue().empty());
    EXPECT_TRUE(fs::is_directory(P11Directory));
}

TEST_F(LogDirectories, MiniDriverSwitchShowsAndMakesItsDirectory) {
    Present(Open());
    TurnTo(LoggingPage);
    Click(Get<wxCheckBox>(MainFrame::ID_LoggingMiniDriver));
    EXPECT_EQ(MiniDriverField().GetValue(), MiniDriverDirectory);
    EXPECT_TRUE(P11Field().GetValue().empty());
    EXPECT_TRUE(fs::is_directory(MiniDriverDirectory));
}

TEST_F(LogDirectories, SwitchingOffEmptiesTheFieldAndOnAgainRestoresIt) {
    Present(Open());
    TurnTo(LoggingPage);
    auto& box = Get<wxCheckBox>(MainFrame::ID_LoggingP11);
    Click(box);
    Click(box);
    EXPECT_EQ(P11Field().GetValue(), "");
    Click(box);
    EXPECT_EQ(P11Field().GetValue(), P11Directory);
}

TEST_F(LogDirectories, SwitchingMiniDriverLoggingOffEmptiesItsFieldToo) {
    Present(Open());
    TurnTo(LoggingPage);
    auto& box = Get<wxCheckBox>(MainFrame::ID_LoggingMiniDriver);
    Click(box);
    Click(box);
    EXPECT_EQ(MiniDriverField().GetValue(), "");
    Click(box);
    EXPECT_EQ(MiniDriverField().GetValue(), MiniDriverDirectory);
}

TEST_F(LogDirectories, FieldsAreReadOnly) {
    Open();
    EXPECT_FALSE(P11Field().IsEditable());
    EXPECT_FALSE(MiniDriverField().IsEditable());
    EXPECT_TRUE(P11Field().IsSingleLine());
    EXPECT_TRUE(MiniDriverField().IsSingleLine());
}

TEST_F(LogDirectories, UmlautsInHomeAreShown) {
    setenv("HOME", "/mnt/home/Jürgen", 1);
    Open();
    SwitchP11(true);
    EXPECT_EQ(P11Field().GetValue(), wxString::FromUTF8("/mnt/home/Jürgen/.vantor/lumo Client/Trace/"));
}

TEST_F(LogDirectories, WithLoggingOffTheButtonsDoNothing) {
    Install("gnome-open");
    Install("nautilus");
    Present(Open());
    TurnTo(LoggingPage);
    Click(Get<wxButton>(MainFrame::ID_OpenP11Directory));
    Click(Get<wxButton>(MainFrame::ID_OpenMiniDriverDirectory));
    EXPECT_EQ(Called(), "");
    EXPECT_TRUE(boxes.seen.empty());
}

TEST_F(LogDirectories, P11ButtonOpensItsDirectoryAsOneArgument) {
    Install("gnome-open");
    Install("nautilus");
    Present(Open());
    TurnTo(LoggingPage);
    Click(Get<wxCheckBox>(MainFrame::ID_LoggingP11));
    Click(Get<wxButton>(MainFrame::ID_OpenP11Directory));
    EXPECT_EQ(Called(), std::string("gnome-open\n") + P11Directory + "\n");
    EXPECT_TRUE(boxes.seen.empty());
}

TEST_F(LogDirectories, ButtonsOpenWhatTheirFieldsShow) {
    Install("gnome-open");
    Open();
    P11Field().SetValue("/tmp/one");
    MiniDriverField().SetValue("/tmp/two");
    wxCommandEvent event;
    frame->evt_openp11loggingdir(event);
    frame->evt_openMinidriverLoggingDir(event);
    EXPECT_EQ(Called(), "gnome-open\n/tmp/one\ngnome-open\n/tmp/two\n");
}

TEST_F(LogDirectories, WindowWaitsForTheCommand) {
    setenv("PATH", "/mnt/commands:/usr/bin:/bin", 1);
    std::ofstream("/mnt/commands/gnome-open") << "#!/bin/sh\nsleep 0.3\necho late >/mnt/called\n";
    fs::permissions("/mnt/commands/gnome-open", fs::perms::owner_all);
    Open();
    frame->OpenDir("/tmp");
    EXPECT_EQ(Called(), "late\n");
}

TEST_F(LogDirectories, SettingAFieldTellsThatItsTextChanged) {
    Open();
    std::vector<wxString> texts;
    frame->Bind(wxEVT_TEXT, [&texts](wxCommandEvent& event) { texts.push_back(event.GetString()); });
    SwitchP11(true);
    SwitchP11(false);
    EXPECT_EQ(texts, (std::vector<wxString>{P11Directory, ""}));
}

TEST_F(LogDirectories, MiniDriverButtonOpensItsDirectory) {
    Install("gnome-open");
    Present(Open());
    TurnTo(LoggingPage);
    Click(Get<wxCheckBox>(MainFrame::ID_LoggingMiniDriver));
    Click(Get<wxButton>(MainFrame::ID_OpenMiniDriverDirectory));
    EXPECT_EQ(Called(), std::string("gnome-open\n") + MiniDriverDirectory + "\n");
}

TEST_F(LogDirectories, WithoutGnomeOpenNautilusIsUsed) {
    Install("nautilus");
    Open();
    frame->OpenDir("/tmp/a b");
    EXPECT_EQ(Called(), "nautilus\n/tmp/a b\n");
    EXPECT_TRUE(boxes.seen.empty());
}

TEST_F(LogDirectories, GnomeOpenThatFailsCountsAsDone) {
    Install("gnome-open", 1);
    Install("nautilus");
    Open();
    frame->OpenDir("/tmp");
    EXPECT_EQ(Called(), "gnome-open\n/tmp\n");
    EXPECT_TRUE(boxes.seen.empty());
}

TEST_F(LogDirectories, GnomeOpenThatIsNoProgramCountsAsDone) {
    Install("gnome-open", 126);
    Install("nautilus");
    Open();
    frame->OpenDir("/tmp");
    EXPECT_EQ(Called(), "gnome-open\n/tmp\n");
}

TEST_F(LogDirectories, NautilusThatFailsCountsAsDone) {
    Install("nautilus", 3);
    Open();
    frame->OpenDir("/tmp");
    EXPECT_TRUE(boxes.seen.empty());
}

TEST_F(LogDirectories, WithNeitherCommandEachClickShowsOneMessageBox) {
    Present(Open());
    TurnTo(LoggingPage);
    Click(Get<wxCheckBox>(MainFrame::ID_LoggingP11));
    Click(Get<wxButton>(MainFrame::ID_OpenP11Directory));
    ASSERT_EQ(boxes.seen.size(), 1u);
    EXPECT_EQ(boxes.seen[0].text, L"Verzeichnis konnte nicht geöffnet werden (gnome-open und/oder nautilus Befehle "
                                  L"nicht vorhanden)");
    EXPECT_EQ(boxes.seen[0].caption, "Fehler");
    EXPECT_EQ(boxes.seen[0].style & (wxOK | wxCANCEL | wxYES_NO), wxOK);
    EXPECT_TRUE(boxes.seen[0].style & wxICON_ERROR);
    EXPECT_TRUE(boxes.seen[0].style & wxSTAY_ON_TOP);
    EXPECT_TRUE(boxes.seen[0].style & wxCENTRE);

    Click(Get<wxButton>(MainFrame::ID_OpenP11Directory));
    EXPECT_EQ(boxes.seen.size(), 2u);
}

TEST_F(LogDirectories, EmptyDirectoryShowsNoMessageBox) {
    Open();
    frame->OpenDir("");
    EXPECT_TRUE(boxes.seen.empty());
}

TEST_F(LogDirectories, DoubleQuoteReachesTheShellAsItIs) {
    Install("gnome-open");
    Open();
    frame->OpenDir(L"/tmp/a\" \"b");
    EXPECT_EQ(Called(), "gnome-open\n/tmp/a\n"
                        "b\n");
}

TEST_F(LogDirectories, UmlautsReachTheCommand) {
    Install("gnome-open");
    Open();
    frame->OpenDir(L"/tmp/Größe");
    EXPECT_EQ(Called(), "gnome-open\n/tmp/Größe\n");
}

TEST_F(LogDirectories, RestartButtonDoesNothing) {
    Present(Open());
    TurnTo(WindowsPage);
    auto& button = Get<wxButton>(MainFrame::ID_RestartService);
    EXPECT_TRUE(button.IsEnabled());
    Click(button);
    EXPECT_EQ(Called(), "");
    EXPECT_TRUE(boxes.seen.empty());
}

TEST_F(LogDirectories, InstallButtonIsDisabledAndStaysSo) {
    Present(Open());
    TurnTo(WindowsPage);
    auto& button = Get<wxButton>(MainFrame::ID_InstallService);
    EXPECT_FALSE(button.IsEnabled());
    Install("xdg-open");
    Click(button);
    EXPECT_EQ(Called(), "");
    Refresh();
    frame->Save();
    EXPECT_FALSE(button.IsEnabled());
}

TEST_F(LogDirectories, InstallOpensTheDownloadPageInTheBrowser) {
    Install("xdg-open");
    Open();
    wxCommandEvent event;
    frame->evt_installCsp(event);
    EXPECT_TRUE(WaitFor([] { return !Called().empty(); }));
    EXPECT_EQ(Called().rfind("xdg-open\nhttps://", 0), 0u) << Called();
}

TEST_F(LogDirectories, BrowserThatDoesNotStartIsNotReported) {
    Present(Open());
    wxCommandEvent event;
    frame->evt_installCsp(event);
    Settle();
    EXPECT_TRUE(boxes.seen.empty());
}
