// The configuration file when its writer is killed, or looked at, before and after every system call.

#include "config/ConfigImpl_XML.h"
#include "tests/reliability/Saves.h"
#include "tests/support/Tracer.h"
#include "tests/unit/config/ConfigFiles.h"

#include <gtest/gtest.h>

#include <iostream>
#include <optional>
#include <tuple>

#include <sys/mount.h>

using namespace reliability;
using namespace Vantor;
using namespace test;
using Support::Action;
using Support::Outcome;

namespace {

// Those of root and those of a member together; the time that it takes grows with the square of it.
constexpr int kWrites = 25;

/// Kills a run of `kWrites` writes at its `point`-th stop and says what is wrong with the file afterwards, "" if
/// nothing.
std::string killAt(std::size_t point, const Saves& saves, bool& reached) {
    saves.restoreStart();
    const Outcome outcome = Support::traceTo(
        point, [&] { return saves.run(); }, [] { return Action{Action::Kind::Kill}; });
    reached = outcome.killed;
    return saves.complaint();
}

/// For each saver.
class Kill : public testing::TestWithParam<Who> {
protected:
    void SetUp() override {
        if (Saver::IsMissing(GetParam())) {
            GTEST_SKIP() << "needs a second user; this machine maps only one";
        }
        saver.emplace(GetParam());
    }

    std::optional<Saver> saver;
};

/// The settings as a person might have them, saved once.
class WatchedWriter : public Kill {
protected:
    void SetUp() override {
        Kill::SetUp();
        if (!saver) {
            return;
        }
        saver->Restore("");
        const auto acting = saver->Act();
        backend.Init("lumoclient");
        for (int reader = 0; reader < 4; ++reader) {
            for (const char* key : {"IsSecure", "Reader", "ReaderName", "UseGUI", "UseBeep"}) {
                Set("lumo Client\\Reader" + std::to_string(reader), key, "Some value of a reader");
            }
        }
    }

    bool Set(const std::string& path, const std::string& key, const std::string& value) {
        sConfig entry = {CONFIG_ALLUSERS, path, key, SYSTYPE_FIRST};
        return backend.SetString(&entry, value);
    }

    /// The n-th of a row of changes that let the file grow and shrink.
    bool Change(int n) {
        return Set("lumo Client\\Reader" + std::to_string(n % 4), "UserMessage",
                   std::string(static_cast<std::size_t>(n * 7919 % 5000), 'x'));
    }

    /// Calls `check` at every stop of a process that makes the change. @return the number of stops
    template <typename Check>
    std::size_t AtEachStop(int change, const Check& check) {
        const auto save = [&] {
            const auto acting = saver->Act();
            return Change(change) ? 0 : 1;
        };
        const Outcome writer = Support::trace(save, [&](const Support::Stop&) {
            check();
            return Action{};
        });
        EXPECT_EQ(writer.status, 0);
        return writer.stops;
    }

    ConfigImpl_XML backend;
};

std::string WithoutLineEnds(std::string text) {
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return text;
}

} // namespace

/// The points are shared out among tests that run side by side.
constexpr std::size_t kShares = 4;
class KillOften : public testing::TestWithParam<std::tuple<std::size_t, Who>> {};

TEST_P(KillOften, LeavesTheOldOrTheNewFileAtEveryPointOfManyWrites) {
    const auto [share, who] = GetParam();
    if (Saver::IsMissing(who)) {
        GTEST_SKIP() << "needs a second user; this machine maps only one";
    }
    const Saver saver(who);
    const Saves saves(saver, kWrites);
    std::size_t points = 0;
    bool reached = true;
    for (std::size_t point = share; reached; point += kShares) {
        const std::string complaint = killAt(point, saves, reached);
        ASSERT_EQ(complaint, "") << "killed at stop " << point;
        points += reached ? 1 : 0;
    }
    std::cout << points << " points of " << kWrites << " writes, 0 files that are neither the old nor the new one\n";
    EXPECT_GE(points, 1000 / kShares);
}

INSTANTIATE_TEST_SUITE_P(EveryFourth, KillOften,
                         testing::Combine(testing::Range<std::size_t>(0, kShares),
                                          testing::Values(Who::Root, Who::Member)));

TEST_P(Kill, LeavesNothingBehindThatTheNextWriteDoesNotRemove) {
    const Saves saves(*saver, 1);
    bool reached = true;
    for (std::size_t point = 0; reached; ++point) {
        ASSERT_EQ(killAt(point, saves, reached), "");
        saves.writeOnceMore();
        ASSERT_EQ(saves.filesInFolder(), std::vector<std::string>{"config"}) << "killed at stop " << point;
    }
}

TEST_P(WatchedWriter, LeavesAWholeTextEvenWhereTheFileIsOverwritten) {
    // Given a file that cannot be replaced since it is mounted
    const std::string source = MachineFolder + "/source";
    std::filesystem::copy_file(MachineFile, source);
    saver->Share(source);
    ASSERT_EQ(mount(source.c_str(), MachineFile.c_str(), nullptr, MS_BIND, nullptr), 0);
    std::size_t points = 0;
    int torn = 0;
    int padded = 0;
    for (int change = 1; change <= kWrites; ++change) {
        const std::string before = ReadFile(MachineFile);
        {
            const auto acting = saver->Act();
            ASSERT_TRUE(Change(change));
        }
        const std::string after = ReadFile(MachineFile);
        WriteFile(MachineFile, before);
        // When it is looked at whenever the writer stops
        points += AtEachStop(change, [&] {
            const std::string found = ReadFile(MachineFile);
            const std::string text = WithoutLineEnds(found);
            torn += text != before && text != after ? 1 : 0;
            padded += text != found ? 1 : 0;
        });
        // Then it is the old or the new text, maybe with line ends behind it, and exactly the new one in the end
        EXPECT_EQ(ReadFile(MachineFile), after);
    }
    std::cout << points << " looks, " << torn << " torn files, " << padded << " with line ends behind the text\n";
    EXPECT_EQ(torn, 0);
    EXPECT_GT(padded, 0);
    EXPECT_GE(points, 1000U);
    umount2(MachineFile.c_str(), MNT_DETACH);
}

TEST_P(WatchedWriter, WouldTearAFileThatIsTruncatedFirst) {
    // The control: were this 0, the other tests would show nothing.
    const std::string before = ReadFile(MachineFile);
    const std::string after = before + "<!-- and more -->";
    int torn = 0;
    Support::trace(
        [&] {
            std::ofstream(MachineFile, std::ios::binary | std::ios::trunc) << after;
            return 0;
        },
        [&](const Support::Stop&) {
            const std::string found = ReadFile(MachineFile);
            torn += found != before && found != after ? 1 : 0;
            return Action{};
        });
    EXPECT_GT(torn, 0);
    EXPECT_EQ(ReadFile(MachineFile), after);
}

TEST_P(WatchedWriter, NeverLosesAFileThatCouldNotBeRead) {
    // Given a file that cannot be read, and the name under which it is to be kept
    const std::string precious = "<config>precious";
    const std::string kept = MachineFile + ".unreadable";
    int points = 0;
    bool reached = true;
    for (std::size_t point = 0; reached; ++point) {
        saver->Restore(precious);
        WriteFile(kept, "an older one");
        // When the program starts, saves and is killed at this point
        const auto run = [this] {
            const auto acting = saver->Act();
            ConfigImpl_XML fresh;
            sConfig entry = {CONFIG_ALLUSERS, "a", "k", SYSTYPE_FIRST};
            return fresh.Init("lumoclient") && fresh.SetString(&entry, "v") ? 0 : 1;
        };
        reached = Support::traceTo(point, run, [] { return Action{Action::Kind::Kill}; }).killed;
        // Then what it held is under one of the two names
        const std::string found = ReadFile(MachineFile);
        EXPECT_TRUE(found == precious || ReadFile(kept) == precious) << point;
        EXPECT_TRUE(found == precious || found == Declaration + "<config><a><k>v</k></a></config>") << point;
        points += reached ? 1 : 0;
    }
    std::cout << points << " kills\n";
    EXPECT_GE(points, 50);
}

INSTANTIATE_TEST_SUITE_P(By, Kill, testing::Values(Who::Root, Who::Member), testing::PrintToStringParamName());
INSTANTIATE_TEST_SUITE_P(By, WatchedWriter, testing::Values(Who::Root, Who::Member), testing::PrintToStringParamName());
