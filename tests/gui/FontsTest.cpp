// The window in the font sizes that people set, on the smallest display and on one with room for it.
#include "tests/gui/Window.h"

#include "config/ClientSettings.h"

#include <wx/display.h>
#include <wx/statbmp.h>

namespace {

struct Look {
    int points; ///< of the desktop's font; 0 for the toolkit's own
    long language;
};

void PrintTo(const Look& look, std::ostream* stream) {
    *stream << look.points << " points, " << (look.language == ClientSettings::GermanNumber ? "German" : "English");
}

class Fonts : public Window, public ::testing::WithParamInterface<Look> {
protected:
    void SetUp() override {
        if (GetParam().points > 0)
            UseFontOf(GetParam().points);
        Window::SetUp();
        Speak(GetParam().language);
        Attach({"Reader A", "Reader B"});
    }

    /// Which display this program runs on is CMakeLists.txt's choice.
    static wxSize DisplaySize() { return wxDisplay().GetClientArea().GetSize(); }

    void ExpectWholeColumnTitles() {
        TurnTo(ReaderPage);
        for (const int index : {0, 1}) {
            wxListItem column;
            column.SetMask(wxLIST_MASK_TEXT);
            List().GetColumn(index, column);
            // The toolkit leaves some room at both sides of a title.
            EXPECT_GE(List().GetColumnWidth(index), List().GetTextExtent(column.GetText()).x + 10) << column.GetText();
        }
    }
};

std::string NameOf(const ::testing::TestParamInfo<Look>& look) {
    return (look.param.language == ClientSettings::GermanNumber ? "German" : "English") +
           std::to_string(look.param.points);
}

} // namespace

TEST_P(Fonts, AreTheOnesAskedFor) {
    Present(Open());
    const int usual = 10;
    EXPECT_EQ(frame->GetFont().GetPointSize(), GetParam().points == 0 ? usual : GetParam().points);
}

TEST_P(Fonts, WindowFitsTheDisplay) {
    Present(Open());
    EXPECT_LE(frame->GetSize().x, DisplaySize().x);
    EXPECT_LE(frame->GetSize().y, DisplaySize().y);
}

TEST_P(Fonts, CutNothingOff) {
    Present(Open());
    ExpectNothingCutOff();
    ExpectWholeColumnTitles();
    EXPECT_GE(Nth<wxStaticBitmap>(0).GetSize().x, 769);
}

INSTANTIATE_TEST_SUITE_P(Usual, Fonts,
                         ::testing::Values(Look{0, ClientSettings::GermanNumber},
                                           Look{0, ClientSettings::EnglishNumber}),
                         NameOf);
INSTANTIATE_TEST_SUITE_P(
    Large, Fonts,
    ::testing::Values(Look{11, ClientSettings::GermanNumber}, Look{11, ClientSettings::EnglishNumber},
                      Look{12, ClientSettings::GermanNumber}, Look{12, ClientSettings::EnglishNumber},
                      Look{14, ClientSettings::GermanNumber}, Look{14, ClientSettings::EnglishNumber}),
    NameOf);
