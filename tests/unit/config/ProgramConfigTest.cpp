#include "config/ProgramConfig.h"

#include "ConfigFiles.h"

#include <map>

using namespace Vantor;
using namespace test;

namespace {

struct Row {
    unsigned id;
    const char* key;
    const char* path;
    int sysType;
};

// Every registered id, one a line, in the order of the numbers.
constexpr Row Rows[] = {
    {0, "", "lumo Client", 0},
    {1, "", "lumo Client", 1},
    {2, "CheckForUpdates", "lumo Client", 0},
    {3, "CheckForUpdates", "lumo Client", 1},
    {4, "Orrin", "lumo Client", 0},
    {5, "Orrin", "lumo Client", 1},
    {6, "InstallDir", "lumo Client", 0},
    {7, "InstallDir", "lumo Client", 1},
    {8, "Updateable", "lumo Client", 0},
    {9, "Updateable", "lumo Client", 1},
    {10, "Version", "lumo Client", 0},
    {11, "Version", "lumo Client", 1},
    {12, "LogMode", "lumo Client\\Trace", 0},
    {13, "LogMode", "lumo Client\\Trace", 1},
    {14, "LogLevel", "lumo Client\\Trace", 0},
    {15, "LogLevel", "lumo Client\\Trace", 1},
    {16, "Filename", "lumo Client\\Trace", 0},
    {17, "Filename", "lumo Client\\Trace", 1},
    {18, "DeleteLogfilesAfterXDays", "lumo Client", 0},
    {19, "DeleteLogfilesAfterXDays", "lumo Client", 1},
    {20, "FixIt", "lumo Client", 0},
    {21, "FixIt", "lumo Client", 1},
    {22, "CleanCertsOnRefresh", "lumo Client", 0},
    {23, "CleanCertsOnRefresh", "lumo Client", 1},
    {24, "MakeDialogsStayOnTop", "lumo Client", 0},
    {25, "MakeDialogsStayOnTop", "lumo Client", 1},
    {26, "InstallDir", "Kundendienste Online", 0},
    {27, "Language", "lumo Client", 0},
    {28, "Language", "lumo Client", 1},
    {29, "EnableVantorPinDialog", "LumoMiniDriver", 0},
    {30, "EnableVantorPinDialog", "LumoMiniDriver", 1},
    {31, "EnableExternalPin", "LumoMiniDriver", 0},
    {32, "EnableExternalPin", "LumoMiniDriver", 1},
    {33, "EnableLogging", "LumoMiniDriver", 0},
    {34, "EnableLogging", "LumoMiniDriver", 1},
    {35, "EnableCardAuthenticateEx", "LumoMiniDriver", 0},
    {36, "EnableCardAuthenticateEx", "LumoMiniDriver", 1},
    {37, "PinCachePolicyType", "LumoMiniDriver", 0},
    {38, "PinCachePolicyType", "LumoMiniDriver", 1},
    {39, "PinCachePolicyInfo", "LumoMiniDriver", 0},
    {40, "PinCachePolicyInfo", "LumoMiniDriver", 1},
    {41, "EnableOutputDebugString", "LumoMiniDriver", 0},
    {42, "EnableOutputDebugString", "LumoMiniDriver", 1},
    {43, "EnableVantorPinDialog", "LumoMiniDriver", 0},
    {44, "EnableVantorPinDialog", "LumoMiniDriver", 1},
    {45, "PinEntryRequireSecuryMode", "LumoMiniDriver", 0},
    {46, "PinEntryRequireSecuryMode", "LumoMiniDriver", 1},
    {47, "EnableExternalPin", "LumoMiniDriver", 0},
    {48, "EnableExternalPin", "LumoMiniDriver", 1},
    {49, "IgnoreAcosSubVersion", "LumoMiniDriver", 0},
    {50, "IgnoreAcosSubVersion", "LumoMiniDriver", 1},
    {51, "CheckReaderCapabilities", "LumoMiniDriver", 0},
    {52, "CheckReaderCapabilities", "LumoMiniDriver", 1},
    {53, "EnableDiagnostics", "LumoMiniDriver", 0},
    {54, "EnableDiagnostics", "LumoMiniDriver", 1},
    {55, "DoExclusiveReconnect", "LumoMiniDriver", 0},
    {56, "DoExclusiveReconnect", "LumoMiniDriver", 1},
    {57, "MiniDriverVersion", "LumoMiniDriver", 0},
    {58, "MiniDriverVersion", "LumoMiniDriver", 1},
    {59, "MiniDriverMinVersion", "LumoMiniDriver", 0},
    {60, "MiniDriverMinVersion", "LumoMiniDriver", 1},
};

Config* Generate() {
    GenerateConfig();
    return Config::GetHandle(0);
}

} // namespace

TEST(ProgramConfig, RegistersEveryIdOnceWithKeyPathAndVariant) {
    Config* const config = Generate();

    EXPECT_EQ(config->GetEntries().size(), 61u);
    for (const Row& row : Rows) {
        const sConfig* const entry = config->GetConfigEntry(row.id);
        ASSERT_NE(entry, nullptr) << row.id;
        EXPECT_EQ(entry->key, row.key) << row.id;
        EXPECT_EQ(entry->path, row.path) << row.id;
        EXPECT_EQ(entry->sysType, row.sysType) << row.id;
        EXPECT_EQ(entry->type, CONFIG_ALLUSERS) << row.id;
    }
}

TEST(ProgramConfig, TheClientsRootPathIsKnown) {
    EXPECT_EQ(ClientRegKeyName, "lumo Client");
}

TEST(ProgramConfig, NamedIdsAreTheSharedNumbers) {
    EXPECT_EQ(ConfigId::Root, 0u);
    EXPECT_EQ(ConfigId::Version, 10u);
    EXPECT_EQ(ConfigId::LogMode, 12u);
    EXPECT_EQ(ConfigId::LogLevel, 14u);
    EXPECT_EQ(ConfigId::Filename, 16u);
    EXPECT_EQ(ConfigId::CleanCertsOnRefresh, 22u);
    EXPECT_EQ(ConfigId::MakeDialogsStayOnTop, 24u);
    EXPECT_EQ(ConfigId::Language, 27u);
    EXPECT_EQ(ConfigId::EnableLogging, 33u);
    EXPECT_EQ(ConfigId::ReaderRemoval, 500u);
    EXPECT_EQ(ConfigId::ReaderWriting, 501u);
    EXPECT_EQ(ConfigId::ReaderReading, 5002u);
}

TEST(ProgramConfig, KeepsItsFilesUnderTheNameOfTheClient) {
    Config* const config = Generate();
    EXPECT_TRUE(std::filesystem::is_directory(MachineFolder));
    EXPECT_TRUE(std::filesystem::is_directory(std::filesystem::path(UserFile()).parent_path()));
    EXPECT_TRUE(config->SetInteger(ConfigId::LogLevel, 128));
    EXPECT_TRUE(std::filesystem::exists(MachineFile));
    EXPECT_FALSE(std::filesystem::exists(UserFile()));
}

TEST(ProgramConfig, BothVariantsReadTheSameVersion) {
    WriteFile(MachineFile, "<config><lumo_Client><Version>2.0</Version></lumo_Client></config>");
    Config* const config = Generate();
    std::string first;
    std::string second;
    EXPECT_TRUE(config->GetString(10, first));
    EXPECT_TRUE(config->GetString(11, second));
    EXPECT_EQ(first, "2.0");
    EXPECT_EQ(second, "2.0");
}

TEST(ProgramConfig, LanguageIsStoredAsANumber) {
    EXPECT_TRUE(Generate()->SetInteger(27, 58));
    EXPECT_EQ(ReadFile(MachineFile),
              Declaration + "<config><lumo_Client><Language>58</Language></lumo_Client></config>");
}

TEST(ProgramConfig, EveryWritableIdIsSeenByAnotherProcessAndByItsTwin) {
    Config* const config = Generate();
    std::map<std::string, std::string> expected; // ids that share an element: the last one written counts
    for (const Row& row : Rows) {
        if (*row.key == '\0') {
            continue;
        }
        const std::string value = "value of " + std::to_string(row.id);
        ASSERT_TRUE(config->SetString(row.id, value)) << row.id;
        ASSERT_TRUE(AnotherProcessReads(row.path, row.key, value));
        expected[std::string(row.path) + "\\" + row.key] = value;
    }
    for (const Row& row : Rows) {
        if (*row.key != '\0') {
            std::string value;
            EXPECT_TRUE(config->GetString(row.id, value)) << row.id;
            EXPECT_EQ(value, expected[std::string(row.path) + "\\" + row.key]) << row.id;
        }
    }
    EXPECT_EQ(expected.size(), 28u) << "two keys have two pairs of ids each";
}

TEST(ProgramConfig, TheRootCanBeReadButNotWritten) {
    WriteFile(MachineFile, "<config><lumo_Client>root text<Version>2.0</Version></lumo_Client></config>");
    Config* const config = Generate();
    std::string text;
    EXPECT_TRUE(config->GetString(0, text));
    EXPECT_EQ(text, "root text");
    EXPECT_TRUE(config->GetString(1, text));
    EXPECT_FALSE(config->SetString(0, "x"));
    EXPECT_FALSE(config->SetString(1, "x"));
    EXPECT_EQ(ReadFile(MachineFile), "<config><lumo_Client>root text<Version>2.0</Version></lumo_Client></config>");
}

TEST(ProgramConfig, RunningItTwiceChangesNothing) {
    Config* const config = Generate();
    config->SetInteger(27, 89);
    GenerateConfig();
    EXPECT_EQ(Config::GetHandle(0), config);
    EXPECT_EQ(config->GetEntries().size(), 61u);
    long language = 0;
    EXPECT_TRUE(config->GetInteger(28, language));
    EXPECT_EQ(language, 89);
}
