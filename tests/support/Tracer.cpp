#include "tests/support/Tracer.h"

#include <csignal>
#include <stdexcept>

#include <elf.h>
#include <sched.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Support {

namespace {

// Tells stops at system calls from those that signals cause.
constexpr int systemCallStop = SIGTRAP | 0x80;

#if defined(__arm__)
using RegisterSet = user_regs;
#else
using RegisterSet = user_regs_struct;
#endif

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
#elif defined(__arm__)
    long number() const {
        return static_cast<long>(values_.uregs[7]);
    }
    void skipCall() {
        constexpr auto setSystemCall = static_cast<__ptrace_request>(23); // PTRACE_SET_SYSCALL
        ptrace(setSystemCall, pid_, nullptr, -1L);
    }
    void setResult(long value) {
        values_.uregs[0] = static_cast<unsigned long>(value);
    }
    void halveThirdArgument() {
        values_.uregs[2] /= 2;
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
    RegisterSet values_{};
};

/// Keeps this process and what it starts on one processor. Of a process and its tracer only one runs at a time; on two
/// processors each would wake up the other's at every stop.
class OneProcessor {
public:
    OneProcessor() {
        const int here = sched_getcpu();
        if (here < 0 || here >= CPU_SETSIZE || sched_getaffinity(0, sizeof all_, &all_) != 0) {
            return;
        }
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<std::size_t>(here), &one);
        pinned_ = sched_setaffinity(0, sizeof one, &one) == 0;
    }
    ~OneProcessor() { free(0); }
    OneProcessor(const OneProcessor&) = delete;
    OneProcessor& operator=(const OneProcessor&) = delete;

    /// Gives a process that was started here all processors back; 0 is this one.
    void free(pid_t pid) const {
        if (pinned_) {
            sched_setaffinity(pid, sizeof all_, &all_);
        }
    }

private:
    cpu_set_t all_{};
    bool pinned_ = false;
};

[[noreturn]] void runChild(const std::function<int()>& work) {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    _exit(work());
}

/// Does at a stop what was decided there. `pending` is what was decided before the call.
void apply(pid_t pid, bool entering, const Action& action, Action& pending) {
    if (action.kind == Action::Kind::Continue && pending.kind == Action::Kind::Continue) {
        return;
    }
    Registers registers(pid);
    if (entering && action.kind == Action::Kind::Fail) {
        registers.skipCall();
    } else if (entering && action.kind == Action::Kind::Shorten) {
        registers.halveThirdArgument();
    } else if (!entering && pending.kind == Action::Kind::Fail) {
        registers.setResult(-pending.error);
    } else {
        pending = {};
        return;
    }
    registers.store();
    pending = entering ? action : Action{};
}

/// The child, standing before its work.
pid_t startChild(const std::function<int()>& work) {
    const pid_t pid = fork();
    if (pid == 0) {
        runChild(work);
    }
    int state = 0;
    if (pid < 0 || waitpid(pid, &state, 0) != pid || !WIFSTOPPED(state) ||
        ptrace(PTRACE_SETOPTIONS, pid, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL) != 0) {
        throw std::runtime_error("no process could be started under control");
    }
    return pid;
}

/// Lets the child run to its next system call or return from one. @return false when it has ended instead
bool runToStop(pid_t pid, int& state) {
    long signal = 0; // the one that the child is to get
    while (ptrace(PTRACE_SYSCALL, pid, nullptr, signal) == 0 && waitpid(pid, &state, 0) == pid && WIFSTOPPED(state)) {
        if (WSTOPSIG(state) == systemCallStop) {
            return true;
        }
        signal = WSTOPSIG(state);
    }
    return false;
}

/// Traces a child; stops before the one of this index are passed without a look.
Outcome traceFrom(std::size_t first, const std::function<int()>& work,
                  const std::function<Action(const Stop&)>& decide) {
    const OneProcessor together;
    const pid_t pid = startChild(work);
    Outcome outcome;
    Action pending;
    int state = 0;
    for (bool entering = true; runToStop(pid, state); entering = !entering) {
        const std::size_t index = outcome.stops++;
        if (index < first) {
            continue;
        }
        const Action action = decide({index, Registers(pid).number(), entering});
        if (action.kind == Action::Kind::Kill || action.kind == Action::Kind::Release) {
            outcome.killed = action.kind == Action::Kind::Kill;
            together.free(pid);
            outcome.killed ? kill(pid, SIGKILL) : ptrace(PTRACE_DETACH, pid, nullptr, nullptr);
            waitpid(pid, &state, 0);
            break;
        }
        apply(pid, entering, action, pending);
    }
    outcome.status = WIFEXITED(state) ? WEXITSTATUS(state) : -1;
    return outcome;
}

} // namespace

Outcome trace(const std::function<int()>& work, const std::function<Action(const Stop&)>& decide) {
    return traceFrom(0, work, decide);
}

Outcome traceTo(std::size_t index, const std::function<int()>& work, const std::function<Action()>& decide) {
    return traceFrom(index, work, [&](const Stop& stop) { return stop.index == index ? decide() : Action{}; });
}

} // namespace Support
