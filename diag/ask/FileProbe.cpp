#include "diag/ask/FileProbe.h"

#include "posix/Place.h"
#include "posix/SystemCalls.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>

#include <dirent.h>
#include <endian.h>
#include <fcntl.h>
#include <grp.h>
#include <linux/limits.h>
#include <linux/posix_acl.h>
#include <linux/posix_acl_xattr.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace Diag {

namespace {

using Vantor::FileDescriptor;
using Vantor::ReadStart;

constexpr std::size_t AccountBuffer = 16384;
constexpr std::size_t MostGroups = 65536; // of the kernel
constexpr std::size_t MostWriters = 16;   // that are told

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

bool May(const std::string& path, int access) {
    return faccessat(AT_FDCWD, path.c_str(), access, AT_EACCESS) == 0;
}

std::string Parent(const std::string& path) {
    const std::size_t slash = path.find_last_of('/', path.size() < 2 ? 0 : path.size() - 2);
    return slash == std::string::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
}

/// A slash at the end would follow a link.
std::string WithoutSlash(std::string path) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

/// What lies under a path. Every question is put to the descriptor, so that all answers are about the same file.
struct Found {
    FileDescriptor file; ///< O_PATH; closed when there is none, or it cannot be reached: errno says why
    struct stat status = {};
    bool isLink = false;
    uid_t linkOwner = 0; ///< of the first link, as its target
    std::string target;

    /// A name of the file itself, which nobody can exchange.
    [[nodiscard]] std::string Name() const { return "/proc/self/fd/" + std::to_string(file.Get()); }
    [[nodiscard]] bool IsFollowed() const { return !S_ISLNK(status.st_mode); }
    [[nodiscard]] FileDescriptor Open(int flags) const {
        return FileDescriptor(open(Name().c_str(), flags | O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    }
};

std::string Target(const FileDescriptor& link) {
    std::array<char, PATH_MAX> target{};
    const ssize_t length = readlinkat(link.Get(), "", target.data(), target.size());
    return {target.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
}

/// Follows the links that the program follows when it reads or saves the file, and no others: those could lead to what
/// only this user may see.
Found Find(const std::string& path) {
    constexpr int MostLinks = 40; // as there
    Found found;
    Vantor::Place place = Vantor::Locate(WithoutSlash(path));
    for (int links = 0; place.folder.IsOpen() && links < MostLinks; ++links) {
        const char* const name = place.name.empty() ? "." : place.name.c_str();
        found.file = FileDescriptor(openat(place.folder.Get(), name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
        if (!found.file.IsOpen() || fstat(found.file.Get(), &found.status) != 0 || found.IsFollowed()) {
            return found;
        }
        if (!found.isLink) {
            found.isLink = true;
            found.linkOwner = found.status.st_uid;
            found.target = Target(found.file);
        }
        if (!Vantor::FollowLink(place) && place.folder.IsOpen()) {
            return found; // the link itself
        }
    }
    if (!place.folder.IsOpen()) {
        found.file = FileDescriptor();
    }
    return found;
}

void AskRights(const Found& found, FileFacts& facts) {
    if (!found.IsFollowed()) {
        facts.obstacle = ELOOP;
        return;
    }
    facts.readable = May(found.Name(), R_OK);
    facts.writable = May(found.Name(), facts.isFolder ? W_OK | X_OK : W_OK);
    facts.obstacle = facts.writable ? 0 : errno;
}

using AccessEntry = struct posix_acl_xattr_entry;

/// Empty if there is none. Unlike files themselves, their lists can be read by everybody.
std::vector<AccessEntry> AccessList(const Found& found, bool isDefault) {
    std::vector<char> bytes(XATTR_SIZE_MAX);
    const char* const name = isDefault ? "system.posix_acl_default" : "system.posix_acl_access";
    const auto end = std::max<ssize_t>(getxattr(found.Name().c_str(), name, bytes.data(), bytes.size()), 0);
    std::vector<AccessEntry> list;
    AccessEntry entry = {};
    for (std::size_t at = sizeof(struct posix_acl_xattr_header); at + sizeof(entry) <= static_cast<std::size_t>(end);
         at += sizeof(entry)) {
        std::memcpy(&entry, &bytes[at], sizeof(entry));
        list.push_back(entry);
    }
    return list;
}

/// Whether an entry names somebody who is not to write. The rights of the group, which limit him, do not count: whoever
/// sets them anew gives him his own back.
bool IsOtherWriter(const AccessEntry& entry) {
    const unsigned id = le32toh(entry.e_id);
    const unsigned tag = le16toh(entry.e_tag);
    const bool isNamed = tag == ACL_USER || tag == ACL_GROUP;
    return isNamed && (le16toh(entry.e_perm) & ACL_WRITE) != 0 && id != 0 &&
           !(tag == ACL_USER ? IsInGroup(id, "lumoadmin") : GroupName(id) == "lumoadmin");
}

std::vector<gid_t> OwnGroups() {
    std::vector<gid_t> groups(static_cast<std::size_t>(std::max(getgroups(0, nullptr), 0)));
    groups.resize(static_cast<std::size_t>(std::max(getgroups(static_cast<int>(groups.size()), groups.data()), 0)));
    groups.push_back(getegid());
    return groups;
}

} // namespace

FileFacts DescribeFile(const std::string& path) {
    FileFacts facts;
    facts.path = path;
    const Found found = Find(path);
    const int error = errno;
    facts.isLink = found.isLink;
    facts.target = found.target;
    facts.linkOwner = found.isLink ? UserName(found.linkOwner) : "";
    if (!found.file.IsOpen()) {
        // Behind a closed folder there may well be something.
        facts.obstacle = error;
        facts.exists = error != ENOENT && error != ENOTDIR;
        return facts;
    }
    const struct stat& status = found.status;
    facts.exists = true;
    facts.isFollowed = found.IsFollowed();
    facts.isRegular = S_ISREG(status.st_mode);
    facts.isFolder = S_ISDIR(status.st_mode);
    facts.owner = UserName(status.st_uid);
    facts.ownerId = status.st_uid;
    facts.group = GroupName(status.st_gid);
    facts.mode = status.st_mode & 0777U;
    facts.size = status.st_size;
    facts.modified = status.st_mtime;
    facts.names = facts.isRegular ? status.st_nlink : 1;
    AskRights(found, facts);
    return facts;
}

std::string ReadFile(const std::string& path, std::size_t size) {
    const Found found = Find(path);
    return found.file.IsOpen() && S_ISREG(found.status.st_mode) ? ReadStart(found.Open(0), size) : std::string();
}

std::vector<LogFileFacts> ListFiles(const std::string& folder) {
    std::vector<LogFileFacts> files;
    const Found found = Find(folder);
    FileDescriptor opened = found.file.IsOpen() ? found.Open(O_DIRECTORY) : FileDescriptor();
    const int number = opened.IsOpen() ? dup(opened.Get()) : -1;
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(number < 0 ? nullptr : fdopendir(number), closedir);
    while (const struct dirent* const entry = entries ? readdir(entries.get()) : nullptr) {
        struct stat status = {};
        if (fstatat(opened.Get(), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(status.st_mode)) {
            files.push_back({entry->d_name, status.st_size, status.st_mtime});
        }
    }
    return files;
}

bool OnlyRootWrites(const std::string& folder) {
    const Found found = Find(folder);
    // With an access control list the group's bits speak for everybody in it.
    return !found.isLink && found.file.IsOpen() && S_ISDIR(found.status.st_mode) && found.status.st_uid == 0 &&
           (found.status.st_mode & (S_IWOTH | S_IWGRP)) == 0;
}

std::vector<OtherWriter> ListOtherWriters(const std::string& path) {
    std::vector<OtherWriter> writers;
    const Found found = Find(path);
    for (const bool isDefault : {false, true}) {
        for (const AccessEntry& entry : AccessList(found, isDefault)) {
            if (writers.size() < MostWriters && IsOtherWriter(entry)) {
                const unsigned id = le32toh(entry.e_id);
                const bool isGroup = le16toh(entry.e_tag) == ACL_GROUP;
                writers.push_back({path, isDefault, isGroup, isGroup ? GroupName(id) : UserName(id)});
            }
        }
    }
    return writers;
}

bool IsInGroup(unsigned user, const std::string& name) {
    struct passwd entry = {};
    struct passwd* found = nullptr;
    std::vector<char> buffer(AccountBuffer);
    getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found);
    std::vector<gid_t> groups(MostGroups);
    auto count = static_cast<int>(groups.size());
    if (found == nullptr || getgrouplist(entry.pw_name, entry.pw_gid, groups.data(), &count) < 0) {
        return false;
    }
    groups.resize(static_cast<std::size_t>(count));
    return std::any_of(groups.begin(), groups.end(), [&](gid_t group) { return GroupName(group) == name; });
}

int WhyNotCreateIn(const std::string& folder) {
    std::string nearest = folder;
    while (nearest != "/" && nearest != "." && !May(nearest, F_OK) && errno == ENOENT) {
        nearest = Parent(nearest);
    }
    return May(nearest, W_OK | X_OK) ? 0 : errno;
}

bool IsInGroup(const std::string& name) {
    // Not the other way round: for a group that does not exist every source of names would be asked, the network too.
    const std::vector<gid_t> groups = OwnGroups();
    return std::any_of(groups.begin(), groups.end(), [&](gid_t group) { return GroupName(group) == name; });
}

} // namespace Diag
