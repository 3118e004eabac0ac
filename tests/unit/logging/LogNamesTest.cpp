#include "logging/LogNames.h"

#include <sys/inotify.h>
#include <sys/stat.h>

#include "posix/FileDescriptor.h"
#include "tests/support/Privileges.h"
#include "tests/unit/logging/LoggerTest.h"

using namespace Vantor;

namespace {

class LogNamesTest : public test::LoggerTest {
protected:
    void Write(const std::string& name, const std::string& text) const { test::WriteText(folder / name, text); }
};

struct NameCase {
    std::string name, base, ext;
};

TEST_F(LogNamesTest, NamesAreSplitAtTheirExtension) {
    const NameCase cases[] = {
        {"/var/log/x/trace.log", "/var/log/x/trace", "log"},
        {"trace.txt", "trace", "log"},
        {"a.log.log", "a.log", "log"},
        {"a.log.txt", "a", "log"}, // ".log" anywhere goes before ".txt"
        {"a.logs/b", "a", "log"},  // even in a folder's name
        {"a.txt.old", "a", "log"}, // ".txt" anywhere goes before another extension
        {"a.b.c", "a.b", "log"},   // the last dot counts
        {"a.", "a", "log"},
        {".", "", "log"},
        {"a.1234", "a", "log"},     // five characters with the dot
        {"a.12345", "a.12345", ""}, // one more is no extension
        {"a.d/x", "a", "log"},
        {"trace", "trace", ""},
        {"", "", ""},
        {".log", "", "log"},
    };
    for (const auto& [name, base, ext] : cases) {
        std::string foundBase = "?";
        std::string foundExt = "?";
        EXPECT_EQ(LibLogging::GetExtension(name, foundBase, foundExt), !ext.empty()) << name;
        EXPECT_EQ(foundBase, base) << name;
        EXPECT_EQ(foundExt, ext) << name;
        EXPECT_EQ(LibLogging::AppendLogExtension(name), ext.empty() ? name + ".log" : name);
    }
}

TEST_F(LogNamesTest, ANumberedNameIsTheFirstThatCannotBeRead) {
    EXPECT_EQ(LibLogging::NumberedName(live), live);
    Write("trace.log", "");
    EXPECT_EQ(LibLogging::NumberedName(live), folder / "trace_0.log");
    Write("trace_0.log", "");
    Write("trace_1.log", "");
    Write("trace_3.log", "");
    EXPECT_EQ(LibLogging::NumberedName(live), folder / "trace_2.log");
}

TEST_F(LogNamesTest, ANumberedTextFileEndsInLog) {
    Write("trace.txt", "");
    EXPECT_EQ(LibLogging::NumberedName(folder / "trace.txt"), folder / "trace_0.log");
}

TEST_F(LogNamesTest, APipeHasItsNameAndIsNotWaitedFor) {
    mkfifo(live.c_str(), 0666);
    EXPECT_EQ(LibLogging::NumberedName(live), folder / "trace_0.log");
}

TEST_F(LogNamesTest, WhatHasANameIsNotOpened) {
    Write("target", "");
    symlink("target", live.c_str());
    const FileDescriptor watch(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    ASSERT_GE(inotify_add_watch(watch.Get(), (folder / "target").c_str(), IN_OPEN), 0);
    EXPECT_EQ(LibLogging::NumberedName(live), folder / "trace_0.log");
    inotify_event event{};
    EXPECT_EQ(read(watch.Get(), &event, sizeof(event)), -1) << "it may be a device";
}

TEST_F(LogNamesTest, AFileThatMayNotBeReadCountsAsAFreeName) {
    Write("trace.log", "");
    Write("trace_0.log", "");
    chmod((folder / "trace_0.log").c_str(), 0200);
    const test::WithoutPrivileges user;
    EXPECT_EQ(LibLogging::NumberedName(live), folder / "trace_0.log");
}

TEST_F(LogNamesTest, TimeStampsInNamesAreUtc) {
    EXPECT_EQ(LibLogging::NameWithTimeStamp("/var/log/x/trace.log"), "/var/log/x/trace_2026-03-01_13-05-09.log");
    EXPECT_EQ(LibLogging::NameWithTimeStamp("trace.txt"), "trace_2026-03-01_13-05-09.log");
}

TEST_F(LogNamesTest, TheNameOfAFileWithoutAnExtensionGetsADotAlone) {
    EXPECT_EQ(LibLogging::NameWithTimeStamp("trace"), "trace_2026-03-01_13-05-09.");
    test::WriteText(folder / "trace", "");
    EXPECT_EQ(LibLogging::NumberedName(folder / "trace"), folder / "trace_0.");
}

} // namespace
