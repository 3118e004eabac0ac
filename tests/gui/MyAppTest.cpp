#include "app/MyApp.h"

#include "app/MainFrame.h"
#include "config/Config.h"
#include "config/FileSystem.h"
#include "config/ProgramConfig.h"
#include "tests/fakes/FakePcsc.h"
#include "tests/gui/Seams.h"
#include "tests/gui/Toolkit.h"
#include "util/I18N.h"

#include <wx/button.h>
#include <wx/cmdline.h>
#include <wx/dialog.h>
#include <wx/image.h>
#include <wx/intl.h>
#include <wx/log.h>
#include <wx/modalhook.h>
#include <wx/msgout.h>
#include <wx/snglinst.h>
#include <wx/utils.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// Without the declaration that the program writes: this file is ours, and not always a good one.
void WriteLanguage(const std::string& number) {
    std::filesystem::create_directories("/etc/vantor/lumoclient");
    std::ofstream("/etc/vantor/lumoclient/config")
        << "<config><lumo_Client><Language>" << number << "</Language></lumo_Client></config>";
}

/// Another process of this user that holds the lock of a running copy until it is destroyed.
class OtherCopy {
public:
    explicit OtherCopy(const wxString& name) {
        int ready[2];
        if (pipe(ready) != 0)
            throw std::runtime_error("pipe");
        child = fork();
        if (child == 0) {
            Hold(name, ready[1]);
        }
        char answer = 'n';
        EXPECT_EQ(read(ready[0], &answer, 1), 1);
        EXPECT_EQ(answer, 'y');
        close(ready[0]);
        close(ready[1]);
    }
    OtherCopy(const OtherCopy&) = delete;
    OtherCopy& operator=(const OtherCopy&) = delete;
    ~OtherCopy() { End(); }

    void End() {
        if (child <= 0)
            return;
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        child = 0;
    }

private:
    [[noreturn]] static void Hold(const wxString& name, int ready) {
        wxSingleInstanceChecker lock;
        const char answer = lock.Create(name) && !lock.IsAnotherRunning() ? 'y' : 'n';
        if (write(ready, &answer, 1) == 1)
            pause();
        _exit(1);
    }

    pid_t child = 0;
};

/// Collects what the toolkit would show the user.
class Messages : public wxLog, public wxModalDialogHook {
public:
    Messages() : before(SetActiveTarget(this)) { Register(); }
    ~Messages() override { SetActiveTarget(before); }
    std::vector<std::string> texts;

protected:
    void DoLogTextAtLevel(wxLogLevel /*level*/, const wxString& text) override { texts.push_back(text.utf8_string()); }
    int Enter(wxDialog* dialog) override {
        texts.push_back("dialog " + dialog->GetTitle().utf8_string());
        return wxID_OK;
    }

private:
    wxLog* before;
};

class Program : public Desktop {
protected:
    void SetUp() override { FakePcsc::Reset(); }

    void TearDown() override {
        if (wxTheApp != nullptr)
            Desktop::TearDown();
    }

    wxApp* MakeApp() override { return new MyApp; }

    /// Constructs the application object and starts the toolkit with it.
    MyApp& Start() {
        Desktop::SetUp();
        return *static_cast<MyApp*>(wxTheApp);
    }

    /// Makes the application object see arguments on its command line.
    static void Give(std::vector<std::wstring> arguments) {
        static std::vector<std::wstring> texts;
        static std::vector<wchar_t*> pointers;
        texts = std::move(arguments);
        texts.insert(texts.begin(), L"lumoadmin");
        pointers.clear();
        for (auto& text : texts)
            pointers.push_back(text.data());
        pointers.push_back(nullptr);
        wxTheApp->argc = static_cast<int>(texts.size());
        wxTheApp->argv.Init(wxTheApp->argc, pointers.data());
    }

    static std::string LanguageInUse() { return wxGetLocale()->GetCanonicalName().BeforeFirst('_').utf8_string(); }

    static wxString LockName() { return "LumoAdmin-" + wxGetUserId(); }
};

} // namespace

TEST_F(Program, ConstructorRegistersSettingsAndPaths) {
    Start();
    EXPECT_EQ(Vantor::Config::GetHandle(0)->GetEntries().size(), 61u);
    EXPECT_NE(Vantor::FileSystem::GetHandle()->GetConfigEntry(PathId::ClientTrace), nullptr);
    EXPECT_NE(Vantor::FileSystem::GetHandle()->GetConfigEntry(7), nullptr);
}

TEST_F(Program, ConstructorTakesTheLanguageOfTheConfiguration) {
    setenv("LOCPATH", TEST_LOCALES, 1);
    setenv("LANG", "de_DE.UTF-8", 1);
    WriteLanguage("58");
    Start();
    EXPECT_EQ(LanguageInUse(), "en");
}

TEST_F(Program, GermanInTheConfigurationGoesBeforeTheSystemsLanguage) {
    setenv("LOCPATH", TEST_LOCALES, 1);
    setenv("LANG", "en_GB.UTF-8", 1);
    WriteLanguage("89");
    Start();
    EXPECT_EQ(LanguageInUse(), "de");
}

TEST_F(Program, WithoutLanguageInTheConfigurationTheSystemsIsTaken) {
    setenv("LOCPATH", TEST_LOCALES, 1);
    setenv("LANG", "de_DE.UTF-8", 1);
    Start();
    EXPECT_EQ(LanguageInUse(), "de");
}

TEST_F(Program, LanguageZeroIsTheSystems) {
    setenv("LOCPATH", TEST_LOCALES, 1);
    setenv("LANG", "de_DE.UTF-8", 1);
    WriteLanguage("0");
    Start();
    EXPECT_EQ(LanguageInUse(), "de");
}

TEST_F(Program, LanguageThatNoSystemHasIsTheSystems) {
    setenv("LOCPATH", TEST_LOCALES, 1);
    setenv("LANG", "de_DE.UTF-8", 1);
    WriteLanguage("175"); // English to the present toolkit, nothing to the client
    Start();
    EXPECT_EQ(LanguageInUse(), "de");
}

TEST_F(Program, LanguageThatIsNoNumberIsTheSystems) {
    setenv("LOCPATH", TEST_LOCALES, 1);
    setenv("LANG", "de_DE.UTF-8", 1);
    WriteLanguage("English");
    Start();
    EXPECT_EQ(LanguageInUse(), "de");
}

TEST_F(Program, InitNamesTheApplicationAndItsVendor) {
    auto& app = Start();
    ASSERT_TRUE(app.CallOnInit());
    EXPECT_EQ(app.GetAppName(), "LumoClient");
    EXPECT_EQ(app.GetVendorName(), "Vantor GmbH");
    for (const auto kind : {wxBITMAP_TYPE_XPM, wxBITMAP_TYPE_PNG, wxBITMAP_TYPE_JPEG, wxBITMAP_TYPE_GIF})
        EXPECT_NE(wxImage::FindHandler(kind), nullptr) << kind;
}

TEST_F(Program, InitOpensNoWindow) {
    auto& app = Start();
    ASSERT_TRUE(app.CallOnInit());
    EXPECT_TRUE(wxTopLevelWindows.empty());
}

TEST_F(Program, EveryArgumentEndsTheStart) {
    auto& app = Start();
    const wxMessageOutput* before = wxMessageOutput::Set(new wxMessageOutputDebug);
    for (const wchar_t* argument : {L"-h", L"--help", L"--verbose", L"-v", L"reader", L"/h", L"-", L"--", L"", L"ä"}) {
        Give({argument});
        const Messages quiet;
        EXPECT_FALSE(app.CallOnInit()) << wxString(argument);
        EXPECT_TRUE(wxTopLevelWindows.empty());
    }
    delete wxMessageOutput::Set(const_cast<wxMessageOutput*>(before));
}

TEST_F(Program, CommandLineHasNoOptionsAtAll) {
    auto& app = Start();
    wxCmdLineParser parser;
    app.OnInitCmdLine(parser);
    const wxString usage = parser.GetUsageString();
    EXPECT_EQ(usage.Find("-"), wxNOT_FOUND) << usage;
    EXPECT_TRUE(app.OnCmdLineParsed(parser));
}

TEST_F(Program, OnlyADashIntroducesASwitch) {
    auto& app = Start();
    wxCmdLineParser parser;
    app.OnInitCmdLine(parser);
    parser.AddSwitch("x");
    parser.AddParam("file", wxCMD_LINE_VAL_STRING, wxCMD_LINE_PARAM_OPTIONAL);
    parser.SetCmdLine(L"/x");
    EXPECT_EQ(parser.Parse(false), 0);
    EXPECT_FALSE(parser.Found("x"));
    EXPECT_EQ(parser.GetParam(0), "/x");
}

TEST_F(Program, SecondCopyOfAUserEndsSilently) {
    const OtherCopy running(LockName());
    auto& app = Start();
    const Messages messages;

    EXPECT_FALSE(app.CallOnInit());

    EXPECT_TRUE(messages.texts.empty()) << messages.texts.front();
    EXPECT_TRUE(wxTopLevelWindows.empty());
}

TEST_F(Program, CopyStartsAfterTheFirstOneHasEnded) {
    OtherCopy running(LockName());
    running.End();
    auto& app = Start();
    const Messages messages;

    EXPECT_TRUE(app.CallOnInit());

    EXPECT_TRUE(messages.texts.empty()) << "the lock left behind is no news: " << messages.texts.front();
}

TEST_F(Program, LockLeftBehindDoesNotKeepTheWindowShut) {
    // As after a power cut: the number now belongs to a process that is no copy.
    const std::string lock = std::string(std::getenv("HOME")) + "/" + LockName().utf8_string();
    std::ofstream(lock) << getppid() << '\0';
    std::filesystem::permissions(lock, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    auto& app = Start();
    const Messages messages;

    EXPECT_TRUE(app.CallOnInit());

    EXPECT_TRUE(messages.texts.empty()) << messages.texts.front();
    int number = 0;
    std::ifstream(lock) >> number;
    EXPECT_EQ(number, getpid());
}

TEST_F(Program, LockLeftBehindThatCannotBeRemovedDoesNotKeepTheWindowShut) {
    const std::string home = std::getenv("HOME");
    const std::string lock = home + "/" + LockName().utf8_string();
    std::ofstream(lock) << getppid() << '\0';
    std::filesystem::permissions(lock, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    ASSERT_EQ(mount(home.c_str(), home.c_str(), nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(mount(nullptr, home.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
    auto& app = Start();

    EXPECT_TRUE(app.CallOnInit());
}

TEST_F(Program, CopyInAnotherContainerKeepsItsLock) {
    OtherCopy running(LockName());
    const std::string lock = std::string(std::getenv("HOME")) + "/" + LockName().utf8_string();
    // Its number there means nothing here, where no process has it.
    std::ofstream(lock) << 4194303 << '\0';
    auto& app = Start();

    EXPECT_FALSE(app.CallOnInit());

    EXPECT_TRUE(std::filesystem::exists(lock));
}

TEST_F(Program, CopyOfAnotherUserDoesNotMatter) {
    const OtherCopy running("LumoAdmin-somebody");
    EXPECT_TRUE(Start().CallOnInit());
}

TEST_F(Program, LockIsReleasedAtTheEnd) {
    ASSERT_TRUE(Start().CallOnInit());
    Desktop::TearDown();
    const OtherCopy next(LockName());
}

TEST_F(Program, HomeThatCannotBeWrittenPreventsNothing) {
    setenv("HOME", "/proc/self/nowhere", 1);
    auto& app = Start();
    const Messages messages;

    EXPECT_TRUE(app.CallOnInit());

    EXPECT_TRUE(messages.texts.empty()) << messages.texts.front();
}

TEST_F(Program, RunShowsTheWindowUntilItIsClosed) {
    auto& app = Start();
    app.SetExitOnFrameDelete(true);
    ASSERT_TRUE(app.CallOnInit());
    bool shown = false;
    app.CallAfter([&shown] {
        auto* window = dynamic_cast<MainFrame*>(wxTopLevelWindows.front());
        shown = window != nullptr && window->IsShown();
        window->Close();
    });

    EXPECT_EQ(app.OnRun(), 0);

    EXPECT_TRUE(shown);
    EXPECT_TRUE(wxTopLevelWindows.empty());
}

TEST_F(Program, LanguageChosenInTheWindowCountsFromTheNextStartOn) {
    setenv("LOCPATH", TEST_LOCALES, 1);
    WriteLanguage("89");
    Start();
    Vantor::Config::GetHandle(0)->SetInteger(ConfigId::Language, 58);
    EXPECT_EQ(LanguageInUse(), "de");
    Desktop::TearDown();

    Start();
    EXPECT_EQ(LanguageInUse(), "en");
}

TEST_F(Program, ExitReturnsZero) {
    EXPECT_EQ(Start().OnExit(), 0);
}

TEST_F(Program, EndTakesDownWhatTheStartBroughtUp) {
    Start();
    Desktop::TearDown();
    EXPECT_TRUE(Vantor::Config::GetHandle(0)->GetEntries().empty());
    EXPECT_EQ(Vantor::FileSystem::GetHandle()->GetConfigEntry(PathId::ClientTrace), nullptr);
    EXPECT_EQ(wxGetLocale(), nullptr);
}

TEST_F(Program, EndTakesDownSettingsThenPathsThenLanguageThenTheLock) {
    ASSERT_TRUE(Start().CallOnInit());
    const std::string lock = std::string(std::getenv("HOME")) + "/" + LockName().utf8_string();
    std::vector<std::string> calls;
    Seams::onCall = [&](const std::string& call) {
        calls.push_back(call + (std::filesystem::exists(lock) ? ", locked" : ", lock gone"));
    };

    Desktop::TearDown();

    Seams::onCall = nullptr;
    EXPECT_EQ(calls, (std::vector<std::string>{"Config::Destroy(0), locked", "FileSystem::Destroy, locked",
                                               "I18N::Destroy, locked"}));
    EXPECT_FALSE(std::filesystem::exists(lock));
}

TEST_F(Program, ConstructorThatFailsLeavesNoApplication) {
    Seams::onCall = [](const std::string& /*call*/) { throw std::runtime_error("no memory"); };
    EXPECT_THROW(MyApp(), std::runtime_error);
    Seams::onCall = nullptr;
    EXPECT_EQ(wxTheApp, nullptr);
}

TEST_F(Program, WindowThatCannotBeMadeLeavesNothingBehind) {
    auto& app = Start();
    ASSERT_TRUE(app.CallOnInit());
    Seams::onCall = [](const std::string& call) {
        if (call == "ListCTAPIReaders") // the last thing but one that the window's constructor does
            throw std::runtime_error("no memory");
    };

    EXPECT_THROW(app.OnRun(), std::runtime_error);

    Seams::onCall = nullptr;
    EXPECT_TRUE(wxTopLevelWindows.empty());
    EXPECT_FALSE(wxIsBusy());
    Settle();
}

TEST_F(Program, StartAndEndWriteNoConfiguration) {
    Start().CallOnInit();
    Desktop::TearDown();
    EXPECT_FALSE(std::filesystem::exists("/etc/vantor/lumoclient/config"));
}
