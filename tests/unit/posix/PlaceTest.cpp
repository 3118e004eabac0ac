#include "posix/Place.h"

#include <cerrno>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/TemporaryFolder.h"

using Vantor::Locate;
using Vantor::Place;

namespace {

class PlaceTest : public testing::Test {
protected:
    PlaceTest() {
        mkdir((folder / "a").c_str(), 0777);
        mkdir((folder / "a/b").c_str(), 0777);
        test::WriteText(folder / "a/b/file", "found");
    }
    void Link(const std::string& target, const std::string& name) const {
        ASSERT_EQ(symlink(target.c_str(), (folder / name).c_str()), 0);
    }
    /// What the place's file holds; empty where there is none.
    static std::string Found(const std::string& path) {
        const Place place = Locate(path);
        const Vantor::FileDescriptor file(openat(place.folder.Get(), place.name.c_str(), O_RDONLY | O_CLOEXEC));
        std::string text(20, '\0');
        const ssize_t count = read(file.Get(), text.data(), text.size());
        return text.substr(0, count > 0 ? static_cast<std::size_t>(count) : 0);
    }

    const test::TemporaryFolder folder;
};

TEST_F(PlaceTest, APlaceIsTheFolderAndTheNameInIt) {
    EXPECT_EQ(Found(folder / "a/b/file"), "found");
    EXPECT_EQ(Found(folder / "a//b//file"), "found");
    EXPECT_EQ(Found(folder / "a/../a/./b/file"), "found");
    EXPECT_EQ(Locate("/etc").name, "etc");
    EXPECT_TRUE(Locate("/etc").folder.IsOpen());
    EXPECT_EQ(Locate("/").name, "");
}

TEST_F(PlaceTest, ANameAloneIsInTheFolderOfNow) {
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder / "a/b");
    EXPECT_EQ(Found("file"), "found");
    EXPECT_EQ(Found("../b/file"), "found");
    std::filesystem::current_path(before);
}

TEST_F(PlaceTest, OnesOwnLinksAreFollowedWhereverTheyLead) {
    Link("a", "relative");
    Link(folder / "relative/b", "absolute");
    Link("../a/b/../../absolute", "a/up");
    EXPECT_EQ(Found(folder / "relative/b/file"), "found");
    EXPECT_EQ(Found(folder / "absolute/file"), "found");
    EXPECT_EQ(Found(folder / "a/up/file"), "found");
}

TEST_F(PlaceTest, TheLastNameMayBeALink) {
    Link("missing", "link");
    EXPECT_TRUE(Locate(folder / "link").folder.IsOpen());
}

TEST_F(PlaceTest, LinksInACircleAndNamesThatAreNoFolderLeadNowhere) {
    Link("circle", "circle");
    EXPECT_FALSE(Locate(folder / "circle/file").folder.IsOpen());
    EXPECT_EQ(errno, ELOOP);
    EXPECT_FALSE(Locate(folder / "missing/file").folder.IsOpen());
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(Locate(folder / "a/b/file/file").folder.IsOpen());
    EXPECT_EQ(errno, ENOTDIR);
}

TEST_F(PlaceTest, AStrangersLinkIsNotFollowed) {
    Link("a", "strange");
    Link("strange/b", "own");
    if (lchown((folder / "strange").c_str(), 4711, 4711) != 0) {
        GTEST_SKIP() << "needs a second account";
    }
    EXPECT_FALSE(Locate(folder / "strange/b/file").folder.IsOpen());
    EXPECT_EQ(errno, EACCES);
    EXPECT_FALSE(Locate(folder / "own/file").folder.IsOpen()) << "nor behind one's own";
}

TEST_F(PlaceTest, ALinkWithASecondNameIsNotFollowed) {
    Link("a", "link");
    link((folder / "link").c_str(), (folder / "second").c_str());
    EXPECT_FALSE(Locate(folder / "second/b/file").folder.IsOpen());
    EXPECT_EQ(errno, EACCES);
}

TEST_F(PlaceTest, TheLastNamesLinkLeadsToThePlaceOfItsTarget) {
    Link("../a/b/file", "a/relative");
    Link(folder / "a/relative", "absolute");
    Place place = Locate(folder / "absolute");
    ASSERT_TRUE(FollowLink(place));
    EXPECT_EQ(place.name, "relative");
    ASSERT_TRUE(FollowLink(place));
    EXPECT_EQ(place.name, "file");
    EXPECT_EQ(faccessat(place.folder.Get(), place.name.c_str(), R_OK, 0), 0);
    EXPECT_FALSE(FollowLink(place)) << "no link";
}

TEST_F(PlaceTest, APlaceStaysWhereItIsWhenItsNameChanges) {
    const Place place = Locate(folder / "a/b/file");
    rename((folder / "a").c_str(), (folder / "moved").c_str());
    EXPECT_EQ(faccessat(place.folder.Get(), place.name.c_str(), R_OK, 0), 0);
}

} // namespace
