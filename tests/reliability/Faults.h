// Runs a piece of work while its system calls fail.
#pragma once

#include "tests/support/Tracer.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <functional>
#include <iterator>

#include <sys/syscall.h>
#include <unistd.h>

namespace reliability {

/// What becomes of a call.
struct Fault {
    const char* name;
    Support::Action action;

    bool IsError() const { return action.kind == Support::Action::Kind::Fail; }
};

inline constexpr Fault Faults[] = {
    {"ENOSPC", {Support::Action::Kind::Fail, ENOSPC}}, {"EIO", {Support::Action::Kind::Fail, EIO}},
    {"EDQUOT", {Support::Action::Kind::Fail, EDQUOT}}, {"EROFS", {Support::Action::Kind::Fail, EROFS}},
    {"EACCES", {Support::Action::Kind::Fail, EACCES}}, {"EMFILE", {Support::Action::Kind::Fail, EMFILE}},
    {"EINTR", {Support::Action::Kind::Fail, EINTR}},   {"short write", {Support::Action::Kind::Shorten}},
};

/// One call that may be spoilt.
struct Call {
    std::size_t index; ///< counts from 0
    long number;       ///< SYS_...
};

/// How the process ended.
struct FaultyRun {
    bool finished; ///< by itself, not by a crash
    int result;    ///< of the work, or of what was done after it
    std::size_t calls;
};

/// The work's results, 0 to 99, are exit statuses from here on, which no sanitizer and no library uses.
constexpr int FirstStatus = 110;

/// The sanitizer's allocator gives up where the program's own would report; that is another matter.
inline bool IsAboutMemory(long number) {
    constexpr long calls[] = {SYS_mmap, SYS_munmap, SYS_madvise, SYS_mprotect, SYS_brk};
    return std::find(std::begin(calls), std::end(calls), number) != std::end(calls);
}

/// Runs a function in a process of its own and asks `spoil` before each of its system calls. Two calls that change
/// nothing frame them. `after`, where given, then runs unspoilt and turns the function's result into the final one.
template <typename Spoil>
FaultyRun RunWithFaults(const std::function<int()>& body, const Spoil& spoil,
                        const std::function<int(int)>& after = nullptr) {
    std::size_t calls = 0;
    bool inside = false;
    const auto framed = [&] {
        syscall(SYS_getppid);
        const int result = body();
        syscall(SYS_getppid);
        return FirstStatus + (after ? after(result) : result);
    };
    const auto outcome = Support::trace(framed, [&](const Support::Stop& stop) {
        if (stop.entering && stop.number == SYS_getppid) {
            inside = !inside;
        } else if (stop.entering && inside && !IsAboutMemory(stop.number)) {
            return spoil(Call{calls++, stop.number});
        }
        return Support::Action{};
    });
    return {outcome.status >= FirstStatus, outcome.status - FirstStatus, calls};
}

} // namespace reliability
