// File replacement while the file system fails.

#include "util/ReplaceFile.h"

#include "tests/reliability/Faults.h"
#include "tests/support/Saver.h"
#include "tests/unit/util/FileTests.h"

#include <iostream>
#include <optional>

using namespace Vantor;
using namespace test;
using namespace reliability;
using Support::Action;

namespace {

const std::string Old(9000, 'o');
const std::string New(20000, 'n');

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

class FaultyDisk : public testing::TestWithParam<Who> {
protected:
    void SetUp() override {
        if (Saver::IsMissing(GetParam())) {
            GTEST_SKIP() << "needs a second user; this machine maps only one";
        }
        saver.emplace(GetParam());
        saver->Restore(Old);
        mode = Mode(file);
    }

    /// What runs while calls are spoilt. It does not touch this object: on its behalf a sanitizer would make system
    /// calls of its own, which are not to be spoilt.
    std::function<int()> Replacing() const {
        return [path = file] { return ReplaceFile(path, New) ? 1 : 0; };
    }

    /// The old file, with the owner of the layout; one that is mounted stays and gets the old content.
    void PutBack() const { Status(file).st_dev == Status(folder).st_dev ? saver->Restore(Old) : WriteFile(file, Old); }

    /// Spoils the call of this index alone. @param spoilt  set to its number
    FaultyRun ReplaceWithFault(std::size_t index, const Action& fault, long& spoilt) const {
        const auto acting = saver->Act();
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
            PutBack();
            long spoilt = -1;
            const std::size_t calls = ReplaceWithFault(SIZE_MAX, {}, spoilt).calls;
            ASSERT_GE(calls, 15u);
            for (std::size_t i = 0; i < calls; ++i) {
                PutBack();
                const FaultyRun run = ReplaceWithFault(i, each.action, spoilt);
                const std::string what = each.name + (" at system call " + std::to_string(spoilt));
                ASSERT_TRUE(run.finished) << what;
                if (each.IsError() || spoilt == SYS_write) {
                    check(each, spoilt, what, run.result == 1);
                }
            }
        }
    }

    const std::string folder = "/etc/vantor/lumoclient";
    const std::string file = folder + "/config";
    std::optional<Saver> saver;
    mode_t mode = 0; ///< of the file
};

} // namespace

TEST_P(FaultyDisk, LeavesTheOldOrTheNewFileWhateverFails) {
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
        EXPECT_EQ(Mode(file), mode) << what;
    });
    std::cout << count << "\n";
    EXPECT_GE(count.cases, 120);
    EXPECT_GE(count.refused, 50);
}

TEST_P(FaultyDisk, LeavesAWholeTextWhereTheFileIsOverwritten) {
    // Given a file that cannot be replaced since it is mounted
    const std::string source = "/mnt/source";
    WriteFile(source, Old);
    saver->Share(source);
    ASSERT_EQ(mount(source.c_str(), file.c_str(), nullptr, MS_BIND, nullptr), 0);
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

TEST_P(FaultyDisk, ADiskThatFailsForGoodLeavesTheOldFile) {
    for (const int error : {ENOSPC, EIO, EDQUOT}) {
        for (const long failing : {SYS_write, SYS_fsync, SYS_renameat, SYS_openat}) {
            saver->Restore(Old);
            const auto acting = saver->Act();
            const FaultyRun run = RunWithFaults(Replacing(), [&](const Call& call) {
                return call.number == failing ? Action{Action::Kind::Fail, error} : Action{};
            });
            EXPECT_TRUE(run.finished);
            EXPECT_EQ(run.result, 0) << failing;
            EXPECT_EQ(ReadFile(file), Old) << failing;
            EXPECT_EQ(ListFolder(folder), std::vector<std::string>{"config"}) << failing;
        }
    }
}

TEST_P(FaultyDisk, WouldTearAFileThatIsTruncatedFirst) {
    // The control: were the old content still there, the other tests would show nothing.
    const FaultyRun run = RunWithFaults(
        [path = file] {
            FILE* const stream = fopen(path.c_str(), "wb");
            const bool written = fwrite(New.data(), 1, New.size(), stream) == New.size();
            return fclose(stream) == 0 && written ? 1 : 0;
        },
        [](const Call& call) {
            return call.number == SYS_write ? Action{Action::Kind::Fail, EIO} : Action{};
        });
    EXPECT_TRUE(run.finished);
    EXPECT_EQ(ReadFile(file), "");
}

INSTANTIATE_TEST_SUITE_P(By, FaultyDisk, testing::Values(Who::Root, Who::Member), testing::PrintToStringParamName());
