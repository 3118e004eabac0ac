#include "util/ReplaceFile.h"

#include "posix/SystemCalls.h"
#include "util/OverwriteFile.h"
#include "util/TemporaryFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <vector>

namespace Vantor {

namespace {

/// As many links as the kernel follows.
constexpr int MaxLinks = 40;

/// Follows a path's last component to the file that is meant, which need not exist; "" for links in a circle.
std::string FollowLinks(std::string path) {
    for (int i = 0; i < MaxLinks; ++i) {
        std::vector<char> target(PATH_MAX);
        const ssize_t length = readlink(path.c_str(), target.data(), target.size());
        if (length < 0) {
            return path;
        }
        if (target.front() == '/') {
            path.clear();
        }
        path.erase(path.rfind('/') + 1);
        path.append(target.data(), static_cast<std::size_t>(length));
    }
    return std::string();
}

/// Makes the last change of the folder permanent. A folder that may not be read can only be reached through a file in
/// it, together with everything else on its file system.
bool SyncFolder(const FilePlace& place, const FileDescriptor& file) {
    return place.listable ? Sync(place.folder) : syncfs(file.Get()) == 0;
}

enum class Outcome { Done, Failed, NotPermitted };

/// One replacement of one file.
class Replacement {
public:
    /// False when the file may not be opened for writing, or is none that can be replaced.
    bool Open(const std::string& path) {
        OpenPlace(path);
        if (!old.IsOpen() && errno == ELOOP) {
            OpenPlace(FollowLinks(path));
        }
        if (!old.IsOpen()) {
            return place.folder.IsOpen() && errno == ENOENT;
        }
        return fstat(old.Get(), &status) == 0 && S_ISREG(status.st_mode);
    }

    bool Run(const std::string& content, const std::string& keepAs) {
        TemporaryFile::RemoveLeftovers(place);
        const Outcome outcome = MoveNewOver(content, keepAs);
        if (outcome != Outcome::NotPermitted) {
            return outcome == Outcome::Done;
        }
        // In place, so a link to the old file would not keep its content.
        return old.IsOpen() && (keepAs.empty() || KeepByCopy(FilePlace::Open(keepAs))) && OverwriteFile(old, content);
    }

private:
    /// Opens the folder and the file, if there is one. Without `old`, errno says why.
    void OpenPlace(const std::string& path) {
        place = FilePlace::Open(path);
        if (!place.folder.IsOpen()) {
            return;
        }
        // Reading is of use but not needed.
        old = OpenOld(O_RDWR);
        if (!old.IsOpen() && errno == EACCES) {
            old = OpenOld(O_WRONLY);
        }
    }

    FileDescriptor OpenOld(int access) const {
        constexpr int flags = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
        return FileDescriptor(
            RetryOnInterrupt([&] { return openat(place.folder.Get(), place.name.c_str(), access | flags); }));
    }

    Outcome MoveNewOver(const std::string& content, const std::string& keepAs) const {
        TemporaryFile fresh(place);
        if (!(old.IsOpen() ? fresh.CreateLike(old, status) : fresh.Create())) {
            return Refusal(errno);
        }
        if (!WriteAndSync(fresh.File(), content) || !Keep(keepAs)) {
            return Outcome::Failed;
        }
        if (!fresh.MoveOver()) {
            return Refusal(errno);
        }
        return SyncFolder(place, fresh.File()) ? Outcome::Done : Outcome::Failed;
    }

    /// Tells lack of rights, where writing in place may still be allowed, from failure.
    static Outcome Refusal(int error) {
        switch (error) {
        case EACCES:
        case EPERM:
        case EROFS:
        case EINVAL: // an owner that this user namespace cannot name
        case EBUSY:  // the file is a mount point
            return Outcome::NotPermitted;
        default:
            return Outcome::Failed;
        }
    }

    bool Keep(const std::string& keepAs) const {
        if (keepAs.empty() || !old.IsOpen()) {
            return true;
        }
        const FilePlace kept = FilePlace::Open(keepAs);
        return kept.folder.IsOpen() && (KeepByLink(kept) || KeepByCopy(kept));
    }

    bool KeepByLink(const FilePlace& kept) const {
        if (!Link(kept)) {
            if (errno != EEXIST || unlinkat(kept.folder.Get(), kept.name.c_str(), 0) != 0 || !Link(kept)) {
                return false;
            }
        }
        return SyncFolder(kept, old);
    }

    bool Link(const FilePlace& kept) const {
        return linkat(place.folder.Get(), place.name.c_str(), kept.folder.Get(), kept.name.c_str(), 0) == 0;
    }

    bool KeepByCopy(const FilePlace& kept) const {
        if (!kept.folder.IsOpen()) {
            return false;
        }
        const FileDescriptor source = OpenOld(O_RDONLY);
        TemporaryFile copy(kept);
        return source.IsOpen() && copy.CreateLike(old, status) && CopyAll(source.Get(), copy.File().Get()) &&
               Sync(copy.File()) && copy.MoveOver() && SyncFolder(kept, copy.File());
    }

    FilePlace place;
    FileDescriptor old; ///< empty when there is no file yet
    struct stat status = {};
};

} // namespace

bool ReplaceFile(const std::string& path, const std::string& content, const std::string& keepAs) {
    Replacement replacement;
    return replacement.Open(path) && replacement.Run(content, keepAs);
}

} // namespace Vantor
