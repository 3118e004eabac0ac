#include "tests/support/PackageLayout.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

namespace test {

namespace {

void Run(const std::string& command) {
    // The language of the machine does not matter; what the script says does, when it fails.
    if (std::system(command.c_str()) != 0) {
        throw std::runtime_error(command);
    }
}

Account Look(const char* name) {
    const passwd* const entry = getpwnam(name);
    if (entry == nullptr) {
        throw std::runtime_error(name);
    }
    std::vector<gid_t> groups(64);
    int count = static_cast<int>(groups.size());
    getgrouplist(name, entry->pw_gid, groups.data(), &count);
    groups.resize(static_cast<std::size_t>(count));
    return {name, entry->pw_uid, entry->pw_gid, groups, entry->pw_dir};
}

Account Make(const char* name, bool isMember) {
    const std::string home = "/home/" + std::string(name);
    Run("useradd --user-group --no-create-home --no-log-init --home-dir " + home +
        (isMember ? " --groups lumoadmin " : " ") + name);
    Run("install --directory --owner=" + std::string(name) + " --group=" + name + " --mode=700 " + home);
    return Look(name);
}

/// The machine's own home folders stay out of sight. Then the script of the package, which needs nothing but a shell.
Account Install() {
    Run("mount -t tmpfs -o mode=0755 homes /home");
    Run("sh " PACKAGE_SCRIPT " configure ''");
    return Look("root");
}

void Check(int result, const char* call) {
    if (result != 0) {
        throw std::runtime_error(call);
    }
}

} // namespace

bool OnlyOneAccount() {
    std::ifstream map("/proc/self/uid_map");
    unsigned long inside = 0;
    unsigned long outside = 0;
    unsigned long count = 0;
    map >> inside >> outside >> count;
    return geteuid() != 0 || count <= 1;
}

PackageLayout::PackageLayout()
    : root(Install()), member(Make("member", true)), colleague(Make("colleague", true)),
      outsider(Make("outsider", false)) {}

ActingAs::ActingAs(const Account& account) : groups(static_cast<std::size_t>(getgroups(0, nullptr))) {
    const char* const variable = std::getenv("HOME");
    home = variable == nullptr ? "" : variable;
    Check(getgroups(static_cast<int>(groups.size()), groups.data()) < 0 ? -1 : 0, "getgroups");
    setenv("HOME", account.home.c_str(), 1);
    Check(setgroups(account.groups.size(), account.groups.data()), "setgroups");
    // The real ids as well, which access(2) goes by; only the saved ones lead back.
    Check(setresgid(account.group, account.group, 0), "setresgid");
    Check(setresuid(account.user, account.user, 0), "setresuid");
}

ActingAs::~ActingAs() {
    // Without the way back every later check of the test would be meaningless.
    if (setresuid(0, 0, 0) != 0 || setresgid(0, 0, 0) != 0 || setgroups(groups.size(), groups.data()) != 0) {
        std::abort();
    }
    setenv("HOME", home.c_str(), 1);
}

void Become(const Account& account) {
    setenv("HOME", account.home.c_str(), 1);
    setenv("USER", account.name.c_str(), 1);
    setenv("LOGNAME", account.name.c_str(), 1);
    Check(setgroups(account.groups.size(), account.groups.data()), "setgroups");
    Check(setresgid(account.group, account.group, account.group), "setresgid");
    Check(setresuid(account.user, account.user, account.user), "setresuid");
}

} // namespace test
