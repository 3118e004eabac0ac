#include "tests/support/StoppedProcess.h"

#include <csignal>
#include <stdexcept>
#include <utility>

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Support {

namespace {

// Tells stops at system calls from those that signals cause.
constexpr int SystemCallStop = SIGTRAP | 0x80;

// Exit status that no sanitizer and no library uses.
constexpr int Succeeded = 110;

} // namespace

StoppedProcess::StoppedProcess(const std::function<bool()>& body) : pid_(fork()) {
    if (pid_ == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        _exit(body() ? Succeeded : 1);
    }
    int status = 0;
    if (pid_ < 0 || waitpid(pid_, &status, 0) != pid_ || !WIFSTOPPED(status) ||
        ptrace(PTRACE_SETOPTIONS, pid_, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL) != 0) {
        throw std::runtime_error("no process could be started under control");
    }
}

StoppedProcess::~StoppedProcess() {
    kill();
}

bool StoppedProcess::next() {
    int pass = 0; // the signal that the process is to get
    while (pid_ > 0) {
        int status = 0;
        if (ptrace(PTRACE_SYSCALL, pid_, nullptr, pass) != 0 || waitpid(pid_, &status, 0) != pid_) {
            return false;
        }
        if (!WIFSTOPPED(status)) {
            pid_ = -1;
            succeeded_ = WIFEXITED(status) && WEXITSTATUS(status) == Succeeded;
            return false;
        }
        if (WSTOPSIG(status) == SystemCallStop) {
            return true;
        }
        pass = WSTOPSIG(status);
    }
    return false;
}

void StoppedProcess::kill() {
    if (pid_ > 0) {
        const pid_t ending = std::exchange(pid_, -1);
        ::kill(ending, SIGKILL);
        waitpid(ending, nullptr, 0);
    }
}

} // namespace Support
