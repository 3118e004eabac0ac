#include "util/FileSystemLinux.h"

#include <cerrno>
#include <cstdlib>
#include <memory>

#include <dirent.h>
#include <sys/stat.h>

#include "posix/Place.h"

namespace Vantor {

namespace {

struct DirectoryCloser {
    void operator()(DIR* directory) const { closedir(directory); }
};

void ListEntries(const std::string& dir, unsigned char type, std::vector<std::string>& names) {
    const std::unique_ptr<DIR, DirectoryCloser> directory(opendir(dir.c_str()));
    if (!directory) {
        return;
    }
    while (const dirent* entry = readdir(directory.get())) {
        if (entry->d_type == type) {
            names.emplace_back(entry->d_name);
        }
    }
}

std::string Environment(const char* variable, const char* otherwise) {
    const char* value = std::getenv(variable);
    return value != nullptr ? value : otherwise;
}

} // namespace

bool DirectoryExists(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool CreateOneDir(const std::string& path) {
    struct stat status {};
    if (path.empty() || stat(path.c_str(), &status) == 0) {
        return true;
    }
    const Place place = Locate(path.substr(0, path.find_last_not_of('/') + 1));
    return mkdirat(place.folder.Get(), place.name.c_str(), 0777) == 0 || errno == EEXIST;
}

bool CreateDirectories(const std::string& path) {
    for (auto slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1)) {
        if (!CreateOneDir(path.substr(0, slash))) {
            return false;
        }
    }
    return true;
}

void ListAllSubDirectories(const std::string& dir, std::vector<std::string>& names) {
    ListEntries(dir, DT_DIR, names);
}

void ListAllFilesInDirectory(const std::string& dir, std::vector<std::string>& names) {
    ListEntries(dir, DT_REG, names);
}

std::string GetTempDir() {
    return Environment("TMPDIR", "/tmp/");
}

std::string GetUserDir() {
    return Environment("HOME", "");
}

std::string GetAllUsersDir() {
    return "/etc/";
}

std::string GetSystemLogDir() {
    return "/var/log/";
}

} // namespace Vantor
