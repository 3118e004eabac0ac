#include "tests/unit/logging/SystemCalls.h"

#include <cerrno>

#include <pthread.h>
#include <unistd.h>

namespace test {

std::time_t clockTime = 0;
std::function<ssize_t(int, const void*, std::size_t)> onWrite;
bool refuseMutexes = false;

} // namespace test

namespace {

std::time_t Now(std::time_t* result) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::time_t seconds = test::clockTime != 0 ? test::clockTime : now.tv_sec;
    if (result != nullptr) {
        *result = seconds;
    }
    return seconds;
}

} // namespace

// The names are the linker's: it turns a call of f into one of __wrap_f, and __real_f into f itself.
extern "C" {
ssize_t __real_write(int fd, const void* bytes, size_t size);
int __real_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes);

std::time_t __wrap_time(std::time_t* result) {
    return Now(result);
}

// The name of time(2) with 64-bit seconds where that is not the default.
std::time_t __wrap___time64(std::time_t* result) {
    return Now(result);
}

ssize_t __wrap_write(int fd, const void* bytes, size_t size) {
    return test::onWrite ? test::onWrite(fd, bytes, size) : __real_write(fd, bytes, size);
}

int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
    return test::refuseMutexes ? EAGAIN : __real_pthread_mutex_init(mutex, attributes);
}
}

ssize_t test::RealWrite(int fd, const void* bytes, std::size_t size) {
    return __real_write(fd, bytes, size);
}
