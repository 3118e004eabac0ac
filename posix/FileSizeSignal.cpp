#include "posix/FileSizeSignal.h"

#include <ctime>

namespace Vantor {

NoFileSizeSignal::NoFileSizeSignal() {
    sigset_t waiting;
    sigemptyset(&waiting);
    sigpending(&waiting);
    pending = sigismember(&waiting, SIGXFSZ) == 1;
    sigemptyset(&signal);
    sigaddset(&signal, SIGXFSZ);
    sigemptyset(&before);
    pthread_sigmask(SIG_BLOCK, &signal, &before);
}

NoFileSizeSignal::~NoFileSizeSignal() {
    if (!pending) {
        constexpr timespec noTime = {};
        sigtimedwait(&signal, nullptr, &noTime);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

} // namespace Vantor
