#include "diag/ask/Watch.h"

#include "tests/fakes/FakePcsc.h"
#include "tests/support/FewDescriptors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

using namespace Diag;
using testing::ElementsAre;

TEST(WatchTest, WatchingEndsWhenTheTakerHasEnough) {
    FakePcsc::Reset();
    FakePcsc::AddReader({"A"});
    std::vector<EventKind> kinds;
    WatchReaders([&](const Event& event) {
        kinds.push_back(event.kind);
        return kinds.size() < 3;
    });
    EXPECT_THAT(kinds, ElementsAre(EventKind::ServiceThere, EventKind::ReaderAttached, EventKind::CardInserted));
}

TEST(WatchTest, WithoutAProcessTheWatchGoesOnAndTellsWhyNobodyIsAsked) {
    FakePcsc::Reset();
    std::vector<Event> events;
    std::optional<test::FewDescriptors> tooFew(3U);
    WatchReaders([&](const Event& event) {
        events.push_back(event);
        tooFew.reset();
        return event.kind == EventKind::ServiceGone;
    });
    ASSERT_THAT(events, testing::SizeIs(2));
    EXPECT_EQ(events.front().kind, EventKind::ServiceGone);
    EXPECT_EQ(events.front().obstacle.call, "pipe");
    EXPECT_EQ(events.front().obstacle.number, EMFILE);
    EXPECT_EQ(events.back().kind, EventKind::ServiceThere);
}
