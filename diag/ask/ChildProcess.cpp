#include "diag/ask/ChildProcess.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Diag {

namespace {

using Length = std::uint32_t;
using Clock = std::chrono::steady_clock;

std::int64_t Now() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
}

[[noreturn]] void Fail(const char* call) {
    throw SystemError{call, errno};
}

SignOfLife* ShareMemory() {
    void* const memory = mmap(nullptr, sizeof(SignOfLife), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        Fail("mmap");
    }
    return ::new (memory) SignOfLife;
}

/// Closed by itself unless it is taken away.
struct Pipe {
    Pipe() {
        if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
            Fail("pipe");
        }
    }
    ~Pipe() {
        CloseEnd(0);
        CloseEnd(1);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    void CloseEnd(std::size_t end) {
        if (ends.at(end) >= 0) {
            close(ends.at(end));
            ends.at(end) = -1;
        }
    }
    [[nodiscard]] int Take(std::size_t end) { return std::exchange(ends.at(end), -1); }

    std::array<int, 2> ends{-1, -1};
};

[[noreturn]] void Work(const ParentProcess& toParent, pid_t parent,
                       const std::function<void(const ParentProcess&)>& work) {
    signal(SIGPIPE, SIG_IGN);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(1);
    }
    work(toParent);
    _exit(0);
}

} // namespace

void ParentProcess::Send(const std::string& message) const {
    Leave(message);
    Ring();
}

void ParentProcess::Leave(const std::string& message) const {
    Announce(life.step);
    const auto length = static_cast<Length>(message.size());
    std::string bytes(reinterpret_cast<const char*>(&length), sizeof(length));
    bytes += message;
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = write(output, bytes.data() + sent, bytes.size() - sent);
        if (count > 0) {
            sent += static_cast<std::size_t>(count);
        } else if (errno == EAGAIN) {
            Ring();
            struct pollfd room = {output, POLLOUT, 0};
            poll(&room, 1, -1);
        } else if (errno != EINTR) {
            _exit(1);
        }
    }
}

void ParentProcess::Ring() const {
    // Once more does not matter where nobody has heard all the times before.
    if (write(bell, "", 1) < 0 && errno == EPIPE) {
        _exit(1);
    }
}

void ParentProcess::Announce(const char* step) const {
    life.step = step;
    life.time = Now();
}

ChildProcess::ChildProcess(const std::function<void(const ParentProcess&)>& work) : life(ShareMemory()) {
    Pipe messages;
    Pipe rings;
    life->time = Now();
    const pid_t parent = getpid();
    process = fork();
    if (process == 0) {
        messages.CloseEnd(0);
        rings.CloseEnd(0);
        Work(ParentProcess(messages.ends[1], rings.ends[1], *life), parent, work);
    }
    if (process < 0) {
        Fail("fork");
    }
    input = messages.Take(0);
    bell = rings.Take(0);
}

ChildProcess::~ChildProcess() {
    close(input);
    close(bell);
    kill(process, SIGKILL);
    while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
    }
}

void ChildProcess::Unmapped::operator()(SignOfLife* memory) const {
    munmap(memory, sizeof(SignOfLife));
}

std::string ChildProcess::LastStep() const {
    const char* const step = life->step;
    return step == nullptr ? std::string() : step;
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

/// Takes what lies in the pipe. @return false for nothing
bool ChildProcess::Fetch() {
    std::array<char, 65536> chunk; // NOLINT(cppcoreguidelines-pro-type-member-init): read fills it
    const ssize_t count = read(input, chunk.data(), chunk.size());
    if (count <= 0) {
        return false;
    }
    received.append(chunk.data(), static_cast<std::size_t>(count));
    lastFetch = Now();
    return true;
}

void ChildProcess::HearBell() {
    std::array<char, 64> rings{};
    isGone = isGone || read(bell, rings.data(), rings.size()) == 0;
}

std::chrono::nanoseconds ChildProcess::Silent() const {
    return std::chrono::nanoseconds(Now() - std::max(life->time.load(), lastFetch));
}

ChildProcess::News ChildProcess::Check(std::string& message) {
    HearBell(); // first: who is gone has sent everything
    while (!TakeMessage(message)) {
        if (!Fetch()) {
            return isGone ? News::End : News::Silence;
        }
    }
    return News::Message;
}

ChildProcess::News ChildProcess::Receive(std::string& message, std::chrono::milliseconds limit) {
    const std::int64_t began = Now();
    for (;;) {
        const News news = Check(message);
        if (news != News::Silence) {
            return news;
        }
        const std::int64_t lastSign = std::max(began, life->time.load());
        const std::chrono::nanoseconds left(lastSign + std::chrono::nanoseconds(limit).count() - Now());
        if (left.count() <= 0) {
            return News::Silence;
        }
        struct pollfd ring = {bell, POLLIN, 0};
        const auto timeout = std::chrono::ceil<std::chrono::milliseconds>(left).count();
        if (poll(&ring, 1, static_cast<int>(timeout)) < 0) {
            return errno == EINTR ? News::Interrupted : News::End;
        }
    }
}

} // namespace Diag
