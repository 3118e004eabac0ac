// A process that may open hardly a file more.
#pragma once

#include <cerrno>
#include <stdexcept>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace test {

/// While it lives, this process can open so many files more; opening others fails with EMFILE. The sanitizers need two
/// for looking at an object.
class FewDescriptors {
public:
    explicit FewDescriptors(unsigned more) {
        const int next = dup(STDERR_FILENO); // the lowest that is free
        if (next < 0 || getrlimit(RLIMIT_NOFILE, &m_before) != 0) {
            throw std::runtime_error("getrlimit");
        }
        close(next);
        const struct rlimit few = {static_cast<rlim_t>(next) + more, m_before.rlim_max};
        setrlimit(RLIMIT_NOFILE, &few);
    }
    ~FewDescriptors() { setrlimit(RLIMIT_NOFILE, &m_before); }
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;

private:
    struct rlimit m_before = {};
};

} // namespace test
