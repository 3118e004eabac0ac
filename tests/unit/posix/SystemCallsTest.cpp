#include "posix/SystemCalls.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.h"

using Vantor::FileDescriptor;

namespace {

FileDescriptor Open() {
    return FileDescriptor(open("/dev/null", O_RDWR | O_CLOEXEC));
}

TEST(SystemCallsTest, ASignalIsNoReasonToFail) {
    int calls = 0;
    const auto interrupted = [&] {
        errno = ++calls < 3 ? EINTR : EIO;
        return -1;
    };
    EXPECT_EQ(Vantor::RetryOnInterrupt(interrupted), -1);
    EXPECT_EQ(calls, 3);
}

TEST(SystemCallsTest, TheStartOfAFileIsReadAsFarAsItReaches) {
    const test::TemporaryFolder folder;
    test::WriteText(folder / "file", "content");
    const FileDescriptor file(open((folder / "file").c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(Vantor::ReadStart(file, 3), "con");
    EXPECT_EQ(Vantor::ReadStart(file, 100), "content");
    EXPECT_EQ(Vantor::ReadStart(FileDescriptor(), 100), "");
}

TEST(SystemCallsTest, TwoNamesOfAFileAreTheSameFile) {
    const test::TemporaryFolder folder;
    test::WriteText(folder / "file", "");
    test::WriteText(folder / "other", "");
    std::filesystem::create_hard_link(folder / "file", folder / "second");
    const auto status = [&](const std::string& name) {
        struct stat found {};
        stat((folder / name).c_str(), &found);
        return found;
    };
    EXPECT_TRUE(Vantor::IsSameFile(status("file"), status("second")));
    EXPECT_FALSE(Vantor::IsSameFile(status("file"), status("other")));
}

TEST(SystemCallsTest, AWholeFileIsCopiedWhereverItWasReadTo) {
    const test::TemporaryFolder folder;
    test::WriteText(folder / "file", "content");
    const FileDescriptor from(open((folder / "file").c_str(), O_RDONLY | O_CLOEXEC));
    lseek(from.Get(), 4, SEEK_SET);
    const FileDescriptor to(open((folder / "copy").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    EXPECT_TRUE(Vantor::CopyAll(from.Get(), to.Get()));
    EXPECT_EQ(test::ReadText(folder / "copy"), "content");
    const FileDescriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    EXPECT_FALSE(Vantor::CopyAll(from.Get(), full.Get()));
}

TEST(SystemCallsTest, AFileThatGrowsMeanwhileIsNotCopiedBeyondTheLimit) {
    const test::TemporaryFolder folder;
    test::WriteText(folder / "file", "content");
    const FileDescriptor from(open((folder / "file").c_str(), O_RDONLY | O_CLOEXEC));
    const FileDescriptor to(open((folder / "copy").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    EXPECT_FALSE(Vantor::CopyAll(from.Get(), to.Get(), 6));
    EXPECT_LE(test::ReadText(folder / "copy").size(), 6u);
    const FileDescriptor exact(open((folder / "exact").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    EXPECT_TRUE(Vantor::CopyAll(from.Get(), exact.Get(), 7));
    EXPECT_EQ(test::ReadText(folder / "exact"), "content");
}

TEST(SystemCallsTest, WriteAllTellsHowMuchCouldBeWritten) {
    const FileDescriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    EXPECT_EQ(Vantor::WriteAll(full.Get(), "text"), 0u);
    EXPECT_EQ(Vantor::WriteAll(Open().Get(), "text"), 4u);
    EXPECT_EQ(Vantor::WriteAll(Open().Get(), ""), 0u);
}

} // namespace
