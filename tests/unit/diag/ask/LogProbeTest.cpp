#include "diag/ask/LogProbe.h"

#include "config/FileSystem.h"
#include "tests/support/Privileges.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include <sys/stat.h>
#include <sys/time.h>

using namespace Diag;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;

namespace {

void SetTime(const std::string& file, std::int64_t seconds) {
    const struct timeval times[2] = {{static_cast<time_t>(seconds), 0}, {static_cast<time_t>(seconds), 0}};
    utimes(file.c_str(), times);
}

auto Named(const std::string& name) {
    return Field("name", &LogFileFacts::name, name);
}

} // namespace

TEST(LogProbeTest, FilesAreListedNewestFirst) {
    const test::TemporaryFolder folder;
    test::WriteText(folder / "old.log", "1234567");
    SetTime(folder / "old.log", 1000);
    test::WriteText(folder / "new.log", "1");
    SetTime(folder / "new.log", 3000);
    test::WriteText(folder / "same.log", "");
    SetTime(folder / "same.log", 3000);
    std::filesystem::create_directory(folder / "sub");
    const LogDirectory directory = ProbeLogDirectory(folder.Path() + "/");
    EXPECT_TRUE(directory.exists && directory.readable && directory.writable);
    ASSERT_THAT(directory.files, ElementsAre(Named("new.log"), Named("same.log"), Named("old.log")));
    EXPECT_EQ(directory.files[2].size, 7);
    EXPECT_EQ(directory.files[2].modified, 1000);
}

TEST(LogProbeTest, AMissingDirectoryCanBeWrittenIfItCanBeMade) {
    const test::TemporaryFolder folder;
    const LogDirectory directory = ProbeLogDirectory(folder / "a/b/");
    EXPECT_FALSE(directory.exists);
    EXPECT_TRUE(directory.writable);
    EXPECT_THAT(directory.files, IsEmpty());
    EXPECT_THAT(test::Names(folder.Path()), IsEmpty()) << "nothing is made";
}

TEST(LogProbeTest, WithoutRightsADirectoryIsNotWritable) {
    const test::TemporaryFolder folder;
    chmod(folder.Path().c_str(), 0555);
    const test::WithoutPrivileges ordinary;
    EXPECT_FALSE(ProbeLogDirectory(folder.Path()).writable);
    EXPECT_FALSE(ProbeLogDirectory(folder / "a/").writable);
}

TEST(LogProbeTest, BehindAClosedFolderItIsNotSaidToBeMissing) {
    const test::TemporaryFolder folder;
    std::filesystem::create_directories(folder / "closed/logs");
    EXPECT_FALSE(ProbeLogDirectory(folder / "closed/logs").isHidden);
    EXPECT_FALSE(ProbeLogDirectory(folder / "closed/none").isHidden);
    chmod((folder / "closed").c_str(), 0);
    {
        const test::WithoutPrivileges ordinary;
        EXPECT_TRUE(ProbeLogDirectory(folder / "closed/logs").isHidden);
    }
    chmod((folder / "closed").c_str(), 0700);
}

TEST(LogProbeTest, BothDirectoriesAreThoseOfThePathRegistry) {
    const LogState logs = ProbeLogs();
    EXPECT_EQ(logs.client.path, std::string(getenv("HOME")) + "/.vantor/lumo Client/Trace/");
    EXPECT_EQ(logs.miniDriver.path, "/etc/vantor/LumoMiniDriver/Log/");
    EXPECT_FALSE(std::filesystem::exists(logs.client.path)) << "nothing is made";
    Vantor::FileSystem::Destroy();
}
