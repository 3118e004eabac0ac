#include "tests/gui/Toolkit.h"

#include <wx/evtloop.h>
#include <wx/init.h>
#include <wx/stopwatch.h>
#include <wx/timer.h>
#include <wx/uiaction.h>
#include <wx/utils.h>

#include <X11/Xlib.h>

// The font cache lives until the process ends, and so does what the C library notes about LOCPATH.
extern "C" const char* __lsan_default_suppressions();  // NOLINT: the sanitizer's name
extern "C" const char* __lsan_default_suppressions() { // NOLINT: the sanitizer's name
    return "leak:libfontconfig.so\nleak:argz_add_sep";
}

namespace {

wxPoint Middle(const wxRect& rect) {
    return {rect.x + rect.width / 2, rect.y + rect.height / 2};
}

// A row's left edge is at 0 and its box starts a few pixels from there; a report list reports the whole row as its
// icon.
wxPoint InRow(const wxListCtrl& list, long row, int fromLeft) {
    wxRect rect;
    EXPECT_TRUE(list.GetItemRect(row, rect));
    return list.ClientToScreen({rect.x + fromLeft, Middle(rect).y});
}

// Moves, presses and releases step by step, so that the main loop handles each by itself.
class SlowClick : public wxTimer {
public:
    explicit SlowClick(const wxPoint& where) : target(where) { Start(50); }

    void Notify() override {
        wxUIActionSimulator user;
        ++step;
        if (step == 1)
            user.MouseMove(target);
        else if (step == 2)
            user.MouseDown();
        else if (step == 3)
            user.MouseUp();
        else if (step == GivesUp)
            wxTheApp->ExitMainLoop();
    }

    bool GaveUp() const { return step >= GivesUp; }

private:
    static constexpr int GivesUp = 200;
    wxPoint target;
    int step = 0;
};

} // namespace

wxApp* Desktop::MakeApp() {
    return new wxApp;
}

void Desktop::SetUp() {
    // The accessibility bus is no matter of tests in process, and joining it takes longer than most of them.
    wxSetEnv("NO_AT_BRIDGE", "1");
    wxApp::SetInstance(MakeApp());
    int argc = 0;
    char* none[] = {nullptr};
    ASSERT_TRUE(wxEntryStart(argc, none));
    wxTheApp->SetExitOnFrameDelete(false);
}

void Desktop::TearDown() {
    for (auto* window : wxTopLevelWindows)
        window->Destroy();
    Settle();
    wxTheApp->OnExit();
    wxEntryCleanup();
}

void Desktop::Settle() {
    wxEventLoop loop;
    wxEventLoopActivator activate(&loop);
    // What the display has sent is looked for, not waited for; windows paint at most once in 17 ms.
    constexpr long TwoFrames = 35;
    wxStopWatch quiet;
    while (quiet.Time() < TwoFrames) {
        bool busy = false;
        XSync(wxGetX11Display(), False);
        while (loop.Pending()) {
            loop.Dispatch();
            busy = true;
        }
        busy = loop.ProcessIdle() || busy;
        if (busy)
            quiet.Start();
        else
            wxMilliSleep(5);
    }
}

bool Desktop::WaitFor(const std::function<bool()>& done) {
    wxStopWatch watch;
    while (!done()) {
        if (watch.Time() > 10000)
            return false;
        Settle();
    }
    return true;
}

void Desktop::Present(wxTopLevelWindow& window) {
    window.Show();
    window.Move(0, 0);
    Settle();
}

void Desktop::ClickAt(const wxPoint& screen) {
    wxUIActionSimulator user;
    user.MouseMove(screen);
    Settle();
    user.MouseDown();
    Settle();
    user.MouseUp();
    Settle();
}

void Desktop::Click(const wxWindow& control) {
    ClickAt(Middle(control.GetScreenRect()));
}

int Desktop::RunWithClick(const wxWindow& control, bool& ended) {
    SlowClick click(Middle(control.GetScreenRect()));
    wxTheApp->SetExitOnFrameDelete(true);
    const int result = wxTheApp->OnRun();
    ended = !click.GaveUp();
    return result;
}

wxPoint Desktop::CheckBoxOf(const wxListCtrl& list, long row) {
    return InRow(list, row, 10);
}

wxPoint Desktop::LabelOf(const wxListCtrl& list, long row) {
    return InRow(list, row, 60);
}
