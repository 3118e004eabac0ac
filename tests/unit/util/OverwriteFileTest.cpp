#include "util/OverwriteFile.h"

#include "FileTests.h"

#include <chrono>
#include <thread>

#include <fcntl.h>

using namespace Vantor;
using namespace test;

namespace {

class OverwriteFileTest : public FileTest {
protected:
    bool Overwrite(const std::string& content, int access = O_RDWR) {
        const FileDescriptor opened(open(file.c_str(), access));
        return OverwriteFile(opened, content);
    }
};

} // namespace

TEST_F(OverwriteFileTest, LeavesExactlyTheNewContent) {
    WriteFile(file, "old content");
    for (const std::string& content :
         {std::string("shorter"), std::string("longer than that"), std::string("same length here"), std::string(),
          std::string(100000, 'x'), std::string("ends in lines\n\n")}) {
        EXPECT_TRUE(Overwrite(content));
        EXPECT_TRUE(ReadFile(file) == content) << content.size();
    }
}

TEST_F(OverwriteFileTest, NeedsNoRightToRead) {
    WriteFile(file, "old content");
    EXPECT_TRUE(Overwrite("new", O_WRONLY));
    EXPECT_EQ(ReadFile(file), "new");
}

TEST_F(OverwriteFileTest, FailsOnWhatIsNotOpenForWriting) {
    WriteFile(file, "old");
    EXPECT_FALSE(Overwrite("new", O_RDONLY));
    EXPECT_FALSE(Overwrite("longer than before", O_RDONLY));
    EXPECT_FALSE(OverwriteFile(FileDescriptor(), "new"));
    EXPECT_EQ(ReadFile(file), "old");
}

TEST_F(OverwriteFileTest, AFullDiskIsMetBeforeTheOldContentIsTouched) {
    MountSmall("size=64k");
    const std::string old(10000, 'o');
    WriteFile(file, old);
    EXPECT_FALSE(Overwrite(std::string(100000, 'x')));
    EXPECT_TRUE(ReadFile(file) == old) << "and the padding is gone";
    EXPECT_FALSE(Overwrite(std::string(100000, 'x'), O_WRONLY));
    EXPECT_TRUE(ReadFile(file) == old);
}

TEST_F(OverwriteFileTest, AWriteThatFailsHalfwayIsTakenBack) {
    // Given a file larger than what a process may write, so that its write ends after a part
    const std::string old(10000, 'o');
    WriteFile(file, old);
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {4000, 4000};
    const bool done =
        InAnotherProcess([&] { return setrlimit(RLIMIT_FSIZE, &limit) == 0 && Overwrite(std::string(5000, 'x')); });
    EXPECT_FALSE(done);
    // Then the part that could be written was written again
    EXPECT_TRUE(ReadFile(file) == old);
}

TEST_F(OverwriteFileTest, AHugeFileIsCutToTheNewContentWithoutBeingCovered) {
    WriteFile(file, "");
    ASSERT_EQ(truncate(file.c_str(), off_t{1} << 40), 0);
    EXPECT_TRUE(Overwrite("new"));
    EXPECT_EQ(ReadFile(file), "new");
}

namespace {

/// A lock as another program would hold it on the whole file.
FileDescriptor LockedBy(const std::string& path, int access, short type, int command = F_OFD_SETLK) {
    FileDescriptor opened(open(path.c_str(), access | O_CLOEXEC));
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    EXPECT_EQ(fcntl(opened.Get(), command, &lock), 0);
    return opened;
}

} // namespace

TEST_F(OverwriteFileTest, AnotherWriterIsWaitedFor) {
    WriteFile(file, "old");
    FileDescriptor other = LockedBy(file, O_RDWR, F_WRLCK);
    std::thread ends([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        WriteFile(file, "written meanwhile");
        other.Close();
    });
    EXPECT_TRUE(Overwrite("new"));
    ends.join();
    EXPECT_EQ(ReadFile(file), "new");
}

TEST_F(OverwriteFileTest, AWriterThatNeverEndsIsNotWaitedForForEver) {
    WriteFile(file, "old");
    const FileDescriptor other = LockedBy(file, O_RDWR, F_WRLCK);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(Overwrite("new"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_EQ(ReadFile(file), "old");
}

TEST_F(OverwriteFileTest, WhoMayOnlyReadCannotStopAWrite) {
    WriteFile(file, "old");
    const FileDescriptor reader = LockedBy(file, O_RDONLY, F_RDLCK);
    EXPECT_TRUE(Overwrite("new"));
    EXPECT_EQ(ReadFile(file), "new");
}

TEST_F(OverwriteFileTest, TwoWritersAtOnceNeverMixTheirContents) {
    // Given two processes that overwrite a file with contents of their own
    const std::string contents[] = {std::string(100000, 'a'), std::string(70000, 'b')};
    WriteFile(file, contents[0]);
    pid_t writers[2];
    for (int i = 0; i < 2; ++i) {
        writers[i] = fork();
        while (writers[i] == 0) {
            static_cast<void>(Overwrite(contents[i])); // may be refused where a busy machine lets it wait too long
            usleep(1000);
        }
    }
    // When it is read while neither is at work
    int torn = 0;
    int seen[2] = {};
    for (int i = 0; i < 500 || (i < 10000 && (seen[0] == 0 || seen[1] == 0)); ++i) {
        const FileDescriptor held = LockedBy(file, O_RDWR, F_WRLCK, F_OFD_SETLKW);
        const std::string text = ReadFile(file);
        torn += text != contents[0] && text != contents[1] ? 1 : 0;
        seen[0] += text == contents[0] ? 1 : 0;
        seen[1] += text == contents[1] ? 1 : 0;
    }
    // Then it is one of the two
    for (const pid_t writer : writers) {
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);
    }
    EXPECT_EQ(torn, 0);
    EXPECT_GT(seen[0], 0);
    EXPECT_GT(seen[1], 0);
}
