#include "tests/support/Pcscd.h"

#include "tests/support/Process.h"

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace Support::Pcscd {

namespace {

std::string steer(std::vector<std::string> command) {
    command[0].insert(0, "--");
    command.insert(command.begin(), LUMOADMIN_SCRIPTS "/with-pcscd");
    const auto ending = Support::run(command, {}, Milliseconds(60000));
    if (ending.status != 0)
        throw std::runtime_error(command[0] + " " + command[1] + ": " + ending.errors);
    return ending.output;
}

// Inodes of connected sockets at the service's end, from the kernel's table of local sockets.
std::set<std::string> connectedSockets() {
    constexpr auto connected = "03";
    std::set<std::string> inodes;
    std::ifstream table("/proc/net/unix");
    for (std::string line; std::getline(table, line);) {
        std::istringstream fields(line);
        std::string number, references, protocol, flags, type, state, inode, path;
        fields >> number >> references >> protocol >> flags >> type >> state >> inode >> path;
        if (state == connected && path == "/run/pcscd/pcscd.comm")
            inodes.insert("socket:[" + inode + "]");
    }
    return inodes;
}

} // namespace

std::vector<SimulatedReader> serve(int count, const std::string& cards) {
    stop();
    std::filesystem::remove_all("/run/simreader");
    steer({"serve", std::to_string(count), cards});
    std::vector<SimulatedReader> readers;
    for (int number = 0; number < count; ++number)
        readers.emplace_back(number);
    return readers;
}

void start() {
    steer({"start"});
}

void stop() {
    steer({"stop"});
}

void kill() {
    steer({"kill"});
}

void restart() {
    steer({"restart"});
}

void freeze() {
    steer({"freeze"});
}

void thaw() {
    steer({"thaw"});
}

pid_t pid() {
    return static_cast<pid_t>(std::stol(steer({"pid"})));
}

std::size_t openContexts() {
    // Other machines' daemons are in the kernel's table too: count those that this daemon holds.
    const auto sockets = connectedSockets();
    std::size_t count = 0;
    for (const auto& file : std::filesystem::directory_iterator("/proc/" + std::to_string(pid()) + "/fd")) {
        std::error_code gone;
        count += sockets.count(std::filesystem::read_symlink(file.path(), gone).string());
    }
    return count;
}

} // namespace Support::Pcscd
