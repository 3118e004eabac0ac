// A report list with a check box in front of each row.
#pragma once

#include <wx/imaglist.h>
#include <wx/listctrl.h>

namespace Vantor {

/// A list control whose rows carry a check box as their small image. A left click on the box toggles it and neither
/// selects the row nor tells the parent: the owner reads the marks when it needs them. There is no keyboard toggling.
class wxCheckedListCtrl : public wxListCtrl {
public:
    /// For two-step creation with `Create`; until then there is no window.
    wxCheckedListCtrl() = default;

    /// Creates the window at once, with the check boxes of `CheckedXPM.h`.
    wxCheckedListCtrl(wxWindow* parent, int id, const wxPoint& pos = wxDefaultPosition,
                      const wxSize& size = wxDefaultSize, long style = wxLC_REPORT);

    ~wxCheckedListCtrl() override;

    wxCheckedListCtrl(const wxCheckedListCtrl&) = delete;
    wxCheckedListCtrl& operator=(const wxCheckedListCtrl&) = delete;

    /// Second step of two-step creation, with check boxes drawn as the desktop's theme draws its own.
    /// @return whether the list control was created; without it there are no check boxes either
    bool Create(wxWindow* parent, int id, const wxPoint& pos = wxDefaultPosition, const wxSize& size = wxDefaultSize,
                long style = wxLC_REPORT, const wxValidator& validator = wxDefaultValidator,
                const wxString& name = wxListCtrlNameStr);

    /// @return whether the row shows the enabled, ticked box; false for a row that does not exist, has no image, or
    ///         shows a greyed box
    bool IsChecked(long item) const;

    /// Shows the enabled box in the row, ticked or empty.
    void SetChecked(long item, bool checked);

    /// Toggles the row whose check box lies at the event's position; leaves any other event to the list.
    void OnMouseEvent(wxMouseEvent& event);

private:
    void AddPictures();
    void AddDrawnPictures();

    wxImageList m_CheckBoxes{16, 16, true, 1};

    wxDECLARE_DYNAMIC_CLASS(wxCheckedListCtrl);
    wxDECLARE_EVENT_TABLE();
};

} // namespace Vantor
