// Runs a program to its end, its output thrown away, and tells how long that took.
//
// usage: command_probe PROGRAM [ARGUMENT...]
// Prints one line: milliseconds from fork to the end, milliseconds of processor time, of children that it waited for as
// well, and its largest resident memory in KiB.

#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

double milliseconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: command_probe PROGRAM [ARGUMENT...]\n");
        return 64;
    }
    const auto start = std::chrono::steady_clock::now();
    const pid_t pid = fork();
    if (pid == 0) {
        const int nowhere = open("/dev/null", O_WRONLY);
        dup2(nowhere, STDOUT_FILENO);
        execv(argv[1], argv + 1);
        _exit(127);
    }
    int status = 0;
    rusage used{};
    if (wait4(pid, &status, 0, &used) != pid || !WIFEXITED(status) || WEXITSTATUS(status) > 1) {
        return 1;
    }
    const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
    std::printf("%.3f %.3f %ld\n", taken.count(), milliseconds(used.ru_utime) + milliseconds(used.ru_stime),
                used.ru_maxrss);
    return 0;
}
