#include "app/MyApp.h"

#include "app/ClientLanguage.h"
#include "app/MainFrame.h"
#include "config/Config.h"
#include "config/FileSystem.h"
#include "config/ProgramConfig.h"
#include "util/I18N.h"

#include <wx/cmdline.h>
#include <wx/image.h>
#include <wx/log.h>
#include <wx/utils.h>

using Vantor::Config;
using Vantor::FileSystem;
using Vantor::I18N;

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

void MyApp::OnInitCmdLine(wxCmdLineParser& parser) {
    // Not even the toolkit's own switches: the base class, which adds them, is left out.
    static const wxCmdLineEntryDesc nothing[] = {wxCMD_LINE_DESC_END};
    parser.SetDesc(nothing);
    parser.SetSwitchChars(L"-");
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
    m_InstanceChecker.Create(wxString::Format(L"LumoAdmin-%s", wxGetUserId()));
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
