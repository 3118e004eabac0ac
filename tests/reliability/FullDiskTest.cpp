// Saving where it cannot work: full disks, a read-only file system, missing rights. The old file stays whole and the
// save reports false; where there is a safe way to write all the same, it is taken.

#include "config/Config.h"
#include "config/ProgramConfig.h"
#include "tests/reliability/Saves.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;
using reliability::contents;
using reliability::Saves;

namespace {

const std::string kFolder = "/etc/vantor/lumoclient";
const std::string kFile = kFolder + "/config";
const std::string kOld =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<config><lumo_Client><Version>old</Version></lumo_Client></config>";
constexpr uid_t kOrdinaryUser = 65534;

enum Result { Saved = 0, Refused = 1 };

/// Saves `value` in a child process, as `user`.
Result save(const std::string& value, uid_t user = 0) {
    const pid_t pid = fork();
    if (pid == 0) {
        if (user != 0 && (setgid(user) != 0 || setuid(user) != 0)) {
            _exit(99);
        }
        GenerateConfig();
        _exit(Vantor::Config::GetHandle(0)->SetString(ConfigId::Version, value) ? Saved : Refused);
    }
    int state = 0;
    waitpid(pid, &state, 0);
    return static_cast<Result>(WEXITSTATUS(state));
}

void makeFolder() {
    fs::create_directories(kFolder);
    std::ofstream(kFile) << kOld;
}

/// The configuration's folder on a file system of its own with so many bytes and files at most.
class TinyDisk {
public:
    explicit TinyDisk(const std::string& limits) {
        fs::create_directories(kFolder);
        EXPECT_EQ(mount("tiny", kFolder.c_str(), "tmpfs", 0, limits.c_str()), 0);
        makeFolder();
    }
    ~TinyDisk() { umount2(kFolder.c_str(), MNT_DETACH); }
    TinyDisk(const TinyDisk&) = delete;
    TinyDisk& operator=(const TinyDisk&) = delete;

    static void fillBytes() {
        std::ofstream filler(kFolder + "/filler");
        while (filler << std::string(4096, 'x') << std::flush) {
        }
    }
    static void fillFiles() {
        for (int i = 0; std::ofstream(kFolder + "/file" + std::to_string(i)); ++i) {
        }
    }
    static void makeReadOnly() {
        EXPECT_EQ(mount("tiny", kFolder.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr), 0);
    }
};

const std::string kLong(20000, 'v');

/// Whether files here may really belong to somebody else; not so where root is only mapped.
bool hasOtherUsers() {
    makeFolder();
    return chown(kFile.c_str(), kOrdinaryUser, kOrdinaryUser) == 0;
}

} // namespace

TEST(FullDisk, OfBytesKeepsTheOldFileForALongValue) {
    const TinyDisk disk("size=64k");
    TinyDisk::fillBytes();
    EXPECT_EQ(save(kLong), Refused);
    EXPECT_EQ(contents(kFile), kOld);
}

TEST(FullDisk, OfBytesKeepsTheOldFileForAShortValue) {
    const TinyDisk disk("size=64k");
    TinyDisk::fillBytes();
    EXPECT_EQ(save("new"), Refused);
    EXPECT_EQ(contents(kFile), kOld);
}

TEST(FullDisk, OfBytesLeavesNoTemporaryFile) {
    const TinyDisk disk("size=64k");
    TinyDisk::fillBytes();
    save(kLong);
    EXPECT_EQ(Saves::filesInFolder(), (std::vector<std::string>{"config", "filler"}));
}

TEST(FullDisk, WithRoomAgainTakesTheNextSave) {
    const TinyDisk disk("size=64k");
    TinyDisk::fillBytes();
    ASSERT_EQ(save(kLong), Refused);
    fs::remove(kFolder + "/filler");
    EXPECT_EQ(save(kLong), Saved);
    EXPECT_NE(contents(kFile).find(kLong), std::string::npos);
}

// Writing in place would work here, but on a disk that is full a half-written file is too likely.
TEST(FullDisk, OfFilesKeepsTheOldFile) {
    const TinyDisk disk("size=1m,nr_inodes=8");
    TinyDisk::fillFiles();
    EXPECT_EQ(save("new"), Refused);
    EXPECT_EQ(contents(kFile), kOld);
}

TEST(FullDisk, OfFilesWithoutTheFileRefuses) {
    const TinyDisk disk("size=1m,nr_inodes=8");
    fs::remove(kFile);
    TinyDisk::fillFiles();
    EXPECT_EQ(save("new"), Refused);
    EXPECT_FALSE(fs::exists(kFile));
}

TEST(ReadOnlyDisk, KeepsTheOldFile) {
    const TinyDisk disk("size=64k");
    TinyDisk::makeReadOnly();
    EXPECT_EQ(save("new"), Refused);
    EXPECT_EQ(contents(kFile), kOld);
}

TEST(ReadOnlyDisk, WithoutTheFileRefuses) {
    const TinyDisk disk("size=64k");
    fs::remove(kFile);
    TinyDisk::makeReadOnly();
    EXPECT_EQ(save("new"), Refused);
    EXPECT_FALSE(fs::exists(kFile));
}

TEST(OrdinaryUser, WhoMayWriteOnlyTheFileSavesInPlace) {
    if (!hasOtherUsers()) {
        GTEST_SKIP() << "needs a second user; this machine maps only one";
    }
    chmod(kFolder.c_str(), 0755);
    EXPECT_EQ(save("new", kOrdinaryUser), Saved);
    EXPECT_NE(contents(kFile).find("<Version>new</Version>"), std::string::npos);
    EXPECT_EQ(Saves::filesInFolder(), std::vector<std::string>{"config"});
}

TEST(OrdinaryUser, WhoMayWriteOnlyTheFolderDoesNotReplaceAFileOfOthers) {
    if (!hasOtherUsers()) {
        GTEST_SKIP() << "needs a second user; this machine maps only one";
    }
    ASSERT_EQ(chown(kFile.c_str(), 0, 0), 0);
    chmod(kFile.c_str(), 0644);
    chmod(kFolder.c_str(), 0777);
    EXPECT_EQ(save("new", kOrdinaryUser), Refused);
    EXPECT_EQ(contents(kFile), kOld);
}

TEST(OrdinaryUser, WhoMayWriteNeitherChangesNothing) {
    if (!hasOtherUsers()) {
        GTEST_SKIP() << "needs a second user; this machine maps only one";
    }
    ASSERT_EQ(chown(kFile.c_str(), 0, 0), 0);
    chmod(kFile.c_str(), 0644);
    chmod(kFolder.c_str(), 0755);
    EXPECT_EQ(save("new", kOrdinaryUser), Refused);
    EXPECT_EQ(contents(kFile), kOld);
}

TEST(OrdinaryUser, WhoMayWriteBothSaves) {
    if (!hasOtherUsers()) {
        GTEST_SKIP() << "needs a second user; this machine maps only one";
    }
    chmod(kFolder.c_str(), 0777);
    EXPECT_EQ(save("new", kOrdinaryUser), Saved);
    EXPECT_NE(contents(kFile).find("<Version>new</Version>"), std::string::npos);
}
