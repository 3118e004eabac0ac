#include "diag/ask/Sights.h"

#include "diag/tell/Language.h"
#include "diag/tell/WatchEvents.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <winscard.h>

using namespace Diag;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr unsigned long Empty = SCARD_STATE_EMPTY;
constexpr unsigned long Present = SCARD_STATE_PRESENT;

Sight With(std::vector<ReaderSight> readers) {
    Sight sight;
    sight.readers = std::move(readers);
    return sight;
}

Sight Silent() {
    Sight sight;
    sight.answers = false;
    return sight;
}

Sight Failed(long code) {
    Sight sight;
    sight.code = code;
    return sight;
}

std::vector<std::string> Changes(const Sight& before, const Sight& after) {
    UseLanguage("en", CATALOG_FOLDER);
    std::vector<std::string> lines;
    for (const Event& event : CompareSights(before, after)) {
        lines.push_back(FormatEvent(event, "T"));
    }
    return lines;
}

} // namespace

TEST(SightsTest, NothingChangedIsNoEvent) {
    const Sight sight = With({{"A", Present | SCARD_STATE_INUSE, "\x3B"}, {"B", Empty, ""}});
    EXPECT_THAT(Changes(sight, sight), IsEmpty());
}

TEST(SightsTest, TheFirstLookTellsWhatIsThere) {
    EXPECT_THAT(Changes(Silent(), With({{"A", Present | SCARD_STATE_INUSE, "\x3B\x80"}, {"B", Empty, ""}})),
                ElementsAre("T  PC/SC service answers", "T  Reader there: A", "T  Card inserted: A (3B 80)",
                            "T  In use by a program: A", "T  Reader there: B"));
}

TEST(SightsTest, CardsComeAndGo) {
    const Sight empty = With({{"A", Empty, ""}});
    const Sight full = With({{"A", Present, "\x3B"}});
    EXPECT_THAT(Changes(empty, full), ElementsAre("T  Card inserted: A (3B)"));
    EXPECT_THAT(Changes(full, empty), ElementsAre("T  Card removed: A"));
}

TEST(SightsTest, AnotherCardIsARemovalAndAnInsertion) {
    EXPECT_THAT(Changes(With({{"A", Present, "\x3B"}}), With({{"A", Present, "\x3F"}})),
                ElementsAre("T  Card removed: A", "T  Card inserted: A (3F)"));
}

TEST(SightsTest, TheSameCardTakenOutAndPutBackBetweenTwoLooksIsNoticed) {
    EXPECT_THAT(Changes(With({{"A", Present | 0x50000, "\x3B"}}), With({{"A", Present | 0x70000, "\x3B"}})),
                ElementsAre("T  Card removed: A", "T  Card inserted: A (3B)"));
}

TEST(SightsTest, AMuteCardIsToldAsSuch) {
    const Sight mute = With({{"A", Present | SCARD_STATE_MUTE, ""}});
    EXPECT_THAT(Changes(With({{"A", Empty, ""}}), mute), ElementsAre("T  Card does not answer: A"));
    EXPECT_THAT(Changes(mute, With({{"A", Present, "\x3B"}})), ElementsAre("T  Card inserted: A (3B)"));
}

TEST(SightsTest, UseIsFollowed) {
    const auto used = [](unsigned long bits) { return With({{"A", Present | bits, "\x3B"}}); };
    EXPECT_THAT(Changes(used(0), used(SCARD_STATE_INUSE)), ElementsAre("T  In use by a program: A"));
    EXPECT_THAT(Changes(used(SCARD_STATE_INUSE), used(SCARD_STATE_EXCLUSIVE)),
                ElementsAre("T  In exclusive use by a program: A"));
    EXPECT_THAT(Changes(used(SCARD_STATE_EXCLUSIVE), used(0)), ElementsAre("T  No longer in use: A"));
}

TEST(SightsTest, ReadersComeAndGo) {
    const Sight one = With({{"A", Empty, ""}});
    const Sight two = With({{"A", Empty, ""}, {"B", Present, "\x3B"}});
    EXPECT_THAT(Changes(one, two), ElementsAre("T  Reader there: B", "T  Card inserted: B (3B)"));
    EXPECT_THAT(Changes(two, one), ElementsAre("T  Reader gone: B"));
}

TEST(SightsTest, AnUnpluggedReaderThatStaysInTheListIsGone) {
    const Sight there = With({{"A", Present, "\x3B"}});
    const Sight unplugged = With({{"A", SCARD_STATE_UNAVAILABLE, ""}});
    EXPECT_THAT(Changes(there, unplugged), ElementsAre("T  Reader gone: A"));
    EXPECT_THAT(Changes(unplugged, there), ElementsAre("T  Reader there: A", "T  Card inserted: A (3B)"));
    EXPECT_THAT(Changes(unplugged, unplugged), IsEmpty());
}

TEST(SightsTest, AServiceThatGoesTakesItsReadersAlong) {
    EXPECT_THAT(Changes(With({{"A", Empty, ""}}), Failed(SCARD_E_NO_SERVICE)),
                ElementsAre("T  PC/SC service not reachable (SCARD_E_NO_SERVICE (0x8010001D))", "T  Reader gone: A"));
    EXPECT_THAT(Changes(Failed(SCARD_E_NO_SERVICE), Failed(SCARD_F_COMM_ERROR)), IsEmpty()) << "still gone";
}

TEST(SightsTest, ASilentServiceLeavesItsReadersInDoubt) {
    EXPECT_THAT(Changes(With({{"A", Empty, ""}}), Silent()), ElementsAre("T  PC/SC service has stopped answering"));
}
