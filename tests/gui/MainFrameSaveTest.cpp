#include "tests/fakes/FakePcsc.h"
#include "tests/gui/MessageBoxes.h"
#include "tests/gui/Seams.h"
#include "tests/gui/Window.h"

#include "config/Config.h"
#include "config/ProgramConfig.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/combobox.h>
#include <wx/log.h>
#include <wx/radiobut.h>
#include <wx/utils.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

namespace {

class Saving : public Window {
protected:
    using Lines = std::vector<std::string>;

    void UseAnyReader() {
        Get<wxRadioButton>(MainFrame::ID_AnyReader).SetValue(true);
        frame->UpdateCardReader();
    }

    /// The settings of reader sub-trees that the file holds; empty elements are none.
    static Lines Readers() {
        Lines readers;
        for (const auto& line : Settings())
            if (line.rfind("lumo_Client/Reader", 0) == 0 && line.find('/', 19) != std::string::npos)
                readers.push_back(line.substr(12));
        return readers;
    }

    static Lines PcscLines(const std::string& subTree, const std::string& name) {
        return {subTree + "/IsSecure = Yes", subTree + "/Reader = PCSC Reader", subTree + "/ReaderName = " + name,
                subTree + "/UseGUI = Yes",   subTree + "/UseBeep = Yes",        subTree + "/UserMessage = "};
    }

    static Lines Joined(std::initializer_list<Lines> parts) {
        Lines all;
        for (const auto& part : parts)
            all.insert(all.end(), part.begin(), part.end());
        return all;
    }

    void AddCtapi(const Vantor::CTAPIReaderConfig& reader) {
        long row = List().GetItemCount();
        const int data = static_cast<int>(frame->m_CtapiReaders.size());
        frame->m_CtapiReaders.push_back(reader);
        frame->AddItemToCardReaders(row, true, reader.productName, "CT-API", reader.isSecure, data);
    }
};

Vantor::CTAPIReaderConfig Kobil() {
    Vantor::CTAPIReaderConfig reader;
    reader.libraryPath = "/usr/lib/libct.so";
    reader.libraryName = "libct.so";
    reader.productName = "KOBIL B1 S";
    reader.port = 3;
    reader.isSecure = false;
    reader.rowFlag3 = true;
    reader.rowFlag1 = false;
    return reader;
}

} // namespace

TEST_F(Saving, FreshWindowWritesTheWholeFile) {
    Open();
    frame->Save();
    EXPECT_EQ(FileText(), "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                          "<config><lumo_Client><Trace><LogMode>0</LogMode><LogLevel>0</LogLevel></Trace>"
                          "<CleanCertsOnRefresh>false</CleanCertsOnRefresh>"
                          "<MakeDialogsStayOnTop>NO</MakeDialogsStayOnTop><Language>89</Language></lumo_Client>"
                          "<LumoMiniDriver><EnableLogging>0</EnableLogging></LumoMiniDriver></config>");
}

TEST_F(Saving, EverySwitchOnWritesTheWholeFile) {
    Attach({"Reader A"});
    Open();
    for (const auto& id : {MainFrame::ID_LoggingP11, MainFrame::ID_LoggingMiniDriver})
        Get<wxCheckBox>(id).SetValue(true);
    Nth<wxCheckBox>(2).SetValue(true);
    Nth<wxCheckBox>(3).SetValue(true);
    Nth<wxComboBox>(0).SetSelection(1);
    List().SetChecked(0, true);

    frame->Save();

    EXPECT_EQ(Settings(), (Lines{"lumo_Client/Trace/LogMode = 2", "lumo_Client/Trace/LogLevel = 128",
                                 "lumo_Client/Trace/Filename = /mnt/home/.vantor/lumo Client/Trace/lumop11.log",
                                 "lumo_Client/CleanCertsOnRefresh = true", "lumo_Client/MakeDialogsStayOnTop = YES",
                                 "lumo_Client/Reader0/IsSecure = Yes", "lumo_Client/Reader0/Reader = PCSC Reader",
                                 "lumo_Client/Reader0/ReaderName = Reader A", "lumo_Client/Reader0/UseGUI = Yes",
                                 "lumo_Client/Reader0/UseBeep = Yes", "lumo_Client/Reader0/UserMessage = ",
                                 "lumo_Client/Language = 58", "LumoMiniDriver/EnableLogging = 1"}));
    EXPECT_TRUE(std::filesystem::is_directory("/mnt/home/.vantor/lumo Client/Trace"));
}

TEST_F(Saving, SwitchingP11LoggingOffKeepsTheFileName) {
    Configure("<Trace><LogLevel>128</LogLevel><LogMode>2</LogMode><Filename>/tmp/other.log</Filename></Trace>");
    Open();
    Get<wxCheckBox>(MainFrame::ID_LoggingP11).SetValue(false);

    frame->Save();

    EXPECT_EQ(Setting("lumo_Client/Trace/LogLevel"), "0");
    EXPECT_EQ(Setting("lumo_Client/Trace/LogMode"), "0");
    EXPECT_EQ(Setting("lumo_Client/Trace/Filename"), "/tmp/other.log");
}

TEST_F(Saving, NoChosenLanguageWritesZero) {
    Configure("<Language>89</Language>");
    Open();
    Nth<wxComboBox>(0).SetSelection(wxNOT_FOUND);
    frame->Save();
    EXPECT_EQ(Setting("lumo_Client/Language"), "0");
}

TEST_F(Saving, GermanIsWrittenAs89) {
    Configure("<Language>58</Language>");
    Open();
    Nth<wxComboBox>(0).SetSelection(0);
    frame->Save();
    EXPECT_EQ(Setting("lumo_Client/Language"), "89");
}

TEST_F(Saving, AnyReaderWritesTheStarAndNoMarkedRow) {
    Attach({"Reader A", "Reader B"});
    Open();
    List().SetChecked(0, true);
    List().SetChecked(1, true);
    UseAnyReader();

    frame->Save();

    EXPECT_EQ(Readers(), PcscLines("Reader0", "*"));
    EXPECT_TRUE(frame->m_ConfiguredReaders.empty());
}

TEST_F(Saving, CheckedReadersAreNumberedInTheOrderOfTheRows) {
    Attach({"Reader A", "Reader B", "Reader C"});
    Open();
    List().SetChecked(0, true);
    List().SetChecked(2, true);

    frame->Save();

    EXPECT_EQ(Readers(), Joined({PcscLines("Reader0", "Reader A"), PcscLines("Reader1", "Reader C")}));
    ASSERT_EQ(frame->m_ConfiguredReaders.size(), 2u);
    for (const auto& reader : frame->m_ConfiguredReaders) {
        EXPECT_FALSE(reader.isCtapi);
        EXPECT_TRUE(reader.isSecure);
        EXPECT_EQ(reader.reader, "PCSC Reader");
    }
    EXPECT_EQ(frame->m_ConfiguredReaders[0].name, "Reader A");
    EXPECT_EQ(frame->m_ConfiguredReaders[1].name, "Reader C");
}

TEST_F(Saving, NoCheckedReaderWritesNoSubTree) {
    Attach({"Reader A"});
    Configure(PcscSubTree("Reader0", "Reader A"));
    Open();
    List().SetChecked(0, false);
    frame->Save();
    EXPECT_EQ(Readers(), Lines{});
    EXPECT_TRUE(frame->m_ConfiguredReaders.empty());
}

TEST_F(Saving, FewerReadersThanBeforeLeaveExactlyTheNewOnes) {
    std::string before;
    for (int i = 0; i < 6; ++i)
        before += PcscSubTree("Reader" + std::to_string(i), "Old " + std::to_string(i));
    Configure(before);
    Attach({"Reader A", "Reader B", "Reader C"});
    Open();
    for (const long row : {0L, 1L, 2L})
        List().SetChecked(row, true);

    frame->Save();

    EXPECT_EQ(Readers(), Joined({PcscLines("Reader0", "Reader A"), PcscLines("Reader1", "Reader B"),
                                 PcscLines("Reader2", "Reader C")}));
}

TEST_F(Saving, OldReadersGoWhateverTheirNumber) {
    Configure(PcscSubTree("Reader17", "Old") + PcscSubTree("ReaderX", "Older"));
    Attach({"Reader A"});
    Open();
    List().SetChecked(0, true);
    frame->Save();
    EXPECT_EQ(Readers(), PcscLines("Reader0", "Reader A"));
}

TEST_F(Saving, NothingOfAnOldReaderSurvivesInItsSubTree) {
    Configure("<Reader0><CTAPI>libct.so</CTAPI><CTPort>1</CTPort><ReaderName>Old</ReaderName></Reader0>");
    Attach({"Reader A"});
    Open();
    List().SetChecked(0, true);
    frame->Save();
    EXPECT_EQ(Readers(), PcscLines("Reader0", "Reader A"));
}

TEST_F(Saving, SettingsSubTreeIsLeftAlone) {
    Configure("<Reader_Settings><Timeout>5</Timeout></Reader_Settings>" + PcscSubTree("Reader0", "Old"));
    Open();
    UseAnyReader();
    frame->Save();
    EXPECT_EQ(Setting("lumo_Client/Reader_Settings/Timeout"), "5");
}

TEST_F(Saving, SettingsOfOthersAreLeftAlone) {
    Configure("<Version>2.0</Version><CheckForUpdates>1</CheckForUpdates>",
              "<LumoMiniDriver><EnableDiagnostics>1</EnableDiagnostics></LumoMiniDriver><Other>x</Other>");
    Open();
    frame->Save();
    EXPECT_EQ(Setting("lumo_Client/Version"), "2.0");
    EXPECT_EQ(Setting("lumo_Client/CheckForUpdates"), "1");
    EXPECT_EQ(Setting("LumoMiniDriver/EnableDiagnostics"), "1");
    EXPECT_EQ(Setting("Other"), "x");
}

TEST_F(Saving, AnyReaderComesBackAsAnyReader) {
    Configure(PcscSubTree("Reader0", "A") + PcscSubTree("Reader1", "B"));
    Open();
    UseAnyReader();
    frame->Save();

    auto* again = new OpenFrame;
    EXPECT_TRUE(dynamic_cast<wxRadioButton*>(again->FindWindow(MainFrame::ID_AnyReader))->GetValue());
}

TEST_F(Saving, CtapiReaderWritesItsRecord) {
    Open();
    AddCtapi(Kobil());

    frame->Save();

    EXPECT_EQ(Readers(), (Lines{"Reader0/IsSecure = No", "Reader0/Reader = KOBIL B1 S",
                                "Reader0/ReaderName = KOBIL B1 S", "Reader0/UseGUI = Yes", "Reader0/UseBeep = No",
                                "Reader0/UserMessage = ", "Reader0/CTAPI = libct.so", "Reader0/CTPort = 3",
                                "Reader0/CloseOnExit = No"}));
    ASSERT_EQ(frame->m_ConfiguredReaders.size(), 1u);
    EXPECT_TRUE(frame->m_ConfiguredReaders[0].isCtapi);
    EXPECT_FALSE(frame->m_ConfiguredReaders[0].isSecure);
    EXPECT_EQ(frame->m_ConfiguredReaders[0].name, "KOBIL B1 S");
    EXPECT_EQ(frame->m_ConfiguredReaders[0].reader, "KOBIL B1 S");
}

TEST_F(Saving, CtapiFlagsAreThoseOfTheRecord) {
    Open();
    auto reader = Kobil();
    reader.isSecure = true;
    reader.rowFlag3 = false;
    reader.rowFlag1 = true;
    AddCtapi(reader);

    frame->Save();

    EXPECT_EQ(Setting("lumo_Client/Reader0/IsSecure"), "Yes");
    EXPECT_EQ(Setting("lumo_Client/Reader0/UseGUI"), "No");
    EXPECT_EQ(Setting("lumo_Client/Reader0/UseBeep"), "No");
    EXPECT_EQ(Setting("lumo_Client/Reader0/CloseOnExit"), "Yes");
    EXPECT_TRUE(frame->m_ConfiguredReaders[0].isSecure);
}

TEST_F(Saving, CtapiReaderWithoutLibraryWritesNoCtapiSetting) {
    Open();
    auto reader = Kobil();
    reader.libraryName.clear();
    AddCtapi(reader);
    frame->Save();
    EXPECT_EQ(Readers(),
              (Lines{"Reader0/IsSecure = No", "Reader0/Reader = KOBIL B1 S", "Reader0/ReaderName = KOBIL B1 S",
                     "Reader0/UseGUI = Yes", "Reader0/UseBeep = No", "Reader0/UserMessage = "}));
}

TEST_F(Saving, PcscAndCtapiRowsShareOneNumbering) {
    Attach({"Reader A"});
    Open();
    List().SetChecked(0, true);
    AddCtapi(Kobil());
    frame->Save();
    EXPECT_EQ(Setting("lumo_Client/Reader0/ReaderName"), "Reader A");
    EXPECT_EQ(Setting("lumo_Client/Reader1/ReaderName"), "KOBIL B1 S");
    EXPECT_EQ(Setting("lumo_Client/Reader1/CTAPI"), "libct.so");
}

TEST_F(Saving, RowsWithoutAReaderAreSkippedAndTakeNoNumber) {
    Attach({"Reader A"});
    Open();
    List().DeleteAllItems();
    long row = 0;
    for (const int data : {-1, -5000, 0, 4999, 5001, 2000000000, 5000})
        frame->AddItemToCardReaders(row, true, "row", "PC/SC", false, data);

    frame->Save();

    EXPECT_EQ(Readers(), PcscLines("Reader0", "Reader A"));
    EXPECT_EQ(frame->m_ConfiguredReaders.size(), 1u);
}

TEST_F(Saving, PcscReaderIsWrittenAsPinPadWhateverTheEnumerationFound) {
    Attach({"Reader A"});
    Open();
    ASSERT_FALSE(frame->m_PcscReaders.at(0).isSecure);
    List().SetChecked(0, true);
    frame->Save();
    EXPECT_EQ(Setting("lumo_Client/Reader0/IsSecure"), "Yes");
}

TEST_F(Saving, NamesWithMarkupAndUmlautsComeBackUnchanged) {
    const std::string name = "Leser <Größe & \"Maß\"> 00 00";
    Attach({name});
    Open();
    List().SetChecked(0, true);
    frame->Save();
    EXPECT_EQ(Setting("lumo_Client/Reader0/ReaderName"), name);
}

TEST_F(Saving, WriteReaderWritesWhatItIsGiven) {
    Open();
    frame->WriteReader(12, true, "kind", "name", false, true, "message", "libct.so", -7, true, Vantor::SYSTYPE_SECOND);
    EXPECT_EQ(Readers(), (Lines{"Reader12/IsSecure = Yes", "Reader12/Reader = kind", "Reader12/ReaderName = name",
                                "Reader12/UseGUI = No", "Reader12/UseBeep = Yes", "Reader12/UserMessage = message",
                                "Reader12/CTAPI = libct.so", "Reader12/CTPort = -7", "Reader12/CloseOnExit = Yes"}));
    const auto& entries = Vantor::Config::GetHandle(0)->GetEntries();
    ASSERT_TRUE(entries.count(501));
    EXPECT_EQ(entries.at(501)->sysType, Vantor::SYSTYPE_SECOND);
    EXPECT_EQ(entries.at(501)->type, Vantor::CONFIG_ALLUSERS);
}

TEST_F(Saving, RemovalAndWritingUseTheReservedIds) {
    Configure(PcscSubTree("Reader0", "A"));
    Open();
    UseAnyReader();
    frame->Save();
    EXPECT_EQ(ReservedIds(), (std::vector<unsigned>{500, 501, 5002}));
}

TEST_F(Saving, TemporaryEntriesAreThoseOfAllUsersInTheFirstVariant) {
    Attach({"Reader A"});
    Configure(PcscSubTree("Reader7", "Old"));
    Open();
    List().SetChecked(0, true);
    frame->Save();
    const auto& entries = Vantor::Config::GetHandle(0)->GetEntries();
    for (const unsigned id : {500u, 501u, 5002u}) {
        EXPECT_EQ(entries.at(id)->type, Vantor::CONFIG_ALLUSERS) << id;
        EXPECT_EQ(entries.at(id)->sysType, Vantor::SYSTYPE_FIRST) << id;
    }
    EXPECT_EQ(entries.at(500)->key, "");

    UseAnyReader();
    frame->Save();
    EXPECT_EQ(entries.at(501)->sysType, Vantor::SYSTYPE_FIRST);
}

TEST_F(Saving, WriteThatIsRefusedDoesNotKeepTheNextOnesFromTheFile) {
    Attach({"Reader A"});
    Open();
    frame->m_PcscReaders.at(0).name = std::string("Reader\0A", 8); // no file can hold it
    List().SetChecked(0, true);

    frame->Save();

    EXPECT_EQ(Setting("lumo_Client/Reader0/Reader"), "PCSC Reader");
    EXPECT_EQ(Setting("lumo_Client/Reader0/ReaderName"), "(none)");
    EXPECT_EQ(Setting("lumo_Client/Reader0/UseGUI"), "Yes");
    EXPECT_EQ(Setting("lumo_Client/Language"), "89");
    // A reader without its name is half of one by intention, which the schema rightly refuses.
    std::filesystem::remove("/etc/vantor/lumoclient/config");
}

TEST_F(Saving, FileThatCannotBeWrittenIsSilentAndTheCursorComesBack) {
    Attach({"Reader A"});
    Open();
    List().SetChecked(0, true);
    std::filesystem::remove_all("/etc/vantor/lumoclient");
    std::filesystem::create_directories("/etc/vantor/lumoclient/config/in the way");
    const MessageBoxes boxes;
    const wxLogBuffer log; // what would become a message box of the toolkit's

    frame->Save();

    EXPECT_TRUE(boxes.seen.empty());
    EXPECT_TRUE(log.GetBuffer().empty()) << log.GetBuffer();
    EXPECT_FALSE(wxIsBusy());
    EXPECT_EQ(frame->m_ConfiguredReaders.size(), 1u);
}

TEST_F(Saving, CursorIsBusyFromTheFirstWriteToTheLast) {
    Open();
    Lines calls;
    Seams::onCall = [&calls](const std::string& call) {
        calls.push_back(call + (wxIsBusy() ? ", busy" : ", not busy"));
    };

    frame->Save();

    Seams::onCall = nullptr;
    const auto written = [](unsigned id) { return "SetInteger(" + std::to_string(id) + "), busy"; };
    EXPECT_EQ(calls, (Lines{written(ConfigId::LogMode), written(ConfigId::LogLevel), written(ConfigId::EnableLogging),
                            written(ConfigId::Language)}));
    EXPECT_FALSE(wxIsBusy());
}

TEST_F(Saving, CtapiReaderThatARefreshFoundIsWritten) {
    Seams::terminals = {{"C:\\Windows\\SysWOW64\\ctrsct64.dll", 7, "DESCMSPRx3"}};
    Open();
    List().SetChecked(0, true);

    frame->Save();
    Refresh();

    EXPECT_EQ(Readers(), (Lines{"Reader0/IsSecure = Yes", "Reader0/Reader = SCM SPR532",
                                "Reader0/ReaderName = SCM SPR532", "Reader0/UseGUI = Yes", "Reader0/UseBeep = No",
                                "Reader0/UserMessage = ", "Reader0/CTAPI = ctrsct32.dll", "Reader0/CTPort = 7",
                                "Reader0/CloseOnExit = No"}));
    EXPECT_TRUE(List().IsChecked(0)) << "what was saved is marked after a refresh";
}

TEST_F(Saving, ApplySavesAndKeepsTheWindow) {
    Attach({"Reader A"});
    Present(Open());
    List().SetChecked(0, true);

    Click(Get<wxButton>(MainFrame::ID_Apply));

    EXPECT_EQ(Setting("lumo_Client/Reader0/ReaderName"), "Reader A");
    EXPECT_FALSE(frame->IsBeingDeleted());
    EXPECT_TRUE(frame->IsShown());
}

TEST_F(Saving, RefreshAfterApplyMarksExactlyTheSavedReaders) {
    Attach({"Reader A", "Reader B"});
    Configure(PcscSubTree("Reader0", "Reader A"));
    Present(Open());
    List().SetChecked(0, false);
    List().SetChecked(1, true);
    Click(Get<wxButton>(MainFrame::ID_Apply));

    Refresh();

    EXPECT_FALSE(List().IsChecked(0));
    EXPECT_TRUE(List().IsChecked(1));
}

TEST_F(Saving, OkSavesAndEndsTheMainLoop) {
    Attach({"Reader A"});
    Present(Open());
    List().SetChecked(0, true);

    bool ended = false;
    EXPECT_EQ(RunWithClick(Get<wxButton>(MainFrame::ID_Ok), ended), 0);

    EXPECT_TRUE(ended);

    EXPECT_EQ(Setting("lumo_Client/Reader0/ReaderName"), "Reader A");
    EXPECT_TRUE(wxTopLevelWindows.empty());
}

TEST_F(Saving, CancelEndsTheMainLoopWithoutSaving) {
    Configure("<Language>58</Language>");
    const std::string before = FileText();
    Attach({"Reader A"});
    Present(Open());
    List().SetChecked(0, true);

    bool ended = false;
    EXPECT_EQ(RunWithClick(Get<wxButton>(MainFrame::ID_Cancel), ended), 0);

    EXPECT_TRUE(ended);

    EXPECT_EQ(FileText(), before);
    EXPECT_TRUE(wxTopLevelWindows.empty());
}

TEST_F(Saving, ClosingTheWindowSavesNothing) {
    Configure("<Language>58</Language>");
    const std::string before = FileText();
    Attach({"Reader A"});
    Present(Open());
    List().SetChecked(0, true);
    wxTheApp->SetExitOnFrameDelete(true);
    wxTheApp->CallAfter([this] { frame->Close(); });

    EXPECT_EQ(wxTheApp->OnRun(), 0);

    EXPECT_EQ(FileText(), before);
    EXPECT_TRUE(wxTopLevelWindows.empty());
}
