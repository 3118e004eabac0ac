#include "app/wxCheckedListCtrl.h"

#include "app/CheckedXPM.h"
#include "tests/gui/Toolkit.h"

#include <wx/bitmap.h>
#include <wx/dcmemory.h>
#include <wx/image.h>
#include <wx/renderer.h>
#include <wx/sizer.h>
#include <wx/uiaction.h>

#include <memory>

using Vantor::wxCheckedListCtrl;

namespace {

constexpr long ReportOfOne = wxLC_REPORT | wxLC_SINGLE_SEL | wxBORDER_SUNKEN;

wxImage PictureOf(const wxCheckedListCtrl& list, int index) {
    return list.GetImageList(wxIMAGE_LIST_SMALL)->GetBitmap(index).ConvertToImage();
}

/// As the desktop's theme draws it on the list's background.
wxImage DrawnBox(wxCheckedListCtrl& list, int state) {
    wxBitmap picture(16, 16);
    wxMemoryDC canvas(picture);
    canvas.SetBackground(wxBrush(list.GetBackgroundColour()));
    canvas.Clear();
    wxRendererNative::Get().DrawCheckBox(&list, canvas, wxRect(0, 0, 16, 16), state);
    canvas.SelectObject(wxNullBitmap);
    return picture.ConvertToImage();
}

bool SamePixels(const wxImage& left, const wxImage& right) {
    if (left.GetSize() != right.GetSize())
        return false;
    for (int y = 0; y < left.GetHeight(); ++y)
        for (int x = 0; x < left.GetWidth(); ++x) {
            if (left.IsTransparent(x, y) != right.IsTransparent(x, y))
                return false;
            if (!left.IsTransparent(x, y) &&
                (left.GetRed(x, y) != right.GetRed(x, y) || left.GetGreen(x, y) != right.GetGreen(x, y) ||
                 left.GetBlue(x, y) != right.GetBlue(x, y)))
                return false;
        }
    return true;
}

class CheckedList : public Desktop {
protected:
    void SetUp() override {
        Desktop::SetUp();
        frame = new wxFrame(nullptr, wxID_ANY, "Readers", wxDefaultPosition, wxSize(500, 300));
        list = new wxCheckedListCtrl(frame, wxID_ANY, wxDefaultPosition, wxDefaultSize, ReportOfOne);
        Fill();
        Present(*frame);
    }

    void Fill() {
        list->InsertColumn(0, "Reader", wxLIST_FORMAT_LEFT, 320);
        list->InsertColumn(1, "Interface", wxLIST_FORMAT_LEFT, 100);
        for (const long row : {0L, 1L, 2L}) {
            list->InsertItem(row, wxString::Format("Reader %ld", row));
            list->SetChecked(row, row == 1);
        }
    }

    long Selected() const { return list->GetNextItem(-1, wxLIST_NEXT_ALL, wxLIST_STATE_SELECTED); }

    int ImageOf(long row) const {
        wxListItem item;
        item.SetId(row);
        item.SetMask(wxLIST_MASK_IMAGE);
        list->GetItem(item);
        return item.GetImage();
    }

    wxFrame* frame = nullptr;
    wxCheckedListCtrl* list = nullptr;
};

} // namespace

TEST_F(CheckedList, KnowsItsClassName) {
    EXPECT_EQ(list->GetClassInfo()->GetClassName(), wxString("wxCheckedListCtrl"));
    EXPECT_TRUE(list->IsKindOf(wxCLASSINFO(wxGenericListCtrl)));
    EXPECT_EQ(list->GetName(), wxString(wxListCtrlNameStr));
    EXPECT_TRUE(list->HasFlag(wxLC_REPORT | wxLC_SINGLE_SEL));
}

TEST_F(CheckedList, HoldsTheFourPicturesInTheOrderOfTheirStates) {
    const wxImageList* pictures = list->GetImageList(wxIMAGE_LIST_SMALL);
    ASSERT_NE(pictures, nullptr);
    ASSERT_EQ(pictures->GetImageCount(), 4);
    EXPECT_EQ(pictures->GetSize(), wxSize(16, 16));
    EXPECT_TRUE(SamePixels(PictureOf(*list, 0), wxImage(Vantor::uncheckedXpm)));
    EXPECT_TRUE(SamePixels(PictureOf(*list, 1), wxImage(Vantor::checkedXpm)));
    EXPECT_TRUE(SamePixels(PictureOf(*list, 2), wxImage(Vantor::uncheckedDisXpm)));
    EXPECT_TRUE(SamePixels(PictureOf(*list, 3), wxImage(Vantor::checkedDisXpm)));
}

TEST_F(CheckedList, FourPicturesAllDiffer) {
    for (int one = 0; one < 4; ++one)
        for (int other = one + 1; other < 4; ++other)
            EXPECT_FALSE(SamePixels(PictureOf(*list, one), PictureOf(*list, other))) << one << " and " << other;
}

TEST_F(CheckedList, RemembersTheMarkOfEachRow) {
    EXPECT_FALSE(list->IsChecked(0));
    EXPECT_TRUE(list->IsChecked(1));
    EXPECT_FALSE(list->IsChecked(2));

    list->SetChecked(1, false);
    list->SetChecked(2, true);

    EXPECT_FALSE(list->IsChecked(1));
    EXPECT_TRUE(list->IsChecked(2));
}

TEST_F(CheckedList, MarksWithTheEnabledPicturesOnly) {
    list->Disable();
    list->SetChecked(0, true);
    list->SetChecked(1, false);
    EXPECT_EQ(ImageOf(0), 1);
    EXPECT_EQ(ImageOf(1), 0);
}

TEST_F(CheckedList, RowWithoutAnImageIsUnchecked) {
    list->InsertItem(3, "never marked");
    EXPECT_FALSE(list->IsChecked(3));
}

TEST_F(CheckedList, RowWithTheGreyedTickIsUnchecked) {
    list->SetItemImage(0, 3);
    EXPECT_FALSE(list->IsChecked(0));
    list->SetItemImage(0, 2);
    EXPECT_FALSE(list->IsChecked(0));
}

TEST_F(CheckedList, RowThatDoesNotExistIsUnchecked) {
    EXPECT_FALSE(list->IsChecked(-1));
    EXPECT_FALSE(list->IsChecked(3));
    EXPECT_FALSE(list->IsChecked(1000000));
}

TEST_F(CheckedList, ClickOnTheBoxTogglesAndKeepsTheSelection) {
    list->SetItemState(2, wxLIST_STATE_SELECTED, wxLIST_STATE_SELECTED);

    ClickAt(CheckBoxOf(*list, 0));

    EXPECT_TRUE(list->IsChecked(0));
    EXPECT_EQ(Selected(), 2);
    EXPECT_TRUE(list->IsChecked(1)) << "other rows stay as they were";
}

TEST_F(CheckedList, ClickOnTheBoxSelectsNothing) {
    ClickAt(CheckBoxOf(*list, 1));
    EXPECT_FALSE(list->IsChecked(1));
    EXPECT_EQ(Selected(), -1);
}

TEST_F(CheckedList, SecondClickOnTheBoxTogglesBack) {
    ClickAt(CheckBoxOf(*list, 2));
    ASSERT_TRUE(list->IsChecked(2));
    wxMilliSleep(600); // longer than a double click
    ClickAt(CheckBoxOf(*list, 2));
    EXPECT_FALSE(list->IsChecked(2));
}

TEST_F(CheckedList, ClickOnTheTextSelectsAndKeepsTheMark) {
    ClickAt(LabelOf(*list, 0));
    EXPECT_EQ(Selected(), 0);
    EXPECT_FALSE(list->IsChecked(0));

    ClickAt(LabelOf(*list, 1));
    EXPECT_EQ(Selected(), 1);
    EXPECT_TRUE(list->IsChecked(1));
}

TEST_F(CheckedList, ClickBelowTheRowsChangesNoMark) {
    const wxPoint last = CheckBoxOf(*list, 2);
    ClickAt({last.x, last.y + 80});
    EXPECT_FALSE(list->IsChecked(0));
    EXPECT_TRUE(list->IsChecked(1));
    EXPECT_FALSE(list->IsChecked(2));
}

TEST_F(CheckedList, RightClickOnTheBoxChangesNoMark) {
    wxMouseEvent press(wxEVT_RIGHT_DOWN);
    press.SetPosition({10, 10}); // in the inner window's coordinates: the first row's box

    list->OnMouseEvent(press);

    EXPECT_FALSE(list->IsChecked(0));
    EXPECT_TRUE(press.GetSkipped());
}

TEST_F(CheckedList, ClicksOnADisabledListChangeNothing) {
    const wxPoint box = CheckBoxOf(*list, 0);
    const wxPoint label = LabelOf(*list, 2);
    list->Disable();
    Settle();

    ClickAt(box);
    ClickAt(label);

    EXPECT_FALSE(list->IsChecked(0));
    EXPECT_EQ(Selected(), -1);
}

TEST_F(CheckedList, ToggleTellsTheParentNothing) {
    int commands = 0;
    for (const auto& type : {wxEVT_LIST_ITEM_SELECTED, wxEVT_LIST_ITEM_ACTIVATED, wxEVT_LIST_ITEM_CHECKED})
        frame->Bind(type, [&commands](wxListEvent&) { ++commands; });

    ClickAt(CheckBoxOf(*list, 0));

    EXPECT_TRUE(list->IsChecked(0));
    EXPECT_EQ(commands, 0);
}

TEST_F(CheckedList, SpaceKeyChangesNoMark) {
    ClickAt(LabelOf(*list, 0));
    wxUIActionSimulator keyboard;
    keyboard.Char(WXK_SPACE);
    Settle();
    EXPECT_FALSE(list->IsChecked(0));
}

TEST_F(CheckedList, ScrolledRowTogglesWhereItIsShown) {
    for (long row = 3; row < 60; ++row) {
        list->InsertItem(row, wxString::Format("Reader %ld", row));
        list->SetChecked(row, false);
    }
    list->EnsureVisible(50);
    Settle();

    ClickAt(CheckBoxOf(*list, 50));

    EXPECT_TRUE(list->IsChecked(50));
}

TEST_F(CheckedList, TwoStepCreationDrawsItsFourBoxes) {
    auto* drawn = new wxCheckedListCtrl;
    ASSERT_TRUE(drawn->Create(frame, wxID_ANY, {0, 0}, {300, 200}, ReportOfOne, wxDefaultValidator, "drawn"));
    EXPECT_EQ(drawn->GetName(), "drawn");
    const wxImageList* pictures = drawn->GetImageList(wxIMAGE_LIST_SMALL);
    ASSERT_NE(pictures, nullptr);
    ASSERT_EQ(pictures->GetImageCount(), 4);
    EXPECT_EQ(pictures->GetSize(), wxSize(16, 16));
    EXPECT_FALSE(SamePixels(PictureOf(*drawn, 0), PictureOf(*drawn, 1))) << "the tick shows";
    EXPECT_FALSE(SamePixels(PictureOf(*drawn, 0), PictureOf(*drawn, 2))) << "disabled shows";
    EXPECT_FALSE(SamePixels(PictureOf(*drawn, 2), PictureOf(*drawn, 3))) << "the greyed tick shows";

    drawn->InsertColumn(0, "Reader");
    drawn->InsertItem(0, "Reader");
    EXPECT_FALSE(drawn->IsChecked(0));
    drawn->SetChecked(0, true);
    EXPECT_TRUE(drawn->IsChecked(0));
}

TEST_F(CheckedList, DrawnBoxesComeInTheOrderOfTheirStates) {
    auto* drawn = new wxCheckedListCtrl;
    ASSERT_TRUE(drawn->Create(frame, wxID_ANY, {0, 0}, {300, 200}, ReportOfOne));
    const int states[] = {0, wxCONTROL_CHECKED, wxCONTROL_DISABLED, wxCONTROL_CHECKED | wxCONTROL_DISABLED};
    for (int index = 0; index < 4; ++index)
        EXPECT_TRUE(SamePixels(PictureOf(*drawn, index), DrawnBox(*drawn, states[index]))) << index;
}

TEST_F(CheckedList, DoubleClickIsLeftToTheList) {
    wxMouseEvent doubleClick(wxEVT_LEFT_DCLICK);
    doubleClick.SetPosition({10, 10}); // in the inner window's coordinates: the first row's box
    EXPECT_FALSE(list->ProcessWindowEventLocally(doubleClick));
    EXPECT_FALSE(list->IsChecked(0));
    list->OnMouseEvent(doubleClick);
    EXPECT_TRUE(doubleClick.GetSkipped());
    EXPECT_FALSE(list->IsChecked(0));
}

TEST_F(CheckedList, PressOnTheBoxIsUsedUpAndOneBesideItIsNot) {
    const auto skipped = [this](const wxPoint& where) {
        wxMouseEvent press(wxEVT_LEFT_DOWN);
        press.SetPosition(where);
        list->OnMouseEvent(press);
        return press.GetSkipped();
    };
    EXPECT_FALSE(skipped({10, 10}));
    EXPECT_TRUE(skipped({100, 10})) << "on the label";
    EXPECT_TRUE(skipped({10, 250})) << "below the rows";
    EXPECT_TRUE(list->IsChecked(0));
}

TEST_F(CheckedList, TwoStepCreationThatFailsSaysSoAndDrawsNothing) {
    wxSetAssertHandler(nullptr); // the toolkit complains of the missing parent
    const auto failed = std::make_unique<wxCheckedListCtrl>();
    EXPECT_FALSE(failed->Create(nullptr, wxID_ANY, {0, 0}, {300, 200}, ReportOfOne));
    EXPECT_EQ(failed->GetImageList(wxIMAGE_LIST_SMALL), nullptr);
}

TEST_F(CheckedList, DrawnBoxToggles) {
    list->Hide();
    auto* drawn = new wxCheckedListCtrl;
    ASSERT_TRUE(drawn->Create(frame, wxID_ANY, {0, 0}, {300, 200}, ReportOfOne));
    drawn->InsertColumn(0, "Reader", wxLIST_FORMAT_LEFT, 200);
    drawn->InsertItem(0, "Reader");
    drawn->SetChecked(0, false);
    Settle();
    ClickAt(CheckBoxOf(*drawn, 0));
    EXPECT_TRUE(drawn->IsChecked(0));
}

TEST_F(CheckedList, WithoutAWindowItIsDestroyedCleanly) {
    const auto never = std::make_unique<wxCheckedListCtrl>();
    EXPECT_EQ(never->GetHandle(), nullptr);
}

TEST_F(CheckedList, IsDestroyedCleanlyWithRowsShown) {
    list->Destroy();
    Settle();
    EXPECT_TRUE(frame->GetChildren().empty());
}
