#include "util/InstanceLock.h"

#include "tests/support/Environment.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace Vantor;
using State = InstanceLockState;

/// A lock as the toolkit makes it, in a home of its own.
class InstanceLockTest : public testing::Test {
protected:
    void Write(const std::string& content, mode_t mode = 0600) const {
        test::WriteText(path, content);
        chmod(path.c_str(), mode);
    }
    /// With the number of a process that lives and is no copy: this one's parent.
    void LeaveBehind() const { Write(std::to_string(getppid()) + std::string(1, '\0')); }

    State Clear() const {
        const InstanceTurn turn(home.Path());
        EXPECT_TRUE(turn.IsOurs());
        return ClearInstanceLock(path, turn);
    }

    const test::TemporaryFolder home;
    const std::string path = home / "LumoAdmin-ann";
};

/// Another process that has the kernel's lock on a file, as a copy has, until this is destroyed.
class Copy {
public:
    explicit Copy(const std::string& path) {
        int ready[2];
        EXPECT_EQ(pipe(ready), 0);
        process = fork();
        if (process == 0) {
            Hold(path, ready[1]);
        }
        char answer = 'n';
        EXPECT_EQ(read(ready[0], &answer, 1), 1);
        EXPECT_EQ(answer, 'y');
        close(ready[0]);
        close(ready[1]);
    }
    ~Copy() {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }
    Copy(const Copy&) = delete;
    Copy& operator=(const Copy&) = delete;

    pid_t process = 0;

private:
    [[noreturn]] static void Hold(const std::string& path, int ready) {
        struct flock lock = {};
        lock.l_type = F_WRLCK;
        const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
        const char answer = fcntl(file, F_SETLK, &lock) == 0 ? 'y' : 'n';
        if (write(ready, &answer, 1) == 1) {
            pause();
        }
        _exit(1);
    }
};

} // namespace

TEST_F(InstanceLockTest, WithoutALockNothingIsInTheWay) {
    EXPECT_EQ(Clear(), State::Free);
    EXPECT_EQ(FindRunningCopy(path), std::nullopt);
}

TEST_F(InstanceLockTest, ALockThatNamesALivingStrangerIsRemoved) {
    LeaveBehind();
    EXPECT_EQ(FindRunningCopy(path), std::nullopt);
    EXPECT_EQ(Clear(), State::Free);
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(InstanceLockTest, ALivingCopyKeepsItsLock) {
    LeaveBehind(); // whatever its number says
    const Copy copy(path);
    EXPECT_EQ(Clear(), State::Held);
    EXPECT_TRUE(fs::exists(path));
}

TEST_F(InstanceLockTest, ACopyThatIsAboutToWriteItsNumberKeepsItsLock) {
    Write("");
    const Copy copy(path);
    EXPECT_EQ(Clear(), State::Held);
    EXPECT_TRUE(fs::exists(path));
}

TEST_F(InstanceLockTest, AKilledCopyLosesItsLock) {
    LeaveBehind();
    { const Copy copy(path); }
    EXPECT_EQ(Clear(), State::Free);
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(InstanceLockTest, WhatAPowerCutEmptiedIsRemoved) {
    for (const auto& content : {std::string(), std::string(5, '\0')}) {
        Write(content);
        EXPECT_EQ(Clear(), State::Free);
        EXPECT_FALSE(fs::exists(path)) << content.size();
    }
}

TEST_F(InstanceLockTest, AnEmptyOneIsLeftToTheOneWhoseTurnItIs) {
    Write("");
    const InstanceTurn nobodys(home / "missing");
    EXPECT_FALSE(nobodys.IsOurs());
    EXPECT_EQ(ClearInstanceLock(path, nobodys), State::Free);
    EXPECT_TRUE(fs::exists(path));
}

TEST_F(InstanceLockTest, OtherFilesOfThatNameStay) {
    for (const char* const content : {"my notes", "12 notes", "1234567890123456789012345"}) {
        Write(content);
        EXPECT_EQ(Clear(), State::Free);
        EXPECT_EQ(test::ReadText(path), content);
    }
    Write("123", 0644);
    EXPECT_EQ(Clear(), State::Free);
    EXPECT_TRUE(fs::exists(path)) << "the toolkit's are closed to others";
}

TEST_F(InstanceLockTest, ALinkIsNotFollowedAndStays) {
    test::WriteText(home / "notes", "123");
    chmod((home / "notes").c_str(), 0600);
    fs::create_symlink("notes", path);
    EXPECT_EQ(Clear(), State::Free);
    EXPECT_EQ(FindRunningCopy(path), std::nullopt);
    EXPECT_TRUE(fs::is_symlink(path));
    EXPECT_TRUE(fs::exists(home / "notes"));
}

TEST_F(InstanceLockTest, APipeHoldsNothingUpAndStays) {
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(Clear(), State::Free);
    EXPECT_EQ(FindRunningCopy(path), std::nullopt);
    EXPECT_TRUE(fs::exists(path));
}

TEST_F(InstanceLockTest, OneThatCannotBeRemovedIsToldApartFromOneThatIsHeld) {
    LeaveBehind();
    ASSERT_EQ(mount(home.Path().c_str(), home.Path().c_str(), "", MS_BIND, nullptr), 0);
    ASSERT_EQ(mount(nullptr, home.Path().c_str(), "", MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
    EXPECT_EQ(Clear(), State::Left);
    ASSERT_EQ(umount(home.Path().c_str()), 0);
}

TEST_F(InstanceLockTest, TheRunningCopyIsKnownByProcessAccountAndTime) {
    const std::time_t before = std::time(nullptr);
    LeaveBehind();
    const Copy copy(path);

    const auto found = FindRunningCopy(path);

    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(found->process, copy.process);
    EXPECT_EQ(found->user, getpwuid(getuid())->pw_name);
    EXPECT_GE(found->since, before - 1);
    EXPECT_LE(found->since, std::time(nullptr));
}

TEST_F(InstanceLockTest, TheLockLiesInTheUsersHome) {
    const std::string name = getpwuid(getuid())->pw_name;
    const test::Variable variable("HOME", home.Path());
    EXPECT_EQ(InstanceLockPath(), home / ("LumoAdmin-" + name));
    variable.Set(std::nullopt);
    EXPECT_EQ(InstanceLockPath(), std::string(getpwuid(getuid())->pw_dir) + "/LumoAdmin-" + name);
}

TEST_F(InstanceLockTest, StartsTakeTurns) {
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    if (child == 0) {
        char start = 0;
        const bool isStarted = read(ready[0], &start, 1) == 1;
        const InstanceTurn second(home.Path());
        _exit(isStarted && second.IsOurs() && fs::exists(home / "passed on") ? 0 : 1);
    }
    {
        const InstanceTurn first(home.Path());
        ASSERT_EQ(write(ready[1], "", 1), 1);
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        test::WriteText(home / "passed on", "");
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(InstanceLockTest, WhoeverHoldsTheFolderHoldsAStartUpForTwoSecondsAtMost) {
    const FileDescriptor folder(open(home.Path().c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(flock(folder.Get(), LOCK_EX), 0);
    const auto start = std::chrono::steady_clock::now();
    const InstanceTurn turn(home.Path());
    EXPECT_FALSE(turn.IsOurs());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}
