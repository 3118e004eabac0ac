// A running toolkit for window tests, and the hands and eyes of a user.
#pragma once

#include <gtest/gtest.h>
#include <wx/app.h>
#include <wx/frame.h>
#include <wx/listctrl.h>

#include <functional>

/// Starts the toolkit with a plain application object before each test and ends it afterwards.
class Desktop : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /// Makes the application object that the toolkit is started with; the toolkit owns it.
    virtual wxApp* MakeApp();

    /// Handles what the display has for us until nothing comes for a moment.
    static void Settle();
    /// Handles events until `done` holds; false when it does not within ten seconds.
    static bool WaitFor(const std::function<bool()>& done);

    /// Shows the window and waits until the display has drawn it.
    static void Present(wxTopLevelWindow& window);

    /// Presses and releases the left button at a point of the screen.
    static void ClickAt(const wxPoint& screen);
    /// Clicks into the middle of a control.
    static void Click(const wxWindow& control);

    /// Runs the main loop, with a click into the middle of a control as its first event. Returns what the loop does;
    /// false in `ended` when it had to be stopped after ten seconds.
    static int RunWithClick(const wxWindow& control, bool& ended);

    /// The middle of a row's check box, or of its label, in screen coordinates.
    static wxPoint CheckBoxOf(const wxListCtrl& list, long row);
    static wxPoint LabelOf(const wxListCtrl& list, long row);
};
