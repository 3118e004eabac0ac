// Runs a piece of work in a child process and interferes at its system calls.
#pragma once

#include <cstddef>
#include <functional>

namespace Support {

/// One stop of the traced child: just before the kernel starts a system call, or just after it has ended one. The child
/// stands still while the stop is judged.
struct Stop {
    std::size_t index; ///< counts all stops of the run from 0
    long number;       ///< SYS_... number of the call
    bool entering;     ///< true before the call, false after it
};

/// What to do at a stop.
struct Action {
    enum class Kind {
        Continue,
        Kill,    ///< as SIGKILL does: a call that was about to be made is not made
        Release, ///< lets the child run to its end without another stop
        Fail,    ///< on entering only: the call is not made and seems to have failed
        Shorten, ///< on entering only: halves the byte count of a write
    };
    Kind kind = Kind::Continue;
    int error = 0; ///< for Fail, as in errno
};

/// How a traced child ended.
struct Outcome {
    bool killed = false;   ///< by Action::Kind::Kill
    int status = -1;       ///< the work's own result otherwise; -1 when it crashed
    std::size_t stops = 0; ///< how many stops there were
};

/// Forks, runs `work` in the child under ptrace, asks `decide` at every stop and does as it says. The child ends with
/// the result of `work`, of which the low eight bits count. Throws when no child can be traced.
Outcome trace(const std::function<int()>& work, const std::function<Action(const Stop&)>& decide);

/// The same, where the child is left alone up to the stop of this index. @return Outcome::stops is at most `index` when
/// the child ended before
Outcome traceTo(std::size_t index, const std::function<int()>& work, const std::function<Action()>& decide);

} // namespace Support
