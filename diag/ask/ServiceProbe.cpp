#include "diag/ask/ServiceProbe.h"

#include <winscard.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace Diag {

namespace {

namespace fs = std::filesystem;

constexpr char DaemonName[] = "pcscd";
constexpr char DefaultSocket[] = "/run/pcscd/pcscd.comm";
constexpr char NumberFile[] = "/run/pcscd/pcscd.pid";
constexpr const char* ProgramFolders[] = {"/usr/sbin/", "/usr/local/sbin/", "/sbin/", "/usr/bin/", "/usr/local/bin/"};

/// The client library takes the same variable.
std::string SocketPath() {
    const char* const path = std::getenv("PCSCLITE_CSOCK_NAME");
    return path == nullptr ? DefaultSocket : path;
}

std::string FindProgram() {
    for (const char* const folder : ProgramFolders) {
        std::string path = std::string(folder) + DaemonName;
        if (access(path.c_str(), X_OK) == 0) {
            return path;
        }
    }
    return std::string();
}

bool IsNumber(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// A process that is ending has closed its sockets before it shows this by its state.
bool IsEnding(char state, unsigned long flags) {
    constexpr unsigned long Exiting = 0x4; // PF_EXITING of the kernel
    return state == 'Z' || state == 'X' || (flags & Exiting) != 0;
}

/// "PID (NAME) STATE ...", proc(5): the name may hold anything, so it ends at the last parenthesis.
/// @return false also for one that has ended and waits for its parent
bool IsDaemon(const fs::path& folder, char& state) {
    std::string line;
    std::ifstream file(folder / "stat");
    std::getline(file, line);
    const std::size_t open = line.find('(');
    const std::size_t close = line.rfind(')');
    if (open == std::string::npos || close == std::string::npos || close + 2 >= line.size() ||
        line.substr(open + 1, close - open - 1) != DaemonName) {
        return false;
    }
    std::istringstream fields(line.substr(close + 2));
    std::string ignored;
    unsigned long flags = 0;
    fields >> state >> ignored >> ignored >> ignored >> ignored >> ignored >> flags;
    return !IsEnding(state, flags);
}

/// @param number  its process id in decimal digits
bool TakeProcess(const std::string& number, ServiceFacts& facts) {
    char state = '\0';
    if (!IsNumber(number) || !IsDaemon(fs::path("/proc") / number, state)) {
        return false;
    }
    facts.process = std::atoi(number.c_str());
    facts.processState = state;
    return true;
}

/// By the number that the daemon left, which saves looking at every process there is; else among all of them.
void FindProcess(ServiceFacts& facts) {
    std::string number;
    std::ifstream file(NumberFile);
    file >> number;
    if (TakeProcess(number, facts)) {
        return;
    }
    std::error_code error;
    for (fs::directory_iterator entry("/proc", error), end; !error && entry != end; entry.increment(error)) {
        if (TakeProcess(entry->path().filename().string(), facts)) {
            return;
        }
    }
}

ServiceState JudgeUnconnected(const ServiceFacts& facts) {
    switch (facts.connectError) {
    case EACCES:
    case EPERM:
        return ServiceState::NoPermission;
    case EAGAIN: // so many wait already that no more are let in
        return ServiceState::NotAnswering;
    default:
        break;
    }
    if (facts.process != 0) {
        return ServiceState::NotReachable;
    }
    return facts.program.empty() ? ServiceState::NotInstalled : ServiceState::NotRunning;
}

/// Somebody listens at the socket, and still the library got no context.
ServiceState JudgeConnected(long code) {
    switch (code) {
    case SCARD_E_SERVICE_STOPPED:
        return ServiceState::ProtocolMismatch;
    case SCARD_E_NO_SERVICE:
    case SCARD_F_COMM_ERROR:
    case SCARD_E_NO_ACCESS:
    case SCARD_W_SECURITY_VIOLATION:
        return ServiceState::Refused;
    default:
        return ServiceState::Failed;
    }
}

/// The service gave a context, and was gone before everything was asked.
bool WentAway(const ServiceFacts& facts, const PcscFacts& asked) {
    const bool isClosed = facts.connectError == ENOENT || facts.connectError == ECONNREFUSED;
    return asked.contextCode == SCARD_S_SUCCESS &&
           (isClosed || asked.listCode == SCARD_E_NO_SERVICE || asked.listCode == SCARD_E_SERVICE_STOPPED ||
            asked.listCode == SCARD_F_COMM_ERROR ||
            std::any_of(asked.readers.begin(), asked.readers.end(), LostService));
}

ServiceState JudgeState(const ServiceFacts& facts, const PcscFacts& asked) {
    if (asked.obstacle.number != 0) {
        return ServiceState::NotAsked;
    }
    if (!asked.hangingCall.empty() || !asked.answered) {
        return ServiceState::NotAnswering;
    }
    if (asked.contextCode == SCARD_S_SUCCESS) {
        return WentAway(facts, asked) ? ServiceState::Failed : ServiceState::Fine;
    }
    return facts.connectError == 0 ? JudgeConnected(asked.contextCode) : JudgeUnconnected(facts);
}

} // namespace

ServiceFacts LookForService() {
    ServiceFacts facts;
    facts.socket = SocketPath();
    facts.program = FindProgram();
    FindProcess(facts);
    return facts;
}

int TryToConnect(const std::string& socket) {
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (socket.size() >= sizeof(address.sun_path)) {
        return ENAMETOOLONG;
    }
    std::memcpy(address.sun_path, socket.c_str(), socket.size() + 1);
    const int connection = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (connection < 0) {
        return errno;
    }
    const bool connected = connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    const int error = connected ? 0 : errno;
    close(connection);
    return error;
}

Service JudgeService(const ServiceFacts& facts, const PcscFacts& asked) {
    Service service;
    service.state = JudgeState(facts, asked);
    service.code = service.state == ServiceState::Failed && asked.contextCode == SCARD_S_SUCCESS ? SCARD_E_NO_SERVICE
                                                                                                 : asked.contextCode;
    service.answered = asked.answered;
    service.call = asked.hangingCall;
    service.obstacle = asked.obstacle;
    service.socket = facts.socket;
    service.program = facts.program;
    service.process = facts.process;
    service.processState = facts.processState;
    return service;
}

} // namespace Diag
