// Starting the programs as root, member and outsider: a lock that was left behind, a lock that is held, a damaged
// catalogue.
#include "tests/support/Desktop.h"
#include "tests/support/PackageLayout.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"
#include "util/InstanceLock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

using Support::Ending;
using Support::Process;
using testing::HasSubstr;
using testing::Not;

class StartTest : public testing::Test {
protected:
    void SetUp() override {
        if (test::OnlyOneAccount()) {
            GTEST_SKIP() << "no second account can be made here";
        }
        layout.emplace();
        // The machine's own root has a home of his own.
        everybody = {{"root", 0, 0, {0}, "/mnt/home"}, layout->member, layout->outsider};
    }

    static std::string LockOf(const test::Account& account) { return account.home + "/LumoAdmin-" + account.name; }

    static std::vector<std::string> As(const test::Account& account, std::vector<std::string> command) {
        const std::vector<std::string> change = {"setpriv", "--reuid=" + account.name, "--regid=" + account.name,
                                                 "--init-groups"};
        command.insert(command.begin(), change.begin(), change.end());
        return command;
    }

    static Process::Environment Home(const test::Account& account) {
        return {{"HOME", account.home},
                {"LANG", "C.UTF-8"},
                {"NO_AT_BRIDGE", "1"},
                {"DBUS_SESSION_BUS_ADDRESS", "disabled:"},
                {"ASAN_OPTIONS", "detect_leaks=0"}};
    }

    /// A lock whose number belongs to another process of that account.
    static void LeaveLock(const test::Account& account, const Process& stranger) {
        test::WriteText(LockOf(account), std::to_string(stranger.pid()) + std::string(1, '\0'));
        ASSERT_EQ(chown(LockOf(account).c_str(), account.user, account.group), 0);
        ASSERT_EQ(chmod(LockOf(account).c_str(), 0600), 0);
    }

    /// How a window ended, or an empty text once it is open.
    static std::string Opens(const test::Account& account) {
        const Support::Desktop desktop;
        Process window(As(account, {LUMOADMIN_PROGRAM}), Home(account));
        bool isOpen = false;
        Support::waitUntil([&] {
            isOpen = !desktop.windows(window.pid()).empty();
            return isOpen || !window.running();
        });
        return isOpen ? "" : account.name + " sees no window; " + window.errors();
    }

    static Ending Diagnose(const test::Account& account, std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), LUMODIAG_PROGRAM);
        return Support::run(As(account, arguments), Home(account));
    }

    std::optional<test::PackageLayout> layout;
    std::vector<test::Account> everybody;
};

constexpr char Catalog[] = "/etc/lumoclient/I18N/en/LC_MESSAGES/LumoClient.mo";

/// Cut off and overwritten in many places; nobody but root may write there, so this is a disk's or a copy's doing.
std::vector<std::string> Damages() {
    const std::string whole = test::ReadText(CATALOGS "/en/LC_MESSAGES/LumoClient.mo");
    std::vector<std::string> damages;
    for (const std::size_t size :
         {std::size_t{0}, std::size_t{27}, std::size_t{28}, std::size_t{4096}, whole.size() / 2}) {
        damages.push_back(whole.substr(0, size));
    }
    for (const std::size_t place : {8U, 12U, 16U, 20U, 24U, 28U, 32U, 36U, 44U, 1000U}) {
        damages.push_back(std::string(whole).replace(place, 4, std::string("\xF0\xFF\xFF\x7F", 4)));
        damages.push_back(std::string(whole).replace(place, 4, std::string("\xFC\xFF\xFF\xFF", 4)));
    }
    return damages;
}

TEST_F(StartTest, ALockLeftBehindKeepsNobodyOut) {
    for (const test::Account& account : everybody) {
        const Process stranger(As(account, {"sleep", "300"}));
        LeaveLock(account, stranger);
        EXPECT_EQ(Opens(account), "");
    }
}

TEST_F(StartTest, AnOpenWindowKeepsOutASecondOfItsUserOnlyAndIsTold) {
    const Support::Desktop desktop;
    const test::Account& member = layout->member;
    Process window(As(member, {LUMOADMIN_PROGRAM}), Home(member));
    ASSERT_TRUE(desktop.window(window.pid()).has_value()) << window.errors();

    const Ending second = Support::run(As(member, {LUMOADMIN_PROGRAM}), Home(member));
    EXPECT_NE(second.status, 0);
    EXPECT_EQ(second.output + second.errors, "");
    EXPECT_TRUE(window.running());
    EXPECT_EQ(Opens(layout->outsider), "");

    const Ending report = Diagnose(member, {"--lang=de"});
    EXPECT_THAT(report.output, HasSubstr("Das Fenster ist schon offen"));
    EXPECT_THAT(report.output, HasSubstr("kill " + std::to_string(window.pid())));
    EXPECT_THAT(report.output, HasSubstr("member"));
    EXPECT_THAT(Diagnose(layout->outsider, {"--lang=de"}).output, Not(HasSubstr("Das Fenster ist schon offen")));
}

TEST_F(StartTest, WhatAnotherAccountPutsInPlaceOfALockStaysAndLeadsNowhere) {
    // A home that others may write, as no sane one is.
    const std::string shared = "/home/shared";
    fs::create_directory(shared);
    fs::permissions(shared, fs::perms::all);
    const std::string notes = layout->member.home + "/notes";
    test::WriteText(notes, "12345");
    ASSERT_EQ(chown(notes.c_str(), layout->member.user, layout->member.group), 0);
    ASSERT_EQ(chmod(notes.c_str(), 0600), 0);
    {
        const test::ActingAs acting(layout->colleague);
        fs::create_symlink(notes, shared + "/link");
        test::WriteText(shared + "/file", "12345");
        ASSERT_EQ(chmod((shared + "/file").c_str(), 0600), 0);
        ASSERT_EQ(mkfifo((shared + "/pipe").c_str(), 0666), 0);
    }
    for (const test::Account& account : {everybody.front(), layout->member}) {
        const test::ActingAs acting(account);
        const Vantor::InstanceTurn turn(shared);
        for (const char* const name : {"/link", "/file", "/pipe"}) {
            EXPECT_EQ(Vantor::ClearInstanceLock(shared + name, turn), Vantor::InstanceLockState::Free);
            EXPECT_TRUE(fs::exists(fs::symlink_status(shared + name))) << account.name << " removed " << name;
        }
    }
    EXPECT_EQ(test::ReadText(notes), "12345");
}

TEST_F(StartTest, ADamagedCatalogueEndsNoReport) {
    fs::create_directories(fs::path(Catalog).parent_path());
    for (const std::string& damage : Damages()) {
        test::WriteText(Catalog, damage);
        const Ending ending = Diagnose(layout->member, {"--lang=en", "--help"});
        EXPECT_EQ(ending.signal, 0);
        EXPECT_EQ(ending.status, 0) << ending.errors;
    }
    EXPECT_EQ(Diagnose(layout->outsider, {"--lang=en"}).signal, 0);
    EXPECT_EQ(Diagnose(everybody.front(), {"--lang=en"}).signal, 0);
}

TEST_F(StartTest, ADamagedCatalogueEndsNoWindow) {
    fs::create_directories(fs::path(Catalog).parent_path());
    const std::vector<std::string> damages = Damages();
    for (std::size_t i = 3; i < damages.size(); i += 4) {
        test::WriteText(Catalog, damages[i]);
        EXPECT_EQ(Opens(everybody[i % everybody.size()]), "") << i;
    }
}

} // namespace
