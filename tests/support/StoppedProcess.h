// A process that can be looked at, or ended, before and after each of its system calls.
#pragma once

#include <functional>

#include <sys/types.h>

namespace Support {

/// Runs a function in a process of its own, a copy of this one, that stops at every entry to and return from the
/// kernel. What still runs at the end is killed.
class StoppedProcess {
public:
    /// The process stands before the function afterwards.
    explicit StoppedProcess(const std::function<bool()>& body);
    StoppedProcess(const StoppedProcess&) = delete;
    StoppedProcess& operator=(const StoppedProcess&) = delete;
    ~StoppedProcess();

    /// Lets it run to the next stop. @return false when it has ended instead
    bool next();
    /// Ends it where it stands, as SIGKILL does: a call that it was about to make is not made.
    void kill();
    /// Whether it has ended by itself and the function returned true.
    [[nodiscard]] bool succeeded() const { return succeeded_; }

private:
    pid_t pid_ = -1; ///< -1 once it has ended
    bool succeeded_ = false;
};

} // namespace Support
