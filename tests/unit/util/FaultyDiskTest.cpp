// File replacement while the file system fails.

#include "util/ReplaceFile.h"

#include "FileTests.h"
#include "tests/support/FaultyProcess.h"

#include <iostream>
#include <map>

using namespace Vantor;
using namespace test;
using Support::FaultyRun;
using Support::FileCall;
using Fault = Support::Fault;

namespace {

const std::string Old(9000, 'o');
const std::string New(20000, 'n');

struct NamedFault {
    const char* name;
    Fault fault;
};

constexpr NamedFault Faults[] = {
    {"ENOSPC", {Fault::Error, ENOSPC}}, {"EIO", {Fault::Error, EIO}},
    {"EDQUOT", {Fault::Error, EDQUOT}}, {"EROFS", {Fault::Error, EROFS}},
    {"EACCES", {Fault::Error, EACCES}}, {"EMFILE", {Fault::Error, EMFILE}},
    {"EINTR", {Fault::Error, EINTR}},   {"short write", {Fault::ShortWrite, 0}},
};

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
    return fault.error == EROFS || fault.error == EACCES;
}

class FaultyDisk : public FileTest {
protected:
    /// What runs while calls are spoilt. It does not touch this object: on its behalf a sanitizer would make system
    /// calls of its own, which are not to be spoilt.
    std::function<bool()> Replacing() const {
        return [path = file] { return ReplaceFile(path, New); };
    }

    /// Spoils the call of this index alone.
    FaultyRun ReplaceWithFault(std::size_t index, const Fault& fault, std::string* spoiled = nullptr) const {
        return Support::runWithFaults(Replacing(), [&](const FileCall& call) {
            if (call.index != index) {
                return Fault();
            }
            if (spoiled != nullptr) {
                *spoiled = call.name;
            }
            return fault;
        });
    }

    /// Makes a file of the old content, spoils each call in turn with each fault, and looks at the file.
    template <typename Check>
    void ForEachFault(const Check& check) const {
        for (const NamedFault& each : Faults) {
            WriteFile(file, Old);
            const std::size_t calls = ReplaceWithFault(SIZE_MAX, {}).calls;
            ASSERT_GE(calls, 15u);
            for (std::size_t i = 0; i < calls; ++i) {
                WriteFile(file, Old);
                std::string spoiled;
                const FaultyRun run = ReplaceWithFault(i, each.fault, &spoiled);
                ASSERT_TRUE(run.finished) << each.name << " at " << spoiled;
                if (each.fault.kind != Fault::ShortWrite || spoiled == "write") {
                    check(each, spoiled, run.succeeded);
                }
            }
        }
    }
};

} // namespace

TEST_F(FaultyDisk, LeavesTheOldOrTheNewFileWhateverFails) {
    Count count;
    ForEachFault([&](const NamedFault& fault, const std::string& call, bool succeeded) {
        const std::string found = ReadFile(file);
        const std::string what = std::string(fault.name) + " at " + call;
        ++count.cases;
        count.refused += succeeded ? 0 : 1;
        count.torn += found != Old && found != New ? 1 : 0;
        EXPECT_TRUE(found == Old || found == New) << what << ": " << found.size() << " bytes";
        EXPECT_TRUE(!succeeded || found == New) << what << " was not reported";
        // What is not interrupted but fails must be reported, where it is the new file that it concerns.
        if (fault.fault.kind == Fault::Error && fault.fault.error != EINTR &&
            (call == "write" || call == "fsync" || (call == "renameat" && !MeansNoRight(fault.fault)))) {
            EXPECT_FALSE(succeeded) << what;
        }
        if (fault.fault.error == EINTR && (call == "write" || call == "fsync")) {
            EXPECT_TRUE(succeeded) << what << ": a signal is no failure";
        }
        if (fault.fault.kind == Fault::ShortWrite) {
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
    ForEachFault([&](const NamedFault& fault, const std::string& call, bool succeeded) {
        const std::string found = ReadFile(file);
        const std::string text = found.substr(0, found.find_last_not_of('\n') + 1);
        const std::string what = std::string(fault.name) + " at " + call;
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
        for (const char* failing : {"write", "fsync", "renameat", "openat"}) {
            WriteFile(file, Old);
            const FaultyRun run = Support::runWithFaults(Replacing(), [&](const FileCall& call) {
                return call.name == failing ? Fault{Fault::Error, error} : Fault();
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
    const FaultyRun run = Support::runWithFaults(
        [path = file] {
            FILE* const stream = fopen(path.c_str(), "wb");
            const bool written = fwrite(New.data(), 1, New.size(), stream) == New.size();
            return fclose(stream) == 0 && written;
        },
        [](const FileCall& call) {
            return call.name == "write" ? Fault{Fault::Error, EIO} : Fault();
        });
    EXPECT_TRUE(run.finished);
    EXPECT_EQ(ReadFile(file), "");
}
