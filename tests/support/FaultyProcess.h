// A process whose file system calls fail when a test wants them to.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace Support {

/// What becomes of a call.
struct Fault {
    enum Kind { None, Error, ShortWrite };
    Kind kind = None;
    int error = 0; ///< of Error, as in errno
};

/// One call that a test may spoil.
struct FileCall {
    std::size_t index; ///< counts from 0
    std::string name;  ///< of the system call, such as "fsync"
};

/// How the process ended.
struct FaultyRun {
    bool finished = false;  ///< by itself, not by a signal
    bool succeeded = false; ///< and the function returned true
    std::size_t calls = 0;  ///< file system calls that it made
};

/// Runs a function in a process of its own, a copy of this one, and asks `spoil` before each of its calls that concern
/// files. A short write writes half of the bytes and says so.
[[nodiscard]] FaultyRun runWithFaults(const std::function<bool()>& body,
                                      const std::function<Fault(const FileCall&)>& spoil);

} // namespace Support
