// What the files hold when the program is killed while it saves.

#include "config/ConfigImpl_XML.h"

#include "ConfigFiles.h"
#include "tests/support/StoppedProcess.h"

#include <iostream>

#include <sys/mount.h>

using namespace Vantor;
using namespace test;

namespace {

/// The settings as a person might have them, saved once.
class KilledWriter : public testing::Test {
protected:
    KilledWriter() {
        backend.Init("lumoclient");
        for (int reader = 0; reader < 4; ++reader) {
            for (const char* key : {"IsSecure", "Reader", "ReaderName", "UseGUI", "UseBeep"}) {
                Set("lumo Client\\Reader" + std::to_string(reader), key, "Some value of a reader");
            }
        }
    }

    bool Set(const std::string& path, const std::string& key, const std::string& value) {
        sConfig entry = {CONFIG_ALLUSERS, path, key, SYSTYPE_FIRST};
        return backend.SetString(&entry, value);
    }

    /// The n-th of a row of changes that let the file grow and shrink.
    bool Change(int n) {
        return Set("lumo Client\\Reader" + std::to_string(n % 4), "UserMessage",
                   std::string(static_cast<std::size_t>(n * 7919 % 5000), 'x'));
    }

    /// Calls `check` at every stop of a process that makes the change. @return the number of stops
    template <typename Check>
    int AtEachStop(int change, const Check& check) {
        Support::StoppedProcess writer([&] { return Change(change); });
        int stops = 0;
        while (writer.next()) {
            ++stops;
            check();
        }
        EXPECT_TRUE(writer.succeeded());
        return stops;
    }

    ConfigImpl_XML backend;
};

std::string WithoutLineEnds(std::string text) {
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return text;
}

constexpr int Changes = 50;

} // namespace

TEST_F(KilledWriter, LeavesTheOldOrTheNewFileAtEverySystemCall) {
    int points = 0;
    int torn = 0;
    int newFiles = 0;
    for (int change = 1; change <= Changes; ++change) {
        // Given a saved file, and what the next change makes of it
        const std::string before = ReadFile(MachineFile);
        ASSERT_TRUE(Change(change));
        const std::string after = ReadFile(MachineFile);
        ASSERT_NE(before, after);
        bool ended = false;
        for (int stop = 1; !ended; ++stop) {
            WriteFile(MachineFile, before);
            // When the writer is killed at this stop
            Support::StoppedProcess writer([&] { return Change(change); });
            for (int passed = 0; passed < stop && !ended; ++passed) {
                ended = !writer.next();
            }
            writer.kill();
            // Then the file is one of the two
            const std::string found = ReadFile(MachineFile);
            torn += found != before && found != after ? 1 : 0;
            newFiles += found == after ? 1 : 0;
            points += ended ? 0 : 1;
        }
        EXPECT_EQ(ReadFile(MachineFile), after) << "a writer that came to its end";
    }
    std::cout << points << " kills, " << torn << " torn files\n";
    EXPECT_EQ(torn, 0);
    EXPECT_GT(newFiles, Changes);
    EXPECT_LT(newFiles, points);
    EXPECT_GE(points, 1500);
    // And the next change clears up
    EXPECT_TRUE(Change(0));
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(MachineFolder)) {
        names.push_back(entry.path().filename());
    }
    EXPECT_EQ(names, std::vector<std::string>{"config"});
}

TEST_F(KilledWriter, LeavesAWholeTextEvenWhereTheFileIsOverwritten) {
    // Given a file that cannot be replaced since it is mounted
    const std::string source = MachineFolder + "/source";
    std::filesystem::copy_file(MachineFile, source);
    ASSERT_EQ(mount(source.c_str(), MachineFile.c_str(), nullptr, MS_BIND, nullptr), 0);
    int points = 0;
    int torn = 0;
    int padded = 0;
    for (int change = 1; change <= Changes; ++change) {
        const std::string before = ReadFile(MachineFile);
        ASSERT_TRUE(Change(change));
        const std::string after = ReadFile(MachineFile);
        WriteFile(MachineFile, before);
        // When it is looked at whenever the writer stops
        points += AtEachStop(change, [&] {
            const std::string found = ReadFile(MachineFile);
            const std::string text = WithoutLineEnds(found);
            torn += text != before && text != after ? 1 : 0;
            padded += text != found ? 1 : 0;
        });
        // Then it is the old or the new text, maybe with line ends behind it, and exactly the new one in the end
        EXPECT_EQ(ReadFile(MachineFile), after);
    }
    std::cout << points << " looks, " << torn << " torn files, " << padded << " with line ends behind the text\n";
    EXPECT_EQ(torn, 0);
    EXPECT_GT(padded, 0);
    EXPECT_GE(points, 1500);
    umount2(MachineFile.c_str(), MNT_DETACH);
}

TEST_F(KilledWriter, WouldTearAFileThatIsTruncatedFirst) {
    // The control: were this 0, the other tests would show nothing.
    const std::string before = ReadFile(MachineFile);
    const std::string after = before + "<!-- and more -->";
    int torn = 0;
    Support::StoppedProcess writer([&] {
        std::ofstream(MachineFile, std::ios::binary | std::ios::trunc) << after;
        return true;
    });
    while (writer.next()) {
        const std::string found = ReadFile(MachineFile);
        torn += found != before && found != after ? 1 : 0;
    }
    EXPECT_GT(torn, 0);
    EXPECT_EQ(ReadFile(MachineFile), after);
}

TEST_F(KilledWriter, NeverLosesAFileThatCouldNotBeRead) {
    // Given a file that cannot be read, and the name under which it is to be kept
    const std::string precious = "<config>precious";
    const std::string kept = MachineFile + ".unreadable";
    int points = 0;
    bool ended = false;
    for (int stop = 1; !ended; ++stop) {
        WriteFile(MachineFile, precious);
        WriteFile(kept, "an older one");
        // When the program starts, saves and is killed at this stop
        Support::StoppedProcess writer([&] {
            ConfigImpl_XML fresh;
            sConfig entry = {CONFIG_ALLUSERS, "a", "k", SYSTYPE_FIRST};
            return fresh.Init("lumoclient") && fresh.SetString(&entry, "v");
        });
        for (int passed = 0; passed < stop && !ended; ++passed) {
            ended = !writer.next();
        }
        writer.kill();
        // Then what it held is under one of the two names
        const std::string found = ReadFile(MachineFile);
        EXPECT_TRUE(found == precious || ReadFile(kept) == precious) << stop;
        EXPECT_TRUE(found == precious || found == Declaration + "<config><a><k>v</k></a></config>") << stop;
        points += ended ? 0 : 1;
        std::filesystem::remove(kept);
        std::filesystem::remove(MachineFile);
    }
    std::cout << points << " kills\n";
    EXPECT_GE(points, 50);
}
