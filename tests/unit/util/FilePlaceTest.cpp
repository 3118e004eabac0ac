#include "util/FilePlace.h"

#include "FileTests.h"

#include <fcntl.h>

using namespace Vantor;
using namespace test;

namespace fs = std::filesystem;

namespace {

constexpr uid_t Stranger = 1234;

class FilePlaceTest : public FileTest {
protected:
    /// Links that a stranger owns, where there can be one.
    void GiveAway(const std::string& link) const { ASSERT_EQ(lchown(link.c_str(), Stranger, Stranger), 0); }
};

/// What lies at a path, read by way of its place; the error where there is none.
std::string Found(const std::string& path) {
    const FilePlace place = FilePlace::Open(path);
    const FileDescriptor opened = place.OpenFile(O_RDONLY);
    if (!opened.IsOpen()) {
        return strerror(errno);
    }
    char text[100];
    const ssize_t length = read(opened.Get(), text, sizeof text);
    return {text, static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
}

} // namespace

TEST_F(FilePlaceTest, APlaceIsFolderAndName) {
    const FilePlace place = FilePlace::Open(file);
    EXPECT_TRUE(place.folder.IsOpen());
    EXPECT_EQ(place.name, "config");
    EXPECT_TRUE(place.listable);
    EXPECT_FALSE(FilePlace::Open(folder + "/missing/config").folder.IsOpen());
    EXPECT_FALSE(FilePlace::Open("").folder.IsOpen());
    EXPECT_FALSE(FilePlace::Open("/").folder.IsOpen());
    EXPECT_TRUE(FilePlace::Open("/config").folder.IsOpen());
    EXPECT_TRUE(FilePlace::Open("config").folder.IsOpen());
}

TEST_F(FilePlaceTest, LinksOfRootOrTheCallerLeadToTheirTarget) {
    fs::create_directory(folder + "/real");
    WriteFile(folder + "/real/target", "content");
    fs::create_symlink("real//./second", file);
    fs::create_symlink(folder + "/real/../back/target", folder + "/real/second");
    fs::create_symlink("real", folder + "/back");
    EXPECT_EQ(Found(file), "content");
    const FilePlace place = FilePlace::Open(file);
    EXPECT_EQ(place.name, "target");
    EXPECT_EQ(FilePlace::Open(file, FilePlace::LastName::Keep).name, "config");
}

TEST_F(FilePlaceTest, ALinkToNothingIsThePlaceOfItsTarget) {
    fs::create_symlink("target", file);
    const FilePlace place = FilePlace::Open(file);
    EXPECT_TRUE(place.folder.IsOpen());
    EXPECT_EQ(place.name, "target");
}

TEST_F(FilePlaceTest, LinksInACircleAndFilesInTheWayFail) {
    fs::create_symlink("other", file);
    fs::create_symlink("config", folder + "/other");
    EXPECT_EQ(Found(file), strerror(ELOOP));
    WriteFile(folder + "/text", "");
    EXPECT_EQ(Found(folder + "/text/config"), strerror(ENOTDIR));
    EXPECT_EQ(Found(folder + "/text/"), strerror(ENOTDIR));
    EXPECT_EQ(Found(folder + "/missing/config"), strerror(ENOENT));
}

TEST_F(FilePlaceTest, AStrangersLinkIsNotFollowedWhereverItIsOnTheWay) {
    if (!CanBecomeAnother()) {
        GTEST_SKIP() << "this machine's root may not give files away";
    }
    fs::create_directory(folder + "/real");
    WriteFile(folder + "/real/target", "content");
    // As the last name, as a folder of the path, in the target of a link of root's
    fs::create_symlink("real/target", file);
    fs::create_symlink("real", folder + "/folder");
    fs::create_symlink("folder/target", folder + "/ours");
    ASSERT_EQ(Found(file), "content");
    ASSERT_EQ(Found(folder + "/folder/target"), "content");
    ASSERT_EQ(Found(folder + "/ours"), "content");
    GiveAway(file);
    GiveAway(folder + "/folder");
    for (const char* name : {"config", "folder/target", "ours"}) {
        EXPECT_EQ(Found(folder + "/" + name), strerror(EACCES)) << name;
    }
}

TEST_F(FilePlaceTest, OrdinaryUsersFollowTheirOwnLinksAndRoots) {
    if (!CanBecomeAnother()) {
        GTEST_SKIP() << "this machine's root cannot become another user";
    }
    WriteFile(folder + "/target", "content");
    for (const char* name : {"roots", "own", "strangers"}) {
        fs::create_symlink("target", folder + "/" + name);
    }
    ASSERT_EQ(lchown((folder + "/own").c_str(), OrdinaryUser, OrdinaryUser), 0);
    GiveAway(folder + "/strangers");
    EXPECT_TRUE(AsOrdinaryUser([&] { return Found(folder + "/roots") == "content"; }));
    EXPECT_TRUE(AsOrdinaryUser([&] { return Found(folder + "/own") == "content"; }));
    EXPECT_TRUE(AsOrdinaryUser([&] { return Found(folder + "/strangers") == strerror(EACCES); }));
}

TEST_F(FilePlaceTest, ALinkOfRootsThatGotASecondNameIsNotFollowed) {
    WriteFile(folder + "/target", "content");
    fs::create_symlink("target", folder + "/roots");
    ASSERT_EQ(link((folder + "/roots").c_str(), file.c_str()), 0);
    EXPECT_EQ(Found(file), strerror(EACCES));
}

TEST_F(FilePlaceTest, OpeningAPipeDoesNotWait) {
    ASSERT_EQ(mkfifo(file.c_str(), 0666), 0);
    EXPECT_EQ(Found(file), "");
}
