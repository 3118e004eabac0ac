// The main window on a machine with simulated readers and a configuration file of the test's own.
#pragma once

#include "app/MainFrame.h"
#include "app/wxCheckedListCtrl.h"
#include "tests/gui/Toolkit.h"

#include <wx/notebook.h>

#include <string>
#include <vector>

/// A main window whose readers tests can look at and add to.
class OpenFrame : public MainFrame {
public:
    OpenFrame() : MainFrame(nullptr) {}
    using MainFrame::m_ConfiguredReaders;
    using MainFrame::m_CtapiReaders;
    using MainFrame::m_PcscReaders;
    using MainFrame::m_StatusTexts;
    using MainFrame::StatusTexts;
};

class Window : public Desktop {
protected:
    void SetUp() override;
    void TearDown() override;

    /// Writes the machine's configuration file: `client` is put into the element of the client's settings, `others`
    /// beside it.
    static void Configure(const std::string& client, const std::string& others = "");
    /// Puts the program's catalogues where it looks for them and takes a language of the configuration.
    static void Speak(long number);
    /// Writes the desktop's settings: its font has this size in points. The toolkit reads them when it starts.
    static void UseFontOf(int points);
    /// The sub-tree of one PC/SC reader.
    static std::string PcscSubTree(const std::string& element, const std::string& name);

    /// Every value in the file as "path = text", in the order of the file, paths below the root joined by "/".
    static std::vector<std::string> Settings();
    /// The text at such a path; "(none)" where the file has none.
    static std::string Setting(const std::string& path);
    static std::string FileText();

    /// Attaches readers with cards.
    static void Attach(const std::vector<std::string>& names);

    /// Brings up the registries as the program does, then the window. It is shown by `Present`.
    template <typename Frame = OpenFrame>
    Frame& Open() {
        Prepare();
        auto* opened = new Frame;
        frame = opened;
        return *opened;
    }
    /// The first half of `Open`.
    static void Prepare();

    /// The control with one of the fixed numbers.
    template <typename Control>
    Control& Get(MainFrame::ControlId id) {
        auto* control = dynamic_cast<Control*>(frame->FindWindow(id));
        EXPECT_NE(control, nullptr) << id;
        return *control;
    }
    /// The control of a kind with this text.
    template <typename Control>
    Control& Get(const wxString& label) {
        auto* control = dynamic_cast<Control*>(wxWindow::FindWindowByLabel(label, frame));
        EXPECT_NE(control, nullptr) << label;
        return *control;
    }
    /// The n-th control of a kind, in the order of creation.
    template <typename Control>
    Control& Nth(std::size_t n) {
        std::vector<wxWindow*> all;
        Collect(*frame, all);
        for (auto* window : all)
            if (auto* control = dynamic_cast<Control*>(window); control != nullptr && n-- == 0)
                return *control;
        throw std::out_of_range("no such control");
    }
    Vantor::wxCheckedListCtrl& List() { return Nth<Vantor::wxCheckedListCtrl>(0); }
    wxNotebook& Notebook() { return Nth<wxNotebook>(0); }

    /// Lists the attached readers anew, as the button does.
    void Refresh();

    /// Ids in the registry above those of the program's settings.
    static std::vector<unsigned> ReservedIds();

    /// Shows a page of the presented window and handles what that brings.
    void TurnTo(std::size_t page);

    /// The controls below a window, one a line and each before its children, which are indented: kind, fixed number if
    /// it has one, and text.
    static std::vector<std::string> Describe(const wxWindow& parent);

    /// On every page of the presented window, each text fits into its control and each control into its parent.
    void ExpectNothingCutOff();

    /// All windows below one, each before its children.
    static void Collect(const wxWindow& parent, std::vector<wxWindow*>& all);

    OpenFrame* frame = nullptr;
};

/// Names of the pages by their position.
enum Page : std::size_t { InformationPage, ReaderPage, LoggingPage, WindowsPage, FurtherPage };
