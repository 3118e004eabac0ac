#include "posix/Place.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <utility>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Vantor {

namespace {

constexpr int mostLinks = 40; // as in the kernel

FileDescriptor OpenFolder(int from, const std::string& name) {
    return FileDescriptor(openat(from, name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

// In one call where no link is on the way, as almost always.
FileDescriptor OpenWithoutLinks(const std::string& path) {
    struct open_how how {};
    how.flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
    how.resolve = RESOLVE_NO_SYMLINKS;
    return FileDescriptor(static_cast<int>(syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof(how))));
}

FileDescriptor StartOf(const std::string& path) {
    return OpenFolder(AT_FDCWD, !path.empty() && path.front() == '/' ? "/" : ".");
}

// Reads the link that was judged, whatever has its name now. Empty, with errno set, for what must not be followed.
std::string ReadTrustedLink(int folder, const std::string& name) {
    const FileDescriptor link(openat(folder, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (fstat(link.Get(), &status) != 0) {
        return {};
    }
    errno = S_ISLNK(status.st_mode) ? EACCES : ENOTDIR;
    if ((status.st_uid != 0 && status.st_uid != geteuid()) || status.st_nlink > 1) {
        return {};
    }
    std::array<char, PATH_MAX> target{};
    const ssize_t length = S_ISLNK(status.st_mode) ? readlinkat(link.Get(), "", target.data(), target.size()) : 0;
    return {target.data(), length > 0 ? static_cast<std::size_t>(length) : 0};
}

std::string TakeFirstName(std::string& path) {
    const auto begin = std::min(path.find_first_not_of('/'), path.size());
    const auto end = std::min(path.find('/', begin), path.size());
    std::string name = path.substr(begin, end - begin);
    path.erase(0, end);
    return name;
}

FileDescriptor Walk(FileDescriptor folder, std::string path) {
    for (int links = 0; folder.IsOpen() && path.find_first_not_of('/') != std::string::npos;) {
        const std::string name = TakeFirstName(path);
        FileDescriptor next = OpenFolder(folder.Get(), name);
        if (!next.IsOpen() && errno == ENOTDIR) {
            const std::string target = ReadTrustedLink(folder.Get(), name);
            if (target.empty() || ++links > mostLinks) {
                errno = target.empty() ? errno : ELOOP;
                return {};
            }
            path.insert(0, target);
            next = target.front() == '/' ? StartOf(target) : std::move(folder);
        }
        folder = std::move(next);
    }
    return folder;
}

std::string FolderOf(const std::string& path) {
    return path.substr(0, path.rfind('/') + 1); // without a '/' nothing
}

std::string NameOf(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

} // namespace

Place Locate(const std::string& path) {
    const std::string folder = FolderOf(path);
    FileDescriptor opened = OpenWithoutLinks(folder.empty() ? "." : folder);
    return {opened.IsOpen() ? std::move(opened) : Walk(StartOf(path), folder), NameOf(path)};
}

bool FollowLink(Place& place) {
    const std::string target = ReadTrustedLink(place.folder.Get(), place.name);
    if (target.empty()) {
        return false;
    }
    FileDescriptor start = target.front() == '/' ? StartOf(target) : std::move(place.folder);
    place = {Walk(std::move(start), FolderOf(target)), NameOf(target)};
    return place.folder.IsOpen();
}

} // namespace Vantor
