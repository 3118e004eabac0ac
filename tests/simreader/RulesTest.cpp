#include "tests/simreader/Rules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace SimReader {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Bytes answered(Rules& rules, std::string_view request) {
    const auto answer = rules.answer(request);
    return answer ? answer->data : Bytes{};
}

TEST(SimReaderRules, AnswerByTheFirstPatternThatFits) {
    Rules rules;
    rules.update("# comment\n\n00 a4 04 ?? * -> 61 10\n00A40400 -> 9000\n* -> 6D00\n", "1");
    EXPECT_THAT(answered(rules, "00A40400"), ElementsAre(0x61, 0x10));
    EXPECT_THAT(answered(rules, "00A404"), ElementsAre(0x6D, 0x00));
    EXPECT_THAT(answered(rules, ""), ElementsAre(0x6D, 0x00));
}

TEST(SimReaderRules, LeaveRequestsAloneThatNoPatternFits) {
    Rules rules;
    rules.update("42330006 -> 9000\n", "1");
    EXPECT_FALSE(rules.answer("42330007").has_value());
    EXPECT_FALSE(rules.answer("4233000600").has_value());
}

TEST(SimReaderRules, GiveAnswersOfOnePatternOneAfterAnotherAndRepeatTheLast) {
    Rules rules;
    rules.update("42330006 -> 01\n42330007 -> 77\n4233 0006 -> 02\n", "1");
    EXPECT_THAT(answered(rules, "42330006"), ElementsAre(1));
    EXPECT_THAT(answered(rules, "42330007"), ElementsAre(0x77));
    EXPECT_THAT(answered(rules, "42330006"), ElementsAre(2));
    EXPECT_THAT(answered(rules, "42330006"), ElementsAre(2));
}

TEST(SimReaderRules, BeginAnewOnlyWhenTheFileWasWritten) {
    Rules rules;
    const std::string content = "00 -> 01\n00 -> 02\n";
    rules.update(content, "1");
    EXPECT_THAT(answered(rules, "00"), ElementsAre(1));
    rules.update(content, "1");
    EXPECT_THAT(answered(rules, "00"), ElementsAre(2));
    rules.update(content, "2");
    EXPECT_THAT(answered(rules, "00"), ElementsAre(1));
}

TEST(SimReaderRules, NameLinesThatTheyDoNotUnderstand) {
    Rules rules;
    rules.update("00 90\nXY -> 90\n0*0 -> 90\n00 -> hello\n -> 90\n01 -> 90\n", "1");
    EXPECT_THAT(rules.badLines(), ElementsAre("00 90", "XY -> 90", "0*0 -> 90", "00 -> hello", " -> 90"));
    EXPECT_THAT(answered(rules, "01"), ElementsAre(0x90));
}

TEST(SimReaderKeyPresses, ComeOneACallAndThenNone) {
    KeyPresses keys;
    ASSERT_TRUE(keys.update("DIGIT OK", "1"));
    EXPECT_THAT(keys.next(), ElementsAre(0x2B));
    EXPECT_THAT(keys.next(), ElementsAre(0x0D));
    EXPECT_THAT(keys.next(), IsEmpty());
}

TEST(SimReaderKeyPresses, GoOnWhenKeysWereAppended) {
    KeyPresses keys;
    ASSERT_TRUE(keys.update("DIGIT\n", "1"));
    EXPECT_THAT(keys.next(), ElementsAre(0x2B));
    ASSERT_TRUE(keys.update("DIGIT\nCANCEL\n", "2"));
    EXPECT_THAT(keys.next(), ElementsAre(0x1B));
}

TEST(SimReaderKeyPresses, BeginAnewWhenTheFileWasReplaced) {
    KeyPresses keys;
    ASSERT_TRUE(keys.update("DIGIT\n", "1"));
    EXPECT_THAT(keys.next(), ElementsAre(0x2B));
    ASSERT_TRUE(keys.update("DIGIT\n", "2"));
    EXPECT_THAT(keys.next(), ElementsAre(0x2B));
    EXPECT_FALSE(keys.update("NONSENSE", "3"));
    EXPECT_THAT(keys.next(), IsEmpty());
}

} // namespace
} // namespace SimReader
