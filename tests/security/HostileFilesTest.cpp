// What a file that a member of the group wrote can do to those who ask lumodiag about it.
#include "tests/support/PackageLayout.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <thread>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using testing::HasSubstr;
using testing::Not;

/// Much more than it takes, even with sanitizers on a busy machine; where a limit is missing it takes minutes.
constexpr Support::Milliseconds Limit{20000};

class HostileFilesTest : public testing::Test {
protected:
    void SetUp() override {
        if (test::OnlyOneAccount()) {
            GTEST_SKIP() << "no second account can be made here";
        }
    }

    static Support::Ending Report(const test::Account& account, const std::vector<std::string>& prefix = {},
                                  const char* program = LUMODIAG_PROGRAM) {
        const test::ActingAs acting(account);
        std::vector<std::string> command = prefix;
        command.insert(command.end(), {program, "--json"});
        return Support::run(command, {}, Limit);
    }

    /// Seconds that all programs took which have ended. Unlike the clock they count what other programs do very little.
    static double ProcessorTime() {
        struct rusage usage = {};
        getrusage(RUSAGE_CHILDREN, &usage);
        return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
               static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    }

    static void StoreAs(const test::Account& account, const std::string& path, const std::string& text) {
        const test::ActingAs acting(account);
        test::WriteText(path, text);
    }
};

std::string Times(std::size_t count, const std::string& text) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

std::string Client(const std::string& content) {
    return "<config><lumo_Client>" + content + "</lumo_Client></config>";
}

std::string Attributes(std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) {
        all += " a" + std::to_string(i) + "=''";
    }
    return all;
}

std::string Entities() {
    std::string declarations = "<!ENTITY a0 'ha'>";
    for (int i = 1; i < 30; ++i) {
        const std::string last = "&a" + std::to_string(i - 1) + ";";
        declarations += "<!ENTITY a" + std::to_string(i) + " '" + Times(10, last) + "'>";
    }
    return "<!DOCTYPE config [" + declarations + "]>" + Client("<Version>&a29;</Version>");
}

struct Hostile {
    std::string text;
    std::string finding;
};

std::vector<Hostile> HostileFiles() {
    const std::string large = "<!DOCTYPE config [<!ENTITY x '" + std::string(60000, 'x') + "'>]>" +
                              Client("<Version>" + Times(23000, "&x;") + "</Version>");
    return {{Entities(), "configuration-document-type"},
            {large, "configuration-document-type"},
            {Client(Times(299990, "<a/>")), "configuration-no-reader"},
            {Client(Times(299990, "<a>x</a>\n")), "configuration-unread-element"},
            {Client(Times(299990, "<Language/>")), "configuration-invalid"},
            {Client("<x" + Attributes(250000) + "/>"), "configuration-no-reader"},
            {"<config" + Attributes(250000) + "/>", "configuration-invalid"},
            {Client("<x" + Times(250000, " a=''") + "/>"), "configuration-not-strict-xml"},
            {Client(Times(200000, "<Reader>x</Reader>")), "configuration-many-readers"},
            {Client("<Reader0>" + std::string(4100000, '\x01') + "</Reader0>"), "configuration-not-strict-xml"},
            {Client(Times(300001, "<a/>")), "configuration-malformed"},
            {Times(1000000, "<a>"), "configuration-malformed"}};
}

TEST_F(HostileFilesTest, NoFileOfAMemberKeepsAnybodyFromHisReport) {
    const test::PackageLayout layout;
    for (const auto& [text, finding] : HostileFiles()) {
        StoreAs(layout.member, layout.file, text);
        const auto ending = Report(layout.outsider);
        EXPECT_EQ(ending.status, 1) << ending.errors << text.substr(0, 60);
        EXPECT_THAT(ending.output, HasSubstr("\"id\": \"" + finding + "\"")) << text.substr(0, 60);
        EXPECT_LT(ending.output.size(), 100000U) << text.substr(0, 60);
    }
    for (const auto* account : {&layout.root, &layout.member, &layout.colleague}) {
        StoreAs(layout.member, layout.file, Entities());
        EXPECT_THAT(Report(*account).output, HasSubstr("configuration-document-type")) << account->name;
    }
}

TEST_F(HostileFilesTest, NoFileTakesTheReleasedProgramTwoSecondsOrTwoHundredMebibytes) {
    const char* const released = std::getenv("LUMODIAG_RELEASED");
    if (released == nullptr) {
        GTEST_SKIP() << "sanitizers need more; tests/package/HardeningTest runs this with what people run";
    }
    const test::PackageLayout layout;
    for (const auto& file : HostileFiles()) {
        StoreAs(layout.member, layout.file, file.text);
        const double before = ProcessorTime();
        const auto ending = Report(layout.outsider, {"prlimit", "--as=" + std::to_string(200 << 20)}, released);
        const double took = ProcessorTime() - before;
        EXPECT_EQ(ending.status, 1) << ending.errors << file.text.substr(0, 60);
        EXPECT_THAT(ending.output, HasSubstr("\"id\": \"" + file.finding + "\"")) << file.text.substr(0, 60);
        EXPECT_GT(took, 0) << "or nothing was measured";
        EXPECT_LT(took, 2) << file.text.substr(0, 60);
    }
}

TEST_F(HostileFilesTest, WhatIsNoFileIsReportedAndNotWaitedFor) {
    const test::PackageLayout layout;
    {
        const test::ActingAs acting(layout.member);
        ASSERT_EQ(unlink(layout.file.c_str()), 0);
        ASSERT_EQ(mkfifo(layout.file.c_str(), 0666), 0);
    }
    for (const auto* account : {&layout.root, &layout.colleague, &layout.outsider}) {
        const auto ending = Report(*account);
        EXPECT_EQ(ending.status, 1) << account->name;
        EXPECT_THAT(ending.output, HasSubstr("configuration-malformed")) << account->name;
    }
    {
        const test::ActingAs acting(layout.member);
        ASSERT_EQ(unlink(layout.file.c_str()), 0);
        test::WriteText(layout.file, "");
        ASSERT_EQ(truncate(layout.file.c_str(), off_t{20} << 30), 0);
    }
    EXPECT_THAT(Report(layout.outsider).output, HasSubstr("configuration-malformed")) << "20 GiB of nothing";
}

/// A member's process that puts a file and a pipe in each other's place until it is ended.
class Exchanger {
public:
    explicit Exchanger(const test::PackageLayout& layout) : process(fork()) {
        if (process == 0) {
            test::Become(layout.member);
            Exchange(layout.folder + "/next", layout.file);
        }
    }
    ~Exchanger() {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }
    Exchanger(const Exchanger&) = delete;
    Exchanger& operator=(const Exchanger&) = delete;

private:
    [[noreturn]] static void Exchange(const std::string& next, const std::string& file) {
        for (;;) {
            test::WriteText(next, Client(""));
            rename(next.c_str(), file.c_str());
            mkfifo(next.c_str(), 0666);
            rename(next.c_str(), file.c_str());
        }
    }

    pid_t process;
};

TEST_F(HostileFilesTest, AFileThatBecomesAPipeBetweenLookAndOpenIsNotWaitedFor) {
    const test::PackageLayout layout;
    const Exchanger exchanger(layout);
    for (int i = 0; i < 60; ++i) {
        const auto ending = Report(i % 2 == 0 ? layout.root : layout.outsider);
        ASSERT_EQ(ending.status, 1) << i << ending.errors;
    }
}

TEST_F(HostileFilesTest, WhoMayHaveNoOtherProcessGetsTheRestOfHisReport) {
    const test::PackageLayout layout;
    StoreAs(layout.member, layout.file, Client("<Language>175</Language>"));
    const auto ending = Report(layout.outsider, {"prlimit", "--nproc=1"});
    EXPECT_EQ(ending.status, 1) << ending.errors;
    EXPECT_THAT(ending.output, HasSubstr("service-not-asked"));
    EXPECT_THAT(ending.output, HasSubstr("fork: Resource temporarily unavailable"));
    EXPECT_THAT(ending.output, HasSubstr("configuration-language-unknown"));
}

} // namespace
