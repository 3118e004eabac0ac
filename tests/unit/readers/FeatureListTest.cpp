#include "readers/FeatureList.h"

#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

namespace {

using Features = std::vector<std::pair<int, std::uint32_t>>;

/// Walks a list in a buffer of exactly its length, so that a read behind it is noticed.
Features Walk(const std::vector<unsigned char>& list) {
    Features features;
    Vantor::ForEachFeature(list.data(), list.size(),
                           [&](unsigned char tag, std::uint32_t code) { features.emplace_back(tag, code); });
    return features;
}

} // namespace

TEST(FeatureList, GivesTagAndBigEndianControlCodeOfEachRecord) {
    EXPECT_THAT(Walk({0x06, 0x04, 0x42, 0x33, 0x00, 0x06, 0xFF, 0x04, 0x89, 0xAB, 0xCD, 0xEF}),
                ElementsAre(Pair(0x06, 0x42330006U), Pair(0xFF, 0x89ABCDEFU)));
}

TEST(FeatureList, DoesNotExamineTheLengthByte) {
    EXPECT_THAT(Walk({0x07, 0x00, 0x00, 0x00, 0x00, 0x01, 0x01, 0xFF, 0x00, 0x00, 0x00, 0x02}),
                ElementsAre(Pair(7, 1U), Pair(1, 2U)));
}

TEST(FeatureList, OfNoBytesHasNoFeatures) {
    EXPECT_THAT(Walk({}), IsEmpty());
    Vantor::ForEachFeature(nullptr, 0, [](unsigned char, std::uint32_t) { ADD_FAILURE(); });
}

TEST(FeatureList, LosesOnlyItsIncompleteLastRecord) {
    for (std::size_t length = 0; length <= 24; ++length) {
        EXPECT_THAT(Walk(std::vector<unsigned char>(length, 0x01)), SizeIs(length / 6)) << length << " bytes";
    }
}
