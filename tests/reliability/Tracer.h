// Runs a piece of work in a child process and interferes at its system calls.
#pragma once

#include <cstddef>
#include <functional>

namespace reliability {

/// One stop of the traced child: just before the kernel starts a system call, or just after it has ended one.
struct Stop {
    std::size_t index; ///< counts all stops of the run from 0
    long number;       ///< SYS_... number of the call
    bool entering;     ///< true before the call, false after it
};

/// What to do at a stop.
struct Action {
    enum class Kind { Continue, Kill, Fail, Shorten };
    Kind kind = Kind::Continue;
    int error = 0; ///< for Fail: the errno that the child sees in place of the call, which is not made
};

struct Outcome {
    bool killed = false;   ///< ended by Action::Kind::Kill
    int status = -1;       ///< the work's own result otherwise; -1 when it crashed
    std::size_t stops = 0; ///< how many stops there were
};

/// Forks, runs `work` in the child under ptrace, asks `decide` at every stop and does as it says. Fail and Shorten are
/// honoured on entering only; Shorten halves the byte count of a write. The child ends with the result of `work`.
Outcome trace(const std::function<int()>& work, const std::function<Action(const Stop&)>& decide);

} // namespace reliability
