#include "util/FileAndDirectory.h"

#include <cstdlib>
#include <ctime>
#include <functional>
#include <memory>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "logging/Logging.h"
#include "tests/support/Environment.h"
#include "tests/support/Privileges.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TinyDisk.h"

using namespace Vantor;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// What happens instead of the next calls of fread(3), put in by the linker (--wrap).
std::function<std::size_t(void*, std::size_t, std::size_t, std::FILE*)> onRead;

} // namespace

extern "C" {
std::size_t __real_fread(void* buffer, std::size_t size, std::size_t count, std::FILE* file);
std::size_t __wrap_fread(void* buffer, std::size_t size, std::size_t count, std::FILE* file) {
    return onRead ? onRead(buffer, size, count, file) : __real_fread(buffer, size, count, file);
}
}

namespace {

// --- path strings

TEST(CombinePathsTest, TwoPartsGetOneSlashBetweenThem) {
    EXPECT_EQ(CombinePaths("/etc", "x"), "/etc/x");
    EXPECT_EQ(CombinePaths("/etc/", "x"), "/etc/x");
    EXPECT_EQ(CombinePaths("/etc", "/x"), "/etc/x");
    EXPECT_EQ(CombinePaths("/etc/", "/x"), "/etc/x");
    EXPECT_EQ(CombinePaths("/", "x"), "/x");
    EXPECT_EQ(CombinePaths("a", "b/"), "a/b/");
}

TEST(CombinePathsTest, ALoneFirstPartEndsInASlash) {
    EXPECT_EQ(CombinePaths("a", ""), "a/");
    EXPECT_EQ(CombinePaths("a/", ""), "a/");
    EXPECT_EQ(CombinePaths("", ""), "");
}

TEST(CombinePathsTest, OnlyOneSlashOfTheSecondPartIsDropped) {
    EXPECT_EQ(CombinePaths("a", "//b"), "a//b");
    EXPECT_EQ(CombinePaths("a//", "b"), "a//b");
    EXPECT_EQ(CombinePaths("a", "/"), "a/");
}

TEST(CombinePathsTest, AfterAnEmptyFirstPartAnAbsolutePathBecomesRelative) {
    EXPECT_EQ(CombinePaths("", "/x"), "x");
    EXPECT_EQ(CombinePaths("", "x"), "x");
    EXPECT_EQ(CombinePaths("", "/"), "");
}

TEST(CombinePathsTest, PartsAreCombinedInTurn) {
    const std::string parts[] = {"/a", "b", "/c/", "", "d"};
    EXPECT_EQ(CombinePaths(parts, 0), "");
    EXPECT_EQ(CombinePaths(parts, -1), "");
    EXPECT_EQ(CombinePaths(parts, 1), "/a") << "one part stays as it is";
    EXPECT_EQ(CombinePaths(parts, 2), "/a/b");
    EXPECT_EQ(CombinePaths(parts, 3), "/a/b/c/");
    EXPECT_EQ(CombinePaths(parts, 4), "/a/b/c/");
    EXPECT_EQ(CombinePaths(parts, 5), "/a/b/c/d");
    EXPECT_EQ(CombinePaths(nullptr, 0), "");
}

TEST(PathStringsTest, TheLastPartOfAPathIsRemoved) {
    EXPECT_EQ(RemoveLastPartFromPath("/a/b/c"), "/a/b/");
    EXPECT_EQ(RemoveLastPartFromPath("/a/b/"), "/a/");
    EXPECT_EQ(RemoveLastPartFromPath("/a"), "/");
    EXPECT_EQ(RemoveLastPartFromPath("/a/"), "/");
    EXPECT_EQ(RemoveLastPartFromPath("a/b"), "a/");
    EXPECT_EQ(RemoveLastPartFromPath("/a//"), "/a/");
}

TEST(PathStringsTest, APathWithoutASlashBeforeItsEndIsUnchanged) {
    for (const char* path : {"", "/", "a", "a/"}) {
        EXPECT_EQ(RemoveLastPartFromPath(path), path);
    }
}

TEST(PathStringsTest, TheFileNameFollowsTheLastSlash) {
    EXPECT_EQ(GetFilenameFromPath("/a/b"), "b");
    EXPECT_EQ(GetFilenameFromPath("/a/b/"), "");
    EXPECT_EQ(GetFilenameFromPath("/"), "");
    EXPECT_EQ(GetFilenameFromPath("name"), "name");
    EXPECT_EQ(GetFilenameFromPath(""), "");
}

// --- files

class FileTest : public testing::Test {
protected:
    FileTest() {
        LibLogging* logger = LibLogging::GetHandle(0);
        logger->Init(logFolder / "errors", 10000, false);
        logger->Enabled(true);
    }
    ~FileTest() override {
        onRead = nullptr;
        LibLogging::GetHandle(0)->Destroy();
    }

    std::string Text(const std::string& name) const { return test::ReadText(folder / name); }
    void Write(const std::string& name, const std::string& text) const { test::WriteText(folder / name, text); }
    std::vector<std::string> Files() const { return test::Names(folder.Path()); }
    /// The entries of logger 0 with their type, without the time.
    std::vector<std::string> Errors() const {
        std::vector<std::string> texts;
        for (const auto& line : test::Lines(test::ReadText(logFolder / "errors.log"))) {
            texts.push_back(line.substr(std::string("2026-03-01 14:05:09        ").size()));
        }
        return texts;
    }

    const std::string everyByte = [] {
        std::string bytes;
        for (int i = 0; i < 5000; ++i) {
            bytes += static_cast<char>(i * 31 % 256);
        }
        return bytes;
    }();
    test::Umask umask;
    test::TemporaryFolder folder;
    test::TemporaryFolder logFolder;
};

struct ReadResult {
    bool read;
    unsigned char* data;
    long size;
};

ReadResult ReadBinary(const std::string& path) {
    static unsigned char untouched;
    ReadResult result{false, &untouched, -7};
    result.read = ReadCompleteFileBinary(path, &result.data, result.size);
    if (!result.read) {
        EXPECT_EQ(result.data, &untouched) << "a failure must leave the pointer alone";
        EXPECT_EQ(result.size, -7) << "a failure must leave the size alone";
    }
    return result;
}

TEST_F(FileTest, AWholeFileIsReadIntoMemoryForTheCaller) {
    Write("file", everyByte);
    const ReadResult result = ReadBinary(folder / "file");
    ASSERT_TRUE(result.read);
    const std::unique_ptr<unsigned char, decltype(&std::free)> owned(result.data, std::free);
    ASSERT_EQ(result.size, 5000);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(result.data), 5000), everyByte);
    EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(FileTest, WhatCannotBeReadLeavesTheCallersVariablesAlone) {
    Write("empty", "");
    EXPECT_FALSE(ReadBinary(folder / "missing").read);
    EXPECT_FALSE(ReadBinary(folder / "empty").read) << "one item of size 0 is not read";
    EXPECT_FALSE(ReadBinary(folder.Path()).read);
    EXPECT_FALSE(ReadBinary("").read);
    EXPECT_FALSE(ReadBinary("/proc/self/status").read) << "it claims to be empty";
    EXPECT_THAT(Errors(), IsEmpty()) << "reading reports by its result alone";
}

TEST_F(FileTest, AReadErrorFreesTheMemory) {
    Write("file", "text");
    onRead = [](void*, std::size_t, std::size_t, std::FILE*) { return std::size_t{0}; };
    EXPECT_FALSE(ReadBinary(folder / "file").read);
}

TEST_F(FileTest, AFileIsReadAsOneItem) {
    Write("file", everyByte);
    std::vector<std::pair<std::size_t, std::size_t>> reads;
    onRead = [&](void* buffer, std::size_t size, std::size_t count, std::FILE* file) {
        reads.emplace_back(size, count);
        return __real_fread(buffer, size, count, file);
    };
    EXPECT_EQ(ReadCompleteFile(folder / "file"), everyByte);
    EXPECT_THAT(reads, ElementsAre(std::pair<std::size_t, std::size_t>(5000, 1)));
}

TEST_F(FileTest, AnUnreadableFileIsNotRead) {
    Write("file", "text");
    chmod((folder / "file").c_str(), 0000);
    const test::WithoutPrivileges user;
    EXPECT_FALSE(ReadBinary(folder / "file").read);
    EXPECT_EQ(ReadCompleteFile(folder / "file"), "");
}

TEST_F(FileTest, AWholeFileIsReadAsText) {
    Write("file", everyByte);
    Write("empty", "");
    EXPECT_EQ(ReadCompleteFile(folder / "file"), everyByte);
    EXPECT_EQ(ReadCompleteFile(folder / "empty"), "");
    EXPECT_EQ(ReadCompleteFile(folder / "missing"), "");
    EXPECT_EQ(ReadCompleteFile(folder.Path()), "");
}

TEST_F(FileTest, AFileIsRenamedOverAnother) {
    Write("a", "text");
    Write("b", "other");
    EXPECT_TRUE(RenameFile(folder / "a", folder / "b"));
    EXPECT_THAT(Files(), ElementsAre("b"));
    EXPECT_EQ(Text("b"), "text");
    EXPECT_FALSE(RenameFile(folder / "a", folder / "c"));
    EXPECT_FALSE(RenameFile(folder / "b", folder / "missing/b"));
    EXPECT_EQ(Text("b"), "text");
}

TEST_F(FileTest, AFileIsRemoved) {
    Write("a", "text");
    mkdir((folder / "full").c_str(), 0700);
    Write("full/inner", "");
    EXPECT_TRUE(RemoveFile(folder / "a"));
    EXPECT_FALSE(RemoveFile(folder / "a"));
    EXPECT_FALSE(RemoveFile(folder / "full"));
    EXPECT_THAT(Files(), ElementsAre("full"));
}

TEST_F(FileTest, AFileThatCanBeOpenedExists) {
    Write("file", "");
    Write("closed", "");
    chmod((folder / "closed").c_str(), 0200);
    symlink("nowhere", (folder / "dangling").c_str());
    EXPECT_TRUE(FileExists(folder / "file"));
    EXPECT_FALSE(FileExists(folder / "missing"));
    EXPECT_FALSE(FileExists(folder / "dangling"));
    EXPECT_FALSE(FileExists(""));
    const test::WithoutPrivileges user;
    EXPECT_FALSE(FileExists(folder / "closed")) << "one that may not be read counts as missing";
}

// --- copying

TEST_F(FileTest, ACopyIsTheSameBytes) {
    for (const std::size_t size : {0U, 1U, 1023U, 1024U, 1025U, 2048U, 5000U}) {
        Write("source", everyByte.substr(0, size));
        Write("target", std::string(9000, 'x'));
        EXPECT_TRUE(CopyFile(folder / "source", folder / "target")) << size;
        EXPECT_EQ(Text("target"), everyByte.substr(0, size));
        EXPECT_EQ(Text("source"), everyByte.substr(0, size));
    }
    EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(FileTest, ACopyMakesItsTarget) {
    Write("source", "text");
    EXPECT_TRUE(CopyFile(folder / "source", folder / "target"));
    EXPECT_EQ(Text("target"), "text");
}

TEST_F(FileTest, ASourceThatCannotBeOpenedLeavesTheTargetAlone) {
    Write("target", "kept");
    EXPECT_FALSE(CopyFile(folder / "missing", folder / "target"));
    EXPECT_FALSE(CopyFile(folder / "missing", folder / "new"));
    EXPECT_EQ(Text("target"), "kept");
    EXPECT_THAT(Files(), ElementsAre("target"));
    EXPECT_THAT(Errors(), ElementsAre("ERROR copy: source or dest is NULL", "ERROR copy: source or dest is NULL"));
}

TEST_F(FileTest, ATargetThatCannotBeOpenedIsReported) {
    Write("source", "text");
    EXPECT_FALSE(CopyFile(folder / "source", folder / "missing/target"));
    EXPECT_FALSE(CopyFile(folder / "source", folder.Path()));
    EXPECT_THAT(Errors(), ElementsAre("ERROR copy: source or dest is NULL", "ERROR copy: source or dest is NULL"));
}

TEST_F(FileTest, ADirectoryIsNotCopied) {
    EXPECT_FALSE(CopyFile(folder.Path(), folder / "target"));
    EXPECT_THAT(Files(), IsEmpty());
    EXPECT_THAT(Errors(), ElementsAre("ERROR copy: source or dest is NULL"));
}

TEST_F(FileTest, AFileIsNotCopiedOntoItself) {
    Write("source", "text");
    symlink("source", (folder / "link").c_str());
    EXPECT_FALSE(CopyFile(folder / "source", folder / "source"));
    EXPECT_FALSE(CopyFile(folder / "source", folder / "link"));
    EXPECT_EQ(Text("source"), "text");
}

TEST_F(FileTest, AChunkThatCannotBeReadIsReportedAndTheCopyGoesOn) {
    Write("source", std::string(1024, 'a') + std::string(1024, 'b') + std::string(100, 'c'));
    std::vector<std::size_t> sizes;
    onRead = [&](void* buffer, std::size_t size, std::size_t count, std::FILE* file) {
        sizes.push_back(size);
        EXPECT_EQ(count, 1u);
        if (sizes.size() == 2) {
            std::fseek(file, static_cast<long>(size), SEEK_CUR); // a bad sector, say
            return std::size_t{0};
        }
        return __real_fread(buffer, size, count, file);
    };

    EXPECT_FALSE(CopyFile(folder / "source", folder / "target"));

    EXPECT_THAT(sizes, ElementsAre(1024u, 1024u, 100u));
    EXPECT_EQ(Text("target"), std::string(1024, 'a') + std::string(1024, '\0') + std::string(100, 'c'))
        << "the unread chunk is zeros";
    EXPECT_THAT(Errors(), ElementsAre("ERROR WARNING: error during copy from", "ERROR " + folder / "source", "ERROR to",
                                      "ERROR " + folder / "target"));
}

TEST_F(FileTest, ASourceThatBecomesShorterEndsTheCopy) {
    Write("source", std::string(5000, 'a'));
    onRead = [&](void* buffer, std::size_t size, std::size_t count, std::FILE* file) {
        onRead = nullptr;
        truncate((folder / "source").c_str(), 0);
        return __real_fread(buffer, size, count, file);
    };
    EXPECT_FALSE(CopyFile(folder / "source", folder / "target"));
    EXPECT_EQ(Errors().size(), 4u);
    EXPECT_EQ(Text("target"), std::string(1024, '\0'));
}

TEST_F(FileTest, ACopyWithoutRoomFails) {
    const test::TinyDisk disk("size=16k");
    Write("source", std::string(50000, 'a'));
    EXPECT_FALSE(CopyFile(folder / "source", disk / "target"));
    EXPECT_FALSE(CopyFile(folder / "source", "/dev/full"));
    EXPECT_EQ(Text("source").size(), 50000u);
}

// --- writing

TEST_F(FileTest, BytesAreWrittenAsAWholeFile) {
    const std::vector<unsigned char> bytes(everyByte.begin(), everyByte.end());
    for (const bool removeFirst : {false, true}) {
        Write("file", std::string(9000, 'x'));
        EXPECT_TRUE(WriteToFile(folder / "file", bytes, removeFirst));
        EXPECT_EQ(Text("file"), everyByte);
    }
}

TEST_F(FileTest, AnEmptyVectorMakesAnEmptyFile) {
    Write("old", "text");
    EXPECT_TRUE(WriteToFile(folder / "new", std::vector<unsigned char>(), false));
    EXPECT_TRUE(WriteToFile(folder / "old", std::vector<unsigned char>(), false));
    EXPECT_THAT(Files(), ElementsAre("new", "old"));
    EXPECT_EQ(Text("old"), "");
}

TEST_F(FileTest, ATextIsWrittenByteForByte) {
    const std::string text("Stra\xc3\x9f"
                           "e\0\r\n\xff",
                           11);
    EXPECT_TRUE(WriteToFile(folder / "file", text, false));
    EXPECT_EQ(Text("file"), text);
    EXPECT_TRUE(WriteToFile(folder / "file", "", true));
    EXPECT_EQ(Text("file"), "");
}

TEST_F(FileTest, TheOldFileIsRemovedFirstOnlyIfAsked) {
    const auto inode = [&] {
        struct stat status {};
        stat((folder / "file").c_str(), &status);
        return status.st_mode & 0777;
    };
    Write("file", "old");
    chmod((folder / "file").c_str(), 0600);
    EXPECT_TRUE(WriteToFile(folder / "file", "text", false));
    EXPECT_EQ(inode(), 0600u) << "the same file";
    EXPECT_TRUE(WriteToFile(folder / "file", "text", true));
    EXPECT_EQ(inode(), 0644u) << "a new file";
    EXPECT_TRUE(WriteToFile(folder / "new", "text", true)) << "nothing to remove is no failure";
}

TEST_F(FileTest, AFileThatCannotBeOpenedForWritingIsReported) {
    EXPECT_FALSE(WriteToFile(folder / "missing/file", "text", true));
    EXPECT_FALSE(WriteToFile(folder.Path(), "text", false));
    EXPECT_THAT(Errors(), ElementsAre("ERROR WriteToFile: cannot open file", "ERROR WriteToFile: cannot open file"));
}

TEST_F(FileTest, AFileThatMayNotBeWrittenStaysAsItIs) {
    Write("file", "old");
    chmod((folder / "file").c_str(), 0400);
    const test::WithoutPrivileges user;
    EXPECT_FALSE(WriteToFile(folder / "file", "text", false));
    EXPECT_EQ(Text("file"), "old");
}

TEST_F(FileTest, BytesThatDoNotReachTheDiskAreReported) {
    EXPECT_FALSE(WriteToFile("/dev/full", "a", false)) << "they fail at the end, when the file is closed";
    EXPECT_FALSE(WriteToFile("/dev/full", std::string(100000, 'a'), false)) << "they fail at once";
    EXPECT_THAT(Errors(), ElementsAre("ERROR fwrite retval != 1", "ERROR fwrite retval != 1"));
    EXPECT_TRUE(WriteToFile("/dev/full", "", false)) << "nothing to write";
}

TEST_F(FileTest, AFullDiskIsReported) {
    const test::TinyDisk disk("size=16k");
    EXPECT_FALSE(WriteToFile(disk / "file", std::string(50000, 'a'), false));
    EXPECT_THAT(Errors(), ElementsAre("ERROR fwrite retval != 1"));
}

TEST_F(FileTest, WithoutAnEnabledLoggerFailuresAreOnlyReturned) {
    LibLogging::GetHandle(0)->Enabled(false);
    EXPECT_FALSE(WriteToFile(folder / "missing/file", "text", true));
    EXPECT_FALSE(CopyFile(folder / "missing", folder / "target"));
    EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(FileTest, NoFileStaysOpen) {
    const auto openFiles = [] { return test::Names("/proc/self/fd").size(); };
    Write("source", everyByte);
    const std::size_t before = openFiles();
    EXPECT_TRUE(CopyFile(folder / "source", folder / "target"));
    EXPECT_FALSE(CopyFile(folder / "source", folder / "missing/target"));
    EXPECT_FALSE(CopyFile(folder / "missing", folder / "target"));
    EXPECT_TRUE(FileExists(folder / "source"));
    EXPECT_EQ(ReadCompleteFile(folder / "source"), everyByte);
    EXPECT_EQ(ReadCompleteFile(folder.Path()), "");
    EXPECT_TRUE(WriteToFile(folder / "target", "text", false));
    EXPECT_FALSE(WriteToFile("/dev/full", "text", false));
    std::vector<std::string> names;
    ListAllFilesInDirectory(folder.Path(), names);
    EXPECT_EQ(openFiles(), before);
}

// --- generated names

// The value of a call that did not fall across two seconds, and that second.
template <typename Call>
auto WithinASecond(Call call, std::time_t& second) {
    while (true) {
        second = std::time(nullptr);
        auto value = call();
        if (second == std::time(nullptr)) {
            return value;
        }
    }
}

TEST(GeneratedNamesTest, ATimeStampIsLocalTime) {
    const test::Variable timeZone("TZ", test::centralEurope);
    std::time_t second = 0;
    const std::string name = WithinASecond([] { return GenerateFilenameWithTimestamp("report", "xml"); }, second);

    std::tm local{};
    tzset();
    localtime_r(&second, &local);
    char text[80] = "";
    std::strftime(text, sizeof(text), "report_%Y-%m-%d-%H-%M-%S.xml", &local);
    EXPECT_EQ(name, text);
}

TEST(GeneratedNamesTest, ATimeStampFollowsTheTimeZone) {
    const test::Variable timeZone("TZ", "AAA0");
    std::time_t second = 0;
    const auto both = WithinASecond(
        [&] {
            timeZone.Set("AAA0");
            const std::string first = GenerateFilenameWithTimestamp("", "");
            timeZone.Set("BBB-12");
            return std::make_pair(first, GenerateFilenameWithTimestamp("", ""));
        },
        second);
    EXPECT_NE(both.first, both.second);
}

TEST(GeneratedNamesTest, ATemporaryNameHoldsANumberOfSixDigitsThatBeginsWithZero) {
    std::string dir = "/tmp";
    std::time_t second = 0;
    const std::string name = WithinASecond([&] { return GenerateTempFilename(dir, "pre"); }, second);

    std::srand(static_cast<unsigned int>(second));
    char expected[40] = "";
    std::snprintf(expected, sizeof(expected), "/tmp/pre%06d.tmp", std::rand() % 100000);
    EXPECT_EQ(name, expected);
    EXPECT_THAT(name, testing::MatchesRegex("/tmp/pre0[0-9][0-9][0-9][0-9][0-9]\\.tmp"));
    EXPECT_EQ(dir, "/tmp");
}

TEST(GeneratedNamesTest, WithinASecondTheSameArgumentsGiveTheSameTemporaryName) {
    std::string dir = "d/";
    std::time_t second = 0;
    const auto names = WithinASecond(
        [&] {
            const std::string first = GenerateTempFilename(dir, "");
            std::rand(); // the generator starts again each time
            return std::make_pair(first, GenerateTempFilename(dir, ""));
        },
        second);
    EXPECT_EQ(names.first, names.second);
}

} // namespace
