#include "util/TemporaryFile.h"

#include "util/SystemCalls.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <vector>

namespace Vantor {

namespace {

constexpr const char* Mark = ".saving-";
constexpr int MaxAttempts = 100;
constexpr mode_t PermissionBits = 07777;
constexpr const char* AccessControlList = "system.posix_acl_access";

int OpenFolder(const std::string& folder, int access) {
    return RetryOnInterrupt([&] { return open(folder.c_str(), access | O_DIRECTORY | O_CLOEXEC); });
}

std::string NextName(const std::string& name) {
    static std::atomic<unsigned> count{0};
    return name + Mark + std::to_string(getpid()) + "-" + std::to_string(count++);
}

bool IsTemporaryName(const std::string& candidate, const std::string& name) {
    const std::string prefix = name + Mark;
    return candidate.compare(0, prefix.size(), prefix) == 0 &&
           candidate.find_first_not_of("0123456789-", prefix.size()) == std::string::npos;
}

bool Lock(const FileDescriptor& file) {
    return RetryOnInterrupt([&] { return flock(file.Get(), LOCK_EX | LOCK_NB); }) == 0;
}

/// Locks a new file. False when another program, clearing up, has just taken it for a left-over; a file system without
/// locks does not matter, for left-overs just stay there.
bool Claim(const FileDescriptor& file) {
    struct stat status = {};
    return (Lock(file) || errno != EWOULDBLOCK) && fstat(file.Get(), &status) == 0 && status.st_nlink > 0;
}

bool CopyAccessControlList(const FileDescriptor& from, const FileDescriptor& to) {
    const ssize_t size = fgetxattr(from.Get(), AccessControlList, nullptr, 0);
    if (size <= 0) { // most files have none
        return size == 0 || errno == ENODATA || errno == EOPNOTSUPP || errno == ENOSYS;
    }
    std::vector<char> list(static_cast<std::size_t>(size));
    return fgetxattr(from.Get(), AccessControlList, list.data(), list.size()) == size &&
           fsetxattr(to.Get(), AccessControlList, list.data(), list.size(), 0) == 0;
}

bool TakeOver(const FileDescriptor& file, const FileDescriptor& model, const struct stat& wanted) {
    struct stat own = {};
    if (fstat(file.Get(), &own) != 0) {
        return false;
    }
    if ((own.st_uid != wanted.st_uid || own.st_gid != wanted.st_gid) &&
        fchown(file.Get(), wanted.st_uid, wanted.st_gid) != 0) {
        return false;
    }
    // After the owner, whose change clears some of these bits.
    return fchmod(file.Get(), wanted.st_mode & PermissionBits) == 0 && CopyAccessControlList(model, file);
}

std::vector<std::string> ListTemporaryFiles(const FilePlace& place) {
    std::vector<std::string> names;
    const int listing = openat(place.folder.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(listing < 0 ? nullptr : fdopendir(listing), &closedir);
    while (const dirent* const entry = folder ? readdir(folder.get()) : nullptr) {
        if (IsTemporaryName(entry->d_name, place.name)) {
            names.emplace_back(entry->d_name);
        }
    }
    return names;
}

} // namespace

FilePlace FilePlace::Open(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const std::size_t begin = slash == std::string::npos ? 0 : slash + 1;
    const std::string folder = begin == 0 ? "." : path.substr(0, begin);
    FilePlace place;
    place.name = path.substr(begin);
    if (place.name.empty()) {
        errno = EISDIR;
        return place;
    }
    place.folder = FileDescriptor(OpenFolder(folder, O_RDONLY));
    place.listable = place.folder.IsOpen();
    if (!place.listable && errno == EACCES) {
        place.folder = FileDescriptor(OpenFolder(folder, O_PATH));
    }
    return place;
}

TemporaryFile::~TemporaryFile() {
    Discard();
}

bool TemporaryFile::Create() {
    return Create(0666);
}

bool TemporaryFile::CreateLike(const FileDescriptor& model, const struct stat& status) {
    if (!Create(0600)) {
        return false;
    }
    if (!TakeOver(file, model, status)) {
        Discard();
        return false;
    }
    return true;
}

bool TemporaryFile::Create(unsigned mode) {
    constexpr int access = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    for (int attempt = 0; attempt < MaxAttempts; ++attempt) {
        const std::string candidate = NextName(place.name);
        file = FileDescriptor(
            RetryOnInterrupt([&] { return openat(place.folder.Get(), candidate.c_str(), access, mode); }));
        if (file.IsOpen()) {
            name = candidate;
            if (Claim(file)) {
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
            openat(place.folder.Get(), leftover.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        if (held.IsOpen() && Lock(held)) {
            unlinkat(place.folder.Get(), leftover.c_str(), 0);
        }
    }
}

} // namespace Vantor
