#include "tests/support/Process.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>

namespace Support {

namespace {

std::string contents(int file) {
    std::string text;
    std::array<char, 65536> buffer{};
    off_t at = 0;
    for (ssize_t got = 0; (got = pread(file, buffer.data(), buffer.size(), at)) > 0; at += got)
        text.append(buffer.data(), static_cast<std::size_t>(got));
    return text;
}

[[noreturn]] void become(const std::vector<std::string>& command, const Process::Environment& environment, int output,
                         int errors) {
    for (const auto& [name, value] : environment) {
        if (value.empty())
            unsetenv(name.c_str());
        else
            setenv(name.c_str(), value.c_str(), 1);
    }
    dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const auto& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments.front(), arguments.data());
    _exit(127);
}

} // namespace

Process::Process(const std::vector<std::string>& command, const Environment& environment)
    : outputFile_(memfd_create("output", MFD_CLOEXEC)), errorFile_(memfd_create("errors", MFD_CLOEXEC)) {
    // Appending, or a program that writes through two descriptors would overwrite its own lines.
    fcntl(outputFile_, F_SETFL, O_APPEND);
    fcntl(errorFile_, F_SETFL, O_APPEND);
    pid_ = fork();
    if (pid_ == 0)
        become(command, environment, outputFile_, errorFile_);
}

Process::~Process() {
    if (running()) {
        signal(SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    close(outputFile_);
    close(errorFile_);
}

bool Process::running() {
    int status = 0;
    if (!waitStatus_ && waitpid(pid_, &status, WNOHANG) == pid_)
        waitStatus_ = status;
    return !waitStatus_;
}

void Process::signal(int number) const {
    if (!waitStatus_ && pid_ > 0)
        kill(pid_, number);
}

std::optional<Ending> Process::wait(Milliseconds limit) {
    if (!waitUntil([this] { return !running(); }, limit))
        return std::nullopt;
    Ending ending;
    ending.status = WIFEXITED(*waitStatus_) ? WEXITSTATUS(*waitStatus_) : -1;
    ending.signal = WIFSIGNALED(*waitStatus_) ? WTERMSIG(*waitStatus_) : 0;
    ending.output = output();
    ending.errors = errors();
    return ending;
}

std::string Process::output() const {
    return contents(outputFile_);
}

std::string Process::errors() const {
    return contents(errorFile_);
}

Ending run(const std::vector<std::string>& command, const Process::Environment& environment, Milliseconds limit) {
    Process process(command, environment);
    if (const auto ending = process.wait(limit))
        return *ending;
    process.signal(SIGKILL);
    return process.wait().value_or(Ending{});
}

} // namespace Support
