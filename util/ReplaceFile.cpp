#include "util/ReplaceFile.h"

#include "posix/FileSizeSignal.h"
#include "posix/SystemCalls.h"
#include "util/OverwriteFile.h"
#include "util/TemporaryFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Vantor {

namespace {

/// A larger file is none of ours: no time and room is spent on a copy.
constexpr off_t MaxCopied = off_t{16} << 20;

/// A file that may be written, or the place for one.
struct Target {
    FilePlace place;
    FileDescriptor old; ///< empty when there is no file yet
    struct stat status = {};

    /// False when the file may not be opened for writing, or is none that can be replaced.
    bool Open(const std::string& path) {
        place = FilePlace::Open(path);
        // Reading is of use but not needed.
        old = place.OpenFile(O_RDWR);
        if (!old.IsOpen() && errno == EACCES) {
            old = place.OpenFile(O_WRONLY);
        }
        if (!old.IsOpen()) {
            return place.folder.IsOpen() && errno == ENOENT;
        }
        return fstat(old.Get(), &status) == 0 && S_ISREG(status.st_mode);
    }
};

enum class Outcome { Done, Failed, NotPermitted };

/// Tells lack of rights, where writing in place may still be allowed, from failure.
Outcome Refusal(int error) {
    switch (error) {
    case EACCES:
    case EPERM:
    case EROFS:
    case EINVAL: // a group that this user namespace cannot name
    case EBUSY:  // the file is a mount point
        return Outcome::NotPermitted;
    default:
        return Outcome::Failed;
    }
}

Outcome MoveNewOver(const Target& target, const std::string& content) {
    TemporaryFile fresh(target.place);
    if (!(target.old.IsOpen() ? fresh.CreateLike(target.old, target.status) : fresh.Create())) {
        return Refusal(errno);
    }
    if (!WriteAndSync(fresh.File(), content)) {
        return Outcome::Failed;
    }
    if (!fresh.MoveOver()) {
        return Refusal(errno);
    }
    return target.place.Sync(fresh.File()) ? Outcome::Done : Outcome::Failed;
}

/// A second hard link means that somebody who may write in the folder, but not the file, may have given another's file
/// this name (the kernel forbids that only if fs.protected_hardlinks is set). Whose file it is does not matter: it is
/// root's and the caller's own that are worth it.
bool MayBeOverwritten(const Target& target) {
    return target.old.IsOpen() && target.status.st_nlink <= 1;
}

bool KeepByCopy(const Target& target, const FilePlace& kept) {
    TemporaryFile copy(kept);
    return target.status.st_size <= MaxCopied && copy.CreateLike(target.old, target.status) &&
           CopyAll(target.old.Get(), copy.File().Get(), target.status.st_size) && Sync(copy.File()) &&
           copy.MoveOver() && kept.Sync(copy.File());
}

bool Link(const Target& target, const FilePlace& kept) {
    return linkat(target.place.folder.Get(), target.place.name.c_str(), kept.folder.Get(), kept.name.c_str(), 0) == 0;
}

bool KeepByLink(const Target& target, const FilePlace& kept) {
    if (!Link(target, kept) &&
        (errno != EEXIST || unlinkat(kept.folder.Get(), kept.name.c_str(), 0) != 0 || !Link(target, kept))) {
        return false;
    }
    // The name may have been given to another file meanwhile.
    struct stat linked = {};
    return fstatat(kept.folder.Get(), kept.name.c_str(), &linked, AT_SYMLINK_NOFOLLOW) == 0 &&
           IsSameFile(linked, target.status) && kept.Sync(target.old);
}

} // namespace

bool ReplaceFile(const std::string& path, const std::string& content) {
    const NoFileSizeSignal limitIsAnError;
    Target target;
    if (!target.Open(path)) {
        return false;
    }
    const Outcome outcome = MoveNewOver(target, content);
    return outcome == Outcome::Done ||
           (outcome == Outcome::NotPermitted && MayBeOverwritten(target) && OverwriteFile(target.old, content));
}

bool KeepFile(const std::string& path, const std::string& keepAs) {
    const NoFileSizeSignal limitIsAnError;
    Target target;
    if (!target.Open(path)) {
        return false;
    }
    const FilePlace kept = FilePlace::Open(keepAs, FilePlace::LastName::Keep);
    TemporaryFile::RemoveLeftovers(kept);
    return !target.old.IsOpen() || (kept.folder.IsOpen() && (KeepByCopy(target, kept) || KeepByLink(target, kept)));
}

void RemoveLeftovers(const std::string& path) {
    TemporaryFile::RemoveLeftovers(FilePlace::Open(path));
}

} // namespace Vantor
