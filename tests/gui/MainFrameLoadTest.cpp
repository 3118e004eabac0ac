#include "tests/gui/Window.h"

#include <wx/checkbox.h>
#include <wx/combobox.h>
#include <wx/radiobut.h>
#include <wx/textctrl.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

const wxString CleanCertificates =
    L"Beim Karten aktualisieren alle Vantor Karten-Zertifikate aus dem Windows Zertifikatsspeicher löschen";
const wxString DialogsOnTop =
    L"lumo Client Dialoge immer im Vordergrund anzeigen. (Kann Probleme mit Kartenleseranzeige verursachen)";

class Loading : public Window {
protected:
    bool AnyReader() { return Get<wxRadioButton>(MainFrame::ID_AnyReader).GetValue(); }
    bool SelectedReaders() { return Get<wxRadioButton>(MainFrame::ID_SelectedReaders).GetValue(); }

    void ExpectOnlySelectedReaders() {
        EXPECT_FALSE(AnyReader());
        EXPECT_TRUE(SelectedReaders());
        EXPECT_TRUE(List().IsEnabled());
    }

    bool P11Logging(const std::string& level) {
        Configure("<Trace><LogLevel>" + level + "</LogLevel></Trace>");
        Open();
        return Get<wxCheckBox>(MainFrame::ID_LoggingP11).GetValue();
    }

    bool MiniDriverLogging(const std::string& value) {
        Configure("", "<LumoMiniDriver><EnableLogging>" + value + "</EnableLogging></LumoMiniDriver>");
        Open();
        return Get<wxCheckBox>(MainFrame::ID_LoggingMiniDriver).GetValue();
    }

    bool Cleans(const std::string& value) {
        Configure("<CleanCertsOnRefresh>" + value + "</CleanCertsOnRefresh>");
        Open();
        return Get<wxCheckBox>(CleanCertificates).GetValue();
    }

    bool OnTop(const std::string& value) {
        Configure("<MakeDialogsStayOnTop>" + value + "</MakeDialogsStayOnTop>");
        Open();
        return Get<wxCheckBox>(DialogsOnTop).GetValue();
    }

    std::string Language(const std::string& value) {
        Configure("<Language>" + value + "</Language>");
        Open();
        return Nth<wxComboBox>(0).GetStringSelection().utf8_string();
    }
};

std::string AnyReaderSubTree() {
    return "<Reader0><IsSecure>Yes</IsSecure><Reader>PCSC Reader</Reader><ReaderName>*</ReaderName></Reader0>";
}

} // namespace

TEST_F(Loading, WithoutAFileEverySwitchIsOffAndOnlySelectedReadersAreUsed) {
    Open();
    EXPECT_FALSE(Get<wxCheckBox>(MainFrame::ID_LoggingP11).GetValue());
    EXPECT_FALSE(Get<wxCheckBox>(MainFrame::ID_LoggingMiniDriver).GetValue());
    EXPECT_FALSE(Get<wxCheckBox>(CleanCertificates).GetValue());
    EXPECT_FALSE(Get<wxCheckBox>(DialogsOnTop).GetValue());
    EXPECT_EQ(Nth<wxComboBox>(0).GetSelection(), 0);
    EXPECT_TRUE(frame->m_ConfiguredReaders.empty());
    ExpectOnlySelectedReaders();
}

TEST_F(Loading, PositiveLogLevelSwitchesP11LoggingOn) {
    EXPECT_TRUE(P11Logging("1"));
    EXPECT_FALSE(Nth<wxTextCtrl>(0).GetValue().empty()) << "the directory follows the switch";
    EXPECT_TRUE(Nth<wxTextCtrl>(1).GetValue().empty());
}

TEST_F(Loading, LogLevelZeroSwitchesP11LoggingOff) {
    EXPECT_FALSE(P11Logging("0"));
    EXPECT_TRUE(Nth<wxTextCtrl>(0).GetValue().empty());
}

TEST_F(Loading, NegativeLogLevelSwitchesP11LoggingOff) {
    EXPECT_FALSE(P11Logging("-1"));
}

TEST_F(Loading, LogLevelThatIsNoNumberSwitchesP11LoggingOff) {
    EXPECT_FALSE(P11Logging("on"));
}

TEST_F(Loading, PositiveEnableLoggingSwitchesMiniDriverLoggingOn) {
    EXPECT_TRUE(MiniDriverLogging("1"));
    EXPECT_TRUE(Nth<wxTextCtrl>(0).GetValue().empty());
    EXPECT_FALSE(Nth<wxTextCtrl>(1).GetValue().empty()) << "the directory follows the switch";
}

TEST_F(Loading, EnableLoggingZeroSwitchesMiniDriverLoggingOff) {
    EXPECT_FALSE(MiniDriverLogging("0"));
}

TEST_F(Loading, NegativeEnableLoggingSwitchesMiniDriverLoggingOff) {
    EXPECT_FALSE(MiniDriverLogging("-2"));
}

TEST_F(Loading, CleanCertsOnRefreshIsANativeBoolean) {
    EXPECT_TRUE(Cleans("true"));
}

TEST_F(Loading, CleanCertsOnRefreshReadsOneAsTrue) {
    EXPECT_TRUE(Cleans("1"));
}

TEST_F(Loading, CleanCertsOnRefreshFalseStaysUnchecked) {
    EXPECT_FALSE(Cleans("false"));
}

TEST_F(Loading, CleanCertsOnRefreshDoesNotKnowYes) {
    EXPECT_FALSE(Cleans("Yes"));
}

TEST_F(Loading, MakeDialogsStayOnTopIsAWord) {
    EXPECT_TRUE(OnTop("ja"));
}

TEST_F(Loading, MakeDialogsStayOnTopNoStaysUnchecked) {
    EXPECT_FALSE(OnTop("NO"));
}

TEST_F(Loading, MakeDialogsStayOnTopDoesNotKnowOne) {
    EXPECT_FALSE(OnTop("1"));
}

TEST_F(Loading, LoneSubTreeWithTheStarMeansAnyReader) {
    Configure(AnyReaderSubTree());
    Open();
    EXPECT_TRUE(AnyReader());
    EXPECT_FALSE(SelectedReaders());
    EXPECT_FALSE(List().IsEnabled());
    EXPECT_TRUE(frame->m_ConfiguredReaders.empty());
}

TEST_F(Loading, StarBesideAnotherReaderIsAReaderOfThatName) {
    Attach({"Reader A"});
    Configure(AnyReaderSubTree() + PcscSubTree("Reader1", "Reader B"));
    Open();
    ExpectOnlySelectedReaders();
    ASSERT_EQ(frame->m_ConfiguredReaders.size(), 2u);
    EXPECT_EQ(frame->m_ConfiguredReaders[0].name, "*");
    EXPECT_EQ(frame->m_ConfiguredReaders[1].name, "Reader B");
    EXPECT_FALSE(List().IsChecked(0)) << "no attached reader has that name";
}

TEST_F(Loading, StarOfAnotherKindIsNotAnyReader) {
    Configure("<Reader0><Reader>pcsc reader</Reader><ReaderName>*</ReaderName></Reader0>");
    Open();
    ExpectOnlySelectedReaders();
    EXPECT_EQ(frame->m_ConfiguredReaders.size(), 1u);
}

TEST_F(Loading, PcscReaderWithAnotherNameIsNotAnyReader) {
    Configure(PcscSubTree("Reader0", "**"));
    Open();
    ExpectOnlySelectedReaders();
}

TEST_F(Loading, NumberOfTheLoneSubTreeDoesNotMatter) {
    Configure("<Reader7><Reader>PCSC Reader</Reader><ReaderName>*</ReaderName></Reader7>");
    Open();
    EXPECT_TRUE(AnyReader());
}

TEST_F(Loading, WithoutReaderSubTreeOnlySelectedReadersAreUsed) {
    Configure("<Language>89</Language>");
    Open();
    ExpectOnlySelectedReaders();
    EXPECT_TRUE(frame->m_ConfiguredReaders.empty());
}

TEST_F(Loading, ReadsEveryValueOfAReader) {
    Configure("<Reader0><IsSecure>Yes</IsSecure><Reader>PCSC Reader</Reader><ReaderName>Gr\xc3\xb6\xc3\x9f"
              "e</ReaderName></Reader0>"
              "<Reader1><IsSecure>No</IsSecure><Reader>cyberJack</Reader><ReaderName>cyberJack e-com</ReaderName>"
              "<CTAPI>libctapi.so</CTAPI></Reader1>");
    Open();
    ASSERT_EQ(frame->m_ConfiguredReaders.size(), 2u);
    const auto& pcsc = frame->m_ConfiguredReaders[0];
    EXPECT_FALSE(pcsc.isCtapi);
    EXPECT_TRUE(pcsc.isSecure);
    EXPECT_EQ(pcsc.name, "Gr\xc3\xb6\xc3\x9f"
                         "e");
    EXPECT_EQ(pcsc.reader, "PCSC Reader");
    const auto& ctapi = frame->m_ConfiguredReaders[1];
    EXPECT_TRUE(ctapi.isCtapi);
    EXPECT_FALSE(ctapi.isSecure);
    EXPECT_EQ(ctapi.name, "cyberJack e-com");
    EXPECT_EQ(ctapi.reader, "cyberJack");
}

TEST_F(Loading, ValuesThatAreMissingStayEmptyOrFalse) {
    Configure("<Reader0><UseGUI>Yes</UseGUI></Reader0>");
    Open();
    ASSERT_EQ(frame->m_ConfiguredReaders.size(), 1u);
    EXPECT_FALSE(frame->m_ConfiguredReaders[0].isCtapi);
    EXPECT_FALSE(frame->m_ConfiguredReaders[0].isSecure);
    EXPECT_EQ(frame->m_ConfiguredReaders[0].name, "");
    EXPECT_EQ(frame->m_ConfiguredReaders[0].reader, "");
}

TEST_F(Loading, ValuesOfOneReaderDoNotSpillIntoTheNext) {
    Configure(PcscSubTree("Reader0", "A") + "<Reader1><UseGUI>Yes</UseGUI></Reader1>");
    Open();
    ASSERT_EQ(frame->m_ConfiguredReaders.size(), 2u);
    EXPECT_FALSE(frame->m_ConfiguredReaders[1].isSecure);
    EXPECT_EQ(frame->m_ConfiguredReaders[1].name, "");
}

TEST_F(Loading, EmptyCtapiElementCountsAsMissing) {
    Configure("<Reader0><Reader>PCSC Reader</Reader><ReaderName>A</ReaderName><CTAPI></CTAPI></Reader0>");
    Open();
    ASSERT_EQ(frame->m_ConfiguredReaders.size(), 1u);
    EXPECT_FALSE(frame->m_ConfiguredReaders[0].isCtapi);
}

TEST_F(Loading, RemovedReadersThatLeftAnEmptyElementDoNotCount) {
    Configure(AnyReaderSubTree() + "<Reader1></Reader1><Reader2/>");
    Open();
    EXPECT_TRUE(AnyReader());
    EXPECT_TRUE(frame->m_ConfiguredReaders.empty());
}

TEST_F(Loading, AnElementWithATextBesideTheAnyReaderEntryIsASecondReader) {
    Configure(AnyReaderSubTree() + "<ReaderMode>strict</ReaderMode>");
    Open();
    EXPECT_FALSE(AnyReader());
    EXPECT_EQ(frame->m_ConfiguredReaders.size(), 2u);
}

TEST_F(Loading, SettingsSubTreeIsNoReader) {
    Configure("<Reader_Settings><Timeout>5</Timeout></Reader_Settings>" + AnyReaderSubTree());
    Open();
    EXPECT_TRUE(AnyReader());
}

TEST_F(Loading, SettingsSubTreeBesideReadersIsIgnored) {
    Configure(PcscSubTree("Reader0", "A") + "<Reader_Settings><ReaderName>B</ReaderName></Reader_Settings>" +
              PcscSubTree("Reader1", "C"));
    Open();
    ASSERT_EQ(frame->m_ConfiguredReaders.size(), 2u);
    EXPECT_EQ(frame->m_ConfiguredReaders[0].name, "A");
    EXPECT_EQ(frame->m_ConfiguredReaders[1].name, "C");
}

TEST_F(Loading, NamesOfElevenCharactersAreReaders) {
    Configure(PcscSubTree("Reader10000", "A") + PcscSubTree("ReaderKobil", "B"));
    Open();
    ASSERT_EQ(frame->m_ConfiguredReaders.size(), 2u);
    EXPECT_EQ(frame->m_ConfiguredReaders[0].name, "A");
    EXPECT_EQ(frame->m_ConfiguredReaders[1].name, "B");
}

TEST_F(Loading, SubTreesThatDoNotBeginWithReaderAreNoReaders) {
    Configure(PcscSubTree("reader0", "A") + PcscSubTree("CardReader", "B") + PcscSubTree("Reader0", "C"));
    Open();
    ASSERT_EQ(frame->m_ConfiguredReaders.size(), 1u);
    EXPECT_EQ(frame->m_ConfiguredReaders[0].name, "C");
}

TEST_F(Loading, ReadersKeepTheOrderOfTheFile) {
    Configure(PcscSubTree("Reader2", "A") + PcscSubTree("Reader0", "B") + PcscSubTree("Reader1", "C"));
    Open();
    ASSERT_EQ(frame->m_ConfiguredReaders.size(), 3u);
    EXPECT_EQ(frame->m_ConfiguredReaders[0].name, "A");
    EXPECT_EQ(frame->m_ConfiguredReaders[2].name, "C");
}

TEST_F(Loading, LoadingAgainReplacesTheReaders) {
    Configure(PcscSubTree("Reader0", "A"));
    Open();
    frame->SetInitialConfig();
    EXPECT_EQ(frame->m_ConfiguredReaders.size(), 1u);
}

TEST_F(Loading, Language58IsEnglish) {
    EXPECT_EQ(Language("58"), "Englisch");
}

TEST_F(Loading, Language59IsEnglish) {
    EXPECT_EQ(Language("59"), "Englisch");
}

TEST_F(Loading, Language73IsEnglish) {
    EXPECT_EQ(Language("73"), "Englisch");
}

TEST_F(Loading, Language57IsGerman) {
    EXPECT_EQ(Language("57"), "Deutsch");
}

TEST_F(Loading, Language74IsGerman) {
    EXPECT_EQ(Language("74"), "Deutsch");
}

TEST_F(Loading, Language89IsGerman) {
    EXPECT_EQ(Language("89"), "Deutsch");
}

TEST_F(Loading, LanguageThatIsNoNumberIsGerman) {
    EXPECT_EQ(Language("English"), "Deutsch");
}

TEST_F(Loading, FileThatIsNoXmlLoadsAsNone) {
    Configure("</broken>");
    Open();
    ExpectOnlySelectedReaders();
    EXPECT_EQ(Nth<wxComboBox>(0).GetSelection(), 0);
}

TEST_F(Loading, FileOfTheUserIsNeitherReadNorWritten) {
    // given
    const auto folder = std::filesystem::path(std::getenv("HOME")) / ".vantor" / "lumoclient";
    std::filesystem::create_directories(folder);
    const std::string text = "<config><lumo_Client>" + PcscSubTree("Reader0", "A") +
                             "<Language>58</Language><Version>9</Version><Trace><LogLevel>3</LogLevel></Trace>"
                             "</lumo_Client></config>";
    std::ofstream(folder / "config") << text;

    // when
    Open();

    // then
    EXPECT_TRUE(frame->m_ConfiguredReaders.empty());
    EXPECT_EQ(Nth<wxComboBox>(0).GetSelection(), 0);
    EXPECT_FALSE(Get<wxCheckBox>(MainFrame::ID_LoggingP11).GetValue());
    EXPECT_EQ(frame->GetTitle().find('9'), wxString::npos);

    // when
    frame->Save();

    // then
    EXPECT_EQ(Setting("lumo_Client/Language"), "89");
    std::ostringstream now;
    now << std::ifstream(folder / "config").rdbuf();
    EXPECT_EQ(now.str(), text);
}

TEST_F(Loading, WritesNothing) {
    Configure(PcscSubTree("Reader0", "A") + "<Language>58</Language>");
    const std::string before = FileText();
    Open();
    EXPECT_EQ(FileText(), before);
}

TEST_F(Loading, ReadingUsesTheReservedIdOnly) {
    Configure(PcscSubTree("Reader0", "A"));
    Open();
    EXPECT_EQ(ReservedIds(), std::vector<unsigned>{5002});
}
