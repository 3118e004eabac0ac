#include "util/FileSystemLinux.h"

#include <filesystem>
#include <limits.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "tests/support/Environment.h"
#include "tests/support/Privileges.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TinyDisk.h"

using namespace Vantor;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

class FileSystemLinuxTest : public testing::Test {
protected:
    bool IsDirectory(const std::string& name) const { return std::filesystem::is_directory(folder / name); }
    mode_t Mode(const std::string& name) const {
        struct stat status {};
        EXPECT_EQ(stat((folder / name).c_str(), &status), 0) << name;
        return status.st_mode & 07777;
    }

    test::Umask umask;
    test::TemporaryFolder folder;
};

// --- directories

TEST_F(FileSystemLinuxTest, OnlyADirectoryExistsAsOne) {
    test::WriteText(folder / "file", "");
    symlink(folder.Path().c_str(), (folder / "link").c_str());
    symlink("nowhere", (folder / "dangling").c_str());

    EXPECT_TRUE(DirectoryExists(folder.Path()));
    EXPECT_TRUE(DirectoryExists(folder / ""));
    EXPECT_TRUE(DirectoryExists(folder / "link"));
    EXPECT_FALSE(DirectoryExists(folder / "file"));
    EXPECT_FALSE(DirectoryExists(folder / "dangling"));
    EXPECT_FALSE(DirectoryExists(folder / "missing"));
    EXPECT_FALSE(DirectoryExists(""));
}

TEST_F(FileSystemLinuxTest, OneDirectoryIsMadeWithTheModeThatTheUmaskLeaves) {
    EXPECT_TRUE(CreateOneDir(folder / "new"));
    EXPECT_TRUE(IsDirectory("new"));
    EXPECT_EQ(Mode("new"), 0755u);
    {
        const test::Umask open(0);
        EXPECT_TRUE(CreateOneDir(folder / "open"));
    }
    EXPECT_EQ(Mode("open"), 0777u);
}

TEST_F(FileSystemLinuxTest, WhatExistsCountsAsMade) {
    test::WriteText(folder / "file", "text");
    symlink("nowhere", (folder / "dangling").c_str());
    EXPECT_TRUE(CreateOneDir(folder.Path()));
    EXPECT_TRUE(CreateOneDir(folder / "file"));
    EXPECT_TRUE(CreateOneDir(folder / "dangling"));
    EXPECT_EQ(test::ReadText(folder / "file"), "text");
}

TEST_F(FileSystemLinuxTest, AnEmptyPathCountsAsMade) {
    EXPECT_TRUE(CreateOneDir(""));
}

TEST_F(FileSystemLinuxTest, ADirectoryInAMissingOneIsNotMade) {
    EXPECT_FALSE(CreateOneDir(folder / "missing/new"));
    EXPECT_THAT(test::Names(folder.Path()), IsEmpty());
}

TEST_F(FileSystemLinuxTest, ADirectoryIsNotMadeWhereThatIsForbidden) {
    chmod(folder.Path().c_str(), 0500);
    const test::WithoutPrivileges user;
    EXPECT_FALSE(CreateOneDir(folder / "new"));
    chmod(folder.Path().c_str(), 0700);
}

TEST_F(FileSystemLinuxTest, AllDirectoriesOfAPathWithATrailingSlashAreMade) {
    EXPECT_TRUE(CreateDirectories(folder / "x/y/"));
    EXPECT_TRUE(IsDirectory("x/y"));
    EXPECT_EQ(Mode("x"), 0755u);
}

TEST_F(FileSystemLinuxTest, WhatFollowsTheLastSlashIsNotMade) {
    EXPECT_TRUE(CreateDirectories(folder / "x/y"));
    EXPECT_TRUE(IsDirectory("x"));
    EXPECT_THAT(test::Names(folder / "x"), IsEmpty());
}

TEST_F(FileSystemLinuxTest, APathWithoutSlashesNeedsNoDirectories) {
    EXPECT_TRUE(CreateDirectories("name"));
    EXPECT_TRUE(CreateDirectories(""));
    EXPECT_TRUE(CreateDirectories("/"));
    EXPECT_FALSE(std::filesystem::exists("name"));
}

TEST_F(FileSystemLinuxTest, DoubledSlashesAndRelativePathsAreTaken) {
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path());
    EXPECT_TRUE(CreateDirectories("a//b/./c/"));
    std::filesystem::current_path(before);
    EXPECT_TRUE(IsDirectory("a/b/c"));
}

TEST_F(FileSystemLinuxTest, MakingDirectoriesStopsAtTheFirstFailure) {
    test::WriteText(folder / "file", "");
    EXPECT_FALSE(CreateDirectories(folder / "made/../file/below/deeper/"));
    EXPECT_THAT(test::Names(folder.Path()), ElementsAre("file", "made")) << "what was made before stays";
}

TEST_F(FileSystemLinuxTest, WithoutRoomForADirectoryNoneIsMade) {
    const test::TinyDisk disk("nr_inodes=2"); // the disk's own folder and one more
    EXPECT_FALSE(CreateDirectories(disk / "one/two/"));
    EXPECT_THAT(test::Names(disk.Path()), ElementsAre("one"));
}

// --- listing

class ListingTest : public FileSystemLinuxTest {
protected:
    ListingTest() {
        for (const char* name : {"directory", ".hidden directory"}) {
            mkdir((folder / name).c_str(), 0700);
        }
        for (const char* name : {"file", ".hidden file", "Umläut", "not \xff UTF-8"}) {
            test::WriteText(folder / name, "");
        }
        symlink("file", (folder / "link to file").c_str());
        symlink("directory", (folder / "link to directory").c_str());
        mkfifo((folder / "pipe").c_str(), 0600);
        test::WriteText(folder / "directory/inner", "");
    }

    std::vector<std::string> names;
};

TEST_F(ListingTest, DirectoriesAreListedWithTheTwoSpecialOnes) {
    ListAllSubDirectories(folder.Path(), names);
    EXPECT_THAT(names, UnorderedElementsAre(".", "..", "directory", ".hidden directory"));
}

TEST_F(ListingTest, RegularFilesAreListedWithoutLinksAndPipes) {
    ListAllFilesInDirectory(folder.Path(), names);
    EXPECT_THAT(names, UnorderedElementsAre("file", ".hidden file", "Umläut", "not \xff UTF-8"));
}

TEST_F(ListingTest, AnEmptyDirectoryHoldsTheTwoSpecialOnesAndNoFile) {
    std::filesystem::remove(folder / "directory/inner");
    ListAllFilesInDirectory(folder / "directory", names);
    EXPECT_THAT(names, IsEmpty());
    ListAllSubDirectories(folder / "directory", names);
    EXPECT_THAT(names, UnorderedElementsAre(".", ".."));
}

TEST_F(ListingTest, NamesAreAppended) {
    names = {"before"};
    ListAllFilesInDirectory(folder / "directory", names);
    EXPECT_THAT(names, ElementsAre("before", "inner"));
}

TEST_F(ListingTest, WhatCannotBeOpenedAsADirectoryLeavesTheNamesAlone) {
    names = {"before"};
    chmod((folder / "directory").c_str(), 0000);
    const test::WithoutPrivileges user;
    for (const char* name : {"missing", "file", "directory"}) {
        ListAllSubDirectories(folder / name, names);
        ListAllFilesInDirectory(folder / name, names);
    }
    EXPECT_THAT(names, ElementsAre("before"));
}

TEST_F(ListingTest, NamesComeInTheOrderOfTheSystem) {
    for (int i = 0; i < 500; ++i) {
        test::WriteText(folder / "many" + std::to_string(i), "");
    }
    std::vector<std::string> expected;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
        if (entry.symlink_status().type() == std::filesystem::file_type::regular) {
            expected.push_back(entry.path().filename());
        }
    }
    ListAllFilesInDirectory(folder.Path(), names);
    EXPECT_EQ(names, expected);
}

// --- base directories

TEST(BaseDirectoriesTest, TheTemporaryDirectoryIsTmpdirAsItStands) {
    const test::Variable variable("TMPDIR", "/var/tmp");
    EXPECT_EQ(GetTempDir(), "/var/tmp");
    variable.Set("");
    EXPECT_EQ(GetTempDir(), "") << "set, though to nothing";
    variable.Set(std::nullopt);
    EXPECT_EQ(GetTempDir(), "/tmp/");
}

TEST(BaseDirectoriesTest, TheUsersDirectoryIsHomeAsItStands) {
    const test::Variable variable("HOME", "/home/anna/");
    EXPECT_EQ(GetUserDir(), "/home/anna/");
    variable.Set("relative");
    EXPECT_EQ(GetUserDir(), "relative");
    variable.Set(std::nullopt);
    EXPECT_EQ(GetUserDir(), "");
}

TEST(BaseDirectoriesTest, TheMachinesDirectoriesAreFixed) {
    EXPECT_EQ(GetAllUsersDir(), "/etc/");
    EXPECT_EQ(GetSystemLogDir(), "/var/log/");
}

} // namespace
