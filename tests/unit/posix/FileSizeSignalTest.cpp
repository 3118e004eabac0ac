#include "posix/FileSizeSignal.h"

#include <gtest/gtest.h>

#include <cerrno>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "tests/support/TemporaryFolder.h"

using Vantor::NoFileSizeSignal;

namespace {

class FileSizeSignalTest : public testing::Test {
protected:
    FileSizeSignalTest() {
        const rlimit limit = {100, 100};
        setrlimit(RLIMIT_FSIZE, &limit);
    }

    /// @return the error of the write that meets the limit
    int WriteTooMuch() const {
        const std::string text(200, 'x');
        EXPECT_EQ(write(file, text.data(), text.size()), 100);
        return write(file, text.data(), text.size()) < 0 ? errno : 0;
    }

    const test::TemporaryFolder folder;
    const int file = open((folder / "file").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
};

bool IsBlocked() {
    sigset_t now;
    pthread_sigmask(SIG_BLOCK, nullptr, &now);
    return sigismember(&now, SIGXFSZ) == 1;
}

TEST_F(FileSizeSignalTest, AWriteBeyondTheLimitFailsAndTheProgramLivesOn) {
    {
        const NoFileSizeSignal scope;
        EXPECT_EQ(WriteTooMuch(), EFBIG);
    }
    EXPECT_FALSE(IsBlocked());
}

TEST_F(FileSizeSignalTest, OutsideTheLimitIsTheProgramsOwnMatter) {
    { const NoFileSizeSignal scope; }
    EXPECT_EXIT(WriteTooMuch(), testing::KilledBySignal(SIGXFSZ), "");
}

TEST_F(FileSizeSignalTest, ASignalThatWaitedBeforeStillWaitsAfterwards) {
    sigset_t signal;
    sigemptyset(&signal);
    sigaddset(&signal, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &signal, nullptr);
    raise(SIGXFSZ);
    { const NoFileSizeSignal scope; }
    sigset_t waiting;
    sigpending(&waiting);
    EXPECT_EQ(sigismember(&waiting, SIGXFSZ), 1);
    EXPECT_TRUE(IsBlocked());
}

} // namespace
