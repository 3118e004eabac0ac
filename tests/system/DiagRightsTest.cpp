// What lumodiag says to an ordinary user about rights, and whether typing its remedies mends it.
#include "tests/system/DiagTest.h"

namespace {

constexpr auto kUser = "berta";
constexpr auto kHome = "/mnt/berta";
constexpr auto kTrace = "/mnt/berta/.vantor/lumo Client/Trace";

std::string configuration(const std::string& settings) {
    return document(kAnyReader + settings, "<LumoMiniDriver><EnableLogging>1</EnableLogging></LumoMiniDriver>");
}

Support::Ending shell(const std::string& command) {
    return Support::run({"sh", "-c", command});
}

// A second account, and the group and folders as the package makes them.
class DiagRights : public testing::Test {
protected:
    void SetUp() override {
        const auto made = shell(std::string("groupadd --system lumoadmin && useradd --create-home --home-dir ") +
                                kHome + " " + kUser + " && chown " + kUser + " " + kHome);
        if (made.status != 0 || asUser({"test", "-x", Lumodiag::command().front()}).status != 0)
            GTEST_SKIP() << "a mapped root has no other users, or these may not run the program: " << made.errors;
        fs::create_directories(kMiniDriverLogs);
        store(configuration(""));
        ASSERT_EQ(shell("cd /etc/vantor && chgrp lumoadmin lumoclient lumoclient/config LumoMiniDriver/Log && "
                        "chmod 2775 lumoclient LumoMiniDriver/Log && chmod 664 lumoclient/config")
                      .status,
                  0);
    }

    // As after a new login: in the groups that /etc/group names now.
    static std::vector<std::string> forUser(std::vector<std::string> command) {
        const std::string user = kUser;
        command.insert(command.begin(), {"setpriv", "--reuid=" + user, "--regid=" + user, "--init-groups",
                                         "--inh-caps=-all", "--", "env", std::string("HOME=") + kHome});
        return command;
    }
    static Support::Ending asUser(const std::vector<std::string>& command) { return Support::run(forUser(command)); }
    static DiagReport report() { return Lumodiag::report(forUser(Lumodiag::command({"--json"}))); }

    // Types what a finding says, as somebody does who may use sudo.
    static void type(const nlohmann::json& finding) {
        for (const std::string command : finding.at("commands")) {
            auto typed = command;
            for (const auto& [from, to] : {std::pair<std::string, std::string>{"sudo ", ""}, {"NAME", kUser}}) {
                for (auto at = typed.find(from); at != std::string::npos; at = typed.find(from))
                    typed.replace(at, from.size(), to);
            }
            const auto ending = shell(typed);
            EXPECT_EQ(ending.status, 0) << typed << "\n" << ending.errors;
        }
    }
};

TEST_F(DiagRights, WhoMayHaveTwoProcessesOnlyIsToldAboutAllOfManyReaders) {
    Pcscd::serve(9);
    auto command = forUser(Lumodiag::command({"--json"}));
    command.insert(command.begin(), {"prlimit", "--nproc=2"});
    const auto report = Lumodiag::report(command);
    ASSERT_THAT(report.document.at("readers"), SizeIs(9));
    for (std::size_t number = 0; number < 9; ++number)
        EXPECT_EQ(report.reader(number).at("connection"), "card") << number;
}

TEST_F(DiagRights, WhoIsNotInTheGroupMayNotSaveUntilTheRemedyIsTyped) {
    const auto before = report();
    EXPECT_EQ(before.ending.status, 1);
    EXPECT_EQ(before.machineFile().at("writable"), false);
    const auto& finding = before.finding("configuration-read-only");
    EXPECT_THAT(finding.at("commands").dump(), HasSubstr("usermod --append --groups lumoadmin NAME"));
    type(finding);
    const auto after = report();
    EXPECT_EQ(after.machineFile().at("writable"), true);
    EXPECT_THAT(after.findings(), Not(Contains("configuration-read-only")));
}

TEST_F(DiagRights, AMemberMayNotSaveWhereTheRightsAreWrongUntilTheRemedyIsTyped) {
    ASSERT_EQ(shell("usermod --append --groups lumoadmin berta && chgrp -R root /etc/vantor/lumoclient && "
                    "chmod 755 /etc/vantor/lumoclient && chmod 644 /etc/vantor/lumoclient/config")
                  .status,
              0);
    const auto before = report();
    const auto& finding = before.finding("configuration-read-only");
    EXPECT_THAT(finding.at("commands").dump(), HasSubstr("chown root:lumoadmin"));
    EXPECT_THAT(finding.at("commands").dump(), Not(HasSubstr("usermod"))) << "who is in the group already";
    type(finding);
    const auto after = report();
    EXPECT_EQ(after.machineFile().at("writable"), true);
    EXPECT_THAT(after.findings(), Not(Contains("configuration-read-only")));
}

TEST_F(DiagRights, WhoIsNotInTheGroupHasNoMiniDriverLogUntilTheRemedyIsTyped) {
    const auto before = report();
    const auto& finding = before.finding("log-not-writable");
    EXPECT_EQ(finding.at("subject"), std::string(kMiniDriverLogs) + "/");
    EXPECT_THAT(finding.at("commands").dump(), HasSubstr("usermod --append --groups lumoadmin NAME"));
    type(finding);
    EXPECT_THAT(report().findings(), Not(Contains("log-not-writable")));
}

TEST_F(DiagRights, ALogInTheOwnHomeIsNoMatterOfTheGroup) {
    store(configuration("<Trace><LogLevel>128</LogLevel><LogMode>2</LogMode></Trace>"));
    ASSERT_EQ(shell("usermod --append --groups lumoadmin berta").status, 0);
    fs::create_directories(kTrace); // root's
    const auto before = report();
    const auto& finding = before.finding("log-not-writable");
    EXPECT_EQ(finding.at("subject"), std::string(kTrace) + "/");
    EXPECT_THAT(finding.at("commands").dump(), Not(HasSubstr("usermod")));
    // then: the remedy shows the place
    const auto shown = asUser({"sh", "-c", finding.at("commands").at(0)});
    EXPECT_EQ(shown.status, 0) << shown.errors;
    EXPECT_THAT(shown.output, HasSubstr("root  root  Trace"));
    ASSERT_EQ(shell(std::string("chown -R berta ") + kHome).status, 0);
    EXPECT_THAT(report().findings(), Not(Contains("log-not-writable")));
}

} // namespace
