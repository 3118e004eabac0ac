#include "util/FilePlace.h"

#include "posix/SystemCalls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <utility>
#include <vector>

namespace Vantor {

namespace {

/// As many links as the kernel follows.
constexpr int MaxLinks = 40;

FileDescriptor OpenAt(int folder, const std::string& name, int flags) {
    return FileDescriptor(RetryOnInterrupt([&] { return openat(folder, name.c_str(), flags | O_CLOEXEC); }));
}

FileDescriptor StartOf(const std::string& path) {
    return OpenAt(AT_FDCWD, path.compare(0, 1, "/") == 0 ? "/" : ".", O_PATH | O_DIRECTORY);
}

bool MayBeFollowed(const struct stat& link) {
    return (link.st_uid == 0 || link.st_uid == geteuid()) && link.st_nlink <= 1;
}

/// Reads the link that was judged, whatever has its name now. @return false for one that must not be followed
bool ReadLink(const FileDescriptor& link, const struct stat& status, std::string& target) {
    std::vector<char> text(PATH_MAX);
    const ssize_t length = MayBeFollowed(status) ? readlinkat(link.Get(), "", text.data(), text.size()) : 0;
    if (length <= 0) {
        errno = EACCES;
        return false;
    }
    target.assign(text.data(), static_cast<std::size_t>(length));
    return true;
}

/// Goes along a path name by name.
class Walk {
public:
    explicit Walk(const std::string& path) : rest(path), folder(StartOf(path)) {}

    /// @return false on failure, with errno set
    bool ToLastName(FilePlace::LastName last) {
        while (folder.IsOpen() && TakeName()) {
            const bool isLast = rest.empty();
            if (isLast && last == FilePlace::LastName::Keep) {
                return true;
            }
            if (!isLast && EnterFolder()) {
                continue;
            }
            struct stat status = {};
            const FileDescriptor found = OpenAt(folder.Get(), name, O_PATH | O_NOFOLLOW);
            if (!found.IsOpen() || fstat(found.Get(), &status) != 0 || !S_ISLNK(status.st_mode)) {
                return isLast;
            }
            if (!Turn(found, status)) {
                return false;
            }
        }
        return false;
    }

    const std::string& Name() const { return name; }
    const FileDescriptor& Folder() const { return folder; }

private:
    bool TakeName() {
        const std::size_t begin = std::min(rest.find_first_not_of('/'), rest.size());
        const std::size_t end = std::min(rest.find('/', begin), rest.size());
        name = rest.substr(begin, end - begin);
        rest.erase(0, end);
        errno = EISDIR;
        return !name.empty();
    }

    bool EnterFolder() {
        FileDescriptor next = OpenAt(folder.Get(), name, O_PATH | O_NOFOLLOW | O_DIRECTORY);
        const bool entered = next.IsOpen();
        if (entered) {
            folder = std::move(next);
        }
        return entered;
    }

    bool Turn(const FileDescriptor& link, const struct stat& status) {
        std::string target;
        if (!ReadLink(link, status, target)) {
            return false;
        }
        if (++links > MaxLinks) {
            errno = ELOOP;
            return false;
        }
        if (target.front() == '/') {
            folder = StartOf(target);
        }
        rest.insert(0, target);
        return true;
    }

    std::string rest; ///< what is still to be gone, from the folder on
    std::string name;
    FileDescriptor folder;
    int links = 0;
};

} // namespace

FilePlace FilePlace::Open(const std::string& path, LastName last) {
    FilePlace place;
    Walk walk(path);
    if (!walk.ToLastName(last)) {
        return place;
    }
    place.name = walk.Name();
    place.folder = OpenAt(walk.Folder().Get(), ".", O_RDONLY | O_DIRECTORY);
    place.listable = place.folder.IsOpen();
    if (!place.listable && errno == EACCES) {
        place.folder = OpenAt(walk.Folder().Get(), ".", O_PATH | O_DIRECTORY);
    }
    return place;
}

FileDescriptor FilePlace::OpenFile(int access) const {
    return folder.IsOpen() ? OpenAt(folder.Get(), name, access | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY) : FileDescriptor();
}

bool FilePlace::Sync(const FileDescriptor& file) const {
    return listable ? Vantor::Sync(folder) : syncfs(file.Get()) == 0;
}

} // namespace Vantor
