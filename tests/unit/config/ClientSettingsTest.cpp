#include "config/ClientSettings.h"

#include "config/XmlDocument.h"

#include <boost/property_tree/ptree.hpp>

#include <gtest/gtest.h>

#include <climits>

namespace {

using ClientSettings::Language;
using ClientSettings::ValueType;

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

TEST(ClientSettings, AnyReaderIsAllowedByTheOneReaderOfAFile) {
    ClientSettings::Record record;
    EXPECT_FALSE(IsAnyReader(record));
    record.readers = {{"Reader0", "PCSC Reader", "*", "", true}};
    EXPECT_TRUE(IsAnyReader(record));
    record.readers.push_back({"Reader1", "PCSC Reader", "Reader A 00 00", "", true});
    EXPECT_FALSE(IsAnyReader(record));
}

TEST(ClientSettings, OfManyReadersAsManyAreReadAsAreWanted) {
    boost::property_tree::ptree tree;
    ASSERT_TRUE(Vantor::ParseXml("<config><lumo_Client><R/><Reader0>a</Reader0><Reader1/><Reader2>b</Reader2>"
                                 "</lumo_Client></config>",
                                 tree));
    EXPECT_EQ(ClientSettings::Read(tree, 1).readers.size(), 1u);
    EXPECT_TRUE(ClientSettings::Read(tree, 1).hasMoreReaders);
    EXPECT_EQ(ClientSettings::Read(tree, 2).readers.size(), 2u);
    EXPECT_FALSE(ClientSettings::Read(tree, 2).hasMoreReaders);
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
    using ClientSettings::Elements;
    const auto& known = ClientSettings::KnownElements();
    ASSERT_EQ(known.size(), 5u);
    EXPECT_EQ(known.at(""), (Elements{{"lumo_Client", ValueType::Section},
                                      {"Kundendienste_Online", ValueType::Section},
                                      {"LumoMiniDriver", ValueType::Section}}));
    EXPECT_EQ(known.at("lumo_Client").size(), 11u);
    EXPECT_EQ(known.at("lumo_Client").at("Trace"), ValueType::Section);
    EXPECT_EQ(known.at("lumo_Client").at("MakeDialogsStayOnTop"), ValueType::Word);
    EXPECT_EQ(
        known.at("lumo_Client/Trace"),
        (Elements{{"Filename", ValueType::Text}, {"LogLevel", ValueType::Number}, {"LogMode", ValueType::Number}}));
    EXPECT_EQ(known.at("Kundendienste_Online"), (Elements{{"InstallDir", ValueType::Text}}));
    EXPECT_EQ(known.at("LumoMiniDriver").size(), 14u);
}

TEST(ClientSettings, AReaderHasNineElements) {
    EXPECT_EQ(ClientSettings::ReaderElements().size(), 9u);
    EXPECT_EQ(ClientSettings::ReaderElements().at("CTPort"), ValueType::Number);
}
