#include "config/ClientSettings.h"

#include "config/XmlDocument.h"

#include <boost/property_tree/ptree.hpp>

#include <gtest/gtest.h>

#include <climits>

namespace {

using ClientSettings::Language;

ClientSettings::Record ReadClient(const std::string& client) {
    boost::property_tree::ptree tree;
    EXPECT_TRUE(Vantor::ParseXml("<config><lumo_Client>" + client + "</lumo_Client></config>", tree));
    return ClientSettings::Read(tree);
}

} // namespace

TEST(ClientSettings, NumbersFrom58To73AreEnglish) {
    for (long number = 58; number <= 73; ++number) {
        EXPECT_EQ(ClientSettings::LanguageOfNumber(number), Language::English) << number;
    }
}

TEST(ClientSettings, NumbersFrom89To94AreGerman) {
    for (long number = 89; number <= 94; ++number) {
        EXPECT_EQ(ClientSettings::LanguageOfNumber(number), Language::German) << number;
    }
}

TEST(ClientSettings, ZeroAndOneAreTheSystemsLanguage) {
    EXPECT_EQ(ClientSettings::LanguageOfNumber(0), Language::System);
    EXPECT_EQ(ClientSettings::LanguageOfNumber(1), Language::System);
}

TEST(ClientSettings, AnyOtherNumberIsNoLanguage) {
    for (const long number : {2L, 57L, 74L, 88L, 95L, 175L, -1L, -58L, LONG_MAX, LONG_MIN}) {
        EXPECT_EQ(ClientSettings::LanguageOfNumber(number), std::nullopt) << number;
    }
}

TEST(ClientSettings, TheNumbersThatAreWrittenAre58And89) {
    EXPECT_EQ(ClientSettings::EnglishNumber, 58);
    EXPECT_EQ(ClientSettings::GermanNumber, 89);
}

TEST(ClientSettings, EverythingThatBeginsWithReaderIsAReaderButTheSettingsSubTree) {
    for (const char* const name : {"Reader", "Reader0", "ReaderMode", "Reader_Setting", "Reader_Settings2"}) {
        EXPECT_TRUE(ClientSettings::IsReader(name)) << name;
    }
    for (const char* const name : {"Reader Settings", "Reader_Settings", "reader0", "CardReader", "Reade", ""}) {
        EXPECT_FALSE(ClientSettings::IsReader(name)) << name;
    }
}

TEST(ClientSettings, AnyReaderNeedsBothTheKindAndTheStar) {
    EXPECT_TRUE(ClientSettings::IsAnyReader("PCSC Reader", "*"));
    EXPECT_FALSE(ClientSettings::IsAnyReader("PCSC Reader", "**"));
    EXPECT_FALSE(ClientSettings::IsAnyReader("PCSC reader", "*"));
    EXPECT_FALSE(ClientSettings::IsAnyReader("*", "*"));
}

TEST(ClientSettings, ARecordHoldsWhatTheFileHolds) {
    const auto record =
        ReadClient("<Version>2.0</Version><Language>58</Language>"
                   "<Trace><LogLevel>128</LogLevel><LogMode>2</LogMode><Filename>/a b</Filename></Trace>"
                   "<Reader3><IsSecure>ja</IsSecure><Reader>K</Reader><ReaderName>N</ReaderName>"
                   "<CTAPI>lib.so</CTAPI></Reader3>");
    EXPECT_EQ(record.clientVersion, "2.0");
    EXPECT_EQ(record.language, 58);
    EXPECT_EQ(record.traceLevel, 128);
    EXPECT_EQ(record.traceMode, 2);
    EXPECT_EQ(record.traceFile, "/a b");
    EXPECT_EQ(record.miniDriverLogging, std::nullopt);
    ASSERT_EQ(record.readers.size(), 1u);
    EXPECT_EQ(record.readers[0].element, "Reader3");
    EXPECT_EQ(record.readers[0].kind, "K");
    EXPECT_EQ(record.readers[0].name, "N");
    EXPECT_EQ(record.readers[0].library, "lib.so");
    EXPECT_TRUE(record.readers[0].isSecure);
}

TEST(ClientSettings, TheMinidriversSwitchStandsBesideTheClient) {
    boost::property_tree::ptree tree;
    ASSERT_TRUE(
        Vantor::ParseXml("<config><LumoMiniDriver><EnableLogging>1</EnableLogging></LumoMiniDriver></config>", tree));
    EXPECT_EQ(ClientSettings::Read(tree).miniDriverLogging, 1);
}

TEST(ClientSettings, RemovedReadersDoNotCount) {
    const auto record =
        ReadClient("<Reader0/><Reader1>\n \t</Reader1><Reader2 a='1'/><Reader3><!-- gone --></Reader3>"
                   "<Reader4>text</Reader4><Reader5><IsSecure/></Reader5><Reader_Settings><A/></Reader_Settings>");
    ASSERT_EQ(record.readers.size(), 2u);
    EXPECT_EQ(record.readers[0].element, "Reader4");
    EXPECT_EQ(record.readers[1].element, "Reader5");
}

TEST(ClientSettings, ANumberThatIsNoneCountsAsMissing) {
    for (const char* const text : {"", "1x", "x", "0x10", "99999999999999999999"}) {
        EXPECT_EQ(ReadClient("<Language>" + std::string(text) + "</Language>").language, std::nullopt) << text;
    }
    EXPECT_EQ(ReadClient("<Language> 58\n</Language>").language, 58);
}

TEST(ClientSettings, AnEmptyFileGivesAnEmptyRecord) {
    const ClientSettings::Record record = ClientSettings::Read({});
    EXPECT_TRUE(record.readers.empty());
    EXPECT_EQ(record.language, std::nullopt);
    EXPECT_EQ(record.clientVersion, "");
}

TEST(ClientSettings, KnownElementsAreTheRegisteredSettingsAndTheirSections) {
    using Set = std::set<std::string>;
    const auto& known = ClientSettings::KnownElements();
    ASSERT_EQ(known.size(), 5u);
    EXPECT_EQ(known.at(""), (Set{"lumo_Client", "Kundendienste_Online", "LumoMiniDriver"}));
    EXPECT_EQ(known.at("lumo_Client"),
              (Set{"CheckForUpdates", "CleanCertsOnRefresh", "DeleteLogfilesAfterXDays", "FixIt", "InstallDir",
                   "Language", "MakeDialogsStayOnTop", "Orrin", "Trace", "Updateable", "Version"}));
    EXPECT_EQ(known.at("lumo_Client/Trace"), (Set{"Filename", "LogLevel", "LogMode"}));
    EXPECT_EQ(known.at("Kundendienste_Online"), Set{"InstallDir"});
    EXPECT_EQ(known.at("LumoMiniDriver").size(), 14u);
}

TEST(ClientSettings, AReaderHasNineElements) {
    EXPECT_EQ(ClientSettings::ReaderElements(),
              (std::set<std::string>{"IsSecure", "Reader", "ReaderName", "UseGUI", "UseBeep", "UserMessage", "CTAPI",
                                     "CTPort", "CloseOnExit"}));
}
