#include "util/FilePlace.h"

#include "posix/Place.h"
#include "posix/SystemCalls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace Vantor {

namespace {

/// As many links as the kernel follows.
constexpr int MaxLinks = 40;

FileDescriptor OpenAt(int folder, const std::string& name, int flags) {
    return FileDescriptor(RetryOnInterrupt([&] { return openat(folder, name.c_str(), flags | O_CLOEXEC); }));
}

bool IsLink(const Place& place) {
    struct stat status = {};
    return fstatat(place.folder.Get(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISLNK(status.st_mode);
}

/// @return false on failure, with errno set
bool FollowLinks(Place& place) {
    for (int links = 0; IsLink(place); ++links) {
        if (links == MaxLinks) {
            errno = ELOOP;
            return false;
        }
        if (!FollowLink(place)) {
            return false;
        }
    }
    return true;
}

} // namespace

FilePlace FilePlace::Open(const std::string& path, LastName last) {
    Place found = Locate(path);
    if (!found.folder.IsOpen() || (last == LastName::Follow && !FollowLinks(found))) {
        return {};
    }
    if (found.name.empty()) {
        errno = EISDIR;
        return {};
    }
    FilePlace place;
    place.name = found.name;
    place.folder = OpenAt(found.folder.Get(), ".", O_RDONLY | O_DIRECTORY);
    place.listable = place.folder.IsOpen();
    if (!place.listable && errno == EACCES) {
        place.folder = std::move(found.folder);
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
