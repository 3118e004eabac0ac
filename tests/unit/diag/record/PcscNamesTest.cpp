#include "diag/record/PcscNames.h"

#include "readers/BaseCspReader.h"
#include "tests/fakes/FakePcsc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <reader.h>
#include <winscard.h>

#include <cstdio>
#include <map>
#include <random>
#include <set>

using namespace Diag;
using testing::ElementsAre;
using testing::Field;

namespace {

/// Lists as drivers send them and as they should not: known and unknown tags, some twice, wrong lengths, codes of 0,
/// cut off anywhere; and one in four of bytes without any sense.
std::string RandomList(std::mt19937& random) {
    std::string list;
    if (random() % 4 == 0) {
        list.resize(random() % 100);
        for (char& c : list) {
            c = static_cast<char>(random());
        }
        return list;
    }
    for (auto records = random() % 12; records > 0; --records) {
        const auto tag = static_cast<unsigned char>(random() % 8 == 0 ? random() : random() % 0x16);
        list += FakePcsc::FeatureList({{tag, random() % 5 == 0 ? 0 : static_cast<unsigned>(random())}});
        list[list.size() - 5] = random() % 20 == 0 ? static_cast<char>(random()) : '\x04';
    }
    return random() % 5 == 0 ? list.substr(0, random() % (list.size() + 1)) : list;
}

/// The list read by the tables of PC/SC part 10 alone: a tag, a length, a number with its highest byte first.
struct Reference {
    explicit Reference(const std::string& list) : sound(true) {
        std::set<int> seen;
        for (std::size_t at = 0; at < list.size(); at += 6) {
            if (list.size() - at < 6) {
                sound = false;
                break;
            }
            const auto byte = [&](std::size_t i) { return static_cast<std::uint64_t>(list[at + i] & 0xFF); };
            const std::uint64_t code = (byte(2) << 24) + (byte(3) << 16) + (byte(4) << 8) + byte(5);
            const int tag = static_cast<int>(byte(0));
            records.emplace_back(tag, code);
            codes[tag] = code;
            sound = sound && byte(1) == 4 && code != 0 && seen.insert(tag).second;
        }
    }
    bool CanVerify() { return codes[6] != 0 || codes[1] != 0; }
    bool CanModify() { return codes[7] != 0 || codes[3] != 0; }

    std::vector<std::pair<int, std::uint64_t>> records;
    std::map<int, std::uint64_t> codes;
    bool sound;
};

/// The reader code's own verdict on a reader that gives this list.
bool IsSecure(const std::string& list) {
    FakePcsc::Reset();
    FakePcsc::Script(FakePcsc::Function::Control, FakePcsc::Answer::Bytes(list));
    Vantor::BaseCspReader reader(101, 201);
    reader.SetConfig(true, false, false);
    return reader.IsSecure();
}

} // namespace

TEST(PcscNamesTest, ResultsHaveNameAndNumber) {
    EXPECT_EQ(ResultText(SCARD_S_SUCCESS), "Success (0x00000000)");
    EXPECT_EQ(ResultText(SCARD_E_NO_SMARTCARD), "SCARD_E_NO_SMARTCARD (0x8010000C)");
    EXPECT_EQ(ResultText(0x12345), "unknown (0x00012345)");
}

TEST(PcscNamesTest, LaterCodesHaveNamesToo) {
    EXPECT_EQ(ResultName(SCARD_E_NO_READERS_AVAILABLE), "SCARD_E_NO_READERS_AVAILABLE");
    EXPECT_EQ(ResultName(SCARD_E_UNSUPPORTED_FEATURE), "SCARD_E_UNSUPPORTED_FEATURE");
    EXPECT_EQ(ResultName(SCARD_W_SECURITY_VIOLATION), "SCARD_W_SECURITY_VIOLATION");
}

TEST(PcscNamesTest, NegativeCodesOf32BitMachinesAreTheSame) {
    EXPECT_EQ(ResultText(static_cast<std::int32_t>(0x8010000CU)), "SCARD_E_NO_SMARTCARD (0x8010000C)");
    EXPECT_EQ(ResultText(static_cast<std::int32_t>(0x8010002EU)), "SCARD_E_NO_READERS_AVAILABLE (0x8010002E)");
}

TEST(PcscNamesTest, AttributesAreTheSixThatIdentifyAReader) {
    std::vector<unsigned long> tags;
    for (const AttributeName& name : AttributeNames) {
        tags.push_back(name.tag);
    }
    EXPECT_THAT(tags, ElementsAre(0x00010100, 0x00010101, 0x7FFF0001, 0x00010103, 0x7FFF0004, 0x7FFF0003));
}

TEST(PcscNamesTest, FeaturesAreNamedWithTheirControlCodes) {
    const auto features = ParseFeatures(FakePcsc::FeatureList({{6, 0x42330006}, {0x0A, 0x4233000A}, {0x77, 1}}));
    ASSERT_EQ(features.size(), 3U);
    EXPECT_EQ(features[0].name, "VERIFY_PIN_DIRECT");
    EXPECT_EQ(features[0].controlCode, 0x42330006U);
    EXPECT_EQ(features[1].name, "IFD_PIN_PROPERTIES");
    EXPECT_EQ(features[2].tag, 0x77U);
    EXPECT_EQ(features[2].name, "");
}

TEST(PcscNamesTest, EveryFeatureOfTheHeaderHasItsName) {
    const std::map<unsigned, const char*> names = {{FEATURE_VERIFY_PIN_START, "VERIFY_PIN_START"},
                                                   {FEATURE_VERIFY_PIN_FINISH, "VERIFY_PIN_FINISH"},
                                                   {FEATURE_MODIFY_PIN_START, "MODIFY_PIN_START"},
                                                   {FEATURE_MODIFY_PIN_FINISH, "MODIFY_PIN_FINISH"},
                                                   {FEATURE_GET_KEY_PRESSED, "GET_KEY_PRESSED"},
                                                   {FEATURE_MODIFY_PIN_DIRECT, "MODIFY_PIN_DIRECT"},
                                                   {FEATURE_ABORT, "ABORT"},
                                                   {FEATURE_GET_TLV_PROPERTIES, "GET_TLV_PROPERTIES"},
                                                   {FEATURE_EXECUTE_PACE, "EXECUTE_PACE"},
                                                   {FEATURE_CCID_ESC_COMMAND, "CCID_ESC_COMMAND"}};
    for (const auto& [tag, name] : names) {
        const auto features = ParseFeatures(FakePcsc::FeatureList({{static_cast<unsigned char>(tag), 1}}));
        ASSERT_EQ(features.size(), 1U);
        EXPECT_EQ(features.front().name, name);
    }
}

TEST(PcscNamesTest, SoundListsAreWholeRecordsWithoutRepetition) {
    EXPECT_TRUE(IsSoundFeatureList(""));
    EXPECT_TRUE(IsSoundFeatureList(FakePcsc::FeatureList({{6, 1}, {7, 2}})));
    EXPECT_FALSE(IsSoundFeatureList(FakePcsc::FeatureList({{6, 1}, {7, 2}}).substr(0, 11))) << "cut off";
    EXPECT_FALSE(IsSoundFeatureList(FakePcsc::FeatureList({{6, 1}, {6, 2}}))) << "twice";
    EXPECT_FALSE(IsSoundFeatureList(FakePcsc::FeatureList({{6, 0}}))) << "without a control code";
    std::string wrongLength = FakePcsc::FeatureList({{6, 1}});
    wrongLength[1] = 3;
    EXPECT_FALSE(IsSoundFeatureList(wrongLength));
    EXPECT_FALSE(IsSoundFeatureList("\x06"));
}

TEST(PcscNamesTest, VerifyingAndModifyingGoDirectlyOrByStart) {
    const auto can = [](std::vector<std::pair<unsigned char, unsigned>> list) {
        const auto features = ParseFeatures(FakePcsc::FeatureList(list));
        return std::make_pair(CanVerify(features), CanModify(features));
    };
    EXPECT_EQ(can({}), std::make_pair(false, false));
    EXPECT_EQ(can({{6, 1}}), std::make_pair(true, false));
    EXPECT_EQ(can({{1, 1}}), std::make_pair(true, false));
    EXPECT_EQ(can({{7, 1}}), std::make_pair(false, true));
    EXPECT_EQ(can({{3, 1}}), std::make_pair(false, true));
    EXPECT_EQ(can({{6, 1}, {3, 1}}), std::make_pair(true, true));
    EXPECT_EQ(can({{2, 1}, {4, 1}, {5, 1}}), std::make_pair(false, false));
    EXPECT_EQ(can({{6, 0}, {7, 0}}), std::make_pair(false, false)) << "a control code of 0 is no feature";
}

TEST(PcscNamesTest, OfATagThatStandsTwiceTheLastCounts) {
    const auto features = ParseFeatures(FakePcsc::FeatureList({{6, 1}, {7, 1}, {6, 0}}));
    EXPECT_FALSE(CanVerify(features)) << "so does the reader code";
    EXPECT_TRUE(CanModify(features));
}

TEST(PcscNamesTest, TenThousandRandomListsAreReadLikeTheReference) {
    constexpr unsigned Seed = 20261121;
    constexpr int Lists = 10000;
    std::mt19937 random(Seed); // NOLINT(cert-msc51-cpp): the same lists in each run
    int broken = 0;
    int secure = 0;
    for (int i = 0; i < Lists; ++i) {
        const std::string list = RandomList(random);
        Reference wanted(list);
        const std::vector<Feature> features = ParseFeatures(list);
        ASSERT_EQ(features.size(), wanted.records.size()) << i;
        for (std::size_t f = 0; f < features.size(); ++f) {
            ASSERT_EQ(static_cast<int>(features[f].tag), wanted.records[f].first) << i;
            ASSERT_EQ(features[f].controlCode, wanted.records[f].second) << i;
        }
        ASSERT_EQ(IsSoundFeatureList(list), wanted.sound) << i;
        ASSERT_EQ(CanVerify(features), wanted.CanVerify()) << i;
        ASSERT_EQ(CanModify(features), wanted.CanModify()) << i;
        const bool isSecure = IsSecure(list);
        ASSERT_EQ(isSecure, wanted.CanVerify() && wanted.CanModify()) << i;
        broken += wanted.sound ? 0 : 1;
        secure += isSecure ? 1 : 0;
    }
    std::printf("%d lists from seed %u: %d broken, %d of a PIN pad\n", Lists, Seed, broken, secure);
    EXPECT_GT(broken, Lists / 10);
    EXPECT_GT(secure, Lists / 100);
}

TEST(PcscNamesTest, ProtocolsHaveTheirShortNames) {
    EXPECT_EQ(ProtocolName(SCARD_PROTOCOL_T0), "T=0");
    EXPECT_EQ(ProtocolName(SCARD_PROTOCOL_T1), "T=1");
    EXPECT_EQ(ProtocolName(SCARD_PROTOCOL_RAW), "RAW");
    EXPECT_EQ(ProtocolName(0), "");
    EXPECT_EQ(ProtocolName(8), "0x00000008");
}
