#include "diag/ask/FileProbe.h"

#include "tests/support/Privileges.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <ctime>

#include <sys/stat.h>
#include <unistd.h>

using namespace Diag;

namespace {

class FileProbeTest : public testing::Test {
protected:
    std::string Make(const std::string& name, mode_t mode) const {
        test::WriteText(folder / name, "12345");
        chmod((folder / name).c_str(), mode);
        return folder / name;
    }

    test::TemporaryFolder folder;
};

} // namespace

TEST_F(FileProbeTest, AFileIsDescribed) {
    const FileFacts facts = DescribeFile(Make("file", 0640));
    EXPECT_TRUE(facts.exists && facts.isRegular && facts.readable && facts.writable);
    EXPECT_FALSE(facts.isFolder);
    EXPECT_EQ(facts.owner, "root");
    EXPECT_EQ(facts.group, "root");
    EXPECT_EQ(facts.mode, 0640U);
    EXPECT_EQ(facts.size, 5);
    EXPECT_NEAR(static_cast<double>(facts.modified), static_cast<double>(std::time(nullptr)), 60);
    EXPECT_EQ(facts.obstacle, 0);
}

TEST_F(FileProbeTest, AFolderIsNoRegularFile) {
    const FileFacts facts = DescribeFile(folder.Path());
    EXPECT_TRUE(facts.isFolder);
    EXPECT_FALSE(facts.isRegular);
}

TEST_F(FileProbeTest, AMissingFileDoesNotExist) {
    const FileFacts facts = DescribeFile(folder / "missing");
    EXPECT_FALSE(facts.exists || facts.readable || facts.writable);
    EXPECT_EQ(facts.obstacle, ENOENT);
    EXPECT_FALSE(DescribeFile(Make("file", 0644) + "/below").exists);
}

TEST_F(FileProbeTest, WithoutRightsAFileIsNeitherReadableNorWritable) {
    const std::string secret = Make("secret", 0000);
    const std::string readOnly = Make("readonly", 0444);
    const test::WithoutPrivileges ordinary;
    EXPECT_FALSE(DescribeFile(secret).readable);
    EXPECT_FALSE(DescribeFile(secret).writable);
    EXPECT_EQ(DescribeFile(secret).obstacle, EACCES);
    EXPECT_TRUE(DescribeFile(readOnly).readable);
    EXPECT_FALSE(DescribeFile(readOnly).writable);
}

TEST_F(FileProbeTest, BehindAClosedFolderSomethingMayBe) {
    mkdir((folder / "closed").c_str(), 0000);
    const test::WithoutPrivileges ordinary;
    const FileFacts facts = DescribeFile(folder / "closed/file");
    EXPECT_TRUE(facts.exists);
    EXPECT_FALSE(facts.readable || facts.writable);
    EXPECT_EQ(facts.obstacle, EACCES);
}

TEST_F(FileProbeTest, NothingIsChangedByLooking) {
    const std::string file = Make("file", 0644);
    struct stat before = {};
    stat(file.c_str(), &before);
    static_cast<void>(DescribeFile(file));
    static_cast<void>(WhyNotCreateIn(folder / "new/deep"));
    struct stat after = {};
    stat(file.c_str(), &after);
    EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
    EXPECT_EQ(test::Names(folder.Path()), std::vector<std::string>{"file"});
}

TEST_F(FileProbeTest, FilesCanBeMadeWhereTheNearestFolderAllowsIt) {
    EXPECT_EQ(WhyNotCreateIn(folder.Path()), 0);
    EXPECT_EQ(WhyNotCreateIn(folder / "not/yet/there/"), 0);
    chmod(folder.Path().c_str(), 0555);
    const test::WithoutPrivileges ordinary;
    EXPECT_EQ(WhyNotCreateIn(folder.Path()), EACCES);
    EXPECT_EQ(WhyNotCreateIn(folder / "not/yet/there/"), EACCES);
    EXPECT_NE(WhyNotCreateIn("/proc/not/there"), 0);
}

TEST_F(FileProbeTest, AFolderInWhichAGroupMayWriteIsNotRootsAlone) {
    EXPECT_TRUE(OnlyRootWrites(folder.Path()));
    for (const mode_t mode : {0775, 0757}) {
        chmod(folder.Path().c_str(), mode);
        EXPECT_FALSE(OnlyRootWrites(folder.Path())) << mode << ", even if the group is root's";
    }
}

TEST_F(FileProbeTest, AccountsWithoutANameAreNumbers) {
    const std::string file = Make("file", 0644);
    if (chown(file.c_str(), 54321, 54322) != 0) {
        GTEST_SKIP() << "this machine's root is mapped and has no other accounts";
    }
    EXPECT_EQ(DescribeFile(file).owner, "54321");
    EXPECT_EQ(DescribeFile(file).group, "54322");
}

TEST_F(FileProbeTest, AStrangersLinkOnTheWayLeadsNowhereAsItDoesForASave) {
    mkdir((folder / "real").c_str(), 0755);
    static_cast<void>(Make("real/file", 0644));
    ASSERT_EQ(symlink("real", (folder / "way").c_str()), 0);
    EXPECT_TRUE(DescribeFile(folder / "way/file").readable);
    if (lchown((folder / "way").c_str(), 54321, 54321) != 0) {
        GTEST_SKIP() << "this machine's root is mapped and has no other accounts";
    }
    const FileFacts facts = DescribeFile(folder / "way/file");
    EXPECT_FALSE(facts.readable || facts.writable);
    EXPECT_EQ(facts.obstacle, EACCES);
    EXPECT_EQ(ReadFile(folder / "way/file", 5), "");
}

TEST_F(FileProbeTest, ALinkThatLeadsNowhereIsToldWithItsTarget) {
    ASSERT_EQ(symlink("gone/file", (folder / "link").c_str()), 0);
    const FileFacts facts = DescribeFile(folder / "link");
    EXPECT_TRUE(facts.isLink);
    EXPECT_FALSE(facts.exists);
    EXPECT_EQ(facts.target, "gone/file");
    EXPECT_EQ(facts.obstacle, ENOENT);
}

TEST_F(FileProbeTest, GroupsOfThisProcessAreKnown) {
    EXPECT_TRUE(IsInGroup(DescribeFile("/proc/self").group));
    EXPECT_FALSE(IsInGroup("no-such-group"));
    EXPECT_FALSE(IsInGroup("backup"));
}
