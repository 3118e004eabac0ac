#include "config/FileSystem.h"

#include "ConfigFiles.h"
#include "config/ProgramConfig.h"

#include <cstdlib>

using namespace Vantor;
using namespace test;

namespace {

FileSystem* Open(const std::string& subPath = "") {
    FileSystem* const paths = FileSystem::GetHandle();
    paths->Initialize(subPath);
    return paths;
}

FileSystem* Generate() {
    GenerateConfig();
    GenerateFileSystem();
    return FileSystem::GetHandle();
}

std::string Home() {
    return getenv("HOME");
}

bool IsDirectory(const std::string& path) {
    return std::filesystem::is_directory(path);
}

} // namespace

TEST(FileSystem, BasesHaveTheSharedNumbers) {
    EXPECT_EQ(BASE_USER, 0);
    EXPECT_EQ(BASE_ALLUSERS, 1);
    EXPECT_EQ(BASE_PROGRAM, 2);
    EXPECT_EQ(BASE_TEMP, 3);
    const _PathConfig entry{BASE_TEMP, "directory", "file"};
    EXPECT_EQ(entry.base, BASE_TEMP);
    EXPECT_EQ(entry.directory, "directory");
    EXPECT_EQ(entry.file, "file");
}

TEST(FileSystem, IsOneObjectThatStartsEmpty) {
    FileSystem* const paths = FileSystem::GetHandle();
    ASSERT_NE(paths, nullptr);
    EXPECT_EQ(FileSystem::GetHandle(), paths);
    EXPECT_EQ(paths->GetProgramDirectory(), "");
    EXPECT_EQ(paths->GetUserDirectory(), "");
    EXPECT_EQ(paths->GetAllUserDirectory(), "");
    EXPECT_EQ(paths->GetTempDirectory(), "");
}

TEST(FileSystem, DestroyForgetsEverything) {
    Open()->AddConfig(1, BASE_TEMP, "x", "");
    FileSystem::Destroy();
    EXPECT_EQ(FileSystem::GetHandle()->GetConfigEntry(1), nullptr);
    EXPECT_EQ(FileSystem::GetHandle()->GetTempDirectory(), "");
    FileSystem::Destroy();
    FileSystem::Destroy();
}

TEST(FileSystem, InitializeFindsTheBases) {
    FileSystem* const paths = Open();
    EXPECT_EQ(paths->GetUserDirectory(), Home() + "/.vantor");
    EXPECT_EQ(paths->GetAllUserDirectory(), "/etc/vantor");
    EXPECT_EQ(paths->GetTempDirectory(), "/tmp/");
    EXPECT_EQ(paths->GetProgramDirectory(), std::filesystem::read_symlink("/proc/self/exe").parent_path().string());
}

TEST(FileSystem, TheTemporaryBaseIsTakenFromTheEnvironmentAsItStands) {
    setenv("TMPDIR", "/var/tmp", 1);
    EXPECT_EQ(Open()->GetTempDirectory(), "/var/tmp");
}

TEST(FileSystem, InitializeAgainFindsTheBasesAgain) {
    FileSystem* const paths = Open();
    setenv("HOME", "/somewhere/else", 1);
    EXPECT_NE(paths->GetUserDirectory(), "/somewhere/else/.vantor");
    paths->Initialize("");
    EXPECT_EQ(paths->GetUserDirectory(), "/somewhere/else/.vantor");
    setenv("HOME", "/a/third", 1);
    paths->InitIntern();
    EXPECT_EQ(paths->GetUserDirectory(), "/a/third/.vantor");
}

TEST(FileSystem, WithoutAHomeTheUserBaseIsRelative) {
    unsetenv("HOME");
    EXPECT_EQ(Open()->GetUserDirectory(), ".vantor");
}

TEST(FileSystem, InitializeCreatesNothing) {
    Open();
    EXPECT_FALSE(std::filesystem::exists("/etc/vantor"));
    EXPECT_FALSE(std::filesystem::exists(Home() + "/.vantor"));
}

TEST(FileSystem, BackslashesBecomeSlashes) {
    EXPECT_EQ(FileSystem::toNativeFS("a\\b\\c\\"), "a/b/c/");
    EXPECT_EQ(FileSystem::toNativeFS("a/b c.d"), "a/b c.d");
    EXPECT_EQ(FileSystem::toNativeFS("\\\\"), "//");
    EXPECT_EQ(FileSystem::toNativeFS(""), "");
}

TEST(FileSystem, AnEntryHoldsWhatWasRegisteredWithTheDirectoryConverted) {
    FileSystem* const paths = FileSystem::GetHandle();
    EXPECT_TRUE(paths->AddConfig(9, BASE_PROGRAM, "a\\b\\", "c\\d"));
    const _PathConfig* const entry = paths->GetConfigEntry(9);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->base, BASE_PROGRAM);
    EXPECT_EQ(entry->directory, "a/b/");
    EXPECT_EQ(entry->file, "c\\d");
}

TEST(FileSystem, RegisteringAnIdTwiceKeepsOnlyTheSecond) {
    FileSystem* const paths = Open();
    paths->AddConfig(0, BASE_TEMP, "first", "one");
    paths->AddConfig(0, BASE_ALLUSERS, "second", "");
    EXPECT_EQ(paths->GetPath(0, false), "/etc/vantor/second");
    EXPECT_EQ(paths->GetFile(0, false), "/etc/vantor/second");
}

TEST(FileSystem, ATableIsRegisteredUnderConsecutiveIds) {
    FileSystem* const paths = Open();
    const _PathConfig table[] = {{BASE_TEMP, "a\\", "f"}, {BASE_ALLUSERS, "b", ""}, {BASE_TEMP, "c", ""}};
    EXPECT_TRUE(paths->AddConfigs(4, table, 2));
    EXPECT_EQ(paths->GetFile(4, false), "/tmp/a/f");
    EXPECT_EQ(paths->GetPath(5, false), "/etc/vantor/b");
    EXPECT_EQ(paths->GetConfigEntry(6), nullptr);
    EXPECT_TRUE(paths->AddConfigs(4, nullptr, 0));
    EXPECT_TRUE(paths->AddConfigs(4, nullptr, -5));
}

TEST(FileSystem, AnUnknownIdGivesNothingAndCreatesNothing) {
    FileSystem* const paths = Open();
    EXPECT_EQ(paths->GetPath(77, true), "");
    EXPECT_EQ(paths->GetFile(77, true), "");
    EXPECT_EQ(paths->GetConfigEntry(77), nullptr);
    EXPECT_EQ(paths->GetConfigEntry(77), nullptr) << "asking leaves no empty place behind";
    EXPECT_FALSE(std::filesystem::exists("/etc/vantor"));
    EXPECT_FALSE(std::filesystem::exists(Home() + "/.vantor"));
}

TEST(FileSystem, EveryBaseStartsItsPaths) {
    FileSystem* const paths = Open();
    paths->AddConfig(0, BASE_USER, "d", "");
    paths->AddConfig(1, BASE_ALLUSERS, "d", "");
    paths->AddConfig(2, BASE_PROGRAM, "d", "");
    paths->AddConfig(3, BASE_TEMP, "d", "");
    paths->AddConfig(4, static_cast<BasePath>(4), "d", "");
    paths->AddConfig(5, static_cast<BasePath>(-1), "d", "");
    EXPECT_EQ(paths->GetPath(0, false), Home() + "/.vantor/d");
    EXPECT_EQ(paths->GetPath(1, false), "/etc/vantor/d");
    EXPECT_EQ(paths->GetPath(2, false), paths->GetProgramDirectory() + "/d");
    EXPECT_EQ(paths->GetPath(3, false), "/tmp/d");
    EXPECT_EQ(paths->GetPath(4, false), "/tmp/d");
    EXPECT_EQ(paths->GetPath(5, false), "/tmp/d");
}

TEST(FileSystem, AnEmptyDirectoryLeavesTheBase) {
    FileSystem* const paths = Open();
    paths->AddConfig(1, BASE_ALLUSERS, "", "file");
    EXPECT_EQ(paths->GetPath(1, false), "/etc/vantor");
    EXPECT_EQ(paths->GetFile(1, false), "/etc/vantor/file");
}

TEST(FileSystem, TheSubPathStandsBetweenBaseAndDirectory) {
    GenerateConfig();
    GenerateFileSystem();
    FileSystem* const paths = Open("x");
    EXPECT_EQ(paths->GetPath(1, false), "/etc/vantor/x/LumoMiniDriver/Log/");
    EXPECT_EQ(paths->GetAllUserDirectory(), "/etc/vantor") << "the bases themselves stay";
    paths->Initialize("");
    EXPECT_EQ(paths->GetPath(1, false), "/etc/vantor/LumoMiniDriver/Log/");
}

TEST(FileSystem, BuildPathNeverAddsTheFile) {
    FileSystem* const paths = Open();
    _PathConfig entry{BASE_TEMP, "a/b", "file"};
    EXPECT_EQ(paths->BuildPath(&entry, false), "/tmp/a/b");
}

TEST(FileSystem, PathsAreOnlyMadeOnDemand) {
    FileSystem* const paths = Open();
    paths->AddConfig(1, BASE_ALLUSERS, "a\\b", "");
    paths->GetPath(1, false);
    EXPECT_FALSE(std::filesystem::exists("/etc/vantor"));
    EXPECT_EQ(paths->GetPath(1, true), "/etc/vantor/a/b") << "no slash is added to the result";
    EXPECT_TRUE(IsDirectory("/etc/vantor/a/b")) << "the last directory is made too";
}

TEST(FileSystem, AFailureToMakeAPathIsIgnored) {
    WriteFile("/etc/vantor", "in the way");
    FileSystem* const paths = Open();
    paths->AddConfig(1, BASE_ALLUSERS, "a", "f");
    EXPECT_EQ(paths->GetPath(1, true), "/etc/vantor/a");
    EXPECT_EQ(paths->GetFile(1, true), "/etc/vantor/a/f");
    EXPECT_EQ(ReadFile("/etc/vantor"), "in the way");
}

TEST(FileSystem, GetFileMakesAFreshFile) {
    FileSystem* const paths = Open();
    paths->AddConfig(1, BASE_ALLUSERS, "logs\\", "a.log");
    EXPECT_EQ(paths->GetFile(1, true), "/etc/vantor/logs/a.log");
    ASSERT_TRUE(std::filesystem::exists("/etc/vantor/logs/a.log"));
    EXPECT_EQ(std::filesystem::file_size("/etc/vantor/logs/a.log"), 0u);
}

TEST(FileSystem, GetFileEmptiesAnExistingFileOnlyWhenCreating) {
    FileSystem* const paths = Open();
    paths->AddConfig(1, BASE_ALLUSERS, "logs", "a.log");
    WriteFile("/etc/vantor/logs/a.log", "old lines");
    paths->GetFile(1, false);
    EXPECT_EQ(ReadFile("/etc/vantor/logs/a.log"), "old lines");
    paths->GetFile(1, true);
    EXPECT_EQ(std::filesystem::file_size("/etc/vantor/logs/a.log"), 0u);
}

TEST(FileSystem, GetFileOfAnEntryWithoutAFileMakesTheDirectoryOnly) {
    FileSystem* const paths = Open();
    paths->AddConfig(1, BASE_ALLUSERS, "logs", "");
    EXPECT_EQ(paths->GetFile(1, true), "/etc/vantor/logs");
    EXPECT_TRUE(IsDirectory("/etc/vantor/logs"));
}

TEST(FileSystem, BeforeInitializePathsAreRelative) {
    FileSystem* const paths = FileSystem::GetHandle();
    paths->AddConfig(1, BASE_ALLUSERS, "a", "f");
    EXPECT_EQ(paths->GetPath(1, false), "a");
    EXPECT_EQ(paths->GetFile(1, false), "a/f");
}

TEST(ProgramPaths, AreTheDirectoriesOfTheClientAndItsSisters) {
    FileSystem* const paths = Generate();
    EXPECT_EQ(paths->GetPath(0, false), Home() + "/.vantor/lumo Client/Trace/");
    EXPECT_EQ(paths->GetPath(1, false), "/etc/vantor/LumoMiniDriver/Log/");
    EXPECT_EQ(paths->GetPath(2, false), Home() + "/.vantor/Tessel/logs/");
    EXPECT_EQ(paths->GetPath(3, false), "/etc/vantor/lumoPaper/Logs/");
    EXPECT_EQ(paths->GetPath(4, false), "/etc/vantor/lumo Batch/Logs/");
    EXPECT_EQ(paths->GetPath(5, false), "/etc/vantor/lumoPaperverify/Logs/");
    EXPECT_EQ(paths->GetPath(6, false), "/etc/vantor/Orrin/trace/");
    EXPECT_EQ(paths->GetPath(7, false), "/etc/vantor/LumoPlus/");
    EXPECT_EQ(paths->GetConfigEntry(8), nullptr);
}

TEST(ProgramPaths, HaveNoFiles) {
    FileSystem* const paths = Generate();
    for (unsigned id = 0; id < 8; ++id) {
        EXPECT_EQ(paths->GetConfigEntry(id)->file, "") << id;
        EXPECT_EQ(paths->GetFile(id, false), paths->GetPath(id, false)) << id;
    }
}

TEST(ProgramPaths, TheConfiguredFileNameNeverMovesPathZero) {
    WriteFile(MachineFile,
              "<config><lumo_Client><Trace><Filename>/elsewhere/x.log</Filename></Trace></lumo_Client></config>");
    EXPECT_EQ(Generate()->GetPath(0, false), Home() + "/.vantor/lumo Client/Trace/");
}

TEST(ProgramPaths, PathZeroIsMadeWithAllItsParents) {
    FileSystem* const paths = Generate();
    std::filesystem::remove_all(Home() + "/.vantor");
    EXPECT_EQ(paths->GetPath(PathId::ClientTrace, true), Home() + "/.vantor/lumo Client/Trace/");
    EXPECT_TRUE(IsDirectory(Home() + "/.vantor/lumo Client/Trace"));
    EXPECT_EQ(paths->GetPath(PathId::MiniDriverLog, true), "/etc/vantor/LumoMiniDriver/Log/");
    EXPECT_TRUE(IsDirectory("/etc/vantor/LumoMiniDriver/Log"));
}

TEST(ProgramPaths, WorkWithoutAConfiguration) {
    GenerateFileSystem();
    EXPECT_EQ(FileSystem::GetHandle()->GetPath(1, false), "/etc/vantor/LumoMiniDriver/Log/");
}
