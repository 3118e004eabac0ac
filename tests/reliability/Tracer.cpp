#include "tests/reliability/Tracer.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <elf.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

namespace reliability {
namespace {

constexpr int kSystemCallStop = SIGTRAP | 0x80;

/// The child's registers; the three that matter differ by processor.
class Registers {
public:
    explicit Registers(pid_t pid) : pid_(pid) { transfer(PTRACE_GETREGSET); }
    void store() { transfer(PTRACE_SETREGSET); }

#if defined(__x86_64__)
    long number() const {
        return static_cast<long>(values_.orig_rax);
    }
    void skipCall() {
        values_.orig_rax = static_cast<unsigned long long>(-1);
    }
    void setResult(long value) {
        values_.rax = static_cast<unsigned long long>(value);
    }
    void halveThirdArgument() {
        values_.rdx /= 2;
    }
#elif defined(__aarch64__)
    long number() const {
        return static_cast<long>(values_.regs[8]);
    }
    void skipCall() {
        int none = -1;
        iovec part{&none, sizeof none};
        ptrace(PTRACE_SETREGSET, pid_, NT_ARM_SYSTEM_CALL, &part);
    }
    void setResult(long value) {
        values_.regs[0] = static_cast<unsigned long long>(value);
    }
    void halveThirdArgument() {
        values_.regs[2] /= 2;
    }
#else
#error "Tell here where this processor keeps number, result and third argument of a system call."
#endif

private:
    template <class Request>
    void transfer(Request request) {
        iovec part{&values_, sizeof values_};
        ptrace(request, pid_, NT_PRSTATUS, &part);
    }

    pid_t pid_;
    user_regs_struct values_{};
};

[[noreturn]] void runChild(const std::function<int()>& work) {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    _exit(work());
}

void applyOnEntry(pid_t pid, const Action& action) {
    Registers registers(pid);
    if (action.kind == Action::Kind::Fail) {
        registers.skipCall();
    } else {
        registers.halveThirdArgument();
    }
    registers.store();
}

void applyOnExit(pid_t pid, const Action& action) {
    Registers registers(pid);
    registers.setResult(-action.error);
    registers.store();
}

Outcome finish(pid_t pid, Outcome outcome, int state) {
    if (!WIFEXITED(state) && !WIFSIGNALED(state)) {
        kill(pid, SIGKILL);
        waitpid(pid, &state, 0);
    }
    outcome.status = WIFEXITED(state) ? WEXITSTATUS(state) : -1;
    return outcome;
}

} // namespace

Outcome trace(const std::function<int()>& work, const std::function<Action(const Stop&)>& decide) {
    const pid_t pid = fork();
    if (pid == 0) {
        runChild(work);
    }
    Outcome outcome;
    int state = 0;
    waitpid(pid, &state, 0);
    ptrace(PTRACE_SETOPTIONS, pid, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    bool entering = true;
    Action pending;
    long signal = 0;
    while (ptrace(PTRACE_SYSCALL, pid, nullptr, signal) == 0 && waitpid(pid, &state, 0) == pid && WIFSTOPPED(state)) {
        if (WSTOPSIG(state) != kSystemCallStop) {
            signal = WSTOPSIG(state);
            continue;
        }
        signal = 0;
        const Action action = decide({outcome.stops++, Registers(pid).number(), entering});
        if (action.kind == Action::Kind::Kill) {
            outcome.killed = true;
            return finish(pid, outcome, state);
        }
        if (entering && action.kind != Action::Kind::Continue) {
            applyOnEntry(pid, action);
            pending = action;
        } else if (!entering && pending.kind == Action::Kind::Fail) {
            applyOnExit(pid, pending);
        }
        if (!entering) {
            pending = {};
        }
        entering = !entering;
    }
    return finish(pid, outcome, state);
}

} // namespace reliability
