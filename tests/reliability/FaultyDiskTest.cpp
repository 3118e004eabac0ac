// File replacement while the file system fails.

#include "util/ReplaceFile.h"

#include "tests/support/Tracer.h"
#include "tests/unit/util/FileTests.h"

#include <algorithm>
#include <cerrno>
#include <iostream>

#include <sys/syscall.h>

using namespace Vantor;
using namespace test;
using Support::Action;

namespace {

const std::string Old(9000, 'o');
const std::string New(20000, 'n');

/// What becomes of a call.
struct Fault {
    const char* name;
    Action action;

    bool IsError() const { return action.kind == Action::Kind::Fail; }
};

constexpr Fault Faults[] = {
    {"ENOSPC", {Action::Kind::Fail, ENOSPC}}, {"EIO", {Action::Kind::Fail, EIO}},
    {"EDQUOT", {Action::Kind::Fail, EDQUOT}}, {"EROFS", {Action::Kind::Fail, EROFS}},
    {"EACCES", {Action::Kind::Fail, EACCES}}, {"EMFILE", {Action::Kind::Fail, EMFILE}},
    {"EINTR", {Action::Kind::Fail, EINTR}},   {"short write", {Action::Kind::Shorten}},
};

/// One call that may be spoilt.
struct Call {
    std::size_t index; ///< counts from 0
    long number;       ///< SYS_...
};

/// How the process ended.
struct FaultyRun {
    bool finished;  ///< by itself, not by a crash
    bool succeeded; ///< and the function returned true
    std::size_t calls;
};

// Exit statuses that no sanitizer and no library uses.
constexpr int Succeeded = 110;
constexpr int NotSucceeded = 111;

/// The sanitizer's allocator gives up where the program's own would report; that is another matter.
bool IsAboutMemory(long number) {
    constexpr long calls[] = {SYS_mmap, SYS_munmap, SYS_madvise, SYS_mprotect, SYS_brk};
    return std::find(std::begin(calls), std::end(calls), number) != std::end(calls);
}

/// Runs a function in a process of its own and asks `spoil` before each of its system calls. Two calls that change
/// nothing frame them.
template <typename Spoil>
FaultyRun RunWithFaults(const std::function<bool()>& body, const Spoil& spoil) {
    std::size_t calls = 0;
    bool inside = false;
    const auto framed = [&] {
        syscall(SYS_getppid);
        const bool good = body();
        syscall(SYS_getppid);
        return good ? Succeeded : NotSucceeded;
    };
    const auto outcome = Support::trace(framed, [&](const Support::Stop& stop) {
        if (stop.entering && stop.number == SYS_getppid) {
            inside = !inside;
        } else if (stop.entering && inside && !IsAboutMemory(stop.number)) {
            return spoil(Call{calls++, stop.number});
        }
        return Action{};
    });
    return {outcome.status == Succeeded || outcome.status == NotSucceeded, outcome.status == Succeeded, calls};
}

struct Count {
    int cases = 0;
    int refused = 0;
    int torn = 0;
};

std::ostream& operator<<(std::ostream& stream, const Count& count) {
    return stream << count.cases << " faults, " << count.refused << " reported, " << count.torn << " torn files";
}

/// Errors after which writing in place may still be allowed, so that the call may succeed.
bool MeansNoRight(const Fault& fault) {
    return fault.action.error == EROFS || fault.action.error == EACCES;
}

class FaultyDisk : public FileTest {
protected:
    /// What runs while calls are spoilt. It does not touch this object: on its behalf a sanitizer would make system
    /// calls of its own, which are not to be spoilt.
    std::function<bool()> Replacing() const {
        return [path = file] { return ReplaceFile(path, New); };
    }

    /// Spoils the call of this index alone. @param spoilt  set to its number
    FaultyRun ReplaceWithFault(std::size_t index, const Action& fault, long& spoilt) const {
        return RunWithFaults(Replacing(), [&](const Call& call) {
            if (call.index != index) {
                return Action{};
            }
            spoilt = call.number;
            return fault;
        });
    }

    /// Makes a file of the old content, spoils each call in turn with each fault, and looks at the file.
    template <typename Check>
    void ForEachFault(const Check& check) const {
        for (const Fault& each : Faults) {
            WriteFile(file, Old);
            long spoilt = -1;
            const std::size_t calls = ReplaceWithFault(SIZE_MAX, {}, spoilt).calls;
            ASSERT_GE(calls, 15u);
            for (std::size_t i = 0; i < calls; ++i) {
                WriteFile(file, Old);
                const FaultyRun run = ReplaceWithFault(i, each.action, spoilt);
                const std::string what = each.name + (" at system call " + std::to_string(spoilt));
                ASSERT_TRUE(run.finished) << what;
                if (each.IsError() || spoilt == SYS_write) {
                    check(each, spoilt, what, run.succeeded);
                }
            }
        }
    }
};

} // namespace

TEST_F(FaultyDisk, LeavesTheOldOrTheNewFileWhateverFails) {
    Count count;
    ForEachFault([&](const Fault& fault, long call, const std::string& what, bool succeeded) {
        const std::string found = ReadFile(file);
        ++count.cases;
        count.refused += succeeded ? 0 : 1;
        count.torn += found != Old && found != New ? 1 : 0;
        EXPECT_TRUE(found == Old || found == New) << what << ": " << found.size() << " bytes";
        EXPECT_TRUE(!succeeded || found == New) << what << " was not reported";
        // What is not interrupted but fails must be reported, where it is the new file that it concerns.
        if (fault.IsError() && fault.action.error != EINTR &&
            (call == SYS_write || call == SYS_fsync || (call == SYS_renameat && !MeansNoRight(fault)))) {
            EXPECT_FALSE(succeeded) << what;
        }
        if (fault.action.error == EINTR && (call == SYS_write || call == SYS_fsync)) {
            EXPECT_TRUE(succeeded) << what << ": a signal is no failure";
        }
        if (!fault.IsError()) {
            EXPECT_TRUE(succeeded) << what << ": the rest can still be written";
        }
        EXPECT_EQ(Mode(file), 0644u) << what;
    });
    std::cout << count << "\n";
    EXPECT_GE(count.cases, 120);
    EXPECT_GE(count.refused, 50);
    EXPECT_TRUE(ReplaceFile(file, New));
    EXPECT_EQ(ListFolder(folder), std::vector<std::string>{"config"});
}

TEST_F(FaultyDisk, LeavesAWholeTextWhereTheFileIsOverwritten) {
    // Given a file that cannot be replaced since it is mounted
    WriteFile(folder + "/source", Old);
    WriteFile(file, Old);
    ASSERT_EQ(mount((folder + "/source").c_str(), file.c_str(), nullptr, MS_BIND, nullptr), 0);
    Count count;
    ForEachFault([&](const Fault&, long, const std::string& what, bool succeeded) {
        const std::string found = ReadFile(file);
        const std::string text = found.substr(0, found.find_last_not_of('\n') + 1);
        ++count.cases;
        count.refused += succeeded ? 0 : 1;
        count.torn += text != Old && text != New ? 1 : 0;
        EXPECT_TRUE(text == Old || text == New) << what << ": " << found.size() << " bytes";
        EXPECT_TRUE(!succeeded || found == New) << what << " was not reported";
    });
    std::cout << count << "\n";
    EXPECT_GE(count.cases, 120);
    EXPECT_GE(count.refused, 50);
}

TEST_F(FaultyDisk, ADiskThatFailsForGoodLeavesTheOldFile) {
    for (const int error : {ENOSPC, EIO, EDQUOT}) {
        for (const long failing : {SYS_write, SYS_fsync, SYS_renameat, SYS_openat}) {
            WriteFile(file, Old);
            const FaultyRun run = RunWithFaults(Replacing(), [&](const Call& call) {
                return call.number == failing ? Action{Action::Kind::Fail, error} : Action{};
            });
            EXPECT_TRUE(run.finished);
            EXPECT_FALSE(run.succeeded) << failing;
            EXPECT_EQ(ReadFile(file), Old) << failing;
            EXPECT_EQ(ListFolder(folder), std::vector<std::string>{"config"}) << failing;
        }
    }
}

TEST_F(FaultyDisk, WouldTearAFileThatIsTruncatedFirst) {
    // The control: were the old content still there, the other tests would show nothing.
    WriteFile(file, Old);
    const FaultyRun run = RunWithFaults(
        [path = file] {
            FILE* const stream = fopen(path.c_str(), "wb");
            const bool written = fwrite(New.data(), 1, New.size(), stream) == New.size();
            return fclose(stream) == 0 && written;
        },
        [](const Call& call) {
            return call.number == SYS_write ? Action{Action::Kind::Fail, EIO} : Action{};
        });
    EXPECT_TRUE(run.finished);
    EXPECT_EQ(ReadFile(file), "");
}
