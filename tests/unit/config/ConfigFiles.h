// What the tests of this folder share: the files on the private machine, and another process's view of them.
#pragma once

#include "config/Config.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

namespace test {

inline const std::string MachineFile = "/etc/vantor/lumoclient/config";
inline const std::string MachineFolder = "/etc/vantor/lumoclient";
inline const std::string Declaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";

inline std::string UserFile() {
    return std::string(getenv("HOME")) + "/.vantor/lumoclient/config";
}

inline std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

inline void WriteFile(const std::string& path, const std::string& bytes) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << bytes;
    file.close();
    ASSERT_TRUE(file.good()) << path;
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

/// A registry on the client's files that knows nothing yet, as another program would open them now.
inline Vantor::Config* OpenFresh() {
    Vantor::Config* const config = Vantor::Config::GetHandle(Vantor::Config::Register());
    config->Init("lumoclient");
    return config;
}

/// What another process, started now, reads as the string at a path and key.
inline testing::AssertionResult AnotherProcessReads(const std::string& path, const std::string& key,
                                                    const std::string& expected,
                                                    Vantor::ConfigType type = Vantor::CONFIG_ALLUSERS) {
    const bool same = InAnotherProcess([&] {
        Vantor::Config* const config = OpenFresh();
        std::string value = "unset";
        config->AddConfig(1, type, key, path, Vantor::SYSTYPE_FIRST);
        return config->GetString(1, value) && value == expected;
    });
    return same ? testing::AssertionSuccess()
                : testing::AssertionFailure()
                      << "another process does not read \"" << expected << "\" at " << path << "\\" << key;
}

} // namespace test
