// One write of the configuration with each system call of it failing in each way.

#include "config/Config.h"
#include "config/ProgramConfig.h"
#include "tests/reliability/Saves.h"
#include "tests/reliability/Tracer.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>
#include <sys/syscall.h>
#include <unistd.h>

using namespace reliability;

namespace {

const std::string kFile = "/etc/vantor/lumoclient/config";
constexpr int kRefused = 1;

/// Writes one value; the getppid calls frame the part that counts.
int oneWrite() {
    GenerateConfig();
    syscall(SYS_getppid);
    const bool good = Vantor::Config::GetHandle(0)->SetString(ConfigId::Version, "the new value");
    syscall(SYS_getppid);
    return good ? 0 : kRefused;
}

/// The sanitizer's allocator gives up where the program's own would report; that is another matter.
bool isAboutMemory(long number) {
    return number == SYS_mmap || number == SYS_munmap || number == SYS_madvise || number == SYS_mprotect ||
           number == SYS_brk;
}

/// Numbers the system calls of the write itself from 0, whatever came before.
class Calls {
public:
    std::optional<std::size_t> next(const Stop& stop) {
        if (!stop.entering) {
            return {};
        }
        if (stop.number == SYS_getppid) {
            inside_ = !inside_;
            return {};
        }
        return inside_ && !isAboutMemory(stop.number) ? std::optional(count_++) : std::nullopt;
    }
    std::size_t count() const { return count_; }

private:
    bool inside_ = false;
    std::size_t count_ = 0;
};

class Errors : public testing::Test {
protected:
    void SetUp() override {
        old_ = makeOld();
        ASSERT_EQ(trace(oneWrite, [](const Stop&) { return Action{}; }).status, 0);
        new_ = contents(kFile);
        ASSERT_NE(old_, new_);
    }

    static std::string makeOld() {
        std::filesystem::remove_all("/etc/vantor/lumoclient");
        std::filesystem::create_directories("/etc/vantor/lumoclient");
        std::ofstream(kFile)
            << "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<config><lumo_Client><Version>old</Version>"
               "</lumo_Client></config>";
        return contents(kFile);
    }

    /// @return false when the write has no call of that index
    bool interfere(std::size_t index, const Action& action) {
        makeOld();
        Calls calls;
        long number = -1;
        const Outcome outcome = trace(oneWrite, [&](const Stop& stop) {
            const auto call = calls.next(stop);
            if (call != index) {
                return Action{};
            }
            number = stop.number;
            return action;
        });
        if (number == -1) {
            return false;
        }
        judge(outcome, number, action);
        return true;
    }

    void judge(const Outcome& outcome, long number, const Action& action) {
        const std::string now = contents(kFile);
        const std::string what =
            "system call " + std::to_string(number) + " failing with " + std::strerror(action.error);
        ++cases_;
        ASSERT_NE(outcome.status, -1) << what;
        EXPECT_TRUE(now == old_ || now == new_) << what << " left\n" << now;
        if (outcome.status == 0) {
            EXPECT_EQ(now, new_) << what << ": success was reported";
        }
        // Where only the renaming is refused there is another way to write, and success is then the truth.
        const bool essential = number == SYS_write || number == SYS_pwrite64 || number == SYS_fsync;
        if (essential && action.kind == Action::Kind::Fail && action.error != EINTR) {
            EXPECT_EQ(outcome.status, kRefused) << what << ": the failure was not reported";
        }
    }

    std::string old_, new_;
    std::size_t cases_ = 0;
};

} // namespace

TEST_F(Errors, TearNothingAndAreReportedAtEveryCallOfAWrite) {
    for (const int error : {ENOSPC, EIO, EDQUOT, EROFS, EACCES, EMFILE, EINTR}) {
        for (std::size_t i = 0; interfere(i, {Action::Kind::Fail, error}); ++i) {
        }
    }
    std::cout << cases_ << " cases, 0 torn\n";
    EXPECT_GE(cases_, 100U);
}

TEST_F(Errors, ShortWritesAreGoneOnWith) {
    for (std::size_t i = 0;; ++i) {
        makeOld();
        Calls calls;
        bool shortened = false;
        const Outcome outcome = trace(oneWrite, [&](const Stop& stop) {
            const auto call = calls.next(stop);
            const bool now = call == i && (stop.number == SYS_write || stop.number == SYS_pwrite64);
            shortened = shortened || now;
            return Action{now ? Action::Kind::Shorten : Action::Kind::Continue};
        });
        if (i >= calls.count()) {
            break;
        }
        if (shortened) {
            ++cases_;
            EXPECT_EQ(outcome.status, 0);
            EXPECT_EQ(contents(kFile), new_);
        }
    }
    std::cout << cases_ << " cases, 0 torn\n";
    EXPECT_GE(cases_, 1U);
}
