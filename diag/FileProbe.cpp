#include "diag/FileProbe.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Diag {

namespace {

constexpr std::size_t AccountBuffer = 16384;

std::string UserName(uid_t id) {
    struct passwd entry = {};
    struct passwd* found = nullptr;
    std::vector<char> buffer(AccountBuffer);
    getpwuid_r(id, &entry, buffer.data(), buffer.size(), &found);
    return found == nullptr ? std::to_string(id) : entry.pw_name;
}

std::string GroupName(gid_t id) {
    struct group entry = {};
    struct group* found = nullptr;
    std::vector<char> buffer(AccountBuffer);
    getgrgid_r(id, &entry, buffer.data(), buffer.size(), &found);
    return found == nullptr ? std::to_string(id) : entry.gr_name;
}

/// Debian gives the numbers from 1000 to 59999 to people, and leaves a few above to them.
bool IsOfPeople(id_t id) {
    constexpr id_t FirstPerson = 1000;
    constexpr id_t Nobody = 65534;
    return id >= FirstPerson && id != Nobody;
}

bool May(const std::string& path, int access) {
    return faccessat(AT_FDCWD, path.c_str(), access, AT_EACCESS) == 0;
}

std::string Parent(const std::string& path) {
    const std::size_t slash = path.find_last_of('/', path.size() < 2 ? 0 : path.size() - 2);
    return slash == std::string::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
}

std::vector<gid_t> OwnGroups() {
    std::vector<gid_t> groups(static_cast<std::size_t>(std::max(getgroups(0, nullptr), 0)));
    groups.resize(static_cast<std::size_t>(std::max(getgroups(static_cast<int>(groups.size()), groups.data()), 0)));
    groups.push_back(getegid());
    return groups;
}

} // namespace

std::string ErrorText(int error) {
    const char* const text = strerrordesc_np(error);
    return text == nullptr ? std::to_string(error) : text;
}

FileFacts DescribeFile(const std::string& path) {
    FileFacts facts;
    facts.path = path;
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        // Behind a closed folder there may well be something.
        facts.obstacle = ErrorText(errno);
        facts.exists = errno != ENOENT && errno != ENOTDIR;
        return facts;
    }
    facts.exists = true;
    facts.isRegular = S_ISREG(status.st_mode);
    facts.isFolder = S_ISDIR(status.st_mode);
    facts.owner = UserName(status.st_uid);
    facts.group = GroupName(status.st_gid);
    facts.ownedByPerson = IsOfPeople(status.st_uid);
    facts.groupOfPeople = IsOfPeople(status.st_gid);
    facts.mode = status.st_mode & 0777U;
    facts.size = status.st_size;
    facts.modified = status.st_mtime;
    facts.readable = May(path, R_OK);
    facts.writable = May(path, facts.isFolder ? W_OK | X_OK : W_OK);
    facts.obstacle = facts.writable ? "" : ErrorText(errno);
    return facts;
}

bool CanCreateIn(const std::string& folder, std::string& obstacle) {
    std::string nearest = folder;
    while (nearest != "/" && nearest != "." && !May(nearest, F_OK) && errno == ENOENT) {
        nearest = Parent(nearest);
    }
    const bool can = May(nearest, W_OK | X_OK);
    obstacle = can ? "" : ErrorText(errno);
    return can;
}

bool IsInGroup(const std::string& name) {
    // Not the other way round: for a group that does not exist every source of names would be asked, the network too.
    const std::vector<gid_t> groups = OwnGroups();
    return std::any_of(groups.begin(), groups.end(), [&](gid_t group) { return GroupName(group) == name; });
}

} // namespace Diag
