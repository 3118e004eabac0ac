#include "posix/FileDescriptor.h"

#include <type_traits>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

using Vantor::FileDescriptor;

namespace {

static_assert(!std::is_copy_constructible_v<FileDescriptor> && !std::is_copy_assignable_v<FileDescriptor>);

FileDescriptor Open() {
    return FileDescriptor(open("/dev/null", O_RDWR | O_CLOEXEC));
}

bool IsOpen(int fd) {
    return fcntl(fd, F_GETFD) >= 0;
}

TEST(FileDescriptorTest, ItClosesItselfAtTheEnd) {
    int fd = -1;
    {
        const FileDescriptor file = Open();
        fd = file.Get();
        EXPECT_TRUE(file.IsOpen());
        EXPECT_TRUE(IsOpen(fd));
    }
    EXPECT_FALSE(IsOpen(fd));
}

TEST(FileDescriptorTest, NothingIsOpenAtFirstAndAfterClose) {
    FileDescriptor file;
    EXPECT_FALSE(file.IsOpen());
    EXPECT_TRUE(file.Close()) << "closing nothing is no failure";
    file = Open();
    const int fd = file.Get();
    EXPECT_TRUE(file.Close());
    EXPECT_FALSE(file.IsOpen());
    EXPECT_FALSE(IsOpen(fd));
}

TEST(FileDescriptorTest, MovingHandsTheFileOver) {
    FileDescriptor first = Open();
    const int fd = first.Get();
    FileDescriptor second(std::move(first));
    EXPECT_EQ(second.Get(), fd);
    EXPECT_FALSE(first.IsOpen()); // NOLINT(bugprone-use-after-move): what is left is the point

    FileDescriptor third = Open();
    const int replaced = third.Get();
    third = std::move(second);
    EXPECT_EQ(third.Get(), fd);
    EXPECT_TRUE(IsOpen(fd));
    EXPECT_FALSE(IsOpen(replaced));
}

TEST(FileDescriptorTest, ClosingTellsAnError) {
    FileDescriptor file = Open();
    close(file.Get());
    EXPECT_FALSE(file.Close());
}

} // namespace
