#include "readers/Logging.h"
#include "tests/fakes/FakePcsc.h"
#include "tests/gui/Seams.h"
#include "tests/gui/Window.h"

#include <wx/button.h>
#include <wx/radiobut.h>
#include <wx/uiaction.h>
#include <wx/utils.h>

namespace {

const std::string Cherry = "Cherry SmartTerminal ST-2000 [Smart Card Reader] 00 00";
const std::string Gemalto = "Gemalto PC Twin Reader 01 00";

class ReaderList : public Window {
protected:
    void TearDown() override {
        Seams::onCall = nullptr;
        Vantor::LibReaderImpl::SetMessageLoggingFunc(nullptr);
        Window::TearDown();
    }

    std::vector<std::string> Rows() {
        std::vector<std::string> rows;
        for (long row = 0; row < List().GetItemCount(); ++row)
            rows.push_back((List().IsChecked(row) ? "[x] " : "[ ] ") + List().GetItemText(row, 0).utf8_string() +
                           " | " + List().GetItemText(row, 1).utf8_string() + " | " +
                           std::to_string(List().GetItemData(row)));
        return rows;
    }

    using Lines = std::vector<std::string>;
};

// What the window looks like while PC/SC is asked; the reader code's log lines come from there.
MainFrame* watched = nullptr;
std::vector<std::string> watchedStates;

void NoteState(const char* /*line*/) {
    const auto* button = watched->FindWindow(MainFrame::ID_Refresh);
    watchedStates.push_back(std::string(button->IsEnabled() ? "enabled" : "disabled") +
                            (wxIsBusy() ? ", busy" : ", not busy"));
}

} // namespace

TEST_F(ReaderList, ShowsAttachedReadersInTheirOrderAtStart) {
    Attach({Cherry, Gemalto});
    Open();
    EXPECT_EQ(Rows(), (Lines{"[ ] " + Cherry + " | PC/SC | 5000", "[ ] " + Gemalto + " | PC/SC | 5001"}));
}

TEST_F(ReaderList, WithoutReadersItIsEmptyAndTheButtonIsEnabledAgain) {
    Open();
    EXPECT_EQ(List().GetItemCount(), 0);
    EXPECT_TRUE(Get<wxButton>(MainFrame::ID_Refresh).IsEnabled());
    EXPECT_FALSE(wxIsBusy());

    Refresh();

    EXPECT_EQ(List().GetItemCount(), 0);
    EXPECT_TRUE(Get<wxButton>(MainFrame::ID_Refresh).IsEnabled());
    EXPECT_FALSE(wxIsBusy());
}

TEST_F(ReaderList, ClickOnTheButtonShowsWhatIsAttachedNow) {
    Attach({Cherry});
    Present(Open());
    FakePcsc::Readers().clear();
    Attach({Gemalto, Cherry});
    TurnTo(ReaderPage);

    Click(Get<wxButton>(MainFrame::ID_Refresh));

    EXPECT_EQ(Rows(), (Lines{"[ ] " + Gemalto + " | PC/SC | 5000", "[ ] " + Cherry + " | PC/SC | 5001"}));
    EXPECT_TRUE(Get<wxButton>(MainFrame::ID_Refresh).IsEnabled());
}

TEST_F(ReaderList, ReaderUnpluggedLosesItsRow) {
    Attach({Cherry, Gemalto});
    Open();
    FakePcsc::Readers().erase(FakePcsc::Readers().begin());
    Refresh();
    EXPECT_EQ(Rows(), (Lines{"[ ] " + Gemalto + " | PC/SC | 5000"}));
    ASSERT_EQ(frame->m_PcscReaders.size(), 1u);
    EXPECT_EQ(frame->m_PcscReaders[0].name, Gemalto);
}

TEST_F(ReaderList, MarksConfiguredReaders) {
    Attach({Cherry, Gemalto});
    Configure(PcscSubTree("Reader0", Gemalto));
    Open();
    EXPECT_EQ(Rows(), (Lines{"[ ] " + Cherry + " | PC/SC | 5000", "[x] " + Gemalto + " | PC/SC | 5001"}));
}

TEST_F(ReaderList, MarksEveryReaderOfAConfiguredName) {
    Attach({Gemalto, Gemalto});
    Configure(PcscSubTree("Reader0", Gemalto));
    Open();
    EXPECT_EQ(Rows(), (Lines{"[x] " + Gemalto + " | PC/SC | 5000", "[x] " + Gemalto + " | PC/SC | 5001"}));
}

TEST_F(ReaderList, ConfiguredReaderThatIsNotAttachedGetsNoRowAndIsNotForgotten) {
    Attach({Cherry});
    Configure(PcscSubTree("Reader0", Gemalto));
    Open();
    EXPECT_EQ(Rows(), (Lines{"[ ] " + Cherry + " | PC/SC | 5000"}));

    Attach({Gemalto});
    Refresh();

    EXPECT_EQ(Rows(), (Lines{"[ ] " + Cherry + " | PC/SC | 5000", "[x] " + Gemalto + " | PC/SC | 5001"}));
}

TEST_F(ReaderList, ReaderConfiguredAsCtapiIsNotMarkedWhenFoundThroughPcsc) {
    Attach({Gemalto});
    Configure("<Reader0><CTAPI>libct.so</CTAPI><ReaderName>" + Gemalto + "</ReaderName></Reader0>");
    Open();
    EXPECT_EQ(Rows(), (Lines{"[ ] " + Gemalto + " | PC/SC | 5000"}));
}

TEST_F(ReaderList, RefreshDiscardsMarksThatWereNotSaved) {
    Attach({Cherry, Gemalto});
    Configure(PcscSubTree("Reader0", Cherry));
    Open();
    List().SetChecked(0, false);
    List().SetChecked(1, true);

    Refresh();

    EXPECT_EQ(Rows(), (Lines{"[x] " + Cherry + " | PC/SC | 5000", "[ ] " + Gemalto + " | PC/SC | 5001"}));
}

TEST_F(ReaderList, RefreshKeepsTheMarksThatWereSaved) {
    Attach({Cherry, Gemalto});
    Open();
    List().SetChecked(1, true);
    frame->Save();

    Refresh();

    EXPECT_EQ(Rows(), (Lines{"[ ] " + Cherry + " | PC/SC | 5000", "[x] " + Gemalto + " | PC/SC | 5001"}));
}

TEST_F(ReaderList, RefreshLeavesTheListEnabledOrDisabled) {
    Attach({Cherry});
    Open();
    EXPECT_TRUE(List().IsEnabled());
    Refresh();
    EXPECT_TRUE(List().IsEnabled());

    Get<wxRadioButton>(MainFrame::ID_AnyReader).SetValue(true);
    frame->UpdateCardReader();
    Refresh();
    EXPECT_FALSE(List().IsEnabled());
}

TEST_F(ReaderList, ReaderWithoutANameIsUnknownAndNotMarked) {
    Configure(PcscSubTree("Reader0", Cherry));
    Open();
    long row = 0;
    frame->AddItemToCardReaders(row, frame->IsReaderConfigured(false, false, ""), "", "PC/SC", false, 5000);
    EXPECT_EQ(Rows(), (Lines{"[ ] Unbekannter Kartenleser | PC/SC | 5000"}));
}

TEST_F(ReaderList, ReaderWithoutANameIsMarkedWhenSuchAOneIsConfigured) {
    Configure(PcscSubTree("Reader0", ""));
    Open();
    EXPECT_TRUE(frame->IsReaderConfigured(false, false, ""));
}

TEST_F(ReaderList, NamesAreUtf8) {
    Attach({"Kartenlesegerät Größe Ⅱ 00 00"});
    Open();
    EXPECT_EQ(List().GetItemText(0), wxString::FromUTF8("Kartenlesegerät Größe Ⅱ 00 00"));
}

TEST_F(ReaderList, NameThatIsNotUtf8IsShownAsLatin1) {
    Attach({"Leseger\xe4t 00 00"});
    Open();
    EXPECT_EQ(List().GetItemText(0), wxString::FromUTF8("Lesegerät 00 00"));
}

TEST_F(ReaderList, RowsAreInsertedWhereTheCallerSaysAndMoveThePosition) {
    Open();
    long row = 0;
    frame->AddItemToCardReaders(row, true, "first", "PC/SC", false, 5000);
    EXPECT_EQ(row, 1);
    frame->AddItemToCardReaders(row, false, "second", "CT-API", true, 0);
    EXPECT_EQ(row, 2);
    row = 0;
    frame->AddItemToCardReaders(row, false, "zeroth", "PC/SC", false, 5001);
    EXPECT_EQ(row, 1);
    EXPECT_EQ(Rows(), (Lines{"[ ] zeroth | PC/SC | 5001", "[x] first | PC/SC | 5000", "[ ] second | CT-API | 0"}));
}

TEST_F(ReaderList, ConfiguredMeansSameInterfaceAndSameNameByteForByte) {
    Open();
    frame->m_ConfiguredReaders = {{false, true, "Reader A", "PCSC Reader"}, {true, false, "Reader B", "Reader B"}};
    EXPECT_TRUE(frame->IsReaderConfigured(false, true, "Reader A"));
    EXPECT_TRUE(frame->IsReaderConfigured(true, false, "Reader B"));
    EXPECT_FALSE(frame->IsReaderConfigured(true, true, "Reader A"));
    EXPECT_FALSE(frame->IsReaderConfigured(false, false, "Reader B"));
    EXPECT_FALSE(frame->IsReaderConfigured(false, true, "Reader"));
    EXPECT_FALSE(frame->IsReaderConfigured(false, true, "Reader A "));
    EXPECT_FALSE(frame->IsReaderConfigured(false, true, "reader a"));
    EXPECT_FALSE(frame->IsReaderConfigured(false, true, std::string("Reader A\0", 9)));
}

TEST_F(ReaderList, PinPadFlagTakesNoPart) {
    Open();
    frame->m_ConfiguredReaders = {{false, true, "Reader A", "PCSC Reader"}};
    EXPECT_TRUE(frame->IsReaderConfigured(false, false, "Reader A"));
    EXPECT_TRUE(frame->IsReaderConfigured(false, true, "Reader A"));
}

TEST_F(ReaderList, WithoutConfiguredReadersNoneIsConfigured) {
    Open();
    frame->m_ConfiguredReaders.clear();
    EXPECT_FALSE(frame->IsReaderConfigured(false, false, ""));
    EXPECT_FALSE(frame->IsReaderConfigured(true, true, "Reader A"));
}

TEST_F(ReaderList, PcscServiceThatFailsGivesAnEmptyList) {
    Attach({Cherry});
    Open();
    constexpr long NoService = 0x8010001D;
    FakePcsc::Script(FakePcsc::Function::EstablishContext, FakePcsc::Answer::Failure(NoService), 2);
    Refresh();
    EXPECT_EQ(List().GetItemCount(), 0);
    EXPECT_TRUE(frame->m_PcscReaders.empty());
    EXPECT_TRUE(Get<wxButton>(MainFrame::ID_Refresh).IsEnabled());
}

TEST_F(ReaderList, SixteenReadersAreListed) {
    std::vector<std::string> names;
    for (int i = 0; i < 16; ++i)
        names.push_back("Reader " + std::to_string(i));
    Attach(names);
    Open();
    ASSERT_EQ(List().GetItemCount(), 16);
    for (long row = 0; row < 16; ++row)
        EXPECT_EQ(List().GetItemData(row), 5000u + static_cast<unsigned>(row));
}

TEST_F(ReaderList, EveryRefreshGivesBackWhatItOpened) {
    Attach({Cherry, Gemalto});
    Open();
    Refresh();
    EXPECT_EQ(FakePcsc::OpenContexts(), 0u);
    EXPECT_EQ(FakePcsc::OpenCards(), 0u);
}

TEST_F(ReaderList, WhilePcscIsAskedTheButtonIsDisabledAndTheCursorBusy) {
    Attach({Cherry});
    watched = &Open();
    watchedStates.clear();
    Vantor::LibReaderImpl::EnableLogging();
    Vantor::LibReaderImpl::SetMessageLoggingFunc(NoteState);

    Refresh();

    Vantor::LibReaderImpl::SetMessageLoggingFunc(nullptr);
    ASSERT_FALSE(watchedStates.empty());
    for (const auto& state : watchedStates)
        EXPECT_EQ(state, "disabled, busy");
    EXPECT_TRUE(Get<wxButton>(MainFrame::ID_Refresh).IsEnabled());
    EXPECT_FALSE(wxIsBusy());
}

TEST_F(ReaderList, WhileAPersonWaitsForItTheButtonIsDisabledAndTheCursorBusy) {
    Attach({Cherry});
    Present(Open());
    watched = frame;
    watchedStates.clear();
    TurnTo(ReaderPage);
    Vantor::LibReaderImpl::EnableLogging();
    Vantor::LibReaderImpl::SetMessageLoggingFunc(NoteState);
    Seams::onCall = [](const std::string& call) { NoteState(call.c_str()); };

    Click(Get<wxButton>(MainFrame::ID_Refresh));

    ASSERT_GT(watchedStates.size(), 1u) << "PC/SC first, CT-API at the end";
    for (const auto& state : watchedStates)
        EXPECT_EQ(state, "disabled, busy");
    EXPECT_TRUE(Get<wxButton>(MainFrame::ID_Refresh).IsEnabled());
    EXPECT_FALSE(wxIsBusy());
}

TEST_F(ReaderList, OldRowsAreGoneBeforePcscIsAsked) {
    Attach({Cherry, Gemalto});
    watched = &Open();
    watchedStates.clear();
    Vantor::LibReaderImpl::EnableLogging();
    Vantor::LibReaderImpl::SetMessageLoggingFunc([](const char*) {
        if (watchedStates.empty())
            watchedStates.push_back(std::to_string(
                dynamic_cast<wxListCtrl*>(wxWindow::FindWindowByName(wxListCtrlNameStr, watched))->GetItemCount()));
    });
    Refresh();
    EXPECT_EQ(watchedStates, Lines{"0"});
    EXPECT_EQ(List().GetItemCount(), 2);
}

TEST_F(ReaderList, RefreshThatFailsGivesButtonAndCursorBack) {
    Attach({Cherry});
    Open();
    Seams::onCall = [](const std::string& /*call*/) { throw std::runtime_error("no memory"); };
    EXPECT_THROW(Refresh(), std::runtime_error);
    EXPECT_TRUE(Get<wxButton>(MainFrame::ID_Refresh).IsEnabled());
    EXPECT_FALSE(wxIsBusy());
}

TEST_F(ReaderList, CtapiReadersFollowThePcscReaders) {
    Attach({Cherry, Gemalto});
    Seams::terminals = {{"libct.so", 1, "DESCTPPUSB 1.0"}, {"libctapi.so", 2, "DEKOBCT399"}};
    Open();
    EXPECT_EQ(Rows(), (Lines{"[ ] " + Cherry + " | PC/SC | 5000", "[ ] " + Gemalto + " | PC/SC | 5001",
                             "[ ] cyberJack pinpad | CT-API | 0", "[ ] KOBIL KAAN Professional | CT-API | 1"}));
}

TEST_F(ReaderList, CtapiReadersAreThoseOfTheLastRefresh) {
    Seams::terminals = {{"libct.so", 1, "DESCTPPUSB"}, {"libct.so", 2, "DEKOBCT399"}};
    Open();
    Seams::terminals.erase(Seams::terminals.begin());

    Refresh();

    EXPECT_EQ(Rows(), Lines{"[ ] KOBIL KAAN Professional | CT-API | 0"});
    ASSERT_EQ(frame->m_CtapiReaders.size(), 1u);
    EXPECT_EQ(frame->m_CtapiReaders[0].port, 2);
}

TEST_F(ReaderList, CtapiReaderIsMarkedWhenConfiguredAsSuch) {
    Seams::terminals = {{"libct.so", 1, "DESCTPPUSB"}};
    Configure("<Reader0><CTAPI>libct.so</CTAPI><ReaderName>cyberJack pinpad</ReaderName></Reader0>");
    Open();
    EXPECT_EQ(Rows(), Lines{"[x] cyberJack pinpad | CT-API | 0"});
}

TEST_F(ReaderList, ReaderConfiguredAsPcscIsNotMarkedWhenFoundThroughCtapi) {
    Seams::terminals = {{"libct.so", 1, "DESCTPPUSB"}};
    Configure(PcscSubTree("Reader0", "cyberJack pinpad"));
    Open();
    EXPECT_EQ(Rows(), Lines{"[ ] cyberJack pinpad | CT-API | 0"});
}

TEST_F(ReaderList, ReaderFoundBothWaysHasARowForEach) {
    Attach({"cyberJack pinpad"});
    Seams::terminals = {{"libct.so", 1, "DESCTPPUSB"}};
    Open();
    EXPECT_EQ(Rows(), (Lines{"[ ] cyberJack pinpad | PC/SC | 5000", "[ ] cyberJack pinpad | CT-API | 0"}));
}

TEST_F(ReaderList, TerminalThatNobodyKnowsIsAnUnknownReader) {
    Seams::terminals = {{"libct.so", 1, "XXXXX"}};
    Open();
    EXPECT_EQ(Rows(), Lines{"[ ] Unbekannter Kartenleser | CT-API | 0"});
}

TEST_F(ReaderList, ButtonKeepsTheKeyboardFocus) {
    Attach({Cherry});
    Present(Open());
    TurnTo(ReaderPage);
    Click(Get<wxButton>(MainFrame::ID_Refresh));
    FakePcsc::ClearTrace();

    wxUIActionSimulator keyboard;
    keyboard.Char(WXK_SPACE);
    Settle();

    EXPECT_FALSE(FakePcsc::Calls().empty()) << "the button is pressed again";
}
