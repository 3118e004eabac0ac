// What the tests of file replacement share.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test {

inline std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

inline void WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << bytes;
    file.close();
    ASSERT_TRUE(file.good()) << path;
}

inline std::vector<std::string> ListFolder(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

inline struct stat Status(const std::string& path) {
    struct stat status = {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status;
}

inline mode_t Mode(const std::string& path) {
    return Status(path).st_mode & 07777;
}

/// Runs something in a process of its own and tells whether it returned true.
inline bool InAnotherProcess(const std::function<bool()>& body) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(body() ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

constexpr uid_t OrdinaryUser = 65534;

/// Whether this machine lets the tests become another user; where root is but a name in a namespace, it does not.
inline bool CanBecomeAnother() {
    return InAnotherProcess([] { return setgid(OrdinaryUser) == 0 && setuid(OrdinaryUser) == 0; });
}

inline bool AsOrdinaryUser(const std::function<bool()>& body) {
    return InAnotherProcess([&] { return setgid(OrdinaryUser) == 0 && setuid(OrdinaryUser) == 0 && body(); });
}

/// A folder of its own for each test, on a file system in memory that the private machine alone sees.
class FileTest : public testing::Test {
protected:
    FileTest() { MountSmall("size=16m"); }

    /// Begins anew on a file system with these limits.
    void MountSmall(const std::string& limits) {
        std::filesystem::create_directories(folder);
        EXPECT_EQ(mount("files", folder.c_str(), "tmpfs", 0, ("mode=0755," + limits).c_str()), 0);
    }

    const std::string folder = "/mnt/home/files";
    const std::string file = folder + "/config";
};

} // namespace test
