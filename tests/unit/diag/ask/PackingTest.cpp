#include "diag/ask/Packing.h"

#include <gtest/gtest.h>

#include <limits>

using Diag::Packer;
using Diag::Unpacker;

namespace {

enum class Colour : unsigned char { Red, Green };

struct Leaf {
    long number = 0;
    std::string text;
};

struct Branch {
    bool isGreen = false;
    std::vector<Leaf> leaves;
};

} // namespace

template <>
constexpr auto Diag::Members<Leaf> = std::tuple(&Leaf::number, &Leaf::text);

template <>
constexpr auto Diag::Members<Branch> = std::tuple(&Branch::isGreen, &Branch::leaves);

TEST(PackingTest, ValuesComeOutInTheirOrder) {
    Packer packer;
    packer.Put(Colour::Green).Put(std::numeric_limits<long>::min()).Put(std::string("a\0b\xFF", 4)).Put(true);
    Unpacker unpacker(packer.Bytes());
    EXPECT_EQ(unpacker.Get<Colour>(), Colour::Green);
    EXPECT_EQ(unpacker.Get<long>(), std::numeric_limits<long>::min());
    EXPECT_EQ(unpacker.Get<std::string>(), std::string("a\0b\xFF", 4));
    EXPECT_TRUE(unpacker.Get<bool>());
}

TEST(PackingTest, RecordsAreTheirFields) {
    Packer packer;
    packer.Put(Branch{true, {{-1, "first"}, {2, ""}}});
    Branch branch{false, {{9, "gone"}}};
    Unpacker(packer.Bytes()).Get(branch);
    EXPECT_TRUE(branch.isGreen);
    ASSERT_EQ(branch.leaves.size(), 2U);
    EXPECT_EQ(branch.leaves[0].number, -1);
    EXPECT_EQ(branch.leaves[0].text, "first");
    EXPECT_EQ(branch.leaves[1].text, "");
}

TEST(PackingTest, SomeFieldsAreTakenWhereTheyBelong) {
    constexpr auto text = std::tuple(&Leaf::text);
    Packer packer;
    packer.Put(Leaf{7, "seven"}, text);
    Leaf got{8, "eight"};
    Unpacker(packer.Bytes()).Get(got, text);
    EXPECT_EQ(got.number, 8);
    EXPECT_EQ(got.text, "seven");
}

TEST(PackingTest, BytesCutShortAreRefusedWhereverTheCutIs) {
    Packer packer;
    packer.Put(Branch{true, {{-1, "first"}, {2, "second"}}});
    const std::string whole = packer.Bytes();
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const std::string part = whole.substr(0, length);
        EXPECT_THROW(Unpacker(part).Get<Branch>(), std::out_of_range) << length;
    }
}
