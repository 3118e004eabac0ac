// The application: brings up configuration, paths and language, allows one copy a user, and runs the main window.
#pragma once

#include <wx/app.h>
#include <wx/snglinst.h>

class MainFrame;

/// Takes no command-line arguments; the toolkit rejects any.
class MyApp : public wxApp {
public:
    /// Registers settings and paths and sets the language, so that windows may use all three from the start.
    MyApp();
    MyApp(const MyApp&) = delete;
    MyApp& operator=(const MyApp&) = delete;
    /// Takes down what the constructor brought up; writes no configuration.
    ~MyApp() override;

    /// Keeps the command line from the desktop's toolkit, which would take its own options out of it.
    bool Initialize(int& count, wxChar** arguments) override;
    void OnInitCmdLine(wxCmdLineParser& parser) override;
    bool OnCmdLineParsed(wxCmdLineParser& parser) override;
    /// False, which ends the program silently, when this user already runs a copy.
    bool OnInit() override;
    int OnRun() override;
    int OnExit() override;

private:
    bool IsFirstCopy();

    wxSingleInstanceChecker m_InstanceChecker;
    MainFrame* m_MainFrame = nullptr; // the toolkit's window tree owns it
};

wxDECLARE_APP(MyApp);
