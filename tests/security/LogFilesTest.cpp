// Log files in a folder where others may write: whoever logs there, root or a member, writes nothing but his own log.
#include <array>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <memory>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "logging/Logging.h"
#include "posix/FileDescriptor.h"
#include "tests/support/PackageLayout.h"
#include "tests/support/TemporaryFolder.h"
#include "util/FileAndDirectory.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using Vantor::LibLogging;

namespace {

/// Who logs in the members' folder, beside a member who means harm.
struct Pair {
    const char* name;
    bool rootLogs;
};

void PrintTo(const Pair& pair, std::ostream* out) {
    *out << pair.name;
}

class LogFilesTest : public testing::TestWithParam<Pair> {
protected:
    void SetUp() override {
        if (test::OnlyOneAccount()) {
            GTEST_SKIP() << "no second account can be made here";
        }
        layout = std::make_unique<test::PackageLayout>();
        mkdir(own.c_str(), 0755);
        test::WriteText(secret, "secret");
        chmod(secret.c_str(), 0600);
        for (const auto& path : {own, secret}) {
            ASSERT_EQ(chown(path.c_str(), Logs().user, Logs().group), 0);
        }
    }

    const test::Account& Logs() const { return GetParam().rootLogs ? layout->root : layout->member; }
    const test::Account& Attacks() const { return layout->colleague; }
    std::string In(const std::string& name) const { return layout->folder + "/" + name; }

    void Plant(const std::string& target, const std::string& name) const {
        const test::ActingAs attacker(Attacks());
        ASSERT_EQ(symlink(target.c_str(), In(name).c_str()), 0) << name;
    }
    /// The names that archives of the log can get within the next seconds.
    void PlantArchives(const std::string& target) const {
        for (std::time_t time = std::time(nullptr); time < std::time(nullptr) + 10; ++time) {
            std::array<char, 80> text{};
            std::strftime(text.data(), text.size(), "_%Y-%m-%d_%H-%M-%S.log", std::gmtime(&time));
            Plant(target, "trace" + std::string(text.data()));
            Plant(target, "trace_0" + std::string(text.data()));
        }
    }
    static void LogTo(const std::string& name, bool rotate, int lines = 1) {
        LibLogging log(1);
        log.Init(name, 1, rotate);
        log.Enabled(true);
        for (int i = 0; i < lines; ++i) {
            log.LogRaw("line " + std::to_string(i));
        }
    }
    void LogInFolder(bool rotate, int lines = 1) const {
        const test::ActingAs logger(Logs());
        LogTo(In("trace.log"), rotate, lines);
    }
    void ExpectNothingTouchedOrPublished() const {
        EXPECT_EQ(test::ReadText(secret), "secret");
        EXPECT_THAT(test::Names(own), ElementsAre("secret"));
        for (const auto& entry : std::filesystem::directory_iterator(layout->folder)) {
            struct stat status {};
            const bool isFile = lstat(entry.path().c_str(), &status) == 0 && S_ISREG(status.st_mode);
            if (isFile && status.st_nlink == 1) {
                EXPECT_THAT(test::ReadText(entry.path()), Not(HasSubstr("secret"))) << entry.path();
            }
        }
    }

    std::unique_ptr<test::PackageLayout> layout;
    const std::string own = "/etc/own"; ///< a folder of who logs, where nobody else may write
    const std::string secret = own + "/secret";
};

TEST_P(LogFilesTest, NothingIsWrittenOrPublishedThroughALinkOfTheLogsName) {
    for (const auto& target : {secret, own + "/new"}) {
        Plant(target, "trace.log");
        LogInFolder(false);
        LogInFolder(true);
        ExpectNothingTouchedOrPublished();
        EXPECT_EQ(test::ReadText(In("trace.log")), " line 0\n") << "the link has been moved away";
        unlink(In("trace.log").c_str());
    }
}

TEST_P(LogFilesTest, NothingIsWrittenOrPublishedThroughAnotherNameOfAFile) {
    ASSERT_EQ(link(secret.c_str(), In("trace.log").c_str()), 0); // where the kernel lets members do that
    LogInFolder(false);
    LogInFolder(true);
    ExpectNothingTouchedOrPublished();
    EXPECT_EQ(test::ReadText(In("trace.log")), " line 0\n") << "the name has been moved away";
}

TEST_P(LogFilesTest, NothingIsOpenedThroughLinksOfTheLogsAndItsArchivesNames) {
    const Vantor::FileDescriptor watch(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    ASSERT_GE(inotify_add_watch(watch.Get(), secret.c_str(), IN_OPEN), 0);
    Plant(secret, "trace.log");
    Plant(secret, "trace_0.log");
    PlantArchives(secret);
    LogInFolder(false);
    LogInFolder(true);
    inotify_event event{};
    EXPECT_EQ(read(watch.Get(), &event, sizeof(event)), -1) << "it may be a device";
}

TEST_P(LogFilesTest, AnOutsiderWhoLocksTheLogDoesNotKeepItFromBeingSplit) {
    LogInFolder(true);
    Vantor::FileDescriptor reader;
    {
        const test::ActingAs outsider(layout->outsider);
        reader = Vantor::FileDescriptor(open(In("trace.log").c_str(), O_RDONLY | O_CLOEXEC));
        struct flock lock {};
        lock.l_type = F_RDLCK;
        ASSERT_EQ(fcntl(reader.Get(), F_OFD_SETLK, &lock), 0);
    }
    LogInFolder(false, 2);
    EXPECT_EQ(test::ReadText(In("trace_0.log")), " line 0\n line 0\n") << "what is locked is not emptied";
    EXPECT_EQ(test::ReadText(In("trace.log")), " line 1\n");
}

TEST_P(LogFilesTest, OnesOwnLinkToAFileIsFollowed) {
    {
        const test::ActingAs logger(Logs());
        ASSERT_EQ(symlink((own + "/kept.log").c_str(), In("trace.log").c_str()), 0);
    }
    LogInFolder(false, 2);
    EXPECT_THAT(test::Names(own), ElementsAre("kept.log", "kept_0.log", "secret"));
}

TEST_P(LogFilesTest, NothingIsWrittenThroughLinksOfTheArchivesNames) {
    for (const auto& target : {secret, own + "/new"}) {
        LogInFolder(true, 2); // leaves a file and a part to archive
        PlantArchives(target);
        LogInFolder(true);
        ExpectNothingTouchedOrPublished();
        EXPECT_EQ(test::ReadText(In("trace.log")), " line 0\n") << "logging goes on";
        for (const auto& name : test::Names(layout->folder)) {
            unlink(In(name).c_str());
        }
    }
}

TEST_P(LogFilesTest, NothingIsWrittenThroughLinksOfThePartsNames) {
    Plant(secret, "trace_0.log");
    Plant(own + "/new", "trace_1.log");
    ASSERT_EQ(link(secret.c_str(), In("trace_2.log").c_str()), 0);
    LogInFolder(false, 5);
    ExpectNothingTouchedOrPublished();
    EXPECT_EQ(test::ReadText(In("trace.log")), " line 4\n");
}

TEST_P(LogFilesTest, NothingIsWrittenInAFolderToWhichAnothersLinkLeads) {
    Plant(own, "logs");
    {
        const test::ActingAs logger(Logs());
        LogTo(In("logs/trace.log"), true, 3);
        EXPECT_FALSE(Vantor::CreateDirectories(In("logs/new/")));
    }
    ExpectNothingTouchedOrPublished();
}

TEST_P(LogFilesTest, OnesOwnLinkToAFolderIsFollowed) {
    {
        const test::ActingAs logger(Logs());
        ASSERT_EQ(symlink(own.c_str(), In("logs").c_str()), 0);
        LogTo(In("logs/trace.log"), false);
        EXPECT_TRUE(Vantor::CreateDirectories(In("logs/new/")));
    }
    EXPECT_THAT(test::Names(own), ElementsAre("new", "secret", "trace.log"));
}

TEST_P(LogFilesTest, NothingIsWrittenWhileAnotherChangesNamesAllTheTime) {
    const pid_t attacker = fork();
    if (attacker == 0) {
        test::Become(Attacks());
        const std::string names[] = {In("trace.log"), In("trace_0.log"), In("logs")};
        mkdir(In("folder").c_str(), 0777);
        chmod(In("folder").c_str(), 0777);
        for (int i = 0; true; ++i) {
            for (const auto& name : names) {
                unlink(name.c_str());
                const bool isFolder = name == names[2];
                const char* const target = isFolder ? own.c_str() : secret.c_str();
                static_cast<void>(symlink(i % 2 == 0 ? target : "folder", name.c_str()) == 0);
            }
            unlink(names[0].c_str());
        }
    }
    for (const std::time_t end = std::time(nullptr) + 2; std::time(nullptr) < end;) {
        LogInFolder(true, 3);
        LogInFolder(false, 3);
        const test::ActingAs logger(Logs());
        LogTo(In("logs/trace.log"), true, 3);
    }
    kill(attacker, SIGKILL);
    waitpid(attacker, nullptr, 0);
    ExpectNothingTouchedOrPublished();
}

INSTANTIATE_TEST_SUITE_P(Where, LogFilesTest,
                         testing::Values(Pair{"RootLogsAmongMembers", true}, Pair{"AMemberLogsAmongMembers", false}),
                         [](const auto& test) { return test.param.name; });

} // namespace
