// What each of them gets from lumodiag where texts are hostile, private, or cannot be written.
#include "tests/support/PackageLayout.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// Run as each account.
class ReportTest : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        if (test::OnlyOneAccount()) {
            GTEST_SKIP() << "no second account can be made here";
        }
        layout = std::make_unique<test::PackageLayout>();
        StoreAsMember("<config><lumo_Client><Reader0><Reader>PCSC Reader</Reader>"
                      "<ReaderName>Evil\x1B[2J Quittenbaum</ReaderName></Reader0>"
                      "<Trace><LogLevel>128</LogLevel><Filename>.vantor/Quittenbaum.log</Filename></Trace>"
                      "</lumo_Client></config>");
        ASSERT_EQ(chown(layout->file.c_str(), layout->colleague.user, static_cast<gid_t>(-1)), 0);
    }

    void StoreAsMember(const std::string& text) const {
        const test::ActingAs acting(layout->member);
        test::WriteText(layout->file, text);
    }

    [[nodiscard]] const test::Account& Who() const {
        for (const test::Account* account : {&layout->root, &layout->member, &layout->colleague}) {
            if (account->name == GetParam()) {
                return *account;
            }
        }
        return layout->outsider;
    }

    [[nodiscard]] Support::Ending Run(std::vector<std::string> arguments,
                                      Support::Process::Environment environment = {}) const {
        const test::Account& who = Who();
        std::vector<std::string> command{"setpriv", "--reuid=" + who.name, "--regid=" + std::to_string(who.group),
                                         "--init-groups", LUMODIAG_PROGRAM};
        command.insert(command.end(), arguments.begin(), arguments.end());
        environment.insert({"HOME", who.home});
        return Support::run(command, environment);
    }

    /// A folder for logs of his own.
    [[nodiscard]] std::string LogFolder(const std::string& options) const {
        const std::string folder = "/mnt/logs";
        mkdir(folder.c_str(), 0777);
        mount("logs", folder.c_str(), "tmpfs", 0, options.c_str());
        static_cast<void>(chown(folder.c_str(), Who().user, Who().group));
        return folder;
    }

    std::unique_ptr<test::PackageLayout> layout;
};

INSTANTIATE_TEST_SUITE_P(As, ReportTest, testing::Values("root", "member", "colleague", "outsider"),
                         [](const auto& account) { return std::string(account.param); });

} // namespace

TEST_P(ReportTest, WhatAMemberStoredReachesNoTerminalRaw) {
    for (const std::string form : {"--lang=en", "--json"}) {
        EXPECT_THAT(Run({form}).output, AllOf(HasSubstr("x1B[2J Quittenbaum"), Not(HasSubstr("\x1B")))) << form;
    }
}

TEST_P(ReportTest, NothingPrivateIsInARedactedReportOrItsLog) {
    const std::string log = LogFolder("size=1m") + "/report.log";
    const auto expectNone = [&](const std::string& text, const std::string& where) {
        EXPECT_THAT(text, HasSubstr("lumodiag")) << where;
        for (const std::string& secret : {std::string("Quittenbaum"), std::string("colleague"), Who().home + "/"}) {
            EXPECT_THAT(text, Not(HasSubstr(secret))) << where;
        }
    };
    EXPECT_THAT(Run({"--json"}).output, AllOf(HasSubstr("Quittenbaum"), HasSubstr("colleague")))
        << "or it proves nothing";
    expectNone(Run({"--redact", "--json"}).output, "JSON");
    expectNone(Run({"--redact", "--lang=en", "--log=" + log}).output, "text");
    expectNone(test::ReadText(log), "log");
    expectNone(Run({"--redact", "--json"}, {{"HOME", ""}}).output, "JSON without HOME");
}

TEST_P(ReportTest, ALogOnAFullDiskIsTroubleThatIsTold) {
    const std::string folder = LogFolder("size=4k");
    test::WriteText(folder + "/full", std::string(4096, 'x'));
    const auto ending = Run({"--lang=en", "--log=" + folder + "/trace"});
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.errors, HasSubstr(folder + "/trace"));
}

TEST_P(ReportTest, WithoutAHomeTheReportIsWholeAndNamesTheRelativeLog) {
    const auto ending = Run({"--json"}, {{"HOME", ""}});
    EXPECT_EQ(ending.status, 1) << ending.errors;
    EXPECT_THAT(ending.output, AllOf(HasSubstr("\"id\": \"log-relative\""), HasSubstr(".vantor/Quittenbaum.log")));
    EXPECT_THAT(Run({"--lang=en"}, {{"HOME", ""}}).errors, "");
}
