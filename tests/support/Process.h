// A program that a test starts, feeds and waits for.
#pragma once

#include "tests/support/Wait.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace Support {

/// How a program ended.
struct Ending {
    int status = 0;     ///< exit status; -1 if a signal ended it
    int signal = 0;     ///< that signal, else 0
    std::string output; ///< what it wrote to standard output
    std::string errors; ///< what it wrote to standard error
};

/// Starts a program at construction; its output goes to files, so that no full pipe can block it.
/// Ends it by SIGKILL at destruction if it still runs.
class Process {
public:
    using Environment = std::map<std::string, std::string>;

    /// @param command      program (searched in PATH) and arguments
    /// @param environment  set on top of the test's own; an empty value removes the variable
    explicit Process(const std::vector<std::string>& command, const Environment& environment = {});
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    [[nodiscard]] pid_t pid() const { return pid_; }
    [[nodiscard]] bool running();
    void signal(int number) const;
    /// @return how it ended; nothing if it still runs after the limit
    [[nodiscard]] std::optional<Ending> wait(Milliseconds limit = kPatience);
    /// What it has written so far.
    [[nodiscard]] std::string output() const;
    [[nodiscard]] std::string errors() const;

private:
    pid_t pid_ = -1;
    int outputFile_ = -1;
    int errorFile_ = -1;
    std::optional<int> waitStatus_;
};

/// Runs a program to its end. One that takes longer than the limit is killed and yields the signal 9.
[[nodiscard]] Ending run(const std::vector<std::string>& command, const Process::Environment& environment = {},
                         Milliseconds limit = kPatience);

} // namespace Support
