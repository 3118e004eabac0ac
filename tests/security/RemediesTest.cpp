// What lumodiag tells people to type as root, typed while others have put something strange in the file's place.
#include "tests/support/PackageLayout.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/system/Lumodiag.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

namespace fs = std::filesystem;

namespace {

constexpr auto kSecret = "/mnt/secret";
constexpr auto kSecretText = "<config><lumo_Client><Reader0><Reader>PCSC Reader</Reader><ReaderName>SECRET</ReaderName>"
                             "</Reader0></lumo_Client></config>";
constexpr auto kSettings = "<config>\n  <lumo_Client/>\n</config>\n";

struct stat status(const std::string& path) {
    struct stat status = {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status;
}

class RemediesTest : public testing::Test {
protected:
    void SetUp() override {
        if (test::OnlyOneAccount())
            GTEST_SKIP() << "no second account can be made here";
        layout = std::make_unique<test::PackageLayout>();
        if (Support::run(as(layout->outsider, {"test", "-x", Lumodiag::command().front()})).status != 0)
            GTEST_SKIP() << "other accounts may not run the program where it was built";
        test::WriteText(kSecret, kSecretText);
        ASSERT_EQ(chmod(kSecret, 0600), 0);
    }

    static std::vector<std::string> as(const test::Account& account, std::vector<std::string> command) {
        command.insert(command.begin(),
                       {"setpriv", "--reuid=" + account.name, "--regid=" + std::to_string(account.group),
                        "--init-groups", "--inh-caps=-all", "--", "env", "HOME=" + account.home});
        return command;
    }
    static DiagReport report(const test::Account& account) {
        return Lumodiag::report(as(account, Lumodiag::command({"--json"})));
    }
    std::vector<test::Account> everybody() const {
        return {layout->root, layout->member, layout->colleague, layout->outsider};
    }

    // Types what a finding says, as root; a command that finds nothing to do may say so.
    static void type(const nlohmann::json& finding) {
        for (std::string command : finding.at("commands")) {
            for (auto at = command.find("sudo "); at != std::string::npos; at = command.find("sudo "))
                command.erase(at, 5);
            if (command != "lumoadmin" && command.find("NAME") == std::string::npos)
                static_cast<void>(Support::run({"sh", "-c", command}));
        }
    }
    // Everything that the report says of the configuration.
    static void typeAll(const DiagReport& report) {
        for (const auto& finding : report.document.at("findings")) {
            if (finding.at("id").get<std::string>().rfind("configuration-", 0) == 0)
                type(finding);
        }
    }

    static void expectSecretKept(const std::string& when) {
        EXPECT_EQ(status(kSecret).st_mode & 07777U, 0600U) << when;
        EXPECT_EQ(status(kSecret).st_uid + status(kSecret).st_gid, 0U) << when;
        EXPECT_EQ(test::ReadText(kSecret), kSecretText) << when;
    }
    void expectGoodFile(const std::string& when) const {
        const struct stat file = status(layout->file);
        EXPECT_TRUE(S_ISREG(file.st_mode)) << when;
        EXPECT_EQ(file.st_mode & 07777U, 0664U) << when;
        EXPECT_EQ(file.st_uid, 0U) << when;
        EXPECT_EQ(file.st_gid, status(layout->folder).st_gid) << when;
        EXPECT_EQ(status(layout->folder).st_mode & 07777U, 02775U) << when;
    }
    void putLink() const {
        const test::ActingAs acting(layout->member);
        fs::remove(layout->file);
        fs::create_symlink(kSecret, layout->file);
    }

    std::unique_ptr<test::PackageLayout> layout;
};

// An account that does one thing again and again.
class Racer {
public:
    Racer(const test::Account& account, const std::function<void()>& act) : process(fork()) {
        if (process == 0) {
            test::Become(account);
            for (;;)
                act();
        }
    }
    ~Racer() {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }
    Racer(const Racer&) = delete;
    Racer& operator=(const Racer&) = delete;

private:
    pid_t process;
};

TEST_F(RemediesTest, AMembersLinkIsNamedAndReplacedAndWhatItLeadsToStaysAsItIs) {
    for (const auto& reader : everybody()) {
        putLink();
        const auto before = report(reader);
        const auto& finding = before.finding("configuration-link");
        EXPECT_THAT(finding.at("details").dump(), HasSubstr("member -> /mnt/secret")) << reader.name;
        typeAll(before);
        expectSecretKept(reader.name);
        expectGoodFile(reader.name);
        EXPECT_THAT(report(reader).findings(), Not(Contains("configuration-link"))) << reader.name;
    }
}

TEST_F(RemediesTest, NothingIsReadThroughAMembersLink) {
    putLink();
    EXPECT_THAT(report(layout->root).document.dump(), Not(HasSubstr("SECRET")));
}

TEST_F(RemediesTest, LinksOfRootAndOfTheUserAreFollowed) {
    fs::remove(layout->file);
    test::WriteText("/etc/vantor/elsewhere", kSettings);
    fs::create_symlink("../elsewhere", layout->file);
    EXPECT_EQ(report(layout->outsider).machineFile().at("parsed"), true);
    EXPECT_EQ(report(layout->outsider).machineFile().at("target"), "../elsewhere");
    EXPECT_THAT(report(layout->outsider).findings(), Not(Contains("configuration-link")));
    putLink();
    ASSERT_EQ(chmod(kSecret, 0644), 0);
    EXPECT_EQ(report(layout->member).machineFile().at("parsed"), true);
    EXPECT_EQ(report(layout->colleague).machineFile().at("parsed"), false);
}

TEST_F(RemediesTest, NoRemedyChangesRightsBehindRootsOwnLink) {
    fs::remove(layout->file);
    fs::create_symlink(kSecret, layout->file);
    for (const auto& reader : everybody()) {
        typeAll(report(reader));
        expectSecretKept(reader.name);
    }
}

TEST_F(RemediesTest, ASecondNameOfAnotherFileIsTakenAway) {
    for (const auto& reader : everybody()) {
        fs::remove(layout->file);
        test::WriteText("/etc/vantor/private", kSecretText); // on the same file system
        ASSERT_EQ(chmod("/etc/vantor/private", 0600), 0);
        fs::create_hard_link("/etc/vantor/private", layout->file);
        const auto before = report(reader);
        EXPECT_THAT(before.findings(), Contains("configuration-hard-link")) << reader.name;
        typeAll(before);
        EXPECT_EQ(status("/etc/vantor/private").st_mode & 07777U, 0600U) << reader.name;
        EXPECT_EQ(status("/etc/vantor/private").st_gid, 0U) << reader.name;
        expectGoodFile(reader.name);
    }
}

TEST_F(RemediesTest, AnOutsidersFileIsNamedAndGivenBackToRootWithItsSettings) {
    test::WriteText(layout->file, kSettings);
    ASSERT_EQ(chown(layout->file.c_str(), layout->outsider.user, layout->outsider.group), 0);
    const auto before = report(layout->root);
    EXPECT_THAT(before.finding("configuration-foreign-owner").at("details").dump(), HasSubstr("outsider:outsider"));
    type(before.finding("configuration-foreign-owner"));
    expectGoodFile("an outsider's file");
    EXPECT_EQ(test::ReadText(layout->file), kSettings);
    EXPECT_THAT(report(layout->root).findings(), Not(Contains("configuration-foreign-owner")));
}

TEST_F(RemediesTest, AMembersFileIsNoFinding) {
    ASSERT_EQ(chown(layout->file.c_str(), layout->colleague.user, static_cast<gid_t>(-1)), 0);
    for (const auto& reader : everybody())
        EXPECT_THAT(report(reader).findings(), Not(Contains("configuration-foreign-owner"))) << reader.name;
}

TEST_F(RemediesTest, AFolderThatIsOpenToOthersIsClosedAgain) {
    EXPECT_THAT(report(layout->outsider).findings(), Not(Contains("configuration-folder-open")));
    ASSERT_EQ(chmod(layout->folder.c_str(), 02777), 0);
    EXPECT_THAT(report(layout->outsider).findings(), Contains("configuration-folder-open"));
    ASSERT_EQ(chmod("/etc/vantor", 02775) + chown("/etc/vantor", layout->member.user, layout->member.group), 0);
    type(report(layout->outsider).finding("configuration-folder-open"));
    EXPECT_EQ(status("/etc/vantor").st_mode & 0777U, 0755U);
    EXPECT_EQ(status("/etc/vantor").st_uid, 0U);
    expectGoodFile("an open folder");
    EXPECT_THAT(report(layout->outsider).findings(), Not(Contains("configuration-folder-open")));
}

static void setList(const std::string& options, const std::string& path) {
    ASSERT_EQ(Support::run({"sh", "-c", "setfacl " + options + " " + path}).status, 0) << path;
}

TEST_F(RemediesTest, AFolderThatAnAccessListOpensIsClosedAgain) {
    ASSERT_EQ(chmod("/etc/vantor", 0755), 0);
    setList("--modify=user:outsider:rwx", "/etc/vantor");
    for (const auto& reader : everybody()) {
        const auto before = report(reader);
        EXPECT_THAT(before.findings(), Contains("configuration-folder-open")) << reader.name;
        EXPECT_THAT(before.findings(), Contains("configuration-access-list")) << reader.name;
    }
    type(report(layout->outsider).finding("configuration-folder-open"));
    EXPECT_NE(Support::run(as(layout->outsider, {"touch", "/etc/vantor/mine"})).status, 0);
    EXPECT_THAT(report(layout->outsider).findings(), Not(Contains("configuration-folder-open")));
}

TEST_F(RemediesTest, WhoWritesByAnAccessListIsNamedAndLosesTheRight) {
    test::WriteText(layout->file, kSettings);
    for (const auto& reader : everybody()) {
        setList("--modify=user:outsider:rw", layout->file);
        setList("--modify=default:group:outsider:rwx,user:outsider:rwx", layout->folder);
        const auto before = report(reader);
        const auto details = before.finding("configuration-access-list").at("details").dump();
        for (const char* const writer :
             {"lumoclient/config: user:outsider", "lumoclient: user:outsider", "lumoclient: default:group:outsider"})
            EXPECT_THAT(details, HasSubstr(writer)) << reader.name;
        typeAll(before);
        for (const auto& path : {layout->file, layout->folder})
            EXPECT_NE(Support::run(as(layout->outsider, {"test", "-w", path})).status, 0) << path << reader.name;
        expectGoodFile(reader.name);
        EXPECT_THAT(report(reader).findings(), Not(Contains("configuration-access-list"))) << reader.name;
    }
}

TEST_F(RemediesTest, TheSettingsStayWhereOnlyTheFolderHasAnAccessList) {
    test::WriteText(layout->file, kSettings);
    setList("--modify=user:outsider:rwx", layout->folder);
    type(report(layout->member).finding("configuration-access-list"));
    EXPECT_EQ(test::ReadText(layout->file), kSettings);
    EXPECT_THAT(report(layout->member).findings(), Not(Contains("configuration-access-list")));
}

TEST_F(RemediesTest, AccessListsOfMembersAndReadersAreNoFinding) {
    test::WriteText(layout->file, kSettings);
    setList("--modify=user:member:rw,group:lumoadmin:rw,user:outsider:r", layout->file);
    for (const auto& reader : everybody())
        EXPECT_THAT(report(reader).findings(), Not(Contains("configuration-access-list"))) << reader.name;
}

TEST_F(RemediesTest, WhatIsNoFileIsMovedAwayAndReplaced) {
    fs::remove(layout->file);
    ASSERT_EQ(mkfifo(layout->file.c_str(), 0666), 0);
    type(report(layout->member).finding("configuration-malformed"));
    expectGoodFile("a pipe");
    EXPECT_TRUE(S_ISFIFO(status("/etc/vantor/config.found").st_mode));
}

// The member exchanges file, link and second name as fast as he can, while root types.
TEST_F(RemediesTest, RightsAreRestoredWhateverAMemberDoesMeanwhile) {
    test::WriteText(layout->file, kSettings);
    ASSERT_EQ(chmod(layout->file.c_str(), 0600), 0);
    const auto unreadable = report(layout->outsider);
    const auto& remedy = unreadable.finding("configuration-unreadable");
    putLink();
    const auto strange = report(layout->root);
    const auto& replacing = strange.finding("configuration-link");
    {
        const std::string file = layout->file;
        const std::string aside = layout->folder + "/aside";
        const std::string link = layout->folder + "/link";
        const Racer racer(layout->member, [=] {
            static_cast<void>(symlink(kSecret, link.c_str()));
            static_cast<void>(rename(link.c_str(), file.c_str()));
            std::ofstream(aside) << kSettings; // which fails while the folder is closed
            static_cast<void>(rename(aside.c_str(), file.c_str()));
        });
        for (int round = 0; round < 15; ++round) {
            type(remedy);
            expectSecretKept("while rights are restored");
            type(replacing);
            expectSecretKept("while the file is replaced");
        }
    }
    // then: without him the same commands give a good file
    type(replacing);
    type(remedy);
    expectGoodFile("after the race");
}

} // namespace
