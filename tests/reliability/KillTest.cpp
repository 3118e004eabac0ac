// The configuration file when its writer is killed before and after every system call.

#include "tests/reliability/Saves.h"
#include "tests/reliability/Tracer.h"

#include <gtest/gtest.h>

#include <iostream>

using namespace reliability;

namespace {

constexpr int kWrites = 50;

/// Kills a run of `kWrites` writes at its `point`-th stop and says what is wrong with the file afterwards, "" if
/// nothing.
std::string killAt(std::size_t point, const Saves& saves, bool& reached) {
    saves.restoreStart();
    const Outcome outcome = trace(
        [&] { return saves.run(); },
        [&](const Stop& stop) { return Action{stop.index == point ? Action::Kind::Kill : Action::Kind::Continue}; });
    reached = outcome.killed;
    return saves.complaint();
}

} // namespace

/// The points are shared out among tests that run side by side.
constexpr std::size_t kShares = 4;
class Kill : public testing::TestWithParam<std::size_t> {};

TEST_P(Kill, LeavesTheOldOrTheNewFileAtEveryPointOfFiftyWrites) {
    const Saves saves(kWrites);
    std::size_t points = 0;
    bool reached = true;
    for (std::size_t point = GetParam(); reached; point += kShares) {
        const std::string complaint = killAt(point, saves, reached);
        ASSERT_EQ(complaint, "") << "killed at stop " << point;
        points += reached ? 1 : 0;
    }
    std::cout << points << " points of " << kWrites << " writes, 0 files that are neither the old nor the new one\n";
    EXPECT_GE(points, 1000 / kShares);
}

INSTANTIATE_TEST_SUITE_P(EveryFourth, Kill, testing::Range<std::size_t>(0, kShares));

TEST(KillOnce, LeavesNothingBehindThatTheNextWriteDoesNotRemove) {
    const Saves saves(1);
    bool reached = true;
    for (std::size_t point = 0; reached; ++point) {
        ASSERT_EQ(killAt(point, saves, reached), "");
        saves.writeOnceMore();
        ASSERT_EQ(saves.filesInFolder(), std::vector<std::string>{"config"}) << "killed at stop " << point;
    }
}
