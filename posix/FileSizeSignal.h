// The limit of a file's size as an error of the write that meets it.
#pragma once

#include <csignal>

namespace Vantor {

/// While it lives, a write of the calling thread beyond the limit of a file's size (RLIMIT_FSIZE) fails with EFBIG
/// instead of ending the program by SIGXFSZ. It blocks the signal for this thread alone: whether the program's other
/// writes heed it is for the program to say, not for a library in it.
class NoFileSizeSignal {
public:
    NoFileSizeSignal();
    ~NoFileSizeSignal();
    NoFileSizeSignal(const NoFileSizeSignal&) = delete;
    NoFileSizeSignal& operator=(const NoFileSizeSignal&) = delete;

private:
    sigset_t signal;
    sigset_t before;      ///< blocked before
    bool pending = false; ///< one that was there before is not ours to take
};

} // namespace Vantor
