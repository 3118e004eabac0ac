#include "tests/support/PackageLayout.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class LayoutTest : public testing::Test {
protected:
    void SetUp() override {
        if (test::OnlyOneAccount()) {
            GTEST_SKIP() << "no second account can be made here";
        }
    }
};

bool MayWrite(const test::Account& account, const std::string& path) {
    const test::ActingAs acting(account);
    return access(path.c_str(), W_OK) == 0;
}

bool MayRead(const test::Account& account, const std::string& path) {
    const test::ActingAs acting(account);
    return access(path.c_str(), R_OK) == 0;
}

TEST_F(LayoutTest, OnlyMembersAndRootMayWriteInTheFolder) {
    const test::PackageLayout layout;
    EXPECT_TRUE(MayWrite(layout.root, layout.folder));
    EXPECT_TRUE(MayWrite(layout.member, layout.folder));
    EXPECT_TRUE(MayWrite(layout.colleague, layout.folder));
    EXPECT_FALSE(MayWrite(layout.outsider, layout.folder));
}

TEST_F(LayoutTest, EverybodyMayReadTheFileThatOnlyMembersMayWrite) {
    const test::PackageLayout layout;
    EXPECT_TRUE(MayRead(layout.outsider, layout.file));
    EXPECT_FALSE(MayWrite(layout.outsider, layout.file));
    EXPECT_TRUE(MayWrite(layout.member, layout.file));
}

TEST_F(LayoutTest, NobodyButRootMayChangeTheFolderAbove) {
    const test::PackageLayout layout;
    EXPECT_FALSE(MayWrite(layout.member, "/etc/vantor"));
    EXPECT_FALSE(MayWrite(layout.outsider, "/etc/vantor"));
}

TEST_F(LayoutTest, TheGroupOfTheFolderPassesOnToNewFiles) {
    const test::PackageLayout layout;
    const std::string path = layout.folder + "/new";
    {
        const test::ActingAs acting(layout.member);
        ASSERT_GE(open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0664), 0);
    }
    struct stat status = {};
    struct stat folder = {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    ASSERT_EQ(stat(layout.folder.c_str(), &folder), 0);
    EXPECT_EQ(status.st_gid, folder.st_gid);
    EXPECT_EQ(status.st_uid, layout.member.user);
}

} // namespace
