// Work in a child process that reports by messages and can be given up.
#pragma once

#include "diag/record/Records.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include <sys/types.h>

namespace Diag {

/// What parent and child share: the child's last sign of life.
struct SignOfLife {
    std::atomic<std::int64_t> time{0};      ///< of the monotonic clock, in nanoseconds
    std::atomic<const char*> step{nullptr}; ///< what it was about to do then
};

/// The child's way to its parent.
class ParentProcess {
public:
    /// Both pipes' ends do not block.
    ParentProcess(int messagePipe, int bellPipe, SignOfLife& shared)
        : output(messagePipe), bell(bellPipe), life(shared) {}

    /// Sends one message, whole, and wakes the parent. Ends the process if the parent is gone.
    void Send(const std::string& message) const;
    /// The same without waking it: it finds the message with the next one that is sent, at the child's end, when the
    /// pipe is full or its time limit has passed. Waking a process costs as much as a call to the service does.
    void Leave(const std::string& message) const;
    /// Says what comes next. Costs next to nothing: the parent looks when it has waited too long.
    /// @param step  a literal, which has the same address in both processes
    void Announce(const char* step) const;

private:
    void Ring() const;

    int output;
    int bell;
    SignOfLife& life;
};

/// The child gets SIGKILL with this object, and when the parent dies.
class ChildProcess {
public:
    /// Starts `work` in a copy of this process. The child ends without unwinding when the work is done.
    /// Throws SystemError where the system does not give one.
    explicit ChildProcess(const std::function<void(const ParentProcess&)>& work);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    enum class News { Message, Silence, Interrupted, End };
    /// Waits for the next message.
    /// @param message  replaced by it; unchanged on Silence (neither message nor step within the limit), Interrupted (a
    ///                 signal's handler ran) and End (the child is gone)
    [[nodiscard]] News Receive(std::string& message, std::chrono::milliseconds limit);
    /// The same without waiting: Silence when there is no message yet.
    [[nodiscard]] News Check(std::string& message);
    /// How long ago its last sign of life was, or what was last taken from it: until then it may have been kept
    /// waiting.
    [[nodiscard]] std::chrono::nanoseconds Silent() const;
    /// For poll(2): can be read when the child has sent something or is gone.
    [[nodiscard]] int Bell() const { return bell; }

    /// What the child last announced; empty for nothing.
    [[nodiscard]] std::string LastStep() const;

private:
    [[nodiscard]] bool TakeMessage(std::string& message);
    [[nodiscard]] bool Fetch();
    void HearBell();

    struct Unmapped {
        void operator()(SignOfLife* memory) const;
    };

    std::unique_ptr<SignOfLife, Unmapped> life;
    pid_t process = -1;
    int input = -1;
    int bell = -1;
    bool isGone = false;
    std::int64_t lastFetch = 0; ///< as SignOfLife::time
    std::string received;
};

} // namespace Diag
