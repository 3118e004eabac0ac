#include "diag/ChildProcess.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>

#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Diag {

namespace {

using Length = std::uint32_t;
using Clock = std::chrono::steady_clock;

void Send(int output, const std::string& message) {
    const auto length = static_cast<Length>(message.size());
    std::string bytes(reinterpret_cast<const char*>(&length), sizeof(length));
    bytes += message;
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = write(output, bytes.data() + sent, bytes.size() - sent);
        if (count > 0) {
            sent += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            _exit(1);
        }
    }
}

[[noreturn]] void Work(int output, pid_t parent, const std::function<void(const SendMessage&)>& work) {
    signal(SIGPIPE, SIG_IGN);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(1);
    }
    work([output](const std::string& message) { Send(output, message); });
    _exit(0);
}

} // namespace

ChildProcess::ChildProcess(const std::function<void(const SendMessage&)>& work) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) {
        return;
    }
    const pid_t parent = getpid();
    process = fork();
    if (process == 0) {
        close(ends[0]);
        Work(ends[1], parent, work);
    }
    close(ends[1]);
    input = ends[0];
}

ChildProcess::~ChildProcess() {
    if (input >= 0) {
        close(input);
    }
    if (process > 0) {
        kill(process, SIGKILL);
        while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
}

bool ChildProcess::TakeMessage(std::string& message) {
    Length length = 0;
    if (received.size() < sizeof(length)) {
        return false;
    }
    std::memcpy(&length, received.data(), sizeof(length));
    if (received.size() - sizeof(length) < length) {
        return false;
    }
    message = received.substr(sizeof(length), length);
    received.erase(0, sizeof(length) + length);
    return true;
}

ChildProcess::News ChildProcess::Receive(std::string& message, std::chrono::milliseconds limit) {
    const auto end = Clock::now() + limit;
    while (!TakeMessage(message)) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        struct pollfd news = {input, POLLIN, 0};
        const int ready = poll(&news, 1, static_cast<int>(left > 0 ? left : 0));
        if (ready == 0) {
            return News::Silence;
        }
        if (ready < 0) {
            return errno == EINTR ? News::Interrupted : News::End;
        }
        std::array<char, 65536> chunk{};
        const ssize_t count = read(input, chunk.data(), chunk.size());
        if (count <= 0) {
            return News::End;
        }
        received.append(chunk.data(), static_cast<std::size_t>(count));
    }
    return News::Message;
}

} // namespace Diag
