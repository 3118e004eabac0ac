#include "util/ReplaceFile.h"
#include "tests/support/Valgrind.h"

#include "FileTests.h"

#include <chrono>
#include <random>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/xattr.h>

using namespace Vantor;
using namespace test;

namespace {

using ReplaceFileTest = FileTest;
class ReplaceFileKeeping : public FileTest {
protected:
    const std::string kept = file + ".kept";
};
using ReplaceFileInPlace = FileTest;

const std::vector<std::string> OnlyConfig = {"config"};

ino_t Inode(const std::string& path) {
    return Status(path).st_ino;
}

/// Files named like those of a killed run.
const std::string Leftover = ".saving-4711-3";

} // namespace

TEST_F(ReplaceFileTest, CreatesAFileWithTheModeThatTheUmaskLeaves) {
    umask(027);
    EXPECT_TRUE(ReplaceFile(file, "content"));
    EXPECT_EQ(ReadFile(file), "content");
    EXPECT_EQ(Mode(file), 0640u);
    EXPECT_EQ(ListFolder(folder), OnlyConfig);
}

TEST_F(ReplaceFileTest, ReplacesTheWholeContent) {
    WriteFile(file, "a long old content");
    for (const std::string& content :
         {std::string("short"), std::string(), std::string("a\0b\xFF\n", 5), std::string(3000000, 'x')}) {
        EXPECT_TRUE(ReplaceFile(file, content));
        EXPECT_TRUE(ReadFile(file) == content) << content.size();
    }
    EXPECT_EQ(ListFolder(folder), OnlyConfig);
}

TEST_F(ReplaceFileTest, PutsANewFileInPlaceOfTheOldOne) {
    WriteFile(file, "old");
    const int reader = open(file.c_str(), O_RDONLY);
    EXPECT_TRUE(ReplaceFile(file, "new"));
    char seen[4] = {};
    EXPECT_EQ(read(reader, seen, 3), 3);
    EXPECT_STREQ(seen, "old") << "whoever had the file open reads it to its end";
    close(reader);
}

TEST_F(ReplaceFileTest, KeepsTheMode) {
    WriteFile(file, "old");
    umask(077);
    for (const mode_t mode : {0600u, 0644u, 0666u, 0640u, 0444u, 0755u, 02664u}) {
        ASSERT_EQ(chmod(file.c_str(), mode), 0);
        EXPECT_TRUE(ReplaceFile(file, "new"));
        EXPECT_EQ(Mode(file), mode);
    }
}

TEST_F(ReplaceFileTest, KeepsOwnerAndGroup) {
    if (!CanBecomeAnother()) {
        GTEST_SKIP() << "this machine's root may not give files away";
    }
    WriteFile(file, "old");
    ASSERT_EQ(chown(file.c_str(), 1234, 2345), 0);
    ASSERT_EQ(chmod(file.c_str(), 06755), 0);
    EXPECT_TRUE(ReplaceFile(file, "new"));
    EXPECT_EQ(Status(file).st_uid, 1234u);
    EXPECT_EQ(Status(file).st_gid, 2345u);
    EXPECT_EQ(Mode(file), 06755u) << "giving a file away clears bits that must come back";
}

TEST_F(ReplaceFileTest, KeepsTheAccessControlList) {
    // u::rw-, u:0:r--, g::r--, m::r--, o::---, as Linux stores it: version 2, then tag, rights and id of each
    const unsigned char list[] = {2, 0, 0,   0,   1,   0,   6,  0, 255, 255, 255, 255, 2,   0,  4,
                                  0, 0, 0,   0,   0,   4,   0,  4, 0,   255, 255, 255, 255, 16, 0,
                                  4, 0, 255, 255, 255, 255, 32, 0, 0,   0,   255, 255, 255, 255};
    WriteFile(file, "old");
    if (setxattr(file.c_str(), "system.posix_acl_access", list, sizeof list, 0) != 0) {
        GTEST_SKIP() << "no access control lists on this file system: " << strerror(errno);
    }
    EXPECT_TRUE(ReplaceFile(file, "new"));
    unsigned char read[sizeof list] = {};
    EXPECT_EQ(getxattr(file.c_str(), "system.posix_acl_access", read, sizeof read), static_cast<ssize_t>(sizeof list));
    EXPECT_TRUE(std::equal(std::begin(list), std::end(list), std::begin(read)));
}

TEST_F(ReplaceFileTest, ALinkStaysAndItsTargetIsReplaced) {
    std::filesystem::create_directory(folder + "/real");
    WriteFile(folder + "/real/target", "old");
    std::filesystem::create_symlink("real/second", file);
    std::filesystem::create_symlink(folder + "/real/target", folder + "/real/second");
    EXPECT_TRUE(ReplaceFile(file, "new"));
    EXPECT_EQ(std::filesystem::read_symlink(file), "real/second");
    EXPECT_EQ(ReadFile(folder + "/real/target"), "new");
    EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(folder + "/real/target")));
    EXPECT_EQ(ListFolder(folder), (std::vector<std::string>{"config", "real"}));
    EXPECT_EQ(ListFolder(folder + "/real"), (std::vector<std::string>{"second", "target"}));
}

TEST_F(ReplaceFileTest, TheTargetOfADanglingLinkIsCreated) {
    std::filesystem::create_symlink("target", file);
    EXPECT_TRUE(ReplaceFile(file, "new"));
    EXPECT_TRUE(std::filesystem::is_symlink(file));
    EXPECT_EQ(ReadFile(folder + "/target"), "new");
}

TEST_F(ReplaceFileTest, LinksInACircleFail) {
    std::filesystem::create_symlink("other", file);
    std::filesystem::create_symlink("config", folder + "/other");
    EXPECT_FALSE(ReplaceFile(file, "new"));
    EXPECT_EQ(ListFolder(folder), (std::vector<std::string>{"config", "other"}));
}

TEST_F(ReplaceFileTest, ARelativePathIsFound) {
    ASSERT_EQ(chdir(folder.c_str()), 0);
    EXPECT_TRUE(ReplaceFile("config", "one"));
    EXPECT_EQ(ReadFile(file), "one");
    EXPECT_TRUE(ReplaceFile("./config", "two"));
    EXPECT_EQ(ReadFile(file), "two");
}

TEST_F(ReplaceFileTest, FailsWithoutAFolder) {
    EXPECT_FALSE(ReplaceFile(folder + "/missing/config", "new"));
    WriteFile(file, "old");
    EXPECT_FALSE(ReplaceFile(file + "/config", "new"));
    EXPECT_EQ(ReadFile(file), "old");
}

TEST_F(ReplaceFileTest, FailsWithoutAFileName) {
    ASSERT_EQ(chdir(folder.c_str()), 0);
    for (const std::string& path :
         {std::string(), folder + "/", std::string("/"), folder, std::string("."), std::string("..")}) {
        EXPECT_FALSE(ReplaceFile(path, "new")) << path;
    }
    EXPECT_TRUE(ListFolder(folder).empty());
}

TEST_F(ReplaceFileTest, LeavesAloneWhatIsNoRegularFile) {
    ASSERT_EQ(mkfifo((folder + "/pipe").c_str(), 0600), 0);
    std::filesystem::create_directory(folder + "/directory");
    std::filesystem::create_symlink("/dev/null", folder + "/null");
    EXPECT_FALSE(ReplaceFile(folder + "/pipe", "new"));
    EXPECT_FALSE(ReplaceFile(folder + "/directory", "new"));
    EXPECT_FALSE(ReplaceFile(folder + "/null", "new"));
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
    EXPECT_EQ(ListFolder(folder), (std::vector<std::string>{"directory", "null", "pipe"}));
}

TEST_F(ReplaceFileTest, RemovesWhatAKilledRunLeft) {
    WriteFile(file + Leftover, "half a fi");
    WriteFile(file + ".saving-0123456789abcdef", "");
    RemoveLeftovers(file);
    EXPECT_EQ(ListFolder(folder), std::vector<std::string>());
}

TEST_F(ReplaceFileTest, RemovesNothingElse) {
    const std::vector<std::string> others = {"config.saving-x", "config.saving-1-1.bak", "config.unreadable",
                                             "configx.saving-1-1", "other.saving-1-1"};
    for (const std::string& name : others) {
        WriteFile(folder + "/" + name, "precious");
    }
    std::filesystem::create_directory(folder + "/config.saving-2-2");
    std::filesystem::create_symlink("other.saving-1-1", folder + "/config.saving-3-3");
    RemoveLeftovers(file);
    for (const std::string& name : others) {
        EXPECT_EQ(ReadFile(folder + "/" + name), "precious") << name;
    }
    EXPECT_EQ(ListFolder(folder).size(), others.size() + 2);
}

TEST_F(ReplaceFileTest, LeavesTheFileThatALivingProgramIsWriting) {
    WriteFile(file + Leftover, "being written");
    const int held = open((file + Leftover).c_str(), O_RDWR);
    ASSERT_EQ(flock(held, LOCK_EX), 0);
    RemoveLeftovers(file);
    EXPECT_EQ(ReadFile(file + Leftover), "being written");
    close(held);
    RemoveLeftovers(file);
    EXPECT_EQ(ListFolder(folder), std::vector<std::string>());
}

TEST_F(ReplaceFileTest, AReaderNeverSeesAPart) {
    NOT_UNDER_VALGRIND("valgrind runs one thread at a time");
    // Given a process that replaces the file by turns with two contents
    const std::string contents[] = {std::string(200000, 'a'), std::string(90000, 'b')};
    ASSERT_TRUE(ReplaceFile(file, contents[0]));
    const pid_t writer = fork();
    if (writer == 0) {
        for (unsigned i = 0;; ++i) {
            if (!ReplaceFile(file, contents[i % 2])) {
                _exit(1);
            }
        }
    }
    // When it is read all the while
    int seen[2] = {};
    int torn = 0;
    for (int i = 0; i < 1000 || (i < 100000 && (seen[0] == 0 || seen[1] == 0)); ++i) {
        const std::string read = ReadFile(file);
        const auto found = std::find(std::begin(contents), std::end(contents), read);
        torn += found == std::end(contents) ? 1 : 0;
        seen[0] += found == contents ? 1 : 0;
        seen[1] += found == contents + 1 ? 1 : 0;
    }
    kill(writer, SIGKILL);
    int status = 0;
    waitpid(writer, &status, 0);
    // Then each time it was one of the two
    EXPECT_TRUE(WIFSIGNALED(status)) << "a replacement failed";
    EXPECT_EQ(torn, 0);
    EXPECT_GT(seen[0], 0);
    EXPECT_GT(seen[1], 0);
    std::cout << seen[0] + seen[1] << " complete reads, " << torn << " incomplete\n";
}

TEST_F(ReplaceFileTest, TwoProgramsAtOnceDoNotDisturbEachOther) {
    const std::string contents[] = {std::string(50000, 'a'), std::string(20000, 'b')};
    const auto replaceOften = [&](const std::string& content) {
        int done = 0;
        for (int i = 0; i < 300; ++i) {
            done += ReplaceFile(file, content) ? 1 : 0;
        }
        return done == 300;
    };
    const pid_t other = fork();
    if (other == 0) {
        _exit(replaceOften(contents[1]) ? 0 : 1);
    }
    EXPECT_TRUE(replaceOften(contents[0]));
    int status = 0;
    waitpid(other, &status, 0);
    EXPECT_EQ(status, 0);
    const std::string read = ReadFile(file);
    EXPECT_TRUE(read == contents[0] || read == contents[1]);
    EXPECT_TRUE(ReplaceFile(file, "end"));
    EXPECT_EQ(ListFolder(folder), OnlyConfig);
}

TEST_F(ReplaceFileTest, AFullDiskLeavesTheOldFile) {
    MountSmall("size=64k");
    WriteFile(file, "old");
    EXPECT_FALSE(ReplaceFile(file, std::string(200000, 'x')));
    EXPECT_EQ(ReadFile(file), "old");
    EXPECT_EQ(ListFolder(folder), OnlyConfig) << "no part of the new one stays";
    EXPECT_TRUE(ReplaceFile(file, "fits"));
}

TEST_F(ReplaceFileTest, ADiskFullOfFilesLeavesTheOldFile) {
    MountSmall("nr_inodes=2");
    WriteFile(file, "old");
    EXPECT_FALSE(ReplaceFile(file, "new"));
    EXPECT_EQ(ReadFile(file), "old");
}

TEST_F(ReplaceFileTest, AReadOnlyDiskLeavesTheOldFile) {
    WriteFile(file, "old");
    ASSERT_EQ(mount(nullptr, folder.c_str(), "", MS_REMOUNT | MS_RDONLY, nullptr), 0);
    EXPECT_FALSE(ReplaceFile(file, "new"));
    EXPECT_FALSE(ReplaceFile(folder + "/another", "new"));
    EXPECT_EQ(ReadFile(file), "old");
    EXPECT_EQ(ListFolder(folder), OnlyConfig);
}

TEST_F(ReplaceFileTest, TheLimitOfAFilesSizeLeavesTheOldFile) {
    WriteFile(file, "old");
    const rlimit limit = {1000, 1000};
    EXPECT_TRUE(InAnotherProcess([&] {
        return setrlimit(RLIMIT_FSIZE, &limit) == 0 && !ReplaceFile(file, std::string(2000, 'x'));
    })) << "a signal ended the program";
    EXPECT_EQ(ReadFile(file), "old");
    EXPECT_EQ(ListFolder(folder), OnlyConfig);
}

TEST_F(ReplaceFileTest, TooFewFileDescriptorsLeaveTheOldFile) {
    NOT_UNDER_VALGRIND("counts descriptors, of which valgrind holds some");
    WriteFile(file, "old");
    const int next = dup(0); // the lowest free one
    close(next);
    int failures = 0;
    for (int more = 0; more < 10; ++more) {
        const auto allowed = static_cast<rlim_t>(next + more);
        const rlimit limit = {allowed, allowed};
        if (InAnotherProcess([&] { return setrlimit(RLIMIT_NOFILE, &limit) == 0 && ReplaceFile(file, "new"); })) {
            EXPECT_EQ(ReadFile(file), "new");
            break;
        }
        ++failures;
        EXPECT_EQ(ReadFile(file), "old") << more;
        EXPECT_EQ(ListFolder(folder), OnlyConfig) << more;
    }
    EXPECT_EQ(failures, 3) << "folder, old file and new file are open at the same time";
}

TEST_F(ReplaceFileTest, AKillAtAnyMomentLeavesAWholeFile) {
    NOT_UNDER_VALGRIND("too slow there");
    const std::string contents[] = {std::string(300000, 'a'), std::string(100000, 'b')};
    ASSERT_TRUE(ReplaceFile(file, contents[0]));
    std::mt19937 random(99);
    int replaced = 0;
    for (int round = 0; round < 200; ++round) {
        const pid_t writer = fork();
        if (writer == 0) {
            for (unsigned i = 0;; ++i) {
                static_cast<void>(ReplaceFile(file, contents[i % 2]));
            }
        }
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);
        const std::string read = ReadFile(file);
        ASSERT_TRUE(read == contents[0] || read == contents[1]) << round << ": " << read.size();
        replaced += read == contents[1] ? 1 : 0;
    }
    EXPECT_GT(replaced, 0);
    RemoveLeftovers(file);
    EXPECT_EQ(ListFolder(folder), OnlyConfig) << "what 200 killed runs left is gone";
}

TEST_F(ReplaceFileInPlace, AMountedFileIsOverwritten) {
    WriteFile(folder + "/source", "a long old content");
    WriteFile(file, "");
    ASSERT_EQ(mount((folder + "/source").c_str(), file.c_str(), "", MS_BIND, nullptr), 0);
    const ino_t inode = Inode(file);
    for (const std::string& content : {std::string("short"), std::string(100000, 'x'), std::string()}) {
        EXPECT_TRUE(ReplaceFile(file, content));
        EXPECT_TRUE(ReadFile(file) == content);
        EXPECT_EQ(Inode(file), inode);
    }
    EXPECT_EQ(ListFolder(folder), (std::vector<std::string>{"config", "source"}));
}

TEST_F(ReplaceFileInPlace, AMountedFileOnAFullDiskStaysWhole) {
    // Given a file from a disk that is full, mounted where there is room
    const std::string full = "/mnt/home/full";
    std::filesystem::create_directory(full);
    ASSERT_EQ(mount("full", full.c_str(), "tmpfs", 0, "size=64k"), 0);
    const std::string old(5000, 'o');
    WriteFile(full + "/source", old);
    WriteFile(file, "");
    ASSERT_EQ(mount((full + "/source").c_str(), file.c_str(), "", MS_BIND, nullptr), 0);
    // When a larger content is to be written
    EXPECT_FALSE(ReplaceFile(file, std::string(200000, 'x')));
    // Then nothing changed
    EXPECT_TRUE(ReadFile(file) == old);
    EXPECT_TRUE(ReplaceFile(file, std::string(6000, 'x')));
}

TEST_F(ReplaceFileInPlace, AFileWithASecondNameIsNotOverwritten) {
    // Given another's file under the name of the one that is to be overwritten
    WriteFile(folder + "/precious", "precious");
    std::filesystem::create_hard_link(folder + "/precious", folder + "/source");
    WriteFile(file, "");
    ASSERT_EQ(mount((folder + "/source").c_str(), file.c_str(), "", MS_BIND, nullptr), 0);
    // Then it stays
    EXPECT_FALSE(ReplaceFile(file, "new"));
    EXPECT_EQ(ReadFile(folder + "/precious"), "precious");
    // And when it has one name, it is overwritten
    std::filesystem::remove(folder + "/precious");
    EXPECT_TRUE(ReplaceFile(file, "new"));
}

namespace {

/// Mode and owner of a folder and of the file in it, and what comes of a replacement by an ordinary user.
struct Rights {
    const char* name;
    uid_t folderOwner;
    mode_t folderMode;
    uid_t fileOwner;
    mode_t fileMode; ///< 0: no file there
    bool succeeds;
    bool sameFile;
    gid_t group = OrdinaryUser; ///< of the file
};

void PrintTo(const Rights& rights, std::ostream* stream) {
    *stream << rights.name;
}

class ReplaceFileAsOrdinaryUser : public FileTest, public testing::WithParamInterface<Rights> {};

} // namespace

TEST_P(ReplaceFileAsOrdinaryUser, DoesWhatTheRightsAllow) {
    if (!CanBecomeAnother()) {
        GTEST_SKIP() << "this machine's root cannot become another user";
    }
    // Given
    const Rights& rights = GetParam();
    const std::string place = folder + "/place";
    const std::string path = place + "/config";
    umask(022);
    std::filesystem::create_directory(place);
    ino_t inode = 0;
    if (rights.fileMode != 0) {
        WriteFile(path, "the old content");
        inode = Inode(path);
        ASSERT_EQ(chown(path.c_str(), rights.fileOwner, rights.group), 0);
        ASSERT_EQ(chmod(path.c_str(), rights.fileMode), 0);
    }
    ASSERT_EQ(chown(place.c_str(), rights.folderOwner, 0), 0);
    ASSERT_EQ(chmod(place.c_str(), rights.folderMode), 0);
    // When
    const bool done = AsOrdinaryUser([&] { return ReplaceFile(path, "new"); });
    // Then
    EXPECT_EQ(done, rights.succeeds);
    if (rights.fileMode != 0 || rights.succeeds) {
        EXPECT_EQ(ReadFile(path), rights.succeeds ? "new" : "the old content");
        EXPECT_EQ(ListFolder(place), OnlyConfig);
        EXPECT_EQ(Mode(path), rights.fileMode == 0 ? 0644u : rights.fileMode);
        EXPECT_EQ(Status(path).st_uid, rights.sameFile ? rights.fileOwner : OrdinaryUser);
        EXPECT_EQ(Status(path).st_gid, rights.group);
    }
    if (rights.fileMode != 0) {
        EXPECT_EQ(Inode(path) == inode, rights.sameFile);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rights, ReplaceFileAsOrdinaryUser,
    testing::Values(Rights{"BothWritable", OrdinaryUser, 0755, OrdinaryUser, 0644, true, false},
                    Rights{"NoFileYet", OrdinaryUser, 0755, OrdinaryUser, 0, true, false},
                    Rights{"FolderNotWritable", 0, 0755, OrdinaryUser, 0644, true, true},
                    Rights{"FolderNotWritableAndNoFile", 0, 0755, OrdinaryUser, 0, false, false},
                    Rights{"FileNotWritable", OrdinaryUser, 0755, 0, 0644, false, true},
                    Rights{"OwnFileNotWritable", OrdinaryUser, 0755, OrdinaryUser, 0444, false, true},
                    Rights{"NeitherWritable", 0, 0755, 0, 0644, false, true},
                    Rights{"FolderNotSearchable", 0, 0600, OrdinaryUser, 0644, false, true},
                    Rights{"FolderNotReadable", OrdinaryUser, 0300, OrdinaryUser, 0644, true, false},
                    Rights{"FolderNeitherReadableNorWritable", 0, 0711, OrdinaryUser, 0644, true, true},
                    Rights{"OwnFileOfAnothersGroup", OrdinaryUser, 0755, OrdinaryUser, 0664, true, true, 0},
                    Rights{"AnothersFileWritableByAll", OrdinaryUser, 0755, 0, 0666, true, false},
                    Rights{"AnothersFileInAStickyFolder", 0, 01777, 0, 0666, true, true},
                    Rights{"OwnFileNotReadable", OrdinaryUser, 0755, OrdinaryUser, 0200, true, false},
                    Rights{"OwnFileNotReadableInPlace", 0, 0755, OrdinaryUser, 0200, true, true}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(ReplaceFileKeeping, TheOldFileStaysUnderTheOtherName) {
    WriteFile(file, "old");
    ASSERT_EQ(chmod(file.c_str(), 0640), 0);
    EXPECT_TRUE(KeepFile(file, kept));
    EXPECT_EQ(ReadFile(file), "old");
    EXPECT_TRUE(ReplaceFile(file, "new"));
    EXPECT_EQ(ReadFile(file), "new");
    EXPECT_EQ(ReadFile(kept), "old");
    EXPECT_EQ(Mode(kept), 0640u);
    EXPECT_EQ(ListFolder(folder), (std::vector<std::string>{"config", "config.kept"}));
}

TEST_F(ReplaceFileKeeping, OneIsKeptTheNewest) {
    WriteFile(kept, "older");
    WriteFile(file, "old");
    EXPECT_TRUE(KeepFile(file, kept));
    EXPECT_EQ(ReadFile(kept), "old");
    EXPECT_EQ(ListFolder(folder).size(), 2u);
}

TEST_F(ReplaceFileKeeping, WithoutAnOldFileTheKeptOneStays) {
    WriteFile(kept, "older");
    EXPECT_TRUE(KeepFile(file, kept));
    EXPECT_EQ(ReadFile(kept), "older");
}

TEST_F(ReplaceFileKeeping, WhatIsOverwrittenInPlaceAfterwardsIsKeptToo) {
    const std::string old(300000, 'o');
    WriteFile(folder + "/source", old);
    ASSERT_EQ(chmod((folder + "/source").c_str(), 0600), 0);
    WriteFile(file, "");
    ASSERT_EQ(mount((folder + "/source").c_str(), file.c_str(), "", MS_BIND, nullptr), 0);
    WriteFile(kept, "older");
    EXPECT_TRUE(KeepFile(file, kept));
    EXPECT_TRUE(ReplaceFile(file, "new"));
    EXPECT_EQ(ReadFile(file), "new");
    EXPECT_TRUE(ReadFile(kept) == old);
    EXPECT_EQ(Mode(kept), 0600u);
    EXPECT_EQ(ListFolder(folder), (std::vector<std::string>{"config", "config.kept", "source"}));
}

TEST_F(ReplaceFileKeeping, AHugeFileIsKeptWithoutACopy) {
    WriteFile(file, "");
    WriteFile(kept, "older");
    ASSERT_EQ(truncate(file.c_str(), off_t{1} << 40), 0);
    const ino_t inode = Inode(file);
    EXPECT_TRUE(KeepFile(file, kept));
    EXPECT_EQ(Inode(kept), inode);
    EXPECT_TRUE(ReplaceFile(file, "new"));
    EXPECT_EQ(ReadFile(file), "new");
    EXPECT_EQ(Status(kept).st_size, off_t{1} << 40);
}

TEST_F(ReplaceFileKeeping, AFullDiskKeepsTheFileItself) {
    MountSmall("size=64k");
    WriteFile(file, std::string(40000, 'o'));
    EXPECT_TRUE(KeepFile(file, kept));
    EXPECT_EQ(Inode(kept), Inode(file));
    EXPECT_EQ(ListFolder(folder), (std::vector<std::string>{"config", "config.kept"}));
}

TEST_F(ReplaceFileKeeping, ALinksTargetIsKeptBesideTheLink) {
    std::filesystem::create_directory(folder + "/real");
    WriteFile(folder + "/real/target", "old");
    std::filesystem::create_symlink("real/target", file);
    EXPECT_TRUE(KeepFile(file, kept));
    EXPECT_EQ(ReadFile(kept), "old");
    EXPECT_TRUE(std::filesystem::is_symlink(file));
    EXPECT_EQ(ListFolder(folder + "/real"), std::vector<std::string>{"target"});
}

TEST_F(ReplaceFileKeeping, ALinkOfTheOtherNameIsReplacedNotFollowed) {
    WriteFile(file, "old");
    WriteFile(folder + "/precious", "precious");
    std::filesystem::create_symlink("precious", kept);
    EXPECT_TRUE(KeepFile(file, kept));
    EXPECT_EQ(ReadFile(folder + "/precious"), "precious");
    EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(kept)));
    EXPECT_EQ(ReadFile(kept), "old");
}

TEST_F(ReplaceFileKeeping, WhatCannotBeKeptIsReported) {
    WriteFile(file, "old");
    EXPECT_FALSE(KeepFile(file, folder + "/missing/kept"));
    std::filesystem::create_directory(kept);
    EXPECT_FALSE(KeepFile(file, kept));
    EXPECT_EQ(ReadFile(file), "old");
    EXPECT_EQ(ListFolder(folder), (std::vector<std::string>{"config", "config.kept"}));
}

TEST_F(ReplaceFileKeeping, WhatAKilledRunLeftIsRemoved) {
    WriteFile(file, "old");
    WriteFile(kept + Leftover, "half a fi");
    EXPECT_TRUE(KeepFile(file, kept));
    EXPECT_EQ(ListFolder(folder), (std::vector<std::string>{"config", "config.kept"}));
}

TEST_F(ReplaceFileKeeping, AFileThatMayNotBeWrittenIsNotKept) {
    if (!CanBecomeAnother()) {
        GTEST_SKIP() << "this machine's root cannot become another user";
    }
    WriteFile(file, "old");
    ASSERT_EQ(chmod(folder.c_str(), 0777), 0);
    EXPECT_FALSE(AsOrdinaryUser([&] { return KeepFile(file, kept); }));
    EXPECT_EQ(ListFolder(folder), OnlyConfig);
}
