// Saving where every name in the folder may be another's trap.

#include "tests/support/PackageLayout.h"
#include "tests/unit/config/ConfigFiles.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <optional>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace {

namespace fs = std::filesystem;
using test::Account;
using test::ActingAs;
using test::ReadFile;
using test::WriteFile;

// Of acl(5).
constexpr int ACL_USER_OBJ = 0x01, ACL_USER = 0x02, ACL_GROUP_OBJ = 0x04, ACL_MASK = 0x10, ACL_OTHER = 0x20;
constexpr unsigned ACL_UNDEFINED_ID = 0xFFFFFFFF;

constexpr char Precious[] = "<config><lumo_Client><Version>precious</Version></lumo_Client></config>";

class SavingTest : public testing::Test {
protected:
    void SetUp() override {
        if (test::OnlyOneAccount()) {
            GTEST_SKIP() << "no second account can be made here";
        }
        layout.emplace();
        WriteFile(victim, Precious);
        chmod(victim.c_str(), 0600);
    }

    static Vantor::Config* Open() {
        Vantor::Config* const config = test::OpenFresh();
        config->AddConfig(1, Vantor::CONFIG_ALLUSERS, "Version", "lumo Client", Vantor::SYSTYPE_FIRST);
        return config;
    }

    /// Starts the program as the account and saves. @return what the save said; false when the program hangs or crashes
    static bool Save(const Account& account, const std::string& value = "new") {
        return test::InAnotherProcess([&] {
            test::Become(account);
            alarm(20);
            return Open()->SetString(1, value);
        });
    }

    /// As the account: in place of what has the name now.
    void PutLink(const Account& account, const std::string& target, const std::string& name = "config") const {
        const ActingAs acting(account);
        fs::remove(layout->folder + "/" + name);
        fs::create_symlink(target, layout->folder + "/" + name);
    }

    struct stat Status() const {
        struct stat status = {};
        EXPECT_EQ(lstat(layout->file.c_str(), &status), 0);
        return status;
    }

    std::optional<test::PackageLayout> layout;
    const std::string victim = "/mnt/victim";
};

TEST_F(SavingTest, AMembersLinkDoesNotLeadRootToAnotherFile) {
    PutLink(layout->member, victim);
    EXPECT_FALSE(Save(layout->root));
    EXPECT_EQ(ReadFile(victim), Precious);
    EXPECT_EQ(fs::read_symlink(layout->file), victim);
}

TEST_F(SavingTest, AMembersLinkDoesNotLeadAColleagueToHisOwnFile) {
    const std::string own = layout->colleague.home + "/own";
    WriteFile(own, Precious);
    ASSERT_EQ(chown(own.c_str(), layout->colleague.user, layout->colleague.group), 0);
    PutLink(layout->member, own);
    EXPECT_FALSE(Save(layout->colleague));
    EXPECT_EQ(ReadFile(own), Precious);
}

TEST_F(SavingTest, AMembersLinkToNothingMakesNoFile) {
    PutLink(layout->member, "/mnt/new");
    EXPECT_FALSE(Save(layout->root));
    EXPECT_FALSE(fs::exists("/mnt/new"));
}

TEST_F(SavingTest, AMembersLinkOnTheWayOfRootsIsNotFollowed) {
    fs::create_directory("/mnt/elsewhere");
    WriteFile("/mnt/elsewhere/target", Precious);
    PutLink(layout->root, "sub/target");
    PutLink(layout->member, "/mnt/elsewhere", "sub");
    EXPECT_FALSE(Save(layout->root));
    EXPECT_EQ(ReadFile("/mnt/elsewhere/target"), Precious);
}

TEST_F(SavingTest, LinksOfRootAreFollowedByAllAndOwnOnesByTheirOwner) {
    fs::create_directory("/etc/vantor/shared");
    fs::rename(layout->file, "/etc/vantor/shared/config");
    for (const Account& owner : {layout->root, layout->member}) {
        PutLink(owner, "../shared/config");
        EXPECT_TRUE(Save(layout->member, "by " + owner.name));
        EXPECT_NE(ReadFile("/etc/vantor/shared/config").find("by " + owner.name), std::string::npos);
        EXPECT_TRUE(fs::is_symlink(layout->file));
    }
}

TEST_F(SavingTest, WhatAMembersLinkLeadsToIsNotTakenIn) {
    PutLink(layout->member, victim);
    EXPECT_TRUE(test::InAnotherProcess([&] {
        std::string value = "unset";
        Open()->GetString(1, value);
        return value == "unset";
    })) << "root would write it into a file that all may read";
}

TEST_F(SavingTest, ASecondNameThatAMemberGaveToAClosedFileIsNotTakenIn) {
    // What the kernel refuses members unless fs.protected_hardlinks is switched off
    fs::remove(layout->file);
    const std::string secret = "/etc/secret";
    WriteFile(secret, Precious);
    chmod(secret.c_str(), 0600);
    fs::create_hard_link(secret, layout->file);
    EXPECT_TRUE(test::InAnotherProcess([&] {
        std::string value = "unset";
        Open()->GetString(1, value);
        return value == "unset";
    })) << "the member could then have root save it into a file that all may read";
    EXPECT_TRUE(Save(layout->root));
    EXPECT_EQ(ReadFile(secret), Precious);
    EXPECT_EQ(ReadFile(layout->file).find("precious"), std::string::npos);
}

TEST_F(SavingTest, ASecondNameOfAFileThatAllMayReadIsTakenInAsBefore) {
    WriteFile(layout->file, Precious);
    fs::create_hard_link(layout->file, layout->folder + "/backup");
    EXPECT_TRUE(test::InAnotherProcess([&] {
        std::string value;
        return Open()->GetString(1, value) && value == "precious";
    }));
}

TEST_F(SavingTest, ASwapBetweenLookAndWriteGainsNothing) {
    // Given a member who swaps a link and a pipe for the file without a pause
    const std::string link = layout->folder + "/link";
    const std::string pipe = layout->folder + "/pipe";
    const pid_t swapper = fork();
    if (swapper == 0) {
        test::Become(layout->member);
        fs::create_symlink(victim, link);
        mkfifo(pipe.c_str(), 0666);
        for (;;) {
            for (const std::string& trap : {link, pipe}) {
                renameat2(AT_FDCWD, trap.c_str(), AT_FDCWD, layout->file.c_str(), RENAME_EXCHANGE);
                renameat2(AT_FDCWD, trap.c_str(), AT_FDCWD, layout->file.c_str(), RENAME_EXCHANGE);
            }
        }
    }
    // When root starts and saves
    EXPECT_TRUE(test::InAnotherProcess([&] {
        alarm(60);
        for (int i = 0; i < 300; ++i) {
            Vantor::Config* const config = Open();
            config->SetString(1, std::to_string(i));
            config->Destroy();
        }
        return true;
    })) << "it hangs at the pipe";
    kill(swapper, SIGKILL);
    waitpid(swapper, nullptr, 0);
    // Then what the link leads to stays
    EXPECT_EQ(ReadFile(victim), Precious);
}

TEST_F(SavingTest, AnUnreadableFileIsKeptInPlaceOfAMembersLink) {
    {
        const ActingAs acting(layout->member);
        WriteFile(layout->file, "<broken");
    }
    PutLink(layout->member, victim, "config.unreadable");
    EXPECT_TRUE(Save(layout->root));
    EXPECT_EQ(ReadFile(victim), Precious);
    EXPECT_FALSE(fs::is_symlink(layout->file + ".unreadable"));
    EXPECT_EQ(ReadFile(layout->file + ".unreadable"), "<broken");
}

TEST_F(SavingTest, AMembersSaveReplacesTheFileAndOnlyItsOwnerChanges) {
    const struct stat before = Status();
    EXPECT_TRUE(Save(layout->member));
    const struct stat after = Status();
    EXPECT_NE(after.st_ino, before.st_ino) << "who reads meanwhile must find the old file whole";
    EXPECT_EQ(after.st_uid, layout->member.user);
    EXPECT_EQ(after.st_gid, before.st_gid);
    EXPECT_EQ(after.st_mode, before.st_mode);
    // And everybody may save after him, root without taking the file away
    EXPECT_TRUE(Save(layout->colleague));
    EXPECT_EQ(Status().st_uid, layout->colleague.user);
    EXPECT_TRUE(Save(layout->root));
    EXPECT_EQ(Status().st_uid, layout->colleague.user);
    EXPECT_EQ(Status().st_gid, before.st_gid);
    EXPECT_FALSE(Save(layout->outsider));
}

/// Lets an account do everything with what is made in a folder from now on.
bool AddDefaultList(const std::string& folder, const Account& account) {
    std::string list = {2, 0, 0, 0}; // as Linux stores it: version 2, then tag, rights and id of each, low bytes first
    const auto add = [&](int tag, unsigned id) {
        for (const unsigned byte : {static_cast<unsigned>(tag), 0U, 7U, 0U, id, id >> 8U, id >> 16U, id >> 24U}) {
            list += static_cast<char>(byte);
        }
    };
    add(ACL_USER_OBJ, ACL_UNDEFINED_ID);
    add(ACL_USER, account.user);
    for (const int tag : {ACL_GROUP_OBJ, ACL_MASK, ACL_OTHER}) {
        add(tag, ACL_UNDEFINED_ID);
    }
    return setxattr(folder.c_str(), "system.posix_acl_default", list.data(), list.size(), 0) == 0;
}

TEST_F(SavingTest, AListOfTheFolderForNewFilesOpensNothing) {
    if (!AddDefaultList(layout->folder, layout->outsider)) {
        GTEST_SKIP() << "no access control lists on this file system: " << strerror(errno);
    }
    ASSERT_EQ(chmod(layout->file.c_str(), 0660), 0);
    for (const Account& saver : {layout->root, layout->member}) {
        ASSERT_TRUE(Save(saver));
        const ActingAs acting(layout->outsider);
        EXPECT_NE(access(layout->file.c_str(), R_OK), 0) << saver.name;
    }
}

TEST_F(SavingTest, NobodyStopsASaveByTakingItsNames) {
    // Given a member who knows the number of root's process and holds the names that follow from it
    int start[2];
    ASSERT_EQ(pipe(start), 0);
    const pid_t saver = fork();
    if (saver == 0) {
        char byte = 0;
        _exit(read(start[0], &byte, 1) == 1 && Open()->SetString(1, "new") ? 0 : 1);
    }
    {
        const ActingAs acting(layout->member);
        for (int i = 0; i < 200; ++i) {
            const std::string name = layout->file + ".saving-" + std::to_string(saver) + "-" + std::to_string(i);
            ASSERT_EQ(flock(open(name.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600), LOCK_EX), 0);
        }
    }
    // When root saves
    ASSERT_EQ(write(start[1], "", 1), 1);
    int status = 0;
    waitpid(saver, &status, 0);
    // Then it is done
    EXPECT_EQ(status, 0);
}

TEST_F(SavingTest, ALimitOfAFilesSizeFailsTheSaveAndNotTheProgram) {
    const std::string before = ReadFile(layout->file);
    EXPECT_TRUE(test::InAnotherProcess([&] {
        test::Become(layout->member);
        Vantor::Config* const config = Open();
        const rlimit limit = {1000, 1000};
        setrlimit(RLIMIT_FSIZE, &limit);
        return !config->SetString(1, std::string(5000, 'v'));
    })) << "a signal ended it";
    EXPECT_EQ(ReadFile(layout->file), before);
    EXPECT_EQ(std::distance(fs::directory_iterator(layout->folder), {}), 1) << "a temporary file stays";
}

} // namespace
