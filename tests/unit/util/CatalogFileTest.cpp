#include "util/CatalogFile.h"

#include "tests/support/MessageCatalog.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>

#include <sys/stat.h>

namespace {

using namespace Vantor;

const std::string whole = CompiledCatalog({{"Leser", "Reader"}, {"Karte", "Card"}});

/// The catalogue with one of its 32-bit numbers changed.
std::string With(std::size_t place, std::size_t number) {
    std::string damaged = whole;
    return damaged.replace(place, 4, LittleEndian(number));
}

std::string Swapped(std::string bytes) {
    // Head, then two tables for three texts each; what follows are texts.
    for (std::size_t place = 0; place < 28 + 2 * 3 * 8; place += 4) {
        std::swap(bytes[place], bytes[place + 3]);
        std::swap(bytes[place + 1], bytes[place + 2]);
    }
    return bytes;
}

} // namespace

TEST(CatalogFileTest, TextsAreFoundByTheirIds) {
    ASSERT_TRUE(IsSoundCatalog(whole));
    EXPECT_EQ(CatalogTexts(whole).at("Leser"), "Reader");
    EXPECT_EQ(CatalogTexts(whole).at("Karte"), "Card");
    EXPECT_EQ(CatalogTexts(whole).count("Kart"), 0U);
}

TEST(CatalogFileTest, EitherByteOrderWillDo) {
    ASSERT_TRUE(IsSoundCatalog(Swapped(whole)));
    EXPECT_EQ(CatalogTexts(Swapped(whole)), CatalogTexts(whole));
}

TEST(CatalogFileTest, OfPluralsTheFirstFormIsTaken) {
    const std::string plurals = CompiledCatalog({{std::string("Karte\0Karten", 12), std::string("card\0cards", 10)}});
    ASSERT_TRUE(IsSoundCatalog(plurals));
    EXPECT_EQ(CatalogTexts(plurals).at("Karte"), "card");
}

TEST(CatalogFileTest, NoBeginningOfACatalogueIsSound) {
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_FALSE(IsSoundCatalog(std::string_view(whole).substr(0, size))) << size;
    }
}

TEST(CatalogFileTest, NumbersThatLeadOutsideAreNoticed) {
    EXPECT_FALSE(IsSoundCatalog(With(0, 0x12345678))) << "magic number";
    EXPECT_FALSE(IsSoundCatalog(With(4, 0x00020000))) << "revision";
    for (const std::size_t place : {8U, 12U, 16U}) {
        for (const std::size_t number :
             {whole.size() - 3, whole.size(), std::size_t{0x7fffffff}, std::size_t{0xfffffffc}}) {
            EXPECT_FALSE(IsSoundCatalog(With(place, number))) << number << " at " << place;
        }
    }
    for (std::size_t place = 28; place < 28 + 2 * 3 * 8; place += 4) {
        for (const std::size_t number : {whole.size(), std::size_t{0x7fffffff}, std::size_t{0xffffffff}}) {
            EXPECT_FALSE(IsSoundCatalog(With(place, number))) << number << " at " << place;
        }
    }
}

TEST(CatalogFileTest, ACatalogueWithoutTextsIsNotSound) {
    EXPECT_FALSE(IsSoundCatalog(With(8, 0)));
}

TEST(CatalogFileTest, ATableBesideTheWordsOfMemoryIsNotSound) {
    EXPECT_FALSE(IsSoundCatalog(With(12, 29)));
}

TEST(CatalogFileTest, ATextWithoutItsEndIsNotSound) {
    std::string damaged = whole;
    damaged.back() = 'x';
    EXPECT_FALSE(IsSoundCatalog(damaged));
    EXPECT_FALSE(IsSoundCatalog(With(28 + 8, 1))) << "a length inside the text";
}

TEST(CatalogFileTest, TheFirstTextIsTheHead) {
    std::string damaged = whole;
    // The head is the only one with an empty id; now "Karte" stands in its place.
    damaged.replace(28, 8, whole.substr(36, 8));
    EXPECT_FALSE(IsSoundCatalog(damaged));
}

TEST(CatalogFileTest, TextsThatShareTheirBytesDoNotGrowBeyondTheFile) {
    // Ten thousand entries that all name one text of ten thousand bytes.
    constexpr std::size_t many = 10000;
    const std::size_t texts = 28 + 16 * many;
    std::string tables;
    for (std::size_t i = 0; i < 2 * many; ++i) {
        tables += LittleEndian(i == 0 ? 0 : many) + LittleEndian(i == 0 ? texts + many : texts);
    }
    const std::string bytes = LittleEndian(0x950412de) + LittleEndian(0) + LittleEndian(many) + LittleEndian(28) +
                              LittleEndian(28 + 8 * many) + LittleEndian(0) + LittleEndian(0) + tables +
                              std::string(many, 'x') + '\0';
    EXPECT_FALSE(IsSoundCatalog(bytes));
}

TEST(CatalogFileTest, AFormulaForPluralsThatNestsTooDeeplyIsNotSound) {
    const auto withFormula = [](std::size_t depth) {
        // Sorts before every text, so that it stands where the head is looked for.
        std::string bytes = CompiledCatalog({});
        const std::string head =
            "Content-Type: text/plain; charset=UTF-8\nPlural-Forms: nplurals=2; plural=" + std::string(depth, '(') +
            "n" + std::string(depth, ')') + ";\n";
        const std::size_t place = bytes.size();
        bytes.replace(28 + 8, 8, LittleEndian(head.size()) + LittleEndian(place));
        return bytes + head + '\0';
    };
    EXPECT_TRUE(IsSoundCatalog(withFormula(3)));
    EXPECT_FALSE(IsSoundCatalog(withFormula(100000)));
}

TEST(CatalogFileTest, TextsInAnotherCharacterSetAreLeftOut) {
    std::string latin = whole;
    latin.replace(latin.find("UTF-8"), 5, "ASCII");
    ASSERT_TRUE(IsSoundCatalog(latin));
    EXPECT_TRUE(CatalogTexts(latin).empty());
    EXPECT_TRUE(CatalogTexts("").empty());
}

TEST(CatalogFileTest, ASoundFileIsReadWhole) {
    const test::TemporaryFolder folder;
    test::WriteText(folder / "whole.mo", whole);
    test::WriteText(folder / "half.mo", whole.substr(0, whole.size() / 2));
    std::filesystem::create_symlink("whole.mo", folder / "link.mo");
    EXPECT_EQ(ReadCatalog(folder / "whole.mo"), whole);
    EXPECT_EQ(ReadCatalog(folder / "link.mo"), whole);
    EXPECT_EQ(ReadCatalog(folder / "half.mo"), "");
    EXPECT_EQ(ReadCatalog(folder / "missing.mo"), "");
}

TEST(CatalogFileTest, WhatIsNoFileOrFarTooLargeIsNotRead) {
    const test::TemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder / "pipe.mo").c_str(), 0600), 0);
    std::filesystem::create_directory(folder / "folder.mo");
    test::WriteText(folder / "large.mo", whole);
    std::filesystem::resize_file(folder / "large.mo", std::uintmax_t{20} << 30);
    for (const char* const name : {"pipe.mo", "folder.mo", "large.mo"}) {
        EXPECT_EQ(ReadCatalog(folder / name), "") << name;
    }
    EXPECT_EQ(ReadCatalog("/dev/zero"), "");
}
