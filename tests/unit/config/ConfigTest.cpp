#include "config/Config.h"

#include "ConfigFiles.h"

#include <locale>
#include <type_traits>

using namespace Vantor;
using namespace test;

namespace {

std::vector<std::string> reports;

void CollectReport(const char* message) {
    reports.emplace_back(message);
}

Config* OpenWithEntry(unsigned id, const std::string& key = "Key") {
    Config* const config = OpenFresh();
    config->AddConfig(id, CONFIG_ALLUSERS, key, "Some\\Path", SYSTYPE_FIRST);
    return config;
}

} // namespace

TEST(Config, HasAVirtualDestructor) {
    EXPECT_TRUE(std::has_virtual_destructor_v<Config>);
}

TEST(Config, EnumerationsHaveTheSharedNumbers) {
    EXPECT_EQ(CONFIG_USER, 0);
    EXPECT_EQ(CONFIG_ALLUSERS, 1);
    EXPECT_EQ(CONFIG_BACKEND_XML, 1);
    EXPECT_EQ(static_cast<int>(SYSTYPE_FIRST), 0);
    EXPECT_EQ(static_cast<int>(SYSTYPE_SECOND), 1);
}

TEST(Config, EntryFieldsStandInOrder) {
    const sConfig entry{CONFIG_ALLUSERS, "path", "key", SYSTYPE_SECOND};
    EXPECT_EQ(entry.type, CONFIG_ALLUSERS);
    EXPECT_EQ(entry.path, "path");
    EXPECT_EQ(entry.key, "key");
    EXPECT_EQ(entry.sysType, SYSTYPE_SECOND);
}

TEST(ConfigHandles, HandleOneIsNullWhileTheTableIsEmpty) {
    EXPECT_EQ(Config::GetHandle(1), nullptr);
    EXPECT_TRUE(ConfigVector::GetInstance().configs.empty()) << "asking must not create anything";
}

TEST(ConfigHandles, HandleZeroIsCreatedOnDemandAndStays) {
    Config* const config = Config::GetHandle(0);
    ASSERT_NE(config, nullptr);
    EXPECT_EQ(Config::GetHandle(0), config);
    EXPECT_EQ(ConfigVector::GetInstance().configs.size(), 1u);
}

TEST(ConfigHandles, RegisterReservesHandleZero) {
    EXPECT_EQ(Config::Register(), 1u);
    auto& configs = ConfigVector::GetInstance().configs;
    ASSERT_EQ(configs.size(), 2u);
    EXPECT_EQ(configs[0], nullptr);
    EXPECT_NE(configs[1], nullptr);

    Config* const config = Config::GetHandle(0);
    ASSERT_NE(config, nullptr);
    EXPECT_EQ(configs[0].get(), config);
    EXPECT_NE(Config::GetHandle(1), config);
}

TEST(ConfigHandles, RegisterCountsUp) {
    Config::GetHandle(0);
    EXPECT_EQ(Config::Register(), 1u);
    EXPECT_EQ(Config::Register(), 2u);
}

TEST(ConfigHandles, HandlesFromTheEndOfTheTableOnAreNull) {
    Config::Register();
    EXPECT_EQ(Config::GetHandle(2), nullptr);
    EXPECT_EQ(Config::GetHandle(3), nullptr);
    EXPECT_EQ(Config::GetHandle(4294967295u), nullptr);
}

TEST(ConfigHandles, DestroyEmptiesTheSlotWhichRegisterDoesNotReuse) {
    const unsigned handle = Config::Register();
    Config::GetHandle(handle)->Destroy();
    EXPECT_EQ(ConfigVector::GetInstance().configs[handle], nullptr);
    EXPECT_EQ(Config::Register(), handle + 1);
}

TEST(ConfigHandles, ADestroyedHandleComesBackEmptyOnDemand) {
    Config* const first = Config::GetHandle(0);
    first->Init("lumoclient");
    first->AddConfig(7, CONFIG_ALLUSERS, "Key", "Path", SYSTYPE_FIRST);
    first->Destroy();

    Config* const second = Config::GetHandle(0);
    ASSERT_NE(second, nullptr);
    EXPECT_TRUE(second->GetEntries().empty());
    EXPECT_FALSE(second->AddConfig(7, CONFIG_ALLUSERS, "Key", "Path", SYSTYPE_FIRST)) << "not initialised any more";
}

TEST(ConfigHandles, RegistriesAreIndependent) {
    Config* const first = OpenWithEntry(5);
    Config* const second = OpenFresh();
    EXPECT_TRUE(first->SetInteger(5, 1));
    EXPECT_FALSE(second->SetInteger(5, 2)) << "the entry belongs to the other registry";
}

TEST(ConfigInit, AnUnknownBackendIsRefused) {
    Config* const config = Config::GetHandle(0);
    EXPECT_FALSE(config->Init("lumoclient", static_cast<ConfigBackend>(0)));
    EXPECT_FALSE(config->Init("lumoclient", static_cast<ConfigBackend>(2)));
    EXPECT_FALSE(config->AddConfig(1, CONFIG_ALLUSERS, "Key", "Path", SYSTYPE_FIRST));
    EXPECT_FALSE(std::filesystem::exists("/etc/vantor"));
}

TEST(ConfigInit, CanFollowAFailedOne) {
    Config* const config = Config::GetHandle(0);
    config->Init("other", static_cast<ConfigBackend>(9));
    EXPECT_TRUE(config->Init("lumoclient", CONFIG_BACKEND_XML));
    EXPECT_TRUE(std::filesystem::is_directory(MachineFolder));
}

TEST(ConfigInit, ASecondOneKeepsTheFirstNameAndBackend) {
    Config* const config = OpenWithEntry(1);
    EXPECT_TRUE(config->Init("another"));
    EXPECT_TRUE(config->Init("another", static_cast<ConfigBackend>(9)));
    EXPECT_TRUE(config->SetInteger(1, 4));
    EXPECT_NE(ReadFile(MachineFile), "");
    EXPECT_FALSE(std::filesystem::exists("/etc/vantor/another"));
}

TEST(ConfigInit, FreeImplAllowsAnotherNameAndKeepsTheEntries) {
    Config* const config = OpenWithEntry(1);
    config->FreeImpl();
    EXPECT_FALSE(config->SetInteger(1, 4));
    EXPECT_FALSE(config->AddConfig(2, CONFIG_ALLUSERS, "Key", "Path", SYSTYPE_FIRST));
    EXPECT_TRUE(config->Init("another"));
    EXPECT_TRUE(config->SetInteger(1, 4));
    EXPECT_TRUE(std::filesystem::exists("/etc/vantor/another/config"));
    EXPECT_FALSE(std::filesystem::exists(MachineFile));
}

TEST(ConfigEntries, NothingIsRegisteredBeforeInit) {
    Config* const config = Config::GetHandle(0);
    const sConfig table[] = {{CONFIG_USER, "Path", "Key", SYSTYPE_FIRST}};
    EXPECT_FALSE(config->AddConfig(1, CONFIG_ALLUSERS, "Key", "Path", SYSTYPE_FIRST));
    EXPECT_FALSE(config->AddConfigs(1, table, 1));
    EXPECT_FALSE(config->AddConfigs(1, table, 0));
    EXPECT_TRUE(config->GetEntries().empty());
}

TEST(ConfigEntries, AnEntryHoldsWhatWasRegistered) {
    Config* const config = OpenFresh();
    EXPECT_TRUE(config->AddConfig(3, CONFIG_USER, "the key", "the\\path", SYSTYPE_SECOND));
    const sConfig* const entry = config->GetConfigEntry(3);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->type, CONFIG_USER);
    EXPECT_EQ(entry->key, "the key");
    EXPECT_EQ(entry->path, "the\\path");
    EXPECT_EQ(entry->sysType, SYSTYPE_SECOND);
}

TEST(ConfigEntries, RegisteringAnIdTwiceKeepsOnlyTheSecond) {
    Config* const config = OpenWithEntry(1, "First");
    config->AddConfig(1, CONFIG_USER, "Second", "Elsewhere", SYSTYPE_SECOND);
    EXPECT_EQ(config->GetEntries().size(), 1u);
    EXPECT_EQ(config->GetConfigEntry(1)->key, "Second");
    EXPECT_EQ(config->GetConfigEntry(1)->path, "Elsewhere");
    EXPECT_EQ(config->GetConfigEntry(1)->type, CONFIG_USER);
}

TEST(ConfigEntries, ATableIsRegisteredUnderConsecutiveIds) {
    Config* const config = OpenFresh();
    const sConfig table[] = {{CONFIG_USER, "PathA", "A", SYSTYPE_FIRST},
                             {CONFIG_ALLUSERS, "PathB", "B", SYSTYPE_SECOND},
                             {CONFIG_USER, "PathC", "C", SYSTYPE_FIRST}};
    EXPECT_TRUE(config->AddConfigs(10, table, 2));
    ASSERT_EQ(config->GetEntries().size(), 2u);
    EXPECT_EQ(config->GetConfigEntry(10)->key, "A");
    EXPECT_EQ(config->GetConfigEntry(11)->key, "B");
    EXPECT_EQ(config->GetConfigEntry(11)->path, "PathB");
    EXPECT_EQ(config->GetConfigEntry(11)->type, CONFIG_ALLUSERS);
    EXPECT_EQ(config->GetConfigEntry(11)->sysType, SYSTYPE_SECOND);
}

TEST(ConfigEntries, AnEmptyTableIsASuccess) {
    Config* const config = OpenFresh();
    EXPECT_TRUE(config->AddConfigs(10, nullptr, 0));
    EXPECT_TRUE(config->AddConfigs(10, nullptr, -1));
    EXPECT_TRUE(config->GetEntries().empty());
}

TEST(ConfigEntries, AnUnknownIdIsReportedEachTimeAndLeavesANullSlot) {
    Config* const config = OpenFresh();
    reports.clear();
    LibConfig::SetErrorLoggingFunc(&CollectReport);

    EXPECT_EQ(config->GetConfigEntry(99), nullptr);
    EXPECT_EQ(config->GetConfigEntry(99), nullptr);

    EXPECT_EQ(reports, (std::vector<std::string>{"config entry is NULL", "config entry is NULL"}));
    ASSERT_EQ(config->GetEntries().count(99), 1u);
    EXPECT_EQ(config->GetEntries().at(99), nullptr);

    EXPECT_TRUE(config->AddConfig(99, CONFIG_ALLUSERS, "Key", "Path", SYSTYPE_FIRST));
    EXPECT_NE(config->GetConfigEntry(99), nullptr);
    EXPECT_EQ(reports.size(), 2u);
}

TEST(ConfigEntries, CleanConfigMapDropsEntriesAndNullSlots) {
    Config* const config = OpenWithEntry(1);
    config->GetConfigEntry(99);
    config->CleanConfigMap();
    EXPECT_TRUE(config->GetEntries().empty());
}

TEST(ConfigAccess, FailsWithoutABackendAndReportsNothing) {
    Config* const config = Config::GetHandle(0);
    reports.clear();
    LibConfig::SetErrorLoggingFunc(&CollectReport);
    long number = 5;
    std::string text = "preset";
    bool flag = true;
    std::vector<unsigned char> bytes{1};

    EXPECT_FALSE(config->SetInteger(1, 1));
    EXPECT_FALSE(config->SetString(1, "x"));
    EXPECT_FALSE(config->SetBoolean(1, true));
    EXPECT_FALSE(config->SetBinary(1, bytes));
    EXPECT_FALSE(config->SetStringBoolean(1, true));
    EXPECT_FALSE(config->GetInteger(1, number));
    EXPECT_FALSE(config->GetString(1, text));
    EXPECT_FALSE(config->GetBoolean(1, flag));
    EXPECT_FALSE(config->GetBinary(1, bytes));
    EXPECT_FALSE(config->GetStringBoolean(1, flag));
    EXPECT_FALSE(config->RemoveKey(1));
    EXPECT_FALSE(config->RemovePath(1));
    EXPECT_TRUE(config->EnumSubDirs(1, "").empty());
    EXPECT_EQ(number, 5);
    EXPECT_EQ(text, "preset");
    EXPECT_TRUE(flag);
    EXPECT_EQ(bytes, std::vector<unsigned char>{1});
    EXPECT_TRUE(reports.empty());
    EXPECT_TRUE(config->GetEntries().empty()) << "the backend is looked at first";
}

TEST(ConfigAccess, FailsForAnUnregisteredIdWithOneReportEach) {
    Config* const config = OpenFresh();
    reports.clear();
    LibConfig::SetErrorLoggingFunc(&CollectReport);
    long number = 5;
    std::string text = "preset";
    bool flag = true;
    std::vector<unsigned char> bytes{1};

    EXPECT_FALSE(config->SetInteger(1, 1));
    EXPECT_FALSE(config->SetString(2, "x"));
    EXPECT_FALSE(config->SetBoolean(3, true));
    EXPECT_FALSE(config->SetBinary(4, bytes));
    EXPECT_FALSE(config->SetStringBoolean(5, true));
    EXPECT_FALSE(config->GetInteger(6, number));
    EXPECT_FALSE(config->GetString(7, text));
    EXPECT_FALSE(config->GetBoolean(8, flag));
    EXPECT_FALSE(config->GetBinary(9, bytes));
    EXPECT_FALSE(config->GetStringBoolean(10, flag));
    EXPECT_FALSE(config->RemoveKey(11));
    EXPECT_FALSE(config->RemovePath(12));
    EXPECT_TRUE(config->EnumSubDirs(13, "").empty());
    EXPECT_EQ(number, 5);
    EXPECT_EQ(text, "preset");
    EXPECT_TRUE(flag);
    EXPECT_EQ(bytes, std::vector<unsigned char>{1});
    EXPECT_EQ(reports.size(), 13u);
    EXPECT_EQ(config->GetEntries().size(), 13u);
    EXPECT_FALSE(std::filesystem::exists(MachineFile));
}

TEST(ConfigAccess, EveryTypeIsReadAsItWasWritten) {
    Config* const config = OpenFresh();
    for (unsigned id = 1; id <= 5; ++id) {
        config->AddConfig(id, CONFIG_ALLUSERS, "Key" + std::to_string(id), "Path", SYSTYPE_FIRST);
    }
    std::vector<unsigned char> bytes{0, 255, 127, 10};
    EXPECT_TRUE(config->SetInteger(1, -42));
    EXPECT_TRUE(config->SetString(2, "a text"));
    EXPECT_TRUE(config->SetBoolean(3, true));
    EXPECT_TRUE(config->SetBinary(4, bytes));
    EXPECT_TRUE(config->SetStringBoolean(5, true));

    long number = 0;
    std::string text;
    bool flag = false;
    bool word = false;
    std::vector<unsigned char> read;
    EXPECT_TRUE(config->GetInteger(1, number));
    EXPECT_TRUE(config->GetString(2, text));
    EXPECT_TRUE(config->GetBoolean(3, flag));
    EXPECT_TRUE(config->GetBinary(4, read));
    EXPECT_TRUE(config->GetStringBoolean(5, word));
    EXPECT_EQ(number, -42);
    EXPECT_EQ(text, "a text");
    EXPECT_TRUE(flag);
    EXPECT_EQ(read, bytes);
    EXPECT_TRUE(word);
}

TEST(ConfigAccess, OneEntryServesSeveralAccessors) {
    Config* const config = OpenWithEntry(1);
    EXPECT_TRUE(config->SetInteger(1, 1));
    std::string text;
    bool flag = false;
    EXPECT_TRUE(config->GetString(1, text));
    EXPECT_EQ(text, "1");
    EXPECT_TRUE(config->GetBoolean(1, flag));
    EXPECT_TRUE(flag);
}

TEST(ConfigAccess, EntriesThatDifferOnlyInTheSystemVariantShareTheirValue) {
    Config* const config = OpenFresh();
    config->AddConfig(1, CONFIG_ALLUSERS, "Key", "Path", SYSTYPE_FIRST);
    config->AddConfig(2, CONFIG_ALLUSERS, "Key", "Path", SYSTYPE_SECOND);
    EXPECT_TRUE(config->SetString(1, "shared"));
    std::string text;
    EXPECT_TRUE(config->GetString(2, text));
    EXPECT_EQ(text, "shared");
}

TEST(ConfigAccess, RemoveKeyAndRemovePathReachTheBackend) {
    Config* const config = OpenFresh();
    config->AddConfig(1, CONFIG_ALLUSERS, "A", "Path", SYSTYPE_FIRST);
    config->AddConfig(2, CONFIG_ALLUSERS, "B", "Path", SYSTYPE_FIRST);
    config->SetString(1, "a");
    config->SetString(2, "b");
    EXPECT_TRUE(config->RemoveKey(1));
    EXPECT_EQ(ReadFile(MachineFile), Declaration + "<config><Path><A/><B>b</B></Path></config>");
    EXPECT_TRUE(config->RemovePath(1));
    EXPECT_EQ(ReadFile(MachineFile), Declaration + "<config><Path/></config>");
}

TEST(ConfigAccess, EnumSubDirsListsByPrefix) {
    Config* const config = OpenFresh();
    for (const char* name : {"Reader1", "UseGUI", "Reader2"}) {
        config->AddConfig(1, CONFIG_ALLUSERS, name, "Path", SYSTYPE_FIRST);
        config->SetString(1, "x");
    }
    EXPECT_EQ(config->EnumSubDirs(1, "Reader"), (std::vector<std::string>{"Reader1", "Reader2"}));
    EXPECT_EQ(config->EnumSubDirs(1, "").size(), 3u);
}

TEST(StringBooleans, AreWrittenAsWords) {
    Config* const config = OpenWithEntry(1);
    EXPECT_TRUE(config->SetStringBoolean(1, true));
    EXPECT_TRUE(AnotherProcessReads("Some\\Path", "Key", "YES"));
    EXPECT_TRUE(config->SetStringBoolean(1, false));
    EXPECT_TRUE(AnotherProcessReads("Some\\Path", "Key", "NO"));
}

TEST(StringBooleans, TrueWordsCountInAnyLetterCase) {
    Config* const config = OpenWithEntry(1);
    for (const char* word : {"YES", "yes", "Yes", "yEs", "JA", "Ja", "ja", "Y", "y", "TRUE", "true", "True"}) {
        config->SetString(1, word);
        bool value = false;
        EXPECT_TRUE(config->GetStringBoolean(1, value)) << word;
        EXPECT_TRUE(value) << word;
    }
}

TEST(StringBooleans, EveryOtherTextIsAReadFalse) {
    Config* const config = OpenWithEntry(1);
    for (const char* word : {"NO", "no", "1", "ON", "", "0", "YES ", " YES", "YESS", "J", "TRU", "Nein", "\xC3\x84"}) {
        config->SetString(1, word);
        bool value = true;
        EXPECT_TRUE(config->GetStringBoolean(1, value)) << word;
        EXPECT_FALSE(value) << word;
    }
}

TEST(StringBooleans, AMissingValueKeepsThePreset) {
    Config* const config = OpenWithEntry(1);
    bool value = true;
    EXPECT_FALSE(config->GetStringBoolean(1, value));
    EXPECT_TRUE(value);
}

TEST(LibConfigErrors, AreDroppedWithoutASink) {
    EXPECT_EQ(LibConfig::pt2LogError, nullptr);
    LibConfig::LogError("nobody listens");
    LibConfig::LogError("nobody listens", 5);
}

TEST(LibConfigErrors, ReachTheSinkWithoutTheCode) {
    reports.clear();
    LibConfig::SetErrorLoggingFunc(&CollectReport);
    EXPECT_EQ(LibConfig::pt2LogError, &CollectReport);
    LibConfig::LogError("first");
    LibConfig::LogError("second", 0x80100001UL);
    EXPECT_EQ(reports, (std::vector<std::string>{"first", "second"}));
}

TEST(LibConfigErrors, TheSinkCanBeTakenAway) {
    reports.clear();
    LibConfig::SetErrorLoggingFunc(&CollectReport);
    LibConfig::SetErrorLoggingFunc(nullptr);
    LibConfig::LogError("dropped");
    EXPECT_TRUE(reports.empty());
}

namespace {

void ThrowFromSink(const char* /*message*/) {
    throw 1;
}

} // namespace

TEST(LibConfigErrors, ASinkThatThrowsMakesTheCallFail) {
    Config* const config = Config::GetHandle(0);
    ASSERT_TRUE(config->Init("sinks"));
    LibConfig::SetErrorLoggingFunc(ThrowFromSink);
    long number = 7;
    bool flag = true;
    EXPECT_EQ(config->GetConfigEntry(99), nullptr);
    EXPECT_FALSE(config->GetInteger(99, number));
    EXPECT_FALSE(config->GetStringBoolean(99, flag));
    EXPECT_FALSE(config->SetStringBoolean(99, true));
    EXPECT_TRUE(config->EnumSubDirs(99, "").empty());
    EXPECT_EQ(number, 7);
    EXPECT_TRUE(flag);
    LibConfig::SetErrorLoggingFunc(nullptr);
}
