// Work in a child process that reports by messages and can be given up.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include <sys/types.h>

namespace Diag {

/// Sends one message to the parent, whole. Ends the process if the parent is gone.
using SendMessage = std::function<void(const std::string&)>;

/// The child gets SIGKILL with this object, and when the parent dies.
class ChildProcess {
public:
    /// Starts `work` in a copy of this process. It must not return to code that assumes the parent's role: the child
    /// ends without unwinding when the work is done.
    explicit ChildProcess(const std::function<void(const SendMessage&)>& work);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    enum class News { Message, Silence, Interrupted, End };
    /// Waits for the next message.
    /// @param message  replaced by it; unchanged on Silence (nothing came within the limit), Interrupted (a signal's
    ///                 handler ran) and End (the child is gone)
    [[nodiscard]] News Receive(std::string& message, std::chrono::milliseconds limit);

private:
    [[nodiscard]] bool TakeMessage(std::string& message);

    pid_t process = -1;
    int input = -1;
    std::string received;
};

} // namespace Diag
