// The accounts and folders that an installed package has to do with, on a private machine.
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace test {

/// An account of the private machine.
struct Account {
    std::string name;
    uid_t user;
    gid_t group;
    std::vector<gid_t> groups; ///< all of them, as a login sets them
    std::string home;          ///< exists and belongs to the account
};

/// Where users cannot be made: an ordinary user's private machine maps only himself.
bool OnlyOneAccount();

/// Makes the accounts, then installs what the package's own script makes. Once in a private machine.
class PackageLayout {
public:
    PackageLayout();

    const std::string folder = "/etc/vantor/lumoclient"; ///< root:lumoadmin 2775
    const std::string file = folder + "/config";         ///< root:lumoadmin 664
    const Account root;
    const Account member;    ///< in the group lumoadmin
    const Account colleague; ///< in the group lumoadmin
    const Account outsider;
};

/// While it lives, this process acts as the account: its user, its groups, none of root's privileges, its HOME.
class ActingAs {
public:
    explicit ActingAs(const Account& account);
    ~ActingAs();
    ActingAs(const ActingAs&) = delete;
    ActingAs& operator=(const ActingAs&) = delete;

private:
    std::vector<gid_t> groups;
    std::string home;
};

/// In a child process that is to stay the account, and for programs that it starts: no way back to root.
void Become(const Account& account);

} // namespace test
