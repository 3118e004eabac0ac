#include "util/TemporaryFile.h"

#include "posix/SystemCalls.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <string_view>
#include <vector>

namespace Vantor {

namespace {

constexpr const char* Mark = ".saving-";
constexpr int MaxAttempts = 100;
constexpr mode_t PermissionBits = 07777;
constexpr const char* AccessControlList = "system.posix_acl_access";

/// One that nobody can guess and take beforehand; "" with errno set when the system gives no random numbers.
std::string RandomName(const std::string& name) {
    std::array<unsigned char, 8> random{};
    if (getentropy(random.data(), random.size()) != 0) {
        return std::string();
    }
    constexpr const char* digits = "0123456789abcdef";
    std::string result = name + Mark;
    for (const unsigned byte : random) {
        result.append({digits[byte / 16], digits[byte % 16]});
    }
    return result;
}

bool IsTemporaryName(std::string_view candidate, std::string_view prefix) {
    return candidate.substr(0, prefix.size()) == prefix &&
           candidate.find_first_not_of("0123456789abcdef-", prefix.size()) == std::string_view::npos;
}

bool Lock(const FileDescriptor& file) {
    return RetryOnInterrupt([&] { return flock(file.Get(), LOCK_EX | LOCK_NB); }) == 0;
}

/// Locks a new file. False when another program, clearing up, has just taken it for a left-over; a file system without
/// locks does not matter, for left-overs just stay there.
bool Claim(const FileDescriptor& file, struct stat& status) {
    return (Lock(file) || errno != EWOULDBLOCK) && fstat(file.Get(), &status) == 0 && status.st_nlink > 0;
}

/// Gives a file the list of another one, or none, where the folder has given it one.
bool CopyAccessControlList(const FileDescriptor& from, const FileDescriptor& to) {
    const auto isNone = [] { return errno == ENODATA || errno == EOPNOTSUPP || errno == ENOSYS; };
    const ssize_t size = fgetxattr(from.Get(), AccessControlList, nullptr, 0);
    if (size <= 0) { // most files have none
        return (size == 0 || isNone()) && (fremovexattr(to.Get(), AccessControlList) == 0 || isNone());
    }
    std::vector<char> list(static_cast<std::size_t>(size));
    return fgetxattr(from.Get(), AccessControlList, list.data(), list.size()) == size &&
           fsetxattr(to.Get(), AccessControlList, list.data(), list.size(), 0) == 0;
}

bool TakeOver(const FileDescriptor& file, const struct stat& own, const FileDescriptor& model,
              const struct stat& wanted) {
    mode_t mode = wanted.st_mode & PermissionBits;
    if ((own.st_uid != wanted.st_uid || own.st_gid != wanted.st_gid) &&
        fchown(file.Get(), wanted.st_uid, wanted.st_gid) != 0) {
        constexpr auto anyOwner = static_cast<uid_t>(-1);
        // EINVAL: an owner that this user namespace cannot name
        if ((errno != EPERM && errno != EINVAL) || fchown(file.Get(), anyOwner, wanted.st_gid) != 0) {
            return false;
        }
        mode &= ~static_cast<mode_t>(S_ISUID | S_ISGID); // they would lend the rights of another
    }
    // In this order: owner and list change some bits of the mode, and the mode opens what a list of the folder's says.
    return CopyAccessControlList(model, file) && fchmod(file.Get(), mode) == 0;
}

std::vector<std::string> ListTemporaryFiles(const FilePlace& place) {
    std::vector<std::string> names;
    const std::string prefix = place.name + Mark;
    alignas(dirent64) std::array<char, 8192> entries;
    // Straight through the open folder: a listing by the C library would open it once more, at every save.
    for (ssize_t got = 0; (got = getdents64(place.folder.Get(), entries.data(), entries.size())) > 0;) {
        for (ssize_t at = 0; at < got;) {
            const auto* const entry = reinterpret_cast<const dirent64*>(entries.data() + at);
            if (IsTemporaryName(entry->d_name, prefix)) {
                names.emplace_back(entry->d_name);
            }
            at += entry->d_reclen;
        }
    }
    return names;
}

} // namespace

TemporaryFile::~TemporaryFile() {
    Discard();
}

bool TemporaryFile::Create() {
    struct stat own = {};
    return Create(0666, own);
}

bool TemporaryFile::CreateLike(const FileDescriptor& model, const struct stat& status) {
    struct stat own = {};
    if (!Create(0600, own)) {
        return false;
    }
    if (!TakeOver(file, own, model, status)) {
        Discard();
        return false;
    }
    return true;
}

bool TemporaryFile::Create(unsigned mode, struct stat& own) {
    constexpr int access = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    for (int attempt = 0; attempt < MaxAttempts; ++attempt) {
        const std::string candidate = RandomName(place.name);
        if (candidate.empty()) {
            return false;
        }
        file = FileDescriptor(
            RetryOnInterrupt([&] { return openat(place.folder.Get(), candidate.c_str(), access, mode); }));
        if (file.IsOpen()) {
            name = candidate;
            if (Claim(file, own)) {
                return true;
            }
            Discard();
        } else if (errno != EEXIST) {
            return false;
        }
    }
    return false;
}

bool TemporaryFile::MoveOver() {
    if (renameat(place.folder.Get(), name.c_str(), place.folder.Get(), place.name.c_str()) != 0) {
        return false;
    }
    name.clear();
    return true;
}

void TemporaryFile::Discard() {
    if (!name.empty()) {
        const int reason = errno; // of the failure that led here
        unlinkat(place.folder.Get(), name.c_str(), 0);
        errno = reason;
        name.clear();
    }
}

void TemporaryFile::RemoveLeftovers(const FilePlace& place) {
    for (const std::string& leftover : ListTemporaryFiles(place)) {
        const FileDescriptor held(
            openat(place.folder.Get(), leftover.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
        if (held.IsOpen() && Lock(held)) {
            unlinkat(place.folder.Get(), leftover.c_str(), 0);
        }
    }
}

} // namespace Vantor
