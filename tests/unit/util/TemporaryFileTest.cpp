#include "util/TemporaryFile.h"

#include "FileTests.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/xattr.h>

using namespace Vantor;
using namespace test;

namespace {

using TemporaryFileTest = FileTest;

bool IsLocked(const std::string& path) {
    const int file = open(path.c_str(), O_RDONLY);
    const bool locked = flock(file, LOCK_SH | LOCK_NB) != 0;
    close(file);
    return locked;
}

struct stat StatusOf(const FileDescriptor& file) {
    struct stat status = {};
    EXPECT_EQ(fstat(file.Get(), &status), 0);
    return status;
}

} // namespace

TEST_F(TemporaryFileTest, LivesUnderANameThatTellsWhatItIs) {
    const FilePlace place = FilePlace::Open(file);
    {
        TemporaryFile temporary(place);
        EXPECT_TRUE(ListFolder(folder).empty());
        ASSERT_TRUE(temporary.Create());
        ASSERT_EQ(ListFolder(folder).size(), 1u);
        EXPECT_EQ(ListFolder(folder)[0].find("config.saving-"), 0u);
        EXPECT_TRUE(IsLocked(folder + "/" + ListFolder(folder)[0]));
    }
    EXPECT_TRUE(ListFolder(folder).empty());
}

TEST_F(TemporaryFileTest, MovesOverTheFinalNameAndStays) {
    WriteFile(file, "old");
    const FilePlace place = FilePlace::Open(file);
    {
        TemporaryFile temporary(place);
        ASSERT_TRUE(temporary.Create());
        ASSERT_EQ(write(temporary.File().Get(), "new", 3), 3);
        EXPECT_TRUE(temporary.MoveOver());
    }
    EXPECT_EQ(ReadFile(file), "new");
    EXPECT_EQ(ListFolder(folder), std::vector<std::string>{"config"});
}

TEST_F(TemporaryFileTest, SeveralHaveDifferentNames) {
    const FilePlace place = FilePlace::Open(file);
    TemporaryFile first(place);
    TemporaryFile second(place);
    EXPECT_TRUE(first.Create());
    EXPECT_TRUE(second.Create());
    EXPECT_EQ(ListFolder(folder).size(), 2u);
}

TEST_F(TemporaryFileTest, NobodyCanTakeTheNextNameBeforehand) {
    // Given two processes that begin alike
    const FilePlace place = FilePlace::Open(file);
    const auto create = [&] {
        TemporaryFile temporary(place);
        return temporary.Create() && rename((folder + "/" + ListFolder(folder).back()).c_str(),
                                            (folder + "/a" + ListFolder(folder).back()).c_str()) == 0;
    };
    EXPECT_TRUE(InAnotherProcess(create));
    EXPECT_TRUE(InAnotherProcess(create));
    EXPECT_EQ(ListFolder(folder).size(), 2u) << "the second file got the name of the first";
}

TEST_F(TemporaryFileTest, TakesOverModeBeforeAnythingIsWritten) {
    WriteFile(file, "secret");
    ASSERT_EQ(chmod(file.c_str(), 0640), 0);
    const FilePlace place = FilePlace::Open(file);
    const FileDescriptor model(open(file.c_str(), O_RDWR));
    TemporaryFile temporary(place);
    ASSERT_TRUE(temporary.CreateLike(model, Status(file)));
    const struct stat status = StatusOf(temporary.File());
    EXPECT_EQ(status.st_mode & 07777, 0640u);
    EXPECT_EQ(status.st_size, 0);
}

TEST_F(TemporaryFileTest, FailsWithTheReasonWhereNoFileCanBeMade) {
    const FilePlace place = FilePlace::Open(file);
    ASSERT_EQ(mount(nullptr, folder.c_str(), "", MS_REMOUNT | MS_RDONLY, nullptr), 0);
    TemporaryFile temporary(place);
    EXPECT_FALSE(temporary.Create());
    EXPECT_EQ(errno, EROFS);
}

TEST_F(TemporaryFileTest, TheFoldersDefaultListDoesNotOpenWhatWasClosed) {
    // Given u::rwx, u:1234:rwx, g::rwx, m::rwx, o::r-x for new files, and a file without a list
    const unsigned char list[] = {2, 0,   0,   0,   1,   0,   7,  0, 255, 255, 255, 255, 2,   0,  7,
                                  0, 210, 4,   0,   0,   4,   0,  7, 0,   255, 255, 255, 255, 16, 0,
                                  7, 0,   255, 255, 255, 255, 32, 0, 5,   0,   255, 255, 255, 255};
    WriteFile(file, "secret");
    ASSERT_EQ(chmod(file.c_str(), 0660), 0);
    if (setxattr(folder.c_str(), "system.posix_acl_default", list, sizeof list, 0) != 0) {
        GTEST_SKIP() << "no access control lists on this file system: " << strerror(errno);
    }
    const FilePlace place = FilePlace::Open(file);
    const FileDescriptor model = place.OpenFile(O_RDWR);
    // When
    TemporaryFile temporary(place);
    ASSERT_TRUE(temporary.CreateLike(model, Status(file)));
    // Then
    EXPECT_LT(fgetxattr(temporary.File().Get(), "system.posix_acl_access", nullptr, 0), 0);
    EXPECT_EQ(StatusOf(temporary.File()).st_mode & 07777, 0660u);
}

TEST_F(TemporaryFileTest, AnOwnerThatCannotBeKeptIsTheCallerAndTheRestIsKept) {
    if (!CanBecomeAnother()) {
        GTEST_SKIP() << "this machine's root cannot become another user";
    }
    WriteFile(file, "root's");
    ASSERT_EQ(chown(file.c_str(), 0, OrdinaryUser), 0);
    ASSERT_EQ(chmod(file.c_str(), 06664), 0);
    ASSERT_EQ(chmod(folder.c_str(), 0777), 0);
    EXPECT_TRUE(AsOrdinaryUser([&] {
        const FilePlace place = FilePlace::Open(file);
        TemporaryFile temporary(place);
        if (!temporary.CreateLike(place.OpenFile(O_RDWR), Status(file))) {
            return false;
        }
        const struct stat status = StatusOf(temporary.File());
        return status.st_uid == OrdinaryUser && status.st_gid == OrdinaryUser && (status.st_mode & 07777) == 0664;
    }));
}

TEST_F(TemporaryFileTest, AGroupThatCannotBeKeptLeavesNoFile) {
    if (!CanBecomeAnother()) {
        GTEST_SKIP() << "this machine's root cannot become another user";
    }
    WriteFile(file, "root's");
    ASSERT_EQ(chmod(file.c_str(), 0666), 0);
    ASSERT_EQ(chmod(folder.c_str(), 0777), 0);
    EXPECT_TRUE(AsOrdinaryUser([&] {
        const FilePlace place = FilePlace::Open(file);
        TemporaryFile temporary(place);
        return !temporary.CreateLike(place.OpenFile(O_RDWR), Status(file)) && errno == EPERM;
    }));
    EXPECT_EQ(ListFolder(folder), std::vector<std::string>{"config"});
}
