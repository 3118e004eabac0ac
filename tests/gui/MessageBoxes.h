// What the program would have asked the user.
#pragma once

#include <wx/modalhook.h>
#include <wx/msgdlg.h>

#include <vector>

/// Answers every message box with OK before it shows, and remembers it.
class MessageBoxes : public wxModalDialogHook {
public:
    MessageBoxes() { Register(); }

    struct Box {
        wxString text;
        wxString caption;
        long style;
    };
    std::vector<Box> seen;

protected:
    int Enter(wxDialog* dialog) override {
        const auto* box = dynamic_cast<wxMessageDialogBase*>(dialog);
        seen.push_back(box == nullptr ? Box{}
                                      : Box{box->GetMessage(), dialog->GetTitle(), box->GetMessageDialogStyle()});
        return wxID_OK;
    }
};
