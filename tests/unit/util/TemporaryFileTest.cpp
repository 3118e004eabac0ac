#include "util/TemporaryFile.h"

#include "FileTests.h"

#include <fcntl.h>
#include <sys/file.h>

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

} // namespace

TEST_F(TemporaryFileTest, APlaceIsFolderAndName) {
    const FilePlace place = FilePlace::Open(file);
    EXPECT_TRUE(place.folder.IsOpen());
    EXPECT_EQ(place.name, "config");
    EXPECT_TRUE(place.listable);
    EXPECT_FALSE(FilePlace::Open(folder + "/missing/config").folder.IsOpen());
    EXPECT_FALSE(FilePlace::Open("").folder.IsOpen());
    EXPECT_FALSE(FilePlace::Open("/").folder.IsOpen());
    EXPECT_TRUE(FilePlace::Open("/config").folder.IsOpen());
    EXPECT_TRUE(FilePlace::Open("config").folder.IsOpen());
}

TEST_F(TemporaryFileTest, LivesUnderANameThatTellsWhatItIs) {
    const FilePlace place = FilePlace::Open(file);
    {
        TemporaryFile temporary(place);
        EXPECT_TRUE(ListFolder(folder).empty());
        ASSERT_TRUE(temporary.Create());
        ASSERT_EQ(ListFolder(folder).size(), 1u);
        EXPECT_EQ(ListFolder(folder)[0].find("config.saving-" + std::to_string(getpid()) + "-"), 0u);
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

TEST_F(TemporaryFileTest, ANameThatIsTakenIsPassedOver) {
    const FilePlace place = FilePlace::Open(file);
    std::string taken;
    {
        TemporaryFile probe(place);
        ASSERT_TRUE(probe.Create());
        taken = ListFolder(folder)[0];
    }
    const auto dash = taken.rfind('-') + 1;
    const int next = std::stoi(taken.substr(dash)) + 1;
    const std::string trap = folder + "/" + taken.substr(0, dash) + std::to_string(next);
    std::filesystem::create_symlink("/mnt/home/elsewhere", trap);
    TemporaryFile temporary(place);
    EXPECT_TRUE(temporary.Create());
    EXPECT_TRUE(std::filesystem::is_symlink(trap));
    EXPECT_FALSE(std::filesystem::exists("/mnt/home/elsewhere")) << "a link is never followed";
}

TEST_F(TemporaryFileTest, TakesOverModeBeforeAnythingIsWritten) {
    WriteFile(file, "secret");
    ASSERT_EQ(chmod(file.c_str(), 0640), 0);
    const FilePlace place = FilePlace::Open(file);
    const FileDescriptor model(open(file.c_str(), O_RDWR));
    TemporaryFile temporary(place);
    ASSERT_TRUE(temporary.CreateLike(model, Status(file)));
    struct stat status = {};
    ASSERT_EQ(fstat(temporary.File().Get(), &status), 0);
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

TEST_F(TemporaryFileTest, AnOwnerThatCannotBeKeptLeavesNoFile) {
    if (!CanBecomeAnother()) {
        GTEST_SKIP() << "this machine's root cannot become another user";
    }
    WriteFile(file, "root's");
    ASSERT_EQ(chmod(file.c_str(), 0666), 0);
    ASSERT_EQ(chmod(folder.c_str(), 0777), 0);
    EXPECT_TRUE(AsOrdinaryUser([&] {
        const FilePlace place = FilePlace::Open(file);
        const FileDescriptor model(open(file.c_str(), O_RDWR));
        TemporaryFile temporary(place);
        return !temporary.CreateLike(model, Status(file)) && errno == EPERM;
    }));
    EXPECT_EQ(ListFolder(folder), std::vector<std::string>{"config"});
}
