#include "app/wxCheckedListCtrl.h"

#include "app/CheckedXPM.h"
#include "app/XpmImage.h"

#include <wx/dcmemory.h>
#include <wx/renderer.h>

namespace Vantor {

namespace {

// Positions in the image list; the two greyed boxes follow.
constexpr int UncheckedImage = 0;
constexpr int CheckedImage = 1;

constexpr int DrawnStates[] = {0, wxCONTROL_CHECKED, wxCONTROL_DISABLED, wxCONTROL_CHECKED | wxCONTROL_DISABLED};

} // namespace

wxIMPLEMENT_DYNAMIC_CLASS(wxCheckedListCtrl, wxListCtrl);

wxBEGIN_EVENT_TABLE(wxCheckedListCtrl, wxListCtrl)
    EVT_LEFT_DOWN(wxCheckedListCtrl::OnMouseEvent)
wxEND_EVENT_TABLE()

wxCheckedListCtrl::wxCheckedListCtrl(wxWindow* parent, int id, const wxPoint& pos, const wxSize& size, long style)
    : wxListCtrl(parent, id, pos, size, style, wxDefaultValidator, wxListCtrlNameStr) {
    AddPictures();
    SetImageList(&m_CheckBoxes, wxIMAGE_LIST_SMALL);
}

wxCheckedListCtrl::~wxCheckedListCtrl() {
    // The base class outlives our image list and must not find it any more. Without a window it has none to look for.
    if (GetImageList(wxIMAGE_LIST_SMALL) != nullptr)
        SetImageList(nullptr, wxIMAGE_LIST_SMALL);
}

bool wxCheckedListCtrl::Create(wxWindow* parent, int id, const wxPoint& pos, const wxSize& size, long style,
                               const wxValidator& validator, const wxString& name) {
    if (!wxListCtrl::Create(parent, id, pos, size, style, validator, name))
        return false;
    AddDrawnPictures();
    SetImageList(&m_CheckBoxes, wxIMAGE_LIST_SMALL);
    return true;
}

void wxCheckedListCtrl::AddPictures() {
    for (const auto* picture : {uncheckedXpm, checkedXpm, uncheckedDisXpm, checkedDisXpm})
        m_CheckBoxes.Add(wxBitmap(ImageFromXpm(picture)));
}

void wxCheckedListCtrl::AddDrawnPictures() {
    const wxSize size = m_CheckBoxes.GetSize();
    for (const int state : DrawnStates) {
        wxBitmap picture;
        picture.Create(size);
        wxMemoryDC canvas(picture);
        canvas.SetBackground(wxBrush(GetBackgroundColour()));
        canvas.Clear();
        wxRendererNative::Get().DrawCheckBox(this, canvas, wxRect(size), state);
        canvas.SelectObject(wxNullBitmap);
        m_CheckBoxes.Add(picture);
    }
}

bool wxCheckedListCtrl::IsChecked(long item) const {
    if (item < 0 || item >= GetItemCount())
        return false;
    wxListItem row;
    row.SetId(item);
    row.SetMask(wxLIST_MASK_IMAGE);
    return GetItem(row) && row.GetImage() == CheckedImage;
}

void wxCheckedListCtrl::SetChecked(long item, bool checked) {
    SetItemImage(item, checked ? CheckedImage : UncheckedImage);
}

void wxCheckedListCtrl::OnMouseEvent(wxMouseEvent& event) {
    if (!event.LeftDown()) {
        event.Skip();
        return;
    }
    // The list's inner window passes its own mouse events on unchanged, and a hit test expects just its coordinates.
    int place = 0;
    const long row = HitTest(event.GetPosition(), place);
    if (row < 0 || (place & wxLIST_HITTEST_ONITEMICON) == 0) {
        event.Skip();
        return;
    }
    SetChecked(row, !IsChecked(row));
}

} // namespace Vantor
