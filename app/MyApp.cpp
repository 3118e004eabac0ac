#include "app/MyApp.h"

#include "app/ClientLanguage.h"
#include "app/MainFrame.h"
#include "config/Config.h"
#include "config/FileSystem.h"
#include "config/ProgramConfig.h"
#include "util/I18N.h"
#include "util/InstanceLock.h"

#include <wx/cmdline.h>
#include <wx/image.h>
#include <wx/log.h>
#include <wx/utils.h>

#include <algorithm>
#include <string>

using Vantor::Config;
using Vantor::FileSystem;
using Vantor::I18N;
using Vantor::InstanceLockState;
using Vantor::InstanceTurn;

MyApp::MyApp() {
    GenerateConfig();
    GenerateFileSystem();
    long language = 0;
    if (Config::GetHandle(0)->GetInteger(ConfigId::Language, language))
        I18N::GetHandle()->Initialize(ClientLanguage::ToToolkit(language));
    else
        I18N::GetHandle()->Initialize();
}

MyApp::~MyApp() {
    Config::GetHandle(0)->Destroy();
    FileSystem::Destroy();
    I18N::Destroy();
}

bool MyApp::Initialize(int& count, wxChar** arguments) {
    // GTK knows "--display" and others, and takes them out of the arguments: it is shown the program's name only.
    int shown = std::min(count, 1);
    wxChar* name[] = {shown == 1 ? arguments[0] : nullptr, nullptr};
    return wxApp::Initialize(shown, name);
}

void MyApp::OnInitCmdLine(wxCmdLineParser& parser) {
    // Not even the toolkit's own switches: the base class, which adds them, is left out.
    static const wxCmdLineEntryDesc nothing[] = {wxCMD_LINE_DESC_END};
    parser.SetDesc(nothing);
    parser.SetSwitchChars(L"-");
    // To the parser "--" ends the options and is nothing to complain of; with a blank it is an argument like any other.
    if (argc > 1 && argv[1] == L"--")
        parser.SetCmdLine(LR"(-- "-- ")");
}

bool MyApp::OnCmdLineParsed(wxCmdLineParser& /*parser*/) {
    return true;
}

bool MyApp::OnInit() {
    if (!wxAppConsoleBase::OnInit())
        return false;
    SetAppName(L"LumoClient");
    SetVendorName(L"Vantor GmbH");
    wxInitAllImageHandlers();
    return IsFirstCopy();
}

bool MyApp::IsFirstCopy() {
    // Where the home directory cannot be written there is no lock, and the window opens all the same.
    const wxLogNull quiet;
    const wxString name = wxString::Format(L"LumoAdmin-%s", wxGetUserId());
    const std::string home = wxGetHomeDir().fn_str().data();
    // To the toolkit any process with the number in the lock is a copy, and one that it cannot see, in another
    // container, is none. So the kernel is asked first.
    const InstanceTurn turn(home);
    const InstanceLockState state = ClearInstanceLock(home + "/" + name.fn_str().data(), turn);
    if (state != InstanceLockState::Free)
        return state == InstanceLockState::Left;
    m_InstanceChecker.Create(name);
    return !m_InstanceChecker.IsAnotherRunning();
}

int MyApp::OnRun() {
    m_MainFrame = new MainFrame(nullptr);
    m_MainFrame->Show(true);
    return wxApp::OnRun();
}

int MyApp::OnExit() {
    return 0;
}
