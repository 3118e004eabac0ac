#include "diag/tell/WatchEvents.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cerrno>

using namespace Diag;

TEST(WatchEventsTest, JsonEventsAreOneLineWithIds) {
    const std::string line = FormatEventJson({EventKind::CardInserted, "A\n", "3B"}, "T");
    EXPECT_EQ(line.find('\n'), std::string::npos);
    const auto document = nlohmann::json::parse(line);
    EXPECT_EQ(document["event"], "card-inserted");
    EXPECT_EQ(document["reader"], "A\\x0A");
    EXPECT_EQ(document["detail"], "3B");
    EXPECT_EQ(nlohmann::json::parse(FormatEventJson({EventKind::ServiceGone, "", ""}, "T")).size(), 2U);
}

TEST(WatchEventsTest, WhyTheServiceCannotBeAskedIsToldInTheSystemsWords) {
    const Event event{EventKind::ServiceGone, "", "", {"fork", EAGAIN}};
    EXPECT_NE(FormatEvent(event, "T").find("(fork: Resource temporarily unavailable)"), std::string::npos);
    EXPECT_EQ(nlohmann::json::parse(FormatEventJson(event, "T"))["detail"], "fork: Resource temporarily unavailable");
}
